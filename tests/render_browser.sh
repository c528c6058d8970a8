#!/usr/bin/env bash
# Draws the example rosters with `cuadrante render`, has headless Chromium parse
# and screenshot each SVG, and compares the pixels with the SVG through
# svgprobe.py; a small ward's `plan render` picture is held besides to the plan
# checks (people's blocks apart, holidays marked). Tampered pictures must fail
# the same checks, so we know they can. Exits 77 (skipped) when Chromium is missing.
#
# usage: render_browser.sh PATH-TO-cuadrante
root=$(cd "$(dirname "$0")/.." && pwd)
probe() { python3 "$root/tests/svgprobe.py" "$@"; }

# `make check` installs Chromium through scripts/deps.sh --browser before any
# test runs; a test never installs anything. Without it the picture cannot be
# checked here, which is not the same as the picture being wrong.
if ! command -v chromium >/dev/null; then
  echo "SKIP: chromium is not installed (scripts/deps.sh --browser installs it)"
  exit 77
fi
source "$(dirname "$0")/e2e.sh" "$@"

pass() { passes=$((passes + 1)); }
fail() { failures=$((failures + 1)); echo "FAIL $*"; }

# Chromium writes dbus complaints to stderr on machines without a session bus:
# they go to a log that is shown only when Chromium itself fails.
chromium_run() {
  local profile
  profile=$(mktemp -d "$work/profile.XXXXXX")
  timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$profile" --hide-scrollbars --force-device-scale-factor=1 "$@" \
    2>>"$work/chromium.log"
  local status=$?
  rm -rf "$profile"
  if [ $status -ne 0 ]; then
    echo "chromium $* exited with $status; the end of its log:"
    tail -n 15 "$work/chromium.log" | sed 's/^/    /'
  fi
  return $status
}

# size SVG: "W H" from the root element.
size() {
  sed -n 's/.*<svg [^>]*width="\([0-9]*\)" height="\([0-9]*\)".*/\1 \2/p' "$1" | head -n 1
}

# screenshot SVG PNG [W H]: the SVG at its own size unless another is given.
screenshot() {
  local w h
  read -r w h <<<"${3:+$3 $4}"
  [ -n "${w:-}" ] || read -r w h <<<"$(size "$1")"
  rm -f "$2"
  chromium_run --window-size="$w,$h" --screenshot="$2" "file://$1" >/dev/null && [ -s "$2" ]
}

# dom_check SVG: Chromium parsed the whole file: no parser error, and every box
# of the file is in the document it built.
dom_check() {
  local dom="$work/dom.html" want got
  chromium_run --dump-dom "file://$1" >"$dom" || return 1
  if grep -q parsererror "$dom"; then
    echo "    $(basename "$1"): Chromium reports a parser error:" \
      "$(grep -o 'following errors:</h3><div[^>]*>[^<]*' "$dom" | sed 's/.*>//' | head -n 1)"
    return 1
  fi
  want=$(grep -o 'class="box"' "$1" | wc -l)
  got=$(grep -o 'class="box"' "$dom" | wc -l)
  if [ "$got" -eq 0 ] || [ "$got" -ne "$want" ]; then
    echo "    $(basename "$1"): $got boxes in Chromium's document, $want in the file"
    return 1
  fi
}

# probe_expect STATUS PATTERN... -- ARGS...: the probe exits with STATUS and prints
# every PATTERN; what it printed is left in probe_out.
probe_expect() {
  local status=$1 code pattern missing=
  local -a patterns=()
  shift
  while [ "$1" != -- ]; do patterns+=("$1"); shift; done
  shift
  probe_out=$(probe "$@" 2>&1)
  code=$?
  for pattern in "${patterns[@]}"; do
    grep -qE -- "$pattern" <<<"$probe_out" || missing=1
  done
  if [ $code -eq "$status" ] && [ -z "$missing" ]; then
    return 0
  fi
  echo "    svgprobe.py $* -> status $code (want $status), output:"
  sed 's/^/      /' <<<"$probe_out" | head -n 20
  return 1
}

