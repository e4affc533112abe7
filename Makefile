# Front door for people and CI. `make demo` and `make test` install whatever is missing,
# build and run; both are quick when nothing changed.
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

.PHONY: all deps build test test-sanitize demo fuzz bench package clean

all: build

deps:
	@bash scripts/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS)

build: deps $(BUILD)/build.ninja
	cmake -S . -B $(BUILD) $(CMAKE_FLAGS) >/dev/null
	cmake --build $(BUILD) -j $(JOBS)

test: build
	ctest --test-dir $(BUILD) -j $(JOBS) --output-on-failure

# The same tests built with AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitize: deps
	cmake -S . -B $(ASAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVOS_SANITIZE=ON \
	  -DVOS_WERROR=ON -DVOS_BENCH=OFF >/dev/null
	cmake --build $(ASAN_BUILD) -j $(JOBS)
	ctest --test-dir $(ASAN_BUILD) -j $(JOBS) --output-on-failure

# Runs one libFuzzer target for FUZZ_SECONDS on its seed corpus (clang build).
fuzz: deps
	cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DCMAKE_CXX_COMPILER=clang++ -DVOS_FUZZ=ON -DVOS_TESTS=OFF >/dev/null
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(FUZZ_TARGET)
	mkdir -p $(FUZZ_BUILD)/corpus/$(FUZZ_TARGET)
	$(FUZZ_BUILD)/fuzz/$(FUZZ_TARGET) -max_total_time=$(FUZZ_SECONDS) -rss_limit_mb=2048 \
	  -close_fd_mask=3 -print_final_stats=1 \
	  $(FUZZ_BUILD)/corpus/$(FUZZ_TARGET) fuzz/corpus/$(FUZZ_TARGET)

bench: build
	@for b in $(BUILD)/bench/*_bench; do echo "== $$b"; $$b --benchmark_repetitions=5 \
	  --benchmark_report_aggregates_only=true; done

# The Debian package, written into the build folder.
package: build
	cd $(BUILD) && cpack -G DEB

# The main job on the bundled default models: namespace 0 and DI, DI exported as index 2.
demo: build
	mkdir -p $(OUT)
	cd $(OUT) && ../$(BUILD)/bin/vospack -i2 -v -o di.bin \
	  ../$(NODESETS)/Opc.Ua.NodeSet2.xml ../$(NODESETS)/Opc.Ua.Di.NodeSet2.xml
	$(BUILD)/bin/vosdump $(OUT)/di.bin

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD) $(OUT)
