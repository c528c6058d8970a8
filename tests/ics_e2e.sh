#!/usr/bin/env bash
# Calendars checked by a reader nobody here wrote: python3-icalendar parses
# every export (items, a roster, zoned rules with their VTIMEZONE) and must
# read back what the tool lists; Python's zoneinfo (the tz database through
# its own reader) places the zoned times; a calendar that python3-icalendar
# writes, with recurrences expanded by dateutil, comes back through
# ics-import as the same items; and --tz counts the hours that really pass.
source "$(dirname "$0")/e2e.sh" "$@"

# Debian's interpreter carries python3-icalendar, whatever python3 the PATH prefers.
py=/usr/bin/python3
export SOURCE_DATE_EPOCH=1790000000

# The items of a point-set document, as the tool lists them and as the calendar has them.
"$tool" ics "$examples/points.xml" --from 2026-11-16 --to 2026-11-29 -o "$work/points.ics" >/dev/null
"$tool" points "$examples/points.xml" --from 2026-11-16 --to 2026-11-29 --format json >"$work/points.json" 2>/dev/null
check "python3-icalendar reads the points' calendar back as the tool lists them" \
  "$py" - "$work/points.ics" "$work/points.json" <<'PY'
import datetime, json, sys, icalendar
raw = open(sys.argv[1], 'rb').read()
assert b'\n' not in raw.replace(b'\r\n', b''), 'a line ends without CR'
assert all(len(line) <= 75 for line in raw.split(b'\r\n')), 'a line longer than 75 octets'
cal = icalendar.Calendar.from_ical(raw)
got = []
for ev in cal.walk('VEVENT'):
    start, end = ev.decoded('dtstart'), ev.decoded('dtend') if 'dtend' in ev else None
    if not isinstance(start, datetime.datetime):  # all day
        start = datetime.datetime.combine(start, datetime.time())
        end = datetime.datetime.combine(end, datetime.time())
    got.append((start.isoformat(), (end or start).isoformat(), str(ev['categories'].cats[0]) if hasattr(ev['categories'], 'cats') else str(ev['categories'])))
want = [(p['start'], p['end'], p['label']) for p in json.load(open(sys.argv[2]))]
assert got == want, f'{got}\n!=\n{want}'
PY

# One person's month from the plan: events equal what ics-import (libical) reads.
"$tool" ics "$examples/plan.xml" --employee eva --month 2026-11 -o "$work/eva.ics" >"$work/said"
check "ics says where it wrote and how many events" grep -qE '^.*eva.ics: 16 events$' "$work/said"
"$tool" ics-import "$work/eva.ics" --month 2026-11 --format json >"$work/eva.json"
check "python3-icalendar and libical read the same roster" \
  "$py" - "$work/eva.ics" "$work/eva.json" <<'PY'
import json, sys, icalendar
cal = icalendar.Calendar.from_ical(open(sys.argv[1], 'rb').read())
events = list(cal.walk('VEVENT'))
got = [(e.decoded('dtstart').isoformat(), e.decoded('dtend').isoformat()) for e in events]
want = [(p['start'], p['end']) for p in json.load(open(sys.argv[2]))]
assert got == want, f'{got} != {want}'
assert {str(e['summary']) for e in events} == {'T Tarde', 'N Noche'}, {str(e['summary']) for e in events}
assert len({str(e['uid']) for e in events}) == len(events), 'UIDs repeat'
PY
# The same occurrence keeps its UID in a later export over another range.
"$tool" ics "$examples/plan.xml" --employee eva --from 2026-11-03 --to 2026-11-03 >"$work/one.ics"
uid=$(grep -m1 '^UID:' "$work/one.ics")
check "a re-export keeps the UID of the same occurrence" grep -qxF "$uid" "$work/eva.ics"
expect 1 "no employee 'nadie'" ics "$examples/plan.xml" --employee nadie --month 2026-11
expect 2 'takes --employee or --post' ics "$examples/plan.xml" --employee eva --post UCI --month 2026-11
expect 2 'holds no plan' ics "$examples/rules.xml" --employee eva --month 2026-11

# Zoned rules across the spring change, as recurrences; the times python
# reads through the exported VTIMEZONE are where zoneinfo puts them.
"$tool" rules add "$work/night.xml" --start 2027-03-20T22:00 --hours 8 --every day --weekend --until 2027-04-05 >/dev/null
"$tool" rules add "$work/night.xml" --start 2027-01-31T09:00 --hours 8 --every month --weekend --until 2027-06-30 >/dev/null
expect 0 'rule 2: a rule from day 31 stays on the day it was clamped to, which RRULE cannot say; written as 6 events' \
  ics "$work/night.xml" --from 2027-01-01 --to 2027-06-30 --rrule --tz Europe/Madrid -o "$work/night.ics"
