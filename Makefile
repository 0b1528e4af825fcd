# The commands that people type; CMake does the work. `make demo` and `make test` install what they
# need on a Debian machine.

PRESET ?= release
BENCH_FILTER ?= .
SOAK_MINUTES ?= 60
SOAK_SEED := $(or $(SOAK_SEED),$(shell date +%s))

.PHONY: all build demo package test test-extra soak mutate bench scale format lint clean

all: build

build:
	@scripts/install-deps build
	@cmake --preset $(PRESET) -DMSTP_BUILD_TESTS=OFF >/dev/null
	@nice cmake --build --preset $(PRESET)

# Four switches on this machine: see a tree form, lose a link, lose a switch, and heal.
demo:
	@scripts/install-deps demo
	@cmake --preset release -B build/demo -DMSTP_BUILD_TESTS=OFF -DMSTP_UNITY=ON >/dev/null
	@cmake --build build/demo -j2
	@scripts/demo build/demo

# A Debian package of the programs, for this machine's kind.
package:
	@scripts/install-deps package
	@cmake --preset release -B build/package -DMSTP_BUILD_TESTS=OFF -DMSTP_UNITY=ON >/dev/null
	@cmake --build build/package -j2
	@cd build/package && cpack -G DEB | sed -n 's/.*package: \(.*\) generated.*/\1/p'

test:
	@scripts/install-deps test extra package
	@scripts/test

# The part of the tests that needs more than any kernel: kernel bridges in machines of their own, the
# package in a clean root, frames before a packet decoder.
test-extra:
	@scripts/install-deps test extra package
	@scripts/test-extra

# Random scenarios with a fresh seed, for SOAK_MINUTES; what fails is made small in build/soak.
soak:
	@scripts/install-deps build
	@cmake --preset release -DMSTP_BUILD_TESTS=OFF >/dev/null
	@cmake --build build/release -j2 --target mstp-sim
	@mkdir -p build/soak
	build/release/tools/mstp-sim/mstp-sim campaign --seed $(SOAK_SEED) --minutes $(SOAK_MINUTES) \
	    --large --jobs $$(nproc) --out build/soak

# Does the campaign notice a wrong state machine?
mutate:
	@scripts/install-deps build
	@cmake --preset release >/dev/null
	@scripts/mutate

bench:
	@scripts/install-deps bench
	@cmake --preset release -B build/bench -DMSTP_BUILD_TESTS=OFF -DMSTP_BUILD_BENCH=ON >/dev/null
	@cmake --build build/bench -j2 --target mstp-bench
	@build/bench/bench/mstp-bench --benchmark_filter='$(BENCH_FILTER)'

# How fast rings of 20 and 160 bridges and a network of 1,000 settle, what bounds it, and what the
# simulation of them takes.
scale:
	@scripts/install-deps build
	@cmake --preset release -DMSTP_BUILD_TESTS=OFF >/dev/null
	@nice cmake --build --preset release --target mstp-sim
	@for file in scenarios/scale/*.yaml; do \
		build/release/tools/mstp-sim/mstp-sim run --brief --why --cost $$file || exit 1; echo; done

format:
	@scripts/install-deps lint
	@git ls-files '*.h' '*.cpp' | xargs clang-format-14 -i

lint:
	@scripts/install-deps test lint
	@scripts/lint

clean:
	rm -rf build
