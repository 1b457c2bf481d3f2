"""lxbase: the lxbase point-cloud library on numpy arrays.

Every function takes and returns whole numpy arrays; the loops run in C++
without the GIL, and every result equals the C++ library's per-element
function bit for bit. Library failures raise lxbase.Error or a subclass.
"""

from ._lxbase import (
    RECORD_DTYPE,
    Date,
    Error,
    FileError,
    Frame,
    HeaderError,
    OutOfMemoryError,
    ParseError,
    UUID,
    cartesian_to_polar,
    colour_ramp,
    component_from_name,
    component_name,
    decode_normals,
    encode_normals,
    hsl_to_rgb,
    ScanError,
    pack,
    polar_to_cartesian,
    rgb_to_hsl,
    sort_zorder,
    unpack,
    write_scan,
    zorder_permutation,
)
from ._scan import Scan, convert, read_scan

__all__ = [
    "RECORD_DTYPE",
    "Date",
    "Error",
    "FileError",
    "Frame",
    "HeaderError",
    "OutOfMemoryError",
    "ParseError",
    "Scan",
    "ScanError",
    "UUID",
    "cartesian_to_polar",
    "colour_ramp",
    "component_from_name",
    "component_name",
    "convert",
    "decode_normals",
    "encode_normals",
    "hsl_to_rgb",
    "pack",
    "polar_to_cartesian",
    "read_scan",
    "rgb_to_hsl",
    "sort_zorder",
    "unpack",
    "write_scan",
    "zorder_permutation",
]
