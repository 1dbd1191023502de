"""Files through the package, checked with independent readers."""
import numpy as np
import pytest
import tifffile
from PIL import Image

import mvip


def test_written_files_read_back_and_in_other_readers(tmp_path, rng):
    grey16 = rng.integers(0, 65536, (21, 33), dtype=np.uint16)
    rgb = rng.integers(0, 256, (21, 33, 3), dtype=np.uint8)
    real = rng.random((21, 33), dtype=np.float32)
    for name, array, options in [("g.tif", grey16, {"compression": "lzw"}), ("c.tif", rgb, {"compression": "packbits"}),
                                 ("f.tif", real, {}), ("a.tiff", rgb, {"compression": "arith"})]:
        mvip.write(tmp_path / name, array, description="test", **options)
        assert np.array_equal(mvip.read(tmp_path / name), array), name
        if options.get("compression") != "arith":
            assert np.array_equal(np.asarray(Image.open(tmp_path / name)), array), name
    assert mvip.info(tmp_path / "g.tif")["compression"] == 5
    assert mvip.info(tmp_path / "g.tif")["texts"]["description"] == "test"
    mvip.write(tmp_path / "c.bmp", rgb)
    assert np.array_equal(np.asarray(Image.open(tmp_path / "c.bmp")), rgb)
    assert np.array_equal(mvip.read(tmp_path / "c.bmp"), rgb)
    mvip.write(tmp_path / "c.jpg", rgb, quality=95)
    back = mvip.read(tmp_path / "c.jpg").astype(int)
    assert np.abs(back - np.asarray(Image.open(tmp_path / "c.jpg")).astype(int)).max() <= 2
    assert mvip.info(tmp_path / "c.jpg")["quality"] == 95


def test_stacks(tmp_path, rng):
    stack = rng.integers(0, 256, (4, 16, 24), dtype=np.uint8)
    mvip.write(tmp_path / "s.tif", stack)
    assert mvip.info(tmp_path / "s.tif")["images"] == 4
    assert np.array_equal(mvip.read_stack(tmp_path / "s.tif"), stack)
    assert np.array_equal(mvip.read(tmp_path / "s.tif", 2), stack[2])
    assert np.array_equal(tifffile.imread(tmp_path / "s.tif"), stack)
    colour = rng.integers(0, 256, (3, 16, 24, 3), dtype=np.uint8)
    mvip.write(tmp_path / "m.avi", colour, fps=10)
    assert mvip.info(tmp_path / "m.avi")["fps"] == 10
    assert np.array_equal(mvip.read_stack(tmp_path / "m.avi"), colour)
    assert np.array_equal(mvip.read(tmp_path / "m.avi", 1), colour[1])
    with pytest.raises(mvip.Error) as e:
        mvip.read(tmp_path / "m.avi", 3)
    assert e.value.code == -12
    with pytest.raises(ValueError):
        mvip.write(tmp_path / "s.bmp", stack)
    with pytest.raises(ValueError):
        mvip.write(tmp_path / "s.png", stack[0])
