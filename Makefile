# Front door of the build. Every command in the README goes through here.
#   make test            build and run every host test
#   make test-arm64      cross-build for aarch64 and run the tests under qemu
#   make test-sanitize   run the tests under AddressSanitizer + UndefinedBehaviorSanitizer
#   make bench           build and run the benchmarks
#   make mca             NEON loops' cycles per pixel by LLVM's machine-code analyser
#   make fuzz            build the libFuzzer targets (clang) and run each for FUZZ_SECONDS
#   make fuzz-corpus     run each libFuzzer target once over its committed corpus (CI)
#   make demo            build everything and render the demo chart into build/demo
JOBS ?= $(shell nproc)
GEN := $(shell command -v ninja >/dev/null 2>&1 && echo "-G Ninja")
CTEST := ctest --output-on-failure -j $(JOBS)
FUZZ_SECONDS ?= 60
FUZZ_TARGETS := fuzz_uncompress fuzz_string_number fuzz_lut_file fuzz_utf8 fuzz_text_decoder \
  fuzz_cube fuzz_3dl fuzz_y4m_header fuzz_png

.PHONY: all deps deps-arm64 build test test-arm64 test-sanitize bench mca fuzz fuzz-corpus demo clean

all: build

deps:
	@bash cmake/install-deps.sh host

deps-arm64:
	@bash cmake/install-deps.sh arm64

build/host/CMakeCache.txt: | deps
	cmake -S . -B build/host $(GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo

build: deps build/host/CMakeCache.txt
	cmake --build build/host -j $(JOBS)

test: build
	cd build/host && $(CTEST)

build/arm64/CMakeCache.txt: | deps-arm64
	cmake -S . -B build/arm64 $(GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/aarch64-linux-gnu.cmake -DZE_BUILD_TOOLS=OFF

test-arm64: deps-arm64 build/arm64/CMakeCache.txt
	cmake --build build/arm64 -j $(JOBS)
	cd build/arm64 && $(CTEST)

build/asan/CMakeCache.txt: | deps
	cmake -S . -B build/asan $(GEN) -DCMAKE_BUILD_TYPE=Debug -DZE_SANITIZE=address,undefined \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++

build/tsan/CMakeCache.txt: | deps
	cmake -S . -B build/tsan $(GEN) -DCMAKE_BUILD_TYPE=Debug -DZE_SANITIZE=thread \
	  -DZE_BUILD_TOOLS=OFF -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++

# ThreadSanitizer runs the suites labelled "threads" (threads, objects, pool).
test-sanitize: deps build/asan/CMakeCache.txt build/tsan/CMakeCache.txt
	cmake --build build/asan -j $(JOBS)
	cd build/asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
	  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 $(CTEST)
	cmake --build build/tsan -j $(JOBS)
	cd build/tsan && TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 $(CTEST) -L threads

build/bench/CMakeCache.txt: | deps
	cmake -S . -B build/bench $(GEN) -DCMAKE_BUILD_TYPE=Release -DZE_BUILD_BENCH=ON -DZE_BUILD_TESTS=OFF

bench: deps build/bench/CMakeCache.txt
	cmake --build build/bench -j $(JOBS)
	@for b in build/bench/bench/bench_*; do [ -x "$$b" ] && "$$b"; done

mca: deps-arm64
	@bash bench/mca.sh

# New inputs go to build/fuzz/corpus/<target>; fuzz/corpus/<target> holds the seeds.
build/fuzz/CMakeCache.txt: | deps
	cmake -S . -B build/fuzz $(GEN) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZE_BUILD_FUZZ=ON \
	  -DZE_BUILD_TESTS=OFF -DZE_BUILD_TOOLS=ON -DZE_BUILD_JAVA=OFF -DZE_SANITIZE=address,undefined \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++

fuzz: deps build/fuzz/CMakeCache.txt
	cmake --build build/fuzz -j $(JOBS)
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p build/fuzz/corpus/$$t && \
	  echo "=== $$t for $(FUZZ_SECONDS) s" && \
	  build/fuzz/fuzz/$$t -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
	    -artifact_prefix=build/fuzz/ build/fuzz/corpus/$$t fuzz/corpus/$$t || exit 1; \
	done

# A regression check, not a campaign: every committed input once, no mutation.
fuzz-corpus: deps build/fuzz/CMakeCache.txt
	cmake --build build/fuzz -j $(JOBS)
	@for t in $(FUZZ_TARGETS); do \
	  echo "=== $$t over fuzz/corpus/$$t ($$(ls fuzz/corpus/$$t | wc -l) inputs)" && \
	  build/fuzz/fuzz/$$t fuzz/corpus/$$t/* > build/fuzz/$$t.log 2>&1 || \
	    { cat build/fuzz/$$t.log; exit 1; }; \
	done

demo: build
	@mkdir -p build/demo
	build/host/tools/zelut/zelut demo --out build/demo

clean:
	rm -rf build
