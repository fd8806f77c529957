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
    const auto [lowest, highest] = std::minmax_element(values, values + most);
    const int low = *lowest;
    const int kinds = *highest - low + 1;
    std::int64_t starts[256]; // of the taps of a coefficient
    std::fill_n(starts, kinds, std::int64_t{0});
    for (std::int64_t i = 0; i < most; ++i) ++starts[values[i] - low];
    const bool zeros = low <= 0 && *highest >= 0;
    const std::int64_t count = most - (zeros ? starts[-low] : 0);
    if (zeros) starts[-low] = 0;
    std::exclusive_scan(starts, starts + kinds, starts, std::int64_t{0});

    const auto tapBytes = static_cast<std::ptrdiff_t>(sizeof(Tap)) * count;
    const auto cellBytes = static_cast<std::ptrdiff_t>(sizeof(Cell)) * count;
    const auto pointerBytes = static_cast<std::ptrdiff_t>(sizeof(void *)) * rows;
    memory_ =
        Scratch<unsigned char>(static_cast<std::uint64_t>(cellBytes + tapBytes + pointerBytes));
    if (!memory_) return;
    // The larger elements first.
    cells_ = reinterpret_cast<Cell *>(memory_.data());
    taps_ = reinterpret_cast<Tap *>(memory_.data() + cellBytes);
    rowPointers_ = reinterpret_cast<const unsigned char **>(memory_.data() + cellBytes + tapBytes);
    count_ = static_cast<std::ptrdiff_t>(count);
    for (std::int64_t i = 0; i < most; ++i) {
        const std::int64_t value = values[i];
        if (value == 0) continue;
        const std::int64_t at = starts[value - low]++;
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
