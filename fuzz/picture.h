// Small pictures out of an input.
#ifndef ZYLQX_FUZZ_PICTURE_H
#define ZYLQX_FUZZ_PICTURE_H

#include "bytes.h"

#include "formats/rows.h"
#include "image.h"

#include <algorithm>

// Of any shape that files hold.
inline tool::Shape anyShape(Bytes &in) {
    static constexpr std::array<std::uint32_t, 6> DEPTHS = {
        ZYL_DEPTH_8U, ZYL_DEPTH_1U, ZYL_DEPTH_16U, ZYL_DEPTH_8S, ZYL_DEPTH_16S, ZYL_DEPTH_32S};
    const std::uint32_t depth = in.pick(DEPTHS);
    const int channels = depth == ZYL_DEPTH_1U ? 1 : in.between(1, 4);
    const int width = in.between(1, 70);
    return tool::makeShape(width, in.between(1, 40), channels, depth);
}

// Every other row is noise, the ones between repeat it, so that encoders have something to
// find.
inline tool::Image anyImage(Bytes &in, const tool::Shape &shape) {
    tool::Image image = tool::Image::unfilled(shape);
    const std::size_t bytes = tool::rowBytes(shape, shape.width);
    unsigned state = static_cast<unsigned>(in.byte());
    const unsigned step = static_cast<unsigned>(in.byte());
    for (int y = 0; y < shape.height; ++y) {
        unsigned char *row = image.row(y);
        if (y % 2 == 1) {
            std::copy_n(image.row(y - 1), bytes, row);
            continue;
        }
        for (std::size_t i = 0; i < bytes; ++i) {
            state = state * 1664525u + step;
            row[i] = static_cast<unsigned char>(state >> 8);
        }
    }
    return image;
}

// A message is one line that says something.
inline void checkMessage(std::string_view message) {
    if (message.empty() || message.find('\n') != std::string_view::npos) __builtin_trap();
}

#endif
