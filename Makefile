# Ortavel: build, test, benchmark and demo. Each target installs the Debian
# packages it needs first (as root), then drives CMake in build/.
BUILD   ?= build
JOBS    ?= $(shell nproc)
PREFIX  ?= /usr/local
CMAKE_FLAGS ?=

.PHONY: all deps configure test bench demo install asan tsan fuzz lint format clean

all: configure
	cmake --build $(BUILD) -j $(JOBS)

deps:
	@scripts/ensure-deps build test lint

configure: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=$(PREFIX) $(CMAKE_FLAGS) >/dev/null

test: all
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# OpenCV serves only the benchmark's side-by-side comparison: when it cannot be
# installed, the benchmark runs without it and says so.
bench:
	@scripts/ensure-deps opencv || echo "ortavel: benchmarking without OpenCV"
	$(MAKE) all
	$(BUILD)/bin/ortavel-bench $(BENCH_FLAGS)

demo: all
	scripts/demo $(BUILD)

install: all
	cmake --install $(BUILD)

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: deps
	@scripts/ensure-deps sanitize
	cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORTAVEL_SANITIZE=address,undefined -DORTAVEL_BUILD_BENCH=OFF >/dev/null
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 ctest --test-dir build-asan --output-on-failure -j $(JOBS)

# The threaded tests under ThreadSanitizer.
tsan: deps
	@scripts/ensure-deps sanitize
	cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORTAVEL_SANITIZE=thread -DORTAVEL_BUILD_BENCH=OFF >/dev/null
	cmake --build build-tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan --output-on-failure -L threads -j $(JOBS)

# Fuzzes the EXIF reader for a bounded time (FUZZ_SECONDS) with libFuzzer.
FUZZ_SECONDS ?= 60
fuzz: deps
	@scripts/ensure-deps sanitize
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORTAVEL_BUILD_FUZZ=ON -DORTAVEL_BUILD_BENCH=OFF -DORTAVEL_SANITIZE=address,undefined >/dev/null
	cmake --build build-fuzz -j $(JOBS) --target fuzz_tiff_parse
	scripts/run-fuzz build-fuzz/bin/fuzz_tiff_parse tests/fuzz/corpus/tiff_parse $(FUZZ_SECONDS)

lint: configure
	scripts/lint $(BUILD)

format:
	git ls-files '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) build-asan build-tsan build-fuzz out
