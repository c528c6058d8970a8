#!/usr/bin/env bash
# The plan commands of the built host on examples/plan.xml: the roster a
# planner reads, hours against contracts (checked by an independent count in
# Python), every list format, and plans refused with element and reason.
source "$(dirname "$0")/e2e.sh" "$@"

plan=$examples/plan.xml
november=(--month 2026-11)

# Roster: a shift on the day it starts, leave on every day it covers.
expect 0 '^eva +UCI +S48 23/11 +- +- +T 15-23 +T 15-23 +N 22-06 +N 22-06 +-$' plan roster "$plan" --from 2026-11-23 --to 2026-11-29
expect 0 '^tomas +URG +S48 23/11 +D 08-20 +D 08-20 +Tarea 09-13 ' plan roster "$plan" --from 2026-11-23 --to 2026-11-29
expect 0 '^ana +UCI +S48 23/11 +Vacaciones/M 07-15 ' plan roster "$plan" "${november[@]}"
expect 0 '^sara +URG +S46 09/11 .*Baja laboral 08-20' plan roster "$plan" "${november[@]}"
# The night of Tuesday 3 November 22:00 belongs to a range that starts on the 4th,
# and shows on its own day.
expect 0 '^eva +UCI +S45 02/11 +- +N 22-06 +N 22-06 ' plan roster "$plan" --from 2026-11-04 --to 2026-11-08

# Hours: an independent count of every rotation and rule of the plan, minute
# by minute over November, against the totals the tool prints.
"$tool" plan hours "$plan" "${november[@]}" --format json >"$work/hours.json"
check "hours agree with a minute-by-minute count in Python" python3 - "$plan" "$work/hours.json" <<'PY'
import datetime, json, sys, xml.etree.ElementTree as ET
plan = ET.parse(sys.argv[1]).getroot()
shifts = {s.get('code'): (int(s.get('start')[:2]) * 60 + int(s.get('start')[3:]), float(s.get('hours')) * 60)
          for s in plan.iter('SHIFT')}
first, last = datetime.datetime(2026, 11, 1), datetime.datetime(2026, 12, 1)
def minutes_in(start, length):
    end = start + datetime.timedelta(minutes=length)
    return max(0, (min(end, last) - max(start, first)).total_seconds() / 60)
rows = {r['employee']: r for r in json.load(open(sys.argv[2])) if r['week'] == 'total'}
for person in plan.iter('EMPLOYEE'):
    work = 0
    for rot in person.iter('ROTATION'):
        pattern, anchor = rot.get('pattern').split(), datetime.datetime.fromisoformat(rot.get('from'))
        day = anchor
        while day < last:
            code = pattern[(day - anchor).days % len(pattern)]
            if code != '-':
                start, length = shifts[code]
                work += minutes_in(day + datetime.timedelta(minutes=start), length)
            day += datetime.timedelta(days=1)
    for rule in person.iter('RULE'):
        if rule.get('shift'):  # daily rules from their start, weekends skipped
            start, length = shifts[rule.get('shift')]
            day = datetime.datetime.fromisoformat(rule.get('from'))
            while day < last:
                if day.weekday() < 5:
                    work += minutes_in(day + datetime.timedelta(minutes=start), length)
                day += datetime.timedelta(days=1)
        else:  # the stored weekly task of 4 hours, a Wednesday from 04/11 09:00
            day = datetime.datetime(2026, 11, 4, 9)
            while day < last:
                work += minutes_in(day, 240)
                day += datetime.timedelta(days=7)
    got = rows[person.get('id')]['work'] * 60
    assert abs(got - work) < 0.01, (person.get('id'), got, work)
PY
expect 0 '^eva +UCI +total +128:00 +0:00 +0:00 +171:26 +-43:26$' plan hours "$plan" "${november[@]}"
expect 0 '^ana +UCI +S48 23/11 +40:00 +120:00 ' plan hours "$plan" "${november[@]}"
expect 0 '^employee,post,week,work,absence,other,contract,balance' plan hours "$plan" "${november[@]}" --format csv
expect 0 '^eva +UCI +nov 2026 +128:00 ' plan hours "$plan" "${november[@]}" --by month
expect 0 '^eva +UCI +04/11/2026 +8:00 ' plan hours "$plan" --from 2026-11-04 --to 2026-11-05 --by day
expect 2 "--by takes day, week or month, not 'year'" plan hours "$plan" "${november[@]}" --by year
expect_in 0 '^luis +UCI ' "$plan" plan roster - --from 2026-11-02 --to 2026-11-08

