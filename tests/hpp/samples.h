// Images of written numbers, and the numbers of images.
#pragma once

#include <zylqx.hpp>

#include <cstdint>
#include <vector>

namespace support {

// One number for each sample, of one plane after the other.
inline std::vector<std::int64_t> samplesOf(const zyl::ConstImage &image) {
    const ZylImage &h = *image.header();
    const bool pixels = h.dataOrder == ZYL_DATA_ORDER_PIXEL;
    std::vector<std::int64_t> all;
    for (int plane = 0; plane < (pixels ? 1 : h.nChannels); ++plane) {
        for (int y = 0; y < h.height; ++y) {
            for (int i = 0; i < h.width * (pixels ? h.nChannels : 1); ++i) {
                const auto at = static_cast<std::size_t>(i);
                switch (h.depth) {
                case ZYL_DEPTH_1U:
                    all.push_back(image.row(y)[i / 8] >> (7 - i % 8) & 1);
                    break;
                case ZYL_DEPTH_8U:
                    all.push_back(image.samples<std::uint8_t>(y, plane)[at]);
                    break;
                case ZYL_DEPTH_8S:
                    all.push_back(image.samples<std::int8_t>(y, plane)[at]);
                    break;
                case ZYL_DEPTH_16U:
                    all.push_back(image.samples<std::uint16_t>(y, plane)[at]);
                    break;
                case ZYL_DEPTH_16S:
                    all.push_back(image.samples<std::int16_t>(y, plane)[at]);
                    break;
                default:
                    all.push_back(image.samples<std::int32_t>(y, plane)[at]);
                }
            }
        }
    }
    return all;
}

// Of samples in pixel order.
inline zyl::Image imageOf(const zyl::Shape &shape, const std::vector<std::int64_t> &samples) {
    zyl::Image image(shape);
    const int row = shape.width * shape.channels;
    for (int i = 0; i < row * shape.height; ++i) {
        const std::int64_t value = samples[static_cast<std::size_t>(i)];
        const auto at = static_cast<std::size_t>(i % row);
        const int y = i / row, bits = zyl::bitsOf(shape.depth);
        if (bits == 1) image.row(y)[at / 8] |= static_cast<unsigned char>(value << (7 - at % 8));
        if (bits == 8) image.row(y)[at] = static_cast<unsigned char>(value);
        if (bits == 16) image.samples<std::uint16_t>(y)[at] = static_cast<std::uint16_t>(value);
        if (bits == 32) image.samples<std::int32_t>(y)[at] = static_cast<std::int32_t>(value);
    }
    return image;
}

inline zyl::Shape shapeOf(const char *model, int channels, std::uint32_t depth, int width,
                          int height) {
    zyl::Shape shape = zyl::makeShape(width, height, channels, depth);
    if (channels >= 3 && model[0] == 'H') shape.model = shape.sequence = model;
    return shape;
}

} // namespace support
