# Thin wrappers around the CMake presets; the README lists them.
PREFIX ?= /usr/local
JOBS ?= $(shell nproc)
FUZZ_SECONDS ?= 60

.PHONY: all test test-windows test-asan test-tsan bench fuzz install run clean

all:
	cmake --preset default
	cmake --build --preset default -j $(JOBS)

# Every Linux test: the command CI runs.
test: all
	ctest --preset default

# The 32-bit Windows DLL and the same test programs, run under Wine.
test-windows:
	cmake --preset mingw-i686
	cmake --build --preset mingw-i686 -j $(JOBS)
	ctest --preset mingw-i686

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
	fuzz/run.sh build/fuzz $(FUZZ_SECONDS)

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
