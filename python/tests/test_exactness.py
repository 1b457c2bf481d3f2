"""Every array function equals the C++ library's per-element function bit for
bit, on adversarial inputs: both signs, zeros, NaN, infinities, denormals,
the boundaries of the normal cells, every 8-bit colour."""

import itertools

import numpy as np
import pytest

import lxbase


def same_bits(a, b):
    """Equal bit patterns, signed zeros included. A NaN result must be NaN in
    both, whatever its sign and payload: C++ arithmetic leaves those open (an
    addition of two NaNs may return either operand's)."""
    assert a.dtype == b.dtype and a.shape == b.shape
    if a.dtype.kind == "f":
        nan = np.isnan(a)
        if not np.array_equal(nan, np.isnan(b)):
            return False
        a, b = np.where(nan, 0, a), np.where(nan, 0, b)
    return np.array_equal(np.ascontiguousarray(a).view(np.uint8), np.ascontiguousarray(b).view(np.uint8))


def special_values(dtype):
    info = np.finfo(dtype)
    values = [0.0, -0.0, 1.0, -1.0, 0.5, -0.75, np.inf, -np.inf, np.nan, -np.nan,
              info.tiny, -info.tiny, info.smallest_subnormal, -info.smallest_subnormal,
              info.max, -info.max, np.pi, -np.pi / 2, 1e-300 if dtype == np.float64 else 1e-30, 512000.5]
    return np.array(values, dtype=dtype)


def adversarial_triples(dtype, random_count=100_000, seed=1):
    """Every combination of three special values, then random values of
    mixed scale and sign."""
    specials = special_values(dtype)
    grid = np.array(list(itertools.product(specials, repeat=3)), dtype=dtype)
    rng = np.random.default_rng(seed)
    scale = 10.0 ** rng.integers(-8, 9, size=(random_count, 3))
    rand = (rng.standard_normal((random_count, 3)) * scale).astype(dtype)
    return np.concatenate([grid, rand])


@pytest.mark.parametrize("dtype,suffix", [(np.float32, "f32"), (np.float64, "f64")])
def test_point_conversions(reference, dtype, suffix):
    points = adversarial_triples(dtype)
    polar = lxbase.cartesian_to_polar(points)
    assert polar.dtype == dtype
    assert same_bits(polar, reference(f"cartesian_to_polar_{suffix}", points, dtype, (-1, 3)))
    # The polar grid takes the same specials as ranges and angles.
    cartesian = lxbase.polar_to_cartesian(points)
    assert cartesian.dtype == dtype
    assert same_bits(cartesian, reference(f"polar_to_cartesian_{suffix}", points, dtype, (-1, 3)))
    # A strided (non-contiguous) view gives the values of its own elements.
    assert same_bits(lxbase.cartesian_to_polar(points[::2]), polar[::2])


@pytest.mark.parametrize("dtype,suffix", [(np.float32, "f32"), (np.float64, "f64")])
def test_zorder(reference, dtype, suffix):
    points = adversarial_triples(dtype, random_count=50_000)
    # Duplicates and clusters tighter than any fixed-point key.
    points = np.concatenate([points, points[:500], (1 + np.arange(300, dtype=dtype)[:, None] * np.finfo(dtype).eps)
                             * np.ones(3, dtype)])
    order = lxbase.zorder_permutation(points)
    assert order.dtype == np.int64
    assert np.array_equal(order, reference(f"zorder_permutation_{suffix}", points, np.uint64, (-1,)).astype(np.int64))
    assert same_bits(lxbase.sort_zorder(points), points[order])
    # The rows of a record array are used in place: the same order.
    records = np.zeros(len(points), dtype=[("xyz", dtype, (3,)), ("rest", "<u8")])
    records["xyz"] = points
    assert np.array_equal(lxbase.zorder_permutation(records["xyz"]), order)


def normal_cell_boundaries():
    """Normals whose in-face ratios lie on and next to the boundaries between
    cells (atan(u) * 52 / (pi/2) integral), on every face and in both index
    positions, plus zero, NaN, infinite and corner directions."""
    scale = np.float32(52 / (np.pi / 2))
    angles = (np.arange(0, 53, dtype=np.float64) - 26) / scale
    u = np.tan(angles).astype(np.float32)
    ratios = np.unique(np.concatenate([u, np.nextafter(u, np.float32(-2)), np.nextafter(u, np.float32(2)),
                                       np.float32([0, -0.0, 1, -1])]))
    ratios = ratios[np.abs(ratios) <= 1]
    rows = []
    for axis in range(3):
        for sign in (1, -1):
            for r in ratios:
                for s in (np.float32(0.3), np.float32(-0.7), r):
                    v = [r, s]
                    v.insert(axis, np.float32(sign))
                    rows.append(v)
    specials = special_values(np.float32)
    rows.extend(itertools.product(specials[:10], repeat=3))
    rng = np.random.default_rng(2)
    random = rng.standard_normal((200_000, 3)).astype(np.float32)
    return np.concatenate([np.array(rows, dtype=np.float32), random])


