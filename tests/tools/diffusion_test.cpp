// Error diffusion in bands gives the bits of the library's, which needs the picture
// in one tile.
#include "diffusion.h"
#include "engine/pipeline.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace tool {
namespace {

// Slopes and noise, in the depth from which the library cuts to `depth`.
Image deeper(int width, int height, int channels, std::uint32_t depth, unsigned seed) {
    const bool narrow = depth == ZYL_DEPTH_8U;
    Image image(makeShape(width, height, channels, narrow ? ZYL_DEPTH_16U : ZYL_DEPTH_32S));
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y) {
        for (int i = 0; i < width * channels; ++i) {
            const std::uint32_t value = static_cast<std::uint32_t>(i * 300 + y * 500) * 30000u +
                                        static_cast<std::uint32_t>(random()) / 8;
            if (narrow) {
                image.samples<std::uint16_t>(y)[i] = static_cast<std::uint16_t>(value >> 16);
            } else {
                image.samples<std::int32_t>(y)[i] = static_cast<std::int32_t>(value >> 1);
            }
        }
    }
    return image;
}

TEST(Diffusion, GivesTheBitsOfTheLibrary) {
    constexpr int NO_DITHER = 1;
    for (std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (Diffusion kind : {Diffusion::floydSteinberg, Diffusion::jarvis, Diffusion::stucki}) {
            for (int round = 0; round < 24; ++round) {
                const int channels = 1 + round % 4, bits = round % 10;
                const int width = 1 + round * 7, height = round < 4 ? 1 + round : 10 + 33 * round;
                const Image source = deeper(width, height, channels, depth, 9);
                const Shape shape = makeShape(width, height, channels, depth);
                Image expected(shape), plain(shape);
                zylReduceBits(source.header(), expected.header(), 0, static_cast<int>(kind), bits,
                              nullptr);
                zylReduceBits(source.header(), plain.header(), 0, NO_DITHER, bits, nullptr);
                Pipeline pipeline({.memory = 1 << 20, .jobs = 2});
                const Pipeline::Node from = pipeline.add(std::move(plain));
                const Image made = pipeline.image(pipeline.add(diffuse(shape, kind, bits), {from}));
                const auto bytes = static_cast<std::size_t>(width * channels) * (depth & 31) / 8;
                for (int y = 0; y < height; ++y) {
                    ASSERT_EQ(std::memcmp(made.row(y), expected.row(y), bytes), 0)
                        << "row " << y << ", kind " << static_cast<int>(kind) << ", bits " << bits
                        << ", " << describe(shape);
                }
            }
        }
    }
}

} // namespace
} // namespace tool
