#!/usr/bin/env bash
# Installs the Debian 12 packages lxbase needs to build, test and benchmark.
# Idempotent: installs only what is missing. Runs as root or through sudo.
set -euo pipefail

packages=(
  g++ clang cmake make pkg-config
  libboost-dev libboost-date-time-dev libutfcpp-dev
  libgtest-dev libbenchmark-dev libeigen3-dev libpng-dev
  libclang-rt-14-dev valgrind
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then sudo=(); else sudo=(sudo); fi
echo "installing: ${missing[*]}" >&2
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
