# kx3danimation: every target installs what it needs first, then builds.
#   make run    record the sample tour to out/tour.mp4 (headless)
#   make test   build and run all tests, then the sanitizer build of the pure units
#   make test-ctest  run the tests of the existing build again (no install, no build)
#   make gui    open the viewer
#   make bench  build and run the benchmarks
#   make fuzz   fuzz the key frame file reader for FUZZ_SECONDS (clang, libFuzzer, one core)
#   make fuzz-meshes  the same for the mesh reader
#   make test-sanitized  every test, viewer and plug-in included, under ASan and UBSan (slow)
#   make soak   1,000 play-and-stop cycles and 200 recordings in one viewer, memory measured

BUILD      ?= build
ASAN_BUILD ?= build-asan
SAN_BUILD  ?= build-sanitized
FUZZ_BUILD ?= build-fuzz
FUZZ_MESHES_BUILD ?= build-fuzz-meshes
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=
# An X server of its own per run: Xvfb picks a free display itself, so runs may start at once.
XVFB        = $(CURDIR)/scripts/with-xvfb

.PHONY: all deps build test test-ctest test-asan test-sanitized bench soak gui run clean format fuzz \
        fuzz-meshes

all: build

deps:
	@scripts/install-deps

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_ARGS)
	cmake --build $(BUILD) -j $(JOBS)

test: build
	$(MAKE) --no-print-directory test-ctest
	$(MAKE) --no-print-directory test-asan

# The tests of the build as it is (no install, no build), under an X server of their own.
test-ctest:
	cd $(BUILD) && $(XVFB) ctest --output-on-failure -j $(JOBS)

