#!/usr/bin/env bash
# Calendars checked by a reader nobody here wrote: python3-icalendar parses
# every export (items, a roster, zoned rules with their VTIMEZONE) and must
# read back what the tool lists; Python's zoneinfo (the tz database through
# its own reader) places the zoned times; a calendar that python3-icalendar
# writes, with recurrences expanded by dateutil, comes back through
# ics-import as the same items; and --tz counts the hours that really pass.
# A roster's UIDs name slots, so a moved rotation updates events; --previous
# cancels what vanished; an import keeps SUMMARY, shift code and type.
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
"$tool" ics-import "$work/eva.ics" --month 2026-11 --format json >"$work/eva.json" 2>/dev/null
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
"$tool" ics-import "$work/foreign.ics" --from 2027-03-01 --to 2027-04-30 --tz America/New_York --format json >"$work/foreign.json"
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
"$tool" ics-import "$work/foreign.ics" --from 2027-03-01 --to 2027-04-30 -o "$work/foreign.xml" >/dev/null 2>&1
expect 0 '^7 points, ' points "$work/foreign.xml"

# A rotation moved by a day. python3-icalendar reads the calendars and a
# model of the rotation written here says which events there must be; a UID
# names a slot (person, day, place in the day), so old and new share the UID
# of every slot that both fill.
cat >"$work/ward.xml" <<'XML'
<PLAN>
  <SHIFT code="M" start="07:00" hours="8" type="2" name="Mañana"/>
  <SHIFT code="N" start="22:00" hours="8" type="2" name="Noche"/>
  <EMPLOYEE id="eva" name="Eva Sanz">
    <ROTATION pattern="M M N N - -" from="2026-11-02"/>
    <LEAVE from="2026-11-20" to="2026-11-21" type="9"/>
    <ITEM start="2026-11-10T10:00" hours="2" type="3"/>
  </EMPLOYEE>
</PLAN>
XML
sed 's/from="2026-11-02"/from="2026-11-03"/' "$work/ward.xml" >"$work/ward-moved.xml"
for plan in ward ward-moved; do
  "$tool" ics "$work/$plan.xml" --employee eva --month 2026-11 --tz Europe/Madrid -o "$work/$plan.ics" >/dev/null
done
expect 0 'new.ics: 2[0-9] events, [0-9]+ cancelled, [0-9]+ changed since .*ward.ics$' \
  ics "$work/ward-moved.xml" --employee eva --month 2026-11 --tz Europe/Madrid --previous "$work/ward.ics" -o "$work/new.ics"
check "slots keep their UIDs, leave cancels planned work, --previous cancels exactly what vanished" \
  "$py" - "$work/ward.ics" "$work/ward-moved.ics" "$work/new.ics" <<'PY'
import datetime, sys, icalendar
def events(path):
    return list(icalendar.Calendar.from_ical(open(path, 'rb').read()).walk('VEVENT'))
def wall(ev, name):
    t = ev.decoded(name)
    return t.replace(tzinfo=None) if isinstance(t, datetime.datetime) else datetime.datetime.combine(t, datetime.time())
def model(anchor):
    # The rotation M M N N - - from `anchor`; shifts that start on the leave
    # days (20th, 21st) are cancelled; plus the task and the leave.
    rows, shifts = [], {'M': (7, 'M Mañana'), 'N': (22, 'N Noche')}
    for day in range(1, 31):
        d = datetime.datetime(2026, 11, day)
        code = 'MMNN--'[(d - anchor).days % 6] if d >= anchor else '-'
        if code != '-' and day not in (20, 21):
            hour, summary = shifts[code]
            rows.append((d + datetime.timedelta(hours=hour), d + datetime.timedelta(hours=hour + 8), summary))
    rows.append((datetime.datetime(2026, 11, 10, 10), datetime.datetime(2026, 11, 10, 12), 'Tarea'))
    rows.append((datetime.datetime(2026, 11, 20), datetime.datetime(2026, 11, 22), 'Vacaciones'))
    return sorted(rows)
def slots(evs):
    # (day, place among the day's events by start) -> UID
    seen, out = {}, {}
    for ev in sorted(evs, key=lambda e: wall(e, 'dtstart')):
        day = wall(ev, 'dtstart').date()
        seen[day] = seen.get(day, 0) + 1
        out[(day, seen[day])] = str(ev['uid'])
    return out
