// Cosine transforms of lines, a vector of lines at once.
//
// Powers of two halve the line, in single precision: sums and differences of mirrored
// samples give the even and the odd terms, each by a transform of half the length,
// with secants as factors. All other lengths are summed up directly, over folded
// samples and in double precision. The 8 x 8 case keeps its block in registers. Every
// sum has one order, so that all levels give the same bits.
#include "transform/cosine_sums.h"
#include "transform/kernels.h"
#include "transform/lanes.h"
#include "transform/samples.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// ---- Powers of two: sums and differences of a line's halves make its even and
// its odd terms, each by a transform of half the length.

// 0.5 / cos((2 j + 1) pi / (4 h)) for the half-lengths h = 1, 2 and 4.
constexpr float SECANTS_1[] = {0.70710678118654752f};
constexpr float SECANTS_2[] = {0.54119610014619698f, 1.3065629648763766f};
constexpr float SECANTS_4[] = {0.50979557910415917f, 0.60134488693504529f, 0.89997622313641570f,
                               2.5629154477415062f};

template <int H>
constexpr const float *smallSecants() {
    return H == 1 ? SECANTS_1 : H == 2 ? SECANTS_2 : SECANTS_4;
}

// N = 1, 2, 4 or 8 vectors of lines, in registers.
template <int N, class V>
inline void forwardSmall(V (&x)[N]) {
    if constexpr (N > 1) {
        constexpr int H = N / 2;
        V even[H];
        V odd[H];
        for (int j = 0; j < H; ++j) {
            even[j] = x[j] + x[N - 1 - j];
            odd[j] = (x[j] - x[N - 1 - j]) * smallSecants<H>()[j];
        }
        forwardSmall(even);
        forwardSmall(odd);
        for (int j = 0; j < H; ++j) {
            x[2 * j] = even[j];
            x[2 * j + 1] = j + 1 < H ? odd[j] + odd[j + 1] : odd[j];
        }
    }
}

template <int N, class V>
inline void inverseSmall(V (&x)[N]) {
    if constexpr (N > 1) {
        constexpr int H = N / 2;
        V even[H];
        V odd[H];
        for (int j = 0; j < H; ++j) {
            even[j] = x[2 * j];
            odd[j] = j > 0 ? x[2 * j + 1] + x[2 * j - 1] : x[1];
        }
        inverseSmall(even);
        inverseSmall(odd);
        for (int j = 0; j < H; ++j) {
            const V turned = odd[j] * smallSecants<H>()[j];
            x[j] = even[j] + turned;
            x[N - 1 - j] = even[j] - turned;
        }
    }
}

// Applies `small` to N rows of lanes.
template <int N, class V, class F>
inline void inRegisters(float *rows, std::ptrdiff_t lanes, F small) {
    for (std::ptrdiff_t lane = 0; lane < lanes; lane += std::ptrdiff_t{sizeof(V) / sizeof(float)}) {
        V x[N];
        for (int j = 0; j < N; ++j) x[j] = load<V>(rows + j * lanes + lane);
        small(x);
        for (int j = 0; j < N; ++j) store(rows + j * lanes + lane, x[j]);
    }
}

template <int N>
inline void forwardRows(float *rows) {
    inRegisters<N, Vector<float>>(rows, LINES, [](auto &x) { forwardSmall(x); });
}
template <int N>
inline void inverseRows(float *rows) {
    inRegisters<N, Vector<float>>(rows, LINES, [](auto &x) { inverseSmall(x); });
}

// Calls body(lane) for every vector of lines.
template <class F>
inline void eachVector(F body) {
    for (int lane = 0; lane < LINES; lane += LANES<float>) body(lane);
}

// In place, with as much spare memory.
void forwardHalves(float *rows, std::ptrdiff_t n, const float *secants, float *spare) {
    using V = Vector<float>;
    if (n == 2) return forwardRows<2>(rows);
    if (n == 4) return forwardRows<4>(rows);
    if (n == 8) return forwardRows<8>(rows);
    const std::ptrdiff_t h = n / 2;
    float *odd = spare + h * LINES;
    for (std::ptrdiff_t j = 0; j < h; ++j) {
        const float secant = secants[h - 8 + j];
        eachVector([&](int lane) {
            const V a = load<V>(rows + j * LINES + lane);
            const V b = load<V>(rows + (n - 1 - j) * LINES + lane);
            store(spare + j * LINES + lane, a + b);
            store(odd + j * LINES + lane, (a - b) * secant);
        });
    }
    forwardHalves(spare, h, secants, rows);
    forwardHalves(odd, h, secants, rows);
    for (std::ptrdiff_t j = 0; j < h; ++j) {
        eachVector([&](int lane) {
            const V term = load<V>(odd + j * LINES + lane);
            const V next = j + 1 < h ? load<V>(odd + (j + 1) * LINES + lane) : V{};
            float *to = rows + 2 * j * LINES + lane;
            store(to, load<V>(spare + j * LINES + lane));
            store(to + LINES, term + next);
        });
    }
}

