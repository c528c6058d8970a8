#!/usr/bin/env bash
# The planner's picture (`cuadrante plan render`) read back with Python's XML
# parser: a colour a named shift, the day header again every 25 people, a notch
# at each midnight a box runs past, week breaches on their own week, shifts the
# engine gave in their shift's fill inside a border of their own, a need the
# engine left unfilled red in its post's coverage row, and every text through
# the dictionary. Plans are written here; the pixels are render_browser.sh's.
#
# usage: plan_render_e2e.sh PATH-TO-cuadrante
source "$(dirname "$0")/e2e.sh" "$@"

# svgcheck WHAT ARGS...: runs the Python check WHAT on ARGS; it prints a FAIL
# line for each fault it finds.
cat >"$work/svgcheck.py" <<'EOF'
import datetime as dt
import re
import sys
import xml.etree.ElementTree as ET

NS = "{http://www.w3.org/2000/svg}"
faults = []


def fault(text):
    faults.append(text)
    print("FAIL " + text)


def load(path):
    return ET.parse(path).getroot()


def num(node, name):
    return float(node.get(name))


def days(root):
    """The x of each day column and the column width, from the first day header:
    each day there is a weekday name (font-size 9) and then its number."""
    header = root.find(f"{NS}g[@class='days']")
    numbers = [t for t in header.iter(f"{NS}text") if t.get("font-size") != "9"]
    xs = [num(t, "x") - 3 for t in numbers]
    return xs, xs[1] - xs[0]


def people(root):
    return [g for g in root.iter(f"{NS}g") if g.get("class") == "person"]


def boxes(node):
    return [r for r in node.iter(f"{NS}rect") if r.get("class") == "box"]


def legend(root):
    """(fill of the swatch or None, text) of each legend line, in order."""
    g = root.find(f"{NS}g[@class='legend']")
    lines, fill = [], None
    for child in g:
        if child.tag == f"{NS}rect" and child.get("class") is None:
            fill = child.get("fill")
        elif child.tag == f"{NS}text":
            lines.append((fill, child.text))
            fill = None
    return lines


def colours(first, second):
    """One fill a shift code, the codes' fills apart, the same fills in a second
    picture of the plan over other days, items without a code in their type's
    legend colour, and the legend naming each shift."""
    fills = {}
    for root in (load(first), load(second)):
        for box in boxes(root):
            code = box.get("data-code")
            if code:
                fills.setdefault(code, set()).add(box.get("fill"))
    for code, seen in sorted(fills.items()):
        if len(seen) != 1:
            fault(f"shift {code} drawn in {sorted(seen)}")
    if sorted(fills) != ["M", "N", "T"]:
        fault(f"shift codes drawn: {sorted(fills)}")
    ones = [next(iter(s)) for s in fills.values()]
    if len(set(ones)) != len(ones):
        fault(f"two shifts share a colour: {fills}")
    root = load(first)
    lines = legend(root)
    names = {"M": "Mañana", "T": "Tarde", "N": "Noche"}
    for code, name in names.items():
        want = (next(iter(fills.get(code, {""}))), f"{code} {name}")
        if want not in lines:
            fault(f"legend lacks {want}: {lines}")
    plain = [b for b in boxes(root) if not b.get("data-code")]
    if not plain:
        fault("no item without a code")
    for box in plain:
        label = [t for f, t in lines if f == box.get("fill")]
        if not label or not label[0].startswith(box.get("data-type") + " "):
            fault(f"an item of type {box.get('data-type')} in {box.get('fill')}: legend {label}")
        if box.get("fill") in ones:
            fault(f"an item without a code in a shift's colour {box.get('fill')}")


def headers(path, count, every):
    """The day header before the first person and again before each `every`
    people after it, each the same days."""
    root = load(path)
    order, since, runs = [], 0, []
    for node in root.iter(f"{NS}g"):
        if node.get("class") == "days":
            if order:
                runs.append(since)
            order.append([t.text for t in node.iter(f"{NS}text")])
            since = 0
        elif node.get("class") == "person":
            if not order:
                fault("a person before the first day header")
            since += 1
    runs.append(since)
    whole, rest = divmod(count, every)
    want = [every] * whole + ([rest] if rest else [])
    if runs != want:
        fault(f"people between day headers: {runs}, want {want}")
    if any(texts != order[0] for texts in order):
        fault("the day headers differ")
    tops = [num(g, "data-y") for g in people(root)]
    if tops != sorted(tops):
        fault("people drawn out of order")


