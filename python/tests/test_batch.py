"""Batch conversion on a local Dask cluster of 2 worker processes: isolated failures,
idempotent re-runs, a worker killed mid-run, a killed run restarted, an unwritable output
directory."""

import csv
import json
import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pytest

from lxbase import batch

PACKAGE_ROOT = os.path.dirname(os.path.dirname(os.path.abspath(batch.__file__)))
TESTS_DIR = os.path.dirname(os.path.abspath(__file__))
BAD_LINE = 5


class Slow:
    """Any backend, with a pause before each conversion so that a run can be cut mid-way."""

    def __init__(self, inner, seconds):
        self.inner, self.seconds = inner, seconds

    def convert(self, source, target, options):
        time.sleep(self.seconds)
        return self.inner.convert(source, target, options)

    def check(self, target):
        return self.inner.check(target)


BACKEND = batch._Library()
PLY_HEADER = "ply\nformat ascii 1.0\nelement vertex {}\nproperty double x\nproperty double y\nproperty double z\nend_header\n"


def _reads_ply():
    """Whether the backend takes PLY input (the library's PLY reader may be missing)."""
    import tempfile
    with tempfile.TemporaryDirectory() as directory:
        source = os.path.join(directory, "probe.ply")
        with open(source, "w") as file:
            file.write(PLY_HEADER.format(1) + "1 2 3\n")
        try:
            BACKEND.convert(source, os.path.join(directory, "probe.lxs"), {})
        except Exception as error:
            print(f"inputs are text only: {error}")
            return False
    return True


READS_PLY = _reads_ply()


def verify(path):
    """The header fields of a scan file that passes the full check."""
    return BACKEND.check(path)


def write_inputs(directory, count=8, points=500):
    """ASCII and PLY inputs of `points` points; the fourth, if any, has a bad value on BAD_LINE."""
    os.makedirs(directory, exist_ok=True)
    rng = np.random.default_rng(7)
    paths = []
    for i in range(count):
        xyz = np.round(rng.uniform(-50, 50, (points, 3)), 4)
        if i % 3 == 2 and READS_PLY:  # an ascii and a binary little-endian PLY
            path = os.path.join(directory, f"scan{i}.ply")
            binary = i == 5
            header = PLY_HEADER.format(points)
            with open(path, "wb") as file:
                file.write((header.replace("ascii", "binary_little_endian") if binary else header).encode())
                if binary:
                    file.write(xyz.astype("<f8").tobytes())
                else:
                    np.savetxt(file, xyz, fmt="%.4f")
        else:
            path = os.path.join(directory, f"scan{i}.txt")
            np.savetxt(path, xyz, fmt="%.4f")
        paths.append(path)
    if count <= 3:
        return paths, None
    bad = paths[3]
    with open(bad) as file:
        lines = file.read().splitlines()
    lines[BAD_LINE - 1] = "1.0 x2.5 3.0"
    with open(bad, "w") as file:
        file.write("\n".join(lines) + "\n")
    return paths, bad


def read_catalogue(out):
    with open(os.path.join(out, "catalogue.csv"), newline="") as file:
        return list(csv.DictReader(file))


def run_cli(*args):
    env = dict(os.environ, PYTHONPATH=PACKAGE_ROOT)
    done = subprocess.run([sys.executable, "-m", "lxbase.batch", *args], env=env,
                          capture_output=True, text=True, timeout=120)
    return done.returncode, done.stdout, done.stderr


@pytest.fixture(scope="module")
def client():
    with batch.open_client(workers=2) as shared:
        yield shared


