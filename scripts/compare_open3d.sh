#!/usr/bin/env bash
# Times `lxscan convert` against Open3D on one text point file (x y z nx ny nz,
# coordinates of both signs with 4 decimals, normals with 5 decimals):
#   lxscan convert: parse the text (both cores), place, pack, Z-order sort,
#                   write the scan file, read it back and compare it;
#   Open3D:         read the text, write binary PLY, read it back.
# The sides take turns RUNS times; the best time of each counts. Open3D's time
# leaves out the import of the Python module (reported apart), so the ratio is
# the smaller, fair one. Stage times come from lxscan_convert_run (the same
# lxscan::Convert), peak memory from /usr/bin/time when it is installed.
#
# Usage: scripts/compare_open3d.sh [BUILD_DIR]
#   BUILD_DIR  a build of lxbase (default: build/default)
#   POINTS     points of the generated file (default: 5000000)
#   RUNS       runs of each side (default: 3)
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
build=${1:-${here}/../build/default}
lxscan=$build/tools/lxscan/lxscan
stages=$build/bench/lxscan_convert_run
points=${POINTS:-5000000}
runs=${RUNS:-3}
python=/usr/bin/python3  # Debian's interpreter, where python3-open3d lives

[ -x "$lxscan" ] || { echo "no lxscan in $build (build the lxscan_tool target)" >&2; exit 2; }
"$python" -c "import open3d" 2>/dev/null || { echo "$python cannot import open3d (apt install python3-open3d)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
text="$work/points.xyzn"

echo "generating $points points ..."
"$python" "$here/open3d_roundtrip.py" generate "$text" "$points"
size=$(stat -c %s "$text")

now() { date +%s.%N; }
calc() { awk "BEGIN { print $1 }"; }
best() { printf '%s\n' "$@" | sort -g | head -n 1; }

# The two sides take turns, so that both meet the same load of the machine.
ours=()
theirs=()
for ((run = 1; run <= runs; run++)); do
    start=$(now)
    "$lxscan" convert -q "$text" -o "$work/scan.lxs"
    ours+=("$(calc "$(now) - $start")")
    line=$("$python" "$here/open3d_roundtrip.py" roundtrip "$text" "$work/open3d.ply")
    theirs+=("$(sed -E 's/.*work=([0-9.]+).*/\1/' <<< "$line")")
    [ "${theirs[-1]}" = "$(best "${theirs[@]}")" ] && best_line=$line
done

ours_best=$(best "${ours[@]}")
theirs_best=$(best "${theirs[@]}")
field() { sed -E "s/.*$1=([0-9.]+).*/\1/" <<< "$best_line"; }

printf 'points          %d (text file %.0f MB), load %s\n' "$points" "$(calc "$size / 1000000")" \
    "$(cut -d' ' -f1-3 /proc/loadavg)"
printf 'lxscan convert  %.3f s best of %d (%s)  %.2f M points/s\n' "$ours_best" "$runs" "${ours[*]}" \
    "$(calc "$points / $ours_best / 1000000")"
printf 'open3d          %.3f s best of %d (%s): read text %s, write PLY %s, read PLY %s; import %s s apart\n' \
    "$theirs_best" "$runs" "${theirs[*]}" "$(field read_text)" "$(field write_ply)" "$(field read_ply)" "$(field import)"
printf 'ratio           %.2fx\n' "$(calc "$theirs_best / $ours_best")"
[ -x "$stages" ] && echo "stages          $("$stages" "$work/stages.lxs" "$text")"
if [ -x /usr/bin/time ]; then
    /usr/bin/time -v "$lxscan" convert -q "$text" -o "$work/memory.lxs" 2> "$work/time.txt"
    kb=$(sed -nE 's/.*Maximum resident set size \(kbytes\): ([0-9]+).*/\1/p' "$work/time.txt")
    printf 'peak memory     %.0f MB, %.1f bytes a point\n' "$(calc "$kb / 1024")" "$(calc "$kb * 1024 / $points")"
fi
"$lxscan" export -q --ply "$work/scan.lxs" "$work/ours.ply"
echo "open3d reads lxscan's PLY: $("$python" "$here/open3d_roundtrip.py" count "$work/ours.ply")"
