# Front door. `make demo` shows the library at work; `make check` builds and
# runs every test (see the check-* targets for which build runs which test),
# then a consumer project built against the installed package.
SHELL := /bin/bash
.SHELLFLAGS := -eu -o pipefail -c
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 20
STAGE := $(CURDIR)/build/stage
TOOL := build/default/tools/cuadrante/cuadrante

.PHONY: deps check-deps build library demo check check-default check-asan test asan tsan \
  tsan-threads consumer bench fuzz install format tidy clean

deps:
	@scripts/deps.sh

# The checks also need a browser to draw the pictures; it is installed here,
# before any test runs, never by a test.
check-deps:
	@scripts/deps.sh --browser

build: deps
	cmake --preset default
	cmake --build --preset default

# What the package installs: the shared library and the tool.
library: deps
	cmake --preset default
	cmake --build --preset default --target cuadrante cuadrante_tool

demo: build
	@scripts/demo.sh $(TOOL)

test: build
	ctest --preset default

# Proofs on the benchmark's full instances run in the default build, where
# they are timed: under a sanitizer the same CBC work (CBC itself is not
# instrumented) takes several times as long and checks none of our code that
# the small instances do not already reach.
ASAN_SKIP := ^(solve_e2e|SolveExactTest\.ProvesTheOtherPublishedInstances)$$
asan: deps
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan -E '$(ASAN_SKIP)'

tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

# The units whose code threads meet, under ThreadSanitizer. The exact engine
# runs on one thread of its own (the search beside it is SolveTest's), and a
# writer killed at every step is about processes: neither has threads to watch.
THREADED_SUBSYSTEMS := port documents services operations solver
TSAN_SKIP := ^(SolveExactTest\..*|Files\.KilledAtAnyStepLeavesTheOldFileOrTheNewOne)$$
tsan-threads: deps
	cmake --preset tsan
	cmake --build --preset tsan --target $(foreach s,$(THREADED_SUBSYSTEMS),cuadrante_$(s)_test)
	ctest --preset tsan -L '$(subst $(eval) ,|,$(THREADED_SUBSYSTEMS))' -E '$(TSAN_SKIP)'

# The installed package must serve both CMake and pkg-config users.
consumer: library
	rm -rf $(STAGE) build/consumer
	cmake --install build/default --prefix $(STAGE)
	cmake -S examples/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH=$(STAGE)
	cmake --build build/consumer
	build/consumer/consumer
	c++ examples/consumer/main.cpp -o build/consumer/consumer-pc \
	  $$(PKG_CONFIG_PATH=$(STAGE)/lib/pkgconfig pkg-config --cflags --libs cuadrante) \
	  -Wl,-rpath,$(STAGE)/lib
	build/consumer/consumer-pc > /dev/null
	@echo "consumer: CMake and pkg-config builds against the installed package run"

# `make check` runs each test once, in the build it is meant for (`make test`
# and `make asan` still run everything in theirs). The unit tests and the fuzz
# seeds run under ASan+UBSan, which sees all that an optimised build would and
# more. The tool's end-to-end scripts run in the optimised build: under ASan
# each of their hundreds of processes takes six times as long to start and
# end. The proofs on the benchmark's full instances run there too, where they
# are timed (see ASAN_SKIP).
END_TO_END := _e2e$$|^render_browser$$|^layers|^SolveExactTest\.ProvesTheOtherPublishedInstances$$
check-default: library
	cmake --build --preset default --target cuadrante_solver_test
	ctest --preset default -R '$(END_TO_END)'

check-asan: deps
	cmake --preset asan
	cmake --build --preset asan --target cuadrante_unit_tests
	ctest --preset asan -E '$(END_TO_END)'

check: check-deps check-default check-asan tsan-threads consumer

bench:
	@scripts/deps.sh --bench
	cmake --preset bench
	cmake --build --preset bench
	@mkdir -p build/bench/results
	@for b in build/bench/bench/*_bench; do echo "== $$b"; \
	  $$b --benchmark_min_time=0.2 --benchmark_out=build/bench/results/$$(basename $$b).json \
	    --benchmark_out_format=json; done
	@scripts/benchtable.py build/bench/results build/bench/ratios.json

fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz
	@for f in build/fuzz/fuzz/*_fuzz; do \
	  name=$$(basename $$f); corpus=build/fuzz/corpus/$$name; \
	  mkdir -p $$corpus; cp -n fuzz/corpus/$$name/* $$corpus/ 2>/dev/null || true; \
	  echo "== $$name ($(FUZZ_SECONDS) s)"; \
	  $$f -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1 $$corpus 2>&1 | tail -n 4; \
	done

install: deps
	cmake --preset release
	cmake --build --preset release
	cmake --install build/release --prefix $(PREFIX)

format:
	find cuadrante tools bench fuzz examples tests -name '*.h' -o -name '*.cpp' | xargs clang-format -i

tidy: build
	find cuadrante tools -name '*.cpp' | xargs clang-tidy -p build/default --quiet

clean:
	rm -rf build
