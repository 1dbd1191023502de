# Two commands do everything on a fresh machine:
#   make demo   build the library and run the demo on its built-in sample
#   make test   build and run all tests, normal and sanitizer builds
#   make test-windows   cross-build the Windows DLL and run the tests under Wine
JOBS ?= 2

.PHONY: all demo test test-release test-asan test-windows bench fuzz setup clean

all: build/.built

setup:
	@tools/setup.sh

build/.built: setup
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
	cmake --build build -j$(JOBS)
	@touch build/.built

demo: setup
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
	cmake --build build -j$(JOBS) --target mvdemo
	./build/tools/mvdemo

test: test-release test-asan

test-release: setup
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
	cmake --build build -j$(JOBS)
	ctest --test-dir build --output-on-failure -j$(JOBS) --timeout 600

test-asan: setup
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMVIP_SANITIZE=ON
	cmake --build build-asan -j$(JOBS)
	ctest --test-dir build-asan --output-on-failure -j$(JOBS) --timeout 600

# The 64-bit Windows DLL and the tests, cross-built with mingw-w64; the
# tests run under Wine with its prefix in build-win/wineprefix.  The export
# check compares with the Linux library when `make test` has built it.
test-windows: setup
	@tools/setup-windows.sh
	cmake -S . -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release
	cmake --build build-win -j$(JOBS)
	tools/check_exports.sh build-win/bin/mvip.dll build/libmvip.so
	tools/wine-ctest.sh build-win --output-on-failure -j$(JOBS) --timeout 600

bench: setup
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
	cmake --build build -j$(JOBS) --target mvip_bench
	./build/bench/mvip_bench

# The file readers under libFuzzer (clang), 600 s per target by default;
# not part of the tests.
fuzz:
	tools/fuzz.sh $(FUZZ_SECONDS)

clean:
	rm -rf build build-asan build-win
