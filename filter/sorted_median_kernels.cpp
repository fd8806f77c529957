// Medians of small squares of pixels, from sorted lists that they share: nothing but
// comparisons, so that results are samples as they came.
//
// Squares beside each other are made of the same columns. Columns are sorted once, pairs
// of them are merged, pairs of pairs and so on: the list of the columns that start at
// one pixel is used by several squares. Squares below each other share most of their
// rows: a tile of a few rows sorts what all of its squares hold, then adds to its upper
// and to its lower half the rows that all squares of the half hold, down to single ones.
// With every step there are fewer samples to come, and only those places of a list are
// kept that may still be the median's.
//
// Two lists, the first one reversed, fall and then rise. Comparing such a sequence with
// itself, half its length away, makes two of which no value of the lower one is larger
// than any of the upper one, and which rise and fall at most once each. Sizes are known
// to the compiler, which drops comparisons for places that nobody asks for.
#include "filter/sorted_median_kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

#define ZYLQX_ALWAYS_INLINE inline __attribute__((always_inline))

// How many medians are made at once. Vectors that the compiler would make of single
// samples are as many times the code.
#if defined(__SSE2__) || defined(__ARM_NEON) || defined(__ALTIVEC__) || defined(__VX__) ||         \
    defined(__wasm_simd128__)
template <class T>
using Values = Vector<T>;
template <class T>
constexpr std::ptrdiff_t COUNT = LANES<T>;
#else
template <class T>
using Values = T;
template <class T>
constexpr std::ptrdiff_t COUNT = 1;
#endif

template <int N>
struct Number {
    static constexpr int VALUE = N;
};

// f(Number<0>()) to f(Number<N - 1>()): places that the compiler knows, so that values
// are no array in memory.
template <int N, class F>
ZYLQX_ALWAYS_INLINE void forEach(F f) {
    if constexpr (N > 0) {
        forEach<N - 1>(f);
        f(Number<N - 1>());
    }
}

template <class V, int N>
struct List {
    V at[N];
};

// The largest power of two up to n.
constexpr int powerUpTo(int n) {
    int power = 1;
    while (2 * power <= n) power *= 2;
    return power;
}

// Puts N values in order that fall and then rise.
template <int N, class V>
ZYLQX_ALWAYS_INLINE void settle(V *v) {
    if constexpr (N > 1) {
        constexpr int HALF = powerUpTo(N - 1);
        forEach<N - HALF>([v](auto i) {
            V &low = v[i.VALUE];
            V &high = v[i.VALUE + HALF];
            const V a = low;
            low = smaller(a, high);
            high = larger(a, high);
        });
        settle<HALF>(v);
        settle<N - HALF>(v + HALF);
    }
}

template <int A, int B, class V>
ZYLQX_ALWAYS_INLINE void merge(const List<V, A> &a, const List<V, B> &b, List<V, A + B> &out) {
    forEach<A>([&](auto i) { out.at[i.VALUE] = a.at[A - 1 - i.VALUE]; });
    forEach<B>([&](auto i) { out.at[A + i.VALUE] = b.at[i.VALUE]; });
    settle<A + B>(out.at);
}

template <int N, class V>
ZYLQX_ALWAYS_INLINE void sort(List<V, N> &list) {
    if constexpr (N > 1) {
        constexpr int HALF = N / 2;
        List<V, HALF> a;
        List<V, N - HALF> b;
        forEach<HALF>([&](auto i) { a.at[i.VALUE] = list.at[i.VALUE]; });
        forEach<N - HALF>([&](auto i) { b.at[i.VALUE] = list.at[HALF + i.VALUE]; });
        sort(a);
        sort(b);
        merge(a, b, list);
    }
}

// Those of a list from place FIRST on.
template <int FIRST, int N, int ALL, class V>
ZYLQX_ALWAYS_INLINE void keep(const List<V, ALL> &list, List<V, N> &kept) {
    forEach<N>([&](auto i) { kept.at[i.VALUE] = list.at[FIRST + i.VALUE]; });
}

// Rows of samples, `stride` samples apart: a list of values for each pixel.
template <class T>
struct Rows {
    T *first;
    std::ptrdiff_t stride;

    T *row(std::ptrdiff_t i) const { return first + i * stride; }
    template <int N>
    ZYLQX_ALWAYS_INLINE void read(std::ptrdiff_t x, List<Values<T>, N> &list) const {
        forEach<N>([&](auto i) { list.at[i.VALUE] = load<Values<T>>(row(i.VALUE) + x); });
    }
    template <int N>
    ZYLQX_ALWAYS_INLINE void write(std::ptrdiff_t x, const List<Values<T>, N> &list) const {
        forEach<N>([&](auto i) { store(row(i.VALUE) + x, list.at[i.VALUE]); });
    }
};

