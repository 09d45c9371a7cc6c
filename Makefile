# Set-up, build and test entry points. Every target installs what is missing first
# (scripts/setup.sh), so `make run` and `make test` work on a fresh Debian machine as root.

BUILD_DIR ?= build
ASAN_DIR ?= build-asan
TSAN_DIR ?= build-tsan
BENCH_DIR ?= build-bench
RUN_DIR ?= build-run
FUZZ_DIR ?= build-fuzz
JOBS ?= 2
WORKSHEET ?= examples/machine/machine.ini
FUZZ_SECONDS ?= 60

CMAKE_FLAGS ?=
SOURCE_DIRS := app engine functions panel serial matlab ui host python tests bench fuzz

.PHONY: all setup configure build run test test-sanitize test-tsan bench fuzz format format-check clean

all: build

setup:
	bash scripts/setup.sh

# The options are given explicitly so that a build folder configured otherwise before is put
# back to the default build.
configure: setup
	cmake -S . -B $(BUILD_DIR) -DLOOM_BUILD_TESTS=ON -DLOOM_SANITIZE=OFF -DLOOM_FUZZ=OFF \
	  -DLOOM_BENCH_EXPRTK=OFF $(CMAKE_FLAGS)

build: configure
	cmake --build $(BUILD_DIR) -j$(JOBS)

# The main job on a bundled example: the machine-monitoring worksheet on its recorded data. Only
# loom is built, optimised, without debug information and without the dialogs and the Python
# module, in a folder of its own, so that a fresh clone gets there quickly; the outputs are left
# in $(RUN_DIR)/machine.
run: setup
	cmake -S . -B $(RUN_DIR) -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
	  -DLOOM_BUILD_TESTS=OFF -DLOOM_BUILD_BENCH=OFF -DLOOM_SANITIZE=OFF -DLOOM_FUZZ=OFF \
	  -DLOOM_TSAN=OFF -DLOOM_UI=OFF -DLOOM_PYTHON=OFF $(CMAKE_FLAGS)
	cmake --build $(RUN_DIR) -j$(JOBS) --target loom
	$(RUN_DIR)/app/loom run $(WORKSHEET) --output-dir $(RUN_DIR)/machine

test: build
	ctest --test-dir $(BUILD_DIR) --output-on-failure --no-tests=error -j$(JOBS)

test-sanitize: setup
	cmake -S . -B $(ASAN_DIR) -DLOOM_SANITIZE=ON -DLOOM_BUILD_BENCH=OFF -DLOOM_BUILD_TESTS=ON \
	  -DLOOM_FUZZ=OFF -DLOOM_PYTHON=OFF $(CMAKE_FLAGS)
	cmake --build $(ASAN_DIR) -j$(JOBS)
	ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir $(ASAN_DIR) --output-on-failure --no-tests=error -j$(JOBS)

# Every test again under ThreadSanitizer: the evaluator's stop event, the watchdog of scripts,
# the file list's lock and concurrent spectra are exercised from several threads. Qt is not
# built with ThreadSanitizer, so the UI stays out of this build.
test-tsan: setup
	cmake -S . -B $(TSAN_DIR) -DLOOM_TSAN=ON -DLOOM_BUILD_BENCH=OFF -DLOOM_BUILD_TESTS=ON \
	  -DLOOM_SANITIZE=OFF -DLOOM_FUZZ=OFF -DLOOM_PYTHON=OFF -DLOOM_UI=OFF $(CMAKE_FLAGS)
	cmake --build $(TSAN_DIR) -j$(JOBS)
	TSAN_OPTIONS=halt_on_error=1 \
	  ctest --test-dir $(TSAN_DIR) --output-on-failure --no-tests=error -j$(JOBS)

