// Zoom, decimation, rotation and mirroring.
#include "operations.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>

namespace tool {

namespace {

const Parameter interpolation =
    choice("interpolate", "linear", "how samples between pixels are made",
           {{"nearest", ZYL_INTER_NN}, {"linear", ZYL_INTER_LINEAR}, {"cubic", ZYL_INTER_CUBIC}});

// A ratio as in 3/2, 2 or 1.5.
struct Factor {
    std::int32_t upper, lower;
};

Factor parseFactor(const Step &step, std::string_view name) {
    const std::string &words = step.text(name);
    const auto refuse = [&] {
        step.refuse(std::string(name) + ": '" + words + "' is no ratio above 0 such as 3/2 or 1.5");
    };
    const std::size_t slash = words.find('/');
    std::int64_t lower = 1;
    double value = 0;
    const char *end = words.data() + (slash == std::string::npos ? words.size() : slash);
    auto number = std::from_chars(words.data(), end, value);
    if (number.ec != std::errc() || number.ptr != end) refuse();
    if (slash != std::string::npos) {
        const char *last = words.data() + words.size();
        auto divisor = std::from_chars(end + 1, last, lower);
        if (divisor.ec != std::errc() || divisor.ptr != last) refuse();
    }
    // Decimals become a ratio of thousands.
    const double thousand = value == std::floor(value) ? 1 : 1000;
    const double scaled = value * thousand;
    if (!(scaled >= 1 && scaled <= 2e9) || lower < 1 || lower > 2'000'000) refuse();
    std::int64_t upper = std::llround(scaled);
    lower *= static_cast<std::int64_t>(thousand);
    const std::int64_t divisor = std::gcd(upper, lower);
    return {static_cast<std::int32_t>(upper / divisor), static_cast<std::int32_t>(lower / divisor)};
}

// The factors of both directions: factor, or x and y on their own.
struct Factors {
    Factor x, y;
};
Factors factors(const Step &step) {
    const bool both = step.given("factor");
    if (both == (step.given("x-factor") || step.given("y-factor"))) {
        step.refuse("needs factor, or x-factor and y-factor");
    }
    if (both) {
        const Factor factor = parseFactor(step, "factor");
        return {factor, factor};
    }
    return {parseFactor(step, "x-factor"), parseFactor(step, "y-factor")};
}

std::vector<Parameter> factorParameters() {
    return {text("factor", "", "how much, as in 3/2 or 1.5"),
            text("x-factor", "", "the same for columns alone"),
            text("y-factor", "", "the same for rows alone"), interpolation};
}

// At least one pixel.
int scaled(const Step &step, int size, Factor factor) {
    const std::int64_t result = std::int64_t{size} * factor.upper / factor.lower;
    if (result > 1'000'000) step.refuse("the picture would be too large");
    return static_cast<int>(std::max<std::int64_t>(result, 1));
}

Shape scaledShape(const Step &step, const Factors &by) {
    Shape shape = step.shape();
    shape.width = scaled(step, shape.width, by.x);
    shape.height = scaled(step, shape.height, by.y);
    return shape;
}

void zoom(Step &step) {
    const Factors by = factors(step);
    if (by.x.upper < by.x.lower || by.y.upper < by.y.lower) {
        step.refuse("makes pictures larger; to make them smaller, use decimate");
    }
    zylZoom(step.source(), step.result(scaledShape(step, by)), by.x.upper, by.x.lower, by.y.upper,
            by.y.lower, step.choice("interpolate"), nullptr);
}

void decimate(Step &step) {
    const Factors by = factors(step);
    if (by.x.upper > by.x.lower || by.y.upper > by.y.lower) {
        step.refuse("makes pictures smaller; to make them larger, use zoom");
    }
    const Shape shape = step.shape();
    const auto none = [](int size, Factor f) { return std::int64_t{size} * f.upper < f.lower; };
    if (none(shape.width, by.x) || none(shape.height, by.y)) {
        step.refuse("no pixel would be left");
    }
    zylDecimate(step.source(), step.result(scaledShape(step, by)), by.x.upper, by.x.lower,
                by.y.upper, by.y.lower, step.choice("interpolate"), nullptr);
}

// A larger picture with the smaller one in its middle, black around it.
void putInMiddle(ZylImage *small, ZylImage *large) {
    ZylROI middle = {0, (large->width - small->width) / 2, (large->height - small->height) / 2,
                     small->height, small->width};
    large->roi = &middle;
    zylCopy(small, large, nullptr);
    large->roi = nullptr;
}

// The turned picture in the size that it needs. The library turns about the
// middle of a pixel, which a picture of an even size does not have: what comes
// out is cut where the picture's own middle goes.
void rotateToFit(Step &step, std::int32_t angle) {
    const Shape shape = step.shape();
    const double theta = angle * 3.14159265358979323846 / 18000;
    const double c = std::cos(theta), s = std::sin(theta);
    const auto needed = [](double size) { return static_cast<int>(std::ceil(size - 1e-6)); };
    Shape fitting = shape;
    fitting.width = needed(shape.width * std::abs(c) + shape.height * std::abs(s));
    fitting.height = needed(shape.width * std::abs(s) + shape.height * std::abs(c));
    Shape room = shape;
    room.width = (std::max(shape.width, fitting.width) + 2) | 1;
    room.height = (std::max(shape.height, fitting.height) + 2) | 1;
    Image source(room), turned(room);
    putInMiddle(step.source(), source.header());
    zylRotate(source.header(), turned.header(), angle, room.width / 2, room.height / 2,
              step.choice("interpolate"), nullptr);
    // From the middle of the room to that of the picture, before and after.
    const double dx = shape.width % 2 == 0 ? -0.5 : 0, dy = shape.height % 2 == 0 ? -0.5 : 0;
    const auto start = [](int size, double offset, int part) {
        return static_cast<int>(std::lround((size - part) / 2.0 + offset));
    };
    ZylImage *result = step.result(fitting);
    turned.setRegion(0, start(room.width, c * dx + s * dy, fitting.width),
                     start(room.height, c * dy - s * dx, fitting.height), fitting.width,
                     fitting.height);
    zylCopy(turned.header(), result, nullptr);
}

void rotate(Step &step) {
    const auto angle = static_cast<std::int32_t>(std::lround(step.number("degrees") * 100));
    if (step.flag("fit")) return rotateToFit(step, angle);
    const Shape shape = step.shape();
    const auto center = [&](std::string_view name, int size) {
        return step.given(name) ? static_cast<std::int32_t>(step.integer(name)) : size / 2;
    };
    zylRotate(step.source(), step.result(), angle, center("center-x", shape.width),
              center("center-y", shape.height), step.choice("interpolate"), nullptr);
}

} // namespace

std::span<const Operation> geometryOperations() {
    static const std::vector<Operation> table = {
        {"zoom", "makes the picture larger", factorParameters(), zoom},
        {"decimate", "makes the picture smaller by leaving pixels out", factorParameters(),
         decimate},
        {"rotate",
         "turns the picture, black coming in at the corners",
         {number("degrees", required, "the angle, counterclockwise, in steps of 0.01", -1e6, 1e6),
          interpolation,
          integer("center-x", "", "the column to turn about; the middle if not given"),
          integer("center-y", "", "the row to turn about; the middle if not given"),
          flag("fit", "give the result the size that the turned picture needs")},
         rotate},
        {"mirror",
         "exchanges left and right, top and bottom, or both",
         {choice("axis", required, "the axis that stays where it is",
                 {{"horizontal", 0}, {"vertical", 1}, {"both", -1}})},
         [](Step &s) { zylMirror(s.source(), s.result(), s.choice("axis")); },
         regional},
    };
    return table;
}

} // namespace tool
