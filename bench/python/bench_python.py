"""Speed of the Python package (figures for bench/RESULTS.md).

    taskset -c 1 /usr/bin/python3 bench/python/bench_python.py overhead BUILD_DIR
    /usr/bin/python3 bench/python/bench_python.py dask BUILD_DIR        (both cores)
    taskset -c 1 /usr/bin/python3 bench/python/bench_python.py peers BUILD_DIR

overhead: one call on a 64 x 64 u8 image from Python (into a given out=
array, and with a new result array) against the same call from C (the
Google Benchmark cases BM_c_call_64_*, run in the same session).
dask: a 3x3 median over an 8192 x 8192 u8 image through mvip.dask.filter
with two workers (threads; and a dask.distributed cluster of two worker
processes) against one plain call; two Python threads each filtering its
own image against one thread doing both.
peers: the same filters on the same arrays against scikit-image and
OpenCV's Python bindings (one thread each).

Every figure is the median of several repetitions, the candidates
interleaved in random order within each repetition.
"""
import json
import os
import random
import subprocess
import sys
import threading
import time

import numpy as np


def median_times(cases, repetitions, inner=1, best=None):
    """{name: median seconds per call} for callables run `inner` times per
    sample, the cases shuffled in every repetition (and the fastest sample
    of each into `best` when given: on a loaded machine the least
    disturbed)."""
    samples = {name: [] for name in cases}
    names = list(cases)
    for _ in range(repetitions):
        random.shuffle(names)
        for name in names:
            f = cases[name]
            start = time.perf_counter()
            for _ in range(inner):
                f()
            samples[name].append((time.perf_counter() - start) / inner)
    if best is not None:
        best.update({name: min(v) for name, v in samples.items()})
    return {name: float(np.median(v)) for name, v in samples.items()}


def overhead(build):
    import mvip
    a = (np.arange(64 * 64) * 2654435761 >> 11).astype(np.uint8).reshape(64, 64)
    out = np.empty_like(a)
    run = mvip._mvip.run
    cases = {
        "pixneg out=": lambda: mvip.pixneg(a, out=out),
        "pixneg new array": lambda: mvip.pixneg(a),
        "pixneg _mvip.run": lambda: run("pixneg", (a,), (), out),
        "3x3median out=": lambda: mvip.median3x3(a, out=out),
        "3x3median new array": lambda: mvip.median3x3(a),
    }
    fastest = {}
    py = median_times(cases, 15, inner=2000, best=fastest)
    bench = os.path.join(build, "bench", "mvip_bench")
    res = subprocess.run([bench, "--benchmark_filter=BM_c_call_64", "--benchmark_repetitions=15",
                          "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"],
                         capture_output=True, text=True, check=True)
    c, c_best = {}, {}
    for b in json.loads(res.stdout)["benchmarks"]:
        op = b["run_name"].replace("BM_c_call_64_", "")
        if b.get("aggregate_name") == "median":
            c[op] = b["real_time"] * 1e-9
        elif "aggregate_name" not in b:
            c_best[op] = min(c_best.get(op, 1.0), b["real_time"] * 1e-9)
    print("| call (64 x 64 u8) | Python µs | C µs | Python - C µs | ratio Python/C | fastest sample: Python - C µs |")
    print("|---|---|---|---|---|---|")
    for name, t in py.items():
        op = name.split()[0]
        print(f"| {name} | {t * 1e6:.2f} | {c[op] * 1e6:.2f} | {(t - c[op]) * 1e6:.2f} | {t / c[op]:.2f} | "
              f"{(fastest[name] - c_best[op]) * 1e6:.2f} |")


