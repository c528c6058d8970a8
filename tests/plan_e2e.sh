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
# Leave cancels the planned shifts under it: the roster shows the absence, and
# the lists for programs carry the cancelled shift beside it.
expect 0 '^ana +UCI +S48 23/11 +Vacaciones +Vacaciones ' plan roster "$plan" "${november[@]}"
expect 0 '^sara +URG +S46 09/11 .*Baja laboral( 08-20|…) +D 08-20 +-' plan roster "$plan" "${november[@]}"
expect 0 '^rosa,UCI,2026-11-23,2026-W48,Vacaciones,N 22-06' plan roster "$plan" "${november[@]}" --format csv
# An ITEM names its shift; days of a week row outside the range say so.
expect 0 '^luis +UCI +S48 23/11 +M 07-15 .* N 22-06 +- *$' plan roster "$plan" "${november[@]}"
expect 0 '^luis +UCI +S49 30/11 +M 07-15 +fuera +fuera ' plan roster "$plan" "${november[@]}"
# The night of Tuesday 3 November 22:00 belongs to a range that starts on the 4th,
# and shows on its own day.
expect 0 '^eva +UCI +S45 02/11 +fuera +N 22-06 +N 22-06 ' plan roster "$plan" --from 2026-11-04 --to 2026-11-08

# Hours: an independent count of every rotation and rule of the plan, minute
# by minute over November, against the totals the tool prints.
"$tool" plan hours "$plan" "${november[@]}" --format json >"$work/hours.json"
check "hours agree with a minute-by-minute count in Python" python3 - "$plan" "$work/hours.json" <<'PY'
import datetime, json, sys, xml.etree.ElementTree as ET
plan = ET.parse(sys.argv[1]).getroot()
shifts = {s.get('code'): (int(s.get('start')[:2]) * 60 + int(s.get('start')[3:]), float(s.get('hours')) * 60)
          for s in plan.iter('SHIFT')}
first, last = datetime.datetime(2026, 11, 1), datetime.datetime(2026, 12, 1)
rows = {r['employee']: r for r in json.load(open(sys.argv[2])) if r['week'] == 'total'}
def at(text):
    return datetime.datetime.fromisoformat(text)
for person in plan.iter('EMPLOYEE'):
    # Planned shifts that start under an absence are cancelled.
    absent = [(at(l.get('from')), at(l.get('to')) + datetime.timedelta(days=1)) for l in person.iter('LEAVE')]
    absent += [(at(i.get('start')), at(i.get('start')) + datetime.timedelta(hours=float(i.get('hours'))))
               for i in person.iter('ITEM') if i.get('type') in ('4', '6', '7', '9')]
    def minutes_in(start, length, planned=True):
        if planned and any(a <= start < b for a, b in absent):
            return 0
        end = start + datetime.timedelta(minutes=length)
        return max(0, (min(end, last) - max(start, first)).total_seconds() / 60)
    work = 0
    for item in person.iter('ITEM'):
        if item.get('shift'):
            start, length = shifts[item.get('shift')]
            work += minutes_in(at(item.get('start')) + datetime.timedelta(minutes=start), length, False)
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
# A 24/7 contract spreads 40 h over seven days; leave credits each contract
# day's share, so a week of it balances to 0:00.
expect 0 '^eva +UCI +total +128:00 +0:00 +0:00 +171:26 +-43:26$' plan hours "$plan" "${november[@]}"
expect 0 '^rosa +UCI +total +88:00 +17:09 +0:00 +171:26 +-66:17$' plan hours "$plan" "${november[@]}"
expect 0 '^ana +UCI +S48 23/11 +0:00 +40:00 +0:00 +40:00 +0:00$' plan hours "$plan" "${november[@]}"
expect 0 '^employee,post,week,work,absence,other,contract,balance' plan hours "$plan" "${november[@]}" --format csv
expect 0 '^eva +UCI +nov 2026 +128:00 ' plan hours "$plan" "${november[@]}" --by month
expect 0 '^eva +UCI +04/11/2026 +8:00 ' plan hours "$plan" --from 2026-11-04 --to 2026-11-05 --by day
expect 2 "--by takes day, week or month, not 'year'" plan hours "$plan" "${november[@]}" --by year
expect_in 0 '^luis +UCI ' "$plan" plan roster - --from 2026-11-02 --to 2026-11-08

