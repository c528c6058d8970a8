#!/usr/bin/env bash
# Installs the Debian packages that building and testing cuadrante needs.
# Does nothing when everything is already there; runs `apt-get update` only
# when something is missing. Pass --bench or --browser for the extra sets.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libpugixml-dev libsimpleini-dev libcrypto++-dev libicu-dev zlib1g-dev libdeflate-dev
  libhowardhinnant-date-dev libical-dev coinor-libcbc-dev tzdata python3 python3-icalendar
)
for arg in "$@"; do
  case "$arg" in
    --bench) packages+=(libboost-dev) ;;
    --browser) packages+=(chromium) ;;
    *) echo "deps.sh: unknown option '$arg'" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "deps.sh: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