def test_normals(reference):
    normals = normal_cell_boundaries()
    codes = lxbase.encode_normals(normals)
    assert codes.dtype == np.uint16 and codes.shape == (len(normals),)
    assert same_bits(codes, reference("encode_normals", normals, np.uint16, (-1,)))
    # Every 16-bit code, the unused ones above 16224 and the reserved bits included.
    every = np.arange(65536, dtype=np.uint16)
    decoded = lxbase.decode_normals(every)
    assert same_bits(decoded, reference("decode_normals", every, np.float32, (-1, 3)))


def test_colour_ramp(reference):
    marks = np.float32([0, 1 / 3, 2 / 3, 1, 0.25, 0.5])
    values = np.concatenate([marks, np.nextafter(marks, np.float32(-1)), np.nextafter(marks, np.float32(2)),
                             special_values(np.float32),
                             np.random.default_rng(3).uniform(-0.5, 1.5, 100_000).astype(np.float32)])
    assert same_bits(lxbase.colour_ramp(values), reference("colour_ramp", values, np.uint8, (-1, 3)))


def test_hsl_every_colour(reference):
    every = np.arange(1 << 24, dtype=np.uint32)
    rgb = np.stack([every >> 16, (every >> 8) & 255, every & 255], axis=1).astype(np.uint8)
    hsl = lxbase.rgb_to_hsl(rgb)
    assert same_bits(hsl, reference("rgb_to_hsl", rgb, np.uint16, (-1, 3)))
    back = lxbase.hsl_to_rgb(hsl)
    assert same_bits(back, reference("hsl_to_rgb", hsl, np.uint8, (-1, 3)))
    # HSL triples no colour converts to: the corners of the 16-bit cube and random ones.
    edges = np.uint16([0, 1, 32767, 32768, 65534, 65535])
    other = np.concatenate([np.array(list(itertools.product(edges, repeat=3)), dtype=np.uint16),
                            np.random.default_rng(4).integers(0, 65536, (500_000, 3)).astype(np.uint16)])
    assert same_bits(lxbase.hsl_to_rgb(other), reference("hsl_to_rgb", other, np.uint8, (-1, 3)))


def test_pack(reference):
    normals = normal_cell_boundaries()[:50_000]
    rng = np.random.default_rng(5)
    colours = rng.integers(0, 256, (len(normals), 4)).astype(np.uint8)
    given = np.zeros(len(normals), dtype=[("c", "u1", 4), ("n", "<f4", 3)])
    given["c"], given["n"] = colours, normals
    rgb, intensity = colours[:, :3], colours[:, 3]
    with_normals = lxbase.pack(rgb, intensity, normals)
    assert with_normals.dtype == lxbase.RECORD_DTYPE
    assert same_bits(with_normals.view(np.uint64), reference("pack_normals", given, np.uint64, (-1,)))
    colour_only = lxbase.pack(rgb=rgb, intensity=intensity)
    assert same_bits(colour_only.view(np.uint64), reference("pack_colour", given, np.uint64, (-1,)))
    fields = lxbase.unpack(with_normals)
    assert np.array_equal(fields["rgb"], rgb) and np.array_equal(fields["intensity"], intensity)
    assert same_bits(fields["normal_code"], lxbase.encode_normals(normals))
    assert same_bits(fields["normals"], lxbase.decode_normals(fields["normal_code"]))
    assert same_bits(lxbase.unpack(with_normals.view(np.uint64))["normals"], fields["normals"])


def random_frames(count, seed):
    """Frames as 3x4 matrices: rotations with offsets, and arbitrary
    non-orthonormal matrices with specials among them."""
    rng = np.random.default_rng(seed)
    frames = rng.standard_normal((count, 3, 4)) * 10.0 ** rng.integers(-3, 6, (count, 1, 1))
    for i in range(0, count, 2):
        q, _ = np.linalg.qr(rng.standard_normal((3, 3)))
        frames[i, :, :3] = q
    frames[-1, 1, 2] = np.nan
    frames[-2, 0, 3] = -np.inf
    return frames


def test_frame_mappings(reference):
    points = adversarial_triples(np.float64, random_count=20_000)
    for matrix in random_frames(6, 6):
        frame = lxbase.Frame(matrix)
        given = np.concatenate([matrix.ravel(), points.ravel()])
        for name in ("propagate_points", "back_propagate_points"):
            mine = getattr(frame, name)(points)
            assert same_bits(mine, reference(name, given, np.float64, (-1, 3))), name
    pairs = random_frames(40, 7)
    frames = [lxbase.Frame(m) for m in pairs]
    given = np.concatenate([np.stack([pairs[i], pairs[i + 1]]).ravel() for i in range(0, 40, 2)])
    for name in ("propagate_frame", "back_propagate_frame"):
        mine = np.stack([getattr(frames[i], name)(frames[i + 1]).matrix[:3] for i in range(0, 40, 2)])
        assert same_bits(mine, reference(name, given, np.float64, (-1, 3, 4))), name