check "the daily rule travels as one RRULE" grep -qx $'RRULE:FREQ=DAILY;UNTIL=20270405T200000Z\r' "$work/night.ics"
check "python3-icalendar and zoneinfo agree on the VTIMEZONE and the zoned times" \
  "$py" - "$work/night.ics" <<'PY'
import datetime, sys, icalendar
from zoneinfo import ZoneInfo
from dateutil.rrule import rrulestr
cal = icalendar.Calendar.from_ical(open(sys.argv[1], 'rb').read())
madrid = ZoneInfo('Europe/Madrid')
utc = datetime.timezone.utc
# Each observance starts where zoneinfo changes to its offset.
onsets = 0
for part in cal.walk('VTIMEZONE')[0].subcomponents:
    before, after = part.decoded('tzoffsetfrom'), part.decoded('tzoffsetto')
    instant = (part.decoded('dtstart') - before).replace(tzinfo=utc)
    assert instant.astimezone(madrid).utcoffset() == after, (part.to_ical(), instant)
    if before != after:
        assert (instant - datetime.timedelta(seconds=1)).astimezone(madrid).utcoffset() == before
        onsets += 1
assert onsets == 1, onsets  # January to June 2027: the spring change alone
# Each occurrence, expanded by dateutil on the wall clock and placed by
# icalendar's zone, has zoneinfo's offset.
count = 0
for ev in cal.walk('VEVENT'):
    start = ev.decoded('dtstart')
    assert ev['dtstart'].params['TZID'] == 'Europe/Madrid'
    naive = [start.replace(tzinfo=None)]
    if 'rrule' in ev:
        until = ev['rrule']['UNTIL'][0].astimezone(madrid).replace(tzinfo=None)
        rule = ev['rrule'].copy(); rule['UNTIL'] = [until]
        naive = list(rrulestr(rule.to_ical().decode(), dtstart=naive[0]))
    for wall in naive:
        placed = start.tzinfo.localize(wall) if hasattr(start.tzinfo, 'localize') else wall.replace(tzinfo=start.tzinfo)
        assert placed.utcoffset() == wall.replace(tzinfo=madrid).utcoffset(), (wall, placed.utcoffset())
        count += 1
assert count == 17 + 6, count  # 17 nights (20 March to 5 April), 31 January and the 28th of five months
PY
# A rule at 02:30 steps into Madrid's spring gap: as events, and said.
"$tool" rules add "$work/gap-rule.xml" --start 2027-03-25T02:30 --hours 1 --every day --weekend --until 2027-04-02 >/dev/null
expect 0 'rule 1: it steps on 2027-03-28 02:30, which Europe/Madrid skips, and readers such as libical then move the next occurrence too; written as 7 events' \
  ics "$work/gap-rule.xml" --month 2027-03 --rrule --tz Europe/Madrid -o "$work/gap-rule.ics"
check "the rule is not written as a recurrence" bash -c "! grep -q RRULE '$work/gap-rule.ics'"
# A night across the change lasts 7 h, across the autumn change 9 h.
printf '<POINTSMGR><POINT>%s;28800;2;1</POINT><POINT>%s;28800;2;1</POINT></POINTSMGR>\n' \
  $(((46473 * 86400) + 22 * 3600)) $(((46690 * 86400) + 22 * 3600)) >"$work/dst.xml"
expect 0 '^2 points, 16 h in all \(elapsed in Europe/Madrid\)$' points "$work/dst.xml" --tz Europe/Madrid
expect 0 '^    1 27/03/2027 22:00 28/03/2027 06:00 7 h ' points "$work/dst.xml" --tz Europe/Madrid
expect 0 '^    2 30/10/2027 22:00 31/10/2027 06:00 9 h ' points "$work/dst.xml" --tz Europe/Madrid
expect 0 '^2 points, 16 h in all$' points "$work/dst.xml"
expect 0 'work 16.00 h' grid "$work/dst.xml" --tz Europe/Madrid
expect 1 "'Mars/Base' is no time zone" points "$work/dst.xml" --tz Mars/Base
printf '<POINTSMGR><POINT>%s;3600;2;1</POINT></POINTSMGR>\n' $(((46474 * 86400) + 2 * 3600 + 1800)) >"$work/gap.xml"
expect 0 '2027-03-28 02:30 does not exist in Europe/Madrid \(the clocks go from 02:00 to 03:00\); it counts from 03:00' \
  points "$work/gap.xml" --tz Europe/Madrid