// f(x) for vectors of n samples; the last one overlaps the one before.
template <class T, class F>
ZYLQX_ALWAYS_INLINE void forVectors(std::ptrdiff_t n, F f) {
    for (std::ptrdiff_t x = 0; x < n - COUNT<T>; x += COUNT<T>) f(x);
    f(n - COUNT<T>);
}

// A strip of squares of SIDE x SIDE pixels.
template <class T, int SIDE>
class Squares {
    using V = Values<T>;
    static constexpr int RANK = SIDE * SIDE / 2;
    static constexpr int MOST = powerUpTo(SIDE);
    // Rows of the lists of 1, 2, 4 ... MOST columns, each of as many rows of samples.
    static constexpr int listRows(int rows) { return rows * (2 * MOST - 1); }
    // What is added for the halves of a tile, for their halves and so on.
    static constexpr int addedRows(int tile) {
        return tile == 1 ? 0 : 2 * (listRows(tile / 2) + addedRows(tile / 2));
    }

  public:
    static constexpr int LIST_ROWS = listRows(SIDE - SQUARE_ROWS + 1) + addedRows(SQUARE_ROWS);

    Squares(std::ptrdiff_t step, T *work, std::ptrdiff_t stride)
        : step_(step), lists_{work, stride} {}

    // `n` pixels, at least a vector of them.
    void run(const T *const *rows, T *const *d, std::ptrdiff_t n) {
        rows_ = rows;
        d_ = d;
        n_ = n;
        constexpr int COMMON = SIDE - SQUARE_ROWS + 1;
        makeLists<COMMON>(SQUARE_ROWS - 1, lists_);
        addLists<SQUARE_ROWS>(0, after<COMMON>(lists_));
        forVectors<T>(
            n, [this](std::ptrdiff_t x) __attribute__((always_inline)) {
                List<V, COMMON * SIDE> all;
                read<SIDE, COMMON>(lists_, x, all);
                descend<SQUARE_ROWS, COMMON * SIDE, RANK>(all, 0, after<COMMON>(lists_), x);
            });
    }

  private:
    template <int ROWS>
    Rows<T> after(const Rows<T> &lists) const {
        return {lists.row(listRows(ROWS)), lists.stride};
    }

    // The lists of ROWS rows from row y on.
    template <int ROWS>
    void makeLists(std::ptrdiff_t y, const Rows<T> &lists) {
        forVectors<T>(n_ + (SIDE - 1) * step_, [&](std::ptrdiff_t x) {
            List<V, ROWS> column;
            forEach<ROWS>([&](auto i) { column.at[i.VALUE] = load<V>(rows_[y + i.VALUE] + x); });
            sort(column);
            lists.write(x, column);
        });
        joinLists<1, ROWS>(lists);
    }
    // The lists of twice as many columns, from those of SIZE on.
    template <int SIZE, int ROWS>
    void joinLists(const Rows<T> &lists) {
        if constexpr (SIZE < MOST) {
            const Rows<T> joined = {lists.row(SIZE * ROWS), lists.stride};
            forVectors<T>(n_ + (SIDE - 2 * SIZE) * step_, [&](std::ptrdiff_t x) {
                List<V, SIZE * ROWS> a;
                List<V, SIZE * ROWS> b;
                List<V, 2 * SIZE * ROWS> both;
                lists.read(x, a);
                lists.read(x + SIZE * step_, b);
                merge(a, b, both);
                joined.write(x, both);
            });
            joinLists<2 * SIZE, ROWS>(joined);
        }
    }
    // The lists of the rows that halves of a tile add, in the order of descend().
    template <int ROWS>
    void addLists(std::ptrdiff_t y, Rows<T> lists) {
        if constexpr (ROWS > 1) {
            constexpr int HALF = ROWS / 2;
            for (int lower = 0; lower < 2; ++lower) {
                makeLists<HALF>(lower != 0 ? y + SIDE : y + HALF - 1, lists);
                lists = after<HALF>(lists);
                addLists<HALF>(y + lower * HALF, lists);
                lists = {lists.row(addedRows(HALF)), lists.stride};
            }
        }
    }

