"""The operations give what the library gives through mvtool, and agree
with SciPy where the definitions meet."""
import os
import subprocess

import numpy as np
import pytest
import scipy.ndimage as ndi

import mvip

CASES = [
    ("pixshr", ["2"], (2,)), ("pixthreshold2", ["50", "150", "255", "0"], (50, 150, 255, 0)),
    ("pixgamma", ["0.5"], (0.5,)), ("pairsub", ["4"], (4,)), ("3x3median", [], ()),
    ("3x3sobel", ["0"], (0,)), ("NxNconvolve", ["3", "1,2,1,2,4,2,1,2,1", "0", "0", "0"], (3, [1, 2, 1, 2, 4, 2, 1, 2, 1], 0, 0, 0)),
    ("copyinterpbilinear", ["70", "30"], (70, 30)), ("copycolorconvert", ["hsb"], ("hsb",)),
    ("pseudocolor", ["heat"], ("heat",)),
]


@pytest.mark.skipif("MVIP_TOOL" not in os.environ, reason="needs mvtool (MVIP_TOOL)")
def test_operations_equal_mvtool(tmp_path, rng):
    grey = rng.integers(0, 256, (37, 45), dtype=np.uint8)
    colour = rng.integers(0, 256, (37, 45, 3), dtype=np.uint8)
    for name, texts, values in CASES:
        image = colour if name == "copycolorconvert" else grey
        images = [image, grey[::-1].copy()] if name.startswith("pair") else [image]
        inputs = []
        for k, a in enumerate(images):
            inputs.append(str(tmp_path / f"in{k}.tif"))
            mvip.write(inputs[-1], a)
        out = str(tmp_path / "out.tif")
        subprocess.run([os.environ["MVIP_TOOL"], "op", name, *inputs, out, *texts], check=True, capture_output=True)
        assert np.array_equal(mvip.op(name, *images, *values), mvip.read(out)), name


def test_median_and_extremes_agree_with_scipy(rng):
    a = rng.integers(0, 256, (40, 50), dtype=np.uint8)
    inner = (slice(1, -1), slice(1, -1))
    assert np.array_equal(mvip.median3x3(a)[inner], ndi.median_filter(a, 3)[inner])
    assert np.array_equal(mvip.ranklow3x3(a)[inner], ndi.minimum_filter(a, 3)[inner])
    assert np.array_equal(mvip.rankhigh3x3(a)[inner], ndi.maximum_filter(a, 3)[inner])


def test_region_form(tmp_path, rng):
    a = rng.integers(0, 256, (20, 30), dtype=np.uint8)
    box = tmp_path / "box.txt"
    box.write_text("[mvimregion]\nregiontype=MVIMREGRECTANGLE\norigin.x=10\norigin.y=8\n"
                   "region.rectangle.width=5\nregion.rectangle.height=3\nregion.rectangle.angle=0\n")
    b = mvip.pixneg(a, region=box)
    changed = b != a
    assert changed.sum() == 15 and np.array_equal(b[changed], 255 - a[changed])
    with pytest.raises(ValueError):
        mvip.median3x3(a, region=box)
