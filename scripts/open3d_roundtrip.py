"""Open3D's side of scripts/compare_open3d.sh.

  open3d_roundtrip.py roundtrip TEXT PLY  read TEXT (x y z nx ny nz), write it
                                          as binary PLY, read that back; print
                                          the seconds of each step
  open3d_roundtrip.py count PLY           print what Open3D finds in a PLY file
  open3d_roundtrip.py generate TEXT N     write N points as a scanner writes them:
                                          x y z of both signs with 4 decimals,
                                          unit normals with 5 decimals that
                                          (practically) never repeat

Run it with Debian's /usr/bin/python3, which has python3-open3d.
"""
import sys
import time

started = time.perf_counter()
import open3d as o3d  # noqa: E402

imported = time.perf_counter()


def roundtrip(text, ply):
    t0 = time.perf_counter()
    cloud = o3d.io.read_point_cloud(text, format="xyzn")
    t1 = time.perf_counter()
    if not o3d.io.write_point_cloud(ply, cloud, write_ascii=False):
        sys.exit(f"open3d could not write {ply}")
    t2 = time.perf_counter()
    back = o3d.io.read_point_cloud(ply)
    t3 = time.perf_counter()
    if len(back.points) != len(cloud.points) or not back.has_normals():
        sys.exit(f"open3d read back {len(back.points)} of {len(cloud.points)} points")
    print(f"points={len(cloud.points)} import={imported - started:.3f} read_text={t1 - t0:.3f} "
          f"write_ply={t2 - t1:.3f} read_ply={t3 - t2:.3f} work={t3 - t0:.3f}")


def count(ply):
    cloud = o3d.io.read_point_cloud(ply)
    print(f"points={len(cloud.points)} normals={cloud.has_normals()} colours={cloud.has_colors()}")


def generate(text, n):
    import numpy as np

    random = np.random.default_rng(15)
    block = 1_000_000
    with open(text, "w") as out:
        for first in range(0, n, block):
            m = min(block, n - first)
            xyz = random.uniform(-60.0, 60.0, (m, 3))
            normal = random.normal(size=(m, 3))
            normal /= np.linalg.norm(normal, axis=1)[:, None]
            np.savetxt(out, np.hstack([xyz, normal]), fmt="%.4f %.4f %.4f %.5f %.5f %.5f")


if __name__ == "__main__":
    if len(sys.argv) == 4 and sys.argv[1] == "roundtrip":
        roundtrip(sys.argv[2], sys.argv[3])
    elif len(sys.argv) == 4 and sys.argv[1] == "generate":
        generate(sys.argv[2], int(sys.argv[3]))
    elif len(sys.argv) == 3 and sys.argv[1] == "count":
        count(sys.argv[2])
    else:
        sys.exit(__doc__)
