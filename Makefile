# The commands for a fresh machine, in front of CMake. Each one installs the
# Debian packages that it needs and that are missing.
#
#     make build    builds everything
#     make test     builds everything and runs all tests
#
# PRESET chooses another build of CMakePresets.json: make test PRESET=sanitizers

PRESET = release
BUILD_PACKAGES = cmake g++ make ninja-build pkg-config googletest
TOOL_PACKAGES = libcli11-dev libjpeg-dev libpng-dev libtiff-dev

.PHONY: build test
build:
	scripts/packages.sh $(BUILD_PACKAGES) $(TOOL_PACKAGES)
	cmake --preset $(PRESET)
	cmake --build --preset $(PRESET)

test: build
	ctest --preset $(PRESET)
