"""lxbase: the lxbase point-cloud library on numpy arrays.

Arrays in, arrays out: every function works on whole numpy arrays in C++,
without the GIL, and equals the C++ library's per-element function bit for bit
(a NaN result is NaN, its sign and payload are not promised). An argument of
the wrong dtype raises TypeError, of the wrong shape ValueError; both messages
begin with the argument's name. Dtypes are never converted silently.

The element-wise functions take an optional out= array that receives the
result (and is returned): of the result's exact dtype and shape, writeable
and C-contiguous. It may be the input array itself where every result
replaces its own element (same dtype and shape), and must not overlap the
input otherwise.
"""

import datetime
import os
from typing import Any, Callable, Dict, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

ArrayLike = npt.ArrayLike
PathLike = Union[str, "os.PathLike[str]"]

RECORD_DTYPE: np.dtype
"""The 8-byte packed record (the library's HNormalRGB): fields code_word
(<u4: normal code in bits 0..13, reserved bits 14..16, empty-bit value in
bits 17..31), then the colour word's bytes intensity, blue, green, red (u1
each). `records.view(np.uint64)` holds the code word in the low 32 bits and
the colour word 0xRRGGBBII in the high 32 bits."""

class Error(Exception):
    """Base of every exception the lxbase library raises."""

class ParseError(Error, ValueError):
    """Text that is not a valid UUID, date or other library value."""

class FileError(Error, OSError):
    """A file could not be opened, read or written."""

class HeaderError(Error):
    """A versioned header block could not be read or written."""

class OutOfMemoryError(Error, MemoryError):
    """The library could not allocate a block."""

# Geometry

def cartesian_to_polar(xyz: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N, 3) float32 or float64 points x, y, z to (N, 3) polar points of the
    same dtype: range, horizontal angle (from +X towards +Y), vertical angle
    (from +Z), radians; computed in the input's precision."""

def polar_to_cartesian(polar: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N, 3) float32 or float64 polar points (range, horizontal angle,
    vertical angle) to (N, 3) Cartesian points of the same dtype."""

def zorder_permutation(xyz: ArrayLike) -> np.ndarray:
    """(N,) int64 indices that order (N, 3) float32 or float64 points along
    the Z-order of the library's point ordering: xyz[order] is sorted, no
    point is less than the one before it, equal points keep their order.
    Safe on every input (zeros, both signs, infinities, NaN). Rows that lie
    a whole number of coordinates apart (such as Scan.xyz) are not copied."""

def sort_zorder(xyz: ArrayLike) -> np.ndarray:
    """A copy of (N, 3) float32 or float64 points in Z-order; equals
    xyz[zorder_permutation(xyz)]."""

class Frame:
    """A local coordinate system in its parent: columns 0..2 of the 3x4
    matrix are the local X, Y, Z axes, column 3 the local origin, all in
    parent coordinates. Nothing is checked or normalised."""

    def __init__(self, matrix: Optional[ArrayLike] = None, *,
                 registration: Optional[Tuple[ArrayLike, ArrayLike]] = None) -> None:
        """From a 3x4 or 4x4 matrix (row 3 of a 4x4 is ignored), from
        registration=(axes 3x3, translation 3) whose axes' columns are the
        local X, Y and Z axes (as scan records store them), or the identity."""
    @property
    def matrix(self) -> np.ndarray:
        """The 4x4 float64 matrix; row 3 is (0, 0, 0, 1)."""
    @property
    def registration(self) -> Tuple[np.ndarray, np.ndarray]:
        """(axes 3x3 with the local axes as columns, translation 3)."""
    def propagate_points(self, xyz: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
        """(N, 3) float64 local points to parent coordinates: R p + o."""
    def back_propagate_points(self, xyz: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
        """(N, 3) float64 parent points to local coordinates: R^T (p - o)."""
    def propagate_frame(self, other: Frame) -> Frame:
        """other, given in this frame's local system, expressed in the parent."""
    def back_propagate_frame(self, other: Frame) -> Frame:
        """other, given in the parent, expressed in this frame's local system."""
    def __eq__(self, other: object) -> bool: ...

# Packed records

