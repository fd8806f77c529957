#include "rows.h"

#include "text.h"

#include <cstring>

namespace tool {

Shape checkedShape(std::int64_t width, std::int64_t height, int channels, std::uint32_t depth) {
    constexpr std::int64_t most = INT32_MAX - 64; // sides are rounded up to tiles
    const std::int64_t bits = depth & ~ZYL_DEPTH_SIGN;
    const bool possible =
        width > 0 && height > 0 && height <= most && width <= most / channels / ((bits + 7) / 8);
    if (!possible) throw Failure("has an impossible size");
    return makeShape(static_cast<int>(width), static_cast<int>(height), channels, depth);
}

std::size_t rowBytes(const Shape &shape, int width) {
    const std::size_t bits = shape.depth & ~ZYL_DEPTH_SIGN;
    return (static_cast<std::size_t>(width) * static_cast<std::size_t>(shape.channels) * bits + 7) /
           8;
}

void RowSource::setRows(int perPiece) {
    piece_ = {(shape().width + 7) / 8 * 8, perPiece};
}

void RowSource::readRect(const Rect &rect, Pixels to) {
    if (rect.y < next_) throw Failure("rows are asked for a second time");
    const bool whole = rect.x == 0 && rect.width == shape().width;
    if (!whole || next_ < rect.y) row_.resize(rowBytes(shape(), shape().width));
    for (; next_ < rect.y; ++next_) readRow(row_.data());
    const std::size_t left = rowBytes(shape(), rect.x);
    for (int y = 0; y < rect.height; ++y, ++next_) {
        unsigned char *target = to.data + y * to.stride;
        readRow(whole ? target : row_.data());
        if (!whole) std::memcpy(target, row_.data() + left, rowBytes(shape(), rect.width));
    }
}

void RowSink::writeRect(const Rect &rect, ConstPixels from) {
    for (int y = 0; y < rect.height; ++y) writeRow(from.data + y * from.stride);
}

} // namespace tool
