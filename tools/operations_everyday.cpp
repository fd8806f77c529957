// What people ask for by name: brightness, contrast, soft and sharp.
#include "operations.h"

#include "separable.h"
#include "tables.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace tool {

namespace {

using Images = std::vector<ZylImage *>;

constexpr double PERCENT = 100;

// ---- tones ---------------------------------------------------------------------------

// Every sample through a function of 0 (black) to 1 (white).
template <class Function>
void mapTones(Step &step, Function tone) {
    const int size = 1 << step.shape().depth;
    const auto tables = std::make_shared<Tables>(step.shape().channels, size);
    for (int c = 0; c < step.shape().channels; ++c) {
        for (int v = 0; v < size; ++v) {
            const double value = std::clamp(tone(v / double(size - 1)), 0.0, 1.0);
            (*tables)[c].key[v] = v;
            (*tables)[c].value[v] = static_cast<std::int32_t>(std::lround(value * (size - 1)));
        }
    }
    step.thenOnRegion([tables](const Images &from, ZylImage *to) {
        zylContrastStretch(from[0], to, tables->pointers(), nullptr);
    });
}

void brightness(Step &step) {
    const double more = step.number("percent") / PERCENT;
    mapTones(step, [more](double v) { return v + more; });
}

void contrast(Step &step) {
    const double factor = 1 + step.number("percent") / PERCENT;
    mapTones(step, [factor](double v) { return 0.5 + (v - 0.5) * factor; });
}

void gamma(Step &step) {
    const double exponent = 1 / step.number("value");
    mapTones(step, [exponent](double v) { return std::pow(v, exponent); });
}

// The samples between which all but a part of the pixels lie, at both ends.
std::pair<int, int> ends(const ZylLUT &counts, double part) {
    const int last = counts.num - 2;
    std::int64_t all = 0;
    for (int v = 0; v <= last; ++v) all += counts.value[v];
    const auto skipped = static_cast<std::int64_t>(static_cast<double>(all) * part);
    int low = 0, high = last;
    for (std::int64_t seen = counts.value[low]; low < last && seen <= skipped;)
        seen += counts.value[++low];
    for (std::int64_t seen = counts.value[high]; high > 0 && seen <= skipped;)
        seen += counts.value[--high];
    return {low, high};
}

// All colors are spread alike, so that none gets a cast.
void autoLevel(Step &step) {
    const Shape shape = step.shape();
    const int size = 1 << shape.depth, channel = step.channel();
    const double part = step.number("clip") / PERCENT;
    const auto counts = std::make_shared<Tables>(shape.channels, size + 1);
    const auto stretched = std::make_shared<Tables>(shape.channels, size);
    for (int c = 0; c < shape.channels; ++c)
        for (int v = 0; v <= size; ++v) (*counts)[c].key[v] = v;
    Plan plan;
    plan.measure = [=, region = regionOf(step.region(), channel)](const Images &from) {
        const Region reading(from[0], region);
        zylComputeHisto(from[0], counts->pointers(), nullptr);
        int low = size - 1, high = 0;
        for (int c = 0; c < shape.channels; ++c) {
            if (channel ? c + 1 != channel : c + 1 == shape.alpha) continue;
            const auto [first, last] = ends((*counts)[c], part);
            low = std::min(low, first);
            high = std::max(high, last);
        }
        for (int c = 0; c < shape.channels; ++c) {
            for (int v = 0; v < size; ++v) {
                const std::int64_t within = std::clamp(v, low, std::max(low, high)) - low;
                (*stretched)[c].key[v] = v;
                (*stretched)[c].value[v] =
                    high > low ? static_cast<std::int32_t>(within * (size - 1) / (high - low)) : v;
            }
        }
    };
    step.thenOnRegion(
        [stretched](const Images &from, ZylImage *to) {
            zylContrastStretch(from[0], to, stretched->pointers(), nullptr);
        },
        {}, plan);
}

// ---- soft and sharp --------------------------------------------------------------------

// A bell of this width; wide ones in several passes, since coefficients have 8 bits.
void blurBell(Step &step, double sigma) {
    constexpr double WIDEST = 6;
    const int passes = static_cast<int>(std::ceil(sigma * sigma / (WIDEST * WIDEST)));
    const double each = sigma / std::sqrt(passes);
    const int reach = std::max(static_cast<int>(std::ceil(3 * each)), 1);
    std::vector<double> values;
    for (int k = -reach; k <= reach; ++k) values.push_back(std::exp(-k * k / (2 * each * each)));
    const Coefficients bell = coefficients(values, reach, mostBits(step.shape()));
    for (int i = 0; i < passes; ++i) convolveSeparably(step, bell, bell, step.shape());
}

void gaussianBlur(Step &step) {
    blurBell(step, step.number("sigma"));
}

// Adds what a blur takes away: from samples that it makes darker and brighter.
void addDifference(ZylImage *picture, ZylImage *soft, ZylImage *result, double amount) {
    const auto whole = static_cast<std::uint32_t>(std::max(std::ceil(amount), 1.0));
    const double most = picture->depth == ZYL_DEPTH_8U ? 255 : 65535;
    const auto part = static_cast<std::uint32_t>(std::lround(amount / whole * most));
    Shape shape =
        makeShape(result->roi->width, result->roi->height, picture->nChannels, picture->depth);
    const Image brighter(shape), darker(shape);
    zylSubtract(picture, soft, brighter.header(), 0, nullptr);
    zylSubtract(picture, soft, darker.header(), 1, nullptr);
    for (const Image *difference : {&brighter, &darker}) {
        zylMultiplySScale(difference->header(), difference->header(), part, nullptr);
        zylMultiplyS(difference->header(), difference->header(), whole, nullptr);
    }
    zylAdd(picture, brighter.header(), result, nullptr);
    zylSubtract(result, darker.header(), result, 0, nullptr);
}

void unsharp(Step &step) {
    const double amount = step.number("amount");
    const Step::Node picture = step.node();
    blurBell(step, step.number("sigma"));
    const Step::Node soft = step.node();
    step.goTo(picture);
    Plan plan;
    plan.result = step.shape();
    plan.make = [amount](Request &request) {
        const Region a(request.sources[0], regionOf(request.place));
        const Region b(request.sources[1], regionOf(request.place));
        addDifference(request.sources[0], request.sources[1], request.window, amount);
        const int alpha = request.sources[0]->alphaChannel;
        if (alpha) copyPart(request, request.sources[0], request.place, request.place, alpha);
    };
    step.then(plan, {soft});
}

} // namespace

