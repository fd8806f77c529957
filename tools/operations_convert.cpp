// Depths, color models, fewer bits, color twist.
#include "operations.h"

#include "text.h"

#include <array>
#include <memory>
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

// For functions that make one tile, given its column and row.
template <class Function>
std::function<void(Request &)> byIndex(Function function) {
    return [function](Request &r) { function(r.sources[0], r.result, r.tile); };
}

// The same for those that are given a pixel of the tile.
template <class Function>
std::function<void(Request &)> byPoint(Function function) {
    return [function](Request &r) { function(r.sources[0], r.result, &r.point); };
}

void convertDepth(Step &step, std::uint32_t depth, int keep) {
    step.then(withDepth(step.shape(), depth),
              byPoint([keep](ZylImage *from, ZylImage *to, const ZylTileMapping *point) {
                  zylConvert(from, to, keep, point);
              }));
}

void convert(Step &step) {
    const std::uint32_t depth = depthOf(step);
    const int keep = step.choice("keep");
    const Shape shape = step.shape();
    if (depth != ZYL_DEPTH_1U || shape.channels == 1) return convertDepth(step, depth, keep);
    if (!step.given("channel")) step.refuse("one channel becomes bits: needs channel");
    const auto channel = static_cast<std::int32_t>(step.integer("channel"));
    if (channel > shape.channels) step.refuse("the picture has fewer channels");
    step.then(grayShape(shape, depth), [=](Request &request) {
        const Region oneChannel(request.sources[0], regionOf(wholeOf(shape), channel));
        zylConvert(request.sources[0], request.result, keep, &request.point);
    });
}

void bitonalToGray(Step &step) {
    const auto zero = static_cast<std::int32_t>(step.integer("zero"));
    const auto one = static_cast<std::int32_t>(step.integer("one"));
    step.then(withDepth(step.shape(), depthOf(step)),
              byPoint([=](ZylImage *from, ZylImage *to, const ZylTileMapping *point) {
                  zylBitonalToGray(from, to, zero, one, point);
              }));
}

void colorToGray(Step &step) {
    step.then(grayShape(step.shape(), depthOf(step)), byIndex(zylColorToGray));
}

void grayToColor(Step &step) {
    const Shape &from = step.shape();
    const std::uint32_t depth = from.depth == ZYL_DEPTH_1U ? ZYL_DEPTH_8U : from.depth;
    const auto r = static_cast<float>(step.number("r"));
    const auto g = static_cast<float>(step.number("g"));
    const auto b = static_cast<float>(step.number("b"));
    step.then(makeShape(from.width, from.height, 3, depth),
              byIndex([=](ZylImage *gray, ZylImage *to, const std::int32_t *tile) {
                  zylGrayToColor(gray, to, r, g, b, tile);
              }));
}

// The 8-bit samples v of a picture as v * 257 in 16 bits.
void stretch(Step &step) {
    convertDepth(step, ZYL_DEPTH_16U, 1);
    step.then(step.shape(), byIndex([](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                  zylMultiplyS(from, to, 257, tile);
              }));
}

constexpr int NO_DITHER = 1, ORDERED_DITHER = 16;

void reduceBits(Step &step) {
    // A dither to fewer levels of the same depth: the cut must have something to
    // take away.
    if (step.shape().depth == ZYL_DEPTH_8U && depthOf(step) == ZYL_DEPTH_8U) stretch(step);
    const auto jitter = static_cast<std::int32_t>(step.integer("jitter"));
    const int dither = step.choice("dither");
    const auto bits = static_cast<std::int32_t>(step.integer("bits"));
    Plan plan;
    plan.result = withDepth(step.shape(), depthOf(step));
    // Noise and errors start anew in each tile.
    if (jitter != 0 || (dither != NO_DITHER && dither != ORDERED_DITHER)) plan.need = Need::whole;
    plan.make = byIndex([=](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
        zylReduceBits(from, to, jitter, dither, bits, tile);
    });
    step.then(plan);
}

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
            step.refuse("'" + word + "' is not a 32-bit integer");
        if (count == data.size()) break;
        data[count++] = static_cast<std::int32_t>(*value);
    }
    if (count != 12 && count != 16) step.refuse("matrix has 12 or 16 integers");
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
         bitonalToGray},
        {"color-to-gray",
         "makes gray of color",
         {depth("8u", "the new depth: 1u, 8u or 16u")},
         colorToGray},
        {"gray-to-color",
         "makes color of gray; with three zeros, by the weights of color-to-gray",
         {number("r", "1", "red's part of gray"), number("g", "1", "green's part of gray"),
          number("b", "1", "blue's part of gray")},
         grayToColor},
        {"rgb2hsv",
         "turns RGB to hue, saturation and value",
         {},
         [](Step &s) { changeModel<zylRGB2HSV>(s, "HSV"); }},
        {"hsv2rgb",
         "turns hue, saturation and value to RGB",
         {},
         [](Step &s) { changeModel<zylHSV2RGB>(s, "RGB"); }},
        {"rgb2hls",
         "turns RGB to hue, lightness and saturation",
         {},
         [](Step &s) { changeModel<zylRGB2HLS>(s, "HLS"); }},
        {"hls2rgb",
         "turns hue, lightness and saturation to RGB",
         {},
         [](Step &s) { changeModel<zylHLS2RGB>(s, "RGB"); }},
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
