// Rows of samples as floats or fixed-point numbers, and back.
#ifndef ZYLQX_TRANSFORM_SAMPLES_H
#define ZYLQX_TRANSFORM_SAMPLES_H

#include "core/kernel.h"
#include "transform/kernels.h"
#include "transform/lanes.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Fixed-point samples have this many fraction bits.
constexpr int FRACTION_BITS = 6;

template <class T>
constexpr s32 LOWEST = SIGNED<T> ? -(1 << (8 * sizeof(T) - 1)) : 0;
template <class T>
constexpr s32 HIGHEST = (1 << (8 * sizeof(T) - SIGNED<T>)) - 1;
template <>
constexpr s32 LOWEST<s32> = -2147483647 - 1;
template <>
constexpr s32 HIGHEST<s32> = 2147483647;

template <class V>
constexpr V limited(V v, V low, V high) {
    v = v < low ? low : v;
    return v > high ? high : v;
}

// The integer part, within the range of T.
template <class T>
inline T truncated(float v) {
    if constexpr (sizeof(T) < 4) {
        return T(s32(limited(v, float(LOWEST<T>), float(HIGHEST<T>))));
    } else {
        constexpr float LIMIT = 2147483648.0f;
        constexpr float BELOW_LIMIT = 2147483520.0f;
        const auto inside = s32(limited(v, -LIMIT, BELOW_LIMIT));
        return v >= LIMIT ? HIGHEST<T> : inside;
    }
}

// The nearest integer, ties to even. A float of 2^23 or more has no fraction;
// below, adding 2^23 leaves no room for one.
inline float roundedToEven(float v) {
    constexpr float NO_FRACTION = 8388608.0f;
    const float size = __builtin_fabsf(v);
    const float whole = (size + NO_FRACTION) - NO_FRACTION;
    return __builtin_copysignf(size < NO_FRACTION ? whole : size, v);
}

inline float toWorking(s32 sample, float) {
    return float(sample);
}
inline s32 toWorking(s32 sample, s32) {
    return s32(u32(sample) << FRACTION_BITS);
}

template <class T, class S>
inline void loadRow(const unsigned char *from, std::ptrdiff_t step, std::ptrdiff_t n, S *to) {
    const T *__restrict in = reinterpret_cast<const T *>(from);
    S *__restrict out = to;
    if (step == 1) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = toWorking(in[i], S());
    } else {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = toWorking(in[i * step], S());
    }
}

// Stores convert(from[i]).
template <class T, class S, class F>
inline void storeEach(const S *from, std::ptrdiff_t n, unsigned char *to, std::ptrdiff_t step,
                      F convert) {
    const S *__restrict in = from;
    T *__restrict out = reinterpret_cast<T *>(to);
    if (step == 1) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = convert(in[i]);
    } else {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i * step] = convert(in[i]);
    }
}

template <class T>
void storeRow(const float *from, std::ptrdiff_t n, const FftFinish &finish, unsigned char *to,
              std::ptrdiff_t step) {
    const float scale = finish.scale;
    storeEach<T>(from, n, to, step, [=](float v) { return truncated<T>(v * scale); });
}

template <class T>
void storeRow(const s32 *from, std::ptrdiff_t n, const FftFinish &finish, unsigned char *to,
              std::ptrdiff_t step) {
    const int shift = finish.shift;
    const auto low = s32(~u32{0} << shift);
    const auto shifted = [=](s32 v) { return v < 0 && v > low ? 0 : v >> shift; };
    if (finish.scale == 1) {
        storeEach<T>(from, n, to, step,
                     [=](s32 v) { return T(limited(shifted(v), LOWEST<T>, HIGHEST<T>)); });
    } else {
        const float scale = finish.scale;
        storeEach<T>(from, n, to, step,
                     [=](s32 v) { return truncated<T>(roundedToEven(float(shifted(v)) * scale)); });
    }
}

template <class T>
inline void storeRounded(const float *from, std::ptrdiff_t n, unsigned char *to,
                         std::ptrdiff_t step) {
    storeEach<T>(from, n, to, step, [](float v) { return truncated<T>(roundedToEven(v)); });
}

// By depth index; there is none for 1-bit samples.
template <class S>
constexpr void (*LOAD_ROW[])(const unsigned char *from, std::ptrdiff_t step, std::ptrdiff_t n,
                             S *to) = {nullptr,         loadRow<u8, S>,  loadRow<s8, S>,
                                       loadRow<u16, S>, loadRow<s16, S>, loadRow<s32, S>};
template <class S>
constexpr void (*STORE_ROW[])(const S *from, std::ptrdiff_t n, const FftFinish &finish,
                              unsigned char *to, std::ptrdiff_t step) = {
    nullptr, storeRow<u8>, storeRow<s8>, storeRow<u16>, storeRow<s16>, storeRow<s32>};
