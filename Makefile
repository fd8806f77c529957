# The commands for a fresh machine, in front of CMake. Each one installs the
# Debian packages that it needs and that are missing.
#
#     make demo     builds zyl and runs it on a test chart, or on PICTURE=path
#     make build    builds everything
#     make test     builds everything and runs all tests
#     make bench    builds the benchmarks, with every library to compare with
#     make lint     runs clang-tidy over the library and the tool
#
# PRESET chooses another build of CMakePresets.json: make test PRESET=sanitizers

PRESET = release
BUILD_PACKAGES = cmake g++ make ninja-build pkg-config googletest
TOOL_PACKAGES = python3 libcli11-dev libjpeg-dev libpng-dev libtiff-dev

PEER_PACKAGES = libfftw3-dev libleptonica-dev libpixman-1-dev libvips-dev libyuv-dev

.PHONY: demo build test bench lint
demo:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES)
	cmake --preset $(PRESET) -DZYLQX_TESTS=OFF
	cmake --build --preset $(PRESET) --target zyl
	scripts/demo.sh build/$(PRESET)/tools/zyl "$(PICTURE)"

build:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES)
	cmake --preset $(PRESET) -DZYLQX_TESTS=ON
	cmake --build --preset $(PRESET)

test: build
	ctest --preset $(PRESET)

bench:
	scripts/packages.sh $(BUILD_PACKAGES) libbenchmark-dev $(PEER_PACKAGES)
	cmake --preset bench
	cmake --build --preset bench

# One instruction level: the others are made of the same lines.
lint:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES) git clang clang-tidy
	cmake --preset clang -B build/lint -DZYLQX_TESTS=OFF -DZYLQX_LEVELS=baseline
	git ls-files -z '*.cpp' ':!tests' ':!bench' ':!fuzz' ':!platform/windows.cpp' | \
		xargs -0 -n 4 -P 2 clang-tidy --quiet -p build/lint
