# Two entry points: `make run` builds and starts Vocarta, `make test` builds and
# runs every test. Both install missing Debian packages first.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

.PHONY: all deps test-deps configure build run test bench clean

all: build

deps:
	./scripts/install-deps.sh

test-deps:
	./scripts/install-deps.sh --with-tests

configure:
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE)

build: deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS)

run: build
	./$(BUILD_DIR)/vocarta

test: test-deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS)
	cd $(BUILD_DIR) && ctest --output-on-failure -j$(JOBS) --timeout 600

bench: test-deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS) --target benchmarks
	./bench/run-all.sh $(BUILD_DIR)

clean:
	rm -rf $(BUILD_DIR)
