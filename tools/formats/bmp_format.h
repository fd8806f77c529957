// The parts of the BMP format.
#pragma once

#include "format.h"

namespace tool {

std::unique_ptr<Source> openBmp(std::unique_ptr<Input> input, const ReadOptions &options);
std::unique_ptr<Sink> createBmp(std::unique_ptr<Output> output, const Shape &shape,
                                const Metadata &metadata, const WriteOptions &options);

namespace bmp {

constexpr std::uint32_t fileHeaderSize = 14;
// Sizes of the headers, which tell their kinds.
constexpr std::uint32_t coreHeader = 12;
constexpr std::uint32_t infoHeader = 40;
constexpr std::uint32_t os2Header = 64;
constexpr std::uint32_t version5Header = 124;
// Where the fields of the info header and its later kinds are.
constexpr std::size_t masksField = 40, alphaMaskField = 52;
constexpr std::size_t colorSpaceField = 56, profileField = 112, profileSizeField = 116;
constexpr std::uint32_t embeddedProfile = 0x4D424544; // "MBED"
constexpr std::uint32_t standardColors = 0x73524742;  // "sRGB"

enum Compression : std::uint32_t {
    plain = 0,
    runs8 = 1,
    runs4 = 2,
    bitFields = 3,
    runs24 = 4, // in the header of 64 bytes alone, where bitFields is another code
    alphaBitFields = 6
};

} // namespace bmp

} // namespace tool
