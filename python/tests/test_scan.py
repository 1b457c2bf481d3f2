"""Scan files from Python: write_scan, read_scan (memory-mapped records,
fields decoded on first access), convert, and the round trip with Open3D."""

import os

import numpy as np
import pytest

import lxbase


def by_position(xyz, *columns):
    """The rows of xyz and of the companion arrays in lexicographic order of
    xyz, so that point sets in different orders can be compared."""
    order = np.lexsort(xyz.T[::-1])
    return [xyz[order]] + [c[order] for c in columns]


@pytest.fixture
def cloud():
    rng = np.random.default_rng(11)
    n = 5000
    xyz = rng.uniform(-50, 50, (n, 3))
    xyz[:10, 2] = 0.0  # zeros and both signs: the Z-order's hard cases
    rgb = rng.integers(0, 256, (n, 3)).astype(np.uint8)
    intensity = rng.integers(0, 256, n).astype(np.uint8)
    normals = rng.standard_normal((n, 3)).astype(np.float32)
    return xyz, rgb, intensity, normals


def test_write_and_read(tmp_path, cloud):
    xyz, rgb, intensity, normals = cloud
    path = tmp_path / "cloud.lxs"
    axes = np.array([[0, -1, 0], [1, 0, 0], [0, 0, 1.0]])
    lxbase.write_scan(path, xyz, rgb, intensity, normals, registration=(axes, [1, 2, 3]),
                      id="0f8fad5b-d9cb-469f-a165-70867728950e", date="2024-01-15 10:20:30")
    scan = lxbase.read_scan(path, verify=True)
    assert len(scan) == scan.count == len(xyz) and scan.has_normals and scan.colour_from_input
    assert str(scan.id) == "0f8fad5b-d9cb-469f-a165-70867728950e"
    assert scan.date == lxbase.Date("20240115T102030")
    assert np.array_equal(scan.registration[0], axes) and scan.registration[1].tolist() == [1, 2, 3]
    # Points are given in the parent system and stored as given, in Z-order.
    got = by_position(scan.xyz, scan.rgb, scan.intensity, scan.normals, scan.normal_codes)
    want = by_position(xyz, rgb, intensity, lxbase.decode_normals(lxbase.encode_normals(normals)),
                       lxbase.encode_normals(normals))
    for g, w in zip(got, want):
        assert g.dtype == w.dtype and np.array_equal(g, w)
    assert np.array_equal(scan.bbox, [xyz.min(axis=0), xyz.max(axis=0)])
    # The mapped records are the file's bytes behind the header.
    data = path.read_bytes()
    assert scan.records.tobytes() == data[len(data) - 32 * len(xyz):]
    assert not scan.xyz.flags.writeable
    packed = np.ascontiguousarray(np.asarray(scan.records).view(np.uint8).reshape(-1, 32)[:, 24:]).view(np.uint64)
    fields = lxbase.unpack(packed.ravel())
    assert np.array_equal(fields["rgb"], scan.rgb) and np.array_equal(fields["normals"], scan.normals)


def test_write_options(tmp_path, cloud):
    xyz = cloud[0]
    path = tmp_path / "local.lxs"
    frame = lxbase.Frame(registration=(np.array([[0, -1, 0], [1, 0, 0], [0, 0, 1.0]]), [100, 0, 0]))
    # local=True: the points are in the scanner's system and placed through the registration.
    lxbase.write_scan(path, xyz, registration=frame, local=True, coordinate_bytes=4)
    scan = lxbase.read_scan(path)
    assert scan.coordinate_bytes == 4 and scan.xyz.dtype == np.float64 and not scan.colour_from_input
    placed = frame.propagate_points(xyz).astype(np.float32).astype(np.float64)
    assert np.array_equal(by_position(scan.xyz)[0], by_position(placed)[0])
    assert scan.frame == frame and not scan.id.is_zero
    # Points without colour are coloured by height.
    assert len(np.unique(scan.rgb, axis=0)) > 10
    with pytest.raises(lxbase.ScanError, match="no points"):
        lxbase.write_scan(tmp_path / "empty.lxs", np.zeros((0, 3)))


