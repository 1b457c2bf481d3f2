"""The Python face of the package: argument checks, the exception family,
identity and time values, frames and packed records."""

import datetime

import numpy as np
import pytest

import lxbase


@pytest.mark.parametrize("call,argument,good", [
    (lxbase.encode_normals, "normals", np.zeros((2, 3), np.float32)),
    (lxbase.decode_normals, "codes", np.zeros(2, np.uint16)),
    (lxbase.colour_ramp, "values", np.zeros(2, np.float32)),
    (lxbase.rgb_to_hsl, "rgb", np.zeros((2, 3), np.uint8)),
    (lxbase.hsl_to_rgb, "hsl", np.zeros((2, 3), np.uint16)),
    (lxbase.cartesian_to_polar, "xyz", np.zeros((2, 3), np.float64)),
    (lxbase.polar_to_cartesian, "polar", np.zeros((2, 3), np.float32)),
    (lxbase.Frame().propagate_points, "xyz", np.zeros((2, 3), np.float64)),
    (lxbase.Frame().back_propagate_points, "xyz", np.zeros((2, 3), np.float64)),
])
def test_argument_checks(call, argument, good):
    assert len(call(good)) == 2 and len(call(good[:0])) == 0
    wrong_dtype = good.astype(np.int64)
    with pytest.raises(TypeError, match=f"^{argument}: expected dtype"):
        call(wrong_dtype)
    wrong_shape = np.zeros(good.shape[:1] + (4,) if good.ndim == 1 else (2, 4), good.dtype)
    with pytest.raises(ValueError, match=f"^{argument}: expected shape"):
        call(wrong_shape)
    with pytest.raises(TypeError, match=f"^{argument}: "):
        call("not an array")


def test_pack_and_unpack():
    rgb = np.array([[10, 20, 30], [255, 0, 1]], np.uint8)
    # Colour only: the colour-only constructor, so code 0 even with an intensity.
    records = lxbase.pack(rgb, np.array([40, 7], np.uint8))
    assert records.dtype.itemsize == 8
    assert records["red"].tolist() == [10, 255] and records["intensity"].tolist() == [40, 7]
    assert records["code_word"].tolist() == [0, 0]
    # The uint64 view: code word in the low half, colour word (0xRRGGBBII) in the high half.
    assert records.view(np.uint64)[0] == 0x0A141E28 << 32
    normals_only = lxbase.pack(normals=np.array([[0, 0, 1]], np.float32))
    assert normals_only["code_word"].tolist() == [12195] and normals_only["red"].tolist() == [0]
    fields = lxbase.unpack(records)
    assert fields["rgb"].tolist() == rgb.tolist() and fields["normal_code"].tolist() == [0, 0]
    assert fields["normals"].tolist() == [[0, 0, 0], [0, 0, 0]]
    with pytest.raises(ValueError, match="at least one"):
        lxbase.pack()
    with pytest.raises(ValueError, match="^intensity: has 3 elements, but rgb has 2"):
        lxbase.pack(rgb, np.zeros(3, np.uint8))
    with pytest.raises(TypeError, match="^records: "):
        lxbase.unpack(np.zeros(2, np.float64))


def test_known_values():
    assert lxbase.encode_normals(np.array([[1, 0, 0], [-1, -1, -1], [0, 0, 0]], np.float32)).tolist() == [1379, 2705, 1]
    assert lxbase.colour_ramp(np.float32([0.25, np.nan, 7])).tolist() == [[0, 191, 63], [0, 0, 255], [255, 0, 0]]
    assert lxbase.rgb_to_hsl(np.array([[255, 0, 1]], np.uint8)).tolist() == [[65494, 65535, 32768]]
    polar = lxbase.cartesian_to_polar(np.array([[0, 0, -1.0]]))
    assert polar.tolist() == [[1.0, 0.0, np.pi]]


def test_frame():
    identity = lxbase.Frame()
    assert np.array_equal(identity.matrix, np.eye(4))
    m = np.arange(16, dtype=np.float64).reshape(4, 4)
    frame = lxbase.Frame(m)
    assert np.array_equal(frame.matrix[:3], m[:3]) and frame.matrix[3].tolist() == [0, 0, 0, 1]
    assert frame == lxbase.Frame(m[:3]) and frame != identity
    # registration: the columns of axes are the local X, Y, Z axes.
    turned = lxbase.Frame(registration=(np.array([[0, -1, 0], [1, 0, 0], [0, 0, 1.0]]), [5, 6, 7]))
    assert turned.propagate_points(np.array([[1.0, 0, 0]])).tolist() == [[5, 7, 7]]
    axes, translation = turned.registration
    assert axes[:, 0].tolist() == [0, 1, 0] and translation.tolist() == [5, 6, 7]
    assert turned.propagate_frame(lxbase.Frame()) == turned
    assert np.allclose(turned.back_propagate_frame(turned).matrix, np.eye(4))
    points = np.random.default_rng(1).standard_normal((100, 3))
    assert np.allclose(turned.back_propagate_points(turned.propagate_points(points)), points)
    with pytest.raises(ValueError, match="^matrix: expected shape"):
        lxbase.Frame(np.eye(3))
    with pytest.raises(ValueError, match="not both"):
        lxbase.Frame(np.eye(4), registration=(np.eye(3), [0, 0, 0]))
    with pytest.raises(ValueError, match="^registration: axes"):
        lxbase.Frame(registration=(np.eye(4), [0, 0, 0]))


def test_exception_family():
    assert issubclass(lxbase.ParseError, lxbase.Error) and issubclass(lxbase.ParseError, ValueError)
    assert issubclass(lxbase.FileError, lxbase.Error) and issubclass(lxbase.FileError, OSError)
    assert issubclass(lxbase.HeaderError, lxbase.Error)
    assert issubclass(lxbase.OutOfMemoryError, MemoryError)


