"""docs/scan-format.md is enough to read a scan file: a reader written from
that page alone (plain Python and numpy, no lxbase) must find in a file that
lxbase writes exactly what lxbase itself reads back."""

import ctypes
import math
import struct

import numpy as np

import lxbase

_libm = ctypes.CDLL("libm.so.6")
_libm.tanf.restype = ctypes.c_float
_libm.tanf.argtypes = [ctypes.c_float]


def read_by_the_page(path):
    data = open(path, "rb").read()
    identifier, version, length = struct.unpack_from("<QII", data, 0)
    assert data[:8] == b"LXSCANPT" and identifier == 0x54504E414353584C
    assert version == 1 and length == 224
    header = {
        "id": data[16:32],
        "date": data[32:64].split(b"\0")[0].decode("ascii"),
        "axes": np.array(struct.unpack_from("<9d", data, 64)).reshape(3, 3).T,  # columns X, Y, Z
        "origin": np.array(struct.unpack_from("<3d", data, 136)),
    }
    n, coordinate, record = struct.unpack_from("<QII", data, 160)
    header["box"] = np.array(struct.unpack_from("<6d", data, 176)).reshape(2, 3)
    header["checksum"], header["flags"] = struct.unpack_from("<QI", data, 224)
    assert record == 3 * coordinate + 8 and len(data) == 240 + n * record
    fields = [("xyz", ("<f8" if coordinate == 8 else "<f4", 3)), ("code", "<u4"), ("colour", "<u4")]
    records = np.frombuffer(data, dtype=np.dtype(fields), count=n, offset=240)
    return header, records, data[240:]


def checksum_by_the_page(body):
    mask = (1 << 64) - 1
    padded = body + b"\0" * (-len(body) % 8)
    state = 0x9E3779B97F4A7C15
    for word in list(np.frombuffer(padded, dtype="<u8")) + [len(body)]:
        state = ((state ^ int(word)) * 0x9FB21C651E98DF25) & mask
        state ^= state >> 29
    h = state
    h ^= h >> 33
    h = (h * 0xFF51AFD7ED558CCD) & mask
    return h ^ (h >> 33)


def level_by_the_page(a, b):
    if a == b:
        return -math.inf
    ma, ea = math.frexp(a)
    mb, eb = math.frexp(b)
    if ea != eb:
        return max(ea, eb)
    bits = lambda v: struct.unpack("<Q", struct.pack("<d", v))[0]
    half = bits(0.5)
    differing = struct.unpack("<d", struct.pack("<Q", (bits(ma) ^ bits(mb)) | half))[0] - 0.5
    return ea + math.frexp(differing)[1]


def less_by_the_page(p, q):
    for a in range(3):
        if (p[a] < 0) != (q[a] < 0):
            return p[a] < q[a]
    levels = [level_by_the_page(p[a], q[a]) for a in range(3)]
    axis = levels.index(max(levels))
    return levels[axis] != -math.inf and p[axis] < q[axis]


def normal_table_by_the_page():
    f32 = np.float32
    inverse = f32(1) / f32(52)
    t = [f32(_libm.tanf(float((f32(2 * k + 1) * inverse - f32(1)) * f32(0.78539819)))) for k in range(52)]
    faces = [(0, 1, 2, 1), (0, 2, 1, -1), (1, 2, 0, 1), (1, 0, 2, -1), (2, 0, 1, 1), (2, 1, 0, -1)]
    table = np.zeros((16384, 3), np.float32)
    code = 1
    for main, first, second, sign in faces:
        for i in range(52):
            for j in range(52):
                a, b = t[i], t[j]
                d = (a * a + f32(1)) + b * b
                s = f32(1.0 / np.sqrt(np.float64(d)))
                table[code, main], table[code, first], table[code, second] = f32(sign) * s, s * a, s * b
                code += 1
    return table


def test_a_reader_from_the_page_reads_what_lxbase_wrote(tmp_path):
    rng = np.random.default_rng(9)
    n = 5000
    xyz = rng.uniform(-40, 40, (n, 3)).round(3)
    xyz[::50, 1] = 0.0  # zeros too, whose order is the odd one
    rgb = rng.integers(0, 256, (n, 3), dtype=np.uint8)
    intensity = rng.integers(0, 256, n, dtype=np.uint8)
    normals = rng.normal(size=(n, 3)).astype(np.float32)
    axes = np.array([[0.6, -0.8, 0.0], [0.8, 0.6, 0.0], [0.0, 0.0, 1.0]])
    path = tmp_path / "page.lxs"
    lxbase.write_scan(path, xyz, rgb=rgb, intensity=intensity, normals=normals,
                      registration=(axes, [10.0, 20.0, 3.0]), id="0f8fad5b-d9cb-469f-a165-70867728950e",
                      date="20261124T120000")
    scan = lxbase.read_scan(path)
    header, records, body = read_by_the_page(path)

    assert header["id"] == bytes.fromhex("0f8fad5bd9cb469fa16570867728950e") == scan.id.bytes
    assert header["date"] == "20261124T120000"
    np.testing.assert_array_equal(header["axes"], axes)
    np.testing.assert_array_equal(header["origin"], [10.0, 20.0, 3.0])
    assert header["flags"] == 3 and header["checksum"] == scan.checksum == checksum_by_the_page(body)
    np.testing.assert_array_equal(records["xyz"], scan.xyz)
    np.testing.assert_array_equal(header["box"], [records["xyz"].min(0), records["xyz"].max(0)])

    colour = records["colour"]
    np.testing.assert_array_equal(np.stack([colour >> 24, (colour >> 16) & 255, (colour >> 8) & 255], 1), scan.rgb)
    np.testing.assert_array_equal(colour & 255, scan.intensity)
    codes = records["code"] & 0x3FFF
    assert codes.min() >= 1 and codes.max() <= 16224
    np.testing.assert_array_equal(normal_table_by_the_page()[codes], scan.normals)
    points = [tuple(map(float, p)) for p in records["xyz"]]
    assert sorted(points) == sorted(map(tuple, xyz))
    assert not any(less_by_the_page(points[i], points[i - 1]) for i in range(1, n))


def test_the_page_decodes_every_normal_code():
    codes = np.arange(16384, dtype=np.uint16)
    np.testing.assert_array_equal(normal_table_by_the_page(), lxbase.decode_normals(codes))
