// Samples and bits that change places: gathered by an index, turned round, transposed.
// Nothing is computed. A last vector that would reach past the end of a row overlaps
// the one before it.
#include "core/pack.h"
#include "core/vectors.h"
#include "geometry/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Instructions that move bytes across more than 32 gain nothing.
using namespace narrow_vectors;

// --- moving samples ---

template <class T>
void gatherRow(const void *row, const Gather &gather, void *out) {
    const T *samples = static_cast<const T *>(row);
    T *result = static_cast<T *>(out);
    std::ptrdiff_t k = 0;
#if defined(__AVX2__)
    using Half = SizedVector<char, 16>;
    using Whole = Vector<char>;
    auto joined = [](const char *a, const char *b) {
        return __builtin_shufflevector(load<Half>(a), load<Half>(b), 0, 1, 2, 3, 4, 5, 6, 7, 8, 9,
                                       10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24,
                                       25, 26, 27, 28, 29, 30, 31);
    };
    if (gather.blocks != nullptr) {
        constexpr std::ptrdiff_t STEP = GATHER_BYTES / sizeof(T);
        for (const GatherBlock *block = gather.blocks; k + STEP <= gather.count;
             k += STEP, ++block) {
            const char *a = static_cast<const char *>(row) + block->base[0];
            const char *b = static_cast<const char *>(row) + block->base[1];
            store(result + k,
                  __builtin_ia32_pshufb256(joined(a, b), load<Whole>(block->low)) |
                      __builtin_ia32_pshufb256(joined(a + 16, b + 16), load<Whole>(block->high)));
        }
    }
#endif
    for (; k < gather.count; ++k) result[k] = samples[gather.index[k]];
}

// Calls row(src, dst) for all rows of a rectangle.
template <class F>
void forEachRow(const void *src, std::ptrdiff_t srcStride, void *dst, std::ptrdiff_t dstStride,
                std::ptrdiff_t rows, F row) {
    const char *s = static_cast<const char *>(src);
    char *d = static_cast<char *>(dst);
    for (std::ptrdiff_t r = 0; r < rows; ++r) row(s + r * srcStride, d + r * dstStride);
}

// Turns a row of n samples round, vector by vector, the source `forward` or from its
// end; the last vector overlaps the one before it. Reading in the direction in which
// the rows follow each other makes the reads one stream, which the processor fetches
// ahead. Rows shorter than a vector go sample by sample.
template <class T, class ReverseVector, class ReverseSample>
void reverseRow(const char *src, char *dst, std::ptrdiff_t n, bool forward,
                ReverseVector reverseVector, ReverseSample reverseSample) {
    constexpr std::ptrdiff_t N = LANES<T>, SIZE = sizeof(T);
    using V = Vector<T>;
    if (n < N) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            store(dst + i * SIZE, reverseSample(load<T>(src + (n - 1 - i) * SIZE)));
        }
        return;
    }
    auto vector = [&](std::ptrdiff_t i) {
        store(dst + (n - N - i) * SIZE, reverseVector(load<V>(src + i * SIZE)));
    };
    for (std::ptrdiff_t i = 0; i < n - N; i += N) vector(forward ? i : n - N - i);
    vector(forward ? n - N : 0);
}