# Checks: every breach with person, span and rule; status 1 when there is one.
expect 1 '^tomas +overlap +04/11/2026 09:00 +04/11/2026 13:00 +D 04/11/2026 08:00-20:00 and Tarea 04/11/2026 09:00-13:00$' plan check "$plan" "${november[@]}"
expect 1 '^tomas +week over maximum +23/11/2026 00:00 +30/11/2026 00:00 +2026-W48: 52:00 of work, more than 48:00$' plan check "$plan" "${november[@]}"
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
# People, not items: Tomás's task inside his own day shift is one person at work.
expect 0 '^URG +18/11/2026 09:00 +18/11/2026 13:00 +1 +2 +-1$' plan coverage "$plan" "${november[@]}"
check "a person with two items at once counts once" bash -c '! "$0" plan coverage "$1" --month 2026-11 | grep -q "^URG *04/11"' "$tool" "$plan"
expect 0 '^UCI +01/11/2026 00:00 +01/11/2026 06:00 +1 +0 +1$' plan coverage "$plan" "${november[@]}"
for list in roster hours check coverage; do
  "$tool" plan "$list" "$plan" "${november[@]}" --format json >"$work/$list.json"
  check "plan $list --format json is JSON Python reads" python3 -c 'import json, sys; assert isinstance(json.load(open(sys.argv[1])), list)' "$work/$list.json"
done

# The picture: a box an item (whole-day absences in a tint of their colour), a
# red line a breach, a bar a coverage gap, as many as check and coverage list.
expect 0 'plan.svg: 8 people, 12 breaches, 21 coverage gaps$' plan render "$plan" "${november[@]}" -o "$work/plan.svg"
breaches=$("$tool" plan check "$plan" "${november[@]}" --format csv | tail -n +2 | wc -l)
gaps=$("$tool" plan coverage "$plan" "${november[@]}" --format csv | tail -n +2 | wc -l)
check "the picture has one line a breach and one bar a gap ($breaches, $gaps)" python3 - "$work/plan.svg" "$breaches" "$gaps" <<'PY'
import sys, xml.etree.ElementTree as ET
ns = '{http://www.w3.org/2000/svg}'
rects = list(ET.parse(sys.argv[1]).iter(ns + 'rect'))
count = lambda cls: sum(1 for r in rects if r.get('class') == cls)
# Breaches of a week are bands on their week, the others marks on their span.
assert count('breach') + count('week-breach') == int(sys.argv[2]), (count('breach'), count('week-breach'))
assert count('gap') == int(sys.argv[3]), count('gap')
boxes = [r for r in rects if r.get('class') == 'box']
assert len(boxes) > 100, len(boxes)
# Rosa's leave is one box of three days and Ana's of five (48 px a day).
assert sorted(int(r.get('width')) for r in boxes if r.get('data-type') == '9') == [144, 240]
PY
expect 2 'plan.xml is the plan; write the picture elsewhere' plan render "$plan" "${november[@]}" -o "$plan"
expect 1 'a plan picture shows at most 62 days' plan render "$plan" --from 2026-01-01 --to 2026-12-31 -o "$work/year.svg"

# Refused plans: the element, the reason, status 1; misuse: status 2.
printf '<PLAN><SHIFT code="M" start="07:00" hours="8"/><EMPLOYEE id="a"><RULE shift="X" from="2026-11-02"/></EMPLOYEE></PLAN>' >"$work/bad.xml"
expect 1 "bad.xml: EMPLOYEE a: RULE 1: shift 'X' is no SHIFT of the plan$" plan roster "$work/bad.xml" "${november[@]}"
printf '<PLAN><POST code="P"><NEED people="1" from="7" hours="8"/></POST></PLAN>' >"$work/bad.xml"
expect 1 "POST P: NEED 1: from '7' is no time of day" plan hours "$work/bad.xml" "${november[@]}"
expect 1 'is no plan document \(its root is POINTSMGR' plan roster "$examples/points.xml" "${november[@]}"
expect 2 "expects roster, hours, check, coverage, render or solve, not 'publish'" plan publish "$plan" "${november[@]}"
expect 2 'takes --month or --from and --to, not both' plan roster "$plan" --month 2026-11 --from 2026-11-01
expect 1 "--month '2026-13' is no month" plan hours "$plan" --month 2026-13

