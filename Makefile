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
