#!/usr/bin/env bash
# Runs the built command-line host and checks its output and exit status.
source "$(dirname "$0")/e2e.sh" "$@"

# A timetable on Monday 23/11/2026 from 08:00 to 16:00.
expect 0 'type +2 Horario' point "4004582400;28800;2;1"
expect 0 'interval +23/11/2026 08:00 - 23/11/2026 16:00' point "4004582400;28800;2;1"
expect 0 'classes +free, assignable, work' point "4004582400;28800;2;1"
expect 0 'duration +8 h' point "4004582400;28800;2;1"
expect 0 'type +13 <N/A>' point "4004582400;60;13;1"
expect 1 "'1;2;3' has 3 fields" point "1;2;3"
expect 1 "'12x' is not a valid integer value" point "12x;1;2;3"
expect 2 'expects one' point
expect 0 'week +48' date 2026-11-23
expect 0 'week start +Lunes 23/11/2026 00:00:00' date 2026-11-25
expect 0 'week end +Domingo 29/11/2026 23:59:59' date 2026-11-25
expect 0 'next month +Sábado 28/02/2026 00:00:00' date 31/01/2026
expect 0 'week +53' date 2026-12-31
expect 0 'next week +Lunes 04/01/2027' date 2026-12-31
expect 1 "'2026-02-30' is not a date" date 2026-02-30
expect 1 "'mañana' is not a date" date mañana
# Conventions: one line and a hint for an unknown command, --version, --opt=value,
# -- before words that begin with "-", and no raw bytes echoed.
expect 2 "^cuadrante: unknown command 'frobnicate'; \`cuadrante help\` lists them$" frobnicate
check "an unknown command prints one line" test "$("$tool" frobnicate 2>&1 | wc -l)" -eq 1
expect 0 '^cuadrante [0-9]+\.[0-9]+\.[0-9]+$' --version
expect 0 'usage: cuadrante help \[COMMAND\]' help help
expect 2 'unknown option --bogus' date 2026-11-23 --bogus
expect 0 '^week +48$' date -- 2026-11-23
expect 0 '^ +7 21/11/2026 22:00' points "$examples/points.xml" --from=2026-11-21 --to=2026-11-21
expect 2 '--boxes takes no value' expand "$examples/rules.xml" --from 2026-11-01 --to 2026-11-02 --boxes=1
expect 2 'unknown option --\\xFF' date $'--\xff'
expect 1 "'[\\]xFF[\\]x01' is not a date" date -- $'\xff\x01'
expect 1 "'[\\]xC2[\\]x9B2' is not a date" date -- $'\xc2\x9b2'
expect 0 'usage: cuadrante date' date --help
# Every command reads its options one way: "--name=value" as "--name value",
# numbers within their bounds, words from their list, and the same range
# options, all refused in one line that names the option.
expect 0 'result +<RESULTADO PASOS="3"/>' demo-operation --steps=3 --step-ms=0
expect 2 "^cuadrante demo-operation: --steps takes a whole number from 1 to 100000, not '0'$" \
  demo-operation --steps=0
expect 2 "--type takes a whole number from 0 to 13, not '14'" points "$examples/points.xml" --type=14
expect 2 "^cuadrante points: --format takes text, csv, xml or json, not 'yaml'$" \
  points "$examples/points.xml" --format=yaml
expect 2 "--format takes text, csv, xml or json, not '[\\]x01'" points "$examples/points.xml" --format $'\x01'
expect 2 "--by takes day, week or month, not 'year'" plan hours "$examples/plan.xml" --month 2026-11 --by=year
expect 2 "--group takes week, month, quarter, fortnight or day, not 'year'" \
  periods --from 2026-11-01 --to 2026-11-30 --group=year
expect 2 '--from needs a value' points "$examples/points.xml" --from
expect 2 'takes --month or --from and --to, not both' roster "$examples/rules.xml" --month=2026-11 --from=2026-11-01
check "--month=M reads as --month M" test "$("$tool" roster "$examples/rules.xml" --month=2026-11)" = \
  "$("$tool" roster "$examples/rules.xml" --month 2026-11)"
