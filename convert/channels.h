// Rows of colour pixels as three arrays of samples. Included by kernels only, in
// their level's namespace.
#ifndef ZYLQX_CONVERT_CHANNELS_H
#define ZYLQX_CONVERT_CHANNELS_H

#include "convert/kernels.h"
#include "core/pack.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T>
constexpr s32 HIGHEST = sizeof(T) == 4   ? 0x7FFFFFFF
                        : sizeof(T) == 2 ? 0xFFFF
                                         : 0xFF;

template <class T>
struct Chunk {
    alignas(64) T a[CHUNK];
    alignas(64) T b[CHUNK];
    alignas(64) T c[CHUNK];
};

#if defined(__AVX2__)
using Bytes = SizedVector<char, 32>;
using BytePairs = SizedVector<u64, 32>;

// How an instruction takes the bytes of pixels of three samples from vectors of each
// channel, or the reverse: for each of three results and each of three sources where
// in 16 bytes a byte comes from, or -1.
template <int SIZE>
struct ThreesOrders {
    alignas(32) char join[3][3][32], split[3][3][32];

    constexpr ThreesOrders() : join(), split() {
        for (int i = 0; i < 3 * 16; ++i) { // byte i of the pixels, and of their channel
            const int c = i / SIZE % 3, at = i / SIZE / 3 * SIZE + i % SIZE;
            for (int half = 0; half < 32; half += 16) {
                for (int other = 0; other < 3; ++other) {
                    join[i / 16][other][half + i % 16] = char(other == c ? at : -1);
                    split[c][other][half + at] = char(other == i / 16 ? i % 16 : -1);
                }
            }
        }
    }
};
template <int SIZE>
constexpr ThreesOrders<SIZE> THREES_ORDERS;

// PIXELS pixels of three samples to and from a vector of each channel. Both are taken
// in halves of 16 bytes.
template <class T>
struct Threes {
    static constexpr std::ptrdiff_t PIXELS = 32 / sizeof(T);

    static void join(const T *a, const T *b, const T *c, T *pixels) {
        const Bytes in[] = {load<Bytes>(a), load<Bytes>(b), load<Bytes>(c)};
        Bytes out[3];
        shuffle(THREES_ORDERS<sizeof(T)>.join, in, out);
        store(pixels, lows(out[0], out[1]));
        store(pixels + PIXELS, mixed(out[2], out[0]));
        store(pixels + 2 * PIXELS, highs(out[1], out[2]));
    }
    static void split(const T *pixels, T *a, T *b, T *c) {
        const auto first = load<Bytes>(pixels), second = load<Bytes>(pixels + PIXELS),
                   third = load<Bytes>(pixels + 2 * PIXELS);
        const Bytes in[] = {mixed(first, second), crossed(first, third), mixed(second, third)};
        Bytes out[3];
        shuffle(THREES_ORDERS<sizeof(T)>.split, in, out);
        store(a, out[0]);
        store(b, out[1]);
        store(c, out[2]);
    }

  private:
    static void shuffle(const char (&orders)[3][3][32], const Bytes (&in)[3], Bytes (&out)[3]) {
        for (int k = 0; k < 3; ++k) {
            out[k] = __builtin_ia32_pshufb256(in[0], load<Bytes>(orders[k][0])) |
                     __builtin_ia32_pshufb256(in[1], load<Bytes>(orders[k][1])) |
                     __builtin_ia32_pshufb256(in[2], load<Bytes>(orders[k][2]));
        }
    }
    // Two halves of two vectors.
    static Bytes lows(Bytes a, Bytes b) {
        return Bytes(__builtin_shufflevector(BytePairs(a), BytePairs(b), 0, 1, 4, 5));
    }
    static Bytes highs(Bytes a, Bytes b) {
        return Bytes(__builtin_shufflevector(BytePairs(a), BytePairs(b), 2, 3, 6, 7));
    }
    static Bytes mixed(Bytes a, Bytes b) {
        return Bytes(__builtin_shufflevector(BytePairs(a), BytePairs(b), 0, 1, 6, 7));
    }
    static Bytes crossed(Bytes a, Bytes b) {
        return Bytes(__builtin_shufflevector(BytePairs(a), BytePairs(b), 2, 3, 4, 5));
    }
};
#else
template <class T>
struct Threes {
    static constexpr std::ptrdiff_t PIXELS = PTRDIFF_MAX; // never as many
    static void join(const T *, const T *, const T *, T *) {}
    static void split(const T *, T *, T *, T *) {}
};
#endif