def test_scan_errors(tmp_path, cloud):
    xyz, rgb = cloud[0], cloud[1]
    path = tmp_path / "e.lxs"
    with pytest.raises(TypeError, match="^xyz: "):
        lxbase.write_scan(path, xyz.astype(np.float32))
    with pytest.raises(ValueError, match="^rgb: has 4 points, but xyz has 5000"):
        lxbase.write_scan(path, xyz, rgb[:4])
    with pytest.raises(ValueError, match="^coordinate_bytes"):
        lxbase.write_scan(path, xyz, coordinate_bytes=2)
    with pytest.raises(lxbase.ParseError):
        lxbase.write_scan(path, xyz, id="not a uuid")
    assert not path.exists()
    with pytest.raises(lxbase.ScanError, match="missing.lxs"):
        lxbase.read_scan(tmp_path / "missing.lxs")
    lxbase.write_scan(path, xyz)
    data = path.read_bytes()
    (tmp_path / "cut.lxs").write_bytes(data[:-5])
    with pytest.raises(lxbase.ScanError, match="cut.lxs"):
        lxbase.read_scan(tmp_path / "cut.lxs")
    broken = bytearray(data)
    broken[-3] ^= 0xFF
    (tmp_path / "bad.lxs").write_bytes(bytes(broken))
    scan = lxbase.read_scan(tmp_path / "bad.lxs")  # only header and length are checked
    with pytest.raises(lxbase.ScanError, match="bad.lxs"):
        scan.verify()
    assert issubclass(lxbase.ScanError, lxbase.Error)


def test_convert(tmp_path):
    text = tmp_path / "points.txt"
    text.write_text("1 2 3 0 0 1\n-4 5 -6 1 0 0\n0 0 0 0 1 0\n")
    stages = []
    result = lxbase.convert([text], tmp_path / "out.lxs", format="xyznormal",
                            pose=(np.eye(3), [10, 0, 0]), progress=lambda stage, fraction: stages.append(stage))
    assert result["points"] == 3 and result["inputs"][0]["format"] == "xyznormal" and result["has_normals"]
    assert set(result["seconds"]) == {"read", "sort", "write", "verify", "total"}
    scan = lxbase.read_scan(result["path"], verify=True)
    assert sorted(scan.xyz.tolist()) == [[6, 5, -6], [10, 0, 0], [11, 2, 3]]
    assert scan.checksum == result["checksum"] and scan.id == result["id"]
    with pytest.raises(ValueError, match="^format: "):
        lxbase.convert(str(text), tmp_path / "x.lxs", format="csv")
    (tmp_path / "bad.txt").write_text("1 2 3\n1 2 x\n")
    with pytest.raises(lxbase.ScanError, match="bad.txt:2"):
        lxbase.convert(tmp_path / "bad.txt", tmp_path / "x.lxs")



def test_progress_exception_ends_convert(tmp_path):
    # Every stage reports its end, so even a quick conversion calls back.
    values = np.random.default_rng(4).integers(-99999, 99999, (1000, 3))
    text = tmp_path / "many.txt"
    text.write_text("\n".join(f"{a} {b} {c}" for a, b, c in values.tolist()) + "\n")

    def stop(stage, fraction):
        raise KeyboardInterrupt(stage)

    with pytest.raises(KeyboardInterrupt):
        lxbase.convert(text, tmp_path / "y.lxs", progress=stop)
    assert not (tmp_path / "y.lxs").exists()


def test_open3d_round_trip(tmp_path):
    o3d = pytest.importorskip("open3d", reason="Open3D (python3-open3d) is not installed")
    rng = np.random.default_rng(3)
    cloud = o3d.geometry.PointCloud()
    cloud.points = o3d.utility.Vector3dVector(rng.uniform(-20, 20, (2000, 3)))
    cloud.colors = o3d.utility.Vector3dVector(rng.integers(0, 256, (2000, 3)) / 255.0)
    cloud.estimate_normals()
    xyz = np.asarray(cloud.points)
    rgb = np.round(np.asarray(cloud.colors) * 255).astype(np.uint8)
    normals = np.asarray(cloud.normals).astype(np.float32)
    path = tmp_path / "o3d.lxs"
    lxbase.write_scan(path, xyz, rgb=rgb, normals=normals)
    scan = lxbase.read_scan(path, verify=True)
    got_xyz, got_rgb, got_normals = by_position(scan.xyz, scan.rgb, scan.normals)
    want_xyz, want_rgb, want_normals = by_position(xyz, rgb, normals)
    assert np.array_equal(got_xyz, want_xyz) and np.array_equal(got_rgb, want_rgb)
    # Normals come back quantised: within the half-diagonal of a cell (about 1.2 degrees).
    cosine = np.sum(got_normals * want_normals, axis=1) / np.linalg.norm(want_normals, axis=1)
    assert np.degrees(np.arccos(np.clip(cosine, -1, 1))).max() < 1.5
    back = o3d.geometry.PointCloud()
    back.points = o3d.utility.Vector3dVector(scan.xyz)
    back.colors = o3d.utility.Vector3dVector(scan.rgb / 255.0)
    assert o3d.io.write_point_cloud(str(tmp_path / "back.ply"), back)
    again = o3d.io.read_point_cloud(str(tmp_path / "back.ply"))
    assert np.array_equal(by_position(np.asarray(again.points))[0], want_xyz)
    assert os.path.getsize(path) > 0
