#!/usr/bin/python3
"""Batch conversion on Dask: how it scales with workers, and what Dask costs per file.

1. 8 text inputs of 1 M points each (x y z nx ny nz), converted by convert_many on a
   local cluster of 1 worker, then of 2 workers; the clusters are started before the
   clock runs. Wanted: 2 workers at least 1.6x faster than 1 on a 2-core machine.
2. Dask's own cost per file: FILES tiny inputs (one point each) through convert_many on
   1 worker, against the same conversions called directly, one after another.
   Wanted: under 50 ms a file.

Usage: /usr/bin/python3 scripts/bench_batch.py [BUILD_DIR] (default build/default)
  POINTS (1000000), INPUTS (8), FILES (100), RUNS (2): the best run counts.
"""
import contextlib
import os
import shutil
import sys
import tempfile
import time

import numpy as np

build = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/default")
sys.path.insert(0, os.path.join(build, "python"))
import lxbase  # noqa: E402
from lxbase import batch  # noqa: E402

POINTS = int(os.environ.get("POINTS", 1_000_000))
INPUTS = int(os.environ.get("INPUTS", 8))
FILES = int(os.environ.get("FILES", 100))
RUNS = int(os.environ.get("RUNS", 2))


def write_text(path, n, seed):
    rng = np.random.default_rng(seed)
    xyz = rng.uniform(-60, 60, (n, 3))
    normal = rng.normal(size=(n, 3))
    normal /= np.linalg.norm(normal, axis=1)[:, None]
    np.savetxt(path, np.hstack([xyz, normal]), fmt="%.4f %.4f %.4f %.5f %.5f %.5f")


def timed_batch(client, inputs, out_dir):
    shutil.rmtree(out_dir, ignore_errors=True)
    start = time.perf_counter()
    rows = batch.convert_many(inputs, out_dir, client=client, force=True)
    seconds = time.perf_counter() - start
    assert all(row["status"] == "ok" for row in rows), [row["error"] for row in rows if row["status"] != "ok"]
    return seconds


def main():
    work = tempfile.mkdtemp(prefix="bench_batch_")
    try:
        print(f"machine: {os.cpu_count()} cores, load {os.getloadavg()[0]:.2f}")
        inputs = []
        for i in range(INPUTS):
            path = os.path.join(work, f"scan{i}.xyz")
            write_text(path, POINTS, i)
            inputs.append(path)
        tiny = []
        for i in range(FILES):
            path = os.path.join(work, f"tiny{i}.xyz")
            with open(path, "w") as out:
                out.write(f"{i}.5 1 2\n")
            tiny.append(path)

        times = {}
        for workers in (1, 2):
            with contextlib.ExitStack() as stack:
                client = stack.enter_context(batch.open_client(workers=workers))
                client.wait_for_workers(workers)
                times[workers] = min(timed_batch(client, inputs, os.path.join(work, "out"))
                                     for _ in range(RUNS))
                if workers == 1:
                    dask_tiny = min(timed_batch(client, tiny, os.path.join(work, "tiny_out")) for _ in range(RUNS))
        points = INPUTS * POINTS
        print(f"{INPUTS} inputs of {POINTS:,} points (text), best of {RUNS}:")
        for workers, seconds in times.items():
            print(f"  {workers} worker(s): {seconds:7.3f} s  {points / seconds / 1e6:6.2f} M points/s")
        print(f"  speed-up with 2 workers: {times[1] / times[2]:.2f}x (wanted >= 1.6x)")

        direct_dir = os.path.join(work, "direct")
        os.makedirs(direct_dir)
        start = time.perf_counter()
        for i, path in enumerate(tiny):
            lxbase.convert([path], os.path.join(direct_dir, f"tiny{i}.lxs"), threads=1)
        direct = time.perf_counter() - start
        overhead = (dask_tiny - direct) / FILES
        print(f"{FILES} one-point inputs on 1 worker: {dask_tiny:.3f} s through Dask, {direct:.3f} s called "
              f"directly; Dask's cost {overhead * 1000:.1f} ms a file (wanted < 50 ms)")
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
