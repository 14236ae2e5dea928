#!/usr/bin/env bash
# Installs the Debian packages a target needs, and only those that are missing.
#   scripts/install-deps.sh core      build, test, demo, benchmarks (Linux)
#   scripts/install-deps.sh windows   the MinGW-w64 cross compiler, Wine and Xvfb
#   scripts/install-deps.sh fuzz      clang with libFuzzer
set -euo pipefail

core=(build-essential g++ cmake ninja-build ccache pkg-config libsqlite3-dev sqlite3
      googletest libgtest-dev libgmock-dev libbenchmark-dev libdw-dev libelf-dev
      locales)
windows=(g++-mingw-w64-x86-64 wine wine64 xvfb xauth)
fuzz=(clang libclang-rt-14-dev)

wanted=()
for group in "$@"; do
  case "$group" in
    core) wanted+=("${core[@]}") ;;
    windows) wanted+=("${windows[@]}") ;;
    fuzz) wanted+=("${fuzz[@]}") ;;
    *) echo "install-deps: unknown group '$group'" >&2; exit 2 ;;
  esac
done

missing=()
for pkg in "${wanted[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
echo "install-deps: installing ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
