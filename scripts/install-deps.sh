#!/usr/bin/env bash
# Installs the Debian 12 packages lxbase needs to build, test and benchmark.
# Idempotent: installs only what is missing. Runs as root or through sudo.
set -euo pipefail

packages=(
  g++ clang cmake make pkg-config
  libboost-dev libboost-date-time-dev libutfcpp-dev
  libgtest-dev libbenchmark-dev libeigen3-dev libpng-dev
  libclang-rt-14-dev valgrind locales doxygen libcli11-dev
  pybind11-dev python3-pybind11 python3-numpy python3-pytest python3-open3d
  python3-dask python3-distributed
  # PLY files written by other point libraries, made by the tests at run time
  # (about 300 packages with python3-open3d, 265 MB, fetched in about 20 s here).
  pcl-tools
)

if [ "$(id -u)" -eq 0 ]; then sudo=(); else sudo=(sudo); fi

# Regional date text is tested in a day/month/year and a month/day/year locale.
ensure_locales() {
  for loc in en_GB en_US; do
    locale -a 2>/dev/null | grep -qi "^${loc}\.utf-\?8$" ||
      "${sudo[@]}" localedef -i "$loc" -c -f UTF-8 "$loc.UTF-8"
  done
}

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then ensure_locales; exit 0; fi

echo "installing: ${missing[*]}" >&2
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
ensure_locales