# The two pictures: a month of the rules by week, two weeks of points by day.
render() {
  local name=$1
  shift
  if "$tool" render "$@" -o "$work/$name.svg" >"$work/render.out" 2>&1 && [ -s "$work/$name.svg" ]; then
    pass "render $name"
  else
    fail "render $name: $(cat "$work/render.out")"
  fi
}
render rules-week "$examples/rules.xml" --from 2026-11-01 --to 2026-11-30 --by week
render points-day "$examples/points.xml" --from 2026-11-16 --to 2026-11-29 --by day
# The planner's picture of a plan: people by post, breaches and coverage.
if "$tool" plan render "$examples/plan.xml" --month 2026-11 -o "$work/plan-month.svg" >"$work/render.out" 2>&1; then
  pass "plan render"
else
  fail "plan render: $(cat "$work/render.out")"
fi

# A small ward written here: Ana's extra night during her leave takes a second
# lane of her block (the mornings the leave cancels a third), Bea's nights run
# past midnight, and Wednesday 11/11 is a plan holiday.
cat >"$work/ward.xml" <<'EOF'
<PLAN>
  <POST code="W" name="Sala"><NEED people="1" from="08:00" hours="8" days="all"/></POST>
  <SHIFT code="M" start="08:00" hours="8" name="Mañana"/>
  <SHIFT code="N" start="22:00" hours="8" name="Noche"/>
  <HOLIDAY date="2026-11-11"/>
  <EMPLOYEE id="ana" name="Ana Ruiz" post="W" contract="40">
    <RULE shift="M" every="day" from="2026-11-02"/>
    <LEAVE from="2026-11-04" to="2026-11-06"/>
    <ITEM start="2026-11-05" shift="N"/>
  </EMPLOYEE>
  <EMPLOYEE id="bea" name="Bea Gil" post="W" contract="40" contractDays="all">
    <ROTATION pattern="N N - -" from="2026-11-02"/>
  </EMPLOYEE>
  <EMPLOYEE id="carlos" name="Carlos Sanz" post="W" contract="40">
    <RULE shift="M" every="day" from="2026-11-09"/>
  </EMPLOYEE>
</PLAN>
EOF
if "$tool" plan render "$work/ward.xml" --from 2026-11-02 --to 2026-11-15 -o "$work/plan-ward.svg" \
  >"$work/render.out" 2>&1; then
  pass "plan render of a ward"
else
  fail "plan render of a ward: $(cat "$work/render.out")"
fi

for name in rules-week points-day plan-month plan-ward; do
  svg=$work/$name.svg
  [ -s "$svg" ] || continue
  if dom_check "$svg"; then pass "$name parses in Chromium"; else fail "$name parses in Chromium"; fi
  # The ward is held to the plan checks too: blocks apart, holidays marked.
  mode=()
  [ "$name" = plan-ward ] && mode=(--plan)
  if screenshot "$svg" "$work/$name.png"; then
    if probe_expect 0 'all pass' -- "${mode[@]}" "$svg" "$work/$name.png" &&
      { [ -z "${mode[*]}" ] || grep -q '^svgprobe: plan: 3 people.*1 holiday columns, 1 header marks: all pass$' <<<"$probe_out"; }; then
      pass "$name screenshot matches the SVG: $(tail -n 1 <<<"$probe_out")"
    else
      fail "$name screenshot matches the SVG"
    fi
  else
    fail "$name screenshot"
  fi
done

