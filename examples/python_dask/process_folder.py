"""Process a folder of TIFF files on a local Dask cluster of two workers.

    python3 process_folder.py IN_DIR OUT_DIR [--make-samples N]

Every TIFF file of IN_DIR is read, smoothed with a 3x3 median, stretched to
the full range between its 1st and 99th percentiles and written to OUT_DIR
under its own name, each file one task on the cluster.  --make-samples N
first writes N synthetic 512 x 512 images into IN_DIR.  The same code runs
on a real cluster: give the scheduler's address to Client() instead.
"""
import argparse
import glob
import os

import numpy as np
from dask.distributed import Client, LocalCluster

import mvip
import mvip.dask


def clean(image):
    """The work done on one image (runs on a worker)."""
    smooth = mvip.median3x3(image)
    stretched, _levels = mvip.pixcontrastperc(smooth, 1, 99)
    return stretched


def make_samples(folder, count):
    os.makedirs(folder, exist_ok=True)
    rng = np.random.default_rng(1)
    y, x = np.mgrid[0:512, 0:512]
    for k in range(count):
        image = 60 + 40 * np.sin((x + 13 * k) / 40.0) * np.cos(y / 55.0) + rng.normal(0, 6, x.shape)
        image[rng.random(x.shape) < 0.01] = 255  # salt
        mvip.write(os.path.join(folder, f"sample{k:03d}.tif"), np.clip(image, 0, 255).astype(np.uint8))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("in_dir")
    parser.add_argument("out_dir")
    parser.add_argument("--make-samples", type=int, default=0)
    args = parser.parse_args()
    if args.make_samples:
        make_samples(args.in_dir, args.make_samples)
    paths = sorted(glob.glob(os.path.join(args.in_dir, "*.tif")) + glob.glob(os.path.join(args.in_dir, "*.tiff")))
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster):
        written = mvip.dask.map_files(clean, paths, args.out_dir)
    print(f"processed {len(written)} files into {args.out_dir}")


if __name__ == "__main__":
    main()
