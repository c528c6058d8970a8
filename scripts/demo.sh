#!/usr/bin/env bash
# The demo: runs the command-line host on real inputs, one step at a time.
set -euo pipefail
tool=${1:?usage: demo.sh PATH-TO-cuadrante}

step() { printf '\n== %s\n$ %s\n' "$1" "${*:2}"; "${@:2}"; }

step "A time point from its stored text: forms, type label, classes" \
  "$tool" point "4004582400;28800;2;1"
step "The calendar around today" "$tool" date "$(date +%F)"
step "A date across the change of ISO year" "$tool" date 2026-12-31
