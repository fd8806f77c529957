// Zoom, decimation, rotation and mirroring.
#include "operations.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>

namespace tool {

namespace {

// A ratio as in 3/2, 2 or 1.5.
struct Factor {
    std::int32_t upper, lower;
};

Factor parseFactor(const Step &step, std::string_view name) {
    const std::string &words = step.text(name);
    const auto refuse = [&] {
        step.misuse(std::string(name) + ": '" + words + "' is no ratio above 0 such as 3/2 or 1.5");
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
        step.misuse("needs factor, or x-factor and y-factor");
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
            text("y-factor", "", "the same for rows alone"), ofLibrary("interpolate")};
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

using Scale = void (*)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                       std::int32_t, std::int32_t, const ZylTileMapping *);

void scaleBy(Step &step, const Shape &result, Scale scale, const Factors &by) {
    const int interpolate = step.choice("interpolate");
    step.then(result, [=](Request &r) {
        scale(r.sources[0], r.result, by.x.upper, by.x.lower, by.y.upper, by.y.lower, interpolate,
              &r.point);
    });
}

// The library steps by multiples of 2^-14 where it takes the nearest pixel. Written
// as such a factor, tiles begin where those steps lead.
Factor nearestFactor(Factor factor) {
    constexpr std::int32_t UNIT = 1 << 14;
    const auto step = static_cast<std::int32_t>(std::int64_t{UNIT} * factor.lower / factor.upper);
    return {UNIT, std::max(step, 1)};
}

void zoom(Step &step) {
    Factors by = factors(step);
    if (by.x.upper < by.x.lower || by.y.upper < by.y.lower) {
        step.misuse("makes pictures larger; to make them smaller, use decimate");
    }
    const Shape &shape = step.shape();
    const Shape result = scaledShape(step, by);
    const bool nearest = step.choice("interpolate") == ZYL_INTER_NN ||
                         shape.depth == ZYL_DEPTH_1U || shape.width < 2 || shape.height < 2;
    if (nearest) by = {nearestFactor(by.x), nearestFactor(by.y)};
    scaleBy(step, result, zylZoom, by);
}

void decimate(Step &step) {
    const Factors by = factors(step);
    if (by.x.upper > by.x.lower || by.y.upper > by.y.lower) {
        step.misuse("makes pictures smaller; to make them larger, use zoom");
    }
    const Shape &shape = step.shape();
    const auto none = [](int size, Factor f) { return std::int64_t{size} * f.upper < f.lower; };
    if (none(shape.width, by.x) || none(shape.height, by.y)) {
        step.refuse("no pixel would be left");
    }
    scaleBy(step, scaledShape(step, by), zylDecimate, by);
}

// Puts the picture at a place in a larger or smaller one, black around it.
void place(Step &step, const Shape &result, int x, int y) {
    step.then(result, [picture = moved(wholeOf(step.shape()), x, y), x, y](Request &request) {
        zylSet(request.window, 0, nullptr);
        const Rect part = intersection(request.place, picture);
        if (!empty(part)) copyPart(request, request.sources[0], moved(part, -x, -y), part);
    });
}

// Turns the picture about the middle of a pixel.
void turn(Step &step, std::int32_t angle, int x, int y) {
    Plan plan;
    plan.result = step.shape();
    plan.need = Need::anywhere;
    plan.make = [=, interpolate = step.choice("interpolate")](Request &r) {
        zylRotate(r.sources[0], r.result, angle, x, y, interpolate, r.tile);
    };
    step.then(plan);
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
    // From the middle of the room to that of the picture, before and after.
    const double dx = shape.width % 2 == 0 ? -0.5 : 0, dy = shape.height % 2 == 0 ? -0.5 : 0;
    const auto start = [](int size, double offset, int part) {
        return static_cast<int>(std::lround((size - part) / 2.0 + offset));
    };
    place(step, room, (room.width - shape.width) / 2, (room.height - shape.height) / 2);
    turn(step, angle, room.width / 2, room.height / 2);
    place(step, fitting, -start(room.width, c * dx + s * dy, fitting.width),
          -start(room.height, c * dy - s * dx, fitting.height));
}

void rotate(Step &step) {
    const auto angle = static_cast<std::int32_t>(std::lround(step.number("degrees") * 100));
    if (step.flag("fit")) return rotateToFit(step, angle);
    const auto center = [&](std::string_view name, int size) {
        return step.given(name) ? static_cast<std::int32_t>(step.integer(name)) : size / 2;
    };
    turn(step, angle, center("center-x", step.shape().width),
         center("center-y", step.shape().height));
}

// A tile is made of the part of the region that it is the mirror image of.
void mirror(Step &step) {
    const Rect region = step.region();
    const int channel = step.channel(), axis = step.choice("axis");
    Plan plan;
    plan.result = step.shape();
    if (axis != 1) plan.need = Need::anywhere;
    plan.make = [region, channel, axis](Request &request) {
        copyPart(request, request.sources[0], request.place, request.place);
        const Rect part = intersection(request.place, region);
        if (empty(part)) return;
        Rect from = part;
        if (axis != 0) from.x = 2 * region.x + region.width - part.x - part.width;
        if (axis != 1) from.y = 2 * region.y + region.height - part.y - part.height;
        const ZylROI written = inWindow(request, part, channel);
        const Region reading(request.sources[0], regionOf(from, channel));
        const Region writing(request.window, written);
        zylMirror(request.sources[0], request.window, axis);
    };
    step.then(plan);
}

} // namespace

std::span<const Operation> geometryOperations() {
    static const std::vector<Operation> table = completed({
        {"zoom", "", factorParameters(), zoom, plain, "zoom:factor=3/2,interpolate=cubic"},
        {"decimate", "", factorParameters(), decimate, plain, "decimate:factor=1/2"},
        {"rotate",
         "",
         {number("degrees", required, "the angle, counterclockwise, in steps of 0.01", -1e6, 1e6),
          ofLibrary("interpolate"), ofLibrary("center-x"), ofLibrary("center-y"),
          flag("fit", "give the result the size that the turned picture needs")},
         rotate,
         plain,
         "rotate:degrees=30,fit"},
        {"mirror", "", {ofLibrary("axis")}, mirror, regional, "mirror:axis=vertical"},
    });
    return table;
}

} // namespace tool
