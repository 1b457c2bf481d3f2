#!/usr/bin/env bash
# Times scan_roundtrip against Open3D on one text point file (x y z nx ny nz):
#   scan_roundtrip: read the text, place, pack, Z-order sort, write the scan
#                   file, read it back and check it bit for bit;
#   Open3D:         read the text, write binary PLY, read it back.
# Each side runs RUNS times, taking turns; the best time counts. Open3D's time leaves out
# the import of the Python module (reported apart), so the ratio is the
# smaller, fair one. Finally Open3D reads scan_roundtrip's own PLY output.
#
# Usage: scripts/compare_open3d.sh [PROGRAM]
#   PROGRAM   the scan_roundtrip binary (default: build/default/examples/scan_roundtrip,
#             what `cmake --preset default && cmake --build --preset default` makes)
#   POINTS    points of the generated file (default: 5000000)
#   RUNS      runs of each side (default: 3)
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
program=${1:-${here}/../build/default/examples/scan_roundtrip}
points=${POINTS:-5000000}
runs=${RUNS:-3}
python=/usr/bin/python3  # Debian's interpreter, where python3-open3d lives

[ -x "$program" ] || { echo "no scan_roundtrip at $program (build it, or pass its path)" >&2; exit 2; }
"$python" -c "import open3d" 2>/dev/null || { echo "$python cannot import open3d (apt install python3-open3d)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
text="$work/points.xyzn"

echo "generating $points points ..."
"$program" -q --generate "$text" --format xyznormal --points "$points" > /dev/null
size=$(stat -c %s "$text")

now() { date +%s.%N; }
calc() { awk "BEGIN { print $1 }"; }
best() { printf '%s\n' "$@" | sort -g | head -n 1; }

# The two sides take turns, so that both meet the same load of the machine.
ours=()
theirs=()
for ((run = 1; run <= runs; run++)); do
    start=$(now)
    "$program" -q "$text" -o "$work/scan.lxs" > "$work/ours.txt"
    ours+=("$(calc "$(now) - $start")")
    line=$("$python" "$here/open3d_roundtrip.py" roundtrip "$text" "$work/open3d.ply")
    theirs+=("$(sed -E 's/.*work=([0-9.]+).*/\1/' <<< "$line")")
    [ "${theirs[-1]}" = "$(best "${theirs[@]}")" ] && best_line=$line
done

ours_best=$(best "${ours[@]}")
theirs_best=$(best "${theirs[@]}")
field() { sed -E "s/.*$1=([0-9.]+).*/\1/" <<< "$best_line"; }

printf 'points          %d (text file %.0f MB)\n' "$points" "$(calc "$size / 1000000")"
printf 'scan_roundtrip  %.3f s best of %d (%s)  %.2f M points/s\n' "$ours_best" "$runs" "${ours[*]}" \
    "$(calc "$points / $ours_best / 1000000")"
printf 'open3d          %.3f s best of %d (%s): read text %s, write PLY %s, read PLY %s; import %s s apart\n' \
    "$theirs_best" "$runs" "${theirs[*]}" "$(field read_text)" "$(field write_ply)" "$(field read_ply)" "$(field import)"
printf 'ratio           %.2fx\n' "$(calc "$theirs_best / $ours_best")"
grep -E '^ +(parse|z-order|write|read|total)' "$work/ours.txt" | sed 's/^/  last run: /'

"$program" -q --points 100000 -o "$work/check.lxs" --ply "$work/ours.ply" > /dev/null
echo "open3d reads scan_roundtrip's PLY: $("$python" "$here/open3d_roundtrip.py" count "$work/ours.ply")"
