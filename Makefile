# Two entry points: `make run` builds and starts Vocarta, `make test` builds and
# runs every test. Both install missing Debian packages first.
BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)
FUZZ_DIR ?= build-fuzz
FUZZ_SECONDS ?= 60

.PHONY: all deps test-deps fuzz-deps configure build run test bench fuzz fuzz-run clean

all: build

deps:
	./scripts/install-deps.sh

test-deps:
	./scripts/install-deps.sh --with-tests

fuzz-deps:
	./scripts/install-deps.sh --with-fuzz

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

# libFuzzer targets (clang, ASan, UBSan) in $(FUZZ_DIR); fuzz-run runs each on
# its seed corpus for FUZZ_SECONDS and fails on any crash.
fuzz: fuzz-deps
	cmake -S fuzz -B $(FUZZ_DIR) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
		-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
	cmake --build $(FUZZ_DIR) -j$(JOBS)

fuzz-run: fuzz
	./fuzz/run-fuzzers.sh $(FUZZ_DIR) $(FUZZ_SECONDS)

clean:
	rm -rf $(BUILD_DIR) $(FUZZ_DIR)
