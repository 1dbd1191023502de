"""Arrays as images: in place, any line stride, dtypes, refusals."""
import pickle

import numpy as np
import pytest

import mvip


def test_out_is_written_in_place_through_any_line_stride(rng):
    a = rng.integers(0, 256, (48, 64), dtype=np.uint8)
    expected = 255 - a
    big = np.full((80, 100), 7, np.uint8)
    window = big[10:58, 20:84]              # pitch 100, offset into big
    assert mvip.pixneg(a, out=window) is window
    assert np.array_equal(window, expected)
    big[10:58, 20:84] = 7
    assert np.all(big == 7)                 # nothing outside the window
    flipped = np.zeros_like(a)[::-1]        # negative pitch
    mvip.pixneg(a, out=flipped)
    assert np.array_equal(flipped, expected)
    assert np.array_equal(mvip.pixneg(a[::-1]), expected[::-1])
    # a source whose pixels do not lie together is copied once
    assert np.array_equal(mvip.pixneg(a[:, ::2]), expected[:, ::2])
    assert np.array_equal(mvip.pixneg(a.T), expected.T)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.uint32, np.float32, np.float64])
def test_dtypes_and_pixies(dtype, rng):
    for shape in [(17, 23), (17, 23, 3), (17, 23, 4)]:
        a = rng.integers(0, 200, shape).astype(dtype)
        assert np.array_equal(mvip.copy(a), a)
        assert np.array_equal(mvip.copyreverse(a, 1), a[:, ::-1])
    if np.dtype(dtype).kind == "u":
        assert np.array_equal(mvip.pixneg(a), np.iinfo(dtype).max - a)
    be = a.astype(np.dtype(dtype).newbyteorder(">"))
    assert np.array_equal(mvip.copy(be), a)


def test_bits_and_results(rng):
    a = rng.integers(0, 4096, (20, 30), dtype=np.uint16)
    assert np.array_equal(mvip.pixneg(a, bits=12), 4095 - a)
    out, (low, high) = mvip.pixcontrastperc(a, 5, 95, bits=12)
    assert 0 < low < high < 4095 and out.max() == 4095


def test_refusals(rng):
    a = rng.integers(0, 256, (8, 8), dtype=np.uint8)
    cases = [
        (TypeError, lambda: mvip.pixneg(a.astype(np.int16))),
        (TypeError, lambda: mvip.pixneg([[1, 2]])),
        (ValueError, lambda: mvip.pixneg(np.zeros((2, 2, 2, 2), np.uint8))),
        (ValueError, lambda: mvip.pixneg(a, out=np.zeros((8, 16), np.uint8)[:, ::2])),
        (ValueError, lambda: mvip.pixneg(a, out=np.zeros((8, 9), np.uint8))),
        (ValueError, lambda: mvip.pixneg(a, out=np.zeros((8, 8), np.uint16))),
        (ValueError, lambda: mvip.pixneg(a, out=np.broadcast_to(a, a.shape))),
        (ValueError, lambda: mvip.pixshr(a, -1)),
        (ValueError, lambda: mvip.copycolorconvert(a, "no-such-space")),
        (ValueError, lambda: mvip.op("no-such-op", a)),
        (TypeError, lambda: mvip.pixshr(a)),
        (TypeError, lambda: mvip.pixshr(a, 1, k=2)),
    ]
    for error, call in cases:
        with pytest.raises(error):
            call()


def test_library_errors_carry_code_and_message(tmp_path):
    with pytest.raises(mvip.Error) as e:
        mvip.read(tmp_path / "missing.tif")
    assert e.value.code == -13 and e.value.message == mvip._mvip.errmessage(-13)
    assert "missing.tif" in str(e.value)
    again = pickle.loads(pickle.dumps(e.value))  # as Dask brings it back from a worker
    assert (again.code, again.message, str(again)) == (e.value.code, e.value.message, str(e.value))
    (tmp_path / "junk.tif").write_bytes(b"not an image at all")
    with pytest.raises(mvip.Error) as e:
        mvip.info(tmp_path / "junk.tif")
    assert e.value.code == -10
    with pytest.raises(mvip.Error) as e:  # two pixies are no colour image
        mvip.copycolorconvert(np.zeros((4, 4, 2), np.uint8), "grey")
    assert e.value.code < 0 and e.value.message == mvip._mvip.errmessage(e.value.code)
