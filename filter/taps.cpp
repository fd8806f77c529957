#include "filter/taps.h"

#include <algorithm>
#include <numeric>

#include "core/image.h"

namespace zylqx {

Range rangeOf(std::uint32_t depth) {
    const int bits = depthBits(depth);
    if ((depth & ZYL_DEPTH_SIGN) == 0) return {0, (std::int64_t{1} << bits) - 1};
    return {-(std::int64_t{1} << (bits - 1)), (std::int64_t{1} << (bits - 1)) - 1};
}

TapList::TapList(const std::int8_t *values, std::int64_t rows, std::int64_t columns,
                 std::int64_t left, std::int64_t top, const Range &range, std::ptrdiff_t bytes)
    : top_(top), rows_(rows) {
    const std::int64_t most = rows * columns;
    std::int64_t starts[256] = {}; // of the taps of a coefficient
    for (std::int64_t i = 0; i < most; ++i) ++starts[values[i] + 128];
    const std::int64_t count = most - starts[128];
    starts[128] = 0;
    std::exclusive_scan(starts, starts + 256, starts, std::int64_t{0});

    rowPointers_ = Scratch<const unsigned char *>(static_cast<std::uint64_t>(rows));
    cells_ = Scratch<Cell>(static_cast<std::uint64_t>(std::max<std::int64_t>(count, 1)));
    taps_ = Scratch<Tap>(static_cast<std::uint64_t>(std::max<std::int64_t>(count, 1)));
    if (!*this) return;
    count_ = static_cast<std::ptrdiff_t>(count);
    for (std::int64_t i = 0; i < most; ++i) {
        const std::int64_t value = values[i];
        if (value == 0) continue;
        const std::int64_t at = starts[value + 128]++;
        cells_[at] = {i / columns, static_cast<std::ptrdiff_t>(left + i % columns) * bytes};
        taps_[at] = {nullptr, static_cast<std::int32_t>(value)};
        range_.low += value * (value > 0 ? range.low : range.high);
        range_.high += value * (value > 0 ? range.high : range.low);
    }
}

Sum TapList::sum() const {
    if (range_.low >= -32768 && range_.high <= 32767) return Sum::S16;
    if (range_.low >= 0 && range_.high <= 65535) return Sum::U16;
    return Sum::S32;
}

void TapList::placeAt(SourceRows &rows, std::int64_t y) const {
    for (std::int64_t r = 0; r < rows_; ++r) {
        rowPointers_[r] = static_cast<const unsigned char *>(rows.row(y + top_ + r));
    }
    for (std::ptrdiff_t i = 0; i < count_; ++i) {
        taps_[i].samples = rowPointers_[cells_[i].row] + cells_[i].offset;
    }
}

void TapList::placeAt(const void *row) const {
    for (std::ptrdiff_t i = 0; i < count_; ++i) {
        taps_[i].samples = static_cast<const unsigned char *>(row) + cells_[i].offset;
    }
}

} // namespace zylqx