def midnights(path, first, last):
    """A notch at each day line inside a box; at the picture's edge when the box
    runs on past it (a night begun the evening before the first day, one begun
    on the last); none on a box of whole days, none anywhere else."""
    root = load(path)
    xs, width = days(root)
    first = dt.datetime.fromisoformat(first)
    end = dt.datetime.fromisoformat(last) + dt.timedelta(days=1)
    left, right = xs[0], xs[-1] + width
    notches = total = 0
    for person in people(root):
        marks = [(num(l, "x1"), num(l, "y1"), num(l, "y2"))
                 for l in person.iter(f"{NS}line") if l.get("class") == "midnight"]
        used = set()
        for box in boxes(person):
            x, y, w, h = (num(box, k) for k in ("x", "y", "width", "height"))
            title = box.find(f"{NS}title").text
            since, until = (dt.datetime(first.year, int(mo), int(d), int(hh), int(mm))
                            for d, mo, hh, mm in re.findall(r"(\d\d)/(\d\d) (\d\d):(\d\d)",
                                                            title)[:2])
            if since.time() == until.time() == dt.time(0):
                want = []
            else:
                want = [d for d in xs[1:] if x < d < x + w]
                want += [left] if since < first < until else []
                want += [right] if since < end < until else []
            for d in want:
                hit = [m for m in marks if m[0] == d and m[1] < y and m[2] > y + h]
                if len(hit) != 1:
                    fault(f"{person.get('data-employee')}: {title}: {len(hit)} notches at x {d}")
                used.update(hit)
            total += len(want)
        for mark in marks:
            if mark not in used:
                fault(f"{person.get('data-employee')}: a notch at x {mark[0]} on no box's midnight")
        notches += len(marks)
    if notches == 0 or notches != total:
        fault(f"{notches} notches for {total} midnights inside boxes")


def weeks(path, first, employee, mondays):
    """Week breaches of `employee`: one band a week listed (Monday, ISO), over that
    week as far as the picture shows it, under the person's boxes, named inside."""
    root = load(path)
    xs, width = days(root)
    first = dt.date.fromisoformat(first)
    left, right = xs[0], xs[-1] + width
    person = next(p for p in people(root) if p.get("data-employee") == employee)
    bands = [r for r in person.iter(f"{NS}rect") if r.get("class") == "week-breach"]
    labels = [t for t in person.iter(f"{NS}text") if t.get("class") == "week-label"]
    lowest = max(num(b, "y") + num(b, "height") for b in boxes(person))
    spans = sorted((num(b, "x"), num(b, "x") + num(b, "width")) for b in bands)
    want = []
    for monday in mondays:
        at = (dt.date.fromisoformat(monday) - first).days
        want.append((max(left, xs[0] + at * width) + 1,
                     min(right, xs[0] + (at + 7) * width) - 1))
    if spans != sorted(want):
        fault(f"{employee}: week bands over {spans}, want {sorted(want)}")
    for band in bands:
        if num(band, "y") < lowest:
            fault(f"{employee}: a week band at y {band.get('y')} among the boxes")
        x0, x1 = num(band, "x"), num(band, "x") + num(band, "width")
        y0, y1 = num(band, "y"), num(band, "y") + num(band, "height")
        named = [t for t in labels if x0 <= num(t, "x") < x1 and y0 < num(t, "y") <= y1]
        if len(named) != 1 or named[0].text != "week over maximum":
            fault(f"{employee}: the band at x {x0} is named {[t.text for t in named]}")
    top, bottom = num(person, "data-y"), num(person, "data-y") + num(person, "data-height")
    if any(num(b, "y") < top or num(b, "y") + num(b, "height") > bottom for b in bands):
        fault(f"{employee}: a week band out of the block")


