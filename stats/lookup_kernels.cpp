// Samples through look-up tables.
//
// 16-bit tables are read one sample at a time. With AVX2, 8-bit ones are taken apart
// into 16 parts of 16 bytes, each of which an instruction looks up for 32 samples at
// once; pixels of three and four samples are first sorted by channel, so that each
// table serves whole vectors. Nothing is computed, so results are exact.
#include "core/vectors.h"
#include "stats/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T>
void lookUpRow(const T *s, std::ptrdiff_t sStep, T *d, std::ptrdiff_t dStep, std::ptrdiff_t n,
               const T *table) {
#pragma GCC unroll 4
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i * dStep] = table[s[i * sStep]];
}

#if defined(__AVX2__)

using U8x16 = SizedVector<u8, 16>;
using U8x32 = SizedVector<u8, 32>;
using S8x32 = SizedVector<s8, 32>;
using Chars32 = SizedVector<char, 32>;
using U32x8 = SizedVector<u32, 32>;

// A look-up in 256 bytes, 32 samples at once. An instruction looks up 16 bytes by
// the low half of a sample and gives zero where the sample's top bit is set. The
// table's 16 parts are kept as differences (exclusive or) from the part before,
// and the result is the sum of all parts up to the sample's own. Subtracting 16
// from the samples for every part sets the top bit of those whose own part has
// been reached.
class ByteTable {
  public:
    ByteTable() = default;
    explicit ByteTable(const u8 *table) {
        U8x16 before = {};
        for (int part = 0; part < 16; ++part) {
            const U8x16 own = load<U8x16>(table + part * 16);
            // The second half of the table starts afresh.
            const U8x16 change = part == 8 ? own : own ^ before;
            __builtin_memcpy(&parts_[part], &change, 16);
            __builtin_memcpy(reinterpret_cast<char *>(&parts_[part]) + 16, &change, 16);
            before = own;
        }
    }

    // COUNT vectors in place, so that a part serves all of them once it is loaded.
    template <int COUNT>
    void operator()(U8x32 (&samples)[COUNT]) const {
        U8x32 above[COUNT];
        for (int i = 0; i < COUNT; ++i) above[i] = samples[i] ^ 0x80;
        half(parts_, samples);
        half(parts_ + 8, above);
        for (int i = 0; i < COUNT; ++i) samples[i] ^= above[i];
    }

  private:
    // Samples below 128 by eight parts; zeros for the others.
    template <int COUNT>
    static void half(const Chars32 *parts, U8x32 (&samples)[COUNT]) {
        // Far enough below zero that subtracting cannot come round.
        const S8x32 outside = S8x32{} - 1;
        S8x32 index[COUNT];
        for (int i = 0; i < COUNT; ++i) {
            const S8x32 sample = reinterpret_cast<S8x32>(samples[i]);
            index[i] = sample > outside ? sample : outside;
            samples[i] = U8x32{};
        }
        for (int part = 0; part < 8; ++part) {
            const Chars32 table = parts[part];
            for (int i = 0; i < COUNT; ++i) {
                if (part > 0) index[i] -= 16;
                samples[i] ^= reinterpret_cast<U8x32>(
                    __builtin_ia32_pshufb256(table, reinterpret_cast<Chars32>(index[i])));
            }
        }
    }

    Chars32 parts_[16];
};

// Pixels of three or four samples by a table for each channel, PIXELS at a time.
//
// Three vectors of three-sample pixels have three different channels at every
// position, and so have four vectors of four-sample pixels once the j-th has been
// rotated by j. Blending by position then gives vectors of one channel each, and
// blending these gives the results in place.
template <int CHANNELS>
class PixelTables {
  public:
    static constexpr std::ptrdiff_t PIXELS = 64;

    explicit PixelTables(const u8 *tables) {
        for (int c = 0; c < CHANNELS; ++c) channels_[c] = ByteTable(tables + c * 256);
        for (int i = 0; i < 32; ++i) {
            for (int p = 0; p < CHANNELS; ++p) masks_[p][i] = i % CHANNELS == p ? 0xFF : 0;
        }
    }