Vector<u8> reversed(Vector<u8> v) {
#if defined(__AVX2__)
    return __builtin_shufflevector(v, v, 31, 30, 29, 28, 27, 26, 25, 24, 23, 22, 21, 20, 19, 18, 17,
                                   16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
#else
    return __builtin_shufflevector(v, v, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
#endif
}
Vector<u16> reversed(Vector<u16> v) {
#if defined(__AVX2__)
    return __builtin_shufflevector(v, v, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
#else
    return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
#endif
}
Vector<u32> reversed(Vector<u32> v) {
#if defined(__AVX2__)
    return __builtin_shufflevector(v, v, 7, 6, 5, 4, 3, 2, 1, 0);
#else
    return __builtin_shufflevector(v, v, 3, 2, 1, 0);
#endif
}

template <class T>
void reverseRows(const void *src, std::ptrdiff_t srcStride, void *dst, std::ptrdiff_t dstStride,
                 std::ptrdiff_t columns, std::ptrdiff_t rows) {
    forEachRow(src, srcStride, dst, dstStride, rows,
               [columns, forward = srcStride >= 0](const char *s, char *d) {
                   reverseRow<T>(
                       s, d, columns, forward, [](Vector<T> v) { return reversed(v); },
                       [](T sample) { return sample; });
               });
}

// The bits of every byte in reverse order.
template <class Bytes>
Bytes reversedBits(Bytes b) {
    b = (b >> 4 & 0x0F) | (b & 0x0F) << 4;
    b = (b >> 2 & 0x33) | (b & 0x33) << 2;
    return (b >> 1 & 0x55) | (b & 0x55) << 1;
}
#if defined(__AVX2__)
// The same by looking up either half of a byte.
template <>
Vector<u8> reversedBits(Vector<u8> b) {
    using Chars = Vector<char>;
    using Bytes = Vector<u8>;
    constexpr Chars LOW = {0,    -0x80, 0x40, -0x40, 0x20, -0x60, 0x60, -0x20,
                           0x10, -0x70, 0x50, -0x30, 0x30, -0x50, 0x70, -0x10,
                           0,    -0x80, 0x40, -0x40, 0x20, -0x60, 0x60, -0x20,
                           0x10, -0x70, 0x50, -0x30, 0x30, -0x50, 0x70, -0x10};
    constexpr Chars HIGH = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15,
                            0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
    auto lookUp = [](Chars table, Bytes half) {
        return reinterpret_cast<Bytes>(
            __builtin_ia32_pshufb256(table, reinterpret_cast<Chars>(half)));
    };
    return lookUp(LOW, b & 0x0F) | lookUp(HIGH, b >> 4 & 0x0F);
}
#endif

void reverseBits(const void *src, std::ptrdiff_t srcStride, void *dst, std::ptrdiff_t dstStride,
                 std::ptrdiff_t columns, std::ptrdiff_t rows) {
    using Byte = u8;
    forEachRow(src, srcStride, dst, dstStride, rows,
               [columns, forward = srcStride >= 0](const char *s, char *d) {
                   reverseRow<Byte>(
                       s, d, columns, forward,
                       [](Vector<Byte> v) { return reversedBits(reversed(v)); },
                       [](Byte b) { return static_cast<Byte>(reversedBits(unsigned{b})); });
               });
}

// Short rows are not worth a call each.
void copyRows(const void *src, std::ptrdiff_t srcStride, void *dst, std::ptrdiff_t dstStride,
              std::ptrdiff_t columns, std::ptrdiff_t rows) {
    constexpr std::ptrdiff_t SHORT = 512;
    forEachRow(src, srcStride, dst, dstStride, rows, [columns](const char *s, char *d) {
        if (columns < VECTOR_BYTES || columns > SHORT) {
            __builtin_memcpy(d, s, static_cast<std::size_t>(columns));
            return;
        }
        auto vector = [&](std::ptrdiff_t i) { store(d + i, load<Vector<u8>>(s + i)); };
        for (std::ptrdiff_t i = 0; i < columns - VECTOR_BYTES; i += VECTOR_BYTES) vector(i);
        vector(columns - VECTOR_BYTES);
    });
}

void gatherBits(const u8 *row, const s32 *index, u8 *out, std::ptrdiff_t n) {
    for (std::ptrdiff_t k = 0; k < n; ++k) {
        out[k] = static_cast<u8>(bitAt(row, index[k]));
    }
}

// --- transposing ---

using Lanes8 = SizedVector<u8, 16>;
using Lanes16 = SizedVector<u16, 16>;
using Lanes32 = SizedVector<u32, 16>;

// The lower or upper halves of two vectors, interleaved.
Lanes8 zipLow(Lanes8 a, Lanes8 b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
Lanes8 zipHigh(Lanes8 a, Lanes8 b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15,
                                   31);
}
Lanes16 zipLow(Lanes16 a, Lanes16 b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11);
}
Lanes16 zipHigh(Lanes16 a, Lanes16 b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
}
Lanes32 zipLow(Lanes32 a, Lanes32 b) {
    return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}
Lanes32 zipHigh(Lanes32 a, Lanes32 b) {
    return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}

// A square of as many rows as a vector has lanes. Every round interleaves row i
// with row i + half; after log2(lanes) rounds the square is transposed.
template <class T>
void transposeSquare(const char *src, std::ptrdiff_t srcStride, char *dst,
                     std::ptrdiff_t dstStride) {
    using V = SizedVector<T, 16>;
    constexpr int N = 16 / sizeof(T);
    V rows[N], zipped[N];
    for (int i = 0; i < N; ++i) rows[i] = load<V>(src + i * srcStride);
    for (int round = 1; round < N; round *= 2) {
        for (int i = 0; i < N / 2; ++i) {
            zipped[2 * i] = zipLow(rows[i], rows[i + N / 2]);
            zipped[2 * i + 1] = zipHigh(rows[i], rows[i + N / 2]);
        }
        for (int i = 0; i < N; ++i) rows[i] = zipped[i];
    }
    for (int i = 0; i < N; ++i) store(dst + i * dstStride, rows[i]);
}

// In tiles of as many rows and columns as samples fill a cache line, so that lines
// are used whole while they are in the nearest cache. The last squares overlap
// those before them.
template <class T>
void transposeRows(const void *src, std::ptrdiff_t srcStride, void *dst, std::ptrdiff_t dstStride,
                   std::ptrdiff_t columns, std::ptrdiff_t rows) {
    constexpr std::ptrdiff_t N = 16 / sizeof(T), SIZE = sizeof(T), TILE = 64 / SIZE;
    const char *from = static_cast<const char *>(src);
    char *to = static_cast<char *>(dst);
    if (columns < N || rows < N) {
        for (std::ptrdiff_t c = 0; c < columns; ++c) {
            for (std::ptrdiff_t r = 0; r < rows; ++r) {
                store(to + c * dstStride + r * SIZE, load<T>(from + r * srcStride + c * SIZE));
            }
        }
        return;
    }
    for (std::ptrdiff_t left = 0; left < columns; left += TILE) {
        const std::ptrdiff_t right = smaller(left + TILE, columns);
        for (std::ptrdiff_t top = 0; top < rows; top += TILE) {
            const std::ptrdiff_t bottom = smaller(top + TILE, rows);
            for (std::ptrdiff_t column = left; column < right; column += N) {
                const std::ptrdiff_t c = smaller(column, columns - N);
                for (std::ptrdiff_t row = top; row < bottom; row += N) {
                    const std::ptrdiff_t r = smaller(row, rows - N);
                    transposeSquare<T>(from + r * srcStride + c * SIZE, srcStride,
                                       to + c * dstStride + r * SIZE, dstStride);
                }
            }
        }
    }
}

} // namespace

const MoveKernels moveKernels = {{gatherRow<u8>, gatherRow<u16>, gatherRow<u32>},
                                 {reverseRows<u8>, reverseRows<u16>, reverseRows<u32>},
                                 {transposeRows<u8>, transposeRows<u16>, transposeRows<u32>},
                                 copyRows,
                                 reverseBits,
                                 gatherBits,
                                 packBits};

} // namespace zylqx::ZYLQX_LEVEL
