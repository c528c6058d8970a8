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
expect_in 0 '^luis +UCI ' "$plan" plan roster - --from 2026-11-02 --to 2026-11-08

# Refused plans: the element, the reason, status 1; misuse: status 2.
printf '<PLAN><SHIFT code="M" start="07:00" hours="8"/><EMPLOYEE id="a"><RULE shift="X" from="2026-11-02"/></EMPLOYEE></PLAN>' >"$work/bad.xml"
expect 1 "bad.xml: EMPLOYEE a: RULE 1: shift 'X' is no SHIFT of the plan$" plan roster "$work/bad.xml" "${november[@]}"
printf '<PLAN><POST code="P"><NEED people="1" from="7" hours="8"/></POST></PLAN>' >"$work/bad.xml"
expect 1 "POST P: NEED 1: from '7' is no time of day" plan hours "$work/bad.xml" "${november[@]}"
expect 1 'is no plan document \(its root is POINTSMGR' plan roster "$examples/points.xml" "${november[@]}"
expect 2 "expects roster or hours, not 'coverage'" plan coverage "$plan" "${november[@]}"
expect 2 'takes --month or --from and --to, not both' plan roster "$plan" --month 2026-11 --from 2026-11-01
expect 1 "--month '2026-13' is no month" plan hours "$plan" --month 2026-13

finish
