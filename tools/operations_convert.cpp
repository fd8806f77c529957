// Depths, color models, fewer bits, color twist.
#include "depths.h"
#include "diffusion.h"
#include "operations.h"

#include "text.h"

#include <array>
#include <memory>
#include <sstream>

namespace tool {

namespace {

constexpr std::uint32_t depths[] = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                    ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};
constexpr int SAME_DEPTH = -1;

Parameter depth(Fallback fallback, std::string_view help,
                std::vector<std::pair<std::string_view, int>> choices = {
                    {"1u", 0}, {"8u", 1}, {"8s", 2}, {"16u", 3}, {"16s", 4}, {"32s", 5}}) {
    return choice("depth", fallback, help, std::move(choices));
}

std::uint32_t depthOf(const Step &step) {
    const int chosen = step.choice("depth");
    return chosen == SAME_DEPTH ? step.shape().depth : depths[chosen];
}

// One channel of this depth.
Shape grayShape(const Shape &shape, std::uint32_t depth) {
    return makeShape(shape.width, shape.height, 1, depth);
}

// One channel of the picture.
void takeChannel(Step &step, int channel) {
    const Shape shape = step.shape();
    step.then(grayShape(shape, shape.depth), [channel](Request &request) {
        const Region reading(request.sources[0], regionOf(request.place, channel));
        zylCopy(request.sources[0], request.window, nullptr);
    });
}

void convert(Step &step) {
    const std::uint32_t depth = depthOf(step);
    const int keep = step.choice("keep");
    if (keep != SCALE && step.shape().depth == ZYL_DEPTH_1U && depth != ZYL_DEPTH_1U)
        step.refuse("a sample of one bit has no low and high bits: leave keep out");
    if (depth == ZYL_DEPTH_1U && step.shape().channels > 1) {
        if (!step.given("channel"))
            step.refuse("one channel becomes bits: color-to-gray first, or give channel");
        const auto channel = static_cast<int>(step.integer("channel"));
        if (channel > step.shape().channels) step.refuse("the picture has fewer channels");
        takeChannel(step, channel);
    }
    if (keep == SCALE) return convertScaled(step, depth);
    convertPlain(step, depth, keep);
}

void bitonalToGray(Step &step) {
    const std::uint32_t depth = depthOf(step);
    step.checkResult(depth);
    const std::int64_t half = std::int64_t{1} << ((depth & ~ZYL_DEPTH_SIGN) - 1);
    const bool isSigned = (depth & ZYL_DEPTH_SIGN) != 0;
    const std::int64_t least = isSigned ? -half : 0, most = isSigned ? half - 1 : 2 * half - 1;
    const auto value = [&](std::string_view name, std::int64_t fallback) {
        const std::int64_t given = step.given(name) ? step.integer(name) : fallback;
        if (given < least || given > most) {
            step.misuse(std::string(name) + "=" + std::to_string(given) + " does not fit " +
                        nameOf(depth) + ", which has " + std::to_string(least) + " to " +
                        std::to_string(most));
        }
        return static_cast<std::int32_t>(given);
    };
    bitsToGray(step, depth, value("zero", 0), value("one", most));
}

// ---- color models --------------------------------------------------------------------

// The current picture with an alpha channel of its size and depth.
void joinAlpha(Step &step, Step::Node alpha) {
    const Shape shape = step.shape();
    Plan plan;
    plan.result = makeShape(shape.width, shape.height, shape.channels + 1, shape.depth);
    plan.make = [channels = shape.channels](Request &request) {
        for (int channel = 1; channel <= channels + 1; ++channel) {
            ZylImage *source = request.sources[channel > channels ? 1 : 0];
            const int read = channel > channels ? 1 : channel;
            const Region reading(source, regionOf(request.place, read));
            const Region writing(request.window, inWindow(request, request.place, channel));
            zylCopy(source, request.window, nullptr);
        }
    };
    step.then(plan, {alpha});
}

// Runs `change` on the colors of a picture; its alpha channel, in the new depth,
// stays with them.
template <class Function>
void besideAlpha(Step &step, Function change) {
    const int alpha = step.shape().alpha;
    if (alpha == 0) return change();
    const Step::Node before = step.node();
    change();
    const std::uint32_t depth = step.shape().depth;
    if (depth == ZYL_DEPTH_1U) return;
    const Step::Node changed = step.node();
    step.goTo(before);
    takeChannel(step, alpha);
    convertScaled(step, depth);
    const Step::Node kept = step.node();
    step.goTo(changed);
    joinAlpha(step, kept);
}

void colorToGray(Step &step) {
    const std::uint32_t depth = depthOf(step);
    if (depth == ZYL_DEPTH_32S)
        step.refuse("makes 1u, 8u and 16u of 32s: give one of them, as in depth=16u");
    besideAlpha(step, [&] { step.then(grayShape(step.shape(), depth), byIndex(zylColorToGray)); });
}

void gray(Step &step) {
    if (!step.shape().color()) return convertScaled(step, depthOf(step));
    step.check("color-to-gray");
    colorToGray(step);
}

void grayToColor(Step &step) {
    const Shape shape = step.shape();
    const std::uint32_t depth = shape.depth == ZYL_DEPTH_1U ? ZYL_DEPTH_8U : shape.depth;
    const auto r = static_cast<float>(step.number("r"));
    const auto g = static_cast<float>(step.number("g"));
    const auto b = static_cast<float>(step.number("b"));
    besideAlpha(step, [&] {
        if (shape.alpha) takeChannel(step, 1);
        step.then(makeShape(shape.width, shape.height, 3, depth),
                  byIndex([=](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                      zylGrayToColor(from, to, r, g, b, tile);
                  }));
    });
}

// ---- fewer bits ----------------------------------------------------------------------

constexpr int NO_DITHER = 1, ORDERED_DITHER = 16;

// The library's cut, noise and dither.
void reduce(Step &step, std::uint32_t depth, std::int32_t jitter, int dither, std::int32_t bits) {
    const bool diffuses = dither != NO_DITHER && dither != ORDERED_DITHER;
    Plan plan;
    plan.result = withDepth(step.shape(), depth);
    // Noise starts anew in each tile.
    if (jitter != 0) plan.need = Need::whole;
    plan.make = byIndex([=, dither = diffuses ? NO_DITHER : dither](ZylImage *from, ZylImage *to,
                                                                    const std::int32_t *tile) {
        zylReduceBits(from, to, jitter, dither, bits, tile);
    });
    step.then(plan);
    if (diffuses) step.then(diffuse(step.shape(), static_cast<Diffusion>(dither), bits));
}

// Dithers make multiples of a step, which is the largest sample shifted right. So
// that 2^bits of them fill the range, samples are scaled before: the largest one to
// the highest level, and the levels back to equal distances. Alpha is left alone.
struct Levels {
    std::int32_t count, step, largest;
};

void scaleToLevels(Step &step, const Levels &levels, std::uint32_t scale) {
    if (levels.count == 2) return;
    step.thenOnRegion([scale](const std::vector<ZylImage *> &from, ZylImage *to) {
        zylMultiplySScale(from[0], to, scale, nullptr);
    });
}

void spreadLevels(Step &step, const Levels &levels) {
    if (levels.count == 2) return;
    std::vector<std::int32_t> keys, values;
    for (std::int32_t i = 0; i < levels.count; ++i) {
        keys.push_back(i * levels.step);
        values.push_back(static_cast<std::int32_t>(
            (std::int64_t{i} * levels.largest + (levels.count - 1) / 2) / (levels.count - 1)));
    }
    keys.push_back(levels.largest + 1);
    values.push_back(values.back());
    step.thenOnRegion([keys, values, channels = step.shape().channels](
                          const std::vector<ZylImage *> &from, ZylImage *to) {
        std::vector<std::int32_t> key = keys, value = values;
        ZylLUT lut{static_cast<std::int32_t>(key.size()), key.data(), value.data(), nullptr, 0};
        const std::vector<ZylLUT *> luts(channels, &lut);
        zylContrastStretch(from[0], to, luts.data(), nullptr);
    });
}

// A picture of 8 or 16 unsigned bits with 2^bits levels.
void ditherTo(Step &step, std::uint32_t depth, std::int32_t jitter, int dither, std::int32_t bits) {
    const std::int32_t largest = depth == ZYL_DEPTH_8U ? 255 : 65535;
    const Levels levels{1 << bits, largest >> bits, largest};
    if (step.shape().depth == ZYL_DEPTH_32S) reduce(step, ZYL_DEPTH_16U, 0, NO_DITHER, 0);
    if (step.shape().depth == ZYL_DEPTH_8U) convertScaled(step, ZYL_DEPTH_16U);
    const std::int64_t top = std::int64_t{levels.count - 1} * levels.step;
    scaleToLevels(step, levels, static_cast<std::uint32_t>((top * 65535 + largest - 1) / largest));
    if (depth == ZYL_DEPTH_16U) {
        // The cut must have something to take away.
        convertPlain(step, ZYL_DEPTH_32S, LOW);
        step.then(step.shape(), byIndex([](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                      zylAddS(from, to, 32768, tile);
                  }));
        multiply(step, 32768);
    }
    reduce(step, depth, jitter, dither, levels.count == 2 ? 0 : bits);
    spreadLevels(step, levels);
}

void reduceBits(Step &step) {
    const std::uint32_t from = step.shape().depth, depth = depthOf(step);
    const auto jitter = static_cast<std::int32_t>(step.integer("jitter"));
    const int dither = step.choice("dither");
    const bool bits = depth == ZYL_DEPTH_1U;
    const std::uint32_t made = bits ? ZYL_DEPTH_8U : depth;
    if (bits && step.shape().channels > 1)
        step.refuse("one channel becomes bits: color-to-gray first, or crop:channel=1");
    if ((from & 0x7F) < made) {
        step.refuse("makes samples narrower, not " + nameOf(depth) + " of " + nameOf(from) +
                    ": use convert");
    }
    if (dither == NO_DITHER) {
        if (from == depth) {
            step.refuse("a cut from " + nameOf(from) + " to " + nameOf(depth) +
                        " changes nothing: give a dither, as in dither=floyd-steinberg");
        }
        if (step.given("bits")) step.misuse("bits go with a dither");
        if (from != ZYL_DEPTH_8U && bits) reduce(step, ZYL_DEPTH_8U, 0, dither, 0);
        return reduce(step, depth, jitter, dither, 0);
    }
    const auto wanted = static_cast<std::int32_t>(step.integer("bits"));
    if (bits && wanted != 1) step.misuse("1u has one bit: leave bits out");
    if (wanted >= static_cast<std::int32_t>(made)) {
        step.refuse("bits=" + std::to_string(wanted) + " is no fewer than " + nameOf(made) +
                    " has");
    }
    ditherTo(step, made, jitter, dither, wanted);
    if (bits) cutToBits(step);
}

// ---- color twist -----------------------------------------------------------------------

struct DeleteTwist {
    void operator()(ZylColorTwist *twist) const { zylDeleteColorTwist(twist); }
};

void applyColorTwist(Step &step) {
    std::array<std::int32_t, 16> data{};
    std::istringstream words(step.text("matrix"));
    std::string word;
    std::size_t count = 0;
    while (words >> word) {
        const auto value = parseInteger(word);
        if (!value || *value < INT32_MIN || *value > INT32_MAX)
            step.misuse("'" + word + "' is not a 32-bit integer");
        if (count == data.size()) break;
        data[count++] = static_cast<std::int32_t>(*value);
    }
    if (count != 12 && count != 16) step.misuse("matrix has 12 or 16 integers");
    const auto scale = static_cast<std::int32_t>(step.integer("scale"));
    const auto offset = static_cast<std::int32_t>(step.integer("offset"));
    const std::shared_ptr<ZylColorTwist> twist(zylCreateColorTwist(data.data(), scale),
                                               DeleteTwist());
    if (!twist) throw std::bad_alloc();
    step.thenOnCopy([=](const std::vector<ZylImage *> &from, ZylImage *to) {
        zylApplyColorTwist(from[0], to, twist.get(), offset, nullptr);
    });
}

// An operation between color models, which keeps the alpha channel.
template <auto run>
void changeModel(Step &step, std::string_view model) {
    Shape shape = step.shape();
    shape.model.replace(0, 3, model);
    shape.sequence.replace(0, 3, model);
    step.then(shape, byIndex([](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                  if (from->alphaChannel) zylCopy(from, to, tile);
                  run(from, to, tile);
              }));
}

} // namespace

