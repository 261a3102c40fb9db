# Thin wrapper over the CMake presets. `make run` and `make test` work on a fresh machine.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)

.PHONY: deps run desktop test test-dev test-tsan bench fuzz install clean

deps:
	@bash scripts/install-deps.sh

run: deps
	cmake --preset release >/dev/null
	cmake --build --preset release --target qzconsole -j $(JOBS)
	./build/release/apps/qzconsole/qzconsole

# The command window in a browser: prints the address to open (with its token).
desktop: deps
	cmake --preset release >/dev/null
	cmake --build --preset release --target qzdesktop -j $(JOBS)
	./build/release/apps/qzdesktop/qzdesktop

test: deps test-dev test-tsan

test-dev:
	cmake --preset dev
	cmake --build --preset dev -j $(JOBS)
	ctest --preset dev -j $(JOBS)

test-tsan:
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS)

# Runs every bench_* program and writes bench/RESULTS.md: each figure beside
# its baseline and target, with the machine it ran on.
bench: deps
	cmake --preset release -DQZ_BUILD_BENCH=ON >/dev/null
	cmake --build --preset release -j $(JOBS)
	python3 scripts/bench_report.py build/release bench/RESULTS.md

# Builds every libFuzzer target and runs each for FUZZ_SECONDS (ten minutes
# unless told) through scripts/fuzz.sh; the CAT reader, the wrapper and the
# key decoder go on to FUZZ_MIN_RUNS executions at least; FUZZ_JOBS targets
# run side by side.
FUZZ_SECONDS ?= 600
FUZZ_MIN_RUNS ?= 10000000
FUZZ_JOBS ?= 1
fuzz:
	@bash scripts/install-deps.sh fuzz
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS)
	FUZZ_SECONDS=$(FUZZ_SECONDS) FUZZ_MIN_RUNS=$(FUZZ_MIN_RUNS) FUZZ_JOBS=$(FUZZ_JOBS) bash scripts/fuzz.sh build/fuzz

install: deps
	cmake --preset release -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build --preset release -j $(JOBS)
	cmake --install build/release --prefix $(PREFIX)

clean:
	rm -rf build