# A calendar written by python3-icalendar: a weekly zoned event with an
# EXDATE, an all-day leave and a floating one-off; dateutil expands the
# recurrence on its own and ics-import must give the same items.
"$py" - "$work/foreign.ics" "$work/foreign.expected" <<'PY'
import datetime, sys, icalendar, pytz
from dateutil.rrule import rrulestr
# This python3-icalendar names a zone by its key with pytz (with zoneinfo it
# writes the abbreviation, EST, which is another, fixed zone).
ny = pytz.timezone('America/New_York')
cal = icalendar.Calendar()
cal.add('prodid', '-//test//python3-icalendar//EN'); cal.add('version', '2.0')
weekly = icalendar.Event()
weekly.add('uid', 'weekly@test'); weekly.add('summary', 'Guardia')
weekly.add('dtstart', ny.localize(datetime.datetime(2027, 3, 1, 20, 0)))
weekly.add('dtend', ny.localize(datetime.datetime(2027, 3, 2, 4, 0)))
weekly.add('rrule', {'freq': 'weekly', 'count': 6})
weekly.add('exdate', ny.localize(datetime.datetime(2027, 3, 22, 20, 0)))
leave = icalendar.Event()
leave.add('uid', 'leave@test'); leave.add('summary', 'Vacaciones en casa')
leave.add('dtstart', datetime.date(2027, 3, 10)); leave.add('dtend', datetime.date(2027, 3, 13))
once = icalendar.Event()
once.add('uid', 'once@test'); once.add('summary', 'Curso'); once.add('categories', ['Tarea'])
once.add('dtstart', datetime.datetime(2027, 3, 15, 9, 30)); once.add('dtend', datetime.datetime(2027, 3, 15, 13, 0))
for e in (weekly, leave, once):
    e.add('dtstamp', datetime.datetime(2027, 1, 1, tzinfo=datetime.timezone.utc)); cal.add_component(e)
open(sys.argv[1], 'wb').write(cal.to_ical())
# Expected, in New York's wall clock: dateutil's expansion less the EXDATE.
rule = rrulestr('FREQ=WEEKLY;COUNT=6', dtstart=datetime.datetime(2027, 3, 1, 20, 0))
rows = [(s, s + datetime.timedelta(hours=8), 9) for s in rule if s != datetime.datetime(2027, 3, 22, 20, 0)]
rows.append((datetime.datetime(2027, 3, 10), datetime.datetime(2027, 3, 13), 9))
rows.append((datetime.datetime(2027, 3, 15, 9, 30), datetime.datetime(2027, 3, 15, 13, 0), 3))
rows.sort()
with open(sys.argv[2], 'w') as f:
    for s, e, t in rows:
        f.write(f'{s.isoformat()} {e.isoformat()} {t}\n')
PY
"$tool" ics-import "$work/foreign.ics" --from 2027-03-01 --to 2027-04-30 --format json >"$work/foreign.json"
check "ics-import expands python3-icalendar's calendar as dateutil does" \
  "$py" - "$work/foreign.json" "$work/foreign.expected" <<'PY'
import json, sys
got = [f"{p['start']} {p['end']} {p['type']}" for p in json.load(open(sys.argv[1]))]
want = open(sys.argv[2]).read().split('\n')[:-1]
assert got == want, f'{got}\n!=\n{want}'
PY
# In Madrid's wall clock the New York evenings are the small hours, six hours
# later but five across the weeks when only America has changed its clocks.
expect 0 '^ +0 09/03/2027 02:00 09/03/2027 10:00 8 h ' ics-import "$work/foreign.ics" --from 2027-03-09 --to 2027-03-09 --tz Europe/Madrid
expect 0 '^ +0 02/03/2027 02:00 02/03/2027 10:00 8 h ' ics-import "$work/foreign.ics" --from 2027-03-02 --to 2027-03-02 --tz Europe/Madrid
expect 0 '^ +0 16/03/2027 01:00 16/03/2027 09:00 8 h ' ics-import "$work/foreign.ics" --from 2027-03-16 --to 2027-03-16 --tz Europe/Madrid
expect 1 'no iCalendar calendar' ics-import "$examples/points.xml" --month 2027-03
"$tool" ics-import "$work/foreign.ics" --from 2027-03-01 --to 2027-04-30 -o "$work/foreign.xml" >/dev/null
expect 0 '^7 points, ' points "$work/foreign.xml"

finish