std::span<const Operation> convertOperations() {
    static const std::vector<Operation> table = completed({
        {"convert",
         "changes the depth of the samples, black and white staying black and white",
         {depth(required, "the new depth"),
          choice("keep", "scale",
                 "scale: the whole range becomes the whole range; low and high: the bits that "
                 "stay by the library's plain rule",
                 {{"scale", SCALE}, {"low", LOW}, {"high", HIGH}}),
          integer("channel", "1", "the channel that becomes bits", 1, 4)},
         convert,
         plain,
         "convert:depth=16u"},
        {"bitonal-to-gray",
         "",
         {depth("8u", "the new depth"), ofLibrary("zero"), ofLibrary("one")},
         bitonalToGray,
         plain,
         "convert:depth=1u,channel=1 bitonal-to-gray:zero=40,one=200"},
        {"gray",
         "makes gray of any picture, of the same depth",
         {depth("same", "another depth: 1u, 8u or 16u",
                {{"same", SAME_DEPTH}, {"1u", 0}, {"8u", 1}, {"16u", 3}})},
         gray,
         anyLayout,
         "gray",
         "-"},
        {"color-to-gray",
         "makes gray of color, of the same depth",
         {depth("same", "another depth: 1u, 8u or 16u",
                {{"same", SAME_DEPTH}, {"1u", 0}, {"8u", 1}, {"16u", 3}})},
         colorToGray,
         plain,
         "color-to-gray"},
        {"gray-to-color",
         "",
         {ofLibrary("r"), ofLibrary("g"), ofLibrary("b")},
         grayToColor,
         anyLayout,
         "gray gray-to-color:r=1,g=0.8,b=0.6"},
        {"rgb2hsv",
         "",
         {},
         [](Step &s) { changeModel<zylRGB2HSV>(s, "HSV"); },
         plain,
         "rgb2hsv hsv2rgb"},
        {"hsv2rgb",
         "",
         {},
         [](Step &s) { changeModel<zylHSV2RGB>(s, "RGB"); },
         plain,
         "rgb2hsv hsv2rgb"},
        {"rgb2hls",
         "",
         {},
         [](Step &s) { changeModel<zylRGB2HLS>(s, "HLS"); },
         plain,
         "rgb2hls hls2rgb"},
        {"hls2rgb",
         "",
         {},
         [](Step &s) { changeModel<zylHLS2RGB>(s, "RGB"); },
         plain,
         "rgb2hls hls2rgb"},
        {"reduce-bits",
         "cuts 8u, 16u and 32s to 1u, 8u or 16u, with noise; dithers to fewer levels",
         {depth("8u", "the new depth, at most that of the picture",
                {{"1u", 0}, {"8u", 1}, {"16u", 3}}),
          ofLibrary("jitter"), ofLibrary("dither"),
          integer("bits", "1", "dithers leave 2^bits levels, in equal distances", 1, 15)},
         reduceBits,
         plain,
         "reduce-bits:dither=floyd-steinberg,bits=2"},
        {"apply-color-twist",
         "",
         {text("matrix", required,
               "12 integers with blanks between them: of each channel three factors and a "
               "constant"),
          integer("scale", "0", "the results are divided by 2^scale", 0, 31), ofLibrary("offset")},
         applyColorTwist,
         regional,
         "'apply-color-twist:matrix=0 0 1 0 0 1 0 0 1 0 0 0'"},
    });
    return table;
}

} // namespace tool
