# Every target installs what it is missing first (Debian packages, with sudo when not root).
SHELL := /bin/bash
JOBS ?= $(shell nproc)

.PHONY: all build deps deps-core deps-windows deps-fuzz test test-asan test-tsan test-windows \
        demo bench fuzz install-check check-seam clean

all: build

deps: deps-core deps-windows

deps-core:
	@scripts/install-deps.sh core

deps-windows:
	@scripts/install-deps.sh windows

deps-fuzz:
	@scripts/install-deps.sh fuzz

build: deps-core
	cmake --preset default >/dev/null
	cmake --build --preset default -j $(JOBS)

test: build
	ctest --preset default

test-asan: deps-core
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan

test-tsan: deps-core
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan -j $(JOBS)
	TSAN_OPTIONS=halt_on_error=1 ctest --preset tsan

test-windows: deps-windows deps-core
	cmake --preset mingw >/dev/null
	cmake --build --preset mingw -j $(JOBS)
	scripts/run-wine-tests.sh build/mingw

demo: build
	build/default/bin/kvdutu_host

bench: build
	@for b in build/default/bin/bench_*; do [ -x "$$b" ] && "$$b" || true; done

# Every libFuzzer target in fuzz/ for FUZZ_SECONDS each, built with clang in its own build folder.
# Corpora grow in build/fuzz/corpus/<target>; seeds and dictionaries are in fuzz/.
FUZZ_SECONDS ?= 60
fuzz: deps-fuzz
	cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
	  -DKVDUTU_BUILD_FUZZ=ON -DKVDUTU_BUILD_TESTS=OFF -DKVDUTU_BUILD_EXAMPLES=OFF >/dev/null
	cmake --build build/fuzz -j $(JOBS)
	@set -e; for src in fuzz/*_fuzz.cpp; do \
	  name=$$(basename "$$src" .cpp); \
	  corpus=build/fuzz/corpus/$$name; mkdir -p "$$corpus"; \
	  seeds=""; [ -d "fuzz/corpus/$$name" ] && seeds="fuzz/corpus/$$name"; \
	  dict=""; [ -f "fuzz/$$name.dict" ] && dict="-dict=fuzz/$$name.dict"; \
	  echo "fuzz: $$name for $(FUZZ_SECONDS) s"; \
	  build/fuzz/bin/$$name -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 \
	    -artifact_prefix=build/fuzz/$$name- $$dict "$$corpus" $$seeds; \
	done

# Installs into a staging folder and builds a small consumer project against it, through the
# CMake package and through pkg-config.
install-check: build
	rm -rf build/stage build/consumer
	cmake --install build/default --prefix $(CURDIR)/build/stage >/dev/null
	cmake -S tests/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH=$(CURDIR)/build/stage >/dev/null
	cmake --build build/consumer
	LD_LIBRARY_PATH=$(CURDIR)/build/stage/lib build/consumer/consumer
	PKG_CONFIG_PATH=$(CURDIR)/build/stage/lib/pkgconfig \
	  g++ -std=c++20 tests/consumer/main.cpp $$(PKG_CONFIG_PATH=$(CURDIR)/build/stage/lib/pkgconfig pkg-config --cflags --libs kvdutu) \
	  -o build/consumer/consumer_pc
	LD_LIBRARY_PATH=$(CURDIR)/build/stage/lib build/consumer/consumer_pc

# No code outside kvdutu/platform/ includes an OS header.
check-seam:
	@scripts/check-seam.sh
	@scripts/umbrella.sh --check

clean:
	rm -rf build
