#include "step.h"

#include "described.h"
#include "text.h"

#include <algorithm>
#include <deque>

namespace tool {

namespace {

// A picture with the channels of another shape; see Step::other(). Colour never
// becomes gray here.
void likeChannels(const Shape &from, const Shape &wanted, const Request &request) {
    ZylImage *source = request.sources[0];
    for (int channel = 1; channel <= wanted.channels; ++channel) {
        const Region writing(request.window, inWindow(request, request.place, channel));
        if (channel == wanted.alpha && !from.alpha) {
            zylSet(request.window, std::numeric_limits<std::int32_t>::max(), nullptr);
            continue;
        }
        const int read = channel == wanted.alpha ? from.alpha : from.color() ? channel : 1;
        const Region reading(source, regionOf(request.place, read));
        zylCopy(source, request.window, nullptr);
    }
}

std::string_view functionOf(const Operation &operation) {
    return operation.function.empty() ? operation.name : operation.function;
}

bool contains(const std::vector<std::uint32_t> &depths, std::uint32_t depth) {
    return std::find(depths.begin(), depths.end(), depth) != depths.end();
}

// "1u, 8u and 16u"
std::string listed(const std::vector<std::uint32_t> &depths) {
    std::string list;
    for (std::size_t i = 0; i < depths.size(); ++i) {
        if (i > 0) list += i + 1 == depths.size() ? " and " : ", ";
        list += nameOf(depths[i]);
    }
    return list;
}

// The depth to convert to: the narrowest that loses nothing, else the widest.
std::string nearestOf(const std::vector<std::uint32_t> &depths, std::uint32_t depth) {
    std::uint32_t best = depths.back();
    const auto bits = [](std::uint32_t d) { return d & ~ZYL_DEPTH_SIGN; };
    for (auto at = depths.rbegin(); at != depths.rend(); ++at)
        if (bits(*at) >= bits(depth) && !(*at & ZYL_DEPTH_SIGN)) best = *at;
    return nameOf(best);
}

unsigned layoutOf(const Shape &shape) {
    if (shape.color()) return shape.alpha ? colorAlphaLayout : colorLayout;
    return shape.alpha ? grayAlphaLayout : grayLayout;
}

std::string nameOfLayout(unsigned layout) {
    switch (layout) {
    case grayLayout:
        return "gray";
    case grayAlphaLayout:
        return "gray with alpha";
    case colorLayout:
        return "color";
    default:
        return "color with alpha";
    }
}

// What the picture lacks, and what would do.
std::string layoutFault(unsigned taken, const Shape &shape) {
    const unsigned has = layoutOf(shape);
    if ((taken & (grayLayout | grayAlphaLayout)) == 0 && (has & (grayLayout | grayAlphaLayout)))
        return "takes color, not " + nameOfLayout(has) + ": gray-to-color first";
    if ((taken & (colorLayout | colorAlphaLayout)) == 0 && (has & (colorLayout | colorAlphaLayout)))
        return "takes gray, not " + nameOfLayout(has) + ": gray first, or crop:channel=1";
    if (!shape.alpha) return "needs a picture with alpha";
    return "takes no alpha: crop:channel=1 first";
}

} // namespace

std::vector<Parameter> Operation::allParameters() const {
    std::vector<Parameter> all = parameters;
    if (traits & regional) {
        all.push_back(integer("x", "0", "first column to work on", 0));
        all.push_back(integer("y", "0", "first row", 0));
        all.push_back(integer("width", "", "columns; the rest of the picture if not given", 1));
        all.push_back(integer("height", "", "rows; the rest of the picture if not given", 1));
        all.push_back(integer("channel", "0", "channel to work on, from 1; 0 for all", 0, 4));
    }
    if ((traits & pointwise) == pointwise)
        all.push_back(flag("alpha", "work on the alpha channel too"));
    return all;
}

Step::Step(const Call &call, Pipeline &pipeline, Node picture, const OpenPicture &open)
    : call_(call), pipeline_(pipeline), open_(open), node_(picture), region_(wholeOf(shape())) {
    check(functionOf(*call_.operation));
    if (call_.operation->traits & regional) readRegion();
}

void Step::check(std::string_view function) const {
    const Described *facts = described(function);
    if (!facts) return;
    std::vector<std::uint32_t> depths;
    for (const auto &[source, results] : facts->depths) depths.push_back(source);
    if (!contains(depths, shape().depth)) {
        refuse("takes " + listed(depths) + ", not " + nameOf(shape().depth) +
               ": convert first, as in convert:depth=" + nearestOf(depths, shape().depth));
    }
    if (!(call_.operation->traits & anyLayout) && !(facts->layouts & layoutOf(shape())))
        refuse(layoutFault(facts->layouts, shape()));
    if (shape().model.compare(0, facts->model.size(), facts->model) != 0) {
        refuse("takes " + std::string(facts->model) + ", not " + shape().model.substr(0, 3));
    }
}

void Step::checkResult(std::uint32_t depth) const {
    for (const auto &[source, results] : described(functionOf(*call_.operation))->depths) {
        if (source != shape().depth || contains(results, depth)) continue;
        refuse("makes " + listed(results) + " of " + nameOf(source) + ", not " + nameOf(depth));
    }
}

bool Step::keepsAlpha() const {
    return (call_.operation->traits & pointwise) == pointwise && shape().alpha != 0 &&
           channel_ == 0 && !flag("alpha");
}

void Step::readRegion() {
    const Shape &all = shape();
    std::int64_t x = integer("x"), y = integer("y");
    std::int64_t width = given("width") ? integer("width") : all.width - x;
    std::int64_t height = given("height") ? integer("height") : all.height - y;
    if (!given("width")) width = std::max<std::int64_t>(width, 0);
    if (!given("height")) height = std::max<std::int64_t>(height, 0);
    if (width < 1 || height < 1 || x + width > all.width || y + height > all.height) {
        refuse("the region " + std::to_string(width) + " x " + std::to_string(height) +
               " at x=" + std::to_string(x) + ", y=" + std::to_string(y) +
               " does not lie in the picture of " + describe(all));
    }
    channel_ = static_cast<int>(integer("channel"));
    if (channel_ > all.channels)
        refuse("there is no channel " + std::to_string(channel_) + " in " + describe(all));
    region_ = {static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
               static_cast<int>(height)};
}

void Step::then(Plan plan, const std::vector<Node> &others) {
    plan.name = nameOfCall();
    std::vector<Node> sources = {node_};
    sources.insert(sources.end(), others.begin(), others.end());
    node_ = pipeline_.add(std::move(plan), std::move(sources));
}

void Step::then(const Shape &result, std::function<void(Request &)> make) {
    Plan plan;
    plan.result = result;
    plan.make = std::move(make);
    then(std::move(plan));
}

void Step::thenOnRegion(Work work, const std::vector<Node> &others, Plan plan) {
    onRegion(false, std::move(work), others, std::move(plan));
}

void Step::thenOnCopy(Work work, const std::vector<Node> &others) {
    onRegion(true, std::move(work), others, {});
}

void Step::onRegion(bool copied, Work work, const std::vector<Node> &others, Plan plan) {
    plan.result = shape();
    plan.make = [copied, region = region_, channel = channel_, work = std::move(work),
                 alpha = keepsAlpha() ? shape().alpha : 0](Request &request) {
        const Rect &all = request.place;
        const Rect part = intersection(all, region);
        const bool filled = part.width == all.width && part.height == all.height && channel == 0;
        if (copied || !filled) copyPart(request, request.sources[0], all, all);
        if (empty(part)) return;
        {
            std::deque<Region> regions;
            for (ZylImage *source : request.sources)
                regions.emplace_back(source, regionOf(part, channel));
            regions.emplace_back(request.window, inWindow(request, part, channel));
            work(request.sources, request.window);
        }
        if (alpha) copyPart(request, request.sources[0], part, part, alpha);
    };
    then(std::move(plan), others);
}

Step::Node Step::alike(std::string_view name, Shape wanted) {
    const std::string &path = text(name);
    const Node file = open_(path);
    const Shape ours = shape(), theirs = shape(file);
    if (theirs.depth != ours.depth || (theirs.color() && !ours.color())) {
        const bool color = theirs.depth == ours.depth;
        refuse(path + " is of " + describe(theirs) + " and the picture of " + describe(ours) +
               (color ? ": gray-to-color first" : ": convert one of them first"));
    }
    if (theirs.channels == wanted.channels && theirs.alpha == wanted.alpha) return file;
    wanted.width = theirs.width;
    wanted.height = theirs.height;
    Plan plan;
    plan.name = path;
    plan.result = wanted;
    plan.make = [theirs, wanted](Request &request) { likeChannels(theirs, wanted, request); };
    return pipeline_.add(std::move(plan), {file});
}

Step::Node Step::ofThisSize(std::string_view name, const Shape &wanted) {
    const Node node = alike(name, wanted);
    const Shape &ours = shape(), &theirs = shape(node);
    if (theirs.width != ours.width || theirs.height != ours.height) {
        refuse("the two pictures differ in size: " + std::to_string(ours.width) + " x " +
               std::to_string(ours.height) + " and " + std::to_string(theirs.width) + " x " +
               std::to_string(theirs.height) + " (" + text(name) + ")");
    }
    return node;
}

Step::Node Step::other(std::string_view name) {
    return ofThisSize(name, shape());
}

Step::Node Step::otherOfAnySize(std::string_view name) {
    return alike(name, shape());
}

Step::Node Step::otherWithAlpha(std::string_view name) {
    Shape wanted = shape();
    if (wanted.alpha == 0)
        wanted = makeShape(wanted.width, wanted.height, wanted.channels + 1, wanted.depth);
    return ofThisSize(name, wanted);
}

const Value &Step::value(std::string_view name) const {
    for (const auto &[known, value] : call_.values)
        if (known == name) return value;
    throw std::logic_error("the table of operations has no parameter " + std::string(name));
}

void Step::refuse(const std::string &why) const {
    throw Failure(nameOfCall() + ": " + why);
}

void Step::misuse(const std::string &why) const {
    throw Misuse(nameOfCall() + ": " + why);
}

// As the user has it.
std::string Step::nameOfCall() const {
    return call_.words.substr(0, call_.words.find(':'));
}

} // namespace tool
