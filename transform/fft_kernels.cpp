// Fourier transforms of lines by halves, or by direct summation where there is no table
// of roots, and the ways from samples to panels of lines and back. Direct sums of floats
// are formed in double precision. Every sum has one order, so that all levels give the
// same bits.
#include "transform/cosine_sums.h"
#include "transform/halves.h"
#include "transform/kernels.h"
#include "transform/lanes.h"
#include "transform/samples.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// ---- Direct summation: every length that is not a power of two, and 1 and 2.

// With x(j) and x(length - j) folded, cosines meet sums and sines differences:
// gives emit(k, cosineSum, sineSum) for k = 0 .. length / 2. Both sums have
// `WIDTH` lines; the rows of `sums` and `differences` start at j = 1, and `zero`
// and `middle` (0 for odd lengths) are the samples without a partner.
template <int WIDTH, class F>
inline void foldedSums(const double *sums, const double *differences, const double *zero,
                       const double *middle, const FftTables<float> &tables, F emit) {
    const std::ptrdiff_t length = tables.length;
    const std::ptrdiff_t pairs = (length - 1) / 2;
    alignas(64) double cosines[SUMS * WIDTH];
    alignas(64) double sines[SUMS * WIDTH];
    for (std::ptrdiff_t first = 0; first <= length / 2; first += SUMS) {
        Angle angles[SUMS];
        for (int s = 0; s < SUMS; ++s) {
            const std::ptrdiff_t k = first + s <= length / 2 ? first + s : 0;
            angles[s] = {k, k};
        }
        cosineSums(sums, pairs, WIDTH, &tables.direct->c, 2, length, angles, cosines);
        cosineSums(differences, pairs, WIDTH, &tables.direct->s, 2, length, angles, sines);
        for (int s = 0; s < SUMS && first + s <= length / 2; ++s) {
            double *cosineSum = cosines + s * WIDTH;
            const double parity = (first + s) % 2 == 0 ? 1 : -1;
            for (int i = 0; i < WIDTH; ++i) cosineSum[i] += zero[i] + parity * middle[i];
            emit(first + s, cosineSum, sines + s * WIDTH);
        }
    }
}

// The sums and differences of the samples of a panel, for foldedSums().
template <int WIDTH>
struct Folded {
    double *sums;
    double *differences;
    double zero[WIDTH];
    double middle[WIDTH];

    Folded(const float *panel, std::ptrdiff_t length, void *work) {
        const std::ptrdiff_t pairs = (length - 1) / 2;
        sums = static_cast<double *>(work);
        differences = sums + pairs * WIDTH;
        for (std::ptrdiff_t j = 1; j <= pairs; ++j) {
            const float *row = panel + j * WIDTH;
            const float *partner = panel + (length - j) * WIDTH;
            for (int i = 0; i < WIDTH; ++i) {
                const double a = row[i];
                const double b = partner[i];
                sums[(j - 1) * WIDTH + i] = a + b;
                differences[(j - 1) * WIDTH + i] = a - b;
            }
        }
        for (int i = 0; i < WIDTH; ++i) {
            zero[i] = panel[i];
            middle[i] = length % 2 == 0 ? double{panel[length / 2 * WIDTH + i]} : 0.0;
        }
    }
};

void complexDirectly(float *panel, const FftTables<float> &tables, int sign, void *work) {
    const std::ptrdiff_t length = tables.length;
    const Folded<2 * LINES> folded(panel, length, work);
    foldedSums<2 * LINES>(folded.sums, folded.differences, folded.zero, folded.middle, tables,
                          [=](std::ptrdiff_t k, const double *cosineSum, const double *sineSum) {
                              float *row = panel + k * 2 * LINES;
                              float *mirrored = panel + (k == 0 ? 0 : length - k) * 2 * LINES;
                              // The mirrored term first: it is this one for k = 0 and length / 2,
                              // where the sine sums count with the right sign.
                              for (int i = 0; i < LINES; ++i) {
                                  const double turnedRe = -sign * sineSum[LINES + i];
                                  const double turnedIm = sign * sineSum[i];
                                  mirrored[i] = float(cosineSum[i] - turnedRe);
                                  mirrored[LINES + i] = float(cosineSum[LINES + i] - turnedIm);
                                  row[i] = float(cosineSum[i] + turnedRe);
                                  row[LINES + i] = float(cosineSum[LINES + i] + turnedIm);
                              }
                          });
}

