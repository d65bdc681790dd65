# Ortavel: build, test, benchmark and demo. Each target installs the Debian
# packages it needs first (as root), then drives CMake in build/.
BUILD   ?= build
JOBS    ?= $(shell nproc)
PREFIX  ?= /usr/local
CMAKE_FLAGS ?=

.PHONY: all deps configure test bench demo install asan tsan fuzz lint format clean windows windows-test
.PHONY: windows-dist windows-dialog-bench
.PHONY: browser-deps bench-ui

all: configure
	@echo "ortavel: building $(BUILD)/ ($(JOBS) jobs)"
	cmake --build $(BUILD) -j $(JOBS)

deps:
	@scripts/ensure-deps build test lint

# The same configuration as make demo's (scripts/configure), so that either
# reuses what the other built.
configure: deps
	@echo "ortavel: configuring $(BUILD)/"
	@scripts/configure $(BUILD) -DCMAKE_INSTALL_PREFIX=$(PREFIX) $(CMAKE_FLAGS) >/dev/null

# A line per stage; the build prints its percentage, ctest each test as it ends.
test: all browser-deps
	@echo "ortavel: running the tests ($(JOBS) at a time)"
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# The browser tests: Debian's chromium and Node.js (or a Node.js installed
# otherwise, taken as it is), and Playwright from the npm lock file in
# tests/browser/.
browser-deps:
	@echo "ortavel: the browser tests' packages (npm ci in tests/browser)"
	@scripts/ensure-deps browser
	cd tests/browser && npm ci --no-audit --no-fund --loglevel=error

# OpenCV serves only the benchmark's side-by-side comparisons: when it cannot be
# installed, the benchmark runs without it and says so. First the kernels (every
# method, depth and instruction-set path, then interleaved against OpenCV), then
# the command end to end (scripts/bench-end-to-end), and, after make windows,
# the Windows build's kernels under Wine against the Linux build's.
# BENCH_FLAGS=--quick: the interleaved comparisons alone, fewer rounds.
bench:
	@scripts/ensure-deps opencv || echo "ortavel: benchmarking without OpenCV"
	$(MAKE) all
	$(BUILD)/bin/ortavel-bench $(BENCH_FLAGS)
	scripts/bench-end-to-end $(BUILD) $(filter --quick,$(BENCH_FLAGS)) \
	  $(if $(wildcard build-windows/bin/ortavel-kernel-timing.exe),--windows-build build-windows)

# Time from a slider change to the new corrected preview on screen in
# `ortavel ui`, for a 24-megapixel photo at a 1024-pixel preview.
bench-ui: all browser-deps
	node tests/browser/latency_bench.mjs $(BUILD)/bin/ortavel

# The demo builds only what it runs (module, host, command), quietly.
demo:
	@scripts/demo $(BUILD) -DCMAKE_INSTALL_PREFIX=$(PREFIX) $(CMAKE_FLAGS)

install: all
	cmake --install $(BUILD)

# The sanitizer builds optimise at -O1 with line tables only, as the
# sanitizers' own documentation suggests: reports still name file and line,
# and the builds take half the time they take at -O2 with full debug records.
SANITIZE_FLAGS = -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORTAVEL_BUILD_BENCH=OFF \
  "-DCMAKE_C_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG" "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1 -DNDEBUG"

# The whole suite under AddressSanitizer and UndefinedBehaviorSanitizer.
asan: deps
	@scripts/ensure-deps sanitize
	cmake -S . -B build-asan $(SANITIZE_FLAGS) -DORTAVEL_SANITIZE=address,undefined >/dev/null
	cmake --build build-asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1 ctest --test-dir build-asan --output-on-failure -j $(JOBS)

# The threaded tests under ThreadSanitizer; only their targets are built (each
# test is named after its target).
tsan: deps
	@scripts/ensure-deps sanitize
	cmake -S . -B build-tsan $(SANITIZE_FLAGS) -DORTAVEL_SANITIZE=thread >/dev/null
	cmake --build build-tsan -j $(JOBS) --target \
	  $$(ctest --test-dir build-tsan -N -L threads | sed -n 's/^ *Test *#[0-9]*: //p')
	TSAN_OPTIONS=halt_on_error=1 ctest --test-dir build-tsan --output-on-failure -L threads -j $(JOBS)

# Fuzzes every reader of outside input with libFuzzer for FUZZ_SECONDS in
# all, shared between the targets (scripts/run-fuzzers lists them and their
# seed corpora under tests/fuzz/corpus/). Builds only the fuzz targets and
# what they link.
FUZZ_SECONDS ?= 60
fuzz: deps
	@scripts/ensure-deps sanitize
	CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORTAVEL_BUILD_FUZZ=ON -DORTAVEL_BUILD_BENCH=OFF -DORTAVEL_SANITIZE=address,undefined >/dev/null
	cmake --build build-fuzz -j $(JOBS) --target fuzzers
	scripts/run-fuzzers build-fuzz/bin tests/fuzz/corpus $(FUZZ_SECONDS)

# The Windows x64 module (Ortavel.8bf) and host emulator, cross-built with
# mingw-w64 into build-windows/.
windows:
	@scripts/ensure-deps windows
	cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release >/dev/null
	cmake --build build-windows -j $(JOBS)

# The Windows module under Wine, scenario by scenario, against the Linux module.
windows-test: configure windows
	cmake --build $(BUILD) -j $(JOBS) --target ortavel_plugin ortavel_automation ortavel-host ortavel-scenarios ortavel-lens-table-check ortavel
	scripts/windows-test $(BUILD) build-windows
	scripts/windows-dialog-test build-windows $(BUILD)

# The dialog's preview latency on a 24-megapixel document under Wine (a
# benchmark, not part of the tests).
windows-dialog-bench: windows
	scripts/windows-dialog-bench build-windows

# dist/Ortavel-VERSION-win64.zip: both Windows modules, install text and
# notices. FORCE=1 replaces an existing archive.
VERSION ?= $(shell grep -m1 -o 'Ortavel VERSION [0-9.]*' CMakeLists.txt | cut -d' ' -f3)
windows-dist: windows
	scripts/windows-dist build-windows $(VERSION) $(if $(FORCE),--force)

lint: configure
	scripts/lint $(BUILD)

format:
	git ls-files '*.c' '*.cc' '*.cpp' '*.h' '*.hpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) build-asan build-tsan build-fuzz build-windows out
