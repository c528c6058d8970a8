#!/usr/bin/env bash
# The document commands of the built host (points, grid, expand, roster,
# render): every kind of bad input answers with one line and status 1 and
# leaves no output file; the list formats and the picture on good input.
source "$(dirname "$0")/e2e.sh" "$@"

# one_line STATUS PATTERN ARGS...: exit status STATUS, nothing on stdout, and
# exactly one line on stderr: the command's name and a message matching PATTERN.
one_line() {
  local status=$1 pattern=$2
  shift 2
  local out code
  out=$("$tool" "$@" 2>"$work/stderr")
  code=$?
  if [[ $code -ne $status || -n $out || $(wc -l <"$work/stderr") -ne 1 ]] ||
    ! grep -qE -- "^cuadrante $1: .*$pattern" "$work/stderr"; then
    echo "FAIL: cuadrante $* -> status $code (want $status), stdout ${#out} bytes, stderr:"
    sed 's/^/    /' "$work/stderr" | head -n 5
    failures=$((failures + 1))
  else
    passes=$((passes + 1))
  fi
}

# Broken files, each with the words its message must hold.
bad=$work/bad
mkdir -p "$bad/folder.xml"
: >"$bad/empty.xml"
head -c 512 "$tool" >"$bad/binary.xml"
printf '<POINTSMGR><POINT>4004582400;28800;2;1</POINT>' >"$bad/truncated.xml"
printf '<?xml version="1.0"?>\n<DATAPACKET><GENERAL/></DATAPACKET>\n' >"$bad/environment.xml"
printf '<POINTSMGR><POINT>4004582400;28800;2</POINT></POINTSMGR>' >"$bad/fields.xml"
printf '<POINTSMGR><POINT>4004582400;28800;2;1</POINT><POINT>4004582400;28800;2;1;2;0;0;0</POINT></POINTSMGR>' >"$bad/mixed.xml"
printf '<POINTSMGR><POINT>40045824OO;28800;2;1</POINT></POINTSMGR>' >"$bad/letters.xml"
printf '[Localization]\nDictionary=.dic\n' >"$bad/settings.ini"
mkfifo "$bad/fifo.xml"
declare -A why=(
  [missing.xml]='missing.xml.*No such file'
  [folder.xml]='folder.xml.*(directory|no regular file)'
  [empty.xml]='empty.xml: .*No document element'
  [binary.xml]='binary.xml: .*not well-formed'
  [truncated.xml]='truncated.xml: .*not well-formed at offset [0-9]+'
  [environment.xml]='environment.xml: is no point-set document \(its root is DATAPACKET'
  [fields.xml]='fields.xml: element 1 has 3 fields'
  [mixed.xml]='mixed.xml: element 2 has 8 fields where the ones before have 4'
  [letters.xml]="letters.xml: element 1 \(40045824OO;28800;2;1\): field 1 \(start\): '40045824OO' is no whole number"
  [settings.ini]='settings.ini: .*not well-formed'
  [fifo.xml]='fifo.xml: is no regular file'
)
range=(--from 2026-11-01 --to 2026-11-30)
for file in "${!why[@]}"; do
  for command in points grid expand roster render; do
    args=("$bad/$file")
    case $command in
      expand | roster) args+=("${range[@]}") ;;
      render) args+=("${range[@]}" -o "$work/out.svg") ;;
    esac
    # A file that is fine as XML but holds points is refused by the rule
    # commands for that reason; the rest fail alike everywhere.
    [[ $file == letters.xml && ($command == expand || $command == roster) ]] && continue
    one_line 1 "${why[$file]}" "$command" "${args[@]}"
  done
done
check "no picture is left by a failed render" test ! -e "$work/out.svg"

# A document of the other kind.
expect 1 'points.xml: holds stored points, not rules' expand "$examples/points.xml" "${range[@]}"
expect 1 'rules.xml: holds rules, not stored points' points "$examples/rules.xml"
expect 1 'rules.xml: holds rules, not stored points' grid "$examples/rules.xml"

