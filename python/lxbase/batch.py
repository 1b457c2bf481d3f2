"""Batch conversion of many scans on a Dask cluster.

    python3 -m lxbase.batch convert INPUT... --out DIR [--scheduler ADDRESS] [--workers N]
                                                      [--force] [--json]

Every input (a file, or a glob such as 'scans/*.ply') becomes DIR/<name>.lxs through
lxbase.convert, one Dask task per input. Without --scheduler a local cluster of N worker
processes is started (N defaults to the number of cores); with --scheduler tcp://host:8786
the work goes to an existing cluster whose workers see the same file system.

DIR/catalogue.csv (and DIR/catalogue.json with --json) gets one row per input: the COLUMNS
below. Status is "ok" (converted), "skipped" (the output exists, verifies and is newer than
the input) or "failed" (the error column says why, naming the file and line). The catalogue
is replaced atomically every few seconds while the run goes on, with "pending" for the
inputs not finished yet, and once more at the end, so a killed run leaves a valid catalogue
and a new run finishes the work without redoing finished outputs. The exit status is 1
when any input failed.

From Python, convert_many(inputs, out_dir, client=None, **options) does the same and
returns the catalogue rows.
"""

from __future__ import annotations

import argparse
import contextlib
import csv
import glob
import io
import json
import logging
import os
import sys
import tempfile
import threading
import time
import uuid

try:
    from . import Error as _PackageError
except ImportError:  # the compiled package is not built: batch planning still works
    _PackageError = Exception

COLUMNS = (
    "input", "output", "status", "uuid", "date", "points",
    "min_x", "min_y", "min_z", "max_x", "max_y", "max_z",
    "checksum", "seconds", "error",
)
BOX_COLUMNS = COLUMNS[6:12]
CATALOGUE = "catalogue"
OUTPUT_SUFFIX = ".lxs"
CATALOGUE_SECONDS = 2.0     # at most this long between catalogue updates while rows complete
SCHEDULER_TIMEOUT = "10s"   # how long to try reaching a --scheduler address
# One core per conversion: the cluster runs one task per worker thread, one thread per core.
_CONVERT_DEFAULTS = {"threads": 1}


class BatchError(_PackageError):
    """A batch that cannot start: no inputs, clashing outputs, an unwritable directory."""


# ---------------------------------------------------------------------------
# Per-file work, run on the workers.

def _header_fields(id, date, count, bbox, checksum) -> dict:
    """Catalogue fields of a scan file's header."""
    fields = {"uuid": str(id), "date": str(date), "points": int(count), "checksum": format(int(checksum), "016x")}
    fields.update(zip(BOX_COLUMNS, (float(v) for v in (*bbox[0], *bbox[1]))))
    return fields


class _Library:
    """Converts and verifies through the compiled package; the tests swap in other backends."""

    def convert(self, source: str, target: str, options: dict) -> dict:
        from . import convert
        header = convert([source], target, **dict(_CONVERT_DEFAULTS, **options))
        return _header_fields(*(header[k] for k in ("id", "date", "count", "bbox", "checksum")))

    def check(self, target: str) -> dict:
        from . import read_scan
        scan = read_scan(target, verify=True)
        return _header_fields(scan.id, scan.date, scan.count, scan.bbox, scan.checksum)


def _empty_row(source: str, target: str, status: str) -> dict:
    row = dict.fromkeys(COLUMNS)
    row.update(input=source, output=target, status=status)
    return row


def _is_fresh(source: str, target: str) -> bool:
    """True when the output was written after the input last changed."""
    try:
        return os.stat(target).st_mtime_ns > os.stat(source).st_mtime_ns
    except OSError:
        return False


def _convert_task(source: str, target: str, may_skip: bool, options: dict, backend) -> dict:
    """One input to one output; every error becomes a failed row, never a failed task."""
    start = time.perf_counter()
    row = _empty_row(source, target, "failed")
    try:
        if may_skip and _is_fresh(source, target):
            with contextlib.suppress(Exception):  # an output that does not verify is made again
                row.update(backend.check(target), status="skipped")
        if row["status"] != "skipped":
            row.update(backend.convert(source, target, options), status="ok")
    except Exception as error:  # isolate the failure in this input's row
        row["error"] = str(error) or type(error).__name__
    row["seconds"] = round(time.perf_counter() - start, 6)
    return row


# ---------------------------------------------------------------------------
# Planning, on the client, before any task starts.

def expand_inputs(patterns) -> list:
    """Absolute paths of the files the patterns name, in order, each once."""
    sources, seen = [], set()
    for pattern in patterns:
        pattern = os.fspath(pattern)
        if any(c in pattern for c in "*?["):
            matches = [p for p in sorted(glob.glob(pattern, recursive=True)) if not os.path.isdir(p)]
        elif os.path.isdir(pattern):
            raise BatchError(f"{pattern} is a directory; name its files, e.g. '{os.path.join(pattern, '*')}'")
        else:
            matches = [pattern] if os.path.lexists(pattern) else []
        if not matches:
            raise BatchError(f"no file matches {pattern}")
        for path in matches:
            identity = os.path.realpath(path)
            if identity not in seen:
                seen.add(identity)
                sources.append(os.path.abspath(path))
    return sources


