# Thin wrapper over the CMake presets; see README.md.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all demo test test-default test-asan test-tsan bench fuzz valgrind deps clean

all: test-default

deps:
	@./tools/install-deps.sh

build/%/CMakeCache.txt:
	cmake --preset $* >/dev/null

test-%: deps build/%/CMakeCache.txt
	cmake --build --preset $* -j $(JOBS)
	ctest --preset $* -j $(JOBS)

test: test-default test-asan test-tsan

demo: deps build/default/CMakeCache.txt
	cmake --build --preset default -j $(JOBS) --target tavprops
	./tools/demo.sh build/default/tools/tavprops

clean:
	rm -rf build
