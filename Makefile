# The two commands of the README, plus the benchmark.
#   make demo   installs what is missing, builds (Release) and renders the demo scene to demo.png
#   make test   installs what is missing, builds with ASan+UBSan and runs every test
#   make bench  builds the benchmarks in Release and runs them, with the peer
#               ones (Embree, OpenSceneGraph) where those are installed
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

BENCH_FLAGS := --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
# The OpenSceneGraph peer exists only when CMake found OpenSceneGraph; its
# OpenGL frames need an X server, so it runs under xvfb-run when there is one.
OSG_BENCH := build/release/bench/orvcore_osg_bench
bench: setup build/release/build.ninja
	cmake --build build/release -j $(JOBS) --target orvcore_bench orvcore_peer_bench
	if grep -q '^build orvcore_osg_bench:' build/release/build.ninja; then \
	  cmake --build build/release -j $(JOBS) --target orvcore_osg_bench; fi
	if grep -q '^build orvrender_bench:' build/release/build.ninja; then \
	  cmake --build build/release -j $(JOBS) --target orvrender_bench; fi
	build/release/bench/orvcore_bench $(BENCH_FLAGS)
	build/release/bench/orvcore_peer_bench $(BENCH_FLAGS)
	if [ -x build/release/bench/orvrender_bench ]; then build/release/bench/orvrender_bench $(BENCH_FLAGS); fi
	if [ -x $(OSG_BENCH) ] && command -v xvfb-run >/dev/null; then \
	  xvfb-run -a -s "-screen 0 1920x1080x24" $(OSG_BENCH) $(BENCH_FLAGS); fi

FUZZ_SECONDS ?= 600
fuzz:
	@scripts/setup fuzz
	FUZZ_SECONDS=$(FUZZ_SECONDS) JOBS=$(JOBS) fuzz/run

clean:
	rm -rf build
