# The front door. Each goal installs the Debian packages that it needs and that are missing, and nothing else.

MAKEFLAGS += --no-print-directory

# Continuous integration builds with warnings as errors, in a folder of its own.
PRESET := $(if $(filter-out false 0,$(CI)),werror,release)
BUILD ?= build/$(PRESET)
PREFIX ?= /usr/local
DESTDIR ?=
JAVA ?= yes
NETWORK ?= yes
JOBS ?= $(shell nproc)
FILES ?=
ANALYZE ?= yes
MINUTES ?= 1
SHOTS ?=
SUBJECT ?= *
SEED ?= $(shell od -An -N3 -tu4 /dev/urandom)

SOURCE_FOLDERS := $(wildcard src tests trials bench examples tools)
FORMATTED = find $(SOURCE_FOLDERS) \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 clang-format

# The JDK, unless JAVA=no.
JDK := $(if $(filter-out no,$(JAVA)),java)

# PostgreSQL's client library, and for the tests its server, unless NETWORK=no.
NET := $(if $(filter-out no,$(NETWORK)),network)
NET_TEST := $(if $(NET),network network-test)

# $(call configure,preset,folder,parts to build,further options); a folder keeps the generator that it began with.
PARTS := TOOLS EXAMPLES TESTS TRIALS BENCH
configure = cmake --preset $(1) -B $(2) --log-level=WARNING \
	$$(test -e $(2)/CMakeCache.txt || ! command -v ninja >/dev/null || echo -G Ninja) \
	$(foreach part,$(PARTS),-DPSCOLLECTIONS_$(part)=$(if $(filter $(part),$(3)),ON,OFF)) \
	-DPSCOLLECTIONS_JAVA=$(if $(JDK),ON,OFF) -DPSCOLLECTIONS_POSTGRESQL=$(if $(NET),ON,OFF) $(4)
run_tests = ctest --test-dir $(1) --output-on-failure --no-label-summary --no-tests=error -j $(JOBS)

.PHONY: build demo demo-java check pictures-check trials bench bench-quick bench-network install packages packages-check abi-check abi-release asan tsan clang exports format format-check tidy docs clean help

build:
	@tools/install-dependencies build tools $(NET) $(JDK)
	@$(call configure,$(PRESET),$(BUILD),TOOLS EXAMPLES)
	@cmake --build $(BUILD) -j $(JOBS)

demo:
	@tools/install-dependencies build
	@$(call configure,$(PRESET),$(BUILD),EXAMPLES)
	@cmake --build $(BUILD) -j $(JOBS) --target wordbook
	@examples/wordbook/demo.sh $(BUILD)/examples/wordbook/wordbook $(FILES)

demo-java:
	@tools/install-dependencies build java
	@$(call configure,$(PRESET),$(BUILD),EXAMPLES,-DPSCOLLECTIONS_JAVA=ON)
	@cmake --build $(BUILD) -j $(JOBS) --target glossary
	@examples/glossary/demo.sh $(BUILD)/examples/glossary/glossary

check:
	@tools/install-dependencies build tools $(NET_TEST) $(JDK) test
	@$(call configure,$(PRESET),$(BUILD),TOOLS EXAMPLES TESTS)
	@cmake --build $(BUILD) -j $(JOBS)
	@$(call run_tests,$(BUILD))

# Links everything statically, so that the static library is covered on the way.
asan:
	@tools/install-dependencies build tools $(NET_TEST) $(JDK) test
	@$(call configure,dev,build/dev,TOOLS EXAMPLES TESTS,-DPSCOLLECTIONS_STATIC=ON)
	@cmake --build build/dev -j $(JOBS)
	@$(call run_tests,build/dev)

# Looks at the pictures of all kinds of stores with headless Chromium. SHOTS=folder keeps what was seen.
pictures-check:
	@tools/install-dependencies build tools test pictures
	@$(call configure,$(PRESET),$(BUILD),TOOLS EXAMPLES TESTS)
	@cmake --build $(BUILD) -j $(JOBS) --target make_pictures
	@rm -rf $(BUILD)/pictures
	@$(BUILD)/tests/tools/make_pictures $(BUILD)/pictures
	@tools/check-pictures --self-test $(addprefix $(BUILD)/pictures/,tree-emptied-wide.svg map-shop-wide.svg)
	@tools/check-pictures $(addprefix --shots ,$(SHOTS)) $(BUILD)/pictures

# The tests that start threads. Those on a server are left out, since the client library is not compiled for it.
tsan:
	@tools/install-dependencies build test
	@$(call configure,tsan,build/tsan,TESTS,-DPSCOLLECTIONS_JAVA=OFF -DPSCOLLECTIONS_POSTGRESQL=OFF)
	@cmake --build build/tsan -j $(JOBS) --target threaded_tests
	@$(call run_tests,build/tsan) -L threads

# Each program goes on to the end when another has failed, or has crashed and could not say its seed.
trials:
	@tools/install-dependencies build tools $(NET_TEST) test
	@$(call configure,$(PRESET),$(BUILD),TOOLS EXAMPLES TESTS TRIALS)
	@cmake --build $(BUILD) -j $(JOBS) --target trials
	@export TSAN_OPTIONS=detect_deadlocks=0:report_mutex_bugs=0; status=0; seed=$$(echo $(SEED)); \
	for trial in $(BUILD)/trials/$(SUBJECT)_trial; do \
	  $$trial $(MINUTES) $$seed || { status=1; echo "$$trial $(MINUTES) $$seed: exit status $$?" >&2; }; \
	done; exit $$status