expect 1 "the range 2026-11-30 .. 2026-11-01 ends before it starts" \
  expand "$examples/rules.xml" --from=2026-11-30 --to=2026-11-01
expect 2 '--collect takes no value' date 2026-11-23 --collect=1
expect 2 '--env needs the path of a document' date 2026-11-23 --env
expect 0 'commands:' help

# Point-set documents: a list and week and month grids of the example roster.
expect 0 '^12 points, 5 d 18 h in all' points "$examples/points.xml"
expect 0 '^ +7 21/11/2026 22:00 22/11/2026 06:00 8 h +8 Cobertura$' points "$examples/points.xml"
expect 0 'S47 16/11 +2 Horario +8 +8 +8 +8 +- +- +- +32.00 h$' grid "$examples/points.xml"
# A night cover from Saturday 22:00 gives 2 h to Saturday and 6 h to Sunday.
expect 0 'S47 16/11 +8 Cobertura +- +- +- +- +- +2 +6 +8.00 h' grid "$examples/points.xml"
expect 0 '^work 66.00 h, absence 72.00 h, other 0.00 h$' grid "$examples/points.xml" --from 2026-11-16 --to 2026-11-29
expect 0 'S48 23/11 +7 Baja laboral +- +- +24 +24 +- +- +- +48.00 h' grid "$examples/points.xml"
expect 0 'nov 2026 +2 Horario .* 56.00 h' grid "$examples/points.xml" --by month --type 2
expect 1 "no-such.xml" points "$examples/no-such.xml"
# One rule for ranges: what overlaps the range belongs to it, in every command.
expect 0 '^1 point, 8 h in all' points "$examples/points.xml" --from 2026-11-22 --to 2026-11-22
expect 0 'S47 16/11 +8 Cobertura +- +- +- +- +- +- +6 +6.00 h' grid "$examples/points.xml" --from 2026-11-22 --to 2026-11-22
# Overlaps: each pair once, both named, on stderr, in every format, with a count.
cat >"$work/overlaps.xml" <<'XML'
<POINTSMGR><POINT>4004582400;28800;2;1</POINT><POINT>4004586000;3600;3;1</POINT><POINT>4004589600;28800;2;1</POINT></POINTSMGR>
XML
for format in text csv xml; do
  "$tool" points "$work/overlaps.xml" --format "$format" >"$work/overlaps.out" 2>"$work/overlaps.err"
  if [[ $(grep -c '^cuadrante: overlap: ' "$work/overlaps.err") -eq 2 ]] &&
     grep -q '^cuadrante: overlap: Horario 23/11/2026 08:00 - 23/11/2026 16:00 and Tarea 23/11/2026 09:00 - 23/11/2026 10:00$' "$work/overlaps.err" &&
     grep -q '^cuadrante: overlap: Horario 23/11/2026 08:00 - 23/11/2026 16:00 and Horario 23/11/2026 10:00 - 23/11/2026 18:00$' "$work/overlaps.err" &&
     grep -q '^cuadrante: 2 overlaps$' "$work/overlaps.err" && ! grep -q overlap "$work/overlaps.out"; then
    passes=$((passes + 1))
  else
    echo "FAIL: points --format $format does not report the two overlaps on stderr alone"
    sed 's/^/    /' "$work/overlaps.err"; failures=$((failures + 1))
  fi
done
expect 0 '^cuadrante: 2 overlaps$' grid "$work/overlaps.xml"
expect 2 '--by takes week or month' grid "$examples/points.xml" --by year
expect 2 "--type takes a whole number from 0 to 13, not '14'" grid "$examples/points.xml" --type 14
expect 2 "--type takes a whole number from 0 to 13, not 'x'" points "$examples/points.xml" --type x

