// Pictures are images of zylqx.hpp in pixel order; here is how they are told of.
#pragma once

#include <zylqx.hpp>

#include <string>

namespace tool {

using zyl::Image;
using zyl::makeShape;
using zyl::Shape;

// "1u", "8s" ...: as words of the command line have it.
std::string nameOf(std::uint32_t depth);

// "640 x 480, 8-bit RGB with alpha"
std::string describe(const Shape &shape);

// Size of tiles or of strips in pixels; 0 x 0 for none.
struct Tiling {
    int width = 0;
    int height = 0;
    explicit operator bool() const { return width > 0; }
};

} // namespace tool