void inverseHalves(float *rows, std::ptrdiff_t n, const float *secants, float *spare) {
    using V = Vector<float>;
    if (n == 2) return inverseRows<2>(rows);
    if (n == 4) return inverseRows<4>(rows);
    if (n == 8) return inverseRows<8>(rows);
    const std::ptrdiff_t h = n / 2;
    float *odd = spare + h * LINES;
    for (std::ptrdiff_t j = 0; j < h; ++j) {
        eachVector([&](int lane) {
            const float *from = rows + 2 * j * LINES + lane;
            const V before = j > 0 ? load<V>(from - LINES) : V{};
            store(spare + j * LINES + lane, load<V>(from));
            store(odd + j * LINES + lane, load<V>(from + LINES) + before);
        });
    }
    inverseHalves(spare, h, secants, rows);
    inverseHalves(odd, h, secants, rows);
    for (std::ptrdiff_t j = 0; j < h; ++j) {
        const float secant = secants[h - 8 + j];
        eachVector([&](int lane) {
            const V even = load<V>(spare + j * LINES + lane);
            const V turned = load<V>(odd + j * LINES + lane) * secant;
            store(rows + j * LINES + lane, even + turned);
            store(rows + (n - 1 - j) * LINES + lane, even - turned);
        });
    }
}

// ---- Direct summation: every other length

// SUMS sums, for the angles that `angleOf` gives for s = 0 .. SUMS - 1.
template <class F>
inline void sumRows(const double *rows, std::ptrdiff_t count, const DctTables &tables, F angleOf,
                    double *out) {
    Angle angles[SUMS];
    for (int s = 0; s < SUMS; ++s) angles[s] = angleOf(s);
    cosineSums(rows, count, LINES, tables.cosines, 1, 4 * tables.length, angles, out);
}

// Even terms see sums of a sample and its mirror image, odd terms differences.
void forwardDirectly(float *panel, const DctTables &tables, void *work) {
    const std::ptrdiff_t n = tables.length;
    const std::ptrdiff_t pairs = n / 2;
    double *sums = static_cast<double *>(work);
    double *differences = sums + (pairs + 1) * LINES;
    for (std::ptrdiff_t j = 0; j < pairs; ++j) {
        for (int i = 0; i < LINES; ++i) {
            const double a = panel[j * LINES + i];
            const double b = panel[(n - 1 - j) * LINES + i];
            sums[j * LINES + i] = a + b;
            differences[j * LINES + i] = a - b;
        }
    }
    for (int i = 0; i < LINES; ++i) sums[pairs * LINES + i] = panel[pairs * LINES + i];

    alignas(64) double out[SUMS * LINES];
    for (int parity = 0; parity < 2; ++parity) {
        const double *rows = parity == 0 ? sums : differences;
        const std::ptrdiff_t count = parity == 0 ? n - pairs : pairs;
        for (std::ptrdiff_t first = parity; first < n; first += 2 * SUMS) {
            const auto term = [&](int s) { return first + 2 * s; };
            sumRows(
                rows, count, tables,
                [&](int s) {
                    return term(s) < n ? Angle{term(s), 2 * term(s)} : Angle{0, 0};
                },
                out);
            for (int s = 0; s < SUMS && term(s) < n; ++s) {
                float *to = panel + term(s) * LINES;
                for (int i = 0; i < LINES; ++i) to[i] = float(out[s * LINES + i]);
            }
        }
    }
}

void inverseDirectly(float *panel, const DctTables &tables, void *work) {
    const std::ptrdiff_t n = tables.length;
    const std::ptrdiff_t samples = n - n / 2; // the others are mirror images
    double *even = static_cast<double *>(work);
    double *odd = even + samples * LINES;
    for (std::ptrdiff_t u = 0; u < n; ++u) {
        double *to = (u % 2 == 0 ? even : odd) + u / 2 * LINES;
        for (int i = 0; i < LINES; ++i) to[i] = panel[u * LINES + i];
    }
    alignas(64) double evenSums[SUMS * LINES];
    alignas(64) double oddSums[SUMS * LINES];
    for (std::ptrdiff_t first = 0; first < samples; first += SUMS) {
        const auto frequency = [&](int s) { return first + s < samples ? 2 * (first + s) + 1 : 0; };
        sumRows(
            even, samples, tables,
            [&](int s) {
                return Angle{0, 2 * frequency(s)};
            },
            evenSums);
        sumRows(
            odd, n / 2, tables,
            [&](int s) {
                return Angle{frequency(s), 2 * frequency(s)};
            },
            oddSums);
        for (int s = 0; s < SUMS && first + s < samples; ++s) {
            float *to = panel + (first + s) * LINES;
            float *mirrored = panel + (n - 1 - first - s) * LINES;
            for (int i = 0; i < LINES; ++i) {
                const double a = evenSums[s * LINES + i];
                const double b = oddSums[s * LINES + i];
                mirrored[i] = float(a - b);
                to[i] = float(a + b);
            }
        }
    }
}

