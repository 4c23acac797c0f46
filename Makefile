# The front door. Every target installs what it needs on a Debian 12 machine (quick when it is there).
#
#   make run     bring a virtual router up, plug a disk in, switch the media server on, list a film
#   make stop    end it; nothing stays behind
#   make test    build and run everything: unit and golden tests, checks of the binary, real daemons
#   make unit    the part of it that needs no root
#   make kill-test, make hostile-test
#                the long versions of two tests that are in it (docs/proof.md)
#   make library the library's tests alone
#   make lint    formatting, static analysis (of CHECKED, all by default), shell scripts
#   make bench   measure what the library promises, and what others take for the same
#   make deb     build the Debian packages into build/deb
#   make mips    cross-compile for MIPS (big-endian) and run the tests through an emulator
#   make target  the same with the device's C library, uClibc-ng, and GNU libiconv (the first time builds the tool chain)
#   make fuzz    hostile input for every parser, SECONDS each (600)
#   make torture fail every call that the library makes, one by one, in every golden case
#   make mutate  change the library's code, one place at a time, and see whether the tests notice (hours; every EVERY-th
#                place of FILES: EVERY=5 FILES='src/share/*.cpp')
#   make clean   remove everything that was built (PRESET=asan make test: with sanitizers)

PRESET ?= debug
BUILD  := build/$(PRESET)
STAGE  := build/stage/$(PRESET)

# The newest packages of the virtual router; looked up when a target needs them, since another one unpacks them.
WITH_PACKAGES = NAS_ROUTER_PACKAGES=$$(realpath "$$(ls -d -t build/router/packages-* | head -n 1)")

.PHONY: run stop test unit library parsers scenario kill-test hostile-test lint bench deb mips target fuzz torture mutate \
        clean build stage setup setup-router

run: stage setup-router
	tools/demo.sh $(STAGE)

stop:
	router/vr down

test: unit parsers scenario

unit: build
	ctest --preset $(PRESET) -j 2 --no-tests=error

# The library's tests alone: nothing of the host is built.
library: setup
	cmake --preset $(PRESET) > /dev/null
	cmake --build --preset $(PRESET) --target nas_test nas_c99_test
	ctest --preset $(PRESET) --no-tests=error -R '^(unit|golden|c99)$$'

# The daemons' own parsers read what the library generates.
parsers: build setup-router
	$(WITH_PACKAGES) $(BUILD)/tests/hostile/nas_hostile_test --gtest_brief=1 --gtest_filter='Parser.*'

kill-test: build
	NAS_KILL_TEST=long $(BUILD)/tests/kill/nas_kill_test

hostile-test: build setup-router
	NAS_HOSTILE_TEST=long $(WITH_PACKAGES) $(BUILD)/tests/hostile/nas_hostile_test

scenario: stage setup-router
	STAGE=$(CURDIR)/$(STAGE) /usr/bin/python3 -m pytest -q -p no:cacheprovider -n 5 --dist loadfile \
	  tests/scenario

lint: setup
	tools/setup.sh lint
	tools/lint.sh $(if $(CHECKED),'$(CHECKED)')

# The virtual router is measured, too, which only root can bring up.
bench: setup $(if $(filter 0,$(shell id -u)),stage setup-router)
	tools/setup.sh bench cross
	STAGE=$(CURDIR)/$(STAGE) tools/bench.sh

deb: setup
	tools/setup.sh package
	tools/deb.sh

mips: setup
	tools/setup.sh cross
	$(MAKE) unit PRESET=mips

target: setup
	tools/setup.sh target
	UCLIBC_TOOLCHAIN=$$(tools/target/build.sh) && export UCLIBC_TOOLCHAIN && $(MAKE) unit PRESET=mips-uclibc
	PYTHONDONTWRITEBYTECODE=1 python3 bench/target.py build/mips-uclibc build/bench

SECONDS ?= 600
fuzz: setup
	tools/setup.sh fuzz
	tools/fuzz.sh $(SECONDS)

EVERY ?= 1
torture: setup
	tools/torture.sh $(EVERY)

mutate: setup
	tools/setup.sh mutate
	tools/mutate.sh $(EVERY) $(FILES)

setup:
	tools/setup.sh build

setup-router:
	tools/setup.sh router
	router/vr build

build: setup
	cmake --preset $(PRESET) > /dev/null
	cmake --build --preset $(PRESET)

stage: setup
	cmake --preset $(PRESET) > /dev/null
	cmake --build --preset $(PRESET) --target nas_programs
	rm -rf $(STAGE)
	cmake --install $(BUILD) --prefix $(STAGE)/usr > /dev/null

clean:
	router/vr down
	rm -rf build
