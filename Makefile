# The commands for a fresh machine, in front of CMake. Each one installs the
# Debian packages that it needs and that are missing.
#
#     make demo     builds zyl and runs it on a test chart, or on PICTURE=path
#     make build    builds everything
#     make install  installs the library and zyl, with its manual page, under
#                   PREFIX=/usr/local
#     make test     builds everything and runs all tests
#     make bench    builds the benchmarks, with every library to compare with
#     make figures  runs all benchmarks, for half an hour, and fills the tables of speed
#     make docs     builds the site of the documentation into build/docs
#     make mutants  puts faults into the sources, one at a time, and says which of them
#                   the tests notice; of some rooms with ROOMS="core filter"
#     make fuzz     feeds the readers, writers, words and operations with inputs of all
#                   kinds for MINUTES=60 in all
#     make lint     runs clang-tidy over the library and the tool
#     make analyze  runs the static analyzer of Clang over them, for minutes
#     make coverage prints which lines and branches the tests reach, room by room
#     make release-checks
#                   what is too long for .ci/run; hours
#     make python   builds the Python package into an environment in build/python
#                   and runs its tests
#     make python-packages  builds its wheel and source distribution, and tests each
#                   in a fresh environment
#     make python-bench  compares its speed with other libraries
#
#     make web      builds the npm package and the page with WebAssembly in build/web,
#                   and runs their tests
#     make packages builds Debian packages and a tarball into build/packages
#     make packages-test  uses them in a fresh Debian in build/clean
#
#     make i686, make aarch64, make s390x, make windows64, make windows32
#                   builds everything for another platform and runs all tests
#     make everywhere
#                   runs the self-test on all platforms and prints one table; on some
#                   of them with PLATFORMS="32-bit aarch64-linux-gnu"
#
# PRESET chooses another build of CMakePresets.json: make test PRESET=sanitizers

PRESET = release
BUILD_PACKAGES = cmake g++ make ninja-build pkg-config googletest
TOOL_PACKAGES = python3 libcli11-dev libjpeg-dev libpng-dev libtiff-dev libwebp-dev
# Other readers and writers of pictures, and what reads the comments of the header.
TEST_PACKAGES = doxygen libtiff-tools netpbm python3-pil webp

PEER_PACKAGES = libfftw3-dev libleptonica-dev libpixman-1-dev libvips-dev libyuv-dev

# Compilers for other platforms, and what runs their programs.
PACKAGES_32-bit = g++-i686-linux-gnu
PACKAGES_aarch64-linux-gnu = g++-aarch64-linux-gnu qemu-user-static
PACKAGES_s390x-linux-gnu = g++-s390x-linux-gnu qemu-user-static
PACKAGES_x86_64-w64-mingw32 = g++-mingw-w64-x86-64-posix wine64
PACKAGES_i686-w64-mingw32 = g++-mingw-w64-i686-posix
PACKAGES_wasm-simd = emscripten
PACKAGES_wasm-plain = emscripten
PLATFORMS = 32-bit aarch64-linux-gnu s390x-linux-gnu x86_64-w64-mingw32 i686-w64-mingw32 \
	wasm-simd wasm-plain

.PHONY: demo build install test docs bench figures fuzz lint analyze coverage release-checks mutants \
	python python-packages python-bench web packages packages-test i686 aarch64 s390x \
	windows64 windows32 everywhere
demo:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES)
	cmake --preset $(PRESET) -DZYLQX_TESTS=OFF
	cmake --build --preset $(PRESET) --target zyl
	scripts/demo.sh build/$(PRESET)/tools/zyl "$(PICTURE)"

build:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) $(PACKAGES_$(PRESET))
	cmake --preset $(PRESET) -DZYLQX_TESTS=ON
	cmake --build --preset $(PRESET)

# What is built already is taken as it is.
PREFIX = /usr/local
install:
	test -e build/$(PRESET)/build.ninja || \
		{ scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) && \
		cmake --preset $(PRESET) -DZYLQX_TESTS=OFF; }
	cmake --build --preset $(PRESET)
	cmake --install build/$(PRESET) --prefix $(PREFIX)

packages:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) git debhelper lintian
	scripts/make-packages.sh
packages-test:
	scripts/test-packages.sh

test: build
	scripts/packages.sh $(TEST_PACKAGES)
	ctest --preset $(PRESET)

i686:
	$(MAKE) test PRESET=32-bit
aarch64 s390x:
	$(MAKE) test PRESET=$@-linux-gnu
windows64:
	$(MAKE) test PRESET=x86_64-w64-mingw32
windows32:
	$(MAKE) test PRESET=i686-w64-mingw32

everywhere:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) \
		$(foreach platform,$(PLATFORMS),$(PACKAGES_$(platform)))
	scripts/everywhere.sh release $(PLATFORMS)

docs:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) doxygen python3-markdown python3-pygments
	test -e build/$(PRESET)/build.ninja || cmake --preset $(PRESET) -DZYLQX_TESTS=OFF
	cmake --build --preset $(PRESET) --target docs

