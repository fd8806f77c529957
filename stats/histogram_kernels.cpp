// Counting of samples, one table look-up and one addition each. A count that was
// just written is slow to read again, so 8-bit samples that follow each other go to
// TABLES_8 tables in turn, which the caller adds up; pixels are taken from words of
// eight bytes. Counts wrap at 32 bits, as the interface has them.
#include "core/kernel.h"
#include "core/words.h"
#include "stats/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

void count8Row(const u8 *s, std::ptrdiff_t step, std::ptrdiff_t n, u32 *counts) {
    std::ptrdiff_t i = 0;
    for (; i + TABLES_8 <= n; i += TABLES_8, s += TABLES_8 * step) {
        for (int k = 0; k < TABLES_8; ++k) ++counts[k * 256 + s[k * step]];
    }
    for (; i < n; ++i, s += step) ++counts[*s];
}

void count16Row(const u16 *s, std::ptrdiff_t step, std::ptrdiff_t n, u32 *counts) {
#pragma GCC unroll 4
    for (std::ptrdiff_t i = 0; i < n; ++i) ++counts[s[i * step]];
}

// Eight pixels: their sample K, which comes next in the word, and those behind it.
template <int CHANNELS, int K = 0>
inline void countEight(const u8 *s, u64 word, u32 *counts) {
    if constexpr (K < 8 * CHANNELS) {
        constexpr int TABLE = K % CHANNELS * TABLES_8 + K / CHANNELS % TABLES_8;
        if constexpr (K % 8 == 0) word = loadLowestFirst(s + K);
        ++counts[TABLE * 256 + static_cast<int>(word & 0xFF)];
        countEight<CHANNELS, K + 1>(s, word >> 8, counts);
    }
}

template <int CHANNELS>
void countPixels(const u8 *s, std::ptrdiff_t n, u32 *counts) {
    std::ptrdiff_t i = 0;
    for (; i + 8 <= n; i += 8) countEight<CHANNELS>(s + i * CHANNELS, 0, counts);
    for (std::ptrdiff_t k = i * CHANNELS; k < n * CHANNELS; ++k) {
        ++counts[k % CHANNELS * TABLES_8 * 256 + s[k]];
    }
}

void countPixelsRow(const u8 *s, int channels, std::ptrdiff_t n, u32 *counts) {
    if (channels == 1) return countPixels<1>(s, n, counts);
    if (channels == 3) return countPixels<3>(s, n, counts);
    if (channels == 4) return countPixels<4>(s, n, counts);
    for (int c = 0; c < channels; ++c) {
        count8Row(s + c, channels, n, counts + std::ptrdiff_t{c} * TABLES_8 * 256);
    }
}

} // namespace

const HistogramKernels histogramKernels = {count8Row, countPixelsRow, count16Row};

} // namespace zylqx::ZYLQX_LEVEL
