# Thin wrapper over the CMake presets; see README.md.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all demo test test-default test-asan test-tsan bench bench-smoke fuzz valgrind deps deps-bench clean docs \
        format-check

all: test-default

deps:
	@./tools/install-deps.sh

# The alternatives the comparative benchmark measures against (best effort).
deps-bench:
	@./tools/install-deps.sh --bench

build/%/CMakeCache.txt:
	cmake --preset $* >/dev/null

# test-default, test-asan, test-tsan: build and run one preset. (Phony targets
# skip pattern rules, so each gets its own rule from this template.)
define TEST_PRESET
test-$(1): deps build/$(1)/CMakeCache.txt
	cmake --build --preset $(1) -j $(JOBS)
	ctest --preset $(1) -j $(JOBS)
endef
$(foreach p,default asan tsan,$(eval $(call TEST_PRESET,$(p))))

test: test-default test-asan test-tsan

demo: deps build/default/CMakeCache.txt
	cmake --build --preset default -j $(JOBS) --target tavprops
	./tools/demo.sh build/default/tools/tavprops

clean:
	rm -rf build

# `make docs` writes the API reference, docs/api.md, from the public headers
# (their comments, with the macro-generated families written out).
docs: deps
	python3 tools/api_docs.py --output docs/api.md .

# ---- reliability: fuzzing and memcheck -----------------------------------
# `make fuzz` runs each libFuzzer target for FUZZ_SECONDS on a working copy of
# its seed corpus (build/fuzz/corpus-work, kept between runs so that coverage
# accumulates); crash inputs land in build/fuzz/artifacts.
FUZZ_SECONDS ?= 20
# FUZZ_RUNS=N runs N inputs per target from a fixed seed instead: repeatable,
# which is what CI uses so that a failure can be reproduced exactly.
ifdef FUZZ_RUNS
FUZZ_LIMIT := -runs=$(FUZZ_RUNS) -seed=1
else
FUZZ_LIMIT := -max_total_time=$(FUZZ_SECONDS)
endif
FUZZ_TARGETS := fuzz_reader fuzz_paths fuzz_structure fuzz_json fuzz_json_roundtrip
FUZZ_DIR := build/fuzz

fuzz: deps $(FUZZ_DIR)/CMakeCache.txt
	cmake --build --preset fuzz -j $(JOBS)
	@set -e; mkdir -p $(FUZZ_DIR)/artifacts; \
	for t in $(FUZZ_TARGETS); do \
	  work=$(FUZZ_DIR)/corpus-work/$$t; mkdir -p $$work; cp -n fuzz/corpus/$$t/* $$work/ 2>/dev/null || true; \
	  dict=; [ $$t = fuzz_reader ] && dict=-dict=fuzz/reader.dict; \
	  [ $$t = fuzz_json ] && dict=-dict=fuzz/json.dict; \
	  echo "== $$t ($(FUZZ_LIMIT))"; \
	  log=$(FUZZ_DIR)/$$t.log; \
	  $(FUZZ_DIR)/fuzz/$$t $$dict $(FUZZ_LIMIT) -timeout=60 -print_final_stats=1 \
	    -artifact_prefix=$(FUZZ_DIR)/artifacts/$$t- $$work >$$log 2>&1 || { tail -n 60 $$log; exit 1; }; \
	  grep -E '^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units|stat::average_exec_per_sec)' $$log; \
	done

# `make valgrind` runs every test executable of the default build under
# memcheck. Concurrency and stress tests are left out (too slow under
# valgrind's serialised threads; ThreadSanitizer covers them), as are the
# patterns added to VALGRIND_SKIP (a GTest filter).
VALGRIND_DIR ?= build/default
VALGRIND_SKIP ?= *Concurrency*:*Stress*
VALGRIND_FLAGS := -q --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite,indirect

valgrind: deps $(VALGRIND_DIR)/CMakeCache.txt
	cmake --build $(VALGRIND_DIR) -j $(JOBS)
	@set -e; for t in $(VALGRIND_DIR)/tests/test_*; do \
	  [ -x "$$t" ] || continue; \
	  case "$$t" in *stress*) continue;; esac; \
	  echo "== valgrind $$t"; \
	  TAV_SOURCE_DIR=$(CURDIR) valgrind $(VALGRIND_FLAGS) $$t --gtest_brief=1 \
	    --gtest_filter='-$(VALGRIND_SKIP)'; \
	done; echo "valgrind: no errors"

# `make bench` builds the optimised benchmarks and runs them: the text
# throughput benchmark, then the comparison with the alternatives, which
# writes build/bench/compare.md and compare.svg. It configures again so that
# alternatives installed since the last run are found.
bench: deps-bench
	cmake --preset bench >/dev/null
	cmake --build --preset bench -j $(JOBS)
	build/bench/bench/bench_text
	build/bench/bench/bench_compare --out build/bench

# `make bench-smoke`: the comparison in a few seconds, failing when one of
# this library's workloads takes more than BENCH_MAX_RATIO times as long as
# the std::map container in the same run.
BENCH_MAX_RATIO ?= 3
bench-smoke: deps build/bench/CMakeCache.txt
	cmake --build --preset bench -j $(JOBS) --target bench_compare
	build/bench/bench/bench_compare --smoke --out build/bench --max-ratio $(BENCH_MAX_RATIO)

# ---- formatting ----------------------------------------------------------
# `make format-check` holds the sources to .clang-format where they already
# follow it: the files listed in .ci/format-clean.txt as a whole, and every
# line changed since FORMAT_BASE (by default the commit that brought in
# .clang-format; uncommitted changes included). Older code that the rules
# would move is left as written rather than reformatted at once. Run
# `git diff -U0 $(FORMAT_BASE) | clang-format-diff-14 -p1 -i` to fix the lines reported.
CLANG_FORMAT ?= clang-format-14
CLANG_FORMAT_DIFF ?= clang-format-diff-14
FORMAT_BASE ?= $(shell git log --first-parent --diff-filter=A --format=%H -n1 -- .clang-format)
FORMAT_SOURCES := '*.c' '*.h' '*.cpp' '*.hpp' '*.inl'

format-check:
	@command -v $(CLANG_FORMAT) >/dev/null && command -v $(CLANG_FORMAT_DIFF) >/dev/null || \
	  { echo "format-check needs $(CLANG_FORMAT) and $(CLANG_FORMAT_DIFF)" >&2; exit 1; }
	@$(CLANG_FORMAT) --dry-run --Werror $$(cat .ci/format-clean.txt)
	@out=$$(git diff -U0 --no-color $(or $(FORMAT_BASE),HEAD) -- $(FORMAT_SOURCES) | \
	  $(CLANG_FORMAT_DIFF) -p1 -binary $(CLANG_FORMAT)); \
	if [ -n "$$out" ]; then echo "$$out"; echo "format-check: lines above are not formatted" >&2; \
	  exit 1; fi; echo "format-check: clean"
