"""The Dask helpers give what the plain calls give, tile borders included."""
import os
import subprocess
import sys

import dask
import dask.array as da
import numpy as np
import pytest

import mvip
import mvip.dask as md

FILTERS = [("3x3median", ()), ("3x3lowpass", (2,)), ("3x3sobel", (0,)), ("2x2roberts", (0,)),
           ("3x3life", ()), ("NxNconvolve", (5, [1] * 25, 0, 0, 0)), ("NxNdynthreshold", (7, 3)), ("pixneg", ())]


def test_filter_equals_the_plain_call(rng):
    grey = rng.integers(0, 256, (103, 77), dtype=np.uint8)
    colour = rng.integers(0, 256, (45, 38, 3), dtype=np.uint8)
    with dask.config.set(scheduler="threads"):
        for name, params in FILTERS:  # tiles as views of a numpy array, and map_overlap
            for source in (grey, da.from_array(grey, chunks=(25, 20))):
                got = md.filter(source, name, *params, chunks=(25, 20)).compute()
                assert np.array_equal(got, mvip.op(name, grey, *params)), name
        for source in (colour, da.from_array(colour, chunks=(10, 9, 1))):
            got = md.filter(source, "3x3median", chunks=(10, 9)).compute()
            assert np.array_equal(got, mvip.median3x3(colour))
    with pytest.raises(ValueError):
        md.filter(grey, "copyshift", 3, 3)


def test_planes_and_files(tmp_path, rng):
    stack = rng.integers(0, 256, (4, 30, 40), dtype=np.uint8)
    got = md.map_planes(stack, "copyinterpnearest", 20, 10).compute()
    assert got.shape == (4, 10, 20)
    assert all(np.array_equal(got[z], mvip.copyinterpnearest(stack[z], 20, 10)) for z in range(4))
    assert np.array_equal(mvip.map_planes(mvip.pixneg, stack), 255 - stack)  # the plain loop
    paths = []
    for z in range(4):
        paths.append(tmp_path / f"p{z}.tif")
        mvip.write(paths[-1], stack[z])
    written = md.map_files("3x3median", paths, tmp_path / "out")
    assert [os.path.basename(p) for p in written] == [p.name for p in paths]
    assert all(np.array_equal(mvip.read(w), mvip.median3x3(stack[z])) for z, w in enumerate(written))
    arrays = md.map_files(mvip.pixneg, paths)
    assert np.array_equal(np.stack(arrays), 255 - stack)


def test_example_on_a_local_cluster(tmp_path):
    example = os.path.join(os.path.dirname(__file__), "..", "..", "examples", "python_dask", "process_folder.py")
    subprocess.run([sys.executable, example, str(tmp_path / "in"), str(tmp_path / "out"), "--make-samples", "3"],
                   check=True, capture_output=True, timeout=120)
    for name in ["sample000.tif", "sample002.tif"]:
        source = mvip.read(tmp_path / "in" / name)
        result = mvip.read(tmp_path / "out" / name)
        assert np.array_equal(result, mvip.pixcontrastperc(mvip.median3x3(source), 1, 99)[0])
