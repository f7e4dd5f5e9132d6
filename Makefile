# Thin wrappers around the CMake presets; the README lists them.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60
FUZZ_JOBS ?= 1

.PHONY: all test test-windows test-win64 test-bigendian test-exchange test-asan test-tsan bench fuzz install run clean

all:
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

# Every Linux test: the command CI runs. Installs what the build needs first.
test:
	@.ci/install-deps.sh --only linux
	$(MAKE) all
	ctest --preset default

# A cross build whose tools could not be installed (the package registry did not answer) is
# skipped loudly; so are tests the host cannot execute. A skip is reported, never counted as a pass.
SKIP = .ci/skipped.sh

# The 32-bit Windows DLL and the same test programs, run under Wine. On hosts that cannot execute
# 32-bit programs everything is still built, and the run is skipped with the reason.
test-windows:
	@.ci/install-deps.sh --only windows || { $(SKIP) mingw-i686 "the Windows tools could not be installed"; exit 0; }
	cmake --preset mingw-i686
	cmake --build --preset mingw-i686 -j $(JOBS)
	@if reason=$$(.ci/can-run-i686.sh); then rm -f build/mingw-i686/SKIPPED; ctest --preset mingw-i686 -j 3; \
	else $(SKIP) mingw-i686 "$$reason"; fi

# The 64-bit Windows DLL and the same test programs, run under Wine's 64-bit loader.
test-win64:
	@.ci/install-deps.sh --only windows || { $(SKIP) mingw-x86_64 "the Windows tools could not be installed"; exit 0; }
	cmake --preset mingw-x86_64
	cmake --build --preset mingw-x86_64 -j $(JOBS)
	rm -f build/mingw-x86_64/SKIPPED
	ctest --preset mingw-x86_64 -j 3

# Big-endian Linux (s390x): the same test programs under qemu's user-mode emulator.
test-bigendian:
	@.ci/install-deps.sh --only bigendian || { $(SKIP) s390x "the s390x cross compiler or qemu could not be installed"; exit 0; }
	cmake --preset s390x
	cmake --build --preset s390x -j $(JOBS)
	rm -f build/s390x/SKIPPED
	ctest --preset s390x -j 2

# Scene files written by every build that ran its tests here, read back by every other build.
test-exchange:
	tests/exchange/run.sh build

test-asan:
	cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan

test-tsan:
	cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan

bench:
	.ci/install-deps.sh libeigen3-dev ncompress libcereal-dev || [ $$? = 1 ]
	cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	bench/run.sh build/bench

fuzz:
	.ci/install-deps.sh clang libclang-rt-14-dev || [ $$? = 1 ]
	cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	FUZZ_JOBS=$(FUZZ_JOBS) fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

install: all
	cmake --install build/default --prefix $(PREFIX)

# The example saves and loads a scene in every method; the packet tool shows each file, writes
# it as JSON, and draws the type-checked scene's object graph. Without GoogleTest the build has
# no tests, so this builds only the library, the tool and the example.
RUN_DIR := build/run
RUN_METHODS := ascii binary ascii-debug binary-debug
QVPACKET := build/default/bin/qvpacket

run: all
	@mkdir -p $(RUN_DIR)
	@set -e; for method in $(RUN_METHODS); do \
	  file=$(RUN_DIR)/scene-$$method.qv; \
	  echo "==== save_and_load $$method $$file"; \
	  build/default/bin/save_and_load $$method $$file; \
	done
	@test -x $(QVPACKET) || { echo "make run: $(QVPACKET) was not built (the packet tool is missing)" >&2; exit 1; }
	@set -e; for method in $(RUN_METHODS); do \
	  file=$(RUN_DIR)/scene-$$method.qv; \
	  echo "==== qvpacket info $$file"; $(QVPACKET) info $$file; \
	  echo "==== qvpacket dump $$file"; $(QVPACKET) dump $$file; \
	  $(QVPACKET) dump --json $$file > $(RUN_DIR)/scene-$$method.json; \
	done
	@echo "==== qvpacket dump --json: $(RUN_DIR)/scene-*.json"
	@$(QVPACKET) graph $(RUN_DIR)/scene-binary-debug.qv > $(RUN_DIR)/scene-graph.dot
	@if $(QVPACKET) graph $(RUN_DIR)/scene-binary-debug.qv --svg $(RUN_DIR)/scene-graph.svg; then \
	  echo "==== qvpacket graph: $(RUN_DIR)/scene-graph.svg (DOT: $(RUN_DIR)/scene-graph.dot)"; \
	else \
	  echo "==== qvpacket graph: no SVG (see above); the DOT is in $(RUN_DIR)/scene-graph.dot"; \
	fi

clean:
	rm -rf build