# Rules unrolled, periods, and a month's roster of the example rules.
expect 0 '^ +4 03/11/2026 09:00 04/11/2026 09:00 1 d +8 Cobertura$' expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-03
expect 0 '^5 occurrences of 8 rules, 2 d 8 h in all' expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-03
expect 0 '8 Cobertura +#0000ff$' expand "$examples/rules.xml" --from 02/11/2026 --to 03/11/2026 --boxes
expect 0 '^02/11/2026 15/11/2026 Q23 +Quincenal: noviembre 2026 Q23$' periods --from 2026-11-01 --to 2026-12-31 --group fortnight
expect 0 '^01/10/2026 31/12/2026' periods --from 2026-11-01 --to 2026-11-30 --group quarter
expect 0 'S46 09/11 +2 Horario +16 +16 +16 +16 +16 +- +- +80.00 h' roster "$examples/rules.xml" --month 2026-11
# The night shift that began on 28/02 22:00 reaches into 1 March, so it is listed.
cat >"$work/night.xml" <<'XML'
<POINTSMGR><POINT>3980786400;28800;2;1;1;1;1;0</POINT><POINT>3981398400;1209600;9;1;4;1;2;0</POINT></POINTSMGR>
XML
expect 0 '^ +1 28/02/2026 22:00 01/03/2026 06:00 8 h +2 Horario$' expand "$work/night.xml" --from 2026-03-01 --to 2026-03-01
# A two-week leave counts 24 h on each of its days, apart from the work.
expect 0 'S9 23/02 +9 Vacaciones +- +- +- +- +- +24 +24 +48.00 h' roster "$work/night.xml" --from 2026-02-23 --to 2026-03-01
expect 0 'S10 02/03 +9 Vacaciones +24 +24 +24 +24 +24 +24 +24 +168.00 h' roster "$work/night.xml" --month 2026-03
expect 0 '^work 248.00 h, absence 312.00 h, other 0.00 h$' roster "$work/night.xml" --month 2026-03
expect 1 'ends before it starts' expand "$examples/rules.xml" --from 2026-11-03 --to 2026-11-02
expect 1 'longer than ten years' expand "$examples/rules.xml" --from 2000-01-01 --to 2026-01-01
expect 1 "'2026-13-01' is not a date" expand "$examples/rules.xml" --from 2026-13-01 --to 2026-12-01
expect 2 '--group takes' periods --from 2026-11-01 --to 2026-11-30 --group year
expect 1 'no-such.xml' roster "$examples/no-such.xml" --month 2026-11

# Text columns hold whatever the cells are: a cell wider than its column is cut
# at a character boundary and ends in "…", a wide character takes two terminal
# cells and a combining accent none, a number widens its column rather than
# lose digits, and no byte of a cell steers the terminal. Each hostile output is
# read beside the same table with tame cells: the blanks that part the tame
# columns (display columns blank in every line, before some cell's start) must
# stay blank in every hostile line, and a hostile row may differ from its tame
# twin inside one column alone. Widths follow Python's unicodedata.
cat >"$work/columns.py" <<'PY'
import csv, io, json, sys, unicodedata

def width(ch):
    if unicodedata.combining(ch) or unicodedata.category(ch) in ("Mn", "Me", "Cf"):
        return 0
    return 2 if unicodedata.east_asian_width(ch) in "WF" else 1

def text_width(text):
    return sum(width(ch) for ch in text)

def cells(line):
    """One string a terminal cell: a character with its marks, "" after a wide one."""
    out = []
    for ch in line:
        if width(ch) == 0 and out:
            out[-2 if out[-1] == "" else -1] += ch
        else:
            out += [ch, ""] if width(ch) == 2 else [ch]
    return out

def table(path):
    """The table's lines, as cells: the output up to its first empty line."""
    with open(path, encoding="utf-8") as f:  # raises on bytes that are no UTF-8
        lines = f.read().split("\n")
    if len(lines) < 3 or "" not in lines:
        fail("%s holds no table: %r" % (path, lines[:3]))
    return [cells(line) for line in lines[: lines.index("")]]