# The units that need no window, under AddressSanitizer and UndefinedBehaviorSanitizer. Leaks
# inside the system's libraries (the import library's on malformed files) are suppressed.
test-asan: deps
	cmake -S . -B $(ASAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_PURE_ONLY=ON \
	      -DKX_SANITIZE=ON -DKX_BUILD_BENCH=OFF
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 \
	    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	    LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizer/lsan.supp:print_suppressions=0 \
	    ctest --output-on-failure -j $(JOBS)

# The whole suite, viewer and plug-in included, under AddressSanitizer and
# UndefinedBehaviorSanitizer. Too slow for every CI run; run it before a release. Leaks of the
# system's D-Bus, fontconfig and GL driver libraries are suppressed (tests/sanitizer/lsan.supp).
test-sanitized: deps
	cmake -S . -B $(SAN_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_SANITIZE=ON \
	      -DKX_BUILD_BENCH=OFF
	cmake --build $(SAN_BUILD) -j $(JOBS)
	cd $(SAN_BUILD) && ASAN_OPTIONS=detect_leaks=1:halt_on_error=1 \
	    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	    LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizer/lsan.supp:print_suppressions=0 \
	    $(XVFB) ctest --output-on-failure --timeout 900 -j $(JOBS)

# The key frame file reader under libFuzzer, seeded with the key frame files of tests/data and
# examples. New inputs gather in $(FUZZ_BUILD)/corpus, faulting ones in $(FUZZ_BUILD)/artifacts.
fuzz: deps
	cmake -S . -B $(FUZZ_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	      -DKX_FUZZ=ON -DKX_PURE_ONLY=ON -DKX_BUILD_TESTS=OFF -DKX_BUILD_BENCH=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target fuzz_keyframe_reader
	@mkdir -p $(FUZZ_BUILD)/corpus $(FUZZ_BUILD)/seeds $(FUZZ_BUILD)/artifacts
	cp tests/data/*.vkf tests/data/fuzz/* examples/*.vkf $(FUZZ_BUILD)/seeds/
	UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 $(FUZZ_BUILD)/bin/fuzz_keyframe_reader \
	    -max_total_time=$(FUZZ_SECONDS) -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
	    -print_final_stats=1 -dict=fuzz/vkf.dict -artifact_prefix=$(FUZZ_BUILD)/artifacts/ \
	    $(FUZZ_BUILD)/corpus $(FUZZ_BUILD)/seeds

# The mesh reader under libFuzzer, seeded with small models of the import library's test set,
# PLY files with scalar fields (ASCII and binary, truncated, or with headers that lie about their
# counts) in fuzz/ply-field-seeds, and the findings kept in tests/data/fuzz-meshes. A seed's first
# byte chooses the suffix the reader sees (0 ply, 1 stl, 2 obj, 3 off, 4 gltf, 5 glb).
fuzz-meshes: deps
	cmake -S . -B $(FUZZ_MESHES_BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DCMAKE_CXX_COMPILER=clang++ -DKX_FUZZ=ON -DKX_PURE_ONLY=ON -DKX_BUILD_TESTS=OFF \
	      -DKX_BUILD_BENCH=OFF
	cmake --build $(FUZZ_MESHES_BUILD) -j $(JOBS) --target fuzz_mesh_reader
	@mkdir -p $(FUZZ_MESHES_BUILD)/corpus $(FUZZ_MESHES_BUILD)/seeds $(FUZZ_MESHES_BUILD)/artifacts
	@m=/usr/share/assimp/models; n=0; for f in 0:PLY/cube.ply 0:PLY/cube_binary.ply \
	    0:PLY/float-color.ply 1:STL/triangle.stl 1:STL/triangle_with_two_solids.stl \
	    2:OBJ/box.obj 2:OBJ/cube_usemtl.obj 3:OFF/Cube.off \
	    4:glTF2/BoxTextured-glTF-Embedded/BoxTextured.gltf \
	    5:glTF2/BoxTextured-glTF-Binary/BoxTextured.glb; do \
	  n=$$((n + 1)); { printf "\\$$(printf %o $${f%%%%:*})"; cat $$m/$${f#*:}; } \
	    >$(FUZZ_MESHES_BUILD)/seeds/seed$$n; done
	cp tests/data/fuzz-meshes/* fuzz/ply-field-seeds/* $(FUZZ_MESHES_BUILD)/seeds/ 2>/dev/null || true
	UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
	    LSAN_OPTIONS=suppressions=$(CURDIR)/tests/sanitizer/lsan.supp:print_suppressions=0 \
	    $(FUZZ_MESHES_BUILD)/bin/fuzz_mesh_reader -max_total_time=$(FUZZ_SECONDS) \
	    -max_len=65536 -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
	    -artifact_prefix=$(FUZZ_MESHES_BUILD)/artifacts/ $(FUZZ_MESHES_BUILD)/corpus \
	    $(FUZZ_MESHES_BUILD)/seeds

bench: build
	@scripts/run-benchmarks $(BUILD)

# One viewer process through 1,000 play-and-stop cycles and 200 recordings: memory and the math
# library's live instances per phase (several minutes; runs itself under Xvfb).
soak: build
	$(BUILD)/bin/bench_viewer_soak

gui: build
	$(BUILD)/bin/kx3dviewer

# The sample subject zooms in from the bottom-left corner, then spins once about the y axis.
TOUR_ARGS = --preset "Zoomin from Bot-Left" --preset "Spin CCW on Y-Axis" --duration 10

run: build
	@mkdir -p out
	$(BUILD)/bin/kx3dviewer --headless --size 1280x720 $(TOUR_ARGS) --record out/tour.mp4
	@echo "movie: $(CURDIR)/out/tour.mp4"
	@ffprobe -v error -count_frames -select_streams v:0 \
	    -show_entries stream=width,height,nb_read_frames:format=duration \
	    -of default=noprint_wrappers=1 out/tour.mp4 | \
	    sed -e 's/^nb_read_frames=/frames: /' -e 's/^duration=/duration (s): /' \
	        -e 's/^width=/width: /' -e 's/^height=/height: /'

format:
	git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(SAN_BUILD) $(FUZZ_BUILD)