# Dates and ranges, the same on every command that takes them.
for command in points grid expand roster periods render; do
  args=()
  case $command in
    points | grid | expand | roster) args=("$examples/$([[ $command == points || $command == grid ]] && echo points || echo rules).xml") ;;
    render) args=("$examples/rules.xml" -o "$work/out.svg") ;;
    periods) args=(--group week) ;;
  esac
  one_line 1 "'2026-02-30' is not a date" "$command" "${args[@]}" --from 2026-02-30 --to 2026-03-31
  expect 1 "'31/04/2026' is not a date" "$command" "${args[@]}" --from 01/04/2026 --to 31/04/2026
  expect 1 'ends before it starts' "$command" "${args[@]}" --from 2026-11-30 --to 2026-11-01
  expect 1 'longer than ten years' "$command" "${args[@]}" --from 1990-01-01 --to 2026-11-30
  [[ $command != render ]] &&
    expect 2 '--format takes text, csv, xml or json' "$command" "${args[@]}" --from 2026-11-01 --to 2026-11-30 --format yaml
  expect 2 'unknown option --frm' "$command" "${args[@]}" --frm 2026-11-01
done
check "no picture is left by a bad range" test ! -e "$work/out.svg"
expect 1 'gives 418 rows, more than 366' render "$examples/rules.xml" --from 2020-01-01 --to 2027-12-31 --by week -o "$work/out.svg"
expect 1 'gives 730 rows, more than 366' render "$examples/rules.xml" --from 2026-01-01 --to 2027-12-31 --by day -o "$work/out.svg"
expect 1 "--month '2026-13' is no month" roster "$examples/rules.xml" --month 2026-13
expect 2 'takes --month or --from and --to' roster "$examples/rules.xml" --month 2026-11 --from 2026-11-01
expect 1 "out.svg: " render "$examples/rules.xml" "${range[@]}" -o "$work/no-such-folder/out.svg"
expect 2 'needs -o' render "$examples/rules.xml" "${range[@]}"
expect 2 '--by takes week, day or month' render "$examples/rules.xml" "${range[@]}" --by year -o "$work/out.svg"
expect 1 'gives 3653 rows, more than 366' render "$examples/rules.xml" --from 2016-01-01 --to 2025-12-31 --by day -o "$work/out.svg"
# A year by month: twelve rows, a column a day, February greyed past its 28th.
expect 0 'year.svg: 12 rows' render "$examples/rules.xml" --from 2026-01-01 --to 2026-12-31 --by month -o "$work/year.svg"
check "a month row is 31 columns of 45 px" grep -q '<rect x="136" y="[0-9]*" width="1395" height="[0-9]*" fill="none"' "$work/year.svg"
check "February is greyed from its 29th" grep -q 'class="outside" x="1396" y="[0-9]*" width="135"' "$work/year.svg"

# The list formats hold the same rows as the text.
expect 0 '^group,start,end,seconds,type,label'$'\r$' points "$examples/points.xml" --format csv
expect 0 '^7,2026-11-21T22:00:00,2026-11-22T06:00:00,28800,8,Cobertura'$'\r$' points "$examples/points.xml" --format csv
expect 0 '^9,2026-11-24T08:00:00' points "$examples/points.xml" --format csv --from 2026-11-24 --to 24/11/2026
expect 0 '^2 points, 16 h in all' points "$examples/points.xml" --from 2026-11-23 --to 2026-11-26 --type 2
expect 0 '^first,last,label,full'$'\r$' periods --from 2026-11-01 --to 2026-11-30 --group quarter --format csv
expect 0 '^2026-10-01,2026-12-31,oct - dic 2026,Trimestral:  oct - dic 2026' periods --from 2026-11-01 --to 2026-11-30 --group quarter --format csv
expect 0 '<d3>8.00</d3>' grid "$examples/points.xml" --format xml
expect 0 '^S46 09/11,2026-11-09,2,Horario,16.00,16.00,16.00,16.00,16.00,0.00,0.00,80.00'$'\r$' roster "$examples/rules.xml" --month 2026-11 --format csv
expect 0 '^ +4 03/11/2026 09:00 04/11/2026 09:00 1 d +8 Cobertura' expand "$examples/rules.xml" --from 2026-11-03 --to 2026-11-03
# An expansion saved as XML is a document the point commands read back.
"$tool" expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-08 --format xml >"$work/week.xml"
expect 0 '^<POINTSMGR>' points "$work/week.xml" --format xml
expect 0 '^12 points, 4 d 10 h in all' points "$work/week.xml"
expect 0 'S45 02/11 +2 Horario +16 +16 +16 +16 +16 +- +- +80.00 h$' grid "$work/week.xml"
# Labels come through the dictionary; CSV quotes what would split a field.
printf '[Localization]\nDictionary=.dic\n' >"$work/quote.ini"
printf 'Horario\tTurno "A", ma\xc3\xb1ana\r\n' >"$work/quote.ini.dic"
expect 0 '^8,2026-11-23T08:00:00,2026-11-23T16:00:00,28800,2,"Turno ""A"", mañana"'$'\r$' \
  points "$examples/points.xml" --format csv --dict "$work/quote.ini"