# A ward planner's month by month. Ana works nine days in a row from 26
# November to 4 December and a 56 h week from 28 December to 3 January; Bea's
# 8 h rest ends on the 1st; Carla works 5 x 7 h every week of a 35 h contract.
cat >"$work/ward.xml" <<'XML'
<PLAN>
  <LIMITS minRest="12" maxWeek="48" maxDays="6"/>
  <POST code="REC"><NEED people="1" from="08:00" hours="7" days="weekdays"/></POST>
  <POST code="UCI" worksHolidays="1"><NEED people="1" from="22:00" hours="8"/></POST>
  <SHIFT code="M" start="08:00" hours="7"/>
  <SHIFT code="L" start="08:00" hours="8"/>
  <SHIFT code="N" start="22:00" hours="8"/>
  <HOLIDAY date="2026-12-08"/>
  <EMPLOYEE id="ana" post="UCI" contract="40">
    <RULE shift="L" every="day" weekend="1" from="2026-11-26" until="2026-12-04"/>
    <RULE shift="L" every="day" weekend="1" from="2026-12-28" until="2027-01-03"/>
  </EMPLOYEE>
  <EMPLOYEE id="bea" post="UCI" contract="40" contractDays="all">
    <ITEM start="2026-11-30" shift="N"/>
    <ITEM start="2026-12-01T14:00" hours="8" type="2"/>
    <ITEM start="2026-12-08" shift="N"/>
  </EMPLOYEE>
  <EMPLOYEE id="carla" post="REC" contract="35">
    <RULE shift="M" every="day" from="2026-11-30" until="2027-01-31"/>
    <LEAVE from="2026-12-02" to="2026-12-03"/>
    <LEAVE from="2026-12-04" to="2026-12-04" type="7"/>
  </EMPLOYEE>
  <EMPLOYEE id="dani" post="REC">
    <RULE shift="M" every="week" from="2026-12-05"/>
    <ITEM start="2026-12-10T10:00" hours="0" type="6"/>
  </EMPLOYEE>
</PLAN>
XML
ward=$work/ward.xml
for month in 2026-11 2026-12 2027-01; do
  "$tool" plan check "$ward" --month $month --format csv 2>/dev/null | tail -n +2 >"$work/check-$month.csv"
done
"$tool" plan check "$ward" --from 2026-11-01 --to 2027-01-31 --format csv 2>/dev/null | tail -n +2 >"$work/check-all.csv"
check "checking month by month finds what one range over the three months finds" python3 - "$work" <<'PY'
import csv, datetime, sys
d = sys.argv[1]
read = lambda name: {tuple(r) for r in csv.reader(open(f'{d}/check-{name}.csv', newline=''))}
joined = read('all')
months = {'2026-11': (datetime.datetime(2026, 11, 1), datetime.datetime(2026, 12, 1)),
          '2026-12': (datetime.datetime(2026, 12, 1), datetime.datetime(2027, 1, 1)),
          '2027-01': (datetime.datetime(2027, 1, 1), datetime.datetime(2027, 2, 1))}
kinds = {r[1] for r in joined}
assert {'too many days in a row', 'week over maximum', 'short rest'} <= kinds, kinds
for name, (start, end) in months.items():
    touching = {r for r in joined
                if datetime.datetime.fromisoformat(r[2]) < end and datetime.datetime.fromisoformat(r[3]) > start}
    assert read(name) == touching, (name, read(name) ^ touching)
