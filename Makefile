# The README's commands. CMake does the building; this file only names the jobs.
BUILD ?= build
ASAN_BUILD ?= build-asan
JOBS ?= 2
CMAKE_FLAGS ?=

.PHONY: all deps build demo test test-asan test-tsan test-valgrind install bench fuzz reference clean

all: build

deps:
	@scripts/install-deps

$(BUILD)/CMakeCache.txt: | deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j$(JOBS)

# Builds the stats example with kcc into $(BUILD)/demo and runs it twice: the first run
# extracts its archive into stats_krt beside it, the second finds that extraction ready.
DEMO = $(BUILD)/demo
DEMO_RUN = env -u KRTROOT -u KOREL -u TBE_INSTALL $(DEMO)/stats 3 1 4 1 5 9 2 6
demo: build
	$(BUILD)/krt/bin/linux-x86_64/kcc --name stats --output $(DEMO) \
	  examples/stats/stats.k examples/stats/median_of.c
	rm -rf $(DEMO)/stats_krt
	@echo "== first run: extracts the archive"
	$(DEMO_RUN)
	@echo "== second run: uses the extraction"
	$(DEMO_RUN)

test: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

# The whole suite again under AddressSanitizer and UndefinedBehaviorSanitizer.
test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKOREL_SANITIZE=address,undefined $(CMAKE_FLAGS)
	cmake --build $(ASAN_BUILD) -j$(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j$(JOBS)

# The tests that run threads, again under ThreadSanitizer: the per-thread last error,
# calls from several threads, the cache and directory locks shared by threads.
TSAN_BUILD ?= build-tsan
TSAN_TESTS ?= Thread|^LastError\.|^KrtMutex\.|^DirectoryLock|^Engine\.Figures|^JavaBridge\.|^KxErrors\.
test-tsan: deps
	cmake -S . -B $(TSAN_BUILD) -DCMAKE_BUILD_TYPE=Debug -DKOREL_SANITIZE=thread $(CMAKE_FLAGS)
	cmake --build $(TSAN_BUILD) -j$(JOBS)
	cd $(TSAN_BUILD) && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
	  ctest --output-on-failure -j$(JOBS) -R '$(TSAN_TESTS)'

# Every test program of the plain build under Valgrind's memcheck; see the script for
# which tests it leaves out and why.
test-valgrind: build
	scripts/test-valgrind $(BUILD)

# Installs a runtime root: make install PREFIX=/opt/korel/krt
PREFIX ?= /opt/korel/krt
install: build
	cmake --install $(BUILD) --prefix $(PREFIX)

# Fuzzes kxDeserialize, KAR extraction, the cache index file and the Korel parser, each for
# FUZZ_SECONDS with clang's libFuzzer, ASan and UBSan. Each runs on a working corpus in the
# fuzz build, seeded by copying the checked-in fuzz/corpus/<target>, and grows it there; the
# checked-in seeds are never written. Findings land in the fuzz build as <target>-crash-*.
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_TIMEOUT ?= 10
FUZZ_TARGETS = kx_deserialize kar_extract cache_index korel_parse
# $(call fuzz_run,target,max_len)
fuzz_run = mkdir -p $(FUZZ_BUILD)/corpus/$(1) && cp fuzz/corpus/$(1)/* $(FUZZ_BUILD)/corpus/$(1)/ && \
  $(FUZZ_BUILD)/fuzz/$(1)_fuzz -max_total_time=$(FUZZ_SECONDS) -max_len=$(2) -timeout=$(FUZZ_TIMEOUT) \
  -print_final_stats=1 -artifact_prefix=$(FUZZ_BUILD)/$(1)- $(FUZZ_BUILD)/corpus/$(1)
fuzz: deps
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DKOREL_BUILD_FUZZ=ON -DKOREL_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_BUILD) -j$(JOBS) --target $(FUZZ_TARGETS:%=%_fuzz)
	$(call fuzz_run,kx_deserialize,4096)
	$(call fuzz_run,kar_extract,65536)
	$(call fuzz_run,cache_index,4096)
	$(call fuzz_run,korel_parse,4096)

bench: deps
	cmake -S . -B $(BUILD) -DKOREL_BUILD_BENCH=ON $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS)
	bench/run-all $(BUILD) $(BENCH_FLAGS)

# Rewrites the function list of docs/LANGUAGE.md from the engine's tables of built-ins
# and the library's help lines; the suite fails while the list differs from them.
reference: $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j$(JOBS) --target korel-reference
	$(BUILD)/tools/korel-reference/korel-reference toolbox/korel --update docs/LANGUAGE.md

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(TSAN_BUILD) $(FUZZ_BUILD)
