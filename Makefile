# Two commands do everything on a fresh machine:
#   make demo   build the library and run the demo on its built-in sample
#   make test   build and run all tests, normal and sanitizer builds
JOBS ?= 2

.PHONY: all demo test test-release test-asan bench setup clean

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

bench: setup
	cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
	cmake --build build -j$(JOBS) --target mvip_bench
	./build/bench/mvip_bench

clean:
	rm -rf build build-asan