def said(path, plan):
    """Every text of the picture is a translated text ("«...»") or the plan's own
    data, numbers and dates; breach details after the breach's name included."""
    root = load(path)
    data = load(plan)
    words = set()
    for node in data.iter():
        for key in ("name", "code", "id"):
            words.update(re.findall(r"\w+", node.get(key, "")))
    texts = [t.text or "" for t in root.iter(f"{NS}text")]
    texts += [t.text or "" for t in root.iter(f"{NS}title")]
    for text in texts:
        rest = re.sub(r"«[^»]*»", " ", text)
        left = [w for w in re.findall(r"[^\W\d_]+", rest) if w not in words]
        if left:
            fault(f"untranslated {left} in '{text}'")
    print(f"{len(texts)} texts")


def outline(node):
    return tuple(node.get(k) for k in ("stroke", "stroke-width", "stroke-dasharray"))


def keyed(root):
    """(the key rect before it or None, text) of each legend line."""
    g = root.find(f"{NS}g[@class='legend']")
    lines, key = [], None
    for child in g:
        if child.tag == f"{NS}rect":
            key = child
        elif child.tag == f"{NS}text":
            lines.append((key, child.text))
            key = None
    return lines


def engine(path, plan, text):
    """The shifts the plan's ITEMs mark by="engine" (all in the picture), and only
    they, drawn in their shift's fill inside one dark dashed border that no other
    box has, named in the tooltip, and keyed in the legend as `text` with that
    border."""
    root = load(path)
    made, planned = set(), set()
    for person in load(plan).iter("EMPLOYEE"):
        for item in person.iter("ITEM"):
            y, m, d = item.get("start")[:10].split("-")
            key = (person.get("id"), f"{d}/{m}", item.get("shift"))
            (made if item.get("by") == "engine" else planned).add(key)
    seen, borders, others, fills = set(), set(), set(), {}
    for person in people(root):
        for box in boxes(person):
            title = box.find(f"{NS}title").text
            day = re.search(r"(\d\d/\d\d) \d\d:\d\d - ", title).group(1)
            key = (person.get("data-employee"), day, box.get("data-code"))
            by = box.get("data-by")
            if (key in made) != (by == "engine"):
                fault(f"{key}: data-by {by}, the plan says {'engine' if key in made else 'planned'}")
            if by == "engine":
                seen.add(key)
                borders.add(outline(box))
                if text not in title:
                    fault(f"{key}: the tooltip '{title}' does not say '{text}'")
            else:
                others.add(outline(box))
            fills.setdefault(box.get("data-code"), set()).add(box.get("fill"))
    if not seen or seen != made:
        fault(f"the engine's shifts drawn: {sorted(seen)}, want {sorted(made)}")
    for code, got in fills.items():
        if len(got) != 1:
            fault(f"shift {code} in fills {sorted(got)}: the engine's and the planned apart")
    for cancelled in root.iter(f"{NS}rect"):
        if cancelled.get("class") == "cancelled":
            others.add(outline(cancelled))
    if len(borders) != 1:
        fault(f"the engine's boxes have borders {sorted(borders, key=str)}")
        return
    border = next(iter(borders))
    stroke, width, dashes = border
    dark = sum(int(stroke[k:k + 2], 16) for k in (1, 3, 5)) < 3 * 64
    if not dashes or not dark or float(width) < 1.5:
        fault(f"the engine's border {border} is not a dark dashed line of 1.5 px or more")
    if border in others:
        fault(f"a box that is not the engine's has its border {border}")
    keys = [k for k, t in keyed(root) if t == text]
    if len(keys) != 1 or keys[0] is None or outline(keys[0]) != border:
        fault(f"legend: {[outline(k) if k is not None else None for k in keys]} keyed as"
              f" '{text}', want one key of {border}")


