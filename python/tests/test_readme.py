"""The Python examples of README.md run, in order, in one scratch directory
that starts with a scan file."""

import pathlib
import re

import numpy as np
import pytest

import lxbase

README = pathlib.Path(__file__).resolve().parents[2] / "README.md"


def test_readme_examples(tmp_path, monkeypatch):
    pytest.importorskip("open3d", reason="the README's examples use Open3D (python3-open3d)")
    blocks = re.findall(r"^```python\n(.*?)^```", README.read_text(), flags=re.S | re.M)
    assert blocks, "README.md has no Python example"
    monkeypatch.chdir(tmp_path)
    rng = np.random.default_rng(9)
    lxbase.write_scan("scan.lxs", rng.uniform(-5, 5, (3000, 3)), normals=rng.standard_normal((3000, 3)).astype(np.float32))
    for number, block in enumerate(blocks, 1):
        exec(compile(block, f"README.md python example {number}", "exec"), {})
    assert (tmp_path / "scan_by_height.ply").stat().st_size > 3000 * 24
