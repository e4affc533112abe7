# Front door for people and CI. `make demo` and `make test` install whatever is missing,
# build and run; both are quick when nothing changed. On a machine without make, `./setup`
# installs it first and then runs the same targets (`./setup demo`, `./setup test`).
BUILD       ?= build
BUILD_TYPE  ?= Release
JOBS        ?= $(shell nproc)
WERROR      ?= 0
ASAN_BUILD  ?= build-asan
FUZZ_BUILD  ?= build-fuzz
FUZZ_TARGET ?= xml_fuzz
FUZZ_SECONDS ?= 60
OUT         ?= out
NODESETS    := node_modules/node-opcua-nodesets/nodesets

CMAKE_FLAGS := -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE)
ifeq ($(WERROR),1)
CMAKE_FLAGS += -DVOS_WERROR=ON
endif

# Sanitizer and fuzzer reports name functions, files and lines through llvm-symbolizer. The
# runtimes look for it on PATH under its plain name only, and Debian's llvm-14 installs it
# as llvm-symbolizer-14 and in /usr/lib/llvm-14/bin: the recipes point them at it. Expanded
# when a recipe runs, after its prerequisites have installed what was missing.
LLVM_SYMBOLIZER = $(firstword $(shell which llvm-symbolizer 2>/dev/null) \
  $(lastword $(wildcard /usr/lib/llvm-*/bin/llvm-symbolizer)))
SANITIZER_ENV = $(if $(LLVM_SYMBOLIZER),ASAN_SYMBOLIZER_PATH=$(LLVM_SYMBOLIZER) \
  UBSAN_SYMBOLIZER_PATH=$(LLVM_SYMBOLIZER))

.PHONY: all deps deps-fuzz configure build test test-sanitize demo fuzz bench package clean

all: build

deps:
	@sh scripts/install-deps.sh build

deps-fuzz:
	@sh scripts/install-deps.sh fuzz

$(BUILD)/build.ninja: | deps
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

configure: deps $(BUILD)/build.ninja
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS) >/dev/null

build: configure
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) -j $(JOBS) --output-on-failure

# The same tests built with AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize: deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVOS_SANITIZE=ON \
	  -DVOS_WERROR=ON -DVOS_BENCH=OFF >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	$(SANITIZER_ENV) ctest --test-dir $(ASAN_BUILD) -j $(JOBS) --output-on-failure

# Runs one libFuzzer target for FUZZ_SECONDS on its seed corpus (clang build), with its
# dictionary fuzz/<target>.dict where there is one.
fuzz: deps-fuzz
	cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_CXX_COMPILER=clang++ -DVOS_FUZZ=ON -DVOS_TESTS=OFF >/dev/null
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(FUZZ_TARGET)
	mkdir -p $(FUZZ_BUILD)/corpus/$(FUZZ_TARGET)
	$(SANITIZER_ENV) $(FUZZ_BUILD)/fuzz/$(FUZZ_TARGET) -max_total_time=$(FUZZ_SECONDS) -rss_limit_mb=2048 \
	  -close_fd_mask=3 -print_final_stats=1 $(if $(wildcard fuzz/$(FUZZ_TARGET).dict),-dict=fuzz/$(FUZZ_TARGET).dict) \
	  $(FUZZ_BUILD)/corpus/$(FUZZ_TARGET) fuzz/corpus/$(FUZZ_TARGET)

bench: build
	@for b in $(BUILD)/bench/*_bench; do echo "== $$b"; $$b --benchmark_repetitions=5 \
	  --benchmark_report_aggregates_only=true; done

# The Debian package, written into the build folder.
package: build
	cd $(BUILD) && cpack -G DEB

# The main job on the bundled default models: namespace 0 and DI, DI exported as index 2.
# Builds only what it runs: vospack (with its vosgen link) and vosdump.
demo: configure
	cmake --build $(BUILD) -j $(JOBS) --target vospack vosdump
	mkdir -p $(OUT)
	cd $(OUT) && ../$(BUILD)/bin/vospack -i2 -v -o di.bin \
	  ../$(NODESETS)/Opc.Ua.NodeSet2.xml ../$(NODESETS)/Opc.Ua.Di.NodeSet2.xml
	$(BUILD)/bin/vosdump $(OUT)/di.bin

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD) $(OUT)
