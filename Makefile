# The README's commands. CMake does the building; this file only names the jobs.
BUILD ?= build
ASAN_BUILD ?= build-asan
JOBS ?= 2
CMAKE_FLAGS ?=

.PHONY: all deps build demo test test-asan bench clean

all: build

deps:
	@scripts/install-deps

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j$(JOBS)

demo: build
	env -u KRTROOT -u KOREL -u TBE_INSTALL $(BUILD)/bin/start_stop

test: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

# The whole suite again under AddressSanitizer and UndefinedBehaviorSanitizer.
test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKOREL_SANITIZE=address,undefined $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j$(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j$(JOBS)

bench: deps
	cmake -S . -B $(BUILD) -DKOREL_BUILD_BENCH=ON $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS)
	$(BUILD)/bench/kclkrt_bench

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