def plan_outputs(sources, out_dir) -> list:
    """DIR/<name>.lxs for each input; refuses two inputs writing one output, or an input
    that is its own output."""
    out_dir = os.path.abspath(out_dir)
    owners = {}
    targets = []
    for source in sources:
        stem = os.path.splitext(os.path.basename(source))[0]
        target = os.path.join(out_dir, stem + OUTPUT_SUFFIX)
        if target in owners:
            raise BatchError(f"{owners[target]} and {source} would both be written to {target}")
        if os.path.realpath(source) == os.path.realpath(target):
            raise BatchError(f"{source} would be overwritten by its own output")
        owners[target] = source
        targets.append(target)
    return targets


def prepare_out_dir(out_dir) -> str:
    """Creates the output directory and proves it writable with a probe file."""
    try:
        os.makedirs(out_dir, exist_ok=True)
        descriptor, probe = tempfile.mkstemp(dir=out_dir, prefix=".lxbase-batch-probe-")
        os.close(descriptor)
        os.unlink(probe)
    except OSError as error:
        raise BatchError(f"cannot write to the output directory {out_dir}: {error.strerror or error}") from None
    return os.path.abspath(out_dir)


# ---------------------------------------------------------------------------
# The catalogue.

def _atomic_write(path: str, text: str) -> None:
    """Replaces `path` with `text` in one rename, so readers see the old or the new file."""
    descriptor, temporary = tempfile.mkstemp(dir=os.path.dirname(path), prefix="." + os.path.basename(path) + ".")
    try:
        with os.fdopen(descriptor, "w", encoding="utf-8", newline="") as file:
            file.write(text)
            file.flush()
            os.fsync(file.fileno())
        os.chmod(temporary, 0o666 & ~_umask())
        os.replace(temporary, path)
    except BaseException:
        with contextlib.suppress(OSError):
            os.unlink(temporary)
        raise


def _umask() -> int:
    mask = os.umask(0o022)
    os.umask(mask)
    return mask


def catalogue_csv(rows) -> str:
    text = io.StringIO()
    writer = csv.DictWriter(text, fieldnames=COLUMNS, lineterminator="\n")
    writer.writeheader()
    writer.writerows(rows)
    return text.getvalue()


def write_catalogue(out_dir: str, rows, as_json: bool = False) -> None:
    _atomic_write(os.path.join(out_dir, CATALOGUE + ".csv"), catalogue_csv(rows))
    if as_json:
        _atomic_write(os.path.join(out_dir, CATALOGUE + ".json"), json.dumps(rows, indent=1) + "\n")


def summary(rows, seconds: float) -> str:
    """files, statuses, points converted and the overall rate."""
    counts = {status: sum(r["status"] == status for r in rows) for status in ("ok", "skipped", "failed")}
    points = sum(r["points"] or 0 for r in rows if r["status"] == "ok")
    rate = points / seconds if seconds > 0 else 0.0
    return (f"{len(rows)} files: {counts['ok']} ok, {counts['skipped']} skipped, {counts['failed']} failed; "
            f"{points} points converted in {seconds:.2f} s ({rate:,.0f} points/s)")


# ---------------------------------------------------------------------------
# Running on a cluster.

@contextlib.contextmanager
def open_client(scheduler: str | None = None, workers: int | None = None):
    """A client of the cluster at `scheduler`, or of a local cluster of `workers` processes
    with one thread each (default: one per core) that lives as long as the context."""
    import dask
    from distributed import Client, LocalCluster

    if scheduler:
        try:
            client = Client(scheduler, timeout=SCHEDULER_TIMEOUT)
        except (OSError, TimeoutError) as error:
            raise BatchError(f"cannot reach the scheduler at {scheduler}: {error}") from None
        with client:
            yield client
        return
    # forkserver starts a worker in about half the time spawn takes, without fork's
    # hazards in a process that already runs threads.
    with dask.config.set({"distributed.worker.multiprocessing-method": "forkserver"}):
        cluster = LocalCluster(n_workers=workers or os.cpu_count() or 1, threads_per_worker=1,
                               processes=True, silence_logs=logging.ERROR, dashboard_address=None,
                               scheduler_kwargs={"dashboard_address": ":0"})  # never a fixed port
        with cluster, Client(cluster) as client:
            yield client


def _lost_task_row(row: dict, future) -> dict:
    """The row of a task that never returned: its workers died, or the cluster went away."""
    error = future.exception() if future.status == "error" else None
    reason = f"{type(error).__name__}: {error}" if error is not None else future.status
    return dict(row, status="failed", error=f"the task did not finish ({reason})")


def _show_progress(futures) -> threading.Thread:
    from distributed import progress
    thread = threading.Thread(target=progress, args=(futures,),
                              kwargs={"multi": False, "notebook": False}, daemon=True)
    thread.start()
    return thread