old, moved, new = events(sys.argv[1]), events(sys.argv[2]), events(sys.argv[3])
for evs, anchor in ((old, datetime.datetime(2026, 11, 2)), (moved, datetime.datetime(2026, 11, 3))):
    got = sorted((wall(e, 'dtstart'), wall(e, 'dtend'), str(e['summary'])) for e in evs)
    assert got == model(anchor), f'{got}\n!=\n{model(anchor)}'
    assert len({str(e['uid']) for e in evs}) == len(evs), 'a UID repeats'
a, b = slots(old), slots(moved)
for key in set(a) & set(b):
    assert a[key] == b[key], (key, a[key], b[key])
assert len(set(a.values()) & set(b.values())) == len(set(a) & set(b))
# --previous: the moved events as they are, and a cancellation for exactly
# each UID of the old calendar that the moved one lacks.
byold = {str(e['uid']): e for e in old}
vanished = set(byold) - {str(e['uid']) for e in moved}
assert vanished, 'the move should leave slots empty'
cancelled = [e for e in new if str(e.get('status', '')) == 'CANCELLED']
assert {str(e['uid']) for e in cancelled} == vanished, sorted(str(e['uid']) for e in cancelled)
for e in cancelled:
    was = byold[str(e['uid'])]
    assert int(e['sequence']) == int(was.get('sequence', 0)) + 1
    assert (wall(e, 'dtstart'), wall(e, 'dtend')) == (wall(was, 'dtstart'), wall(was, 'dtend'))
    assert e['dtstart'].params['TZID'] == 'Europe/Madrid'
live = [e for e in new if str(e.get('status', '')) != 'CANCELLED']
key = lambda e: (str(e['uid']), wall(e, 'dtstart'), wall(e, 'dtend'), str(e['summary']))
assert sorted(map(key, live)) == sorted(map(key, moved))
for e in live:
    was = byold.get(str(e['uid']))
    changed = was is not None and key(was)[1:] != key(e)[1:]
    assert int(e.get('sequence', 0)) == (1 if changed else 0), (key(e), e.get('sequence'))
PY
"$tool" ics-import "$work/new.ics" --month 2026-11 --tz Europe/Madrid --format json >"$work/new.json" 2>/dev/null
"$tool" ics-import "$work/ward-moved.ics" --month 2026-11 --tz Europe/Madrid --format json >"$work/moved.json" 2>/dev/null
check "libical leaves the cancellations out: the followed calendar reads as the moved one" \
  cmp -s "$work/new.json" "$work/moved.json"
expect 0 'sound, calendar of' validate "$work/new.ics"
# Following again, into the file it reads, changes no byte.
cp "$work/new.ics" "$work/again.ics"
"$tool" ics "$work/ward-moved.xml" --employee eva --month 2026-11 --tz Europe/Madrid --previous "$work/again.ics" -o "$work/again.ics" >/dev/null
check "following the same plan again gives the same bytes" cmp -s "$work/new.ics" "$work/again.ics"
expect 1 "^cuadrante ics: .*points.xml: the text is no iCalendar calendar" \
  ics "$work/ward.xml" --employee eva --month 2026-11 --previous "$examples/points.xml"
printf 'BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nDTSTART:20261102T070000\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n' >"$work/nouid.ics"
expect 1 "^cuadrante ics: .*nouid.ics: event 1 has no UID$" \
  ics "$work/ward.xml" --employee eva --month 2026-11 --previous "$work/nouid.ics"
check "a refused --previous says one line and writes nothing" bash -c \
  "! '$tool' ics '$work/ward.xml' --employee eva --month 2026-11 --previous '$work/nouid.ics' -o '$work/none.ics' 2>'$work/err' && [ \$(wc -l <'$work/err') -eq 1 ] && [ ! -e '$work/none.ics' ]"

# Shifts the engine gave carry the category Motor after their type's, whatever
# the dictionary; python3-icalendar reads it on those events alone, and a
# night whose mark alone changes is a change for --previous.
cat >"$work/filled.xml" <<'XML'
<PLAN>
  <POST code="W" name="Sala"><NEED shift="N" people="1"/></POST>
  <SHIFT code="M" start="07:00" hours="8" type="2" name="Mañana"/>
  <SHIFT code="N" start="22:00" hours="8" type="2" name="Noche"/>
  <EMPLOYEE id="eva" name="Eva Sanz" post="W">
    <ITEM start="2026-12-01" shift="N" by="engine"/>
    <ITEM start="2026-12-02" shift="M"/>
    <ITEM start="2026-12-03" shift="N"/>
    <ITEM start="2026-12-04" shift="N" by="engine"/>
  </EMPLOYEE>
