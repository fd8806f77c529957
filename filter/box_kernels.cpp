#include "filter/kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T, class U>
void addRow(const void *entering, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(entering);
    U *sums = static_cast<U *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) sums[i] += static_cast<U>(in[i]);
}

template <class T, class U>
void slideRow(const void *entering, const void *leaving, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(entering);
    const T *out = static_cast<const T *>(leaving);
    U *sums = static_cast<U *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        sums[i] += static_cast<U>(in[i]) - static_cast<U>(out[i]);
    }
}

typedef u32 Words __attribute__((vector_size(32)));
constexpr std::ptrdiff_t WORDS = 8;

// boxes[i] = boxes[i - 1] + columns[i - 1 + count] - columns[i - 1], eight at a
// time: each difference is added to those after it, and all to the box before.
// Returns how many were done.
std::ptrdiff_t slideWords(const u32 *columns, std::ptrdiff_t count, u32 *boxes, std::ptrdiff_t n) {
    const Words zero = {};
    Words before = zero + boxes[0];
    std::ptrdiff_t i = 1;
    for (; i + WORDS <= n; i += WORDS) {
        Words sum;
        Words leaving;
        __builtin_memcpy(&sum, columns + i - 1 + count, sizeof sum);
        __builtin_memcpy(&leaving, columns + i - 1, sizeof leaving);
        sum -= leaving;
        sum += __builtin_shufflevector(sum, zero, 8, 0, 1, 2, 3, 4, 5, 6);
        sum += __builtin_shufflevector(sum, zero, 8, 8, 0, 1, 2, 3, 4, 5);
        sum += __builtin_shufflevector(sum, zero, 8, 8, 8, 8, 0, 1, 2, 3);
        sum += before;
        before = __builtin_shufflevector(sum, sum, 7, 7, 7, 7, 7, 7, 7, 7);
        __builtin_memcpy(boxes + i, &sum, sizeof sum);
    }
    return i;
}

// `column(i)` is the sum of column i; boxes before `first` are done.
template <class U, class F>
void slideBoxes(F column, std::ptrdiff_t step, std::ptrdiff_t count, U *boxes, std::ptrdiff_t first,
                std::ptrdiff_t n) {
    const std::ptrdiff_t width = count * step;
    for (std::ptrdiff_t i = first; i < n; ++i) {
        boxes[i] = boxes[i - step] + column(i - step + width) - column(i - step);
    }
}

template <class U, class F>
void firstBoxes(F column, std::ptrdiff_t step, std::ptrdiff_t count, U *boxes, std::ptrdiff_t n) {
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        boxes[c] = 0;
        for (std::ptrdiff_t k = 0; k < count; ++k) boxes[c] += column(c + k * step);
    }
}

void boxSums(const u32 *columns, std::ptrdiff_t step, std::ptrdiff_t count, u32 *boxes,
             std::ptrdiff_t n) {
    const auto column = [columns](std::ptrdiff_t i) { return columns[i]; };
    firstBoxes<u32>(column, step, count, boxes, n);
    const std::ptrdiff_t first = step == 1 ? slideWords(columns, count, boxes, n) : step;
    slideBoxes<u32>(column, step, count, boxes, first, n);
}

// `single`: column sums are rounded to single precision.
void boxSumsWide(const s64 *columns, bool single, std::ptrdiff_t step, std::ptrdiff_t count,
                 s64 *boxes, std::ptrdiff_t n) {
    const auto column = [columns, single](std::ptrdiff_t i) {
        if (!single) return columns[i];
        // By way of double: some processors convert 64-bit integers to float with
        // more bits than a float has.
        return static_cast<s64>(static_cast<float>(static_cast<double>(columns[i])));
    };
    firstBoxes<s64>(column, step, count, boxes, n);
    slideBoxes<s64>(column, step, count, boxes, step, n);
}

// Sums of 32 bits come from samples of at most 16, so results are in the range.
template <class T>
void mean(const void *s, double factor, void *d, std::ptrdiff_t n) {
    const s32 *boxes = static_cast<const s32 *>(s);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i] = static_cast<T>(static_cast<s32>(static_cast<double>(boxes[i]) * factor));
    }
}

template <class T>
void meanWide(const void *s, double factor, void *d, std::ptrdiff_t n) {
    const s64 *boxes = static_cast<const s64 *>(s);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const double value = static_cast<double>(boxes[i]) * factor;
        out[i] = static_cast<T>(static_cast<s32>(clamp(value, -2147483648.0, 2147483647.0)));
    }
}

void atLeast(const u32 *boxes, u32 least, u8 *d, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i] = boxes[i] >= least ? 1 : 0;
}

} // namespace

extern const BoxKernels boxKernels;
const BoxKernels boxKernels = {
    .addRow = ZYLQX_SAMPLES(addRow, , u32),
    .slideRow = ZYLQX_SAMPLES(slideRow, , u32),
    .addRowWide = ZYLQX_SAMPLES(addRow, , s64),
    .slideRowWide = ZYLQX_SAMPLES(slideRow, , s64),
    .boxSums = boxSums,
    .boxSumsWide = boxSumsWide,
    .mean = ZYLQX_SAMPLES(mean),
    .meanWide = ZYLQX_SAMPLES(meanWide),
    .atLeast = atLeast,
};

} // namespace zylqx::ZYLQX_LEVEL