PY
expect 1 '^ana +too many days in a row +26/11/2026 00:00 +05/12/2026 00:00 +9 consecutive' plan check "$ward" --month 2026-11
expect 1 '^ana +too many days in a row +26/11/2026 00:00 +05/12/2026 00:00 +9 consecutive' plan check "$ward" --month 2026-12
expect 1 '^ana +week over maximum +28/12/2026 00:00 +04/01/2027 00:00 +2026-W53: 56:00' plan check "$ward" --month 2027-01
expect 1 '^bea +short rest +01/12/2026 06:00 +01/12/2026 14:00 +8:00 of rest between N 30/11/2026 22:00-06:00' plan check "$ward" --month 2026-12
# A post that works holidays: Bea's night of the 8th is no breach.
check "work on a holiday is no breach where the post works holidays" bash -c '! "$0" plan check "$1" --month 2026-12 2>/dev/null | grep -q "^bea .*holiday"' "$tool" "$ward"
expect 1 '^carla +work on a holiday +08/12/2026 08:00 +08/12/2026 15:00 +M 08/12/2026 08:00-15:00 on the holiday of 08/12/2026$' plan check "$ward" --month 2026-12
# Contract and credit: the same totals by day, week and month; a week worked
# exactly to a 35 h contract balances to 0:00; leave and sick leave credit 7 h a day.
for by in day week month; do
  "$tool" plan hours "$ward" --from 2026-11-30 --to 2027-01-10 --by $by --format json 2>/dev/null >"$work/hours-$by.json"
done
check "hours totals agree to the second by day, week and month" python3 - "$work" <<'PY'
import json, sys
totals = [{r['employee']: r for r in json.load(open(f'{sys.argv[1]}/hours-{by}.json')) if r[by] == 'total'}
          for by in ('day', 'week', 'month')]
assert totals[0] == {k: dict(v, week='total') for k, v in totals[1].items()} or True
for person in totals[0]:
    rows = [{k: v for k, v in t[person].items() if k not in ('day', 'week', 'month')} for t in totals]
    assert rows[0] == rows[1] == rows[2], (person, rows)
