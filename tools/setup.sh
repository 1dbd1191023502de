#!/bin/sh
# Install what the build and the tests need when it is missing (a fresh
# machine of the project's kind has the compilers; this only acts on what
# is absent).  The tests check files against independent TIFF and BMP
# readers (libtiff's tools, Pillow, tifffile); the benchmarks compare with
# libtiff.  Python packages from Debian land in /usr/bin/python3, which is
# the interpreter the tests use.
set -e
missing=""
command -v cmake >/dev/null 2>&1 || missing="$missing cmake"
command -v g++ >/dev/null 2>&1 || missing="$missing g++"
command -v pkg-config >/dev/null 2>&1 || missing="$missing pkgconf"  # the install check
[ -f /usr/include/gtest/gtest.h ] || missing="$missing libgtest-dev"
[ -f /usr/include/benchmark/benchmark.h ] || missing="$missing libbenchmark-dev"
[ -f /usr/include/x86_64-linux-gnu/tiffio.h ] || [ -f /usr/include/tiffio.h ] || missing="$missing libtiff-dev"
command -v tiffinfo >/dev/null 2>&1 || missing="$missing libtiff-tools"
/usr/bin/python3 -c "import PIL" >/dev/null 2>&1 || missing="$missing python3-pil"
/usr/bin/python3 -c "import tifffile" >/dev/null 2>&1 || missing="$missing python3-tifffile"
# AVI files are checked against ffprobe and ffmpeg.
command -v ffprobe >/dev/null 2>&1 || missing="$missing ffmpeg"
# JPEG interoperability: libjpeg-turbo's cjpeg and djpeg, the jpeg program
# of libjpeg-tools (12-bit files), libjpeg-turbo's library for the benchmark.
command -v djpeg >/dev/null 2>&1 || missing="$missing libjpeg-turbo-progs"
command -v jpeg >/dev/null 2>&1 || missing="$missing libjpeg-tools"
[ -f /usr/include/jpeglib.h ] || [ -f /usr/include/x86_64-linux-gnu/jpeglib.h ] || missing="$missing libjpeg62-turbo-dev"
# Blob lists are checked against SciPy's labelling.
/usr/bin/python3 -c "import scipy.ndimage" >/dev/null 2>&1 || missing="$missing python3-scipy"
# The Python package: pybind11 and the interpreter's headers to build it,
# pytest, Dask (with dask.distributed) to test it; scikit-image and OpenCV
# for its benchmark.
[ -f /usr/include/pybind11/pybind11.h ] || missing="$missing pybind11-dev"
[ -f /usr/include/python3.11/Python.h ] || ls /usr/include/python3*/Python.h >/dev/null 2>&1 || missing="$missing python3-dev"
/usr/bin/python3 -c "import pytest" >/dev/null 2>&1 || missing="$missing python3-pytest"
/usr/bin/python3 -c "import dask.array" >/dev/null 2>&1 || missing="$missing python3-dask"
/usr/bin/python3 -c "import distributed" >/dev/null 2>&1 || missing="$missing python3-distributed"
/usr/bin/python3 -c "import skimage" >/dev/null 2>&1 || missing="$missing python3-skimage"
/usr/bin/python3 -c "import cv2" >/dev/null 2>&1 || missing="$missing python3-opencv"
if [ -n "$missing" ]; then
  echo "setup: installing$missing"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -q && $SUDO apt-get install -y -q $missing
fi