def encode_normals(normals: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N, 3) float32 normals to (N,) uint16 normal codes (1..16224; only
    the direction counts)."""

def decode_normals(codes: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N,) uint16 codes to (N, 3) float32 unit vectors through the centres
    of their cells; code 0 and the unused codes give (0, 0, 0)."""

def pack(rgb: Optional[ArrayLike] = None, intensity: Optional[ArrayLike] = None,
         normals: Optional[ArrayLike] = None) -> np.ndarray:
    """(N,) records of RECORD_DTYPE from (N, 3) uint8 colours, (N,) uint8
    intensities and (N, 3) float32 normals, each optional (missing ones are
    0). Without normals the code is 0, as the colour-only constructor stores
    it."""

def unpack(records: ArrayLike) -> Dict[str, np.ndarray]:
    """(N,) records (RECORD_DTYPE or uint64) to a dict with "rgb" (N, 3)
    uint8, "intensity" (N,) uint8, "normal_code" (N,) uint16 and "normals"
    (N, 3) float32."""

# Colour

def colour_ramp(values: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N,) float32 values to (N, 3) uint8 ramp colours: blue at 0 (and
    below, and NaN), green at 1/3, yellow at 2/3, red at 1 and above."""

def rgb_to_hsl(rgb: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N, 3) uint8 colours to (N, 3) uint16 hue, saturation, lightness
    (hue 0..65535 for 0..360 degrees, the others 0..65535 for 0..1)."""

def hsl_to_rgb(hsl: ArrayLike, out: Optional[np.ndarray] = None) -> np.ndarray:
    """(N, 3) uint16 hue, saturation, lightness to (N, 3) uint8 colours."""

# Identity and time

class UUID:
    """A 128-bit identifier, bytes in text order. Hashable and ordered by its
    bytes as unsigned numbers (the order of the texts)."""

    def __init__(self, value: Union[str, bytes, bytearray, None] = None) -> None:
        """None or "": all zero; text: 32 hex digits, optionally 8-4-4-4-12,
        optionally in braces (ParseError otherwise); 16 bytes: taken as they are."""
    @staticmethod
    def generate() -> UUID:
        """A random version-4 identifier from the operating system's entropy."""
    @staticmethod
    def zeros() -> UUID:
        """The all-zero identifier."""
    @staticmethod
    def is_valid(text: str) -> bool:
        """Whether the text is a valid UUID text (the empty text is not)."""
    @property
    def is_zero(self) -> bool: ...
    @property
    def bytes(self) -> bytes:
        """The 16 bytes, byte 0 first."""
    def __str__(self) -> str:
        """36 characters, lower-case 8-4-4-4-12."""
    def __hash__(self) -> int: ...
    def __eq__(self, other: object) -> bool: ...
    def __lt__(self, other: UUID) -> bool: ...
    def __le__(self, other: UUID) -> bool: ...
    def __gt__(self, other: UUID) -> bool: ...
    def __ge__(self, other: UUID) -> bool: ...

class Date:
    """A wall-clock time without zone, microsecond resolution, years 1400 to
    9999, or not-a-date-time (no date), +infinity, -infinity."""

    def __init__(self, value: Union[str, datetime.datetime, None] = None) -> None:
        """None: the current local time; text: compact ISO (20240115T102030,
        with an optional .ffffff) or "2024-01-15 10:20:30"; a naive
        datetime.datetime. Bad text raises ParseError; a datetime with a
        time zone raises ValueError."""
    @staticmethod
    def now() -> Date:
        """The current local time."""
    @staticmethod
    def no_date() -> Date:
        """not-a-date-time."""
    @staticmethod
    def from_datetime(moment: datetime.datetime) -> Date:
        """The naive datetime as a Date."""
    @property
    def is_valid(self) -> bool:
        """False only for not-a-date-time."""
    def iso(self) -> str:
        """YYYYMMDDThhmmss (no fraction), or the special value's word."""
    def local_string(self) -> str:
        """The locale's short date, a blank and the 24-hour time."""
    def to_datetime(self) -> Optional[datetime.datetime]:
        """The naive datetime with microseconds; None for not-a-date-time;
        ValueError for the infinities."""
    def __hash__(self) -> int: ...
    def __eq__(self, other: object) -> bool: ...
    def __lt__(self, other: Date) -> bool: ...
    def __le__(self, other: Date) -> bool: ...
    def __gt__(self, other: Date) -> bool: ...
    def __ge__(self, other: Date) -> bool: ...