void realDirectly(const float *panel, float *packed, const FftTables<float> &tables, int sign,
                  void *work) {
    const std::ptrdiff_t length = tables.length;
    const Folded<LINES> folded(panel, length, work);
    foldedSums<LINES>(folded.sums, folded.differences, folded.zero, folded.middle, tables,
                      [=](std::ptrdiff_t k, const double *cosineSum, const double *sineSum) {
                          float *re = packed + (k == 0 ? 0 : 2 * k - 1) * LINES;
                          for (int i = 0; i < LINES; ++i) re[i] = float(cosineSum[i]);
                          if (k == 0 || 2 * k == length) return;
                          float *im = packed + 2 * k * LINES;
                          for (int i = 0; i < LINES; ++i) im[i] = float(sign * sineSum[i]);
                      });
}

void packedDirectly(const float *packed, float *panel, const FftTables<float> &tables, int sign,
                    void *work) {
    const std::ptrdiff_t length = tables.length;
    const std::ptrdiff_t pairs = (length - 1) / 2;
    double *re = static_cast<double *>(work);
    double *im = re + pairs * LINES;
    for (std::ptrdiff_t k = 1; k <= pairs; ++k) {
        for (int i = 0; i < LINES; ++i) {
            re[(k - 1) * LINES + i] = 2.0 * packed[(2 * k - 1) * LINES + i];
            im[(k - 1) * LINES + i] = 2.0 * packed[2 * k * LINES + i];
        }
    }
    double zero[LINES];
    double middle[LINES];
    for (int i = 0; i < LINES; ++i) {
        zero[i] = packed[i];
        middle[i] = length % 2 == 0 ? double{packed[(length - 1) * LINES + i]} : 0.0;
    }
    foldedSums<LINES>(re, im, zero, middle, tables,
                      [=](std::ptrdiff_t j, const double *cosineSum, const double *sineSum) {
                          float *row = panel + j * LINES;
                          float *mirrored = panel + (j == 0 ? 0 : length - j) * LINES;
                          for (int i = 0; i < LINES; ++i) {
                              mirrored[i] = float(cosineSum[i] + sign * sineSum[i]);
                              row[i] = float(cosineSum[i] - sign * sineSum[i]);
                          }
                      });
}

// Fixed point adds floor(x * root / 2^14) term by term, so nothing is folded. The
// sum over `count` rows, the first of them j = firstRow, of the row times the
// cosine, or `sineSign` times the sine, of 2 pi j k / length.
using FixedLines = FixedMath<LINES>;
using FixedLanes = FixedLines::Lanes;

struct FixedSums {
    FixedLanes cosine = {};
    FixedLanes sine = {};
};

inline FixedSums fixedSums(const s32 *rows, std::ptrdiff_t count, std::ptrdiff_t stride,
                           const FftTables<s32> &tables, std::ptrdiff_t firstRow, std::ptrdiff_t k,
                           int sineSign) {
    FixedSums sums;
    std::ptrdiff_t at = firstRow * k;
    for (std::ptrdiff_t j = 0; j < count; ++j, at += k) {
        at -= at >= tables.length ? tables.length : 0;
        const auto root = tables.direct[at];
        const auto v = load<FixedLanes>(rows + j * stride);
        sums.cosine += FixedLines::timesExactly(v, root.c);
        sums.sine += FixedLines::timesExactly(v, sineSign * root.s);
    }
    return sums;
}

void complexDirectly(s32 *panel, const FftTables<s32> &tables, int sign, void *work) {
    const std::ptrdiff_t length = tables.length;
    auto *copy = static_cast<s32 *>(work);
    __builtin_memcpy(copy, panel, std::size_t(length) * 2 * LINES * sizeof *copy);
    for (std::ptrdiff_t k = 0; k < length; ++k) {
        for (int lane = 0; lane < LINES; lane += STEP<FixedLines>) {
            const auto re = fixedSums(copy + lane, length, 2 * LINES, tables, 0, k, sign);
            const auto im = fixedSums(copy + lane + LINES, length, 2 * LINES, tables, 0, k, -sign);
            s32 *row = panel + k * 2 * LINES + lane;
            store(row, re.cosine + im.sine);
            store(row + LINES, im.cosine + re.sine);
        }
    }
}