bench:
	scripts/packages.sh $(BUILD_PACKAGES) libbenchmark-dev $(PEER_PACKAGES)
	cmake --preset bench
	cmake --build --preset bench

# From programs that are built as a user would.
figures: bench python
	scripts/packages.sh python3-skimage
	test -e build/release/build.ninja || cmake --preset release -DZYLQX_TESTS=OFF
	cmake --build --preset release --target zyl
	mkdir -p build/large
	python3 bench/figures.py run

MINUTES = 60
FUZZ_SECONDS = $$(($(MINUTES) * 60))
fuzz:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) $(TEST_PACKAGES) clang libclang-rt-14-dev
	cmake --preset release
	cmake --build --preset release --target zyl
	cmake --preset fuzz -UZYLQX_LEVELS
	cmake --build --preset fuzz
	scripts/fuzz.sh $(FUZZ_SECONDS)

# One instruction level: the others are made of the same lines. The analyzer takes most of
# the time and runs apart.
LINT_CHECKS = --checks=-clang-analyzer-*
lint:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) git clang clang-tidy
	cmake --preset clang -B build/lint -DZYLQX_TESTS=OFF -DZYLQX_LEVELS=baseline
	git ls-files -z '*.cpp' ':!tests' ':!bench' ':!fuzz' ':!examples' ':!docs' \
		':!platform/windows.cpp' ':!platform/dll.cpp' | \
		xargs -0 -n 4 -P $$(nproc) clang-tidy --quiet $(LINT_CHECKS) -p build/lint
analyze:
	$(MAKE) lint LINT_CHECKS=--checks=-*,clang-analyzer-*,-clang-analyzer-optin.performance.Padding

# From the beginning: files that are gone would count as never reached.
coverage:
	rm -rf build/coverage
	$(MAKE) test PRESET=coverage
	scripts/packages.sh gcovr
	/usr/bin/python3 scripts/coverage.py build/coverage | tee build/coverage/coverage.txt

release-checks:
	.ci/run
	$(MAKE) analyze
	$(MAKE) coverage
	$(MAKE) everywhere
	$(MAKE) aarch64 s390x
	$(MAKE) python-packages
	$(MAKE) bench
	build/bench/bench/fourier_proof
	$(MAKE) mutants
	$(MAKE) fuzz MINUTES=60

mutants:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) $(TEST_PACKAGES) git
	python3 -u tests/mutation/run.py $(ROOMS)

# Debian's Python, whatever other one stands first in PATH.
PYTHON = /usr/bin/python3
PYTHON_PACKAGES = python3-dev python3-venv python3-numpy python3-scipy python3-pytest \
	python3-zarr python3-tifffile python3-h5py python3-dask python3-distributed \
	python3-tqdm python3-pil mypy
PYTHON_BUILD = build/python
# An environment with one package installed: $(call python_environment,name,package)
python_environment = $(PYTHON) -m venv --clear --system-site-packages $(PYTHON_BUILD)/$(1) && \
	$(PYTHON_BUILD)/$(1)/bin/pip install --quiet --no-index $(2)

python:
	scripts/packages.sh $(BUILD_PACKAGES) $(PYTHON_PACKAGES)
	$(call python_environment,venv,./python)
	$(PYTHON_BUILD)/venv/bin/python -P -m pytest -q -c python/pyproject.toml python/tests

python-packages:
	scripts/packages.sh $(BUILD_PACKAGES) $(PYTHON_PACKAGES)
	rm -rf $(PYTHON_BUILD)/dist && mkdir -p $(PYTHON_BUILD)/dist
	$(call python_environment,builder,pip)
	$(PYTHON_BUILD)/builder/bin/pip wheel --quiet --no-index --no-deps -w $(PYTHON_BUILD)/dist ./python
	cd python && $(PYTHON) -c 'import build_backend as b; b.build_sdist("../$(PYTHON_BUILD)/dist")'
	for package in $(PYTHON_BUILD)/dist/*; do \
		$(call python_environment,fresh,$$package) && \
		$(PYTHON_BUILD)/fresh/bin/python -P -m pytest -q -c python/pyproject.toml python/tests || exit 1; \
	done

python-bench: python
	scripts/packages.sh python3-skimage python3-matplotlib
	$(PYTHON_BUILD)/venv/bin/python python/bench/compare.py

# zyl tells what results the page should have; npm gives the driver of the browser,
# which Debian does not have.
web:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) emscripten chromium
	command -v npm >/dev/null || scripts/packages.sh npm
	test -e build/release/build.ninja || cmake --preset release -DZYLQX_TESTS=OFF
	cmake --build --preset release --target zyl zylqx_static
	web/build.sh
	mkdir -p build/web/browser && cp web/package.json build/web/browser
	npm install --silent --no-package-lock --prefix build/web/browser
	node --test web/tests/*.test.js
