# The front door. Every target installs what it needs, builds, and does its job.

PRESET ?= release
JOBS ?= $(shell nproc)
# System tests mostly wait for the daemon, so more of them run than there are processors.
TEST_JOBS ?= $(shell expr $(JOBS) \* 3)
# JOINED=yes compiles a dozen files as one: cheaper for a whole build, dearer after a small change.
joined = $(if $(JOINED),-DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=12)

.PHONY: run test test-browser screenshots build build-tests settings bench bench-panel build-fuzz fuzz mutants lint package release test-armhf test-package test-box clean help

help:
	@echo "make run    the daemon with a simulated camera, real video, a client, and the panel for your browser"
	@echo "            (RC=keys: flown with the keys though there is a game pad)"
	@echo "make test   build and run all tests (PRESET=asan or tsan: with sanitizers)"
	@echo "make test-browser  the panel's page in Chromium and Firefox (CASES=test_page.Firefox: some)"
	@echo "make screenshots   the pictures of the page in docs/images, anew"
	@echo "make settings  after a change of a setting: what is written from the rows, anew"
	@echo "make mutants       plant faults and see that the tests catch each (ONLY=words: some of them)"
	@echo "make bench  measure the relay against a bare loop"
	@echo "make bench-panel   measure the panel with ten readers at 8 Mbit/s (MINUTES=1)"
	@echo "make fuzz   build with clang and fuzz daemon and panel (FUZZ_SECONDS=60 each)"
	@echo "make lint   formatting and static analysis"
	@echo "make package       Debian packages for this machine, armhf and arm64"
	@echo "make release       what is published as a version, into build/release-VERSION; publishes nothing"
	@echo "make test-armhf    build for 32-bit and 64-bit ARM and run the tests under emulation"
	@echo "make test-package  install, upgrade and remove the packages in a system of their own (root)"
	@echo "make test-box      the same in virtual machines that start, lose power and are upgraded (root; SHORT=1: the"
	@echo "                   quicker part, CASES=test_settings: some)"

build:
	@scripts/install_dependencies.sh build
	@cmake --preset $(PRESET) -DBUILD_TESTING=OFF $(joined) >/dev/null
	@cmake --build --preset $(PRESET)

build-tests:
	@scripts/install_dependencies.sh build test
	@cmake --preset $(PRESET) -DBUILD_TESTING=ON $(joined) >/dev/null
	@cmake --build --preset $(PRESET)

run: build
	@scripts/install_dependencies.sh run
	@scripts/install_dependencies.sh video streams || true
	@tools/run_demo.sh build/$(PRESET)/fieldrelaybox $(if $(RC),--rc $(RC))

test: build-tests
	@ctest --test-dir build/$(PRESET) --output-on-failure -j $(TEST_JOBS) $(TEST_OPTIONS)

test-browser: build-tests
	@scripts/install_dependencies.sh browser
	@tests/browser/run.sh build/$(PRESET) $(CASES)

screenshots: build
	@scripts/install_dependencies.sh browser
	@tests/browser/run.sh build/$(PRESET) screenshots

settings:
	@scripts/install_dependencies.sh build
	@cmake --preset release >/dev/null
	@cmake --build --preset release --target settings_list
	@scripts/settings_pages.py renew build/release/settings_list

bench: build-tests
	@bench/run.sh

bench-panel: build
	@FIELDRELAYBOX_DAEMON=$(CURDIR)/build/$(PRESET)/fieldrelaybox FIELDRELAYBOX_PROGRAMS=$(CURDIR)/build/$(PRESET) tools/sandbox.sh bench/panel_load.py $(if $(MINUTES),--minutes $(MINUTES))

build-fuzz:
	@scripts/install_dependencies.sh build fuzz
	@cmake --preset fuzz >/dev/null
	@cmake --build --preset fuzz

fuzz: build-fuzz
	@fuzz/run.sh build/fuzz/fuzz/fuzz_entrances fuzz/make_corpus.py src 120
	@fuzz/run.sh build/fuzz/fuzz/fuzz_panel fuzz/make_panel_corpus.py programs/panel 150

mutants:
	@scripts/install_dependencies.sh build test
	@scripts/mutants.py $(ONLY)

lint:
	@scripts/install_dependencies.sh build lint
	@scripts/lint.sh

package:
	@packaging/build_packages.sh

release:
	@packaging/make_release.sh

test-armhf:
	@packaging/test_armhf.sh --also-arm64

test-package:
	@packaging/test_package.sh

test-box:
	@SHORT=$(SHORT) tests/box/run.sh $(CASES)

clean:
	@rm -rf build
