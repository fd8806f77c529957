// Fourier transforms of whole blocks of 8 x 8 or 16 x 16 samples, without memory of
// their own: the passes of halves.h on panels as wide as the block, with tables that are
// constants. The values are those of larger regions, bit by bit.
#include "transform/halves.h"
#include "transform/kernels.h"
#include "transform/lanes.h"
#include "transform/samples.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// cos(pi k / 8)
constexpr double cosineOfEighths(int k) {
    constexpr double QUARTER[] = {1, 0.92387953251128674, 0.70710678118654752, 0.38268343236508977,
                                  0};
    const int half = k % 16 < 8 ? k % 16 : 16 - k % 16;
    return half <= 4 ? QUARTER[half] : -QUARTER[8 - half];
}
constexpr double sineOfEighths(int k) {
    return cosineOfEighths(k + 12);
}

// The tables of the length N, 8 or 16.
template <class S, int N>
struct ConstantTables {
    Root<S> roots[N];
    Root<float> split[N / 4];
    s32 order[N];

    constexpr ConstantTables() : roots(), split(), order() {
        constexpr double UNIT = S(0.5) == 0 ? 16384 : 1; // of fixed-point roots, truncated
        for (int k = 0; k < N; ++k) {
            const double c = cosineOfEighths(k * (16 / N));
            const double s = sineOfEighths(k * (16 / N));
            roots[k] = {S(c * UNIT), S(s * UNIT)};
            if (k > 0 && k <= N / 4) split[k - 1] = {float(0.5 * c), float(0.5 * (1 - s))};
            for (int bit = 1; bit < N; bit *= 2) order[k] = 2 * order[k] + (k / bit) % 2;
        }
    }
};

template <class S, int N>
constexpr ConstantTables<S, N> TABLES;

template <class S, int N>
FftTables<S> tablesOf() {
    const auto &constants = TABLES<S, N>;
    FftTables<S> tables;
    tables.length = N;
    tables.roots = constants.roots;
    tables.order = constants.order;
    if constexpr (S(0.5) != 0) tables.split = constants.split; // floating point alone
    return tables;
}

template <template <int> class Math, int N>
struct BlockTransform {
    using S = typename Math<N>::Value;
    using Rows = S[N][N];

    // The columns in the middle are complex lines, their real parts in front of the
    // imaginary ones; the two edges are real lines.
    static constexpr int COMPLEX = N / 2;
    static constexpr int PAIRS = N / 2 - 1;
    static constexpr int EDGES = 4;

    static constexpr S *first(Rows &rows) { return rows[0]; }

    static void realToPacked(const Samples &from, const FftFinish &finish, int sign,
                             const Samples &to) {
        const FftTables<S> tables = tablesOf<S, N>();
        alignas(64) S rows[N][N];
        alignas(64) S panel[N][N];
        alignas(64) S edges[N][EDGES];
        alignas(64) S packedEdges[N][EDGES];
        loadBlock<N>(from, rows);
        turn(
            rows, [](int x) { return x; }, panel);
        realByHalves<Math<N>>(first(panel), first(rows), tables, sign);

        const S *edgeLines[EDGES] = {rows[0], rows[N - 1], rows[0], rows[N - 1]};
        for (int y = 0; y < N; y += EDGES) {
            const S *lines[EDGES];
            for (int i = 0; i < EDGES; ++i) lines[i] = edgeLines[i] + y;
            transpose(lines, edges[y], EDGES);
        }
        realByHalves<Math<EDGES>>(edges[0], packedEdges[0], tables, sign);

        turn(rows, termOf, panel);
        complexLines(first(panel), tables, sign);
        for (int y = 0; y < N; ++y) {
            const S *terms = panel[tables.order[y]];
            rows[y][0] = packedEdges[y][0];
            for (int i = 0; i < PAIRS; ++i) {
                rows[y][1 + 2 * i] = terms[i];
                rows[y][2 + 2 * i] = terms[COMPLEX + i];
            }
            rows[y][N - 1] = packedEdges[y][1];
        }
        storeBlock<N>(rows, finish, to);
    }

    static void packedToReal(const Samples &from, const FftFinish &finish, int sign,
                             const Samples &to) {
        const FftTables<S> tables = tablesOf<S, N>();
        alignas(64) S rows[N][N];
        alignas(64) S panel[N][N];
        alignas(64) S edges[N][EDGES];
        alignas(64) S packedEdges[N][EDGES] = {};
        loadBlock<N>(from, rows);
        for (int y = 0; y < N; ++y) {
            packedEdges[y][0] = rows[y][0];
            packedEdges[y][1] = rows[y][N - 1];
            for (int i = 0; i < PAIRS; ++i) {
                panel[y][i] = rows[y][1 + 2 * i];
                panel[y][COMPLEX + i] = rows[y][2 + 2 * i];
            }
            panel[y][PAIRS] = 0;
            panel[y][N - 1] = 0;
        }
        packedByHalves<Math<EDGES>>(packedEdges[0], edges[0], tables, sign);
        complexLines(first(panel), tables, sign);

        alignas(64) S turned[N][N];
        turn(
            panel, [&](int y) { return tables.order[y]; }, turned);
        for (int i = 0; i < PAIRS; ++i) {
            __builtin_memcpy(rows[1 + 2 * i], turned[i], sizeof turned[i]);
            __builtin_memcpy(rows[2 + 2 * i], turned[COMPLEX + i], sizeof turned[i]);
        }
        for (int y = 0; y < N; ++y) {
            const S *edge = edges[sampleRow(tables.order, y)];
            rows[0][y] = edge[0];
            rows[N - 1][y] = edge[1];
        }
        packedByHalves<Math<N>>(first(rows), first(panel), tables, sign);
        turn(
            panel, [&](int x) { return sampleRow(tables.order, x); }, rows);
        storeBlock<N>(rows, finish, to);
    }

  private:
    // The row of a packed panel that is lane `lane` of the complex columns. What fills
    // the lanes behind the pairs does not matter.
    static constexpr int termOf(int lane) {
        return lane < COMPLEX ? 1 + 2 * lane : 2 * (lane - COMPLEX + 1) % N;
    }

    // Row i of `from`, chosen by `rowOf`, becomes column i.
    template <class F>
    static void turn(const Rows &from, F rowOf, Rows &to) {
        const S *lines[N];
        for (int i = 0; i < N; ++i) lines[i] = from[rowOf(i)];
        transpose(lines, to[0], N);
    }

    static void complexLines(S *panel, const FftTables<S> &tables, int sign) {
        using Columns = Math<COMPLEX>;
        if (sign < 0) return decimate<Columns, false, false>(panel, N, tables.roots, 1);
        decimate<Columns, true, true>(panel, N, tables.roots, 1);
    }
};

template <template <int> class Math>
constexpr BlockKernels KERNELS = {
    {BlockTransform<Math, 8>::realToPacked, BlockTransform<Math, 8>::packedToReal},
    {BlockTransform<Math, 16>::realToPacked, BlockTransform<Math, 16>::packedToReal},
};

} // namespace

const BlockKernels floatBlockKernels = KERNELS<FloatMath>;
const BlockKernels fixedBlockKernels = KERNELS<FixedMath>;

} // namespace zylqx::ZYLQX_LEVEL