expect 0 '<label>Turno "A", mañana</label>' grid "$examples/points.xml" --format xml --dict "$work/quote.ini"
# Boxes saved as XML keep their seven fields; render colours them by type.
"$tool" expand "$examples/rules.xml" --from 2026-11-02 --to 2026-11-08 --boxes --format xml >"$work/boxes.xml"
sed -i 's/;16776960;/;255;/' "$work/boxes.xml"  # stored colour red instead of the table's cyan
expect 0 'boxes.svg: 1 rows, 12 boxes' render "$work/boxes.xml" --from 2026-11-02 --to 2026-11-08 -o "$work/boxes.svg"
# A box code that would steer a terminal or break a picture is refused, and a
# dictionary's label that would break one is shown as U+FFFD.
sed '0,/;255;[^;]*;/s//;255;M\x01;/' "$work/boxes.xml" >"$work/control-code.xml"
sed '0,/;255;[^;]*;/s//;255;M\xff;/' "$work/boxes.xml" >"$work/utf8-code.xml"
expect 1 'element 1 .*field 6 \(code\): holds a control character' validate "$work/control-code.xml"
expect 1 'element 1 .*field 6 \(code\): is no valid UTF-8' render "$work/utf8-code.xml" --from 2026-11-02 --to 2026-11-08 -o "$work/bad.svg"
printf '[Localization]\nDictionary=.dic\n' >"$work/broken.ini"
printf 'Horario\tHo\x01ra\xffrio\x1b]0;x\x07\r\n' >"$work/broken.ini.dic"
expect 0 'boxes.svg: 1 rows, 12 boxes' render "$work/boxes.xml" --from 2026-11-02 --to 2026-11-08 -o "$work/boxes.svg" --dict "$work/broken.ini"
check "a label with controls and invalid UTF-8 leaves the picture well-formed" \
  python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' "$work/boxes.svg"
check "the picture shows U+FFFD where the label could not go" grep -q 'Ho�ra�rio�' "$work/boxes.svg"
check "stored boxes are drawn in the colour of their type" test "$(grep -c 'class="box" data-type="2" [^>]*fill="#1a4d94"' "$work/boxes.svg")" -eq 10
csv_rows=$("$tool" expand "$examples/rules.xml" --from 2026-11-01 --to 2026-11-30 --format csv | wc -l)
xml_rows=$("$tool" expand "$examples/rules.xml" --from 2026-11-01 --to 2026-11-30 --format xml | grep -c '<POINT>')
check "csv and xml give one row an occurrence ($csv_rows header+rows, $xml_rows points)" test "$csv_rows" -eq $((xml_rows + 1))

# The picture: one box an occurrence piece, the axis, the legend, well-formed.
expect 0 'roster.svg: 6 rows, 47 boxes of 47 occurrences' render "$examples/rules.xml" "${range[@]}" -o "$work/roster.svg"
check "the picture has one box element a box" test "$(grep -c 'class="box"' "$work/roster.svg")" -eq 47
check "the legend names the three types drawn" grep -q '>2 Horario<.*' "$work/roster.svg"
check "a Cobertura box is filled with its colour" grep -q 'data-type="8" [^>]*fill="#23adc9"' "$work/roster.svg"
# One colour a type, also apart in grey: fourteen fills, their greys 15 apart or more.
for type in $(seq 0 13); do
  printf '<POINT>%s;3600;%s;1</POINT>' $((4004582400 + type * 3600)) "$type"