def component_name(component: int) -> str:
    """The component's name ("XYZNormal"), or "UnkownComponent[<n>]" for a
    value without one."""

def component_from_name(name: str) -> int:
    """The component named exactly so; else the number in the last
    "[digits]" of the text; else 0 (UnkownComponent)."""

# Scan files

class ScanError(Error):
    """A scan file or point input is bad or cannot be written; the message
    names the file and the line or byte."""

class Scan:
    """A scan file opened by read_scan. Its records are memory-mapped:
    .xyz of a file with 8-byte coordinates is a read-only view of the file,
    and colours, intensities and normals are decoded on first access."""

    path: str
    id: UUID
    date: Date
    registration: Tuple[np.ndarray, np.ndarray]
    """(axes 3x3 with the local X, Y, Z axes as columns, translation 3):
    where the scanner stands in the parent system."""
    bbox: np.ndarray
    """(2, 3) float64: min x y z, max x y z of the points."""
    count: int
    checksum: int
    coordinate_bytes: int
    has_normals: bool
    colour_from_input: bool
    records: np.ndarray
    """(N,) records: xyz (3 float64, or float32 for 4-byte coordinates),
    then the fields of RECORD_DTYPE."""
    def __len__(self) -> int: ...
    @property
    def frame(self) -> Frame:
        """The registration as a Frame."""
    @property
    def xyz(self) -> np.ndarray:
        """(N, 3) float64 points in the parent system, in the file's Z-order."""
    @property
    def rgb(self) -> np.ndarray:
        """(N, 3) uint8 colours."""
    @property
    def intensity(self) -> np.ndarray:
        """(N,) uint8 intensities."""
    @property
    def normal_codes(self) -> np.ndarray:
        """(N,) uint16 normal codes (0: none)."""
    @property
    def normals(self) -> np.ndarray:
        """(N, 3) float32 decoded normals ((0, 0, 0) where there is none)."""
    def verify(self, progress: Optional[Callable[[str, float], None]] = None) -> Dict[str, Any]:
        """Checks checksum, normal codes, Z-order and bounding box of the
        whole file; raises ScanError naming the byte of a fault."""

def read_scan(path: PathLike, verify: bool = False) -> Scan:
    """Opens a scan file (header checked against the file's length; the
    whole file too with verify=True). Raises ScanError naming the file."""

def write_scan(path: PathLike, xyz: ArrayLike, rgb: Optional[ArrayLike] = None,
               intensity: Optional[ArrayLike] = None, normals: Optional[ArrayLike] = None,
               registration: Union[Frame, Tuple[ArrayLike, ArrayLike], None] = None,
               id: Union[UUID, str, bytes, None] = None,
               date: Union[Date, str, datetime.datetime, None] = None, *,
               local: bool = False, coordinate_bytes: int = 8) -> None:
    """Writes a scan file atomically (an existing file stays untouched when
    anything fails): (N, 3) float64 xyz, optional (N, 3) uint8 rgb (without
    it points are coloured by height), (N,) uint8 intensity and (N, 3)
    float32 normals, packed and sorted in Z-order. xyz are parent
    coordinates, or with local=True scanner coordinates placed through the
    registration. id: none gives a new random one; date: none gives now.
    coordinate_bytes=4 stores float32 coordinates."""

def convert(inputs: Union[PathLike, Sequence[PathLike]], output: PathLike, *, format: str = "auto",
            pose: Union[Frame, Tuple[ArrayLike, ArrayLike], None] = None, float_coordinates: bool = False,
            verify: bool = True, skip_invalid: bool = False, threads: int = 0,
            progress: Optional[Callable[[str, float], None]] = None) -> Dict[str, Any]:
    """Converts point files (text or PLY; several merge into one scan) into
    the scan file output, exactly as `lxscan convert` does. format: "auto",
    "xyz", "xyzrgb", "xyznormal" or "xyzrgbnormal" for text inputs; pose:
    the scan's registration; threads: 0 for all cores; progress is called
    with (stage, fraction) and may raise to stop. Returns the header fields
    (id, date, registration, count, bbox, checksum, ...), "inputs" (one
    summary per input), "points", "skipped" and "seconds" per stage."""