</PLAN>
XML
printf '[Localization]\nDictionary=.dic\n' >"$work/en.ini"
printf 'Horario\tShift\r\n' >"$work/en.ini.dic"
"$tool" ics "$work/filled.xml" --employee eva --month 2026-12 -o "$work/filled.ics" >/dev/null
"$tool" ics "$work/filled.xml" --employee eva --month 2026-12 --dict "$work/en.ini" -o "$work/filled-en.ics" >/dev/null
# The planner takes the 4th over; the engine gives the 3rd.
sed 's|2026-12-04" shift="N" by="engine"|2026-12-04" shift="N"|; s|2026-12-03" shift="N"|2026-12-03" shift="N" by="engine"|' \
  "$work/filled.xml" >"$work/taken.xml"
expect 0 'taken.ics: 4 events, 0 cancelled, 2 changed since ' \
  ics "$work/taken.xml" --employee eva --month 2026-12 --previous "$work/filled.ics" -o "$work/taken.ics"
check "python3-icalendar reads Motor on the engine's shifts alone, and a changed mark is a new SEQUENCE" \
  "$py" - "$work/filled.ics" "$work/filled-en.ics" "$work/taken.ics" <<'PY'
import sys, icalendar
def rows(path):
    out = []
    for e in icalendar.Calendar.from_ical(open(path, 'rb').read()).walk('VEVENT'):
        cats = e['categories']
        cats = [str(c) for one in (cats if isinstance(cats, list) else [cats]) for c in one.cats]
        out.append((e.decoded('dtstart').strftime('%d'), int(e.get('sequence', 0)), cats))
    return out
assert rows(sys.argv[1]) == [('01', 0, ['Horario', 'Motor']), ('02', 0, ['Horario']),
                             ('03', 0, ['Horario']), ('04', 0, ['Horario', 'Motor'])], rows(sys.argv[1])
assert rows(sys.argv[2]) == [('01', 0, ['Shift', 'Motor']), ('02', 0, ['Shift']),
                             ('03', 0, ['Shift']), ('04', 0, ['Shift', 'Motor'])], rows(sys.argv[2])
assert rows(sys.argv[3]) == [('01', 0, ['Horario', 'Motor']), ('02', 0, ['Horario']),
                             ('03', 1, ['Horario', 'Motor']), ('04', 1, ['Horario'])], rows(sys.argv[3])
PY
expect 0 'sound, calendar of' validate "$work/taken.ics"
"$tool" ics-import "$work/filled.ics" --month 2026-12 --format json >"$work/filled.json" 2>/dev/null
check "the engine's category leaves the type ics-import reads as it was" "$py" - "$work/filled.json" <<'PY'
import json, sys
got = [(p['start'][:10], p['type'], p['code']) for p in json.load(open(sys.argv[1]))]
assert got == [('2026-12-01', 2, 'N'), ('2026-12-02', 2, 'M'), ('2026-12-03', 2, 'N'),
               ('2026-12-04', 2, 'N')], got
PY

# Export, import into a document of boxes, export again: SUMMARY, shift code
# and type come back; Python's XML parser reads the boxes.
"$tool" ics-import "$work/ward.ics" --month 2026-11 --tz Europe/Madrid -o "$work/back.xml" >/dev/null 2>&1
"$tool" ics "$work/back.xml" --month 2026-11 --tz Europe/Madrid -o "$work/back.ics" >/dev/null
check "an export, imported and exported again, keeps SUMMARY, code and type" \
  "$py" - "$work/ward.ics" "$work/back.xml" "$work/back.ics" <<'PY'
import sys, icalendar, xml.etree.ElementTree as ET
def rows(path):
    cal = icalendar.Calendar.from_ical(open(path, 'rb').read())
    return [(e.decoded('dtstart'), e.decoded('dtend'), str(e['summary']), str(e['x-cuadrante-type']),
             str(e.get('x-cuadrante-shift', ''))) for e in cal.walk('VEVENT')]
