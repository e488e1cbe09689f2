# The two commands of the README, plus the benchmark.
#   make demo   installs what is missing, builds (Release) and renders the demo scene to demo.png
#   make test   installs what is missing, builds with ASan+UBSan and runs every test
#   make bench  builds the benchmarks in Release and runs them
#   make fuzz   installs clang and libFuzzer, builds the fuzz harnesses and runs
#               each for FUZZ_SECONDS (see fuzz/README.md)
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_GEN := -G Ninja

.PHONY: all setup demo test bench fuzz release clean

all: demo

setup:
	@scripts/setup

build/release/build.ninja: | setup
	cmake -S . -B build/release $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Release -DORVCORE_BUILD_TESTS=OFF

release: build/release/build.ninja
	cmake --build build/release -j $(JOBS)

demo: setup build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target orvrender
	build/release/apps/orvrender/orvrender examples/demo.json -o demo.png

test: setup
	cmake -S . -B build/test $(CMAKE_GEN) -DCMAKE_BUILD_TYPE=Debug -DORVCORE_SANITIZE=ON \
	  -DORVCORE_BUILD_BENCH=OFF -DCMAKE_CXX_FLAGS_DEBUG="-g -O1"
	cmake --build build/test -j $(JOBS)
	ctest --test-dir build/test --output-on-failure -j $(JOBS)

bench: setup build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target orvcore_bench
	build/release/bench/orvcore_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true

FUZZ_SECONDS ?= 600
fuzz:
	@scripts/setup fuzz
	FUZZ_SECONDS=$(FUZZ_SECONDS) JOBS=$(JOBS) fuzz/run

clean:
	rm -rf build
