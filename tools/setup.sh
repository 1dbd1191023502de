#!/bin/sh
# Install what the build needs when it is missing (a fresh machine of the
# project's kind already has all of it; this only acts on a bare one).
set -e
missing=""
command -v cmake >/dev/null 2>&1 || missing="$missing cmake"
command -v g++ >/dev/null 2>&1 || missing="$missing g++"
[ -f /usr/include/gtest/gtest.h ] || missing="$missing libgtest-dev"
[ -f /usr/include/benchmark/benchmark.h ] || missing="$missing libbenchmark-dev"
if [ -n "$missing" ]; then
  echo "setup: installing$missing"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -q && $SUDO apt-get install -y -q $missing
fi
