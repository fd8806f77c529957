#include "tests/filter/reference.h"

#include <algorithm>
#include <cmath>
#include <memory>

using namespace support;

namespace filters {

namespace {

std::int64_t cut(std::uint32_t depth, std::int64_t value) {
    const int bits = static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
    const std::uint64_t low = static_cast<std::uint64_t>(value) << (64 - bits);
    if ((depth & ZYL_DEPTH_SIGN) != 0) return static_cast<std::int64_t>(low) >> (64 - bits);
    return static_cast<std::int64_t>(low >> (64 - bits));
}

std::int64_t mapped(int mode, std::int64_t c, std::int64_t size) {
    if (c >= 0 && c < size) return c;
    if (mode == ZYL_BORDER_REPLICATE) return std::clamp<std::int64_t>(c, 0, size - 1);
    while (c < (mode == ZYL_BORDER_REFLECT ? -size : 0)) {
        c += mode == ZYL_BORDER_REFLECT ? 2 * size : size;
    }
    while (c >= size) c -= mode == ZYL_BORDER_REFLECT ? 2 * size : size;
    return c < 0 ? -c - 1 : c;
}

std::int32_t wrap(std::int64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

std::int64_t sumOf(const TestImage &source, const Kernel &k, std::int64_t x, std::int64_t y,
                   int channel) {
    std::int64_t sum = 0;
    for (int r = 0; r < k.rows; ++r) {
        for (int c = 0; c < k.columns; ++c) {
            sum += k.values[static_cast<std::size_t>(r * k.columns + c)] *
                   sampleAnywhere(source, x - k.anchorX + c, y - k.anchorY + r, channel);
        }
    }
    return sum;
}

double combined(int method, double t, double s, bool first) {
    switch (method) {
    case ZYL_SUM:
        return first ? s : t + s;
    case ZYL_MAX:
        return first ? s : std::max(t, s);
    case ZYL_MIN:
        return first ? s : std::min(t, s);
    default:
        return first ? s * s : t + s * s;
    }
}

std::int64_t nearestInteger(double value) {
    if (value >= 2147483647.0) return INT32_MAX;
    if (value < -2147483648.0) return INT32_MIN;
    return static_cast<std::int64_t>(std::nearbyint(value));
}

using KernelPointer = std::shared_ptr<ZylConvKernel>;

KernelPointer make(const Kernel &k) {
    return KernelPointer(
        zylCreateConvKernel(k.rows, k.columns, k.anchorX, k.anchorY, k.values.data(), k.shift),
        [](ZylConvKernel *kernel) {
            if (kernel != nullptr) zylDeleteConvKernel(kernel);
        });
}

} // namespace

std::int64_t saturate(std::uint32_t depth, std::int64_t value) {
    return std::clamp(value, lowest(depth), highest(depth));
}

std::int64_t sampleAnywhere(const TestImage &image, std::int64_t x, std::int64_t y, int channel) {
    const ZylImage &header = *const_cast<TestImage &>(image).header();
    const std::int64_t width = header.width;
    const std::int64_t height = header.height;
    int side = -1;
    if (x < 0) side = 2;
    if (x >= width) side = 3;
    if (y < 0) side = 0;
    if (y >= height) side = 1;
    const int mode = side < 0 ? ZYL_BORDER_REPLICATE : header.borderMode[side];
    if (mode == ZYL_BORDER_CONSTANT) return cut(header.depth, header.borderConst[side]);
    return image.at(static_cast<int>(mapped(mode, x, width)),
                    static_cast<int>(mapped(mode, y, height)), channel);
}

std::vector<std::int64_t> boxAt(const TestImage &image, const Box &box, std::int64_t x,
                                std::int64_t y, int channel) {
    std::vector<std::int64_t> samples;
    for (int r = 0; r < box.rows; ++r) {
        for (int c = 0; c < box.columns; ++c) {
            samples.push_back(
                sampleAnywhere(image, x - box.anchorX + c, y - box.anchorY + r, channel));
        }
    }
    return samples;
}

std::int64_t convolved(const TestImage &source, std::uint32_t destinationDepth,
                       const std::vector<Kernel> &kernels, int method, std::int64_t x,
                       std::int64_t y, int channel) {
    if (destinationDepth == ZYL_DEPTH_32S) {
        double result = 0;
        for (std::size_t k = kernels.size(); k-- > 0;) {
            double s = static_cast<double>(sumOf(source, kernels[k], x, y, channel));
            const int shift = kernels[k].shift & 31;
            if (shift != 0) s = static_cast<double>(nearestInteger(s) >> shift);
            result = combined(method, result, s, k + 1 == kernels.size());
        }
        return nearestInteger(method == ZYL_SUMSQROOT ? std::sqrt(result) : result);
    }
    std::int32_t result = 0;
    for (std::size_t k = 0; k < kernels.size(); ++k) {
        const std::int64_t s =
            wrap(sumOf(source, kernels[k], x, y, channel)) >> (kernels[k].shift & 31);
        const bool first = k == 0;
        if (method == ZYL_MAX) {
            result = first ? wrap(s) : std::max(result, wrap(s));
        } else if (method == ZYL_MIN) {
            result = first ? wrap(s) : std::min(result, wrap(s));
        } else {
            result = wrap(std::int64_t{first ? 0 : result} + wrap(method == ZYL_SUM ? s : s * s));
        }
    }
    if (method == ZYL_SUMSQROOT) {
        result = static_cast<std::int32_t>(std::sqrt(std::max(result, 0)));
    }
    return saturate(destinationDepth, result);
}

std::int64_t separable(const TestImage &source, const Kernel &across, const Kernel &down,
                       std::int64_t x, std::int64_t y, int channel) {
    std::int64_t total = 0;
    for (int c = 0; c < across.columns; ++c) {
        std::int64_t t = 0;
        for (int r = 0; r < down.rows; ++r) {
            t += down.values[static_cast<std::size_t>(r)] *
                 sampleAnywhere(source, x - across.anchorX + c, y - down.anchorY + r, channel);
        }
        total = wrap(total + std::int64_t{across.values[static_cast<std::size_t>(c)]} * wrap(t));
    }
    return saturate(source.shape().depth, total >> ((across.shift + down.shift) & 31));
}

std::int64_t blurred(const TestImage &source, const Box &box, std::int64_t x, std::int64_t y,
                     int channel) {
    const std::vector<std::int64_t> samples = boxAt(source, box, x, y, channel);
    if (samples.size() == 1) return samples[0];
    double sum = 0;
    for (int c = 0; c < box.columns; ++c) {
        std::int64_t column = 0;
        for (int r = 0; r < box.rows; ++r) {
            column += samples[static_cast<std::size_t>(r * box.columns + c)];
        }
        const auto exact = static_cast<double>(column);
        sum += source.shape().depth == ZYL_DEPTH_32S ? static_cast<float>(exact) : exact;
    }
    const float factor = static_cast<float>(1.0 / (double{1} * box.rows * box.columns));
    return static_cast<std::int64_t>(std::clamp(sum * factor, -2147483648.0, 2147483647.0));
}

std::int64_t median(const TestImage &source, const Box &box, std::int64_t x, std::int64_t y,
                    int channel) {
    std::vector<std::int64_t> samples = boxAt(source, box, x, y, channel);
    const std::size_t n = samples.size();
    if (source.shape().depth == ZYL_DEPTH_1U) {
        const auto ones = static_cast<std::size_t>(std::count(samples.begin(), samples.end(), 1));
        return ones >= (n + 1) / 2;
    }
    std::sort(samples.begin(), samples.end());
    return samples[n / 2];
}

namespace {

const std::vector<std::uint32_t> ALL = {std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)};

void addConvolutions(std::vector<Case> &cases) {
    const Kernel gauss = {3, 3, 1, 1, 4, {1, 2, 1, 2, 4, 2, 1, 2, 1}};
    const Kernel heavy = {3, 3, 1, 1, 6, {127, 127, 127, 127, 127, 127, 127, 127, 127}};
    const Kernel sobel = {3, 3, 1, 1, 1, {-1, 0, 1, -2, 0, 2, -1, 0, 1}};
    const Kernel wide = {2, 5, 4, 0, 33, {3, -1, 0, 7, 2, 0, 1, -128, 5, 1}};
    const Kernel tall = {7, 1, 0, 2, 31, {1, 1, 1, 1, 1, 1, -1}};
    const Kernel nothing = {1, 1, 0, 0, 0, {0}};
    const Kernel one = {1, 1, 0, 0, 0, {1}};
    const std::vector<std::pair<std::string, std::vector<Kernel>>> sets = {
        {"Gauss", {gauss}}, {"Heavy", {heavy}},     {"Sobel", {sobel}},
        {"Wide", {wide}},   {"Tall", {tall}},       {"Nothing", {nothing}},
        {"Copy", {one}},    {"Two", {sobel, wide}}, {"Four", {wide, tall, gauss, heavy}},
    };
    for (const auto &[name, kernels] : sets) {
        for (int method = ZYL_SUM; method <= ZYL_MIN; ++method) {
            std::vector<KernelPointer> owned;
            for (const Kernel &k : kernels) owned.push_back(make(k));
            const std::vector<Kernel> set = kernels;
            cases.push_back({"Convolve" + name + std::to_string(method), "zylConvolve2D",
                             [owned, method](ZylImage *s, ZylImage *d, const ZylTileMapping *m) {
                                 std::vector<ZylConvKernel *> pointers;
                                 for (const KernelPointer &k : owned) pointers.push_back(k.get());
                                 zylConvolve2D(s, d, pointers.data(),
                                               static_cast<int>(pointers.size()), method, m);
                             },
                             [set, method](const TestImage &s, std::uint32_t depth, std::int64_t x,
                                           std::int64_t y, int c) {
                                 return convolved(s, depth, set, method, x, y, c);
                             },
                             ALL});
        }
    }
}

void addSeparable(std::vector<Case> &cases) {
    struct Pair {
        std::string name;
        Kernel across, down;
    };
    const std::vector<Pair> pairs = {
        {"Gauss", {1, 5, 2, 0, 4, {1, 4, 6, 4, 1}}, {5, 1, 0, 2, 4, {1, 4, 6, 4, 1}}},
        {"Sharp", {1, 3, 1, 0, 1, {-1, 4, -1}}, {3, 1, 0, 1, 0, {-1, 4, -1}}},
        {"Shifted", {1, 4, 3, 0, 20, {127, 127, -128, 9}}, {2, 1, 0, 0, 19, {-128, 127}}},
        {"Long",
         {1, 9, 0, 0, 8, {9, 8, 7, 6, 5, 4, 3, 2, 1}},
         {7, 1, 0, 6, 3, {1, 2, 3, 4, 5, 6, 7}}},
        {"Negative", {1, 1, 0, 0, 0, {-1}}, {1, 1, 0, 0, 0, {1}}},
        {"Nothing", {1, 2, 0, 0, 0, {3, 1}}, {2, 1, 0, 0, 0, {0, 0}}},
    };
    for (const Pair &pair : pairs) {
        const KernelPointer across = make(pair.across);
        const KernelPointer down = make(pair.down);
        cases.push_back({"Sep" + pair.name, "zylConvolveSep2D",
                         [across, down](ZylImage *s, ZylImage *d, const ZylTileMapping *) {
                             zylConvolveSep2D(s, d, across.get(), down.get());
                         },
                         [pair](const TestImage &s, std::uint32_t, std::int64_t x, std::int64_t y,
                                int c) { return separable(s, pair.across, pair.down, x, y, c); },
                         ALL, false});
    }
}

std::string boxName(const Box &box) {
    return std::to_string(box.rows) + "x" + std::to_string(box.columns) + "at" +
           std::to_string(box.anchorX) + "_" + std::to_string(box.anchorY);
}

void addBoxes(std::vector<Case> &cases) {
    const std::vector<std::uint32_t> noBits = {ALL.begin() + 1, ALL.end()};
    for (const Box &box : std::vector<Box>{{1, 1, 0, 0},
                                           {3, 3, 1, 1},
                                           {5, 5, 2, 2},
                                           {2, 7, 0, 1},
                                           {128, 40, 10, 31},
                                           {1, 4, 9, 12},
                                           {300, 200, 100, 100}}) {
        cases.push_back({"Blur" + boxName(box), "zylBlur",
                         [box](ZylImage *s, ZylImage *d, const ZylTileMapping *m) {
                             zylBlur(s, d, box.rows, box.columns, box.anchorX, box.anchorY, m);
                         },
                         [box](const TestImage &s, std::uint32_t, std::int64_t x, std::int64_t y,
                               int c) { return blurred(s, box, x, y, c); },
                         noBits});
    }
    for (const Box &box : std::vector<Box>{{1, 1, 0, 0},
                                           {3, 3, 1, 1},
                                           {5, 5, 2, 2},
                                           {1, 2, 1, 0},
                                           {2, 2, 0, 1},
                                           {3, 5, 0, 2},
                                           {7, 7, 3, 3},
                                           {9, 9, 8, 0},
                                           {11, 11, 5, 5},
                                           {4, 70, 69, 0},
                                           {2, 150, 20, 1},
                                           {18, 18, 3, 17}}) {
        const auto extreme = [box](bool largest) {
            return [box, largest](const TestImage &s, std::uint32_t, std::int64_t x, std::int64_t y,
                                  int c) {
                const std::vector<std::int64_t> samples = boxAt(s, box, x, y, c);
                return largest ? *std::max_element(samples.begin(), samples.end())
                               : *std::min_element(samples.begin(), samples.end());
            };
        };
        const auto run = [box](auto filter) {
            return [box, filter](ZylImage *s, ZylImage *d, const ZylTileMapping *m) {
                filter(s, d, box.rows, box.columns, box.anchorX, box.anchorY, m);
            };
        };
        cases.push_back(
            {"Max" + boxName(box), "zylMaxFilter", run(zylMaxFilter), extreme(true), ALL});
        cases.push_back(
            {"Min" + boxName(box), "zylMinFilter", run(zylMinFilter), extreme(false), ALL});
        cases.push_back({"Median" + boxName(box), "zylMedianFilter", run(zylMedianFilter),
                         [box](const TestImage &s, std::uint32_t, std::int64_t x, std::int64_t y,
                               int c) { return median(s, box, x, y, c); },
                         ALL});
    }
    const Box square = {3, 3, 1, 1};
    for (const bool dilate : {false, true}) {
        cases.push_back({dilate ? "Dilate" : "Erode",
                         dilate ? "zylDilate" : "zylErode",
                         [dilate](ZylImage *s, ZylImage *d, const ZylTileMapping *) {
                             (dilate ? zylDilate : zylErode)(s, d, 1, nullptr);
                         },
                         [square, dilate](const TestImage &s, std::uint32_t, std::int64_t x,
                                          std::int64_t y, int c) {
                             const auto samples = boxAt(s, square, x, y, c);
                             return dilate ? *std::max_element(samples.begin(), samples.end())
                                           : *std::min_element(samples.begin(), samples.end());
                         },
                         {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U},
                         false});
    }
}

} // namespace

std::vector<Case> filterCases() {
    std::vector<Case> cases;
    addConvolutions(cases);
    addSeparable(cases);
    addBoxes(cases);
    return cases;
}

} // namespace filters