weeks = [r for r in json.load(open(f'{sys.argv[1]}/hours-week.json')) if r['employee'] == 'carla']
assert [r['week'] for r in weeks][:2] == ['2026-W49', '2026-W50'], weeks
# The holiday of the 8th takes its share off the contract; Carla works it.
assert [r['balance'] for r in weeks] == [0, 7, 0, 0, 0, 0, 7], weeks
assert weeks[0]['absence'] == 21 and weeks[0]['work'] == 14, weeks[0]
PY
expect 0 '^carla +REC +S49 01/12 +7:00 +21:00 +0:00 +28:00 +0:00$' plan hours "$ward" --month 2026-12
expect 0 '^carla +REC +S50 07/12 +35:00 +0:00 +0:00 +28:00 +7:00$' plan hours "$ward" --month 2026-12
# Leave empties the desk: coverage sees it, and Carla's cancelled mornings are listed as such.
expect 0 '^REC +02/12/2026 08:00 +02/12/2026 15:00 +1 +0 +1$' plan coverage "$ward" --month 2026-12
expect 0 '^carla,REC,2026-12-04,2026-W49,Baja laboral,M 08-15' plan roster "$ward" --month 2026-12 --format csv --employee carla
check "the check's JSON times are ISO 8601" python3 -c '
import datetime, json, subprocess, sys
rows = json.loads(subprocess.run([sys.argv[1], "plan", "check", sys.argv[2], "--month", "2026-12", "--format", "json"], capture_output=True).stdout)
assert rows and all(datetime.datetime.fromisoformat(r["from"]) and "T" in r["to"] for r in rows), rows' "$tool" "$ward"
# What the plan leaves unsaid is said on stderr, once each.
expect 0 'warning: EMPLOYEE dani: RULE 1 has no occurrence .*weekend day' plan roster "$ward" --month 2026-12
expect 0 'warning: EMPLOYEE dani has no contract' plan roster "$ward" --month 2026-12
expect 0 'warning: EMPLOYEE dani: the ITEM at 10/12/2026 10:00 lasts no time' plan roster "$ward" --month 2026-12
# The filters, and options a command does not use.
check "--employee shows one person" bash -c '[[ $("$0" plan hours "$1" --month 2026-12 --employee bea 2>/dev/null | tail -n +2 | awk "{print \$1}" | sort -u) == bea ]]' "$tool" "$ward"
expect 1 "no employee 'zoe'" plan roster "$ward" --month 2026-12 --employee zoe
expect 2 'plan roster does not take --by' plan roster "$ward" --month 2026-12 --by month
expect 2 'plan roster does not take --min-rest' plan roster "$ward" --month 2026-12 --min-rest 8
expect 2 'plan render does not take --format' plan render "$ward" --month 2026-12 --format json -o "$work/x.svg"
expect 2 'plan coverage does not take --by' plan coverage "$ward" --month 2026-12 --by day
expect 0 'ward.xml: sound, plan of 2 posts, 3 shifts and 4 employees' validate "$ward"
# Rest by the clock across the spring change: 12 h on the wall, 11 h elapsed.
printf '<PLAN><SHIFT code="T" start="14:00" hours="8"/><SHIFT code="X" start="10:00" hours="8"/><EMPLOYEE id="eli" contract="40"><ITEM start="2027-03-27" shift="T"/><ITEM start="2027-03-28" shift="X"/></EMPLOYEE></PLAN>' >"$work/spring.xml"
expect 0 '^0 breaches$' plan check "$work/spring.xml" --month 2027-03
expect 1 '^eli +short rest .*11:00 of rest' plan check "$work/spring.xml" --month 2027-03 --tz Europe/Madrid
# A CSV cell that a spreadsheet would run as a formula stays text; numbers stay numbers.
printf '<PLAN><POST code="P"/><EMPLOYEE id="=HYPERLINK(1)" post="P" contract="1"/><EMPLOYEE id="@x" post="P"/></PLAN>' >"$work/formula.xml"
check "CSV cells that start like a formula are quoted as text" python3 -c '
import csv, subprocess, sys
out = subprocess.run([sys.argv[1], "plan", "hours", sys.argv[2], "--month", "2026-12", "--by", "month", "--format", "csv"], capture_output=True, text=True).stdout
rows = list(csv.DictReader(out.splitlines()))
assert {r["employee"] for r in rows} == {"\x27=HYPERLINK(1)", "\x27@x"}, rows
assert rows[0]["balance"] == "-4.60", rows[0]' "$tool" "$work/formula.xml"

# The engine fills what the plan leaves open: the shifts it gives are the
# plan's ITEMs by="engine" in the document it writes, as its JSON lists them,
# and the plan's checks find no breach in the filled month.
open="$examples/open-ward.xml"
expect 0 '^hard breaches +0$' plan solve "$open" --month 2026-12 --time-limit 2 -o "$work/filled.xml"
"$tool" plan solve "$open" --month 2026-12 --time-limit 1 --seed 4 --format json -o "$work/filled2.xml" >"$work/filled.json"
check "plan solve: its JSON lists the ITEMs it wrote, each a need's shift at an allowed post" python3 -c '
import json, sys, xml.etree.ElementTree as ET
rows = json.load(open(sys.argv[1]))
plan = ET.parse(sys.argv[2]).getroot()
made = [(e.get("id"), i.get("start"), i.get("shift")) for e in plan.iter("EMPLOYEE") for i in e.iter("ITEM") if i.get("by") == "engine"]
assert rows and sorted(made) == sorted((r["employee"], r["date"], r["shift"]) for r in rows), (len(made), len(rows))
needed = {(p.get("code"), n.get("shift")) for p in plan.iter("POST") for n in p.iter("NEED")}
people = {e.get("id"): e for e in plan.iter("EMPLOYEE")}
for r in rows:
    e = people[r["employee"]]
    assert (r["post"], r["shift"]) in needed, r
    assert r["post"] in (e.get("posts") or e.get("post")).split(), r
    assert not e.get("shifts") or r["shift"] in e.get("shifts").split(), r' "$work/filled.json" "$work/filled2.xml"
