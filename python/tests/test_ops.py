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


def test_blobs_agree_with_scipy_labels(rng):
    a = (rng.random((60, 80)) < 0.25).astype(np.uint8) * 200
    for connect, structure in [(8, np.ones((3, 3))), (4, None)]:
        blobs, rejected = mvip.blobs(a, "gt", 100, connect=connect)
        labels, n = ndi.label(a > 100, structure=structure)
        assert len(blobs) == n and rejected == 0
        boxes = ndi.find_objects(labels)
        assert sorted((b.left, b.top, b.right, b.bottom, b.area) for b in blobs) == sorted(
            (s[1].start, s[0].start, s[1].stop, s[0].stop, int((labels[s] == k + 1).sum())) for k, s in enumerate(boxes))
    big, rejected = mvip.blobs(a, "gt", 100, limits=(3, 3, 1000, 1000))
    assert rejected > 0 and all(b.right - b.left >= 3 and b.bottom - b.top >= 3 for b in big)
    assert np.count_nonzero(a) == np.count_nonzero(a > 100)  # the image is left as it was


def test_draw_in_place(rng):
    c = np.zeros((40, 50, 3), np.uint8)
    assert mvip.draw(c, "line", 0, 0, 49, 39, colour=(255, 0)) is c
    assert np.count_nonzero(c[..., 0]) == 50 and not c[..., 1:].any()
    mvip.draw(c[::-1], "box", 5, 5, 20, 15, colour=7)  # through a negative pitch
    assert np.count_nonzero(c[::-1][5:16, 5:21, 2] == 7) > 0
    for bad in [("star", 1), ("line", 1, 2)]:
        with pytest.raises(ValueError):
            mvip.draw(c, *bad)
