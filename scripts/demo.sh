#!/usr/bin/env bash
# The demo: the main job of the library, run through the command-line host on
# the example rules for the current month, one step at a time.
set -euo pipefail
tool=$(realpath "${1:?usage: demo.sh PATH-TO-cuadrante}")
cd "$(dirname "$0")/.."
mkdir -p build/demo

# step HEADER ARGS...: a one-line header, the command as typed, its output.
step() {
  printf '\n== %s\n$ cuadrante %s\n' "$1" "${*:2}"
  "$tool" "${@:2}"
}

first=$(date +%Y-%m-01)
last=$(date -d "$first +1 month -1 day" +%F)

step "The shift rules unrolled over this month, occurrence by occurrence" \
  expand examples/rules.xml --from "$first" --to "$last"
step "This month's roster: week rows by type, hours a day, totals" \
  roster examples/rules.xml --month "$(date +%Y-%m)"
step "The same month drawn as a picture (open it in a browser)" \
  render examples/rules.xml --from "$first" --to "$last" -o build/demo/roster.svg
month=$(date +%Y-%m)
step "A ward's plan: who works when, week by week (examples/plan.xml)" \
  plan roster examples/plan.xml --month "$month"
step "Their hours against their contracts" \
  plan hours examples/plan.xml --month "$month" --format csv
printf '\n== Every rule the plan breaks (status 1 when there is one)\n$ cuadrante plan check examples/plan.xml --month %s\n' "$month"
"$tool" plan check examples/plan.xml --month "$month" | tail -n 12 || echo "(plan check: status 1, breaches found)"
step "Where each post has fewer or more people than it needs" \
  plan coverage examples/plan.xml --month "$month"
step "The planner's picture: people by post, breaches and coverage (open it in a browser)" \
  plan render examples/plan.xml --month "$month" -o build/demo/plan.svg
step "Eva's month as a calendar for her phone (iCalendar, Madrid time)" \
  ics examples/plan.xml --employee eva --month "$month" --tz Europe/Madrid -o build/demo/eva.ics
printf '\n== The calendar parsed back by python3-icalendar, a reader we did not write\n'
/usr/bin/python3 - build/demo/eva.ics <<'PY'
import sys, icalendar
cal = icalendar.Calendar.from_ical(open(sys.argv[1], 'rb').read())
events = list(cal.walk('VEVENT'))
for ev in events[:4]:
    start, end = ev.decoded('dtstart'), ev.decoded('dtend')
    print(f"{start:%a %d/%m %H:%M} - {end:%H:%M} {start.tzname()}  {ev['summary']}")
print(f"... {len(events)} events, time zone {cal.walk('VTIMEZONE')[0]['tzid']}")
PY
step "The same file read back into items by libical" \
  ics-import build/demo/eva.ics --month "$month" --tz Europe/Madrid
step "A long operation on a worker thread, polled with a progress bar" \
  demo-operation --steps 40

printf '\n== The rules document zipped to one printable line (Base64 of gzip) and back\n'
printf '$ cuadrante zip < examples/rules.xml | cuadrante unzip\n'
line=$("$tool" zip <examples/rules.xml)
"$tool" unzip <<<"$line" >build/demo/rules.unzipped.xml
printf '%s... (%d characters for %d bytes)\n' "${line:0:60}" "${#line}" \
  "$(wc -c <examples/rules.xml)"
if ! cmp -s examples/rules.xml build/demo/rules.unzipped.xml; then
  echo "unzipped: the text differs from examples/rules.xml" >&2
  exit 1
fi
echo "unzipped: the same $(wc -c <examples/rules.xml) bytes as examples/rules.xml"

step "A two-week roster filled by the solver, proven optimal (examples/ward.txt)" \
  solve examples/ward.txt --time-limit 10 -o build/demo/ward-roster.csv
printf 'the roster: %d shifts in build/demo/ward-roster.csv\n' "$(($(wc -l <build/demo/ward-roster.csv) - 1))"

step "A partly planned month filled by the engine within the plan's rules (examples/open-ward.xml)" \
  plan solve examples/open-ward.xml --month 2026-12 --time-limit 5 -o build/demo/open-ward-filled.xml
printf '$ cuadrante plan check build/demo/open-ward-filled.xml --month 2026-12\n'
"$tool" plan check build/demo/open-ward-filled.xml --month 2026-12 2>/dev/null | tail -n 3 ||
  echo "(plan check: status 1, breaches found)"

# Why the gaps left stay open: each person of the post, and the first rule
# that kept them out.
printf '\n$ cuadrante plan solve examples/open-ward.xml --month 2026-12 --time-limit 2 --explain\n'
"$tool" plan solve examples/open-ward.xml --month 2026-12 --time-limit 2 --explain 2>/dev/null |
  sed -n '/^$/,$p' | sed -n '1,12p'  # reads to the end: no broken pipe
echo "..."
