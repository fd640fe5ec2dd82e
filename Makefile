# The commands of the README and short names for everyday tasks.  CMake does the work; `make help` lists them.
.DEFAULT_GOAL := help
.PHONY: help demo check slow asan bench fuzz format deps clean

BUILD  ?= build
JOBS   ?= $(shell nproc 2>/dev/null || echo 2)
WERROR ?= OFF
FUZZ_SECONDS ?= 600
TESTS  := ctest --progress --output-on-failure --no-tests=error --timeout 900 -j $(JOBS)

# Libraries that are newer than the system's, unpacked by scripts/install-deps.
export TARKU_DEPS := $(abspath $(BUILD))/deps

# $(call build,PRESET,OPTIONS...): configures a preset into $(BUILD)/PRESET and builds the given targets.
configure = cmake --preset $(1) -B $(BUILD)/$(1) -DTARKU_WERROR=$(WERROR) -DTARKU_DEPS="$(TARKU_DEPS)" \
  --log-level=WARNING
build     = $(configure) && cmake --build $(BUILD)/$(1) -j $(JOBS)

help:
	@echo 'make demo    install what is missing, build, decide the scripts in examples/'
	@echo 'make check   install what is missing, build, run the fast tests'
	@echo 'make slow    the remaining tests (minutes)'
	@echo 'make asan    the fast tests under the address and undefined-behaviour sanitizers'
	@echo 'make bench   build the benchmarks into $(BUILD)/bench'
	@echo 'make fuzz    let the fuzzers read random bytes for FUZZ_SECONDS ($(FUZZ_SECONDS)); needs clang++'
	@echo 'make format  reformat all sources'
	@echo 'make clean   remove $(BUILD)/'
	@echo 'Variables: BUILD=$(BUILD) JOBS=$(JOBS) WERROR=$(WERROR); TARKU_SKIP_DEPS=1 installs nothing.'

demo:
	@scripts/install-deps build
	@$(call build,release) --target tarku-bin embed
	@scripts/demo "$(abspath $(BUILD))/release/app/tarku" "$(abspath $(BUILD))/release/examples/embed"

check:
	@scripts/install-deps test
	@$(call build,check)
	@$(TESTS) --test-dir $(BUILD)/check -L fast

slow:
	@scripts/install-deps slow
	@$(call build,check)
	@$(TESTS) --test-dir $(BUILD)/check -L slow

asan:
	@scripts/install-deps test
	@$(call build,asan)
	@$(TESTS) --test-dir $(BUILD)/asan -L fast

bench:
	@scripts/install-deps bench
	@$(call build,bench)

fuzz:
	@scripts/install-deps fuzz
	@$(call build,fuzz)
	@tests/fuzz/run $(BUILD)/fuzz/tests/fuzz $(FUZZ_SECONDS)

format:
	@scripts/check-format --fix

deps:
	@scripts/install-deps all

clean:
	rm -rf -- "$(BUILD)"