def red(path, spans):
    """The coverage rows' red cells, each row under its post's heading: exactly
    `spans`, given as POST:FROM/TO (ISO, the picture's first day first) with
    FIRST=YYYY-MM-DD ahead; a post with no span named has no red cell."""
    root = load(path)
    xs, width = days(root)
    first = dt.datetime.fromisoformat(spans[0].split("=")[1])
    want = {}
    for span in spans[1:]:
        post, times = span.split(":", 1)
        since, until = (dt.datetime.fromisoformat(t) for t in times.split("/"))
        to_x = lambda t: round(xs[0] + (t - first).total_seconds() / 86400 * width)
        want.setdefault(post, []).append((to_x(since), to_x(until)))
    missing = [k for k, t in keyed(root) if t.endswith("huecos: faltan personas")]
    if len(missing) != 1 or missing[0] is None:
        fault("legend: no key of the missing people")
        return
    fill = missing[0].get("fill")
    got, post = {}, None
    for child in root:
        if child.tag == f"{NS}text" and child.get("font-weight") == "bold":
            post = child.text.split(" ")[0]
        elif child.tag == f"{NS}g" and child.get("class") == "coverage":
            cells = [r for r in child.iter(f"{NS}rect") if r.get("fill") == fill]
            got[post] = sorted((num(r, "x"), num(r, "x") + num(r, "width")) for r in cells)
            for cell in cells:
                title = cell.find(f"{NS}title").text
                if not re.match(r"\S+ 1: ", title):
                    fault(f"post {post}: a red cell says '{title}', not one missing")
    for post in sorted(set(got) | set(want)):
        if got.get(post, []) != sorted(want.get(post, [])):
            fault(f"post {post}: red cells over x {got.get(post)}, want {want.get(post, [])}")


what = sys.argv[1]
{"colours": colours, "headers": lambda p, c, e: headers(p, int(c), int(e)),
 "midnights": midnights, "weeks": lambda p, f, e, *m: weeks(p, f, e, m),
 "said": said, "engine": engine, "red": lambda p, *s: red(p, s)}[what](*sys.argv[2:])
sys.exit(1 if faults else 0)
EOF
svgcheck() {
  local what=$1 out
  out=$(python3 "$work/svgcheck.py" "$@" 2>&1)
  if [ $? -eq 0 ]; then
    passes=$((passes + 1))
  else
    echo "FAIL: svgcheck $what:"
    sed 's/^/    /' <<<"$out" | head -n 12
    failures=$((failures + 1))
  fi
}
render() { "$tool" plan render "$@" >"$work/render.out" 2>&1 || cat "$work/render.out"; }

# Three shifts of one type, an incident, a leave that cancels mornings, and a
# night on the last day that runs out of the picture.
cat >"$work/shifts.xml" <<'EOF'
<PLAN>
  <POST code="W" name="Sala"><NEED people="1" from="07:00" hours="8"/></POST>
  <SHIFT code="M" start="07:00" hours="8" name="Mañana"/>
  <SHIFT code="T" start="15:00" hours="8" name="Tarde"/>
  <SHIFT code="N" start="22:00" hours="8" name="Noche"/>
  <EMPLOYEE id="ana" name="Ana Ruiz" post="W">
    <ROTATION pattern="M T N - -" from="2026-11-01"/>
    <ITEM start="2026-11-03T10:00" hours="30" type="6"/>
  </EMPLOYEE>
  <EMPLOYEE id="eva" name="Eva Sanz" post="W">
    <ROTATION pattern="N N M -" from="2026-10-30"/>
    <LEAVE from="2026-11-09" to="2026-11-10"/>
  </EMPLOYEE>
</PLAN>
EOF
render "$work/shifts.xml" --from 2026-11-01 --to 2026-11-14 -o "$work/shifts.svg"
render "$work/shifts.xml" --from 2026-11-19 --to 2026-11-20 -o "$work/later.svg"
svgcheck colours "$work/shifts.svg" "$work/later.svg"
svgcheck midnights "$work/shifts.svg" 2026-11-01 2026-11-14
svgcheck midnights "$work/later.svg" 2026-11-19 2026-11-20

