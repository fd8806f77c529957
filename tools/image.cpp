#include "image.h"

namespace tool {

std::string nameOf(std::uint32_t depth) {
    return std::to_string(zyl::bitsOf(depth)) + (depth & ZYL_DEPTH_SIGN ? "s" : "u");
}

std::string describe(const Shape &shape) {
    std::string text = std::to_string(shape.width) + " x " + std::to_string(shape.height) + ", " +
                       (shape.depth & ZYL_DEPTH_SIGN ? "signed " : "") +
                       std::to_string(zyl::bitsOf(shape.depth)) + "-bit ";
    text += shape.color() ? shape.model.substr(0, 3) : "gray";
    return shape.alpha ? text + " with alpha" : text;
}

} // namespace tool
