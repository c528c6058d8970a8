#!/usr/bin/env python3
"""Scores a roster of the employee shift scheduling benchmark on its own,
from the benchmark's description alone, to check `cuadrante solve` against.

Usage: benchscore.py INSTANCE.txt ROSTER.csv
Prints "objective N" and "breaches N" (hard rules broken, each counted once
per person and rule).
"""
import csv
import sys


def sections(path):
    found, name = {}, None
    for raw in open(path, encoding="utf-8").read().splitlines():
        line = raw.strip()
        if line.startswith("#"):
            continue
        if line.startswith("SECTION_"):
            name = line
            found[name] = []
        elif not line:
            name = None
        elif name:
            found[name].append([field.strip() for field in line.split(",")])
    return found


def main(instance_path, roster_path):
    s = sections(instance_path)
    days = int(s["SECTION_HORIZON"][0][0])
    length = {row[0]: int(row[1]) for row in s["SECTION_SHIFTS"]}
    forbids = {row[0]: set(filter(None, row[2].split("|"))) for row in s["SECTION_SHIFTS"]}
    staff = {}
    for row in s["SECTION_STAFF"]:
        most = {k: int(v) for k, v in (pair.split("=") for pair in row[1].split("|"))}
        staff[row[0]] = dict(most=most, max_min=int(row[2]), min_min=int(row[3]), max_run=int(row[4]),
                             min_run=int(row[5]), min_off=int(row[6]), max_weekends=int(row[7]))
    work = {e: [None] * days for e in staff}
    rows = list(csv.reader(open(roster_path, encoding="utf-8")))
    for row in rows[1:] if rows and rows[0] == ["employee", "day", "shift"] else rows:
        if row and row[2] != "-":
            work[row[0]][int(row[1])] = row[2]

    broken = set()
    for e, p in staff.items():
        w = work[e]
        for shift, most in p["most"].items():
            if sum(1 for x in w if x == shift) > most:
                broken.add((e, "max shifts"))
        minutes = sum(length[x] for x in w if x)
        if not p["min_min"] <= minutes <= p["max_min"]:
            broken.add((e, "minutes"))
        for d in range(days - 1):
            if w[d] and w[d + 1] and w[d + 1] in forbids[w[d]]:
                broken.add((e, "succession"))
        d = 0
        while d < days:
            end = d
            while end + 1 < days and (w[end + 1] is None) == (w[d] is None):
                end += 1
            run, inside = end - d + 1, d > 0 and end < days - 1
            if w[d] and run > p["max_run"]:
                broken.add((e, "max run"))
            if w[d] and inside and run < p["min_run"]:
                broken.add((e, "min run"))
            if not w[d] and inside and run < p["min_off"]:
                broken.add((e, "min off"))
            d = end + 1
        weekends = sum(1 for sat in range(5, days, 7) if w[sat] or (sat + 1 < days and w[sat + 1]))
        if weekends > p["max_weekends"]:
            broken.add((e, "weekends"))
    for row in s.get("SECTION_DAYS_OFF", []):
        if any(work[row[0]][int(day)] for day in row[1:]):
            broken.add((row[0], "day off"))

    objective = 0
    for e, day, shift, weight in s.get("SECTION_SHIFT_ON_REQUESTS", []):
        objective += int(weight) if work[e][int(day)] != shift else 0
    for e, day, shift, weight in s.get("SECTION_SHIFT_OFF_REQUESTS", []):
        objective += int(weight) if work[e][int(day)] == shift else 0
    for day, shift, need, under, over in s.get("SECTION_COVER", []):
        have = sum(1 for e in staff if work[e][int(day)] == shift)
        objective += max(0, int(need) - have) * int(under) + max(0, have - int(need)) * int(over)
    print("objective", objective)
    print("breaches", len(broken))


if __name__ == "__main__":
    main(*sys.argv[1:3])