    // The list of COLUMNS columns at x.
    template <int COLUMNS, int ROWS>
    ZYLQX_ALWAYS_INLINE void read(const Rows<T> &lists, std::ptrdiff_t x,
                                  List<V, COLUMNS * ROWS> &list) const {
        constexpr int SIZE = powerUpTo(COLUMNS);
        const Rows<T> sized = {lists.row((SIZE - 1) * ROWS), lists.stride};
        if constexpr (SIZE == COLUMNS) {
            sized.read(x, list);
        } else {
            List<V, SIZE * ROWS> a;
            List<V, (COLUMNS - SIZE) * ROWS> b;
            sized.read(x, a);
            read<COLUMNS - SIZE, ROWS>(lists, x + SIZE * step_, b);
            merge(a, b, list);
        }
    }

    // Medians of the rows of a tile from y on, which have `list` in common: the median
    // is of this rank in it and all that is added.
    template <int ROWS, int N, int THE_RANK>
    ZYLQX_ALWAYS_INLINE void descend(const List<V, N> &list, int y, Rows<T> lists,
                                     std::ptrdiff_t x) const {
        if constexpr (ROWS == 1) {
            store(d_[y] + x, list.at[THE_RANK]);
        } else {
            constexpr int HALF = ROWS / 2;
            constexpr int MISSING = (ROWS - 1) * SIDE;
            constexpr int FIRST = THE_RANK > MISSING ? THE_RANK - MISSING : 0;
            constexpr int LAST = THE_RANK < N ? THE_RANK : N - 1;
            List<V, LAST - FIRST + 1> kept;
            keep<FIRST>(list, kept);
            for (int lower = 0; lower < 2; ++lower) {
                List<V, HALF * SIDE> added;
                List<V, LAST - FIRST + 1 + HALF * SIDE> both;
                read<SIDE, HALF>(lists, x, added);
                lists = after<HALF>(lists);
                merge(kept, added, both);
                descend<HALF, LAST - FIRST + 1 + HALF * SIDE, THE_RANK - FIRST>(
                    both, y + lower * HALF, lists, x);
                lists = {lists.row(addedRows(HALF)), lists.stride};
            }
        }
    }

    const std::ptrdiff_t step_;
    const Rows<T> lists_;
    const T *const *rows_ = nullptr;
    T *const *d_ = nullptr;
    std::ptrdiff_t n_ = 0;
};

template <class T, int SIDE>
void medianSorted(const void *const *rows, std::ptrdiff_t step, void *const *d, void *work,
                  std::ptrdiff_t stride, std::ptrdiff_t n) {
    static_assert(Squares<T, SIDE>::LIST_ROWS == squareListRows(SIDE));
    constexpr int SOURCES = SIDE + SQUARE_ROWS - 1;
    constexpr std::ptrdiff_t BLOCK = SQUARE_BLOCK / sizeof(T);
    const std::ptrdiff_t samples = stride / static_cast<std::ptrdiff_t>(sizeof(T));
    T *w = static_cast<T *>(work);
    Squares<T, SIDE> squares(step, w, samples);
    const T *from[SOURCES];
    T *to[SQUARE_ROWS];
    if (n < COUNT<T>) {
        // Rows are shorter than a vector: by way of copies.
        w += Squares<T, SIDE>::LIST_ROWS * samples;
        const std::ptrdiff_t count = n + (SIDE - 1) * step;
        for (int r = 0; r < SOURCES; ++r, w += samples) {
            __builtin_memcpy(w, rows[r], static_cast<std::size_t>(count) * sizeof(T));
            from[r] = w;
        }
        for (int r = 0; r < SQUARE_ROWS; ++r, w += samples) to[r] = w;
        squares.run(from, to, COUNT<T>);
        for (int r = 0; r < SQUARE_ROWS; ++r)
            __builtin_memcpy(d[r], to[r], static_cast<std::size_t>(n) * sizeof(T));
        return;
    }
    const std::ptrdiff_t width = smaller(BLOCK, n);
    for (std::ptrdiff_t x = 0; x < n; x += width) {
        x = smaller(x, n - width);
        for (int r = 0; r < SOURCES; ++r) from[r] = static_cast<const T *>(rows[r]) + x;
        for (int r = 0; r < SQUARE_ROWS; ++r) to[r] = static_cast<T *>(d[r]) + x;
        squares.run(from, to, width);
    }
}

} // namespace

const SortedMedianKernels sortedMedianKernels = {
    .ofSquares = {ZYLQX_SAMPLES(medianSorted, , 5), ZYLQX_SAMPLES(medianSorted, , 7),
                  ZYLQX_SAMPLES(medianSorted, , 9)},
};

} // namespace zylqx::ZYLQX_LEVEL
