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
expect 0 'usage: cuadrante date' date --help
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
expect 2 "--type takes a point type from 0 to 13, not '14'" grid "$examples/points.xml" --type 14
expect 2 "--type takes a point type from 0 to 13, not 'x'" points "$examples/points.xml" --type x

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