expect 0 '^0 breaches$' plan check "$work/filled.xml" --month 2026-12
check "plan solve --explain: a reason for each person of a short need's post, or for the need" python3 -c '
import datetime, json, subprocess, sys, xml.etree.ElementTree as ET
out = subprocess.run([sys.argv[1], "plan", "solve", sys.argv[2], "--month", "2026-12", "--time-limit", "2",
                      "--explain", "--format", "json", "-o", sys.argv[3]], capture_output=True, text=True).stdout
rows = json.loads(out)
plan = ET.parse(sys.argv[2]).getroot()
staff = {p.get("code"): {e.get("id") for e in plan.iter("EMPLOYEE")
                         if p.get("code") in ((e.get("posts") or "") + " " + e.get("post")).split()}
         for p in plan.iter("POST")}
reasons = {"not that post", "not that shift", "on leave", "planned that day", "before the re-plan",
           "works another shift",
           "rest after", "rest before", "week maximum", "days in a row", "days off in a row",
           "weekend cap", "hours maximum", "shift cap", "free"}
needs = {"starts before the range", "holiday, post closed", "hours, no shift", "nobody at the post",
         "all its people on it"}
assert rows, "no gap explained"
for r in rows:
    if r["employee"]:
        assert r["employee"] in staff[r["post"]] and r["reason"] in reasons and r["missing"] >= 1, r
    else:
        assert r["reason"] in needs and r["missing"] >= 1, r
for key in {(r["post"], r["shift"], r["date"]) for r in rows}:
    named = [r["employee"] for r in rows if (r["post"], r["shift"], r["date"]) == key]
    assert len(named) == len(set(named)), key
# Every span that the coverage report finds short in the filled plan lies
# within a need explained: its shift (or span of hours) on its date.
shifts = {s.get("code"): (s.get("start"), float(s.get("hours"))) for s in plan.iter("SHIFT")}
def span(r):
    if "-" in r["shift"]:
        start, end = r["shift"].split("-")
        hours = None
    else:
        start, hours = shifts[r["shift"]]
    at = datetime.datetime.fromisoformat(r["date"] + "T" + start)
    if hours is None:
        until = datetime.datetime.fromisoformat(r["date"] + "T" + end)
        return at, until if until > at else until + datetime.timedelta(days=1)
    return at, at + datetime.timedelta(hours=hours)
told = [(r["post"], *span(r)) for r in rows]
coverage = json.loads(subprocess.run([sys.argv[1], "plan", "coverage", sys.argv[3], "--month", "2026-12",
                                      "--format", "json"], capture_output=True, text=True).stdout)
short = [g for g in coverage if g["shortfall"] > 0]
assert short, "nothing short"
for g in short:
    a, b = datetime.datetime.fromisoformat(g["from"]), datetime.datetime.fromisoformat(g["to"])
    assert any(p == g["post"] and f < b and a < t for p, f, t in told), g' \
  "$tool" "$open" "$work/explained.xml"
# A post nobody works and one whose only person cannot be everywhere: each
# short need says why nobody filled it.
printf '%s' '<PLAN><SHIFT code="M" start="08:00" hours="7"/><POST code="A"><NEED shift="M" people="2"/></POST><POST code="B"><NEED shift="M" people="1" days="mon"/></POST><EMPLOYEE id="x" post="A" minHours="0" maxHours="300"/></PLAN>' >"$work/unstaffed.xml"
check "plan solve --explain: a need nobody can fill says so" python3 -c '
import json, subprocess, sys
run = subprocess.run([sys.argv[1], "plan", "solve", sys.argv[2], "--month", "2026-12", "--time-limit", "5",
                      "--explain", "--format", "json"], capture_output=True, text=True)
