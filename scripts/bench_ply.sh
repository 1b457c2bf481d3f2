#!/usr/bin/env bash
# PLY in and out against Open3D on the same points with normals, side by side:
#   read:  Open3D reads its own binary PLY  vs  lxscan reads it into packed
#          points (the "read" stage of `lxscan convert`: parse, place, pack);
#   write: Open3D writes the binary PLY      vs  `lxscan export --ply` of the
#          converted scan (whole program: open, decode, write, fsync, rename).
# The sides take turns RUNS times; medians count (the machine may be shared).
# Each write starts with no output file and no dirty pages left by the other.
#
# Usage: scripts/bench_ply.sh [LXSCAN]
#   LXSCAN  the tool (default: build/default/tools/lxscan/lxscan)
#   POINTS  points (default: 5000000)
#   RUNS    runs of each side (default: 5)
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
lxscan=${1:-${here}/../build/default/tools/lxscan/lxscan}
points=${POINTS:-5000000}
runs=${RUNS:-5}
python=/usr/bin/python3  # Debian's interpreter, where python3-open3d lives

[ -x "$lxscan" ] || { echo "no lxscan at $lxscan (build the lxscan_tool target, or pass its path)" >&2; exit 2; }
"$python" -c "import open3d" 2>/dev/null || { echo "$python cannot import open3d (apt install python3-open3d)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$python" - "$work" "$points" <<'EOF'
import sys, numpy as np, open3d as o3d
work, n = sys.argv[1], int(sys.argv[2])
rng = np.random.default_rng(1)
p = o3d.geometry.PointCloud()
p.points = o3d.utility.Vector3dVector(np.round(rng.uniform(-30, 30, (n, 3)), 4))
v = rng.normal(size=(n, 3)); v /= np.linalg.norm(v, axis=1)[:, None]
p.normals = o3d.utility.Vector3dVector(v)
o3d.io.write_point_cloud(work + "/open3d.ply", p)
EOF

# Open3D: one write and one read of the same cloud per run, timed inside Python.
open3d_times() {
    "$python" - "$work" <<'EOF'
import sys, time, open3d as o3d
work = sys.argv[1]
t = time.perf_counter(); p = o3d.io.read_point_cloud(work + "/open3d.ply"); read = time.perf_counter() - t
import os
if os.path.exists(work + "/open3d_out.ply"): os.remove(work + "/open3d_out.ply")
os.sync()  # neither side pays for the other's write-back
t = time.perf_counter(); o3d.io.write_point_cloud(work + "/open3d_out.ply", p); write = time.perf_counter() - t
print(f"{read:.4f} {write:.4f}")
EOF
}

now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
calc() { awk "BEGIN { printf \"%.2f\", $1 }"; }

o3d_read=(); o3d_write=(); our_read=(); our_write=()
for ((run = 1; run <= runs; run++)); do
    read -r r w < <(open3d_times)
    o3d_read+=("$r"); o3d_write+=("$w")
    "$lxscan" convert "$work/open3d.ply" -o "$work/scan.lxs" --no-verify > "$work/convert.txt"
    our_read+=("$(sed -nE 's/^seconds +read ([0-9.]+),.*/\1/p' "$work/convert.txt")")
    rm -f "$work/ours.ply"
    sync  # neither side pays for the other's write-back
    start=$(now)
    "$lxscan" -q export "$work/scan.lxs" --ply "$work/ours.ply"
    our_write+=("$(awk "BEGIN { print $(now) - $start }")")
done

or=$(median "${o3d_read[@]}"); ow=$(median "${o3d_write[@]}")
lr=$(median "${our_read[@]}"); lw=$(median "${our_write[@]}")
echo "points $points, medians of $runs runs (nproc $(nproc), load $(cut -d' ' -f1 /proc/loadavg))"
echo "read PLY   Open3D $or s  lxscan (into packed points) $lr s  ratio $(calc "$or / $lr")x   runs: ${o3d_read[*]} | ${our_read[*]}"
echo "write PLY  Open3D $ow s  lxscan export --ply          $lw s  ratio $(calc "$ow / $lw")x   runs: ${o3d_write[*]} | ${our_write[*]}"