void realDirectly(const s32 *panel, s32 *packed, const FftTables<s32> &tables, int sign, void *) {
    const std::ptrdiff_t length = tables.length;
    for (std::ptrdiff_t k = 0; k <= length / 2; ++k) {
        for (int lane = 0; lane < LINES; lane += STEP<FixedLines>) {
            const auto sums = fixedSums(panel + lane, length, LINES, tables, 0, k, sign);
            store(packed + (k == 0 ? 0 : 2 * k - 1) * LINES + lane, sums.cosine);
            if (k == 0 || 2 * k == length) continue;
            store(packed + 2 * k * LINES + lane, sums.sine);
        }
    }
}

void packedDirectly(const s32 *packed, s32 *panel, const FftTables<s32> &tables, int sign, void *) {
    const std::ptrdiff_t length = tables.length;
    const std::ptrdiff_t pairs = (length - 1) / 2;
    for (std::ptrdiff_t j = 0; j < length; ++j) {
        for (int lane = 0; lane < LINES; lane += STEP<FixedLines>) {
            const s32 *at = packed + lane;
            const auto re = fixedSums(at + LINES, pairs, 2 * LINES, tables, 1, j, sign);
            const auto im = fixedSums(at + 2 * LINES, pairs, 2 * LINES, tables, 1, j, -sign);
            auto sum = load<FixedLanes>(at) + 2 * (re.cosine + im.sine);
            if (length % 2 == 0) {
                const auto last = load<FixedLanes>(at + (length - 1) * LINES);
                sum = j % 2 == 0 ? sum + last : sum - last;
            }
            store(panel + j * LINES + lane, sum);
        }
    }
}

// ---- Lines of any length

template <class Math>
void complexLines(typename Math::Value *panel, const FftTables<typename Math::Value> &tables,
                  int sign, void *work) {
    if (tables.roots == nullptr) return complexDirectly(panel, tables, sign, work);
    if (sign < 0) return decimate<Math, false, false>(panel, tables.length, tables.roots, 1);
    decimate<Math, true, true>(panel, tables.length, tables.roots, 1);
}

template <class Math>
void realLines(typename Math::Value *panel, typename Math::Value *packed,
               const FftTables<typename Math::Value> &tables, int sign, void *work) {
    if (tables.roots == nullptr) return realDirectly(panel, packed, tables, sign, work);
    realByHalves<Math>(panel, packed, tables, sign);
}

template <class Math>
void packedLines(const typename Math::Value *packed, typename Math::Value *panel,
                 const FftTables<typename Math::Value> &tables, int sign, void *work) {
    if (tables.roots == nullptr) return packedDirectly(packed, panel, tables, sign, work);
    packedByHalves<Math>(packed, panel, tables, sign);
}

// ---- Samples and panels

template <class S>
void storeRows(const S *panel, const s32 *order, std::ptrdiff_t rows, std::ptrdiff_t columns,
               const FftFinish &finish, const Samples &to) {
    alignas(64) S tile[LINES][TILE_COLUMNS];
    for (std::ptrdiff_t x = 0; x < columns; x += TILE_COLUMNS) {
        const std::ptrdiff_t n = smaller(columns - x, TILE_COLUMNS);
        for (std::ptrdiff_t i = 0; i < n; i += LINES) {
            const S *lines[LINES];
            for (int j = 0; j < LINES; ++j) {
                lines[j] = panel + sampleRow(order, smaller(x + i + j, columns - 1)) * LINES;
            }
            transpose(lines, tile[0] + i, TILE_COLUMNS);
        }
        unsigned char *out = to.data + x * columnBytes(to);
        for (std::ptrdiff_t y = 0; y < rows; ++y) {
            STORE_ROW<S>[to.depth](tile[y], n, finish, out + y * to.stride, to.step);
        }
    }
}