class Batch:
    """One planned run: inputs, outputs and options, checked before any task starts."""

    def __init__(self, inputs, out_dir, *, force=False, as_json=False, backend=None,
                 catalogue_seconds=CATALOGUE_SECONDS, **options):
        self.sources = expand_inputs(inputs)
        self.out_dir = prepare_out_dir(out_dir)
        self.targets = plan_outputs(self.sources, self.out_dir)
        self.force = force
        self.as_json = as_json
        self.backend = backend or _Library()
        self.catalogue_seconds = catalogue_seconds
        self.options = options
        self.rows = [_empty_row(s, t, "pending") for s, t in zip(self.sources, self.targets)]
        self.seconds = 0.0

    def run(self, client, progress=False) -> list:
        """Runs every input as one task; returns the rows, also written to the catalogue."""
        from distributed import as_completed

        start = time.monotonic()
        run_id = uuid.uuid4().hex
        # Only outputs that stood before the run may be skipped: a task that a dead worker
        # finished without reporting runs again and converts, so that the row says "ok".
        futures = [client.submit(_convert_task, s, t, not self.force and os.path.exists(t), self.options,
                                 self.backend, key=f"lxs-convert-{run_id}-{i}", pure=False)
                   for i, (s, t) in enumerate(zip(self.sources, self.targets))]
        index = {future.key: i for i, future in enumerate(futures)}
        bar = _show_progress(futures) if progress else None
        written = time.monotonic()
        try:
            for future in as_completed(futures):
                i = index[future.key]
                self.rows[i] = future.result() if future.status == "finished" else _lost_task_row(self.rows[i], future)
                if time.monotonic() - written >= self.catalogue_seconds:
                    write_catalogue(self.out_dir, self.rows, self.as_json)
                    written = time.monotonic()
        finally:
            client.cancel([f for f in futures if not f.done()])
            write_catalogue(self.out_dir, self.rows, self.as_json)
            self.seconds = time.monotonic() - start
        if bar is not None:
            bar.join(timeout=5)
            # the scheduler's progress feed notices the closed connection one interval
            # later; a local cluster closed before then logs the feed as cancelled
            time.sleep(0.2)
        return self.rows


def convert_many(inputs, out_dir, client=None, *, workers=None, force=False, json=False,
                 progress=False, **options) -> list:
    """Converts every input (files or globs) to out_dir/<name>.lxs on a Dask cluster.

    client: a distributed.Client; without one, a local cluster of `workers` processes is
    started for this call. force: convert again even when a verified output is newer than
    its input. json: also write catalogue.json. Other keyword options go to
    lxbase.convert. Returns the catalogue rows (dicts with the keys in COLUMNS)."""
    batch = Batch(inputs, out_dir, force=force, as_json=json, **options)
    if client is not None:
        return batch.run(client, progress)
    with open_client(workers=workers) as own:
        return batch.run(own, progress)


# ---------------------------------------------------------------------------
# Command line.

def _positive(text: str) -> int:
    value = int(text)
    if value < 1:
        raise argparse.ArgumentTypeError(f"must be at least 1, not {value}")
    return value


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python3 -m lxbase.batch",
                                     description="Convert many scans on a Dask cluster.")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    convert = commands.add_parser("convert", help="convert ASCII or PLY inputs to DIR/<name>.lxs",
                                  description="Convert each INPUT (a file or a quoted glob) to DIR/<name>.lxs "
                                              "and list them all in DIR/catalogue.csv.")
    convert.add_argument("inputs", nargs="+", metavar="INPUT")
    convert.add_argument("--out", required=True, metavar="DIR", help="output directory (created when missing)")
    convert.add_argument("--scheduler", metavar="ADDRESS", help="an existing cluster, e.g. tcp://host:8786")
    convert.add_argument("--workers", type=_positive, metavar="N",
                         help="worker processes of the local cluster (default: the number of cores)")
    convert.add_argument("--force", action="store_true", help="convert again even when the output is up to date")
    convert.add_argument("--json", action="store_true", help="also write DIR/catalogue.json")
    return parser


def main(argv=None) -> int:
    parser = _parser()
    args = parser.parse_args(argv)
    if args.scheduler and args.workers:
        parser.error("--workers sizes the local cluster; it does not combine with --scheduler")
    batch = None
    try:
        batch = Batch(args.inputs, args.out, force=args.force, as_json=args.json)
        with open_client(args.scheduler, args.workers) as client:
            rows = batch.run(client, progress=sys.stdout.isatty())
    except BatchError as error:
        print(f"lxbase.batch: error: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        where = f"; {os.path.join(batch.out_dir, CATALOGUE + '.csv')} lists what is left" if batch else ""
        print(f"\nlxbase.batch: interrupted{where}", file=sys.stderr)
        return 130
    for row in rows:
        if row["status"] == "failed":
            named = row["error"] if row["input"] in row["error"] else f"{row['input']}: {row['error']}"
            print(f"lxbase.batch: failed: {named}", file=sys.stderr)
    print(summary(rows, batch.seconds))
    return 1 if any(row["status"] == "failed" for row in rows) else 0


if __name__ == "__main__":
    sys.exit(main())