first, again = rows(sys.argv[1]), rows(sys.argv[3])
assert first == again, f'{first}\n!=\n{again}'
assert {r[4] for r in first} == {'M', 'N', ''} and {r[3] for r in first} == {'2', '3', '9'}
boxes = [p.text.split(';') for p in ET.parse(sys.argv[2]).getroot()]
assert all(len(b) == 7 for b in boxes)
assert [(b[2], b[5].strip()) for b in boxes] == [(r[3], r[4]) for r in first], boxes
PY
expect 0 '22:00 .* N +N Noche$' ics-import "$work/ward.ics" --from 2026-11-04 --to 2026-11-04 --tz Europe/Madrid

# Without --tz, UTC and zoned times take the system's zone (TZ here), and
# stderr says which; floating times stay as written.
printf 'BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//t//EN\r\nBEGIN:VEVENT\r\nUID:u\r\nDTSTART:20261102T210000Z\r\nDTEND:20261102T220000Z\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:z\r\nDTSTART;TZID=America/New_York:20261103T160000\r\nDTEND;TZID=America/New_York:20261103T170000\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:f\r\nDTSTART:20261104T210000\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n' >"$work/utc.ics"
TZ=Europe/Madrid "$tool" ics-import "$work/utc.ics" --month 2026-11 --format csv >"$work/local.csv" 2>"$work/local.err"
check "TZ=Europe/Madrid puts 21:00Z at 22:00 and 16:00 in New York at 22:00; floating stays" \
  "$py" - "$work/local.csv" <<'PY'
import csv, sys
starts = [row['start'] for row in csv.DictReader(open(sys.argv[1], newline=''))]
assert starts == ['2026-11-02T22:00:00', '2026-11-03T22:00:00', '2026-11-04T21:00:00'], starts
PY
check "ics-import names the zone it chose, on one line" \
  grep -qx 'cuadrante ics-import: zoned and UTC times on the clock of Europe/Madrid (TZ)' "$work/local.err"
TZ=Mars/Base expect 0 "TZ 'Mars/Base' is no zone of the tz database" ics-import "$work/utc.ics" --month 2026-11
TZ=UTC expect 0 '^ +0 02/11/2026 21:00 ' ics-import "$work/utc.ics" --month 2026-11
check "--tz is said nowhere: the person chose it" bash -c \
  "'$tool' ics-import '$work/utc.ics' --month 2026-11 --tz Asia/Tokyo 2>&1 >/dev/null | grep -c . | grep -qx 0"


# Hostile calendars end, and quickly: a rule no time can match (libical's
# iterator never returns from it), a zone that changes every second, a time
# libical would normalise, a line it would read in quadratic time.
crlf() { sed 's/$/\r/'; }
printf 'BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:m\nDTSTART:20260101T000000\nRRULE:FREQ=MINUTELY;BYYEARDAY=366;BYMONTH=2\nEND:VEVENT\nEND:VCALENDAR\n' | crlf >"$work/never.ics"
check "a rule no minute can match ends with no items" bash -c \
  "timeout 20 '$tool' ics-import '$work/never.ics' --from 2026-01-01 --to 2026-12-31 --tz UTC | grep -qx '0 items from .*never.ics'"
printf 'BEGIN:VCALENDAR\nBEGIN:VTIMEZONE\nTZID:Hostile\nBEGIN:STANDARD\nDTSTART:19700101T000000\nRRULE:FREQ=SECONDLY\nTZOFFSETFROM:+0100\nTZOFFSETTO:+0200\nEND:STANDARD\nEND:VTIMEZONE\nBEGIN:VEVENT\nUID:z\nDTSTART;TZID=Hostile:20261102T090000\nEND:VEVENT\nEND:VCALENDAR\n' | crlf >"$work/zone.ics"
check "a zone that changes every second is refused by name" bash -c \
  "timeout 20 '$tool' ics-import '$work/zone.ics' --month 2026-11 --tz Europe/Madrid 2>&1 | grep -qF \"VTIMEZONE 'Hostile' (line 6: an observance's RRULE with FREQ=SECONDLY\""
printf 'BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:bad\nDTSTART:20261101T236099\nEND:VEVENT\nBEGIN:VEVENT\nUID:good\nDTSTART:20261103T100000\nEND:VEVENT\nEND:VCALENDAR\n' | crlf >"$work/minute.ics"
expect 1 "event 'bad' \(line 2\): line 4: DTSTART '20261101T236099': minute 60 \(0-59\)" \
  ics-import "$work/minute.ics" --month 2026-11 --tz UTC