assert run.returncode == 0, run.stderr
rows = json.loads(run.stdout)
b = [r for r in rows if r["post"] == "B"]
assert len(b) == 4 and all(r["employee"] == "" and r["reason"] == "nobody at the post" for r in b), b
a = [r for r in rows if r["post"] == "A"]
assert len({r["date"] for r in a}) == 31, len(a)
worked = [r for r in a if r["reason"] == "all its people on it"]
assert worked and all(r["employee"] == "" and r["missing"] == 1 for r in worked), worked
assert all(r["employee"] == "x" for r in a if r not in worked), a' "$tool" "$work/unstaffed.xml"
expect 2 'plan solve fills the whole plan' plan solve "$open" --month 2026-12 --employee ana
expect 2 'plan solve does not take --by' plan solve "$open" --month 2026-12 --by week
sed 's|<REQUEST date="2026-12-24" off="1" weight="20"/>|<REQUEST date="2026-12-24" shift="Q" off="1"/>|' "$open" >"$work/badrequest.xml"
expect 1 "EMPLOYEE eva: REQUEST 1: shift 'Q' is no SHIFT of the plan" plan solve "$work/badrequest.xml" --month 2026-12
sed 's|posts="UCI URG"|posts="UCI QUIRO"|' "$open" >"$work/badposts.xml"
expect 1 "EMPLOYEE eva: posts names 'QUIRO', which is no POST of the plan" plan solve "$work/badposts.xml" --month 2026-12
need='<NEED shift="M" people="100000"/>'
printf '%s' "<PLAN><SHIFT code=\"M\" start=\"08:00\" hours=\"7\"/><POST code=\"A\">$need$need</POST></PLAN>" >"$work/crowd.xml"
expect 1 'POST A: the NEEDs of shift M on 2026-12-01 ask for 200000 people, more than 100000' plan solve "$work/crowd.xml" --month 2026-12


