#!/usr/bin/env bash
# Keeps the examples of README.md and docs/formats.md true: every "$ cuadrante
# ..." line of their text blocks is run, in order, from a folder that sees the
# examples, and what it prints must be what the page shows ("..." stands for
# lines left out). The progress bar of demo-operation depends on timing and is
# compared by its fixed lines only.
source "$(dirname "$0")/e2e.sh" "$@"

ln -s "$examples" "$work/examples"
printf '[Localization]\nDictionary=.dic\n' >"$work/en.ini"
printf 'Horario\tTimetable\r\n' >"$work/en.ini.dic"

python3 - "$examples/../README.md" "$examples/../docs/formats.md" "$work/cases" <<'PY'
import os, sys
lines = []
for page in sys.argv[1:-1]:
    lines += open(page, encoding='utf-8').read().split('\n')
cases, inside, current = [], False, None
for line in lines:
    if line.startswith('```'):
        if current: cases.append(current)
        current, inside = None, line.strip() == '```text'
        continue
    if not inside:
        continue
    if line.startswith('$ '):
        if current: cases.append(current)
        current = [line[2:], []]
    elif current:
        current[1].append(line)
out = sys.argv[-1]
os.makedirs(out)
for n, (command, expected) in enumerate(cases):
    while expected and expected[-1] == '':
        expected.pop()
    with open(f'{out}/{n:03}.cmd', 'w') as f: f.write(command)
    with open(f'{out}/{n:03}.out', 'w') as f: f.write('\n'.join(expected) + '\n')
PY

for case in "$work"/cases/*.cmd; do
  command=$(cat "$case")
  expected=${case%.cmd}.out
  # Every "cuadrante" that begins a pipeline stage is the built tool.
  run=$(sed -E "s#(^|\| )cuadrante #\1\"\$tool\" #g" <<<"$command")
  (cd "$work" && tool="$tool" bash -c "$run" 2>&1) >"$work/actual" || true
  if [[ $command == "cuadrante demo-operation"* ]]; then
    grep -v '^\[' "$expected" >"$work/expected.fixed"
    grep -v '^\[' "$work/actual" >"$work/actual.fixed"
    expected=$work/expected.fixed
    cp "$work/actual.fixed" "$work/actual"
  fi
  if python3 - "$expected" "$work/actual" <<'PY'; then
import sys
want = open(sys.argv[1], encoding='utf-8').read().rstrip('\n').split('\n')
got = open(sys.argv[2], encoding='utf-8').read().rstrip('\n').split('\n')
def match(w, g):
    if not w: return not g
    if w[0] == '...':
        return any(match(w[1:], g[i:]) for i in range(len(g) + 1))
    return bool(g) and g[0] == w[0] and match(w[1:], g[1:])
sys.exit(0 if match(want, got) else 1)
PY
    passes=$((passes + 1))
  else
    echo "FAIL: the README shows for '$command':"
    sed 's/^/    /' "$expected"
    echo "  but the tool prints:"
    sed 's/^/    /' "$work/actual"
    failures=$((failures + 1))
  fi
done

# Every example that `cuadrante help COMMAND` shows runs as shown, with status 0.
commands=$("$tool" help | sed -n '/^commands:/,/^$/p' | awk 'NR > 1 && NF { print $1 }' | grep -v '^help$')
check "help lists the commands" test "$(wc -w <<<"$commands")" -ge 15
for command in $commands; do
  while IFS= read -r example; do
    run=$(sed -E "s#(^|\| )cuadrante #\1\"\$tool\" #g" <<<"$example")
    if (cd "$work" && HOME="$work/home" XDG_CONFIG_HOME= tool="$tool" bash -c "$run" >/dev/null 2>"$work/example.err"); then
      passes=$((passes + 1))
    else
      echo "FAIL: the example of \`help $command\` fails: $example"
      sed 's/^/    /' "$work/example.err" | head -n 3
      failures=$((failures + 1))
    fi
  done < <("$tool" help "$command" | sed -n '/^examples\{0,1\}:/,$p' | grep -E '^  ' | sed 's/^  //')
done

finish
