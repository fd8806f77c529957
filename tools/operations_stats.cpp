// Histograms, threshold, norms, scaled products and compositing.
#include "operations.h"

#include "tables.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>

namespace tool {

namespace {

using Images = std::vector<ZylImage *>;

// The number of values of a sample.
int histogramSize(const Step &step) {
    return 1 << step.shape().depth;
}

// A histogram of every channel, in `bins` intervals of equal width. Its counts come
// with the first pass over the picture.
std::shared_ptr<Tables> emptyHistogram(const Step &step, int bins) {
    const int size = histogramSize(step);
    const Rect &region = step.region();
    if (std::int64_t{region.width} * region.height > std::numeric_limits<std::int32_t>::max())
        step.refuse("a histogram counts 2147483647 pixels at most: give a smaller region");
    auto luts = std::make_shared<Tables>(step.shape().channels, bins + 1);
    for (int c = 0; c < step.shape().channels; ++c) {
        for (int i = 0; i <= bins; ++i)
            (*luts)[c].key[i] = static_cast<std::int32_t>(std::int64_t{size} * i / bins);
    }
    return luts;
}

constexpr int BINS = 256;

// The region that is counted, on a header.
ZylROI countedRegion(const Step &step) {
    return regionOf(step.region(), step.channel());
}

bool counted(const ZylROI &region, int channel) {
    return region.coi == 0 || channel + 1 == region.coi;
}

// One block of lines for each channel.
void printHistogram(Tables &luts, const Shape &shape, const ZylROI &region) {
    for (int c = 0; c < shape.channels; ++c) {
        if (!counted(region, c)) continue;
        for (int i = 0; i + 1 < luts[c].num; ++i) {
            if (luts[c].value[i] == 0) continue;
            std::cout << "channel " << c + 1 << ", from " << luts[c].key[i] << ": "
                      << luts[c].value[i] << '\n';
        }
    }
}

// A bar for each interval, in the channel's own colour; alpha is not drawn.
Image drawHistogram(Tables &luts, const Shape &drawn, const ZylROI &region) {
    std::int32_t highest = 1;
    for (int c = 0; c < drawn.channels; ++c) {
        if (!counted(region, c)) continue;
        for (int i = 0; i + 1 < luts[c].num; ++i) highest = std::max(highest, luts[c].value[i]);
    }
    Image drawing(drawn);
    for (int c = 0; c < drawn.channels; ++c) {
        if (!counted(region, c)) continue;
        const int bins = luts[c].num - 1, width = drawn.width / bins;
        for (int i = 0; i < bins; ++i) {
            const auto length =
                static_cast<int>(std::int64_t{luts[c].value[i]} * drawn.height / highest);
            if (length == 0) continue;
            const zyl::Rect bar = {i * width, drawn.height - length, width, length};
            zyl::set(drawing.part(bar, drawn.channels > 1 ? c + 1 : 0), 255);
        }
    }
    return drawing;
}

void computeHisto(Step &step) {
    constexpr int HEIGHT = 200;
    const int bins = std::min(BINS, histogramSize(step));
    const auto luts = emptyHistogram(step, bins);
    const bool draw = step.flag("draw");
    const Shape shape = step.shape();
    const Shape drawn = makeShape(BINS, HEIGHT, shape.color() ? 3 : 1, ZYL_DEPTH_8U);
    const auto drawing = std::make_shared<std::optional<Image>>();
    Plan plan;
    plan.result = draw ? drawn : shape;
    plan.measure = [=, region = countedRegion(step)](const Images &from) {
        const Region reading(from[0], region);
        zylComputeHisto(from[0], luts->pointers(), nullptr);
        printHistogram(*luts, shape, region);
        if (draw) *drawing = drawHistogram(*luts, drawn, region);
    };
    if (draw) {
        plan.make = [drawing](Request &request) {
            zylCopy((*drawing)->header(), request.result, request.tile);
        };
    }
    step.then(plan);
}

struct Range {
    std::int64_t low, high;
};

// "10..200"
Range range(const Step &step, std::string_view name) {
    const std::string &text = step.text(name);
    long long low = 0;
    long long high = 0;
    int read = 0;
    const int found = std::sscanf(text.c_str(), "%lld..%lld%n", &low, &high, &read);
    if (found != 2 || text.size() != static_cast<std::size_t>(read)) {
        step.misuse("'" + text + "' is no range: write two numbers, as in 10..200");
    }
    return {low, high};
}

// Samples from one range spread over another one; those outside it become its
// ends. The table has an interval of its own for every sample, so it is exact.
void contrastStretch(Step &step) {
    const int size = histogramSize(step);
    const Range from = range(step, "from");
    const Range to = range(step, "to");
    if (from.low < 0 || from.high >= size || from.low >= from.high) {
        step.refuse("'from' must be two rising numbers within 0.." + std::to_string(size - 1));
    }
    if (std::min(to.low, to.high) < 0 || std::max(to.low, to.high) >= size) {
        step.refuse("'to' must lie within 0.." + std::to_string(size - 1));
    }
    const Shape shape = step.shape();
    const auto luts = std::make_shared<Tables>(shape.channels, size);
    for (int c = 0; c < shape.channels; ++c) {
        for (int v = 0; v < size; ++v) {
            const std::int64_t distance =
                std::clamp<std::int64_t>(v, from.low, from.high) - from.low;
            (*luts)[c].key[v] = v;
            (*luts)[c].value[v] = static_cast<std::int32_t>(to.low + distance * (to.high - to.low) /
                                                                         (from.high - from.low));
        }
    }
    step.thenOnRegion([luts](const Images &images, ZylImage *result) {
        zylContrastStretch(images[0], result, luts->pointers(), nullptr);
    });
}

void histoEqualize(Step &step) {
    const auto luts = emptyHistogram(step, histogramSize(step));
    Plan plan;
    plan.measure = [luts, region = countedRegion(step)](const Images &from) {
        const Region reading(from[0], region);
        zylComputeHisto(from[0], luts->pointers(), nullptr);
    };
    step.thenOnRegion(
        [luts](const Images &from, ZylImage *to) {
            Tables counts = *luts; // which the library replaces by those of the result
            zylHistoEqualize(from[0], to, counts.pointers(), nullptr);
        },
        {}, plan);
}

void norm(Step &step) {
    const int type = step.choice("type");
    const bool two = step.given("with");
    if (!two && type > ZYL_NORM_L2) step.misuse("a relative norm needs 'with'");
    std::vector<Step::Node> others;
    if (two) others = {step.other("with")};
    Plan plan;
    plan.result = step.shape();
    plan.measure = [type, two, region = countedRegion(step)](const Images &from) {
        const Region first(from[0], region);
        std::optional<Region> second;
        if (two) second.emplace(from[1], region);
        const double value = zylNorm(from[0], two ? from[1] : nullptr, type);
        char text[64];
        std::snprintf(text, sizeof text, "%.17g", value);
        std::cout << text << '\n';
    };
    step.then(plan, others);
}

void threshold(Step &step) {
    const auto limit = static_cast<std::int32_t>(step.integer("limit"));
    step.thenOnRegion(
        [limit](const Images &from, ZylImage *to) { zylThreshold(from[0], to, limit, nullptr); });
}

void multiplyScale(Step &step) {
    step.thenOnRegion(
        [](const Images &from, ZylImage *to) { zylMultiplyScale(from[0], from[1], to, nullptr); },
        {step.other("with")});
}

void multiplySScale(Step &step) {
    const auto scale = static_cast<std::uint32_t>(step.integer("scale"));
    step.thenOnRegion([scale](const Images &from, ZylImage *to) {
        zylMultiplySScale(from[0], to, scale, nullptr);
    });
}

void preMultiplyAlpha(Step &step) {
    if (!step.given("alpha") && step.shape().alpha == 0)
        step.refuse("the picture has no alpha: give a constant, as in alpha=128");
    const auto alpha = static_cast<std::int32_t>(step.integer("alpha"));
    step.thenOnCopy(
        [alpha](const Images &, ZylImage *to) { zylPreMultiplyAlpha(to, alpha, nullptr); });
}

// Whether colours are divided by the resulting alpha.
enum Division { NO, YES, AUTO };

// A picture without an alpha channel is opaque. Pictures in files are not
// pre-multiplied, so a result with alpha is divided unless told otherwise.
void alphaComposite(Step &step) {
    const int rule = step.choice("rule");
    const int preMultiplied = step.flag("pre-multiplied");
    const int division = step.choice("divide");
    const bool ownAlphas =
        step.shape().alpha != 0 && !step.given("alpha") && !step.given("backdrop-alpha");
    if (ownAlphas) {
        const int divide = division == AUTO ? preMultiplied == 0 : division;
        step.thenOnCopy(
            [=](const Images &from, ZylImage *to) {
                zylAlphaComposite(from[1], from[0], to, rule, nullptr, nullptr, nullptr,
                                  preMultiplied, divide, nullptr);
            },
            {step.otherWithAlpha("with")});
        return;
    }
    constexpr int OPAQUE = 65535;
    const auto alpha = static_cast<int>(step.integer("alpha"));
    auto backdrop = static_cast<int>(step.integer("backdrop-alpha"));
    if (backdrop < 0 && step.shape().alpha == 0) backdrop = OPAQUE;
    step.thenOnCopy(
        [=](const Images &from, ZylImage *to) {
            zylAlphaCompositeC(from[1], from[0], to, rule, alpha, backdrop, preMultiplied,
                               division == YES, nullptr);
        },
        {step.otherWithAlpha("with")});
}

} // namespace

std::span<const Operation> statsOperations() {
    static const std::vector<Operation> table = completed({
        {"compute-histo",
         "prints how often samples occur; with draw, shows it as a picture",
         {flag("draw", "make the histogram the current picture")},
         computeHisto,
         regional | prints,
         "compute-histo:draw"},
        {"contrast-stretch",
         "spreads one range of samples over another one",
         {text("from", required, "the range that is spread, as in 10..200"),
          text("to", required, "what it becomes, as in 0..255")},
         contrastStretch,
         pointwise,
         "contrast-stretch:from=10..200,to=0..255"},
        {"histo-equalize", "", {}, histoEqualize, pointwise, "histo-equalize"},
        {"threshold", "", {ofLibrary("limit")}, threshold, pointwise, "threshold:limit=128"},
        {"norm",
         "prints a norm of the picture or of its difference from another one",
         {picture("with", "", "the other picture, of the same size and depth"), ofLibrary("type")},
         norm,
         regional | prints,
         "norm:with=OTHER,type=l1"},
        {"multiply-scale",
         "",
         {picture("with", required, "the second picture, of the same size and depth")},
         multiplyScale,
         pointwise,
         "multiply-scale:with=OTHER"},
        {"multiply-s-scale",
         "",
         {ofLibrary("scale")},
         multiplySScale,
         pointwise,
         "multiply-s-scale:scale=128"},
        {"pre-multiply-alpha",
         "",
         {integer("alpha", "-1", "the constant; below 0: each pixel's own alpha", -1, 65535)},
         preMultiplyAlpha,
         regional | anyLayout,
         "pre-multiply-alpha:alpha=128"},
        {"alpha-composite",
         "composites another picture with this one",
         {picture("with", required, "the other picture, of the same size and depth"),
          ofLibrary("rule"),
          integer("alpha", "-1", "a constant alpha of the other picture; -1 for its own", -1,
                  65535),
          integer("backdrop-alpha", "-1", "the same for this picture", -1, 65535),
          ofLibrary("pre-multiplied"),
          choice("divide", "auto",
                 "divide the colors by the resulting alpha; auto: where that is stored and "
                 "the colors are not pre-multiplied",
                 {{"auto", AUTO}, {"no", NO}, {"yes", YES}})},
         alphaComposite,
         regional | anyLayout,
         "alpha-composite:with=OTHER,alpha=128"},
    });
    return table;
}

} // namespace tool
