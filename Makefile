# Two entry points: `make run` builds and starts Vocarta, `make test` builds and
# runs every test. Both install missing Debian packages first.
#
# `make package` builds the Debian package (in $(BUILD_DIR)); `make install`
# installs into PREFIX (default /usr/local), under DESTDIR when given.
#
# `make test` runs each test once: the unit tests in a build with
# AddressSanitizer and UndefinedBehaviorSanitizer ($(ASAN_DIR)), the end-to-end
# tests against the normal build's programs ($(BUILD_DIR)). The sanitizer build
# uses clang: it builds in about half gcc's time with the sanitizers, and the
# product is then compiled by both compilers.
BUILD_DIR ?= build
ASAN_DIR ?= build-asan
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60
PREFIX ?= /usr/local
# What an installation holds; the tests and benchmarks are not built for it.
INSTALLED_TARGETS = vocarta vocarta-defaults desktop_data package_docs
# Leaks inside system libraries the GUI tests load (fontconfig) are not ours.
SANITIZER_ENV = ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 \
	UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	LSAN_OPTIONS=suppressions=$(CURDIR)/tests/support/lsan.supp:print_suppressions=0

.PHONY: all deps test-deps fuzz-deps configure configure-asan build run test test-unit test-e2e \
	check-format bench fuzz fuzz-run clean install package

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

install: deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS) --target $(INSTALLED_TARGETS)
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD_DIR) --prefix "$(PREFIX)"

package: deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS) --target $(INSTALLED_TARGETS)
	cd $(BUILD_DIR) && cpack -G DEB

test: test-unit test-e2e

test-unit: test-deps
	$(MAKE) configure-asan
	cmake --build $(ASAN_DIR) -j$(JOBS)
	cd $(ASAN_DIR) && $(SANITIZER_ENV) ctest --output-on-failure -j$(JOBS) --timeout 600 -L unit

test-e2e: test-deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS) --target e2e_programs
	cd $(BUILD_DIR) && ctest --output-on-failure -j$(JOBS) --timeout 600 -L e2e

check-format: test-deps
	./scripts/check-format.sh

bench: test-deps configure
	cmake --build $(BUILD_DIR) -j$(JOBS) --target benchmarks
	./bench/run-all.sh $(BUILD_DIR)

# The sanitizer build (clang): the unit tests and the libFuzzer targets share
# its libraries.
configure-asan:
	cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE= -DVOCARTA_SANITIZE=ON -DVOCARTA_BUILD_BENCH=OFF \
		-DVOCARTA_FUZZ=ON -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++

# libFuzzer targets in $(ASAN_DIR); fuzz-run runs each on its seed corpus for
# FUZZ_SECONDS and fails on any crash.
fuzz: fuzz-deps
	$(MAKE) configure-asan
	cmake --build $(ASAN_DIR) -j$(JOBS) --target fuzzers

fuzz-run: fuzz
	./fuzz/run-fuzzers.sh $(ASAN_DIR) $(FUZZ_SECONDS) $(JOBS)

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR)
