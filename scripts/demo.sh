#!/usr/bin/env bash
# The demo: runs the command-line host on real inputs, one step at a time.
set -euo pipefail
tool=${1:?usage: demo.sh PATH-TO-cuadrante}

step() { printf '\n== %s\n$ %s\n' "$1" "${*:2}"; "${@:2}"; }

step "A time point from its stored text: forms, type label, classes" \
  "$tool" point "4004582400;28800;2;1"
step "The calendar around today" "$tool" date "$(date +%F)"
step "A date across the change of ISO year" "$tool" date 2026-12-31

# Translation: a small English dictionary; the labels it lacks are collected.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
printf '[Localization]\nDictionary=.dic\n' > "$work/en.ini"
printf 'Horario\tTimetable\r\nLunes\tMonday\r\nDomingo\tSunday\r\n' > "$work/en.ini.dic"
step "The same point and date with an English dictionary" \
  "$tool" point "4004582400;28800;2;1" --dict "$work/en.ini"
"$tool" date 2026-11-25 --dict "$work/en.ini" | head -4
step "The rows the dictionary collected for a translator to fill in" cat "$work/en.ini.dic"

month=$(date +%Y-%m)
step "Shift rules unrolled over this month's first week" \
  "$tool" expand "$(dirname "$0")/../examples/rules.xml" --from "$month-01" --to "$month-07"
step "This month's roster from the rules: week rows by type, hours a day, totals" \
  "$tool" roster "$(dirname "$0")/../examples/rules.xml" --month "$month"
step "The month cut into fortnights with their labels" \
  "$tool" periods --from "$month-01" --to "$month-28" --group fortnight

step "A stored roster (point-set document) listed point by point" \
  "$tool" points "$(dirname "$0")/../examples/points.xml"
step "The same roster laid out by week, one column a day, with totals" \
  "$tool" grid "$(dirname "$0")/../examples/points.xml"

step "A long job in the background: live progress, then the record the manager keeps after the thread is gone" \
  "$tool" demo-operation
step "The same job stopped by the host at step 10" "$tool" demo-operation --stop-at 10

line=$("$tool" zip < "$(dirname "$0")/../examples/rules.xml")
step "The rules document as one printable line (Base64 of its gzip stream)" echo "${line:0:72}..."
printf '\n== And back: the first lines of the document unzipped from that line\n$ %s unzip | head -4\n' "$tool"
"$tool" unzip <<<"$line" | head -4