# Only compiles: everything, the benchmarks too.
clang:
	@tools/install-dependencies build tools $(NET) $(JDK) test bench clang
	@$(call configure,clang,build/clang,TOOLS EXAMPLES TESTS TRIALS BENCH)
	@cmake --build build/clang -j $(JOBS)

exports:
	@tools/install-dependencies build $(NET) $(JDK)
	@$(call configure,$(PRESET),$(BUILD),EXAMPLES)
	@cmake --build $(BUILD) -j $(JOBS) --target pscollections
	@tools/check-exports $(BUILD)/src/libpscollections.so --renew

abi-check abi-release:
	@tools/install-dependencies build $(NET) $(JDK) abi
	@$(call configure,$(PRESET),$(BUILD),EXAMPLES)
	@cmake --build $(BUILD) -j $(JOBS) --target pscollections
	@tools/check-abi $(BUILD) $(if $(filter abi-release,$@),--release)

bench bench-quick:
	@tools/install-dependencies build $(NET) $(JDK) bench
	@$(call configure,bench,build/bench,BENCH)
	@cmake --build build/bench -j $(JOBS)
	@cmake --build build/bench --target $@

# Round trips, conflicts and plain SQL on a server of its own, with COUNT elements.
COUNT ?= 1000000
bench-network:
	@tools/install-dependencies build $(NET_TEST) bench test
	@$(call configure,bench,build/bench,BENCH)
	@cmake --build build/bench -j $(JOBS) --target network_bench pscollections_postgresql
	@address=$$(tools/postgres-server start build/bench/postgresql shared_buffers=512MB max_wal_size=4GB) && \
	  { build/bench/bench/network_bench "$$address" $(COUNT); status=$$?; tools/postgres-server stop build/bench/postgresql; \
	    exit $$status; }

install:
	@tools/install-dependencies build tools $(NET) $(JDK)
	@$(call configure,$(PRESET),$(BUILD),TOOLS EXAMPLES,-DCMAKE_INSTALL_PREFIX="$(PREFIX)")
	@cmake --build $(BUILD) -j $(JOBS)
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD)
	@if [ -z "$(DESTDIR)" ] && [ "$$(id -u)" -eq 0 ]; then ldconfig; fi

packages:
	@tools/install-dependencies build tools network docs $(JDK) packages
	@JOBS=$(JOBS) tools/make-packages build/packages $(if $(JDK),,pkg.pscollections.nojava)

packages-check: packages
	@tools/check-packages build/packages

format:
	@tools/install-dependencies format
	@$(FORMATTED) -i

format-check:
	@tools/install-dependencies format
	@$(FORMATTED) --dry-run --Werror

tidy:
	@tools/install-dependencies build tools $(NET) $(JDK) test lint
	@$(call configure,$(PRESET),$(BUILD),TOOLS EXAMPLES TESTS TRIALS)
	@$(if $(JDK),cmake --build $(BUILD) --target glossary_jar)
	@tools/tidy $(BUILD) $(JOBS) $(if $(filter no,$(ANALYZE)),--checks=-clang-analyzer-*)

docs:
	@tools/install-dependencies docs
	@tools/make-docs build/docs

clean:
	rm -rf build

help:
	@echo 'make              build the library, the examples and the tools'
	@echo 'make demo         build and run the example; FILES="a.txt b.txt" indexes texts of your own'
	@echo 'make demo-java    the same for the example in Java'
	@echo 'make check        build and run all tests'
	@echo 'make asan         the same under address and undefined-behaviour sanitizers'
	@echo 'make pictures-check  look at the pictures of stores with headless Chromium; SHOTS=folder keeps the screenshots'
	@echo 'make tsan         run the tests that start threads under the thread sanitizer'
	@echo 'make trials       kills, power failures, damage and the like for MINUTES=1 each; SUBJECT=kill SEED=n repeats one'
	@echo 'make clang        compile everything with clang, the benchmarks too; runs nothing'
	@echo 'make bench        build and run the benchmarks; bench-quick is a short run that only shows that they work'
	@echo 'make install      install below PREFIX ($(PREFIX)), staged below DESTDIR if that is set'
	@echo 'make packages     build Debian packages in build/packages; as root, packages-check tries them in a fresh Debian'
	@echo 'make format       format the sources; format-check only looks'
	@echo 'make tidy         run clang-tidy over the sources; ANALYZE=no leaves out the static analyzer, which takes nine tenths of the time'
	@echo 'make docs         make the site of the documents and headers in build/docs/html; finds dead links and missing comments'
	@echo 'make exports      renew the list of the symbols that the shared library exports'
	@echo 'make abi-check    compare the binary interface with that of the last release; abi-release makes it that of a release'
	@echo 'make clean        remove what was built'
	@echo 'Variables: BUILD (folder), JOBS (parallel jobs), CI=true (warnings are errors), JAVA=no (no JDK: without keys in Java), NETWORK=no (nothing of PostgreSQL: without stores on a server)'