def blank(row, p):
    return p >= len(row) or row[p] == " "

def separators(rows):
    widest = max(len(row) for row in rows)
    return [p for p in range(1, widest - 1)
            if all(blank(row, p) for row in rows) and any(not blank(row, p + 1) for row in rows)]

def spans(row, seps):
    bounds = [-1] + seps + [max(len(row), seps[-1] + 1)]
    return ["".join(row[a + 1:b]) for a, b in zip(bounds, bounds[1:])]

def fail(what):
    print("   ", what)
    sys.exit(1)

def shown(raw):
    """What a terminal may get of a cell: controls, C1 controls, separators and
    bidirectional embeddings, overrides and isolates as the \\xNN of their bytes."""
    out = ""
    for ch in raw:
        steers = (ord(ch) < 0x20 or 0x7F <= ord(ch) <= 0x9F or ch in "\u2028\u2029"
                  or 0x202A <= ord(ch) <= 0x202E or 0x2066 <= ord(ch) <= 0x2069)
        out += "".join("\\x%02X" % b for b in ch.encode()) if steers else ch
    return out

def safe(path):
    with open(path, encoding="utf-8") as f:
        text = f.read()
    bad = [ch for ch in text if ch != "\n" and shown(ch) != ch]
    if bad:
        fail("%s lets %r through to the terminal" % (path, bad[:3]))

def aligned(tame_path, hostile_path, least_columns, hostile_of=None):
    tame, hostile = table(tame_path), table(hostile_path)
    safe(hostile_path)
    if len(tame) != len(hostile):
        fail("%d tame lines, %d hostile ones" % (len(tame), len(hostile)))
    seps = separators(tame)
    if len(seps) + 1 < least_columns:
        fail("the tame table shows %d columns: %s" % (len(seps) + 1, seps))
    changed = 0
    cuts = set()
    for n, (a, b) in enumerate(zip(tame, hostile)):
        line = "".join(b)
        if line.endswith(" "):
            fail("line %d ends in a blank: %r" % (n, line))
        moved = [p for p in seps if not blank(b, p)]
        if moved:
            fail("line %d covers the blanks before display columns %s: %r" % (n, moved, line))
        differ = [i for i, (x, y) in enumerate(zip(spans(a, seps), spans(b, seps)))
                  if x.rstrip() != y.rstrip()]
        if len(differ) > 1:
            fail("line %d differs from its tame twin in columns %s: %r" % (n, differ, line))
        changed += len(differ)
        for i in differ:
            cell = spans(b, seps)[i].rstrip()
            if "\u2026" in cell and hostile_of:
                cuts |= cut(cell, hostile_of[spans(a, seps)[i].strip()], i, seps)
    if changed == 0:
        fail("no line of %s differs from the tame table" % hostile_path)
    return cuts

def cut(cell, raw, i, seps):
    """A cut cell is the longest run of whole characters of the shown text, marks
    kept with their letter and trailing blanks dropped, that leaves room for "…"."""
    room = seps[i] - (seps[i - 1] + 1 if i else 0)
    full = shown(raw)
    prefix = cell[:-1]
    if not cell.endswith("\u2026") or "\u2026" in prefix or not full.startswith(prefix):
        fail("%r is no cut of %r" % (cell, full))
    rest = full[len(prefix):]
    blanks = len(rest) - len(rest.lstrip(" "))
    nxt = rest[blanks]
    for ch in rest[blanks + 1:]:
        if width(ch) != 0 and not unicodedata.category(ch).startswith("M"):
            break
        nxt += ch
    if unicodedata.category(rest[0]).startswith("M") or width(rest[0]) == 0:
        fail("%r parts a character from its mark" % cell)
    used = text_width(prefix) + 1
    if used > room or text_width(prefix) + blanks + text_width(nxt) + 1 <= room:
        fail("%r is not the longest cut of %r into %d cells" % (cell, full, room))
    kinds = set()
    if unicodedata.combining(prefix[-1]):
        kinds.add("mark")
    if used < room:
        kinds.add("short")
    return kinds

