// Histograms, threshold, norms, scaled products and compositing.
#include "operations.h"

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

// One LUT for each channel, with room for `keys` keys.
class Luts {
  public:
    Luts(int channels, int keys) : arrays_(static_cast<std::size_t>(channels)) {
        for (Arrays &a : arrays_) {
            a.key.resize(static_cast<std::size_t>(keys));
            a.value = a.factor = a.key;
            a.lut = {keys, a.key.data(), a.value.data(), a.factor.data(), 0};
            pointers_.push_back(&a.lut);
        }
    }
    ZylLUT *const *pointers() const { return pointers_.data(); }
    ZylLUT &operator[](int channel) { return arrays_[static_cast<std::size_t>(channel)].lut; }

  private:
    struct Arrays {
        std::vector<std::int32_t> key, value, factor;
        ZylLUT lut;
    };
    std::vector<Arrays> arrays_;
    std::vector<ZylLUT *> pointers_;
};

// The number of values of a sample; refuses what histograms are not made of.
int histogramSize(const Step &step) {
    const std::uint32_t depth = step.shape().depth;
    if (depth != ZYL_DEPTH_8U && depth != ZYL_DEPTH_16U) {
        step.refuse("needs a picture of 8 or 16 unsigned bits");
    }
    return 1 << depth;
}

// The whole histogram of every channel, in `bins` intervals of equal width.
Luts histogram(Step &step, int bins) {
    const int size = histogramSize(step);
    Luts luts(step.shape().channels, bins + 1);
    for (int c = 0; c < step.shape().channels; ++c) {
        for (int i = 0; i <= bins; ++i) luts[c].key[i] = size / bins * i;
    }
    zylComputeHisto(step.source(), luts.pointers(), nullptr);
    return luts;
}

// One block of lines for each channel, then the picture of the histogram: a bar
// for each of 256 intervals, in the channel's own colour.
void computeHisto(Step &step) {
    constexpr int BINS = 256;
    constexpr int HEIGHT = 200;
    Luts luts = histogram(step, BINS);
    const Shape shape = step.shape();
    const int colours = shape.color() ? 3 : 1;
    const int only = static_cast<int>(step.integer("channel"));
    std::int32_t highest = 1; // of those drawn, which alpha is not
    for (int c = 0; c < shape.channels; ++c) {
        if (only != 0 && c + 1 != only) continue;
        for (int i = 0; i < BINS; ++i) {
            const std::int32_t count = luts[c].value[i];
            if (c < colours) highest = std::max(highest, count);
            if (count == 0) continue;
            step.print("channel " + std::to_string(c + 1) + ", from " +
                       std::to_string(luts[c].key[i]) + ": " + std::to_string(count));
        }
    }
    if (!step.flag("draw")) return;
    ZylImage *drawing = step.result(makeShape(BINS, HEIGHT, colours, ZYL_DEPTH_8U));
    ZylROI bar = {};
    drawing->roi = &bar;
    for (int c = 0; c < colours; ++c) {
        if (only != 0 && c + 1 != only) continue;
        for (int i = 0; i < BINS; ++i) {
            const auto length = static_cast<int>(std::int64_t{luts[c].value[i]} * HEIGHT / highest);
            if (length == 0) continue;
            bar = {colours > 1 ? c + 1 : 0, i, HEIGHT - length, length, 1};
            zylSet(drawing, 255, nullptr);
        }
    }
    drawing->roi = nullptr;
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
        step.refuse("'" + text + "' is no range: write two numbers, as in 10..200");
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
    Luts luts(shape.channels, size);
    for (int c = 0; c < shape.channels; ++c) {
        for (int v = 0; v < size; ++v) {
            const std::int64_t distance =
                std::clamp<std::int64_t>(v, from.low, from.high) - from.low;
            luts[c].key[v] = v;
            luts[c].value[v] = static_cast<std::int32_t>(
                c + 1 == shape.alpha
                    ? v
                    : to.low + distance * (to.high - to.low) / (from.high - from.low));
        }
    }
    zylContrastStretch(step.source(), step.result(), luts.pointers(), nullptr);
}

// The alpha channel, if there is one, stays.
void histoEqualize(Step &step) {
    const int size = histogramSize(step);
    Luts luts = histogram(step, size);
    const Shape shape = step.shape();
    ZylImage *result = step.result();
    zylHistoEqualize(step.source(), result, luts.pointers(), nullptr);
    if (shape.alpha == 0 || step.integer("channel") != 0) return;
    step.source()->roi->coi = result->roi->coi = shape.alpha;
    zylCopy(step.source(), result, nullptr);
}

void norm(Step &step) {
    ZylImage *second = step.given("with") ? step.second("with") : nullptr;
    const int type = step.choice("type");
    if (second == nullptr && type > ZYL_NORM_L2) step.refuse("a relative norm needs 'with'");
    const double value = zylNorm(step.source(), second, type);
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    step.print(text);
}

// Whether colours are divided by the resulting alpha.
enum Division { NO, YES, AUTO };