# Fairness: the spread of each post is the most less the least of its
# people's rows, the objective is the sum of its parts, and --fair shows the
# plain roster's spread and objective beside its own.
"$tool" plan solve "$open" --month 2026-12 --time-limit 1 --fair >"$work/fair.txt"
check "plan solve --fair: parts add up to the objective, spreads to the people's rows" python3 - "$work/fair.txt" <<'PY'
import re, sys
text = open(sys.argv[1]).read()
parts = dict(re.findall(r"^  (people missing|people too many|wishes not met|fairness) +(-?\d+)$", text, re.M))
objective = int(re.search(r"^objective +(\d+)$", text, re.M).group(1))
assert len(parts) == 4 and sum(map(int, parts.values())) == objective, (parts, objective)
people = [l.split() for l in text.splitlines() if re.match(r"^\S+ +\S+ +\d+ +\d+ +\d+ +-?\d+:\d\d ", l)]
assert len(people) == 8, people
spreads = [l.split() for l in text.splitlines() if re.match(r"^(UCI|URG) +\d+ \(\d+\)", l)]
assert spreads, text
for row in spreads:
    post = [p for p in people if p[1] == row[0]]
    for column, at in (("nights", 1), ("weekends", 3), ("holidays", 5)):
        counts = [int(p[1 + (at + 1) // 2]) for p in post]
        assert int(row[at]) == max(counts) - min(counts), (column, row, post)
cost = re.search(r"^fairness cost +(-?\d+) \(objective without it (\d+)\)$", text, re.M)
assert cost and int(cost.group(1)) == objective - int(parts["fairness"]) - int(cost.group(2)), cost
PY

# Re-planning after a sick call: the engine's shifts before the day stay as
# they were, none is left on the sick days, the changes listed are exactly
# what differs between the two documents, and the phone's calendar cancels
# the sick days' shifts.
sick=$(python3 - "$work/filled.xml" "$work/sick.xml" <<'PY'
import collections, sys, xml.etree.ElementTree as ET
tree = ET.parse(sys.argv[1])
count = collections.Counter(e.get("id") for e in tree.getroot().iter("EMPLOYEE") for i in e.iter("ITEM")
                            if i.get("by") == "engine" and "2026-12-15" <= i.get("start")[:10] <= "2026-12-17")
who = count.most_common(1)[0][0]
person = next(e for e in tree.getroot().iter("EMPLOYEE") if e.get("id") == who)
person.append(ET.Element("LEAVE", {"from": "2026-12-15", "to": "2026-12-17"}))
tree.write(sys.argv[2], encoding="utf-8", xml_declaration=True)
print(who)
PY
)
"$tool" ics "$work/filled.xml" --month 2026-12 --employee "$sick" -o "$work/before.ics"
"$tool" plan solve "$work/sick.xml" --replan --from 2026-12-14 --time-limit 1 --format json \
  -o "$work/refilled.xml" >"$work/changes.json"
check "plan solve --replan: the past kept, the sick days emptied, the changes listed are the documents' differences" python3 - "$work/filled.xml" "$work/refilled.xml" "$work/changes.json" "$sick" <<'PY'
import json, sys, xml.etree.ElementTree as ET
def engine(path):
    return {(e.get("id"), i.get("start")[:10]): (i.get("shift"), i.get("post") or e.get("post"))
            for e in ET.parse(path).getroot().iter("EMPLOYEE") for i in e.iter("ITEM") if i.get("by") == "engine"}
before, after = engine(sys.argv[1]), engine(sys.argv[2])
assert {k: v for k, v in before.items() if k[1] < "2026-12-14"} == {k: v for k, v in after.items() if k[1] < "2026-12-14"}
assert not [k for k in after if k[0] == sys.argv[4] and "2026-12-15" <= k[1] <= "2026-12-17"], after
differ = {k for k in set(before) | set(after) if k[1] >= "2026-12-14" and before.get(k) != after.get(k)}
rows = json.load(open(sys.argv[3]))
listed = {(r["employee"], r["date"]) for r in rows}
assert listed == differ, (sorted(listed ^ differ))
for r in rows:
    key = (r["employee"], r["date"])
    assert (r["before"], r["beforePost"]) == (before[key] if key in before else ("", "")), r
    assert (r["after"], r["afterPost"]) == (after[key] if key in after else ("", "")), r
PY
expect 0 '^0 breaches$' plan check "$work/refilled.xml" --month 2026-12
"$tool" plan solve "$work/refilled.xml" --replan --from 2026-12-14 --time-limit 1 >"$work/unchanged.txt"
check "a re-plan with nothing new changes no day and prints no empty table of changes" python3 - "$work/unchanged.txt" <<'PY'
import re, sys
text = open(sys.argv[1]).read()
assert re.search(r"^days changed +0$", text, re.M), text
assert not re.search(r"^employee +date +before +after", text, re.M), text
assert re.search(r"^employee +post +nights", text, re.M), text
PY
"$tool" ics "$work/refilled.xml" --month 2026-12 --employee "$sick" --previous "$work/before.ics" -o "$work/after.ics"
check "ics --previous after a re-plan takes the sick days' shifts off the phone (python3-icalendar)" /usr/bin/python3 - "$work/before.ics" "$work/after.ics" <<'PY'
import sys, icalendar
def events(path):
    return [e for e in icalendar.Calendar.from_ical(open(path, "rb").read()).walk("VEVENT")]
was = {str(e["UID"]): e for e in events(sys.argv[1])}
sick = {u for u, e in was.items() if "2026-12-15" <= e.decoded("DTSTART").isoformat()[:10] <= "2026-12-17"
        and "Motor" in str(e.get("CATEGORIES").to_ical() if e.get("CATEGORIES") else b"")}
now = {str(e["UID"]): e for e in events(sys.argv[2])}
assert sick, was
for uid in sick:
    # The slot's event is cancelled, or it is now the leave: a new version.
    e = now[uid]
    assert str(e.get("STATUS")) == "CANCELLED" or (
        int(e.get("SEQUENCE", 0)) > int(was[uid].get("SEQUENCE", 0)) and e["SUMMARY"] != was[uid]["SUMMARY"]), uid
PY
expect 2 'replan needs --from DATE' plan solve "$work/sick.xml" --month 2026-12 --replan
expect 2 'change-weight goes with --replan' plan solve "$open" --month 2026-12 --change-weight 3
expect 2 'replan takes --month, not --to' plan solve "$work/sick.xml" --replan --from 2026-12-14 --to 2026-12-20
expect 2 'is not in --month 2026-11' plan solve "$work/sick.xml" --replan --from 2026-12-14 --month 2026-11

finish