std::span<const Operation> everydayOperations() {
    const auto percent = [](std::string_view help) {
        return std::vector<Parameter>{number("percent", required, help, -PERCENT, 1000)};
    };
    const Parameter sigma = number(
        "sigma", "2", "the width of the blur in pixels, as its standard deviation", 0.1, 100);
    static const std::vector<Operation> table = completed({
        {"brightness", "makes the picture brighter, or darker",
         percent("of white; below 0 for darker"), brightness, pointwise, "brightness:percent=20",
         "contrast-stretch"},
        {"contrast", "makes differences from middle gray larger, or smaller",
         percent("more; below 0 for less"), contrast, pointwise, "contrast:percent=30",
         "contrast-stretch"},
        {"gamma",
         "makes dark parts brighter, or darker, between black and white",
         {number("value", required, "above 1 for brighter", 0.01, 100)},
         gamma,
         pointwise,
         "gamma:value=1.8",
         "contrast-stretch"},
        {"auto-level",
         "spreads the samples over the whole range, all colors alike",
         {number("clip", "0.5", "percent of the pixels that may become black, and white", 0, 49)},
         autoLevel,
         pointwise,
         "auto-level",
         "contrast-stretch"},
        {"gaussian-blur",
         "blurs softly",
         {sigma},
         gaussianBlur,
         plain,
         "gaussian-blur:sigma=3",
         "convolve-sep-2d"},
        {"unsharp",
         "sharpens by what a blur takes away",
         {sigma, number("amount", "1", "how much of it is added", 0, 20)},
         unsharp,
         plain,
         "unsharp:sigma=1.5,amount=0.8",
         "multiply-s-scale"},
    });
    return table;
}

} // namespace tool