template <class S>
void loadPairs(const Samples &from, std::ptrdiff_t rows, std::ptrdiff_t pairs, S *panel) {
    alignas(64) S pair[2 * LINES] = {};
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        LOAD_ROW<S>[from.depth](from.data + y * from.stride, from.step, 2 * pairs, pair);
        S *row = panel + y * 2 * LINES;
        for (int i = 0; i < LINES; ++i) {
            row[i] = pair[2 * i];
            row[LINES + i] = pair[2 * i + 1];
        }
    }
}

template <class S>
void storePairs(const S *panel, const s32 *order, std::ptrdiff_t rows, std::ptrdiff_t pairs,
                const FftFinish &finish, const Samples &to) {
    alignas(64) S pair[2 * LINES];
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        const S *row = panel + termRow(order, y) * 2 * LINES;
        for (int i = 0; i < LINES; ++i) {
            pair[2 * i] = row[i];
            pair[2 * i + 1] = row[LINES + i];
        }
        STORE_ROW<S>[to.depth](pair, 2 * pairs, finish, to.data + y * to.stride, to.step);
    }
}

template <class S>
void loadColumn(const Samples &from, std::ptrdiff_t rows, S *lane) {
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        LOAD_ROW<S>[from.depth](from.data + y * from.stride, 1, 1, lane + y * LINES);
    }
}

template <class S>
void storeColumn(const S *lane, std::ptrdiff_t rows, const FftFinish &finish, const Samples &to) {
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        STORE_ROW<S>[to.depth](lane + y * LINES, 1, finish, to.data + y * to.stride, 1);
    }
}

template <class S>
void rowsToColumns(const S *packed, std::ptrdiff_t length, std::ptrdiff_t y,
                   const SpectrumBlock<S> &block, S *edges) {
    alignas(64) static constexpr S ZEROS[LINES] = {};
    for (int i = 0; i < LINES; ++i) {
        S *edge = edges + (y + i) * LINES;
        for (int line = 0; line < LINES; ++line) edge[line] = 0;
        edge[0] = packed[i];
        if (length % 2 == 0) edge[1] = packed[(length - 1) * LINES + i];
    }
    for (std::ptrdiff_t p = 0; p < block.panels(); ++p) {
        for (int part = 0; part < 2; ++part) {
            const S *lines[LINES];
            for (int i = 0; i < LINES; ++i) {
                const std::ptrdiff_t column = p * LINES + i;
                lines[i] =
                    column < block.columns ? packed + (1 + 2 * column + part) * LINES : ZEROS;
            }
            transpose(lines, block.panel(p) + y * 2 * LINES + part * LINES, 2 * LINES);
        }
    }
}

template <class S>
void columnsToRows(const SpectrumBlock<S> &block, const S *edges, const s32 *order,
                   std::ptrdiff_t y, std::ptrdiff_t rows, S *packed, std::ptrdiff_t length) {
    std::ptrdiff_t at[LINES];
    for (int i = 0; i < LINES; ++i) at[i] = smaller(y + i, rows - 1);
    for (std::ptrdiff_t p = 0; p < block.panels(); ++p) {
        for (int part = 0; part < 2; ++part) {
            const S *lines[LINES];
            for (int i = 0; i < LINES; ++i) {
                lines[i] = block.panel(p) + (termRow(order, at[i]) * 2 + part) * LINES;
            }
            transpose(lines, packed + (1 + 2 * p * LINES + part) * LINES, 2 * LINES);
        }
    }
    for (int i = 0; i < LINES; ++i) {
        const S *edge = edges + sampleRow(order, at[i]) * LINES;
        packed[i] = edge[0];
        if (length % 2 == 0) packed[(length - 1) * LINES + i] = edge[1];
    }
}

template <class Math>
constexpr FftKernels<typename Math::Value> KERNELS = {
    {complexLines<Math>, realLines<Math>, packedLines<Math>},
    loadRows<typename Math::Value>,
    storeRows<typename Math::Value>,
    loadPairs<typename Math::Value>,
    storePairs<typename Math::Value>,
    loadColumn<typename Math::Value>,
    storeColumn<typename Math::Value>,
    rowsToColumns<typename Math::Value>,
    columnsToRows<typename Math::Value>,
};

} // namespace

const FftKernels<float> floatFftKernels = KERNELS<FloatMath<LINES>>;
const FftKernels<s32> fixedFftKernels = KERNELS<FixedMath<LINES>>;

} // namespace zylqx::ZYLQX_LEVEL
