#!/usr/bin/env bash
# Runs `cuadrante demo-operation` and checks the record it prints and its exit status.
source "$(dirname "$0")/e2e.sh" "$@"

cd "$work" || exit 1
export TMPDIR="$work"  # the demo's own environment document goes here too

# The default run: every step, no mark, the result document, and the bar's last line.
expect 0 'final type +0 \(ended without a mark\)' demo-operation
expect 0 'result +<RESULTADO PASOS="40"/>' demo-operation --steps 40 --step-ms 1
expect 0 '\[#{24}\] 100%  Guardando resultado  12/12' demo-operation --steps 12 --step-ms 1
expect 0 '^monitor on \(ZV_MON_TIMEOUT in the demo.s own document\)' demo-operation --step-ms 1
if [[ -n $(ls -A "$work") ]]; then
  echo "FAIL: demo-operation left files behind: $(ls -A "$work")"; failures=$((failures + 1))
fi

# A failure half way: final type 3, and the message names the operation and its phase.
expect 0 'final type +3 \(failed\)' demo-operation --fail --steps 10 --step-ms 1
expect 0 "EXP - Excepción inesperada ejecutando la operación 'Demostración de operación larga' \[Calculando turnos\]" \
  demo-operation --fail --steps 10 --step-ms 1
expect 0 'fallo provocado en el paso 6' demo-operation --fail --steps 10 --step-ms 1

# Stopped by the host: final type 2, and the work ends early.
expect 0 'final type +2 \(stopped\)' demo-operation --stop-at 3 --steps 100 --step-ms 20
expect 0 'stopped at step [3-9]' demo-operation --stop-at 3 --steps 100 --step-ms 20

# The monitor follows the environment document.
"$tool" env set GENERAL ZV_MON_TIMEOUT 0 --env "$work/env.xml" > /dev/null
expect 0 "^monitor off \(ZV_MON_TIMEOUT in '$work/env.xml'\)" demo-operation --env "$work/env.xml" --step-ms 1
"$tool" env set GENERAL ZV_MON_TIMEOUT 600 --env "$work/env.xml" > /dev/null
expect 0 '^monitor on' demo-operation --env "$work/env.xml" --step-ms 1

# Misuse.
expect 2 '--steps takes a whole number from 1 to 100000' demo-operation --steps 0
expect 2 '--steps takes a whole number from 1 to 100000' demo-operation --steps 12x
expect 0 'result +<RESULTADO PASOS="8"/>' demo-operation --steps=8 --step-ms=1
expect 2 '--step-ms needs a value' demo-operation --step-ms
expect 2 'unknown option --fast' demo-operation --fast
expect 0 'usage: cuadrante demo-operation' demo-operation --help

finish