def dask_figures(build):
    import dask
    import mvip
    import mvip.dask as md
    rng = np.random.default_rng(3)
    a = rng.integers(0, 256, (8192, 8192), dtype=np.uint8)
    expected = mvip.median3x3(a)
    tiles = (2048, 8192)

    def threads2():
        with dask.config.set(scheduler="threads", num_workers=2):
            return md.filter(a, "3x3median", chunks=tiles).compute()
    assert np.array_equal(threads2(), expected)
    b = rng.integers(0, 256, (8192, 8192), dtype=np.uint8)

    def two_threads():
        t = [threading.Thread(target=mvip.median3x3, args=(x,)) for x in (a, b)]
        for x in t:
            x.start()
        for x in t:
            x.join()
    cases = {
        "plain call, one thread": lambda: mvip.median3x3(a),
        "mvip.dask.filter, 2 worker threads": threads2,
        "two images one after the other (one thread)": lambda: (mvip.median3x3(a), mvip.median3x3(b)),
        "two images in two Python threads": two_threads,
    }
    t = median_times(cases, 7)
    # Both threads working at once shows as process CPU time above wall
    # time (up to 2 on two free cores), whatever else loads the machine.
    for name in ("two images in two Python threads", "mvip.dask.filter, 2 worker threads"):
        wall, cpu = time.perf_counter(), time.process_time()
        for _ in range(5):
            cases[name]()
        print(f"{name}: process CPU time / wall time = "
              f"{(time.process_time() - cpu) / (time.perf_counter() - wall):.2f}")
    from dask.distributed import Client, LocalCluster, wait
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        scattered = dask.array.from_array(a, chunks=tiles).persist()  # the image already on the workers

        def distributed():
            return md.filter(scattered, "3x3median").compute()

        def distributed_kept():  # the result stays on the workers, as in a pipeline
            wait(md.filter(scattered, "3x3median").persist())
        assert np.array_equal(distributed(), expected)
        t.update(median_times({"mvip.dask.filter, distributed, 2 worker processes, result gathered": distributed,
                               "mvip.dask.filter, distributed, 2 worker processes, result kept there":
                               distributed_kept}, 5))
        del client
    base = t["plain call, one thread"]
    pair = t["two images one after the other (one thread)"]
    print("| 3x3 median, 8192 x 8192 u8 | ms | speed-up |")
    print("|---|---|---|")
    for name, s in t.items():
        ref = pair if "two images" in name else base
        print(f"| {name} | {s * 1e3:.1f} | {ref / s:.2f} |")


def peers(build):
    import cv2
    import mvip
    from skimage import filters, morphology
    from skimage.morphology import square
    cv2.setNumThreads(1)
    rng = np.random.default_rng(5)
    a = rng.integers(0, 256, (2048, 2048), dtype=np.uint8)
    fp = square(3)
    rows = {
        "3x3 median": {"mvip": lambda: mvip.median3x3(a), "OpenCV": lambda: cv2.medianBlur(a, 3),
                       "scikit-image": lambda: filters.median(a, fp)},
        "3x3 minimum (erosion)": {"mvip": lambda: mvip.ranklow3x3(a), "OpenCV": lambda: cv2.erode(a, np.ones((3, 3), np.uint8)),
                                  "scikit-image": lambda: morphology.erosion(a, fp)},
        "3x3 mean": {"mvip": lambda: mvip.lowpass3x3(a, 1), "OpenCV": lambda: cv2.blur(a, (3, 3)),
                     "scikit-image": lambda: filters.rank.mean(a, fp)},
        # Both gradients into one u8 magnitude: OpenCV's usual recipe.
        "3x3 Sobel": {"mvip": lambda: mvip.sobel3x3(a, 0), "OpenCV": lambda: cv2.addWeighted(
            cv2.convertScaleAbs(cv2.Sobel(a, cv2.CV_16S, 1, 0)), 0.5,
            cv2.convertScaleAbs(cv2.Sobel(a, cv2.CV_16S, 0, 1)), 0.5, 0),
            "scikit-image": lambda: filters.sobel(a)},
    }
    print("| 2048 x 2048 u8, one thread | mvip ms | OpenCV ms | scikit-image ms | mvip/OpenCV | mvip/scikit-image |")
    print("|---|---|---|---|---|---|")
    for name, cases in rows.items():
        t = median_times(cases, 9)
        print(f"| {name} | {t['mvip'] * 1e3:.2f} | {t['OpenCV'] * 1e3:.2f} | {t['scikit-image'] * 1e3:.2f} | "
              f"{t['mvip'] / t['OpenCV']:.3g} | {t['mvip'] / t['scikit-image']:.3g} |")


if __name__ == "__main__":
    what, build = sys.argv[1], os.path.abspath(sys.argv[2])
    sys.path.insert(0, os.path.join(build, "python"))
    {"overhead": overhead, "dask": dask_figures, "peers": peers}[what](build)