constexpr void (*STORE_ROUNDED[])(const float *from, std::ptrdiff_t n, unsigned char *to,
                                  std::ptrdiff_t step) = {nullptr,           storeRounded<u8>,
                                                          storeRounded<s8>,  storeRounded<u16>,
                                                          storeRounded<s16>, storeRounded<s32>};

// A block of N x N samples: gathered first, so that all are converted in one loop.
template <class T, int N, class S>
void loadBlockOf(const Samples &from, S (&rows)[N][N]) {
    alignas(64) T samples[N][N];
    for (int y = 0; y < N; ++y) {
        const T *in = reinterpret_cast<const T *>(from.data + y * from.stride);
        if (from.step == 1) {
            __builtin_memcpy(samples[y], in, sizeof samples[y]);
        } else {
            for (int x = 0; x < N; ++x) samples[y][x] = in[x * from.step];
        }
    }
    loadRow<T>(reinterpret_cast<const unsigned char *>(samples), 1, N * N, rows[0]);
}

// Calls convert(values, n, bytes) for all values of the block at once, then
// scatters the samples that it has put there.
template <class T, int N, class S, class F>
inline void storeBlockOf(const S (&rows)[N][N], const Samples &to, F convert) {
    alignas(64) T samples[N][N];
    convert(rows[0], std::ptrdiff_t{N * N}, reinterpret_cast<unsigned char *>(samples));
    for (int y = 0; y < N; ++y) {
        T *out = reinterpret_cast<T *>(to.data + y * to.stride);
        if (to.step == 1) {
            __builtin_memcpy(out, samples[y], sizeof samples[y]);
        } else {
            for (int x = 0; x < N; ++x) out[x * to.step] = samples[y][x];
        }
    }
}
template <class T, int N, class S>
void storeFinishedBlock(const S (&rows)[N][N], const FftFinish &finish, const Samples &to) {
    storeBlockOf<T>(rows, to, [&](const S *values, std::ptrdiff_t n, unsigned char *samples) {
        storeRow<T>(values, n, finish, samples, 1);
    });
}
template <class T, int N>
void storeRoundedBlock(const float (&rows)[N][N], const Samples &to) {
    storeBlockOf<T>(rows, to, [](const float *values, std::ptrdiff_t n, unsigned char *samples) {
        storeRounded<T>(values, n, samples, 1);
    });
}

template <int N, class S>
inline void loadBlock(const Samples &from, S (&rows)[N][N]) {
    constexpr void (*LOAD[])(const Samples &from, S(&rows)[N][N]) = {
        nullptr,          loadBlockOf<u8>,  loadBlockOf<s8>,
        loadBlockOf<u16>, loadBlockOf<s16>, loadBlockOf<s32>};
    LOAD[from.depth](from, rows);
}
template <int N, class S>
inline void storeBlock(const S (&rows)[N][N], const FftFinish &finish, const Samples &to) {
    constexpr void (*STORE[])(const S(&rows)[N][N], const FftFinish &finish,
                              const Samples &to) = {nullptr,
                                                    storeFinishedBlock<u8>,
                                                    storeFinishedBlock<s8>,
                                                    storeFinishedBlock<u16>,
                                                    storeFinishedBlock<s16>,
                                                    storeFinishedBlock<s32>};
    STORE[to.depth](rows, finish, to);
}

// Columns that pass between rows and lines at once.
constexpr std::ptrdiff_t TILE_COLUMNS = 256;

// Rows of an image, at most LINES, as the lines of a real panel. Missing rows are
// read as 0. The panel has a multiple of LINES rows.
template <class S>
void loadRows(const Samples &from, std::ptrdiff_t rows, std::ptrdiff_t columns, S *panel) {
    alignas(64) S tile[LINES][TILE_COLUMNS];
    for (std::ptrdiff_t x = 0; x < columns; x += TILE_COLUMNS) {
        const std::ptrdiff_t n = smaller(columns - x, TILE_COLUMNS);
        const std::ptrdiff_t raised = (n + LINES - 1) / LINES * LINES;
        const unsigned char *in = from.data + x * columnBytes(from);
        for (std::ptrdiff_t y = 0; y < LINES; ++y) {
            const std::ptrdiff_t read = y < rows ? n : 0;
            if (read > 0) LOAD_ROW<S>[from.depth](in + y * from.stride, from.step, n, tile[y]);
            for (std::ptrdiff_t i = read; i < raised; ++i) tile[y][i] = 0;
        }
        for (std::ptrdiff_t i = 0; i < n; i += LINES) {
            const S *lines[LINES];
            for (int y = 0; y < LINES; ++y) lines[y] = tile[y] + i;
            transpose(lines, panel + (x + i) * LINES, LINES);
        }
    }
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
