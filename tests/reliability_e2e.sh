#!/usr/bin/env bash
# What the tool writes and reads survives what an administrator or an attacker
# puts in its way: devices, full disks, links, FIFOs, concurrent shells,
# injected settings, the calendar's end and points that overflow.
source "$(dirname "$0")/e2e.sh" "$@"
rules=$examples/rules.xml
range=(--from 2026-11-01 --to 2026-11-30)

# Outputs: a device is written through, a full one is an error, links lead to
# their target.
expect 1 'No space left' render "$rules" "${range[@]}" -o /dev/full
check "/dev/full is still a device" test -c /dev/full
if mknod "$work/null" c 1 3 2>/dev/null; then
  expect 0 '' render "$rules" "${range[@]}" -o "$work/null"
  check "a device node stays a device" test -c "$work/null"
fi
mkdir "$work/real"
ln -s real/picture.svg "$work/link"
expect 0 '' render "$rules" "${range[@]}" -o "$work/link"
check "a dangling link gets its target" grep -q '<svg' "$work/real/picture.svg"
check "the link stays a link" test -L "$work/link"
ln -s loop2 "$work/loop1"
ln -s loop1 "$work/loop2"
expect 1 'symbolic links' render "$rules" "${range[@]}" -o "$work/loop1"
check "no file beside the outputs" test "$(ls -A "$work/real")" = picture.svg

# Two shells setting values of one environment document at once keep all.
env_file=$work/env.xml
for shell in a b; do
  (for i in $(seq 1 50); do "$tool" env set GENERAL "$shell$i" "$i" --env "$env_file" || exit 1; done) &
done
wait
kept=$(grep -c '<[ab][0-9]*>' "$env_file")
check "two shells keep all 100 values (kept $kept)" test "$kept" -eq 100
python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' "$env_file"
check "Python's parser reads the document" test $? -eq 0
before=$(cat "$env_file")
expect 1 '' env set GENERAL BAD $'bell\a' --env "$env_file"
check "a value XML cannot carry leaves the file as it was" test "$(cat "$env_file")" = "$before"

# Two shells adding points and rules at once keep every addition.
for kind in points rules; do
  for shell in a b; do
    (for i in $(seq 1 25); do
      "$tool" "$kind" add "$work/$kind-shared.xml" --start "2026-11-$(printf %02d $((i % 28 + 1)))" --hours 1 || exit 1
    done) &
  done
  wait
  kept=$(grep -c '<POINT>' "$work/$kind-shared.xml")
  check "two shells keep all 50 $kind (kept $kept)" test "$kept" -eq 50
done

# Settings: a value that would add keys and sections is refused.
ini_path=$work/settings.ini
ini=$ini_path
expect 0 '' config set GENERAL PORT 8080 --file "$ini"
expect 1 'line break' config set GENERAL PORT $'9090\nADMIN=1\n[Seguridad]\nCLAVE=abc' --file "$ini"
expect 1 "'='" config set GENERAL 'A=B' 1 --file "$ini"
check "the settings are as they were" test "$(cat "$ini_path")" = $'[GENERAL]\nPORT=8080'

# Loaders never wait on a FIFO.
mkfifo "$work/fifo"
expect 1 'regular file' points "$work/fifo"
printf '[Localization]\nDictionary=.fifo\n' >"$work/trans.ini"
mkfifo "$work/trans.ini.fifo"
check "a FIFO as the dictionary does not block" \
  timeout 10 "$tool" date 2026-11-24 --dict "$work/trans.ini" >/dev/null

# The calendar's end: every group ends, the last period cut at 31/12/9999.
for group in week fortnight month quarter day; do
  out=$(timeout 10 "$tool" periods --from 9999-12-01 --to 9999-12-31 --group "$group" --format csv)
  check "periods by $group end at the calendar's end" grep -q '^9999-[0-9-]*,9999-12-31,' <<<"$(tail -n 1 <<<"$out")"
done

# A point whose end would pass the 64-bit range is refused where it is read.
printf '<POINTSMGR><POINT>9223372036854775000;1000;2;1</POINT></POINTSMGR>\n' >"$work/overflow.xml"
expect 1 'field 1 \(start\): 9223372036854775000 is after 31/12/9999' points "$work/overflow.xml"
printf '<POINTSMGR><POINT>4004582400;9223372036854775807;2;1</POINT></POINTSMGR>\n' >"$work/overflow.xml"
expect 1 'field 2 \(seconds\): 9223372036854775807 ends after 31/12/9999' points "$work/overflow.xml"

finish
