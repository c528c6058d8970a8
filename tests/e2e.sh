# Shared by the end-to-end scripts (sourced, not run): the tool under test, a
# work folder removed at exit, and checks that count passes and failures.
# Each script starts with `source "$(dirname "$0")/e2e.sh" "$@"` and ends
# with `finish`.
set -u
tool=$(realpath "${1:?usage: $(basename "$0") PATH-TO-cuadrante}")
examples=$(cd "$(dirname "$0")/../examples" && pwd)
failures=0
passes=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# check DESCRIPTION COMMAND...: the command succeeds.
check() {
  local what=$1
  shift
  if "$@"; then
    passes=$((passes + 1))
  else
    echo "FAIL: $what"
    failures=$((failures + 1))
  fi
}

# expect_in STATUS PATTERN INPUT ARGS...: with the file INPUT on stdin, exit
# status STATUS and output (stdout+stderr) matching the extended regex PATTERN.
expect_in() {
  local status=$1 pattern=$2 input=$3
  shift 3
  local out code
  out=$("$tool" "$@" <"$input" 2>&1)
  code=$?
  if [[ $code -ne $status ]] || ! grep -qE -- "$pattern" <<<"$out"; then
    echo "FAIL: cuadrante $* < $(basename "$input") -> status $code (want $status), output:"
    sed 's/^/    /' <<<"$out" | head -n 8
    failures=$((failures + 1))
  else
    passes=$((passes + 1))
  fi
}

# expect STATUS PATTERN ARGS...: the same with nothing on stdin.
expect() {
  local status=$1 pattern=$2
  shift 2
  expect_in "$status" "$pattern" /dev/null "$@"
}

finish() {
  echo "$passes passed, $failures failed"
  [[ $failures -eq 0 ]]
}