done | sed 's/^/<POINTSMGR>/; s/$/<\/POINTSMGR>/' >"$work/types.xml"
"$tool" render "$work/types.xml" --from 2026-11-23 --to 2026-11-23 -o "$work/types.svg" >/dev/null
check "every type has a colour of its own, apart in grey" python3 - "$work/types.svg" <<'PY'
import sys, xml.etree.ElementTree as ET
ns = '{http://www.w3.org/2000/svg}'
legend = [g for g in ET.parse(sys.argv[1]).iter(ns + 'g') if g.get('class') == 'legend'][0]
fills = [r.get('fill') for r in legend.iter(ns + 'rect')]
assert len(fills) == 14 and len(set(fills)) == 14, fills
greys = sorted(0.299 * int(f[1:3], 16) + 0.587 * int(f[3:5], 16) + 0.114 * int(f[5:7], 16) for f in fills)
assert min(b - a for a, b in zip(greys, greys[1:])) >= 14.5, greys
PY
# Labels: type, code and the times where they fit; the day of the month over each day.
check "a week row carries its day numbers" grep -q 'class="day"[^>]*>23<' "$work/roster.svg"
check "the picture is well-formed XML" "$tool" points "$work/roster.svg" --format xml 2>&1 | grep -q 'root is svg'
expect 0 'day.svg: 14 rows' render "$examples/points.xml" --from 2026-11-16 --to 29/11/2026 --by day -o "$work/day.svg"
check "a wide box shows its times" grep -q '>Horario 08:00-16:00<' "$work/day.svg"
# The night cover from 22:00 to 06:00 is cut at midnight: a piece on each day.
check "a box crossing midnight is drawn on both days" test "$(grep -c 'data-type="8"' "$work/day.svg")" -eq 2
# Whole days cover exactly their own day columns (180 px a day by week): the
# holiday of 20/11 and each day of sick leave on 25/11 and 26/11 one, read by
# Python's XML parser.
"$tool" render "$examples/points.xml" --from 2026-11-16 --to 2026-11-29 -o "$work/week.svg" >/dev/null
whole_days=$(python3 - "$work/week.svg" <<'PY'
import sys, xml.etree.ElementTree as ET
ns = '{http://www.w3.org/2000/svg}'
boxes = [r for r in ET.parse(sys.argv[1]).iter(ns + 'rect') if r.get('class') == 'box']
print(' '.join(sorted(r.get('data-type') + ':' + r.get('x') + '+' + r.get('width')
                      for r in boxes if r.get('data-type') in ('4', '7'))))
PY
)
check "whole days cover their own day columns ($whole_days)" test "$whole_days" = "4:856+180 7:496+180 7:676+180"
expect 0 'empty.svg: 1 rows, 0 boxes' render "$examples/points.xml" --from 2027-01-04 --to 2027-01-04 --by day -o "$work/empty.svg"
check "an empty picture says so" grep -q 'Sin intervalos en el periodo' "$work/empty.svg"

# The picture in the README is the tool's own drawing of the example rules.
"$tool" render "$examples/rules.xml" "${range[@]}" -o "$work/readme.svg" >/dev/null
check "docs/roster.svg is what render draws today" cmp -s "$examples/../docs/roster.svg" "$work/readme.svg"

# Help for every command, with an example.
for command in $("$tool" help | awk '/^commands:/{on=1; next} /^$/{on=0} on {print $1}'); do
  [[ $command == help ]] && continue
  expect 0 "usage: cuadrante $command" help "$command"
  expect 0 'example' "$command" --help
done
expect 2 "unknown command 'nada'" help nada
expect 2 'usage: cuadrante COMMAND'

