"""Calls run without the interpreter lock; the abort hook reaches Python."""
import os
import signal
import threading

import numpy as np
import pytest

import mvip


def test_abort_callable_sees_progress_and_cancels(rng):
    a = rng.integers(0, 256, (64, 40), dtype=np.uint8)
    calls = []
    mvip.median3x3(a, abort=lambda done, total: calls.append((done, total)))
    assert calls[0] == (0, 0) and calls[-1][1] == 64 and len(calls) > 2
    with pytest.raises(mvip.Error) as e:
        mvip.median3x3(a, abort=lambda done, total: done > 8)
    assert e.value.code == mvip.CANCELED

    def stop(done, total):
        if done > 0:
            raise KeyboardInterrupt
    with pytest.raises(KeyboardInterrupt):
        mvip.median3x3(a, abort=stop)
    with pytest.raises(ZeroDivisionError):
        mvip.write("/nonexistent-dir/x.tif", a, abort=lambda d, t: 1 / 0)


@pytest.mark.skipif(threading.current_thread() is not threading.main_thread(), reason="signals need the main thread")
def test_ctrl_c_stops_a_long_call(rng):
    a = rng.integers(0, 256, (4096, 4096), dtype=np.uint8)
    timer = threading.Timer(0.05, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            for _ in range(200):  # long past the signal either way
                mvip.convolveNxN(a, 9, [1] * 81, 0, 0, 0)
    finally:
        timer.cancel()


def test_two_threads_filter_two_images(rng):
    images = [rng.integers(0, 256, (1024, 1024), dtype=np.uint8) for _ in range(2)]
    expected = [mvip.median3x3(a) for a in images]
    results = [None, None]

    def work(k):
        for _ in range(5):
            results[k] = mvip.median3x3(images[k])
    threads = [threading.Thread(target=work, args=(k,)) for k in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert all(np.array_equal(r, e) for r, e in zip(results, expected))