# A whole day covers its own day column and no more, in the pixels Chromium
# draws: the holiday of Friday 20/11 fills Friday's column (x 856 to 1036) and
# leaves Saturday's white, and the sick leave of 25/11 and 26/11 leaves 27/11 free.
render whole-days "$examples/points.xml" --from 2026-11-16 --to 2026-11-29 --by week
svg=$work/whole-days.svg
if [ -s "$svg" ] && screenshot "$svg" "$work/whole-days.png"; then
  festivo=$(grep -o 'class="box" data-type="4" [^>]*fill="#[0-9a-f]*"' "$svg" | grep -o '#[0-9a-f]\{6\}')
  baja=$(grep -m 1 -o 'class="box" data-type="7" [^>]*fill="#[0-9a-f]*"' "$svg" | grep -o '#[0-9a-f]\{6\}')
  row1=$(grep -m 1 -o 'class="box" data-type="4" [^>]*y="[0-9]*"' "$svg" | sed 's/.*y="//; s/"//')
  row2=$(grep -m 1 -o 'class="box" data-type="7" [^>]*y="[0-9]*"' "$svg" | sed 's/.*y="//; s/"//')
  # Seven pixels in one reading: festivo at 860, 1032 and 1042 and white at 1100
  # and not festivo at 850 on its row; baja at 852 and not at 862 on its own.
  mapfile -t px < <(probe --pixel "$work/whole-days.png" 860 $((row1 + 4)) 1032 $((row1 + 4)) \
    1042 $((row1 + 4)) 1100 $((row1 + 12)) 850 $((row1 + 12)) 852 $((row2 + 4)) 862 $((row2 + 4)))
  if [ "${#px[@]}" -eq 7 ] && [ "${px[0]}" = "$festivo" ] && [ "${px[1]}" = "$festivo" ] &&
     [ "${px[2]}" != "$festivo" ] && [ "${px[3]}" = "#ffffff" ] && [ "${px[4]}" != "$festivo" ] &&
     [ "${px[5]}" = "$baja" ] && [ "${px[6]}" != "$baja" ]; then
    pass "whole days cover their own day column in Chromium's pixels"
  else
    fail "whole days cover their own day column: festivo $festivo, baja $baja; pixels ${px[*]}"
  fi
else
  fail "whole-days screenshot"
fi

# Shifts the engine gave, in Chromium's pixels: the picture passes the probe
# (fills, swatches, a clean background); the top edge of each box the engine
# gave shows its border's dark dashes in turn with its fill, that of a planned
# box no dash; the legend's key shows the dashes; and the nights the engine
# left unfilled are red in the coverage row.
cat >"$work/engine.xml" <<'EOF'
<PLAN>
  <POST code="W" name="Sala"><NEED shift="N" people="1"/></POST>
  <SHIFT code="M" start="07:00" hours="8" name="Mañana"/>
  <SHIFT code="N" start="22:00" hours="8" name="Noche"/>
  <EMPLOYEE id="ana" name="Ana Ruiz" post="W">
    <ITEM start="2026-12-01" shift="M"/>
    <ITEM start="2026-12-02" shift="M" by="engine"/>
  </EMPLOYEE>
  <EMPLOYEE id="eva" name="Eva Sanz" post="W">
    <ITEM start="2026-12-01" shift="N" by="engine"/>
    <ITEM start="2026-12-02" shift="N"/>
  </EMPLOYEE>