# Checks: every breach with person, span and rule; status 1 when there is one.
expect 1 '^ana +work during absence +23/11/2026 07:00 +23/11/2026 15:00 ' plan check "$plan" "${november[@]}"
expect 1 '^tomas +overlap +04/11/2026 09:00 +04/11/2026 13:00 +D 04/11/2026 08:00-20:00 and type 3' plan check "$plan" "${november[@]}"
expect 1 '^tomas +week over maximum +23/11/2026 00:00 +30/11/2026 00:00 +week 48: 52:00 of work, more than 48:00$' plan check "$plan" "${november[@]}"
# A five-person 24/7 rota that keeps every rule, and the limits moved on the command line.
{
  printf '<PLAN><SHIFT code="M" start="07:00" hours="8"/><SHIFT code="T" start="15:00" hours="8"/>'
  printf '<SHIFT code="N" start="22:00" hours="8"/><POST code="W"><NEED people="1" from="07:00" hours="8"/>'
  printf '<NEED people="1" from="15:00" hours="8"/><NEED people="1" from="22:00" hours="8"/></POST>'
  for person in 0 1 2 3 4; do
    printf '<EMPLOYEE id="p%s" post="W" contract="48"><ROTATION pattern="M M T T N N - - - -" from="2026-10-%s"/></EMPLOYEE>' \
      "$person" $((12 + 2 * person))
  done
  printf '</PLAN>'
} >"$work/rota.xml"
expect 0 '^0 breaches$' plan check "$work/rota.xml" "${november[@]}"
expect 0 '^0 gaps$' plan coverage "$work/rota.xml" "${november[@]}"
expect 1 'too many days in a row .* 6 consecutive days with work, more than 5$' plan check "$work/rota.xml" "${november[@]}" --max-days 5
expect 1 'short rest .*16:00 of rest .* less than 17:00$' plan check "$work/rota.xml" "${november[@]}" --min-rest=17
expect 2 "--max-week takes hours \(8, 7.5 or 7:30\), not 'lots'" plan check "$work/rota.xml" "${november[@]}" --max-week lots

# Coverage: the spans where the people at work differ from the need.
expect 0 '^URG +04/11/2026 09:00 +04/11/2026 13:00 +1 +2 +-1$' plan coverage "$plan" "${november[@]}"
expect 0 '^UCI +01/11/2026 00:00 +01/11/2026 06:00 +1 +0 +1$' plan coverage "$plan" "${november[@]}"
for list in roster hours check coverage; do
  "$tool" plan "$list" "$plan" "${november[@]}" --format json >"$work/$list.json"
  check "plan $list --format json is JSON Python reads" python3 -c 'import json, sys; assert isinstance(json.load(open(sys.argv[1])), list)' "$work/$list.json"
done

# The picture: a box an item (whole-day absences in a tint of their colour), a
# red line a breach, a bar a coverage gap, as many as check and coverage list.
expect 0 'plan.svg: 8 people, 23 breaches, 9 coverage gaps$' plan render "$plan" "${november[@]}" -o "$work/plan.svg"
breaches=$("$tool" plan check "$plan" "${november[@]}" --format csv | tail -n +2 | wc -l)
gaps=$("$tool" plan coverage "$plan" "${november[@]}" --format csv | tail -n +2 | wc -l)
check "the picture has one line a breach and one bar a gap ($breaches, $gaps)" python3 - "$work/plan.svg" "$breaches" "$gaps" <<'PY'
import sys, xml.etree.ElementTree as ET
ns = '{http://www.w3.org/2000/svg}'
rects = list(ET.parse(sys.argv[1]).iter(ns + 'rect'))
count = lambda cls: sum(1 for r in rects if r.get('class') == cls)
assert count('breach') == int(sys.argv[2]), count('breach')
assert count('gap') == int(sys.argv[3]), count('gap')
boxes = [r for r in rects if r.get('class') == 'box']
assert len(boxes) > 100, len(boxes)
# Ana's leave is one box of five days (240 px at 48 a day), in a tint of its colour.
assert [int(r.get('width')) for r in boxes if r.get('data-type') == '9'] == [240]
PY
expect 2 'plan.xml is the plan; write the picture elsewhere' plan render "$plan" "${november[@]}" -o "$plan"
expect 1 'a plan picture shows at most 62 days' plan render "$plan" --from 2026-01-01 --to 2026-12-31 -o "$work/year.svg"

# Refused plans: the element, the reason, status 1; misuse: status 2.
printf '<PLAN><SHIFT code="M" start="07:00" hours="8"/><EMPLOYEE id="a"><RULE shift="X" from="2026-11-02"/></EMPLOYEE></PLAN>' >"$work/bad.xml"
expect 1 "bad.xml: EMPLOYEE a: RULE 1: shift 'X' is no SHIFT of the plan$" plan roster "$work/bad.xml" "${november[@]}"
printf '<PLAN><POST code="P"><NEED people="1" from="7" hours="8"/></POST></PLAN>' >"$work/bad.xml"
expect 1 "POST P: NEED 1: from '7' is no time of day" plan hours "$work/bad.xml" "${november[@]}"
expect 1 'is no plan document \(its root is POINTSMGR' plan roster "$examples/points.xml" "${november[@]}"
expect 2 "expects roster, hours, check, coverage or render, not 'publish'" plan publish "$plan" "${november[@]}"
expect 2 'takes --month or --from and --to, not both' plan roster "$plan" --month 2026-11 --from 2026-11-01
expect 1 "--month '2026-13' is no month" plan hours "$plan" --month 2026-13

finish
