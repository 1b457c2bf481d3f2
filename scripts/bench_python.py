#!/usr/bin/python3
"""Speed of the Python package against the C++ library and Open3D.

1. encode_normals, Frame.propagate_points and zorder_permutation on 10 M
   elements from Python, against the same C++ array calls (the Google
   Benchmark program lxbase_python_baseline_bench).
2. read_scan of a 5 M-point scan file against open3d.io.read_point_cloud of
   the same points as binary PLY (xyz only).

Usage: /usr/bin/python3 scripts/bench_python.py [BUILD_DIR] (default build/default).
Every figure is the median of several runs; the machine may be shared.
"""

import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/default")
sys.path.insert(0, os.path.join(build, "python"))
import lxbase  # noqa: E402

REPEATS = 5


def median_seconds(call, repeats=REPEATS, clock=time.perf_counter):
    times = []
    for _ in range(repeats):
        start = clock()
        call()
        times.append(clock() - start)
    return statistics.median(times)


def wall_and_cpu(call, repeats=REPEATS):
    """Median wall-clock seconds and median CPU seconds of the whole process
    (all threads): on a shared machine the CPU time shows the work done."""
    return median_seconds(call, repeats), median_seconds(call, repeats, time.process_time)


def cxx_baseline():
    program = os.path.join(build, "python", "lxbase_python_baseline_bench")
    output = subprocess.run([program, "--benchmark_format=json", f"--benchmark_repetitions={REPEATS}",
                             "--benchmark_report_aggregates_only=true"],
                            check=True, capture_output=True, text=True).stdout
    result = {}
    for b in json.loads(output)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            parts = b["run_name"].split("/")
            fresh = "/1/" in b["run_name"] + "/"
            result[parts[0] + (" fresh" if fresh else "")] = (b["real_time"] / 1000.0, b["cpu_time"] / 1000.0)
    return result


def array_calls():
    n = 10_000_000
    rng = np.random.default_rng(1)
    xyz = rng.uniform(-50, 50, (n, 3))
    normals = rng.standard_normal((n, 3)).astype(np.float32)
    frame = lxbase.Frame(registration=(np.array([[0.6, -0.8, 0], [0.8, 0.6, 0], [0, 0, 1.0]]), [512000, 5405000, 310]))
    codes = np.empty(n, np.uint16)
    mapped = np.empty_like(xyz)
    python = {
        "EncodeNormals fresh": wall_and_cpu(lambda: lxbase.encode_normals(normals)),
        "EncodeNormals": wall_and_cpu(lambda: lxbase.encode_normals(normals, out=codes)),
        "PropagatePoints fresh": wall_and_cpu(lambda: frame.propagate_points(xyz)),
        "PropagatePoints": wall_and_cpu(lambda: frame.propagate_points(xyz, out=mapped)),
        "ZOrderPermutation": wall_and_cpu(lambda: lxbase.zorder_permutation(xyz), 3),
    }
    cxx = cxx_baseline()
    print(f"array calls on {n:,} elements, median seconds (ratio = C++ / Python, >= 0.9 wanted);")
    print("wall-clock time, and CPU time of all threads (the Python side may use every core)")
    names = {"EncodeNormals fresh": "encode_normals", "EncodeNormals": "encode_normals(out=)",
             "PropagatePoints fresh": "Frame.propagate_points", "PropagatePoints": "propagate_points(out=)",
             "ZOrderPermutation": "zorder_permutation"}
    for key, name in names.items():
        (pw, pc), (cw, cc) = python[key], cxx[key]
        print(f"  {name:24s} wall: python {pw:6.3f} C++ {cw:6.3f} ratio {cw / pw:5.2f}x"
              f"   cpu: python {pc:6.3f} C++ {cc:6.3f} ratio {cc / pc:5.2f}x")


def read_scan_against_open3d():
    import open3d as o3d

    n = 5_000_000
    rng = np.random.default_rng(2)
    xyz = rng.uniform(-50, 50, (n, 3))
    with tempfile.TemporaryDirectory() as directory:
        scan_path = os.path.join(directory, "cloud.lxs")
        ply_path = os.path.join(directory, "cloud.ply")
        lxbase.write_scan(scan_path, xyz, normals=rng.standard_normal((n, 3)).astype(np.float32))
        scan = lxbase.read_scan(scan_path)
        cloud = o3d.geometry.PointCloud(o3d.utility.Vector3dVector(np.ascontiguousarray(scan.xyz)))
        o3d.io.write_point_cloud(ply_path, cloud, write_ascii=False)
        del scan, cloud
        # Warm the page cache for both files, so that both reads run from memory.
        for path in (scan_path, ply_path):
            with open(path, "rb") as f:
                while f.read(1 << 24):
                    pass
        o3d_seconds = median_seconds(lambda: np.asarray(o3d.io.read_point_cloud(ply_path).points))
        open_seconds = median_seconds(lambda: lxbase.read_scan(scan_path).xyz)
        copy_seconds = median_seconds(lambda: np.array(lxbase.read_scan(scan_path).xyz))
        touch_seconds = median_seconds(lambda: lxbase.read_scan(scan_path).xyz.sum())

        def everything():
            s = lxbase.read_scan(scan_path)
            return s.xyz.sum(), s.rgb, s.intensity, s.normals

        all_seconds = median_seconds(everything)
    print(f"reading {n:,} points (median seconds; ratio = Open3D time / lxbase time, >= 5 wanted)")
    print(f"  open3d.io.read_point_cloud, binary PLY, xyz   {o3d_seconds:7.3f}")
    for label, seconds in [("read_scan().xyz (mapped view)", open_seconds),
                           ("read_scan().xyz copied to a new array", copy_seconds),
                           ("read_scan().xyz.sum() (every page read)", touch_seconds),
                           ("read_scan(): xyz summed, rgb/intensity/normals", all_seconds)]:
        print(f"  {label:46s} {seconds:7.3f}  ratio {o3d_seconds / seconds:7.1f}x")


if __name__ == "__main__":
    array_calls()
    try:
        read_scan_against_open3d()
    except ImportError:
        print("Open3D (python3-open3d) is not installed: read_scan comparison skipped")
