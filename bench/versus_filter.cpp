// Convolution, blur, rank filters and morphology.

#include <functional>
#include <memory>
#include <vector>

#include "rows.h"

namespace bench {

namespace {

using Filter = std::function<void(ZylImage *s, ZylImage *d)>;
using KernelPointer = std::shared_ptr<ZylConvKernel>;

// Clock cycles for each pixel that the arithmetic takes at least, as Row has them: of
// vectors of 32 samples of 8 bits, 16 of 16 bits, or 256 of one bit.
struct Cycles {
    double bytes, words, bits;
};
constexpr Cycles operations(double bytes, double words, double bits = 0) {
    return {bytes / 3 / 32, words / 3 / 16, bits / 3 / 256};
}

struct NamedFilter {
    std::string name;
    Filter call;
    Cycles cycles;
    bool bits = false; // also for 1-bit pictures
};

KernelPointer kernel(int rows, int columns, const std::vector<std::int8_t> &values, int shift) {
    return {zylCreateConvKernel(rows, columns, columns / 2, rows / 2, values.data(), shift),
            zylDeleteConvKernel};
}

Filter convolution(int rows, int columns, const std::vector<std::int8_t> &values, int shift) {
    const KernelPointer k = kernel(rows, columns, values, shift);
    return [k](ZylImage *s, ZylImage *d) {
        ZylConvKernel *const kernels[] = {k.get()};
        zylConvolve2D(s, d, kernels, 1, ZYL_SUM, nullptr);
    };
}

Filter separable() {
    const std::vector<std::int8_t> values = {1, 4, 6, 4, 1};
    const KernelPointer x = kernel(1, 5, values, 8);
    const KernelPointer y = kernel(5, 1, values, 0);
    return [x, y](ZylImage *s, ZylImage *d) { zylConvolveSep2D(s, d, x.get(), y.get()); };
}

using BoxFilter = void (*)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                           std::int32_t, const ZylTileMapping *);

Filter box(BoxFilter filter, int side) {
    return [filter, side](ZylImage *s, ZylImage *d) {
        filter(s, d, side, side, side / 2, side / 2, nullptr);
    };
}

// What is counted is what the library's own way of computing them asks for.
std::vector<NamedFilter> filters() {
    return {
        // A shift for each tap, an addition for each tap but one, twice as 32 samples have
        // two vectors of sums, a product for each different coefficient, and ten to finish.
        {"convolve-2d 3x3", convolution(3, 3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 4),
         operations(9 + 2 * (8 + 3) + 10, 9 + 2 * (8 + 3) + 10)},
        {"convolve-2d 5x5",
         convolution(5, 5, {1,  4, 6, 4,  1,  4,  16, 24, 16, 4, 6, 24, 36,
                            24, 6, 4, 16, 24, 16, 4,  1,  4,  6, 4, 1},
                     8),
         operations(25 + 2 * (24 + 6) + 10, 25 + 2 * (24 + 6) + 10)},
        // Five taps down, of which two pairs are added first; likewise across, on sums of
        // 16 and of 32 bits.
        {"convolve-sep-2d 5+5", separable(),
         operations(5 + 2 * (4 + 2) + 4 + 2 * (4 + 2) + 10,
                    5 + 2 * (4 + 2) + 4 + 2 * (4 + 2) + 10)},
        // A row that enters and one that leaves: 10. Twice a vector of differences and 12
        // steps for the sums along it, three for each of two means and four around them;
        // four to pack. Of 16 bits the products are in double precision, half as many at a
        // time.
        {"blur 3x3", box(zylBlur, 3), operations(10 + 2 * (1 + 12 + 6 + 4) + 4, 8 + 2 * (16 + 12))},
        {"blur 15x15", box(zylBlur, 15),
         operations(10 + 2 * (1 + 12 + 6 + 4) + 4, 8 + 2 * (16 + 12))},
        {"blur 63x63", box(zylBlur, 63),
         operations(10 + 2 * (1 + 12 + 6 + 4) + 4, 8 + 2 * (16 + 12))},
        // Two comparisons along a row and two of rows; of bits, two shifts of three each.
        {"max-filter 3x3", box(zylMaxFilter, 3), operations(4, 4, 10), true},
        // Runs of 3, 9 and 11 are five comparisons, three more join the rows; but these
        // load 13 vectors, and two of them take as long as three comparisons.
        {"max-filter 11x11", box(zylMaxFilter, 11), operations(19.5, 19.5, 24), true},
        {"min-filter 11x11", box(zylMinFilter, 11), operations(19.5, 19.5, 24), true},
        // Of bits: adders of single bits, five operations and three to shift each, for the
        // runs of a row; 13 for each of their planes and 8 for each other one of a box.
        {"median-filter 3x3", box(zylMedianFilter, 3), operations(38, 38, 16 + 26 + 16), true},
        // Minima and maxima for a row of four that are made together, once those that
        // nobody asks for are left out.
        {"median-filter 5x5", box(zylMedianFilter, 5), operations(101, 101, 32 + 39 + 16), true},
        {"median-filter 7x7", box(zylMedianFilter, 7), operations(199.5, 199.5, 48 + 39 + 24)},
        {"median-filter 9x9", box(zylMedianFilter, 9), operations(360.5, 360.5, 48 + 52 + 24)},
        // Eleven stores, one a cycle: four counters, a row each of blocks, values and
        // ranks twice, the sums of blocks and of values. Of 16 bits there are, for every
        // sample that a block of 64 x 64 pixels looks at, seven more to sort and four to
        // count it, and the rest for every pixel.
        {"median-filter 15x15", box(zylMedianFilter, 15), {11, 7 * 1.5 + 4 * 1.5 + 9, 0.3}, true},
        {"median-filter 31x31", box(zylMedianFilter, 31), {11, 7 * 2.2 + 4 * 2.2 + 9, 0.35}},
        {"median-filter 63x63", box(zylMedianFilter, 63), {11, 7 * 3.9 + 4 * 3.9 + 9, 0.4}},
        {"erode", [](ZylImage *s, ZylImage *d) { zylErode(s, d, 1, nullptr); },
         operations(4, 4, 10), true},
        {"dilate", [](ZylImage *s, ZylImage *d) { zylDilate(s, d, 1, nullptr); },
         operations(4, 4, 10), true},
        {"open", [](ZylImage *s, ZylImage *d) { zylOpen(s, d, 1, nullptr); }, operations(8, 8, 20),
         true},
        {"close", [](ZylImage *s, ZylImage *d) { zylClose(s, d, 1, nullptr); },
         operations(8, 8, 20), true},
    };
}

} // namespace

void addFilterRows(std::vector<Row> &rows, int side) {
    for (const NamedFilter &filter : filters()) {
        for (const std::uint32_t depth : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
            if (depth == ZYL_DEPTH_1U && !filter.bits) continue;
            const std::ptrdiff_t bytes = pictureBytes(depth, 1, side);
            const double cycles = depth == ZYL_DEPTH_1U   ? filter.cycles.bits
                                  : depth == ZYL_DEPTH_8U ? filter.cycles.bytes
                                                          : filter.cycles.words;
            const auto prepare = [=](Layout layout) {
                const PicturePointer s = picture(depth, 1, side, layout);
                const PicturePointer d = picture(depth, 1, side, layout);
                return Contest{[=] { filter.call(*s, *d); }, {s, d}};
            };
            rows.push_back({filter.name, depth, side, bytes, bytes, prepare, cycles});
        }
    }
}

} // namespace bench