what = sys.argv[1]
if what == "aligned":
    aligned(sys.argv[2], sys.argv[3], int(sys.argv[4]))
elif what == "cut":
    # The tame label of each row and the dictionary's hostile label for it.
    labels = {}
    with open(sys.argv[5], encoding="utf-8", newline="") as f:
        for entry in f.read().split("\r\n"):
            if entry:
                tame_label, hostile_label = entry.split("\t")
                labels[tame_label] = hostile_label
    kinds = aligned(sys.argv[2], sys.argv[3], int(sys.argv[4]), labels)
    if kinds != {"mark", "short"}:
        fail("the cuts show only %s of a kept mark and a wide character left out" % kinds)
elif what == "widened":
    # The tame table and one whose header is wider than its number column.
    tame, wide = table(sys.argv[2]), table(sys.argv[3])
    header = sys.argv[4]
    if len(separators(tame)) != len(separators(wide)) or len(tame) != len(wide):
        fail("the columns changed: %s, %s" % (separators(tame), separators(wide)))
    for n, (a, b) in enumerate(zip(tame, wide)):
        x = [s.strip() for s in spans(a, separators(tame))]
        y = [s.strip() for s in spans(b, separators(wide))]
        if n == 0 and header in y:
            x[y.index(header)] = header
        if x != y:
            fail("line %d lost a cell: %s against %s" % (n, y, x))
elif what == "whole":
    # Files for programs carry every label whole, byte for byte.
    with open(sys.argv[2], encoding="utf-8") as f:
        listed = {row["label"] for row in json.load(f)}
    with open(sys.argv[3], encoding="utf-8", newline="") as f:
        listed_csv = {row["label"] for row in csv.DictReader(io.StringIO(f.read()))}
    with open(sys.argv[4], encoding="utf-8", newline="") as f:
        wanted = {entry.split("\t")[1] for entry in f.read().split("\r\n") if entry}
    if not wanted <= listed or not wanted <= listed_csv:
        fail("JSON has %r, CSV %r; want %r" % (listed, listed_csv, wanted))
PY
columns() { python3 "$work/columns.py" "$@"; }
# A plan with tame names and cells, and the same plan with a name of wide
# characters and a combining accent, and a day full of leave and shifts. (A
# plan refuses control characters in ids; labels below bring them instead.)
cat >"$work/tame.xml" <<'XML'
<PLAN>
  <SHIFT code="A" start="06:00" hours="2" type="2"/>
  <SHIFT code="M" start="07:00" hours="8" type="2"/>
  <POST code="P"/>
  <EMPLOYEE id="ana" post="P" contract="40"><RULE shift="M" every="day" from="2026-11-02"/></EMPLOYEE>
  <EMPLOYEE id="luis" post="P" contract="40"><RULE shift="M" every="day" from="2026-11-02"/></EMPLOYEE>
</PLAN>
XML
sed 's/id="ana"/id="勤務表e\&#x301;ana-de-nombre-largo"/' "$work/tame.xml" >"$work/hostile.xml"
python3 - "$work/hostile.xml" <<'PY'
import sys
path = sys.argv[1]
text = open(path, encoding="utf-8").read()
end = text.rindex("</EMPLOYEE>")
text = (text[:end] + '<LEAVE from="2026-11-04" to="2026-11-04" type="9"/>'
        '<ITEM start="2026-11-04T08:00" hours="7.5" type="9"/><ITEM start="2026-11-04" shift="A"/>'
        + text[end:])
open(path, "w", encoding="utf-8").write(text)
PY
"$tool" plan roster "$work/tame.xml" --from 2026-11-02 --to 2026-11-15 >"$work/tame.out" 2>/dev/null
"$tool" plan roster "$work/hostile.xml" --from 2026-11-02 --to 2026-11-15 >"$work/hostile.out" 2>/dev/null
check "plan roster: a long day and a wide, accented name move no column" \
  columns aligned "$work/tame.out" "$work/hostile.out" 10