# Outputs: never over an input, "-" for the standard streams, every write error told.
cp "$examples/rules.xml" "$work/own.xml"
ln -sf "$work/own.xml" "$work/own-link.xml"
expect 2 'own.xml is the input document' render "$work/own.xml" "${range[@]}" -o "$work/own.xml"
expect 2 'own-link.xml is the input document' render "$work/own.xml" "${range[@]}" -o "$work/own-link.xml"
check "the input is left as it was" cmp -s "$work/own.xml" "$examples/rules.xml"
(cd "$work" && "$tool" render "$work/own.xml" "${range[@]}" -o - >"$work/stdout.svg" 2>/dev/null)
check "-o - writes the picture to stdout and no file named -" test -s "$work/stdout.svg" -a ! -e "$work/-"
check "the picture on stdout is whole" python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' "$work/stdout.svg"
expect_in 0 '^ +7 21/11/2026 22:00 .* 8 Cobertura$' "$examples/points.xml" points - --type 8
"$tool" expand "$examples/rules.xml" "${range[@]}" >/dev/full 2>"$work/full.err"
check "a full standard output is an error" grep -q '^cuadrante expand: cannot write standard output: No space left on device$' "$work/full.err"
"$tool" render "$examples/rules.xml" "${range[@]}" -o - >/dev/full 2>"$work/full.err"
check "a picture to a full stdout is an error" grep -q 'cannot write standard output' "$work/full.err"
# An empty result is still a document, which the commands read back.
"$tool" points "$examples/points.xml" --type 13 --format xml >"$work/none.xml"
check "an empty list in xml is an empty POINTSMGR" grep -q '^<POINTSMGR/>$' "$work/none.xml"
expect 0 '^0 points$' points "$work/none.xml"
expect 0 '^0 occurrences of 0 rules' expand "$work/none.xml" "${range[@]}"
expect 0 'none.svg: 6 rows, 0 boxes' render "$work/none.xml" "${range[@]}" -o "$work/none.svg"

# JSON on every list: Python's parser reads each, one object an item, ISO 8601 times;
# CSV fields carry no padding blanks.
for args in "points $examples/points.xml" "grid $examples/points.xml --by month" \
            "expand $examples/rules.xml ${range[*]}" "roster $examples/rules.xml --month 2026-11" \
            "periods ${range[*]} --group week"; do
  # shellcheck disable=SC2086
  "$tool" $args --format json >"$work/list.json"
  # shellcheck disable=SC2086
  rows=$("$tool" $args --format csv | tail -n +2 | wc -l)
  check "json of '$args' has one object a csv row ($rows)" python3 - "$work/list.json" "$rows" <<'PY'
import json, re, sys
items = json.load(open(sys.argv[1]))
assert isinstance(items, list) and len(items) == int(sys.argv[2]), len(items)
for item in items:
    for key in ('start', 'end'):
        if key in item and 'T' in item[key]:
            assert re.fullmatch(r'\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}', item[key]), item[key]
PY
  # shellcheck disable=SC2086
  check "csv of '$args' has no padded field" test -z "$("$tool" $args --format csv | grep -E '(^|,) | (,|\r?$)')"
done
expect 0 '^\[\]$' points "$work/none.xml" --format json

# Nonsense is refused on load, by every command, and `validate` lists all of it.
cat >"$work/nonsense.xml" <<'XML'
<POINTSMGR>
  <POINT>4004582400;-28800;2;1;1;0;1;0</POINT>
  <POINT>4004582400;28800;99;1;1;0;2;0</POINT>
  <POINT>4004582400;28800;2;1;99;0;3;0</POINT>
  <POINT>4004582400;28800;2;1;1;5;4;0</POINT>
  <POINT>4004582400;9223372036854775807;2;1;1;0;5;0</POINT>
  <POINT>86400;28800;2;1;1;0;6;0</POINT>
  <POINT>4004582400;28800;2;1;1;0;7;4004582399</POINT>
  <POINT>4004582400;28800;2;1;1;0;8;0</POINT>
