# Two commands do everything on a fresh machine:
#   make demo   build the library and run the demo on its built-in sample
#   make test   build and run all tests, normal and sanitizer builds
#   make test-windows   cross-build the Windows DLL and run the tests under Wine
#   make install [PREFIX=/usr/local]   header, library, mvtool, pkg-config, CMake package
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
	cmake --build build -j$(JOBS) --target mvtool
	./build/tools/mvtool demo out

test: test-release test-asan test-install

test-release: setup
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
	cmake --build build -j$(JOBS)
	ctest --test-dir build --output-on-failure -j$(JOBS) --timeout 600

test-asan: setup
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMVIP_SANITIZE=ON
	cmake --build build-asan -j$(JOBS)
	ctest --test-dir build-asan --output-on-failure -j$(JOBS) --timeout 600

# Install into a temporary prefix and build examples/hello against it, with
# the CMake package and with pkg-config.
.PHONY: install test-install
test-install: build/.built
	tools/check-install.sh build

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

PREFIX ?= /usr/local
install: build/.built
	cmake --install build --prefix $(PREFIX)

# The file readers under libFuzzer (clang), 600 s per target by default;
# not part of the tests.
fuzz:
	tools/fuzz.sh $(FUZZ_SECONDS)

clean:
	rm -rf build build-asan build-win