# Labels through a dictionary: letters with combining accents and a Devanagari
# syllable with its spacing vowel sign where the cut falls (the sign alone does
# not fit), a wide character that does not fit its last cell, and terminal
# controls (a window title, a C1 CSI, a right-to-left override).
printf 'Horario\tHora%sकिकिकि\r\nCobertura\t\033]0;x\a勤務表勤務表\r\nTarea\t\302\2332J\342\200\256Tarea\r\n' \
  "$(for _ in $(seq 10); do printf 'e\314\201'; done)" >"$work/hostile.ini.dic"
printf '[Localization]\nDictionary=.dic\n' >"$work/hostile.ini"
"$tool" expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-06 --boxes >"$work/tame.out"
"$tool" expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-06 --boxes \
  --dict "$work/hostile.ini" >"$work/hostile.out"
check "expand --boxes: labels too wide are cut at a character, and steer no terminal" \
  columns cut "$work/tame.out" "$work/hostile.out" 7 "$work/hostile.ini.dic"
"$tool" roster "$examples/rules.xml" --from 2026-11-02 --to 2026-11-08 >"$work/tame.out"
"$tool" roster "$examples/rules.xml" --from 2026-11-02 --to 2026-11-08 \
  --dict "$work/hostile.ini" >"$work/hostile.out"
check "roster: a label too wide moves no day" \
  columns aligned "$work/tame.out" "$work/hostile.out" 11
printf 'lun\tMonday-long\r\n' >"$work/wide.ini.dic"
printf '[Localization]\nDictionary=.dic\n' >"$work/wide.ini"
"$tool" roster "$examples/rules.xml" --from 2026-11-02 --to 2026-11-08 --dict "$work/wide.ini" >"$work/wide.out"
check "roster: a day's header wider than its column widens it, whole" \
  columns widened "$work/tame.out" "$work/wide.out" Monday-long
for format in json csv; do
  "$tool" expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-06 --boxes \
    --dict "$work/hostile.ini" --format "$format" >"$work/hostile.$format"
done
check "expand as JSON and CSV carries the labels whole and as they are" \
  columns whole "$work/hostile.json" "$work/hostile.csv" "$work/hostile.ini.dic"
# A label that is no UTF-8 reaches the terminal as its bytes' \xNN.
printf 'Horario\t\377\376\303\r\n' >"$work/broken.ini.dic"
printf '[Localization]\nDictionary=.dic\n' >"$work/broken.ini"
expect 0 '^ +1 23/11/2026 08:00 23/11/2026 16:00 8 h +2 [\]xFF[\]xFE[\]xC3$' \
  points "$work/overlaps.xml" --dict "$work/broken.ini"

# The environment document and the configuration file.
env="$work/env.xml"
expect 0 '^$' env set GENERAL ZV_MON_TIMEOUT 1 --env "$env"
expect 0 '^1$' env get general zv_mon_timeout --env "$env"
expect 0 '^<GENERAL><ZV_MON_TIMEOUT>1</ZV_MON_TIMEOUT></GENERAL>$' env show GENERAL --env "$env"
if ! grep -q '<?xml version="1.0" encoding="UTF-8" standalone="no"?>' "$env"; then
  echo "FAIL: the environment document lacks its declaration"; failures=$((failures + 1))
fi
expect 1 "cannot save '/nonexistent/env.xml'" env set A B x --env /nonexistent/env.xml
expect 2 'expects get' env frobnicate
printf '<DATAPACKET><GENERAL><ZV' > "$work/broken-env.xml"
cp "$work/broken-env.xml" "$work/broken-env.copy"
expect 1 'broken-env.xml: .*not well-formed.*\(left as it is\)' env set GENERAL X 1 --env "$work/broken-env.xml"
expect 1 'broken-env.xml: .*not well-formed' demo-operation --steps 1 --env "$work/broken-env.xml"
check "a broken environment document is left as it was" cmp -s "$work/broken-env.xml" "$work/broken-env.copy"
expect 1 'points.xml: is no environment document \(its root is POINTSMGR' env get GENERAL X --env "$examples/points.xml"
expect 0 '^$' config set GENERAL PORT 8080 --file "$work/settings.ini"
expect 0 '^8080$' config get GENERAL PORT --file="$work/settings.ini"