def test_uuid():
    text = "0f8fad5b-d9cb-469f-a165-70867728950e"
    parsed = lxbase.UUID("{0F8FAD5B-D9CB-469F-A165-70867728950E}")
    assert str(parsed) == text and parsed.bytes[:4] == b"\x0f\x8f\xad\x5b"
    assert lxbase.UUID(parsed.bytes) == parsed and hash(lxbase.UUID(text)) == hash(parsed)
    assert lxbase.UUID().is_zero and lxbase.UUID("").is_zero and lxbase.UUID.zeros() == lxbase.UUID()
    fresh = {lxbase.UUID.generate() for _ in range(100)}
    assert len(fresh) == 100 and all(str(u)[14] == "4" and str(u)[19] in "89ab" for u in fresh)
    low, high = lxbase.UUID(b"\x7f" + bytes(15)), lxbase.UUID(b"\x80" + bytes(15))
    assert low < high and high > low and low <= low and not low < low and sorted([high, low]) == [low, high]
    assert lxbase.UUID.is_valid(text) and not lxbase.UUID.is_valid("0f8fad5b-d9cb469f-a165-70867728950e")
    with pytest.raises(lxbase.ParseError, match="invalid uuid string"):
        lxbase.UUID(" " + text)
    with pytest.raises(ValueError, match="16 bytes"):
        lxbase.UUID(b"short")


def test_date():
    d = lxbase.Date("20240115T102030.250000")
    assert d.iso() == "20240115T102030" and str(d) == d.iso()
    assert d.to_datetime() == datetime.datetime(2024, 1, 15, 10, 20, 30, 250000)
    assert lxbase.Date("2024-01-15 10:20:30") == lxbase.Date("20240115T102030") < d
    moment = datetime.datetime(1400, 1, 1, 0, 0, 0, 1)
    assert lxbase.Date(moment).to_datetime() == moment == lxbase.Date.from_datetime(moment).to_datetime()
    last = datetime.datetime(9999, 12, 31, 23, 59, 59, 999999)
    assert lxbase.Date(last).to_datetime() == last and eval(repr(lxbase.Date(last)), {"lxbase": lxbase}) == lxbase.Date(last)
    assert lxbase.Date.no_date().to_datetime() is None and not lxbase.Date.no_date().is_valid
    for word in ("+infinity", "-infinity"):
        with pytest.raises(ValueError):
            lxbase.Date(word).to_datetime()
    assert lxbase.Date("-infinity") < d < lxbase.Date.no_date() < lxbase.Date("+infinity")
    now = datetime.datetime.now()
    assert abs(lxbase.Date.now().to_datetime() - now) < datetime.timedelta(seconds=5)
    assert hash(lxbase.Date("20240115T102030")) == hash(lxbase.Date("2024-01-15 10:20:30"))
    with pytest.raises(lxbase.ParseError, match="Day of month"):
        lxbase.Date("2024-02-30 00:00:00")
    with pytest.raises(lxbase.ParseError):
        lxbase.Date(datetime.datetime(1399, 12, 31))
    with pytest.raises(ValueError, match="time zone"):
        lxbase.Date(datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone.utc))
    with pytest.raises(TypeError):
        lxbase.Date(20240115)


def test_component_names():
    assert lxbase.component_name(17) == "XYZNormal" and lxbase.component_name(-1) == "UnkownComponent[-1]"
    assert lxbase.component_from_name("XYZNormal") == 17 and lxbase.component_from_name("Foo[25]bar") == 25
    assert all(lxbase.component_from_name(lxbase.component_name(v)) == v for v in range(0, 40))
    with pytest.raises(ValueError, match="32-bit"):
        lxbase.component_name(1 << 31)


def test_out_arrays():
    rng = np.random.default_rng(8)
    xyz = rng.standard_normal((1000, 3))
    frame = lxbase.Frame(registration=(np.array([[0, -1, 0], [1, 0, 0], [0, 0, 1.0]]), [5, 6, 7]))
    expected = frame.propagate_points(xyz)
    out = np.empty_like(xyz)
    assert frame.propagate_points(xyz, out=out) is out and np.array_equal(out, expected)
    in_place = xyz.copy()
    frame.propagate_points(in_place, out=in_place)  # each result replaces its own point
    assert np.array_equal(in_place, expected)
    polar = lxbase.cartesian_to_polar(xyz)
    again = xyz.copy()
    assert np.array_equal(lxbase.cartesian_to_polar(again, out=again), polar)
    normals = rng.standard_normal((1000, 3)).astype(np.float32)
    codes = np.empty(1000, np.uint16)
    assert lxbase.encode_normals(normals, out=codes) is codes
    assert np.array_equal(codes, lxbase.encode_normals(normals))
    with pytest.raises(ValueError, match="^out: overlaps the input"):
        frame.propagate_points(in_place[1:], out=in_place[:-1])
    with pytest.raises(ValueError, match="^out: overlaps the input"):
        lxbase.encode_normals(normals, out=normals.view(np.uint16).reshape(-1)[:1000])
    with pytest.raises(TypeError, match="^out: expected dtype uint16"):
        lxbase.encode_normals(normals, out=np.empty(1000, np.int16))
    with pytest.raises(ValueError, match=r"^out: expected shape \(1000,\)"):
        lxbase.encode_normals(normals, out=np.empty(999, np.uint16))
    with pytest.raises(ValueError, match="^out: must be a writeable C-contiguous array"):
        frame.propagate_points(xyz, out=np.empty((1000, 6))[:, :3])
    with pytest.raises(TypeError, match="^out: expected a numpy array"):
        lxbase.colour_ramp(np.zeros(3, np.float32), out=[0, 0, 0])