template <int STEP, class T>
void splitSteps(const T *__restrict s, T *__restrict a, T *__restrict b, T *__restrict c,
                std::ptrdiff_t n) {
    std::ptrdiff_t i = 0;
    if constexpr (STEP == 3) {
        constexpr std::ptrdiff_t PIXELS = Threes<T>::PIXELS;
        for (; n - i >= PIXELS; i += PIXELS) Threes<T>::split(s + 3 * i, a + i, b + i, c + i);
    }
    for (; i < n; ++i) {
        a[i] = s[STEP * i];
        b[i] = s[STEP * i + 1];
        c[i] = s[STEP * i + 2];
    }
}

// Pixels [at, at + n) of the row.
template <class T>
void split(const ColourSource &row, std::ptrdiff_t at, std::ptrdiff_t n, Chunk<T> &chunk) {
    const T *s[3];
    for (int k = 0; k < 3; ++k) s[k] = static_cast<const T *>(row.channel[k]) + at * row.step;
    if (row.step == 3 || row.step == 4) {
        const bool reversed = s[2] < s[0];
        T *a = reversed ? chunk.c : chunk.a;
        T *c = reversed ? chunk.a : chunk.c;
        const T *first = reversed ? s[2] : s[0];
        if (row.step == 3) return splitSteps<3>(first, a, chunk.b, c, n);
        return splitSteps<4>(first, a, chunk.b, c, n);
    }
    T *d[3] = {chunk.a, chunk.b, chunk.c};
    for (int k = 0; k < 3; ++k) {
        if (row.step == 1) {
            __builtin_memcpy(d[k], s[k], static_cast<std::size_t>(n) * sizeof(T));
        } else {
            for (std::ptrdiff_t i = 0; i < n; ++i) d[k][i] = s[k][i * row.step];
        }
    }
}

template <class T>
void join3(const T *a, const T *b, const T *c, T *__restrict d, std::ptrdiff_t n) {
    constexpr std::ptrdiff_t PIXELS = Threes<T>::PIXELS;
    std::ptrdiff_t i = 0;
    for (; n - i >= PIXELS; i += PIXELS) Threes<T>::join(a + i, b + i, c + i, d + 3 * i);
    for (; i < n; ++i) {
        d[3 * i] = a[i];
        d[3 * i + 1] = b[i];
        d[3 * i + 2] = c[i];
    }
}

template <class T>
void join4(const T *a, const T *b, const T *c, T *__restrict d, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const T kept = d[4 * i + 3];
        d[4 * i] = a[i];
        d[4 * i + 1] = b[i];
        d[4 * i + 2] = c[i];
        d[4 * i + 3] = kept;
    }
}

// Channels `s` to pixels [at, at + n) of the row.
template <class T>
void join(const T *const (&s)[3], const ColourRow &row, std::ptrdiff_t at, std::ptrdiff_t n) {
    T *d[3];
    for (int k = 0; k < 3; ++k) d[k] = static_cast<T *>(row.channel[k]) + at * row.step;
    if (row.step == 3 || row.step == 4) {
        const bool reversed = d[2] < d[0];
        const T *a = reversed ? s[2] : s[0];
        const T *c = reversed ? s[0] : s[2];
        T *first = reversed ? d[2] : d[0];
        if (row.step == 3) return join3(a, s[1], c, first, n);
        return join4(a, s[1], c, first, n);
    }
    for (int k = 0; k < 3; ++k) {
        if (row.step == 1) {
            __builtin_memcpy(d[k], s[k], static_cast<std::size_t>(n) * sizeof(T));
        } else {
            for (std::ptrdiff_t i = 0; i < n; ++i) d[k][i * row.step] = s[k][i];
        }
    }
}

// Runs operation(chunk, n), which changes the three channels in place, over a row.
template <class T, class F>
void forEachChunk(const ColourSource &s, const ColourRow &d, std::ptrdiff_t n, F operation) {
    Chunk<T> chunk;
    const T *const channels[] = {chunk.a, chunk.b, chunk.c};
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        split(s, i, count, chunk);
        operation(chunk, count);
        join(channels, d, i, count);
    }
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
