# SPDX-License-Identifier: MIT
# Every entry point installs what is missing first, so a fresh machine needs only `make run`.
BUILD_DIR ?= build
PRESET ?= default
JOBS ?= $(shell nproc 2>/dev/null || sysctl -n hw.ncpu)

.PHONY: all deps deps-test configure build run test bench demo package format clean

all: build

deps:
	@scripts/install-deps.sh

deps-test:
	@HOLLOWMERE_WITH_CLAUDE=1 scripts/install-deps.sh

configure:
	@[ -f $(BUILD_DIR)/build.ninja ] || cmake --preset $(PRESET)

build: deps configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)

run: build
	@scripts/run.sh $(BUILD_DIR)

test: deps-test configure
	@cmake --build $(BUILD_DIR) -j $(JOBS)
	@ctest --test-dir $(BUILD_DIR) --output-on-failure -j $(JOBS) $(CTEST_ARGS)

bench: build
	@scripts/bench.sh $(BUILD_DIR)

demo: build
	@scripts/demo.sh $(BUILD_DIR)

package: build
	@scripts/package.sh $(BUILD_DIR)

format:
	@git ls-files '*.cpp' '*.h' '*.mm' | xargs clang-format -i

clean:
	@rm -rf $(BUILD_DIR)
