// Depths, color models, fewer bits, color twist.
#include "operations.h"

#include "text.h"

#include <array>
#include <memory>
#include <optional>
#include <sstream>

namespace tool {

namespace {

constexpr std::uint32_t depths[] = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                    ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};

Parameter depth(Fallback fallback, std::string_view help) {
    return choice("depth", fallback, help,
                  {{"1u", 0}, {"8u", 1}, {"8s", 2}, {"16u", 3}, {"16s", 4}, {"32s", 5}});
}

std::uint32_t depthOf(const Step &step) {
    return depths[step.choice("depth")];
}

Shape withDepth(Shape shape, std::uint32_t depth) {
    shape.depth = depth;
    return shape;
}

// One channel of this depth.
Shape grayShape(const Shape &shape, std::uint32_t depth) {
    return makeShape(shape.width, shape.height, 1, depth);
}

void convert(Step &step) {
    const std::uint32_t depth = depthOf(step);
    const bool bits = depth == ZYL_DEPTH_1U;
    const Shape shape = bits ? grayShape(step.shape(), depth) : withDepth(step.shape(), depth);
    if (bits && step.shape().channels > 1) {
        if (!step.given("channel")) step.refuse("one channel becomes bits: needs channel");
        ZylImage *source = step.source();
        const auto channel = static_cast<std::int32_t>(step.integer("channel"));
        if (channel > source->nChannels) step.refuse("the picture has fewer channels");
        ZylROI roi{channel, 0, 0, source->height, source->width};
        ZylROI *before = source->roi;
        source->roi = &roi;
        zylConvert(source, step.result(shape), step.choice("keep"), nullptr);
        source->roi = before;
        return;
    }
    zylConvert(step.source(), step.result(shape), step.choice("keep"), nullptr);
}

// The 8-bit samples v of a picture as v * 257 in 16 bits.
Image stretched(const Step &step) {
    Image wide(withDepth(step.shape(), ZYL_DEPTH_16U));
    zylConvert(step.source(), wide.header(), 1, nullptr);
    zylMultiplyS(wide.header(), wide.header(), 257, nullptr);
    return wide;
}

void reduceBits(Step &step) {
    ZylImage *source = step.source();
    std::optional<Image> wide;
    // A dither to fewer levels of the same depth: the cut must have something to
    // take away.
    if (source->depth == ZYL_DEPTH_8U && depthOf(step) == ZYL_DEPTH_8U) {
        wide = stretched(step);
        source = wide->header();
    }
    ZylImage *result = step.result(withDepth(step.shape(), depthOf(step)));
    zylReduceBits(source, result, static_cast<std::int32_t>(step.integer("jitter")),
                  step.choice("dither"), static_cast<std::int32_t>(step.integer("bits")), nullptr);
}

void applyColorTwist(Step &step) {
    std::array<std::int32_t, 16> data{};
    std::istringstream words(step.text("matrix"));
    std::string word;
    std::size_t count = 0;
    while (words >> word) {
        const auto value = parseInteger(word);
        if (!value || *value < INT32_MIN || *value > INT32_MAX)
            step.refuse("'" + word + "' is not a 32-bit integer");
        if (count == data.size()) break;
        data[count++] = static_cast<std::int32_t>(*value);
    }
    if (count != 12 && count != 16) step.refuse("matrix has 12 or 16 integers");
    const std::unique_ptr<ZylColorTwist, decltype(&zylDeleteColorTwist)> twist(
        zylCreateColorTwist(data.data(), static_cast<std::int32_t>(step.integer("scale"))),
        zylDeleteColorTwist);
    if (!twist) return;
    zylApplyColorTwist(step.source(), step.result(), twist.get(),
                       static_cast<std::int32_t>(step.integer("offset")), nullptr);
}

// An operation between color models, which keeps the alpha channel.
template <auto run>
void changeModel(Step &step) {
    ZylImage *result = step.result();
    zylCopy(step.source(), result, nullptr);
    run(step.source(), result, nullptr);
}

} // namespace

std::span<const Operation> convertOperations() {
    static const std::vector<Operation> table = {
        {"convert",
         "changes the depth of the samples",
         {depth(required, "the new depth"),
          choice("keep", "high", "which bits stay where they become fewer",
                 {{"low", 0}, {"high", 1}}),
          integer("channel", "1", "the channel that becomes bits", 1, 4)},
         convert},
        {"bitonal-to-gray",
         "gives the two values of a 1-bit picture",
         {depth("8u", "the new depth"), integer("zero", "0", "the value of 0"),
          integer("one", "255", "the value of 1")},
         [](Step &s) {
             zylBitonalToGray(s.source(), s.result(withDepth(s.shape(), depthOf(s))),
                              static_cast<std::int32_t>(s.integer("zero")),
                              static_cast<std::int32_t>(s.integer("one")), nullptr);
         }},
        {"color-to-gray",
         "makes gray of color",
         {depth("8u", "the new depth: 1u, 8u or 16u")},
         [](Step &s) {
             zylColorToGray(s.source(), s.result(grayShape(s.shape(), depthOf(s))), nullptr);
         }},
        {"gray-to-color",
         "makes color of gray; with three zeros, by the weights of color-to-gray",
         {number("r", "1", "red's part of gray"), number("g", "1", "green's part of gray"),
          number("b", "1", "blue's part of gray")},
         [](Step &s) {
             const Shape from = s.shape();
             const std::uint32_t depth = from.depth == ZYL_DEPTH_1U ? ZYL_DEPTH_8U : from.depth;
             zylGrayToColor(s.source(), s.result(makeShape(from.width, from.height, 3, depth)),
                            static_cast<float>(s.number("r")), static_cast<float>(s.number("g")),
                            static_cast<float>(s.number("b")), nullptr);
         }},
        {"rgb2hsv", "turns RGB to hue, saturation and value", {}, changeModel<zylRGB2HSV>},
        {"hsv2rgb", "turns hue, saturation and value to RGB", {}, changeModel<zylHSV2RGB>},
        {"rgb2hls", "turns RGB to hue, lightness and saturation", {}, changeModel<zylRGB2HLS>},
        {"hls2rgb", "turns hue, lightness and saturation to RGB", {}, changeModel<zylHLS2RGB>},
        {"reduce-bits",
         "cuts the samples to a lower depth or fewer levels, with noise or dithered",
         {depth("8u", "the new depth: 16u, 8u or 1u"),
          integer("jitter", "0", "strength of the noise before the cut", 0, 8),
          choice("dither", "1", "1 none, 2 Floyd-Steinberg, 4 Jarvis, 8 Stucki, 16 ordered",
                 {{"1", 1}, {"2", 2}, {"4", 4}, {"8", 8}, {"16", 16}}),
          integer("bits", "1", "the dither's step is the largest sample shifted right by these")},
         reduceBits},
        {"apply-color-twist",
         "mixes the color channels by a matrix",
         {text(
              "matrix", required,
              "12 integers with blanks between them: of each channel three factors and a constant"),
          integer("scale", "0", "the results are divided by 2^scale", 0, 31),
          integer("offset", "0", "what is added in the end")},
         applyColorTwist,
         regional},
    };
    return table;
}

} // namespace tool
