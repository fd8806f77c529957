#include "separable.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <numeric>

namespace tool {

namespace {

struct DeleteKernel {
    void operator()(ZylConvKernel *kernel) const { zylDeleteConvKernel(kernel); }
};

std::shared_ptr<ZylConvKernel> kernelOf(int rows, int columns, int x, int y,
                                        const Coefficients &row) {
    std::shared_ptr<ZylConvKernel> kernel(
        zylCreateConvKernel(rows, columns, x, y, row.values.data(), row.bits), DeleteKernel());
    if (!kernel) throw std::bad_alloc();
    return kernel;
}

} // namespace

// With negative coefficients, absolute values add up to at most 1.4 times the sum:
// 65535 * (1.4 * 2^7)^2 < 2^31.
int mostBits(const Shape &shape) {
    return (shape.depth & ~ZYL_DEPTH_SIGN) <= 8 ? 8 : 7;
}

Coefficients coefficients(const std::vector<double> &values, int anchor, int bits) {
    constexpr double LARGEST = 126;
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    const double peak = *std::max_element(values.begin(), values.end());
    while (peak / sum * (1 << bits) > LARGEST) --bits;

    Coefficients row{{}, anchor, bits};
    std::vector<std::pair<double, std::size_t>> cut; // what rounding down takes away
    int rest = 1 << bits;
    for (const double value : values) {
        const double exact = value / sum * (1 << bits);
        cut.emplace_back(exact - std::floor(exact), row.values.size());
        row.values.push_back(static_cast<std::int8_t>(std::floor(exact)));
        rest -= row.values.back();
    }
    std::sort(cut.rbegin(), cut.rend());
    for (int i = 0; i < rest; ++i) ++row.values[cut[i].second];
    return row;
}

void convolveSeparably(Step &step, const Coefficients &across, const Coefficients &down,
                       const Shape &result) {
    const auto columns = static_cast<int>(across.values.size());
    const auto rows = static_cast<int>(down.values.size());
    const auto x = kernelOf(1, columns, across.anchor, 0, across);
    const auto y = kernelOf(rows, 1, 0, down.anchor, down);
    step.then(result, [x, y](Request &request) {
        ZylImage *source = request.sources[0];
        zylSetBorderMode(source, ZYL_BORDER_REPLICATE, ZYL_SIDE_ALL, 0);
        // A block may lie outside the source, but be no larger.
        const int right = request.place.x + request.place.width;
        const int bottom = request.place.y + request.place.height;
        for (int row = request.place.y; row < bottom;) {
            const int height = std::min(source->height, bottom - row);
            for (int column = request.place.x; column < right;) {
                const Rect part = {column, row, std::min(source->width, right - column), height};
                const Region reading(source, regionOf(part));
                const Region writing(request.window, inWindow(request, part));
                zylConvolveSep2D(source, request.window, x.get(), y.get());
                column += part.width;
            }
            row += height;
        }
    });
}

} // namespace tool
