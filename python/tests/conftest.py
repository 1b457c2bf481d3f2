"""Shared fixtures: the C++ reference program that computes the library's
per-element results for the exactness tests."""

import os
import subprocess

import numpy as np
import pytest


@pytest.fixture(scope="session")
def reference(tmp_path_factory):
    """reference(operation, input_array, dtype, shape) runs the library's
    per-element function over the raw bytes of input_array and returns the
    result as an array of dtype and shape (-1 for the element count)."""
    program = os.environ.get("LXBASE_REFERENCE")
    if not program:
        pytest.skip("LXBASE_REFERENCE is not set (ctest sets it to the reference program)")
    directory = tmp_path_factory.mktemp("reference")

    def run(operation, data, dtype, shape):
        source = directory / f"{operation}.in"
        target = directory / f"{operation}.out"
        np.ascontiguousarray(data).tofile(source)
        subprocess.run([program, operation, str(source), str(target)], check=True)
        result = np.fromfile(target, dtype=dtype).reshape(shape)
        source.unlink()
        target.unlink()
        return result

    return run