</POINTSMGR>
XML
"$tool" validate "$work/nonsense.xml" "$examples/rules.xml" >"$work/validate.out"
check "validate exits 1 on a document with problems" test $? -eq 1
for line in 'element 1 .*field 2 \(seconds\): -28800 is negative' \
            'element 2 .*field 3 \(type\): 99 is no point type \(0 to 13\)' \
            'element 3 .*field 5 \(periodicity\): 99 is no periodicity' \
            'element 4 .*field 6 \(weekend\): 5 is neither 0 nor 1' \
            'element 5 .*field 2 \(seconds\): 9223372036854775807 ends after 31/12/9999' \
            'element 6 .*field 1 \(start\): 86400 is before 01/01/1900' \
            'element 7 .*field 8 \(end\): 23/11/2026 07:59:59 is before the rule.s start' \
            'nonsense.xml: 7 problems$' 'rules.xml: sound, rules$'; do
  check "validate says: $line" grep -qE "$line" "$work/validate.out"
done
expect 1 'nonsense.xml: element 1 .*-28800 is negative' expand "$work/nonsense.xml" "${range[@]}"
expect 0 'examples/points.xml: sound, points$' validate "$examples/points.xml"
# A document of many bad elements lists the first hundred and counts them all;
# one over the size limit is refused before its tree is built.
python3 -c 'print("<POINTSMGR>" + "<POINT>x</POINT>" * 150 + "</POINTSMGR>")' >"$work/many-bad.xml"
"$tool" validate "$work/many-bad.xml" >"$work/many-bad.out"
check "validate lists 100 problems" test "$(grep -c ': element ' "$work/many-bad.out")" -eq 100
check "validate counts all 150" grep -q 'many-bad.xml: 150 problems$' "$work/many-bad.out"
head -c $((32 << 20)) /dev/zero | tr '\0' ' ' >"$work/huge.xml"
echo '<POINTSMGR/>' >>"$work/huge.xml"
expect 1 'huge.xml: is larger than 32 MiB' validate "$work/huge.xml"

# Documents made from dates and hours: refused input leaves the document alone.
"$tool" points add "$work/made.xml" --start 2026-11-23T08:00 --hours 7:30
"$tool" points add "$work/made.xml" --start=2026-11-24 --hours 24 --type 9
expect 0 '^2 points, 1 d 7 h 30 min in all$' points "$work/made.xml"
cp "$work/made.xml" "$work/made.before"
expect 1 "made.xml: holds stored points, not rules" rules add "$work/made.xml" --start 2026-11-23 --hours 8
expect 1 "--hours '-8' is no length" points add "$work/made.xml" --start 2026-11-23 --hours -8
expect 2 "--type takes a whole number from 0 to 13, not '99'" points add "$work/made.xml" --start 2026-11-23 --hours 8 --type 99
expect 1 "'2026-11-31' is not a date" points add "$work/made.xml" --start 2026-11-31 --hours 8
expect 2 '--every takes day, week, fortnight, month, quarter, year or once' rule --start 2026-11-23 --hours 8 --every hour
expect 1 'field 8 \(end\): 01/11/2026 23:59:59 is before the rule.s start' rule --start 2026-11-23 --hours 8 --until 2026-11-01
expect 2 'needs --start' rule --hours 8
# Numbers are read whole and in range, never wrapped into another value.
for bad in 4294967298 ' 2' 0x2 2e0 +2 -1 14; do
  expect 2 "--type takes a whole number from 0 to 13, not '${bad/+/[+]}'" rule --start 2026-11-23 --hours 8 --type "$bad"
done
expect 2 "--level takes a whole number from -32768 to 32767, not '99999'" points add "$work/made.xml" --start 2026-11-23 --hours 8 --level 99999
expect 2 "--tag takes a whole number from -2147483648 to 2147483647" rule --start 2026-11-23 --hours 8 --tag 2147483648
expect 2 "--limit takes a whole number from 0 to" unzip --limit 99999999999999999999
expect 0 '^4004582400;28800;2;-32768;2;0;-2147483648;' rule --start 2026-11-23T08:00 --hours 8 --level=-32768 --tag=-2147483648
check "refused additions leave the document as it was" cmp -s "$work/made.xml" "$work/made.before"
expect 0 '^4004578800;28800;2;1;2;0;0;4023561599$' rule --start 2026-11-23T07:00 --hours 8 --every week --until 2027-06-30 --type 2

finish
