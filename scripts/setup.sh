#!/usr/bin/env bash
# Installs the Debian packages that a part of the work needs; quick when all is there.
#   scripts/setup.sh          everything: build, tests, benchmarks, fuzzing
#   scripts/setup.sh demo     only what building the library and vornc needs
# Elsewhere, install the equivalents by hand (see README) and run cmake directly.
set -euo pipefail

packages=(g++ cmake ninja-build pkg-config libexpat1-dev)
if [ "${1:-}" != demo ]; then
  packages+=(
    libgtest-dev libgmock-dev libbenchmark-dev
    glslang-tools graphviz
    libosmesa6-dev
    clang libclang-rt-14-dev
    binutils
    make python3
  )
fi

if ! command -v dpkg-query >/dev/null 2>&1; then
  echo "setup: not a Debian system; make sure these (or their equivalents) are installed: ${packages[*]}"
  exit 0
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