# Sixty people: the day header before the 1st, 26th and 51st.
python3 - "$work/many.xml" <<'EOF'
import sys
people = "\n".join(f'  <EMPLOYEE id="p{i}" name="Persona {i}" post="W">'
                   f'<ROTATION pattern="M -" from="2026-11-0{1 + i % 2}"/></EMPLOYEE>'
                   for i in range(60))
open(sys.argv[1], "w").write(f'<PLAN>\n  <POST code="W" name="Sala"/>\n'
                             f'  <SHIFT code="M" start="07:00" hours="8"/>\n{people}\n</PLAN>\n')
EOF
render "$work/many.xml" --from 2026-11-01 --to 2026-11-07 -o "$work/many.svg"
svgcheck headers "$work/many.svg" 60 25
# And 25 exactly: one header, none trailing after the last person.
python3 - "$work/many.xml" "$work/some.xml" <<'EOF'
import re, sys
text = open(sys.argv[1]).read()
open(sys.argv[2], "w").write(re.sub(r'  <EMPLOYEE id="p(2[5-9]|[3-5]\d)".*\n', "", text))
EOF
render "$work/some.xml" --from 2026-11-01 --to 2026-11-07 -o "$work/some.svg"
svgcheck headers "$work/some.svg" 25 25

# Weeks over 40 h: 2-8 November (the picture starts on Wednesday 4th) and
# 9-15 November (whole); 16-22 November stays within the limit.
cat >"$work/weeks.xml" <<'EOF'
<PLAN>
  <LIMITS maxWeek="40" maxDays="20"/>
  <POST code="W" name="Sala"/>
  <SHIFT code="D" start="08:00" hours="8" name="Día"/>
  <EMPLOYEE id="ana" name="Ana Ruiz" post="W">
    <RULE shift="D" every="day" from="2026-11-02" until="2026-11-14" weekend="1"/>
    <ITEM start="2026-11-19" shift="D"/>
  </EMPLOYEE>
  <EMPLOYEE id="eva" name="Eva Sanz" post="W">
    <ITEM start="2026-11-05" shift="D"/>
  </EMPLOYEE>
</PLAN>
EOF
render "$work/weeks.xml" --from 2026-11-04 --to 2026-11-22 -o "$work/weeks.svg"
"$tool" plan check "$work/weeks.xml" --from 2026-11-04 --to 2026-11-22 >"$work/check.out" 2>&1
check "plan check finds the two weeks over the maximum" \
  test "$(grep -c 'week over maximum' "$work/check.out")" -eq 2
svgcheck weeks "$work/weeks.svg" 2026-11-04 ana 2026-11-02 2026-11-09

# Shifts the engine gave among planned ones, over 1-4 December: the engine left
# Sala's night of the 3rd unfilled (22:00 to 06:00 on the 4th: red in Sala's
# coverage row); Eva's planned night of 30 November reaches into the 1st and
# her night the engine gave on the 4th runs out of the picture (both covered);
# Urgencias is covered by a rule, so its row stays clear.
cat >"$work/engine.xml" <<'EOF'
<PLAN>
  <POST code="W" name="Sala"><NEED shift="M" people="1"/><NEED shift="N" people="1"/></POST>
  <POST code="U" name="Urgencias"><NEED shift="M" people="1"/></POST>
  <SHIFT code="M" start="07:00" hours="8" name="Mañana"/>
  <SHIFT code="N" start="22:00" hours="8" name="Noche"/>
  <EMPLOYEE id="ana" name="Ana Ruiz" post="W">
    <ITEM start="2026-12-01" shift="M"/>
    <ITEM start="2026-12-02" shift="M" by="engine"/>
    <ITEM start="2026-12-03" shift="M" by="engine"/>
    <ITEM start="2026-12-04" shift="M"/>
  </EMPLOYEE>
  <EMPLOYEE id="eva" name="Eva Sanz" post="W">
    <ITEM start="2026-11-30" shift="N"/>
    <ITEM start="2026-12-01" shift="N" by="engine"/>
    <ITEM start="2026-12-02" shift="N"/>
    <ITEM start="2026-12-04" shift="N" by="engine"/>
  </EMPLOYEE>
  <EMPLOYEE id="luis" name="Luis Gil" post="U">
    <RULE shift="M" every="day" from="2026-11-01"/>
  </EMPLOYEE>
