// Other sizes without aliasing: what the new size cannot show is taken away by a
// separable convolution before pixels are left out.
//
// Each direction is reduced by n / z * m: by boxes of n pixels, a power of two, where
// much is to go; by a zoom z that makes the rest a whole number of pixels; by a
// windowed sinc (Lanczos, 3 lobes) and every m-th pixel. Old and new pixels correspond
// by their middles. The library counts from corners, so the kernel is moved by the
// difference.
#include "operations.h"

#include "depths.h"
#include "separable.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tool {

namespace {

// Every column-th column and row-th row.
void leaveOut(Step &step, int columns, int rows, int width, int height) {
    Shape shape = step.shape();
    shape.width = width;
    shape.height = height;
    step.then(shape, [=](Request &r) {
        zylDecimate(r.sources[0], r.result, 1, columns, 1, rows, ZYL_INTER_NN, &r.point);
    });
}

double sinc(double x) {
    if (x == 0) return 1;
    return std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

// For every m-th pixel, its middle moved by `shift` pixels.
Coefficients lanczos(int m, double shift, int bits) {
    constexpr int LOBES = 3;
    if (m == 1 && shift == 0) return {};
    const double reach = LOBES * m;
    const int first = std::min(static_cast<int>(std::ceil(shift - reach)), 0);
    const int last = std::max(static_cast<int>(std::floor(shift + reach)), 0);
    std::vector<double> values;
    for (int k = first; k <= last; ++k) {
        const double x = (k - shift) / m;
        values.push_back(std::abs(x) < LOBES ? sinc(x) * sinc(x / LOBES) : 0);
    }
    return coefficients(values, -first, bits);
}

// How one direction is reduced or enlarged from `from` to `to` pixels.
struct Direction {
    Direction(int from, int to) : size(from), target(to) {
        // Half as many pixels by boxes as long as the last filter decides what is
        // seen.
        constexpr double LEAST = 3;
        while (size / (2.0 * boxes * target) >= LEAST && boxes < 1 << 14) boxes *= 2;
    }
    int size, target;
    int boxes = 1;

    // After the boxes. The last one may be cut by the edge.
    double boxed() const { return size / static_cast<double>(boxes); }
    int step() const { return static_cast<int>(std::ceil(boxed() / target - 1e-9)); }
    double zoom() const { return step() * target / boxed(); }
};

constexpr int MOST_BOX = 8;

Coefficients box(int n) {
    Coefficients row;
    row.values.assign(n, 1);
    while (1 << row.bits < n) ++row.bits;
    return row;
}

// Sums are cut off when they are shifted right. In 16 bits that is too little to be
// seen, in 8 bits half a level on the average. Of 8-bit samples, boxes have taken away
// `lost` of a level.
void widen(Step &step, double lost) {
    constexpr int LEVEL = 257;
    if (step.shape().depth != ZYL_DEPTH_8U) return;
    convertScaled(step, ZYL_DEPTH_16U);
    const auto back = static_cast<std::int32_t>(std::lround(lost * LEVEL));
    if (back == 0) return;
    step.then(step.shape(), byIndex([back](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                  zylAddS(from, to, back, tile);
              }));
}

// Boxes of up to 8 pixels at a time, with more bits once the first ones have left few
// enough pixels: of n samples, 0 to n - 1 n-ths of a level are cut off.
void reduceByBoxes(Step &step, Direction &x, Direction &y) {
    int columns = x.boxes, rows = y.boxes;
    while (columns > 1 || rows > 1) {
        const int m = std::min(columns, MOST_BOX), n = std::min(rows, MOST_BOX);
        // The last boxes reach outside.
        const int width = (step.shape().width - 1) / m + 1;
        const int height = (step.shape().height - 1) / n + 1;
        Shape whole = step.shape();
        whole.width = m * width;
        whole.height = n * height;
        convolveSeparably(step, box(m), box(n), whole);
        leaveOut(step, m, n, width, height);
        widen(step, (m * n - 1) / (2.0 * m * n));
        columns /= m;
        rows /= n;
    }
    widen(step, 0);
}

// So many pixels that they can be left out by whole steps.
void zoomToSteps(Step &step, const Direction &x, const Direction &y) {
    Shape shape = step.shape();
    shape.width = std::max(x.step() * x.target, 1);
    shape.height = std::max(y.step() * y.target, 1);
    if (x.zoom() == 1 && y.zoom() == 1) return;
    const int xU = x.step() * x.target * x.boxes, yU = y.step() * y.target * y.boxes;
    step.then(shape, [xU, yU, xL = x.size, yL = y.size](Request &r) {
        zylZoom(r.sources[0], r.result, xU, xL, yU, yL, ZYL_INTER_CUBIC, &r.point);
    });
}

void resizeColors(Step &step, int width, int height) {
    Direction x(step.shape().width, width), y(step.shape().height, height);
    reduceByBoxes(step, x, y);
    const int bits = mostBits(step.shape());
    zoomToSteps(step, x, y);
    // The library's boxes and zoom begin at the corner of the first pixel.
    const auto shift = [](const Direction &d) { return (d.step() - d.zoom()) / 2; };
    const Coefficients across = lanczos(x.step(), shift(x), bits),
                       down = lanczos(y.step(), shift(y), bits);
    if (across.values.size() > 1 || down.values.size() > 1)
        convolveSeparably(step, across, down, step.shape());
    if (x.step() > 1 || y.step() > 1) leaveOut(step, x.step(), y.step(), width, height);
}

// Colors count by their alpha: what cannot be seen does not bleed into its
// surroundings.
void multiplyByAlpha(Step &step) {
    step.then(step.shape(), [](Request &request) {
        copyPart(request, request.sources[0], request.place, request.place);
        zylPreMultiplyAlpha(request.window, -1, nullptr);
    });
}

void divideByAlpha(Step &step) {
    step.then(step.shape(), [shape = step.shape()](Request &request) {
        Shape part = shape;
        part.width = request.place.width;
        part.height = request.place.height;
        const Image nothing(part);
        const Region reading(request.sources[0], regionOf(request.place));
        zylAlphaComposite(request.sources[0], nothing.header(), request.window, ZYL_COMPOSITE_OVER,
                          nullptr, nullptr, nullptr, 1, 1, nullptr);
    });
}

void resizeTo(Step &step, int width, int height) {
    const Shape shape = step.shape();
    if (shape.width == width && shape.height == height) return;
    if (shape.depth == ZYL_DEPTH_1U) convertScaled(step, ZYL_DEPTH_8U);
    const std::uint32_t depth = step.shape().depth;
    if (shape.alpha) {
        widen(step, 0);
        multiplyByAlpha(step);
    }
    resizeColors(step, width, height);
    if (shape.alpha) divideByAlpha(step);
    convertScaled(step, depth);
}

enum Fit { INSIDE, COVER, EXACT };

constexpr double LARGEST_SIDE = 1'000'000;

int rounded(const Step &step, double size) {
    if (size > LARGEST_SIDE) step.refuse("the picture would be too large");
    return std::max(static_cast<int>(std::lround(size)), 1);
}

// Cuts the middle out.
void cutMiddle(Step &step, int width, int height) {
    Shape shape = step.shape();
    const int x = (shape.width - width) / 2, y = (shape.height - height) / 2;
    shape.width = width;
    shape.height = height;
    if (x == 0 && y == 0) return;
    step.then(shape, [x, y](Request &request) {
        copyPart(request, request.sources[0], moved(request.place, x, y), request.place);
    });
}

void resize(Step &step) {
    const double width = step.shape().width, height = step.shape().height;
    const bool sized = step.given("width") || step.given("height");
    if (sized == step.given("scale")) step.misuse("needs width, height or both, or scale");
    if (!sized) {
        const double scale = step.number("scale");
        return resizeTo(step, rounded(step, width * scale), rounded(step, height * scale));
    }
    const bool both = step.given("width") && step.given("height");
    const auto wide = static_cast<double>(step.integer("width"));
    const auto high = static_cast<double>(step.integer("height"));
    const int fit = step.choice("fit");
    if (fit != INSIDE && !both) step.misuse("fit goes with width and height");
    if (fit == EXACT) return resizeTo(step, static_cast<int>(wide), static_cast<int>(high));
    double scale = step.given("width") ? wide / width : high / height;
    if (both && fit == INSIDE) scale = std::min(wide / width, high / height);
    if (both && fit == COVER) scale = std::max(wide / width, high / height);
    resizeTo(step, rounded(step, width * scale), rounded(step, height * scale));
    if (fit == COVER) cutMiddle(step, static_cast<int>(wide), static_cast<int>(high));
}

// Never larger than the picture.
Shape thumbnailOf(Shape shape, std::int64_t size) {
    const double scale = static_cast<double>(size) / std::max(shape.width, shape.height);
    if (scale >= 1) return shape;
    const auto side = [scale](int from) {
        return std::max(static_cast<int>(std::lround(from * scale)), 1);
    };
    shape.width = side(shape.width);
    shape.height = side(shape.height);
    return shape;
}

void thumbnail(Step &step) {
    const Shape shape = thumbnailOf(step.shape(), step.integer("size"));
    resizeTo(step, shape.width, shape.height);
}

Parameter side(std::string_view name, std::string_view help) {
    return integer(name, "", help, 1, LARGEST_SIDE);
}

} // namespace

// At least 1.8 times the pixels of the thumbnail are left for the last filter.
Shrunk shrunkFor(const Call &call, const Shape &shape) {
    constexpr double LEFT = 1.8;
    constexpr int MOST = 8;
    if (call.operation->plan != thumbnail) return {1, call.words};
    std::int64_t size = 0;
    for (const auto &[name, value] : call.values)
        if (name == "size") size = value.integer;
    const Shape small = thumbnailOf(shape, size);
    int by = 1;
    while (by < MOST && std::min(shape.width, shape.height) >= 2 * by &&
           std::max(shape.width, shape.height) >= 2 * by * LEFT * static_cast<double>(size))
        by *= 2;
    if (by == 1) return {1, call.words};
    return {by, "resize:width=" + std::to_string(small.width) +
                    ",height=" + std::to_string(small.height) + ",fit=exact"};
}

std::span<const Operation> resizeOperations() {
    static const std::vector<Operation> table = completed({
        {"resize",
         "gives the picture another size, smoothly",
         {side("width", "pixels; by the height, if not given"),
          side("height", "pixels; by the width, if not given"),
          number("scale", "", "the factor instead, as 0.5", 1e-6, 1e6),
          choice("fit", "inside",
                 "with both: inside keeps the proportions within them, cover fills them and cuts "
                 "what is over, exact stretches",
                 {{"inside", INSIDE}, {"cover", COVER}, {"exact", EXACT}})},
         resize,
         anyLayout,
         "resize:width=80,height=80,fit=cover",
         "decimate"},
        {"thumbnail",
         "makes the longer side so long, if it is longer",
         {integer("size", "256", "pixels", 1, LARGEST_SIDE)},
         thumbnail,
         anyLayout,
         "thumbnail:size=64",
         "decimate"},
    });
    return table;
}

} // namespace tool