</PLAN>
EOF
svg=$work/plan-engine.svg
if "$tool" plan render "$work/engine.xml" --from 2026-12-01 --to 2026-12-04 -o "$svg" \
  >"$work/render.out" 2>&1 && screenshot "$svg" "$work/plan-engine.png"; then
  if probe_expect 0 'all pass' -- "$svg" "$work/plan-engine.png"; then
    pass "plan-engine screenshot matches the SVG"
  else
    fail "plan-engine screenshot matches the SVG"
  fi
  if out=$(python3 - "$root/tests" "$svg" "$work/plan-engine.png" 2>&1 <<'EOF'
import sys
import xml.etree.ElementTree as ET
sys.path.insert(0, sys.argv[1])
from svgprobe import Image, colour, near
NS = "{http://www.w3.org/2000/svg}"
root, png = ET.parse(sys.argv[2]).getroot(), Image(sys.argv[3])
dark = (0x11, 0x11, 0x11)

# The midnight notches are as dark as the border: their columns are left out.
notches = [float(l.get("x1")) for l in root.iter(f"{NS}line") if l.get("class") == "midnight"]

def top_edge(rect):
    """(dark pixels, pixels of the fill) along the rect's top row, corners left out."""
    x, y, w = (int(rect.get(k)) for k in ("x", "y", "width"))
    row = [png.at(i, y) for i in range(x + 1, x + w - 1)
           if all(abs(i + 0.5 - n) > 2 for n in notches)]
    fill = colour(rect.get("fill")) if rect.get("fill") != "none" else (255, 255, 255)
    return sum(near(p, dark) for p in row), sum(near(p, fill) for p in row)

faults = []
boxes = [r for r in root.iter(f"{NS}rect") if r.get("class") == "box"]
made = [b for b in boxes if b.get("data-by") == "engine"]
planned = [b for b in boxes if b.get("data-by") is None]
if len(made) != 2 or len(planned) != 2:
    faults.append(f"{len(made)} boxes of the engine and {len(planned)} planned, want 2 and 2")
for box in made:
    ink, fill = top_edge(box)
    if ink < 3 or fill < 2:
        faults.append(f"engine box at x {box.get('x')}: {ink} dark and {fill} fill pixels on its top")
for box in planned:
    ink, _ = top_edge(box)
    if ink:
        faults.append(f"planned box at x {box.get('x')}: {ink} dark pixels on its top")
keys = [r for r in root.find(f"{NS}g[@class='legend']").iter(f"{NS}rect")
        if r.get("stroke-dasharray") == made[0].get("stroke-dasharray")] if made else []
if len(keys) != 1 or top_edge(keys[0])[0] < 3:
    faults.append(f"{len(keys)} legend keys with the engine's dashes, or no dashes in the pixels")
# The night before the 1st (to 06:00), the 3rd's and the 4th's are unfilled.
red = [r for r in root.iter(f"{NS}rect") if r.get("class") == "gap"]
if len(red) != 3:
    faults.append(f"{len(red)} cells in the coverage row, want 3")
for cell in red:
    x, y, w, h = (int(cell.get(k)) for k in ("x", "y", "width", "height"))
    got = png.at(x + w // 2, y + h // 2)
    if not near(got, colour(cell.get("fill"))) or not near(got, (0xd7, 0x19, 0x1c)):
        faults.append(f"coverage cell at x {x}: {got} at its middle, want red {cell.get('fill')}")
print("\n".join(faults) or f"{len(made)} engine boxes, {len(red)} red cells")
sys.exit(1 if faults else 0)
EOF
  ); then
    pass "the engine's border and the unfilled nights show in Chromium's pixels: $out"
  else
    fail "the engine's border and the unfilled nights in Chromium's pixels:"$'\n'"$out"
  fi
else
  fail "plan-engine render or screenshot: $(cat "$work/render.out")"
fi

# Negative controls on the ward: each tampering must be caught by the plan checks.
svg=$work/plan-ward.svg
if [ -s "$svg" ] && [ -s "$work/plan-ward.png" ]; then
  # Ana's night on her second lane moved onto Bea's lane, where it would read as
  # Bea's: the SVG says so, and so do the pixels of a screenshot held to the true SVG.
  nights=$(grep -o 'class="box" x="[0-9]*" y="[0-9]*"[^>]*data-code="N"' "$svg" | sed 's/.* y="\([0-9]*\)".*/\1/')
  y=$(head -n 1 <<<"$nights")
  bea=$(sed -n 2p <<<"$nights")
  if [ -n "$y" ] && [ -n "$bea" ]; then
    sed "0,/data-code=\"N\"/{/data-code=\"N\"/s/ y=\"$y\"/ y=\"$bea\"/}" "$svg" >"$work/spilt.svg"
  fi
  if [ -z "$y" ] || [ -z "$bea" ] || cmp -s "$svg" "$work/spilt.svg"; then
    fail "spilt lane: the copy did not change"
  else
    if probe_expect 1 '^FAIL ana: something at .* reaches out of its block' -- --plan \
      "$work/spilt.svg" "$work/plan-ward.png"; then
      pass "a box outside its person's block is caught in the SVG"
    else
      fail "a box outside its person's block is caught in the SVG"
    fi
    if screenshot "$work/spilt.svg" "$work/spilt.png" &&
      probe_expect 1 "^FAIL ana: box #[0-9]+'s #[0-9a-f]+ shows at .* past its block" -- --plan \
        "$svg" "$work/spilt.png"; then
      pass "a box drawn into the next person's block is caught in the pixels"
    else
      fail "a box drawn into the next person's block is caught in the pixels"
    fi
  fi

  # The holiday column drawn white, and its header mark left out.
  sed 's/class="holiday" \([^>]*\)fill="#[0-9a-f]*"/class="holiday" \1fill="#ffffff"/; /class="holiday-day"/d' \
    "$svg" >"$work/plain.svg"
  if cmp -s "$svg" "$work/plain.svg"; then
    fail "unmarked holiday: the copy did not change"
  elif screenshot "$work/plain.svg" "$work/plain.png" &&
    probe_expect 1 '^FAIL holiday column at x [0-9]+: #ffffff at' '^FAIL holiday mark at .* want' -- \
      --plan "$svg" "$work/plain.png"; then
    pass "an unmarked holiday is caught in the pixels"
  else
    fail "an unmarked holiday is caught in the pixels"
  fi
fi

# Negative controls on the weekly picture: each tampering must be caught.
svg=$work/rules-week.svg
if [ -s "$svg" ] && [ -s "$work/rules-week.png" ]; then
  read -r w h <<<"$(size "$svg")"

  # The first box drawn in another colour than the SVG we hold it to.
  first=$(grep -m 1 -o 'class="box"[^>]*fill="#[0-9a-f]*"' "$svg" | grep -o '#[0-9a-f]\{6\}')
  other='#ff00ff'
  [ "$first" = "$other" ] && other='#00ff00'
  sed "0,/class=\"box\"/{/class=\"box\"/s/fill=\"$first\"/fill=\"$other\"/}" "$svg" >"$work/recoloured.svg"
  if cmp -s "$svg" "$work/recoloured.svg"; then
    fail "recoloured box: the copy did not change"
  elif screenshot "$work/recoloured.svg" "$work/recoloured.png" &&
    probe_expect 1 "^FAIL box #0 .*expected $first .*found $other" ': 1 failure\(s\)$' -- \
      "$svg" "$work/recoloured.png"; then
    pass "a recoloured box is caught, and only it"
  else
    fail "a recoloured box is caught"
  fi

  # A mark where the SVG draws nothing: only the background check can see it.
  sed "s|</svg>|<rect x=\"$((w - 60))\" y=\"4\" width=\"20\" height=\"8\" fill=\"#ff0000\"/></svg>|" \
    "$svg" >"$work/stray.svg"
  if screenshot "$work/stray.svg" "$work/stray.png" &&
    probe_expect 1 '^FAIL background: [0-9]+ pixels' ': 1 failure\(s\)$' -- "$svg" "$work/stray.png"; then
    pass "a stray mark on the background is caught"
  else
    fail "a stray mark on the background is caught"
  fi

  # A window of the wrong size.
  if screenshot "$svg" "$work/narrow.png" $((w - 100)) "$h" &&
    probe_expect 1 "^FAIL screenshot is $((w - 100))x$h, the SVG is ${w}x$h" -- "$svg" "$work/narrow.png"; then
    pass "a screenshot of the wrong size is caught"
  else
    fail "a screenshot of the wrong size is caught"
  fi

  # Half a file: Chromium must report the parser error, and the probe refuse it.
  head -c $(($(wc -c <"$svg") / 2)) "$svg" >"$work/truncated.svg"
  if dom_check "$work/truncated.svg" >/dev/null; then
    fail "a truncated SVG is caught by the DOM check"
  else
    pass "a truncated SVG is caught by the DOM check"
  fi
  if probe_expect 2 'truncated.svg: .* at offset [0-9]+' -- "$work/truncated.svg" "$work/rules-week.png"; then
    pass "a truncated SVG is refused by the probe"
  else
    fail "a truncated SVG is refused by the probe"
  fi

fi

finish
