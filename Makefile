# Entry points: `make demo` (sample data converted by a release build), `make test` (every
# test, normally under the C locale and under AddressSanitizer + UndefinedBehaviorSanitizer in
# de_DE.UTF-8, whose decimal mark is a comma), `make bench`, `make fuzz`, `make install`. Each
# installs missing build dependencies (and that locale) first.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
RELEASE := build/release
DEBUG := build/test
ASAN := build/asan
TSAN := build/tsan
BENCH := build/bench
FUZZ := build/fuzz
WINDOWS := build/windows
DEMO_DIR ?= demo-out
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
PYBUILD := build/pymod
PYTHON_OUT := build/python
PYTHON := /usr/bin/python3

.PHONY: all deps demo test test-build test-plain test-asan test-tsan test-python python bench fuzz install clean windows test-windows

all: $(RELEASE)/build.ninja
	cmake --build $(RELEASE) -j $(JOBS)

deps:
	@scripts/install-deps.sh

$(RELEASE)/build.ninja: | deps
	cmake -S . -B $(RELEASE) -G Ninja -DCMAKE_BUILD_TYPE=Release -DTRAVUNE_BUILD_TESTS=OFF

demo: $(RELEASE)/build.ninja
	cmake --build $(RELEASE) -j $(JOBS) --target travune_cli
	$(RELEASE)/travune demo $(DEMO_DIR)

test: test-plain test-asan test-tsan test-python

# One optimised build serves the plain suite, the Python package's tests and the reference
# files of the Windows comparison; the injectable failures stay idle unless a test arms them.
# Line tables (-g1) are all a failing test's backtrace needs and compile a quarter faster.
test-build: deps
	cmake -S . -B $(DEBUG) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRAVUNE_FAULT_INJECTION=ON \
	  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" \
	  -DTRAVUNE_BUILD_PYTHON=ON -DTRAVUNE_PYTHON_OUTPUT_DIR=$(CURDIR)/$(DEBUG)/python -DPython3_EXECUTABLE=$(PYTHON)
	cmake --build $(DEBUG) -j $(JOBS)

test-plain: test-build
	cd $(DEBUG) && LC_ALL=C ctest --output-on-failure -j $(JOBS)

# The fault walk is ten times slower under the sanitizers: there it walks a text writer, a
# headered one, raw floats, the block-writer library, Data File Access and UFF through the
# handle API; the plain run walks every writer.
ASAN_SKIPPED_WALKS := FaultWalk.*/(Halvard|SnapMaster|DADiSP|DASYLab|Matlab|Text|Uff58Ascii|Uff58Binary|Wav|Pernix)_

# Debug keeps the assertions; -O1 runs the sanitized suite three times as fast as -O0, and line
# tables (-g1) are all a sanitizer's report needs, at a quarter less compile time than -g.
test-asan: deps
	cmake -S . -B $(ASAN) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
	  -DCMAKE_C_FLAGS_DEBUG="-O1 -g1" -DTRAVUNE_SANITIZE=ON -DTRAVUNE_FAULT_INJECTION=ON
	cmake --build $(ASAN) -j $(JOBS)
	cd $(ASAN) && LC_ALL=de_DE.UTF-8 ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS) -E '$(ASAN_SKIPPED_WALKS)'

# Handles of the handle API used on several threads at once, and text formatted in chunks on
# several threads, under ThreadSanitizer.
test-tsan: deps
	cmake -S . -B $(TSAN) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRAVUNE_SANITIZE_THREAD=ON \
	  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -g1 -DNDEBUG" \
	  -DTRAVUNE_TEST_ONLY="api/TvnApi|api/ThreadedFormatting|writer/TgtFmtTextChunks|writer/decoders"
	cmake --build $(TSAN) -j $(JOBS) --target travune_tests
	TSAN_OPTIONS=halt_on_error=1 $(TSAN)/tests/travune_tests --gtest_filter='TvnApi.HandlesOnDifferentThreadsAreIndependent:TgtFmtTextChunks.*:ThreadedFormatting.*'

# The Python package, importable with PYTHONPATH=build/python (see python/README.md).
python: deps
	cmake -S . -B $(PYBUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRAVUNE_BUILD_TESTS=OFF \
	  -DTRAVUNE_BUILD_PYTHON=ON -DTRAVUNE_PYTHON_OUTPUT_DIR=$(CURDIR)/$(PYTHON_OUT) -DPython3_EXECUTABLE=$(PYTHON)
	cmake --build $(PYBUILD) -j $(JOBS) --target travune_python travune_cli

# The package's tests, samples made by the tool of the same build; Dask on two local workers.
test-python: test-build
	PYTHONPATH=$(CURDIR)/$(DEBUG)/python TRAVUNE_CLI=$(CURDIR)/$(DEBUG)/travune $(PYTHON) -m pytest -q python/tests

bench: deps
	cmake -S . -B $(BENCH) -G Ninja -DCMAKE_BUILD_TYPE=Release -DTRAVUNE_BUILD_TESTS=OFF -DTRAVUNE_BUILD_BENCH=ON
	cmake --build $(BENCH) -j $(JOBS)
	bench/run.sh $(BENCH)
	/usr/bin/python3 bench/conversion_table.py $(BENCH) --linearity

fuzz:
	@scripts/install-deps.sh --fuzz
	CXX=clang++ CC=clang cmake -S . -B $(FUZZ) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DTRAVUNE_BUILD_TESTS=OFF -DTRAVUNE_BUILD_FUZZ=ON
	cmake --build $(FUZZ) -j $(JOBS)
	fuzz/run.sh $(FUZZ) $(FUZZ_SECONDS)

# Windows: travune.dll, qulix.dll, wrtblk32.dll and travune.exe cross-built into build/windows,
# then tested under Wine against the output of the Linux build in LINUX_BUILD (the release build
# by default; CI passes the test build that `make test` has just made).
windows:
	@scripts/install-deps.sh --windows
	cmake -S . -B $(WINDOWS) -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release
	cmake --build $(WINDOWS) -j $(JOBS) --target travune qulix wrtblk32 travune_cli

LINUX_BUILD ?= $(RELEASE)
test-windows: windows $(LINUX_BUILD)/build.ninja
	cmake --build $(LINUX_BUILD) -j $(JOBS) --target travune_cli
	cmake --build $(WINDOWS) -j $(JOBS)
	scripts/windows/test-windows.sh $(WINDOWS) $(LINUX_BUILD)/travune

# A system prefix needs the dynamic linker's cache refreshed; a private one is found through
# the program's rpath or LD_LIBRARY_PATH (see the README).
install: all
	cmake --install $(RELEASE) --prefix $(PREFIX)
	@case "$(PREFIX)" in /usr|/usr/local) if [ "$$(id -u)" -eq 0 ]; then ldconfig; else sudo ldconfig; fi;; esac

clean:
	rm -rf build $(DEMO_DIR)