# Builds the benchmarks in Release, runs them once and prints the table of ratios
# (Loom / muParser, Loom / ExprTk, Loom / hand-written C++) that the README shows, then the
# panel's cycles against a bare evaluation and the reference host's figures.
bench: setup
	cmake -S . -B $(BENCH_DIR) -DCMAKE_BUILD_TYPE=Release -DLOOM_BUILD_TESTS=OFF \
	  -DLOOM_BENCH_EXPRTK=ON
	cmake --build $(BENCH_DIR) -j$(JOBS) --target loom_bench
	$(BENCH_DIR)/bench/loom_bench --benchmark_min_time=0.3 --benchmark_min_warmup_time=0.1 \
	  --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
	  --benchmark_out=$(BENCH_DIR)/bench.json --benchmark_out_format=json
	python3 bench/ratios.py $(BENCH_DIR)/bench.json
	cmake --build $(BENCH_DIR) -j$(JOBS) --target loom_panel_bench
	$(BENCH_DIR)/bench/loom_panel_bench --benchmark_min_time=0.3 --benchmark_repetitions=3 \
	  --benchmark_report_aggregates_only=true \
	  --benchmark_out=$(BENCH_DIR)/panel.json --benchmark_out_format=json
	python3 bench/panel_ratios.py $(BENCH_DIR)/panel.json
	cmake --build $(BENCH_DIR) -j$(JOBS) --target loom_run_bench
	$(BENCH_DIR)/bench/loom_run_bench --benchmark_min_time=0.5 \
	  --benchmark_out=$(BENCH_DIR)/run.json --benchmark_out_format=json
	python3 bench/run_ratios.py $(BENCH_DIR)/run.json
	cmake --build $(BENCH_DIR) -j$(JOBS) --target loom_batch_bench
	$(BENCH_DIR)/bench/loom_batch_bench --benchmark_min_time=3 \
	  --benchmark_out=$(BENCH_DIR)/batch.json --benchmark_out_format=json
	@if cmake --build $(BENCH_DIR) -j$(JOBS) --target loom_python_bench; then \
	  $(BENCH_DIR)/bench/loom_python_bench --benchmark_min_time=0.5 \
	    --benchmark_out=$(BENCH_DIR)/python.json --benchmark_out_format=json && \
	  python3 bench/scale_ratios.py $(BENCH_DIR)/batch.json $(BENCH_DIR)/python.json; \
	else \
	  python3 bench/scale_ratios.py $(BENCH_DIR)/batch.json; \
	fi

# Builds the libFuzzer targets with clang and runs each for FUZZ_SECONDS.
fuzz: setup
	@if [ -f fuzz/CMakeLists.txt ]; then \
	  CXX=clang++ cmake -S . -B $(FUZZ_DIR) -DLOOM_FUZZ=ON -DLOOM_BUILD_TESTS=OFF \
	    -DLOOM_BUILD_BENCH=OFF -DLOOM_PYTHON=OFF && \
	  cmake --build $(FUZZ_DIR) -j$(JOBS) && \
	  for f in $$(find $(FUZZ_DIR)/fuzz -maxdepth 1 -type f -executable | sort); do \
	    name=$$(basename $$f); \
	    corpus=fuzz/corpus/$$(echo $$name | sed 's/Fuzzer$$//' | tr A-Z a-z); \
	    mkdir -p $(FUZZ_DIR)/corpus/$$name; \
	    echo "== $$name"; \
	    $$f -max_total_time=$(FUZZ_SECONDS) $(FUZZ_DIR)/corpus/$$name \
	      $$( [ -d $$corpus ] && echo $$corpus ) || exit 1; \
	  done; \
	else \
	  echo "not yet"; \
	fi

format: setup
	find $(wildcard $(SOURCE_DIRS)) \( -name '*.cpp' -o -name '*.h' \) -print0 | \
	  xargs -0 -r clang-format -i

# Fails when a source file drifts from .clang-format (the registry's wide table rows are
# marked clang-format off in the source itself).
format-check: setup
	find $(wildcard $(SOURCE_DIRS)) \( -name '*.cpp' -o -name '*.h' \) -print0 | \
	  xargs -0 -r clang-format --dry-run -Werror

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(TSAN_DIR) $(BENCH_DIR) $(FUZZ_DIR) $(RUN_DIR)