// A picture without an alpha channel is opaque. Pictures in files are not
// pre-multiplied, so a result with alpha is divided unless told otherwise.
void alphaComposite(Step &step) {
    ZylImage *overlay = step.secondWithAlpha("with");
    ZylImage *source = step.source();
    const int rule = step.choice("rule");
    const int preMultiplied = step.flag("pre-multiplied");
    const int division = step.choice("divide");
    if (source->alphaChannel != 0 && !step.given("alpha") && !step.given("backdrop-alpha")) {
        const int divide = division == AUTO ? preMultiplied == 0 : division;
        zylAlphaComposite(overlay, source, step.result(), rule, nullptr, nullptr, nullptr,
                          preMultiplied, divide, nullptr);
        return;
    }
    constexpr int OPAQUE = 65535;
    auto backdrop = static_cast<int>(step.integer("backdrop-alpha"));
    if (backdrop < 0 && source->alphaChannel == 0) backdrop = OPAQUE;
    zylAlphaCompositeC(overlay, source, step.result(), rule,
                       static_cast<int>(step.integer("alpha")), backdrop, preMultiplied,
                       division == YES, nullptr);
}

const std::vector<std::pair<std::string_view, int>> RULES = {
    {"over", ZYL_COMPOSITE_OVER}, {"in", ZYL_COMPOSITE_IN},   {"out", ZYL_COMPOSITE_OUT},
    {"atop", ZYL_COMPOSITE_ATOP}, {"xor", ZYL_COMPOSITE_XOR}, {"plus", ZYL_COMPOSITE_PLUS}};

const std::vector<std::pair<std::string_view, int>> NORMS = {{"c", ZYL_NORM_C},
                                                             {"l1", ZYL_NORM_L1},
                                                             {"l2", ZYL_NORM_L2},
                                                             {"relative-c", ZYL_NORM_RELATIVE_C},
                                                             {"relative-l1", ZYL_NORM_RELATIVE_L1},
                                                             {"relative-l2", ZYL_NORM_RELATIVE_L2}};

} // namespace

std::span<const Operation> statsOperations() {
    static const std::vector<Operation> table = {
        {"compute-histo",
         "prints how often samples occur; with draw, shows it as a picture",
         {flag("draw", "make the histogram the current picture")},
         computeHisto,
         regional | prints},
        {"contrast-stretch",
         "spreads one range of samples over another one",
         {text("from", required, "the range that is spread, as in 10..200"),
          text("to", required, "what it becomes, as in 0..255")},
         contrastStretch,
         regional},
        {"histo-equalize",
         "makes all brightnesses equally frequent, each channel by itself",
         {},
         histoEqualize,
         regional},
        {"threshold",
         "makes samples below a limit black, all others white",
         {integer("limit", required, "the least sample that becomes white")},
         [](Step &s) {
             zylThreshold(s.source(), s.result(), static_cast<std::int32_t>(s.integer("limit")),
                          nullptr);
         },
         regional},
        {"norm",
         "prints a norm of the picture or of its difference from another one",
         {picture("with", "", "the other picture, of the same size and depth"),
          choice("type", "l2", "largest difference, sum, or root of the sum of squares", NORMS)},
         norm,
         regional | prints},
        {"multiply-scale",
         "multiplies by a second picture, white being 1",
         {picture("with", required, "the second picture, of the same size and depth")},
         [](Step &s) { zylMultiplyScale(s.source(), s.second("with"), s.result(), nullptr); },
         regional},
        {"multiply-s-scale",
         "multiplies by a constant, the depth's maximum being 1",
         {integer("scale", required, "the constant", 0, 65535)},
         [](Step &s) {
             zylMultiplySScale(s.source(), s.result(),
                               static_cast<std::uint32_t>(s.integer("scale")), nullptr);
         },
         regional},
        {"pre-multiply-alpha",
         "multiplies the colours by the alpha channel, or by a constant that becomes the alpha",
         {integer("alpha", "-1", "the constant; -1 for the alpha channel", -1, 65535)},
         [](Step &s) {
             zylPreMultiplyAlpha(s.result(), static_cast<std::int32_t>(s.integer("alpha")),
                                 nullptr);
         },
         regional},
        {"alpha-composite",
         "composites another picture with this one",
         {picture("with", required, "the other picture, of the same size and depth"),
          choice("rule", "over", "how the two meet", RULES),
          integer("alpha", "-1", "a constant alpha of the other picture; -1 for its own", -1,
                  65535),
          integer("backdrop-alpha", "-1", "the same for this picture", -1, 65535),
          flag("pre-multiplied", "the colours have been multiplied by their alphas already"),
          choice("divide", "auto",
                 "divide the colours by the resulting alpha; auto: where that is stored and "
                 "the colours are not pre-multiplied",
                 {{"auto", AUTO}, {"no", NO}, {"yes", YES}})},
         alphaComposite,
         regional},
    };
    return table;
}

} // namespace tool
