#!/usr/bin/env bash
# Runs `cuadrante solve` on the published benchmark instances and checks its
# rosters against an independent scorer, its JSON against Python's parser,
# and its answers to bad input.
source "$(dirname "$0")/e2e.sh" "$@"
here=$(cd "$(dirname "$0")" && pwd)
# The published instances lie in shared/data beside the repository: the first
# folder above this one that holds them (clones under build/ find them too).
data=""
for folder in "$here"/.. "$here"/../.. "$here"/../../.. "$here"/../../../.. "$here"/../../../../..; do
  if [[ -d "$folder/shared/data/shift-benchmark" ]]; then
    data=$(cd "$folder/shared/data/shift-benchmark" && pwd)
    break
  fi
done
if [[ -z "$data" ]]; then
  echo "FAIL: the benchmark instances are not in ../shared/data/shift-benchmark beside the repository"
  exit 1
fi

# A seed and a move budget give the same roster everywhere; this one meets the
# proven optimum of Instance1.
expect 0 '^objective +607$' solve "$data/Instance1.txt" --moves 2000000 --workers 1 --seed 3 -o "$work/r1.csv"
check "the roster file is CSV with a header" grep -qx 'employee,day,shift' "$work/r1.csv"
check "an independent scorer agrees: 607, no breach" \
  bash -c "[[ \$(python3 '$here/benchscore.py' '$data/Instance1.txt' '$work/r1.csv' | tr '\n' ' ') == 'objective 607 breaches 0 ' ]]"
expect 0 '^objective +607$' solve --score "$data/Instance1.txt" "$work/r1.csv"

# Every instance: the search with the exact engine beside it ends once its
# roster is proven optimal, at the benchmark's optimum; both scorers agree on
# the roster it writes, and Python reads its JSON.
optimum=([1]=607 [2]=828 [3]=1001)
for i in 1 2 3; do
  "$tool" solve "$data/Instance$i.txt" --time-limit 120 --format json -o "$work/r$i.csv" >"$work/s$i.json" 2>"$work/err"
  check "Instance$i: status 0" test $? -eq 0
  check "Instance$i: proven optimal at ${optimum[$i]}, both scorers agreeing" python3 - "$work/s$i.json" \
    "$here/benchscore.py" "$data/Instance$i.txt" "$work/r$i.csv" "${optimum[$i]}" <<'PY'
import json, subprocess, sys
row = json.load(open(sys.argv[1]))[0]
parts = row["on_requests"] + row["off_requests"] + row["under_cover"] + row["over_cover"]
theirs = subprocess.run([sys.executable, sys.argv[2], sys.argv[3], sys.argv[4]], capture_output=True, text=True).stdout
assert row["objective"] == parts == int(sys.argv[5]), row
assert row["lower_bound"] == row["objective"] and row["optimal"] == "yes" and row["gap_percent"] == 0, row
assert theirs.split() == ["objective", sys.argv[5], "breaches", "0"], (theirs, row)
assert row["hard_breaches"] == 0 and row["moves"] > 0
PY
  expect 0 "^objective +${optimum[$i]}\$" solve --score "$data/Instance$i.txt" "$work/r$i.csv"
done

# A roster that breaks hard rules: every breach named, status 1.
printf 'employee,day,shift\nA,0,D\nA,1,D\nA,2,D\nA,3,D\nA,4,D\nA,5,D\nA,6,D\n' >"$work/bad.csv"
expect 1 'breach +A day 0: max consecutive shifts: 7 days in a row, at most 5' solve --score "$data/Instance1.txt" "$work/bad.csv"
expect 1 'breach +B day 0: min minutes: 0 minutes, at least 3360' solve --score "$data/Instance1.txt" "$work/bad.csv"
expect 1 '^objective,' solve --score "$data/Instance1.txt" "$work/bad.csv" --format csv
printf 'employee,day,shift\nZ,0,D\n' >"$work/unknown.csv"
expect 1 "unknown.csv:2: .*'Z'" solve --score "$data/Instance1.txt" "$work/unknown.csv"

# Bad instances: one line naming the file's line and field.
printf 'SECTION_HORIZON\n14\n\nSECTION_WHATEVER\n' >"$work/bad.txt"
expect 1 'bad.txt:4: ' solve "$work/bad.txt"
sed 's/^A,D=14,/A,X=14,/' "$data/Instance1.txt" >"$work/x.txt"
expect 1 "x.txt:[0-9]+: MaxShifts: .*'X'" solve "$work/x.txt"
printf 'SECTION_HORIZON\n1000000000\n' >"$work/huge.txt"
expect 1 'huge.txt:2: ' solve "$work/huge.txt"
expect 1 'missing.txt' solve "$work/missing.txt"

# A move budget leaves a time limit given beside it in force: the run ends
# at the limit, far short of the budget.
check "--time-limit holds beside --moves" bash -c "timeout 60 '$tool' solve '$data/Instance1.txt' \
  --moves 9000000000000 --time-limit=1 --no-exact >/dev/null 2>&1; [ \$? -ne 124 ]"

# Misuse.
expect 2 'time-limit' solve "$data/Instance1.txt" --time-limit 0
expect 2 'workers' solve "$data/Instance1.txt" --workers 3
expect 2 'needs INSTANCE.txt ROSTER.csv' solve --score "$data/Instance1.txt"
expect 2 'one INSTANCE.txt' solve
expect 2 'exclude' solve "$data/Instance1.txt" --exact --no-exact

finish