    void operator()(const u8 *s, u8 *d) const {
        constexpr int TURNS = 2;
        constexpr int TURN = 32 * CHANNELS;
        U8x32 channel[CHANNELS][TURNS];
        for (int t = 0; t < TURNS; ++t) {
            U8x32 v[CHANNELS];
            for (int j = 0; j < CHANNELS; ++j) {
                v[j] = rotate(load<U8x32>(s + t * TURN + 32 * j), j);
            }
            for (int c = 0; c < CHANNELS; ++c) {
                // v[j] has channel (p + SHIFT * j) % CHANNELS at position p.
                U8x32 samples = {};
                for (int j = 0; j < CHANNELS; ++j) samples |= v[j] & mask(c - SHIFT * j);
                channel[c][t] = samples;
            }
        }
        for (int c = 0; c < CHANNELS; ++c) channels_[c](channel[c]);
        for (int t = 0; t < TURNS; ++t) {
            for (int j = 0; j < CHANNELS; ++j) {
                U8x32 samples = {};
                for (int c = 0; c < CHANNELS; ++c) samples |= channel[c][t] & mask(c - SHIFT * j);
                store(d + t * TURN + 32 * j, rotate(samples, -j));
            }
        }
    }

  private:
    static constexpr int SHIFT = CHANNELS == 3 ? 32 % 3 : 1;

    const U8x32 &mask(int position) const {
        return masks_[(position + CHANNELS * CHANNELS) % CHANNELS];
    }
    // The samples of every four-sample pixel moved by `by` positions to the front.
    static U8x32 rotate(U8x32 v, int by) {
        if (CHANNELS == 3 || by == 0) return v;
        const U32x8 pixels = reinterpret_cast<U32x8>(v);
        const int bits = by * 8 & 31;
        return reinterpret_cast<U8x32>(pixels >> bits | pixels << (32 - bits));
    }

    ByteTable channels_[CHANNELS];
    U8x32 masks_[CHANNELS];
};

// From here on it pays to prepare a table.
constexpr std::ptrdiff_t MANY_SAMPLES = 256;

void lookUp8Row(const u8 *s, std::ptrdiff_t sStep, u8 *d, std::ptrdiff_t dStep, std::ptrdiff_t n,
                const u8 *table) {
    std::ptrdiff_t i = 0;
    if (sStep == 1 && dStep == 1 && n >= MANY_SAMPLES) {
        const ByteTable bytes(table);
        for (; i + 64 <= n; i += 64) {
            U8x32 samples[] = {load<U8x32>(s + i), load<U8x32>(s + i + 32)};
            bytes(samples);
            store(d + i, samples[0]);
            store(d + i + 32, samples[1]);
        }
    }
    lookUpRow(s + i * sStep, sStep, d + i * dStep, dStep, n - i, table);
}

// As many pixels as whole vectors hold; gives their number.
template <int CHANNELS>
std::ptrdiff_t lookUpPixels(const u8 *s, u8 *d, std::ptrdiff_t n, const u8 *tables) {
    using Tables = PixelTables<CHANNELS>;
    if (n < MANY_SAMPLES) return 0;
    const Tables lookUp(tables);
    std::ptrdiff_t i = 0;
    for (; i + Tables::PIXELS <= n; i += Tables::PIXELS) lookUp(s + i * CHANNELS, d + i * CHANNELS);
    return i;
}

std::ptrdiff_t lookUpManyPixels(const u8 *s, u8 *d, int channels, std::ptrdiff_t n,
                                const u8 *tables) {
    if (channels == 3) return lookUpPixels<3>(s, d, n, tables);
    if (channels == 4) return lookUpPixels<4>(s, d, n, tables);
    return 0;
}

#else

constexpr auto lookUp8Row = lookUpRow<u8>;

std::ptrdiff_t lookUpManyPixels(const u8 *, u8 *, int, std::ptrdiff_t, const u8 *) {
    return 0;
}

#endif

void lookUpPixelsRow(const u8 *s, u8 *d, int channels, std::ptrdiff_t n, const u8 *tables) {
    const std::ptrdiff_t done = lookUpManyPixels(s, d, channels, n, tables);
    for (int c = 0; c < channels; ++c) {
        const std::ptrdiff_t at = done * channels + c;
        lookUp8Row(s + at, channels, d + at, channels, n - done, tables + std::ptrdiff_t{c} * 256);
    }
}

} // namespace

const LookUpKernels lookUpKernels = {lookUp8Row, lookUpPixelsRow, lookUpRow<u16>};

} // namespace zylqx::ZYLQX_LEVEL
