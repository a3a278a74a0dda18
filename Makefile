# kx3danimation: every target installs what it needs first, then builds.
#   make run    record the sample tour to out/tour.mp4 (headless)
#   make test   build and run all tests, then the sanitizer build of the pure units
#   make gui    open the viewer
#   make bench  build and run the benchmarks

BUILD      ?= build
ASAN_BUILD ?= build-asan
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=
XVFB        = xvfb-run -a -s "-screen 0 1920x1200x24"

.PHONY: all deps build test test-asan bench gui run clean format

all: build

deps:
	@scripts/install-deps

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)

test: build
	cd $(BUILD) && $(XVFB) ctest --output-on-failure -j $(JOBS)
	$(MAKE) --no-print-directory test-asan

# The units that need no window, under AddressSanitizer and UndefinedBehaviorSanitizer.
test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_PURE_ONLY=ON \
	      -DKX_SANITIZE=ON -DKX_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 \
	    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --output-on-failure -j $(JOBS)

bench: build
	@scripts/run-benchmarks $(BUILD)

gui: build
	$(BUILD)/bin/kx3dviewer

run: build
	@echo "run: the headless main job arrives with the animation engine"

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
