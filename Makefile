# Thin wrapper over the CMake presets. `make run` and `make test` work on a fresh machine.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)

.PHONY: deps run desktop test test-dev test-tsan test-package test-docs docs bench fuzz soak install package abi-baseline clean

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

test: deps test-docs test-dev test-tsan test-package

test-dev:
	cmake --preset dev
	cmake --build --preset dev -j $(JOBS)
	ctest --preset dev -j $(JOBS)

test-tsan:
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS)

# The HTML reference of the public headers, in build/docs/html; fails on a
# public entity without a /// comment (scripts/docs.sh).
docs: deps
	bash scripts/docs.sh

test-docs:
	bash scripts/docs.sh

# A plain configure with nothing but the build type (tests on, as a newcomer
# would), built only as far as proving that every library and a test suite
# link; then the Debian packages from it, unpacked and used by the consumer
# and the examples (tests/package/check_package.sh).
PLAIN = build/plain-release
test-package:
	cmake -S . -B $(PLAIN) -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
	cmake --build $(PLAIN) -j $(JOBS) --target qzservices qzconsole qzdesktop catpack test_siblings test_library
	cd $(PLAIN) && cpack -G DEB
	bash tests/package/check_package.sh $(PLAIN)

# The Debian packages libqzservices0 and libqzservices-dev, in build/release/package.
package: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target qzservices qzconsole qzdesktop catpack
	cd build/release && cpack -G DEB

# Writes abi/libqzservices.abi from the current library; commit it with the
# change that moved the ABI (see "The ABI promise" in the README).
abi-baseline: deps
	cmake --preset dev >/dev/null
	cmake --build --preset dev -j $(JOBS) --target qzservices
	bash scripts/abi.sh baseline build/dev/src/libqzservices.so

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

# Drives SOAK_STATEMENTS random statements through qzconsole -batch sessions
# and as many through one long qzdesktop session (release build), and fails
# when a process's resident memory grows by 1 MB or more after its warm-up
# (scripts/soak.py). Not part of `make test`: it takes a while.
SOAK_STATEMENTS ?= 1000000
soak: deps
	cmake --preset release >/dev/null
	cmake --build --preset release --target qzconsole qzdesktop -j $(JOBS)
	python3 scripts/soak.py --build build/release --statements $(SOAK_STATEMENTS) --desktop-statements $(SOAK_STATEMENTS)

install: deps
	cmake --preset release -DCMAKE_INSTALL_PREFIX=$(PREFIX)
	cmake --build --preset release -j $(JOBS)
	cmake --install build/release --prefix $(PREFIX)

clean:
	rm -rf build
