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

template <int STEP, class T>
void splitSteps(const T *__restrict s, T *__restrict a, T *__restrict b, T *__restrict c,
                std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
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
void join3(const T *__restrict a, const T *__restrict b, const T *__restrict c, T *__restrict d,
           std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        d[3 * i] = a[i];
        d[3 * i + 1] = b[i];
        d[3 * i + 2] = c[i];
    }
}

template <class T>
void join4(const T *__restrict a, const T *__restrict b, const T *__restrict c, T *__restrict d,
           std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const T kept = d[4 * i + 3];
        d[4 * i] = a[i];
        d[4 * i + 1] = b[i];
        d[4 * i + 2] = c[i];
        d[4 * i + 3] = kept;
    }
}

template <class T>
void join(const Chunk<T> &chunk, const ColourRow &row, std::ptrdiff_t at, std::ptrdiff_t n) {
    T *d[3];
    for (int k = 0; k < 3; ++k) d[k] = static_cast<T *>(row.channel[k]) + at * row.step;
    if (row.step == 3 || row.step == 4) {
        const bool reversed = d[2] < d[0];
        const T *a = reversed ? chunk.c : chunk.a;
        const T *c = reversed ? chunk.a : chunk.c;
        T *first = reversed ? d[2] : d[0];
        if (row.step == 3) return join3(a, chunk.b, c, first, n);
        return join4(a, chunk.b, c, first, n);
    }
    const T *s[3] = {chunk.a, chunk.b, chunk.c};
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
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        split(s, i, count, chunk);
        operation(chunk, count);
        join(chunk, d, i, count);
    }
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