"$tool" ics-import "$work/minute.ics" --month 2026-11 --tz UTC --skip-bad --format csv >"$work/skip.csv" 2>"$work/skip.err"
check "--skip-bad leaves the bad event out with one line and reads the rest" bash -c \
  "[ \$(wc -l <'$work/skip.err') -eq 1 ] && grep -q \"line 2: event 'bad' skipped: line 4: DTSTART\" '$work/skip.err' && grep -q '^0,2026-11-03T10:00:00,' '$work/skip.csv'"
"$py" -c "import sys; sys.stdout.write('BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:l\r\nDTSTART:20261102T000000\r\nDESCRIPTION:' + 'a' * (10 << 20) + '\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n')" >"$work/long.ics"
expect 1 'long.ics: line 5: a content line longer than 1048576 octets' ics-import "$work/long.ics" --month 2026-11 --tz UTC

# Rules finer than a day are walked by the tool, not libical: dateutil, on
# its own, expands them alike.
printf 'BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:s\nDTSTART:20261102T115959\nRRULE:FREQ=SECONDLY;INTERVAL=7;BYHOUR=12;BYMINUTE=0;UNTIL=20261104T120030\nEND:VEVENT\nBEGIN:VEVENT\nUID:h\nDTSTART:20261101T000000\nRRULE:FREQ=HOURLY;INTERVAL=13;BYYEARDAY=306,307,308;BYMONTH=11\nEND:VEVENT\nEND:VCALENDAR\n' | crlf >"$work/fine.ics"
"$tool" ics-import "$work/fine.ics" --month 2026-11 --tz UTC --format json >"$work/fine.json"
check "sub-daily rules expand as dateutil expands them" "$py" - "$work/fine.json" <<'PY'
import datetime, json, sys
from dateutil.rrule import rrulestr
want = []
for rule, start in (('FREQ=SECONDLY;INTERVAL=7;BYHOUR=12;BYMINUTE=0;UNTIL=20261104T120030', datetime.datetime(2026, 11, 2, 11, 59, 59)),
                    ('FREQ=HOURLY;INTERVAL=13;BYYEARDAY=306,307,308;BYMONTH=11', datetime.datetime(2026, 11, 1))):
    want += [t.isoformat() for t in rrulestr(rule, dtstart=start) if t < datetime.datetime(2026, 12, 1)]
got = [p['start'] for p in json.load(open(sys.argv[1]))]
assert got == sorted(want), f'{got}\n!=\n{sorted(want)}'
PY

# The calendar's end: an all-day item on 31/12/9999 and one in the year 5000
# go out and come back alike, and python3-icalendar reads both.
printf '<POINTSMGR><POINT>%s;86400;9;1</POINT><POINT>%s;7200;2;1</POINT></POINTSMGR>\n' \
  $((2958465 * 86400)) $((1132960 * 86400 + 9 * 3600)) >"$work/far.xml"
for year in 5001 9999; do
  "$tool" ics "$work/far.xml" --from $year-01-01 --to $year-12-31 --tz Europe/Madrid -o "$work/far$year.ics" >/dev/null
  "$tool" points "$work/far.xml" --from $year-01-01 --to $year-12-31 --format json >"$work/far$year.points" 2>/dev/null
  "$tool" ics-import "$work/far$year.ics" --from $year-01-01 --to $year-12-31 --tz Europe/Madrid --format json >"$work/far$year.json"
  check "the year $year goes out and comes back, and python3-icalendar reads it" \
    "$py" - "$work/far$year.ics" "$work/far$year.points" "$work/far$year.json" <<'PY'
import datetime, json, sys, icalendar
cal = icalendar.Calendar.from_ical(open(sys.argv[1], 'rb').read())
events = list(cal.walk('VEVENT'))
assert len(events) == 1, len(events)
start = events[0].decoded('dtstart')
# Python's dates end with 9999 too: an end in the year 10000 is a DURATION.
length = events[0].decoded('duration') if 'duration' in events[0] else None
points = [(p['start'], p['seconds']) for p in json.load(open(sys.argv[2]))]
back = [(p['start'], p['seconds']) for p in json.load(open(sys.argv[3]))]
assert back == points, f'{back} != {points}'
naive = lambda t: t.replace(tzinfo=None) if isinstance(t, datetime.datetime) else datetime.datetime.combine(t, datetime.time())
assert naive(start).isoformat() == points[0][0], (start, points)
if length is None:
    length = naive(events[0].decoded('dtend')) - naive(start)
assert length.total_seconds() == points[0][1], (start, length)
PY
done

finish