def test_failure_isolated_then_rerun_skips_and_retries(tmp_path, client):
    inputs, bad = write_inputs(tmp_path / "in")
    out = str(tmp_path / "out")
    code, stdout, stderr = run_cli("convert", str(tmp_path / "in" / "scan[0-4].*"), str(tmp_path / "in" / "scan[5-9].*"),
                                   "--out", out, "--workers", "2", "--json")
    assert code == 1, stderr
    assert "8 files: 7 ok, 0 skipped, 1 failed" in stdout
    rows = read_catalogue(out)
    assert sorted(r["input"] for r in rows) == sorted(inputs)
    with open(os.path.join(out, "catalogue.json")) as file:
        assert json.load(file) == _typed(rows)
    failed = [r for r in rows if r["status"] == "failed"]
    assert [r["input"] for r in failed] == [bad]
    assert f"{os.path.basename(bad)}:{BAD_LINE}" in failed[0]["error"] and failed[0]["error"] in stderr
    for row in rows:
        if row["status"] == "ok":
            fields = verify(row["output"])
            assert int(row["points"]) == fields["points"] == 500 and row["uuid"] == str(fields["uuid"])
            assert float(row["min_x"]) >= -50 and float(row["max_z"]) <= 50 and float(row["seconds"]) > 0
    # nothing but the outputs and the catalogue: no temporaries, no output for the bad input
    assert sorted(os.listdir(out)) == sorted([os.path.basename(r["output"]) for r in rows if r["status"] == "ok"]
                                             + ["catalogue.csv", "catalogue.json"])

    # second run: the 7 are skipped untouched, the repaired input is converted
    stamps = {r["output"]: os.stat(r["output"]).st_mtime_ns for r in rows if r["status"] == "ok"}
    write_inputs(tmp_path / "fixed")
    os.replace(tmp_path / "fixed" / "scan0.txt", bad)
    again = batch.convert_many([str(tmp_path / "in" / "*")], out, client, backend=BACKEND)
    assert {r["input"]: r["status"] for r in again} == {i: "ok" if i == bad else "skipped" for i in inputs}
    assert {o: os.stat(o).st_mtime_ns for o in stamps} == stamps
    assert all(r["points"] == 500 for r in again) and again == _typed(read_catalogue(out))

    # redone without --force: an input touched after its output, an output that does not verify
    os.utime(inputs[0])
    with open(again[1]["output"], "r+b") as file:
        file.truncate(40)
    redone = batch.convert_many(inputs, out, client, backend=BACKEND)
    assert [r["status"] for r in redone] == ["ok", "ok"] + ["skipped"] * 6
    assert verify(redone[1]["output"])["points"] == 500
    assert {r["status"] for r in batch.convert_many(inputs, out, client, force=True, backend=BACKEND)} == {"ok"}


def _typed(rows):
    """CSV rows with the numbers the returned rows carry."""
    typed = []
    for row in rows:
        row = {k: (v if v != "" else None) for k, v in row.items()}
        for key in ("points",):
            row[key] = int(row[key]) if row[key] is not None else None
        for key in (*batch.BOX_COLUMNS, "seconds"):
            row[key] = float(row[key]) if row[key] is not None else None
        typed.append(row)
    return typed


def test_worker_killed_mid_run(tmp_path, client):
    inputs, bad = write_inputs(tmp_path / "in")
    out = str(tmp_path / "out")
    pids = list(client.run(os.getpid).values())
    killed = threading.Event()

    def kill_one_worker():
        deadline = time.monotonic() + 30
        while not any(name.endswith(".lxs") for name in os.listdir(out)) and time.monotonic() < deadline:
            time.sleep(0.02)
        os.kill(pids[0], signal.SIGKILL)
        killed.set()

    os.makedirs(out)
    killer = threading.Thread(target=kill_one_worker)
    killer.start()
    rows = batch.convert_many(inputs, out, client, backend=Slow(BACKEND, 0.4))
    killer.join()
    assert killed.is_set()
    assert {r["input"]: r["status"] for r in rows} == {i: "failed" if i == bad else "ok" for i in inputs}
    assert _typed(read_catalogue(out)) == rows
    for row in rows:
        if row["status"] == "ok":
            assert verify(row["output"])["points"] == 500
    client.wait_for_workers(2, timeout=30)  # the nanny restarts the killed worker


