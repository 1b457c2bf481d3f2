"""Scan files: read_scan gives a Scan whose records are memory-mapped, with
the coordinates as a view and colours, intensities and normals decoded when
first asked for."""

import os

import numpy as np

from . import _lxbase
from ._lxbase import Date, Frame

_PACKED_FIELDS = [("code_word", "<u4"), ("intensity", "u1"), ("blue", "u1"), ("green", "u1"), ("red", "u1")]


def record_dtype(coordinate_bytes):
    """The dtype of one scan record: x, y, z (float64, or float32 when
    coordinate_bytes is 4), then the packed record (see RECORD_DTYPE)."""
    coordinate = "<f8" if coordinate_bytes == 8 else "<f4"
    return np.dtype([("xyz", coordinate, (3,))] + _PACKED_FIELDS)


class Scan:
    """A scan file opened by read_scan. The point arrays are read-only;
    .xyz of a file with 8-byte coordinates is a view of the mapped file."""

    def __init__(self, path):
        self._reader = _lxbase._ScanReader(path)
        header = self._reader.header
        self.path = os.fspath(path)
        self.id = header["id"]
        self.date = Date(header["date"]) if header["date"] else Date.no_date()
        self.registration = header["registration"]
        self.bbox = header["bbox"]
        self.count = header["count"]
        self.checksum = header["checksum"]
        self.coordinate_bytes = header["coordinate_bytes"]
        self.has_normals = header["has_normals"]
        self.colour_from_input = header["colour_from_input"]
        dtype = record_dtype(self.coordinate_bytes)
        if self.count:
            self.records = np.memmap(self.path, dtype=dtype, mode="r", offset=self._reader.record_offset,
                                     shape=(self.count,))
        else:
            self.records = np.zeros(0, dtype=dtype)
        self._decoded = {}

    def __len__(self):
        return self.count

    def __repr__(self):
        return f"<lxbase.Scan {self.path!r}: {self.count} points, id {self.id}>"

    @property
    def frame(self):
        """The registration as a Frame (scanner system to parent system)."""
        return Frame(registration=self.registration)

    @property
    def xyz(self):
        """(N, 3) float64 points in the parent system, in the file's order."""
        if "xyz" not in self._decoded:
            xyz = self.records["xyz"]
            self._decoded["xyz"] = xyz if xyz.dtype == np.float64 else xyz.astype(np.float64)
        return self._decoded["xyz"]

    def _field(self, name):
        if name not in self._decoded:
            self._decoded.update(_lxbase._unpack_scan_records(self.records, [name]))
        return self._decoded[name]

    @property
    def rgb(self):
        """(N, 3) uint8 colours."""
        return self._field("rgb")

    @property
    def intensity(self):
        """(N,) uint8 intensities."""
        return self._field("intensity")

    @property
    def normal_codes(self):
        """(N,) uint16 normal codes (0: no normal)."""
        return self._field("normal_code")

    @property
    def normals(self):
        """(N, 3) float32 decoded normals ((0, 0, 0) where there is none)."""
        return self._field("normals")

    def verify(self, progress=None):
        """Checks checksum, normal codes, Z-order and bounding box of the
        whole file; raises ScanError naming the byte of a fault."""
        return self._reader.verify(progress)


def read_scan(path, verify=False):
    """Opens a scan file; its header is checked against its length (and the
    whole file with verify=True). Raises ScanError naming the file."""
    scan = Scan(path)
    if verify:
        scan.verify()
    return scan


def convert(inputs, output, **options):
    """Converts point files (text or PLY; several merge into one scan) into
    the scan file output, like `lxscan convert`. Options: format ("auto",
    "xyz", "xyzrgb", "xyznormal", "xyzrgbnormal"), pose (a Frame or
    (axes 3x3, translation 3)), float_coordinates, verify (default True),
    skip_invalid, threads (0: all cores), progress (callable(stage,
    fraction)). Returns a dict with the header fields, the per-input
    summaries, counts and the seconds of each stage."""
    return _lxbase._convert(inputs, output, **options)