# The conventional places: the user's configuration folder, made on the first
# write and never by a read; nothing beside the program or in the current folder.
home="$work/home"
mkdir -p "$home" "$work/cwd"
run_in_home() { (cd "$work/cwd" && HOME="$home" XDG_CONFIG_HOME= "$tool" "$@"); }
check "a read of the environment creates nothing" test -z "$(run_in_home env get GENERAL X; find "$home" "$work/cwd" -mindepth 1)"
check "a read of the settings creates nothing" test -z "$(run_in_home config get GENERAL PORT; find "$home" "$work/cwd" -mindepth 1)"
run_in_home config set GENERAL PORT 9090
run_in_home env set GENERAL X 1
check "config set writes ~/.config/cuadrante/cuadrante.ini" grep -q '^PORT=9090$' "$home/.config/cuadrante/cuadrante.ini"
check "env set writes ~/.config/cuadrante/Enviroment.xml" grep -q '<X>1</X>' "$home/.config/cuadrante/Enviroment.xml"
check "XDG_CONFIG_HOME is honoured" test "$(cd "$work/cwd" && XDG_CONFIG_HOME="$home/.config" "$tool" config get GENERAL PORT)" = 9090
check "nothing is written beside the program or here" test -z "$(find "$work/cwd" -mindepth 1; ls "$(dirname "$tool")" | grep -E '\.(ini|xml)$')"

# Translation with a dictionary; the unknown labels come back as rows to fill in.
printf '[Localization]\nDictionary=.dic\n' > "$work/en.ini"
printf 'Horario\tTimetable\r\n' > "$work/en.ini.dic"
expect 0 'type +2 Timetable' point "4004582400;28800;2;1" --dict "$work/en.ini"
# A dictionary is read, never changed, unless --collect asks for the missing rows.
cp "$work/en.ini.dic" "$work/en.ini.before"
expect 0 'week start +Lunes' date 2026-11-25 --dict "$work/en.ini"  # a miss shows the text
expect 0 'week start +Lunes' date 2026-11-25 --dict "$work/en.ini"  # and the next run too
check "the dictionary is left as it was" cmp -s "$work/en.ini.dic" "$work/en.ini.before"
expect 0 'week start +Lunes' date 2026-11-25 --dict="$work/en.ini" --collect
check "--collect adds the missing rows" grep -qi $'^lunes\t<N/A>\r$' "$work/en.ini.dic"
expect 0 'week start +Lunes' date 2026-11-25 --dict "$work/en.ini"  # an unfilled row shows the text
expect 2 '--collect needs --dict' date 2026-11-25 --collect
# Month and weekday names go through the dictionary as the labels do.
printf 'Horario\tTimetable\r\nnoviembre\tNovember\r\nlun\tMon\r\n' > "$work/en.ini.dic"
expect 0 '^November 2026$' roster "$examples/rules.xml" --month 2026-11 --dict "$work/en.ini"
expect 0 '^period +type label +Mon +mar' roster "$examples/rules.xml" --month 2026-11 --dict "$work/en.ini"
expect 0 'S45 02/11 +2 Timetable +16' roster "$examples/rules.xml" --month 2026-11 --dict "$work/en.ini"
expect 2 'needs a settings file' point "1;2;3;4" --dict
expect 1 'missing.ini: no such settings file' point "1;2;3;4" --dict "$work/missing.ini"
printf '[Other]\nKey=1\n' > "$work/other.ini"
expect 1 'other.ini: names no dictionary' point "1;2;3;4" --dict "$work/other.ini"

finish