</PLAN>
EOF
render "$work/engine.xml" --from 2026-12-01 --to 2026-12-04 -o "$work/engine.svg"
svgcheck engine "$work/engine.svg" "$work/engine.xml" "Asignado por el motor"
svgcheck red "$work/engine.svg" FIRST=2026-12-01 W:2026-12-03T22:00/2026-12-04T06:00
# The checks can fail: the plan drawn without the engine's marks is held to
# the marked plan, and with the 3rd's night filled to the gap.
sed 's/ by="engine"//' "$work/engine.xml" >"$work/unmarked.xml"
render "$work/unmarked.xml" --from 2026-12-01 --to 2026-12-04 -o "$work/unmarked.svg"
check "a picture without the engine's marks fails the engine check" bash -c \
  "! python3 '$work/svgcheck.py' engine '$work/unmarked.svg' '$work/engine.xml' 'Asignado por el motor' >/dev/null"
check "a picture without the engine's shifts has no key of them" bash -c \
  "! grep -q 'Asignado por el motor' '$work/unmarked.svg'"
sed 's|<ITEM start="2026-12-04" shift="N" by="engine"/>|&<ITEM start="2026-12-03" shift="N"/>|' \
  "$work/engine.xml" >"$work/filled.xml"
render "$work/filled.xml" --from 2026-12-01 --to 2026-12-04 -o "$work/filled.svg"
svgcheck red "$work/filled.svg" FIRST=2026-12-01
check "a picture without the gap fails the red check" bash -c \
  "! python3 '$work/svgcheck.py' red '$work/filled.svg' FIRST=2026-12-01 W:2026-12-03T22:00/2026-12-04T06:00 >/dev/null"

# Every text through the dictionary: a dictionary of one row collects the
# picture's texts; with all of them translated, nothing else is left.
printf '[Localization]\nDictionary=.dic\n' >"$work/en.ini"
printf 'Horario\t«Horario»\r\n' >"$work/en.ini.dic"
render "$work/shifts.xml" --from 2026-11-01 --to 2026-11-14 -o "$work/collect.svg" \
  --dict "$work/en.ini" --collect
render "$work/weeks.xml" --from 2026-11-04 --to 2026-11-22 -o "$work/collect.svg" \
  --dict "$work/en.ini" --collect
render "$work/engine.xml" --from 2026-12-01 --to 2026-12-04 -o "$work/collect.svg" \
  --dict "$work/en.ini" --collect
for text in Cobertura faltan sobran "Anulado por ausencia" "Sigue tras la medianoche" \
  "week over maximum" "incumplimientos (plan check)" "semanas incumplidas" \
  "Asignado por el motor"; do
  check "--collect gathers '$text'" grep -q "^$text	<N/A>" "$work/en.ini.dic"
done
sed -i 's/^\([^\t]*\)\t.*/\1\t«\1»\r/' "$work/en.ini.dic"
render "$work/shifts.xml" --from 2026-11-01 --to 2026-11-14 -o "$work/said.svg" \
  --dict "$work/en.ini"
svgcheck said "$work/said.svg" "$work/shifts.xml"
render "$work/weeks.xml" --from 2026-11-04 --to 2026-11-22 -o "$work/said-weeks.svg" \
  --dict "$work/en.ini"
svgcheck said "$work/said-weeks.svg" "$work/weeks.xml"
render "$work/engine.xml" --from 2026-12-01 --to 2026-12-04 -o "$work/said-engine.svg" \
  --dict "$work/en.ini"
svgcheck said "$work/said-engine.svg" "$work/engine.xml"
svgcheck engine "$work/said-engine.svg" "$work/engine.xml" "«Asignado por el motor»"
# The check can fail: the untranslated picture has words of its own.
if python3 "$work/svgcheck.py" said "$work/shifts.svg" "$work/shifts.xml" >/dev/null; then
  check "an untranslated picture fails the dictionary check" false
else
  passes=$((passes + 1))
fi

finish