def test_killed_run_restarted_redoes_nothing_finished(tmp_path, client):
    inputs, bad = write_inputs(tmp_path / "in")
    out = str(tmp_path / "out")
    script = ("import sys; sys.path[:0] = sys.argv[1:3]\n"
              "import test_batch as t\n"
              "from lxbase import batch\n"
              "batch.convert_many(sys.argv[4:], sys.argv[3], workers=2, catalogue_seconds=0,\n"
              "                   backend=t.Slow(t.BACKEND, 0.5))\n")
    run = subprocess.Popen([sys.executable, "-c", script, TESTS_DIR, PACKAGE_ROOT, out, *inputs],
                           start_new_session=True)
    try:
        deadline = time.monotonic() + 60
        finished = []
        while len(finished) < 3 and time.monotonic() < deadline and run.poll() is None:
            time.sleep(0.05)
            with _suppress_missing():
                finished = [r for r in read_catalogue(out) if r["status"] == "ok"]
    finally:
        os.killpg(run.pid, signal.SIGKILL)  # the run and its local cluster, all at once
        run.wait()
    rows = read_catalogue(out)
    assert len(finished) >= 3 and len(rows) == 8
    assert {r["status"] for r in rows} <= {"ok", "failed", "pending"} and "pending" in {r["status"] for r in rows}
    stamps = {r["output"]: os.stat(r["output"]).st_mtime_ns for r in rows if r["status"] == "ok"}
    # A task may have finished after the catalogue was last written: its output
    # stands complete (outputs appear only by rename) without an "ok" row.
    on_disk = {r["output"] for r in rows if os.path.exists(r["output"])}

    again = batch.convert_many(inputs, out, client, backend=BACKEND)
    statuses = {r["output"]: r["status"] for r in again}
    assert all(statuses[o] == "skipped" for o in stamps)
    assert {o for o, s in statuses.items() if s == "skipped"} <= on_disk
    assert sum(s in ("ok", "skipped") for s in statuses.values()) == 7
    assert {o: os.stat(o).st_mtime_ns for o in stamps} == stamps


class _suppress_missing:
    def __enter__(self):
        return self

    def __exit__(self, kind, value, trace):
        return kind is FileNotFoundError


class NoTasks:
    def submit(self, *args, **kwargs):
        raise AssertionError("a task was submitted")


def test_unwritable_output_directory_fails_before_any_task(tmp_path, monkeypatch, capsys):
    inputs, _ = write_inputs(tmp_path / "in", count=2)
    if os.geteuid() == 0:  # root writes anywhere: a regular file stands where a parent directory should be
        (tmp_path / "file").write_text("")
        out = str(tmp_path / "file" / "out")
    else:
        out = str(tmp_path / "locked")
        os.mkdir(out, 0o500)
    with pytest.raises(batch.BatchError, match=f"cannot write to the output directory {out}: "):
        batch.convert_many(inputs, out, NoTasks())

    def no_cluster(*args, **kwargs):
        raise AssertionError("a cluster was started")

    monkeypatch.setattr(batch, "open_client", no_cluster)
    assert batch.main(["convert", *inputs, "--out", out]) == 1
    assert f"lxbase.batch: error: cannot write to the output directory {out}" in capsys.readouterr().err
    # planning errors: nothing to convert, and two inputs that would share one output
    with pytest.raises(batch.BatchError, match="no file matches"):
        batch.convert_many([str(tmp_path / "in" / "*.none")], str(tmp_path / "o"), NoTasks())
    twin = tmp_path / "twin"
    twin.mkdir()
    (twin / "scan0.ply").write_text("")
    with pytest.raises(batch.BatchError, match="would both be written to"):
        batch.convert_many([inputs[0], str(twin / "scan0.ply")], str(tmp_path / "o"), NoTasks())