// ---- Lines of any length, and their ways in and out

void forwardLines(float *panel, const DctTables &tables, void *work) {
    if (tables.cosines != nullptr) return forwardDirectly(panel, tables, work);
    if (tables.length == 1) return;
    forwardHalves(panel, tables.length, tables.secants, static_cast<float *>(work));
}

void inverseLines(float *panel, const DctTables &tables, void *work) {
    if (tables.cosines != nullptr) return inverseDirectly(panel, tables, work);
    if (tables.length == 1) return;
    inverseHalves(panel, tables.length, tables.secants, static_cast<float *>(work));
}

void scalePanel(float *panel, std::ptrdiff_t rows, const DctScale &factors) {
    for (int i = 0; i < LINES; ++i) panel[i] *= factors.first[i];
    for (std::ptrdiff_t y = 1; y < rows; ++y) {
        for (int i = 0; i < LINES; ++i) panel[y * LINES + i] *= factors.others[i];
    }
}

void rowsToColumns(const float *panel, std::ptrdiff_t columns, std::ptrdiff_t y, float *block,
                   std::ptrdiff_t panelRows) {
    for (std::ptrdiff_t x = 0; x < columns; x += LINES) {
        const float *lines[LINES];
        for (int i = 0; i < LINES; ++i) lines[i] = panel + (x + i) * LINES;
        transpose(lines, block + (x * panelRows + y * LINES), LINES);
    }
}

void storeColumns(const float *panel, std::ptrdiff_t rows, std::ptrdiff_t columns,
                  const Samples &to) {
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        STORE_ROUNDED[to.depth](panel + y * LINES, columns, to.data + y * to.stride, to.step);
    }
}

// ---- 8 x 8

// Factors that make the transform orthonormal: 1/8 for the mean, sqrt(2) / 8 for
// the rest of row 0 and column 0, 2/8 inside.
constexpr float EDGE = 0.17677669529663688f;
constexpr float FIRST_ROW[8] = {0.125f, EDGE, EDGE, EDGE, EDGE, EDGE, EDGE, EDGE};
constexpr float OTHER_ROWS[8] = {EDGE, 0.25f, 0.25f, 0.25f, 0.25f, 0.25f, 0.25f, 0.25f};

constexpr void (*STORE_BLOCK[])(const float (&rows)[8][8],
                                const Samples &to) = {nullptr,
                                                      storeRoundedBlock<u8>,
                                                      storeRoundedBlock<s8>,
                                                      storeRoundedBlock<u16>,
                                                      storeRoundedBlock<s16>,
                                                      storeRoundedBlock<s32>};

struct Block8x8 {
    alignas(64) float rows[8][8];

    void load(const Samples &from) { loadBlock<8>(from, rows); }
    void store(const Samples &to) const { STORE_BLOCK[to.depth](rows, to); }
    void scale() {
        for (int y = 0; y < 8; ++y) {
            const float *factors = y == 0 ? FIRST_ROW : OTHER_ROWS;
            for (int x = 0; x < 8; ++x) rows[y][x] *= factors[x];
        }
    }
    // Runs `small` down the columns, then along the rows.
    template <class F>
    void transform(F small) {
        using V = typename VectorOf < float, VECTOR_BYTES<32 ? VECTOR_BYTES : 32>::Type;
        Block8x8 turned;
        inRegisters<8, V>(rows[0], 8, small);
        transposeTo(turned);
        inRegisters<8, V>(turned.rows[0], 8, small);
        turned.transposeTo(*this);
    }
    void transposeTo(Block8x8 &to) const {
        const float *const lines[8] = {rows[0], rows[1], rows[2], rows[3],
                                       rows[4], rows[5], rows[6], rows[7]};
        transpose(lines, to.rows[0], 8);
    }
};

void forward8x8(const Samples &from, const Samples &to) {
    Block8x8 block;
    block.load(from);
    block.transform([](auto &x) { forwardSmall(x); });
    block.scale();
    block.store(to);
}

void inverse8x8(const Samples &from, const Samples &to) {
    Block8x8 block;
    block.load(from);
    block.scale();
    block.transform([](auto &x) { inverseSmall(x); });
    block.store(to);
}

} // namespace

const DctKernels dctKernels = {
    forwardLines,  inverseLines, loadRows<float>, scalePanel,
    rowsToColumns, storeColumns, forward8x8,      inverse8x8,
};

} // namespace zylqx::ZYLQX_LEVEL
