#include "filter/taps.h"

#include <algorithm>

#include "core/image.h"

namespace zylqx {

Range rangeOf(std::uint32_t depth) {
    const int bits = depthBits(depth);
    if ((depth & ZYL_DEPTH_SIGN) == 0) return {0, (std::int64_t{1} << bits) - 1};
    return {-(std::int64_t{1} << (bits - 1)), (std::int64_t{1} << (bits - 1)) - 1};
}

TapList::TapList(const std::int8_t *values, std::int64_t rows, std::int64_t columns,
                 std::int64_t left, std::int64_t top, const Range &range, std::ptrdiff_t bytes)
    : bytes_(bytes) {
    const std::int64_t most = rows * columns;
    const auto count = static_cast<std::size_t>(
        std::max<std::int64_t>(most - std::count(values, values + most, 0), 1));
    cells_ = Scratch<Cell>(count);
    taps_ = Scratch<Tap>(count);
    if (!cells_) taps_ = Scratch<Tap>();
    if (!taps_) return;
    for (std::int64_t i = 0; i < most; ++i) {
        const std::int64_t value = values[i];
        if (value == 0) continue;
        cells_[count_] = {top + i / columns, left + i % columns, nullptr};
        taps_[count_] = {nullptr, static_cast<std::int32_t>(value)};
        ++count_;
        range_.low += value * (value > 0 ? range.low : range.high);
        range_.high += value * (value > 0 ? range.high : range.low);
    }
}

Sum TapList::sum() const {
    if (range_.low >= -32768 && range_.high <= 32767) return Sum::S16;
    if (range_.low >= 0 && range_.high <= 65535) return Sum::U16;
    return Sum::S32;
}

void TapList::placeAt(SourceRows &rows, std::int64_t y, std::int64_t step) const {
    for (std::ptrdiff_t i = 0; i < count_; ++i) {
        Cell &cell = cells_[i];
        cell.samples = static_cast<const unsigned char *>(rows.row(y + cell.row)) +
                       cell.column * step * bytes_;
    }
}

void TapList::placeAt(const void *row, std::ptrdiff_t step) const {
    for (std::ptrdiff_t i = 0; i < count_; ++i) {
        Cell &cell = cells_[i];
        cell.samples = static_cast<const unsigned char *>(row) + cell.column * step * bytes_;
    }
}

const Tap *TapList::at(std::ptrdiff_t x) const {
    for (std::ptrdiff_t i = 0; i < count_; ++i) {
        taps_[i].samples = cells_[i].samples + x * bytes_;
    }
    return taps_.data();
}

} // namespace zylqx
