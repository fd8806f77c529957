#include "step.h"

#include "picture_io.h"
#include "text.h"

#include <iostream>

namespace tool {

namespace {

Parameter parameter(Kind kind, std::string_view name, Fallback fallback, std::string_view help) {
    return {kind, name, fallback, help, 0, 0, {}};
}

// Copies one channel into one channel of an image of the same size and depth.
void copyChannel(Image &from, int fromChannel, Image &to, int toChannel) {
    Shape shape = from.shape();
    from.setRegion(fromChannel, 0, 0, shape.width, shape.height);
    to.setRegion(toChannel, 0, 0, shape.width, shape.height);
    zylCopy(from.header(), to.header(), nullptr);
}

// The picture with the channels of `like`; see Step::second(). Colour never
// becomes gray here.
Image matchChannels(Image from, const Shape &like) {
    Shape shape = from.shape();
    if (shape.channels == like.channels && shape.alpha == like.alpha) return from;
    Shape wanted = like;
    wanted.width = shape.width;
    wanted.height = shape.height;
    Image to(wanted);
    for (int channel = 1; channel <= like.channels; ++channel) {
        if (channel != like.alpha) {
            copyChannel(from, shape.color() ? channel : 1, to, channel);
        } else if (shape.alpha) {
            copyChannel(from, shape.alpha, to, channel);
        } else {
            to.setRegion(channel, 0, 0, shape.width, shape.height);
            zylSet(to.header(), std::numeric_limits<std::int32_t>::max(), nullptr);
        }
    }
    to.clearRegion();
    return to;
}

} // namespace

Parameter integer(std::string_view name, Fallback fallback, std::string_view help, double least,
                  double most) {
    return {Kind::integer, name, fallback, help, least, most, {}};
}

Parameter number(std::string_view name, Fallback fallback, std::string_view help, double least,
                 double most) {
    return {Kind::number, name, fallback, help, least, most, {}};
}

Parameter choice(std::string_view name, Fallback fallback, std::string_view help,
                 std::vector<std::pair<std::string_view, int>> choices) {
    return {Kind::choice, name, fallback, help, 0, 0, std::move(choices)};
}

Parameter text(std::string_view name, Fallback fallback, std::string_view help) {
    return parameter(Kind::text, name, fallback, help);
}

Parameter picture(std::string_view name, Fallback fallback, std::string_view help) {
    return parameter(Kind::picture, name, fallback, help);
}

Parameter flag(std::string_view name, std::string_view help) {
    return parameter(Kind::flag, name, "no", help);
}

std::vector<Parameter> Operation::allParameters() const {
    std::vector<Parameter> all = parameters;
    if (traits & regional) {
        all.push_back(integer("x", "0", "first column to work on", 0));
        all.push_back(integer("y", "0", "first row", 0));
        all.push_back(integer("width", "", "columns; the rest of the picture if not given", 1));
        all.push_back(integer("height", "", "rows; the rest of the picture if not given", 1));
        all.push_back(integer("channel", "0", "channel to work on, from 1; 0 for all", 0, 4));
    }
    return all;
}

Step::Step(const Call &call, Image current, Tiling tiling)
    : call_(call), tiling_(tiling), source_(std::move(current)) {
    if (tiling_) source_ = source_.copy(tiling_);
    if (call_.operation->traits & regional) setRegion(source_);
}

void Step::setRegion(Image &image) const {
    Shape all = source_.shape();
    std::int64_t x = integer("x"), y = integer("y"), channel = integer("channel");
    std::int64_t width = given("width") ? integer("width") : all.width - x;
    std::int64_t height = given("height") ? integer("height") : all.height - y;
    if (width < 1 || height < 1 || x + width > all.width || y + height > all.height) {
        refuse("the region from column " + std::to_string(x) + " and row " + std::to_string(y) +
               " does not lie in the picture of " + describe(all));
    }
    if (channel > all.channels)
        refuse("there is no channel " + std::to_string(channel) + " in " + describe(all));
    image.setRegion(static_cast<int>(channel), static_cast<int>(x), static_cast<int>(y),
                    static_cast<int>(width), static_cast<int>(height));
}

ZylImage *Step::keep(Image image) {
    seconds_.push_back(tiling_ ? image.copy(tiling_) : std::move(image));
    return seconds_.back().header();
}

ZylImage *Step::matched(std::string_view name, const Shape &wanted) {
    const std::string &path = text(name);
    Image image = readPicture(path);
    Shape ours = shape(), theirs = image.shape();
    if (theirs.depth != ours.depth || (theirs.color() && !ours.color())) {
        refuse(path + " (" + describe(theirs) + ") does not go with a picture of " +
               describe(ours));
    }
    return keep(matchChannels(std::move(image), wanted));
}

ZylImage *Step::secondOfAnySize(std::string_view name) {
    return matched(name, shape());
}

ZylImage *Step::second(std::string_view name) {
    return ofThisSize(name, matched(name, shape()));
}

ZylImage *Step::secondWithAlpha(std::string_view name) {
    Shape wanted = shape();
    if (wanted.alpha == 0) {
        wanted = makeShape(wanted.width, wanted.height, wanted.channels + 1, wanted.depth);
    }
    return ofThisSize(name, matched(name, wanted));
}

ZylImage *Step::ofThisSize(std::string_view name, ZylImage *image) {
    Shape ours = shape(), theirs = seconds_.back().shape();
    if (theirs.width != ours.width || theirs.height != ours.height) {
        refuse(text(name) + " (" + describe(theirs) + ") is not of the same size as " +
               describe(ours));
    }
    if (call_.operation->traits & regional) setRegion(seconds_.back());
    return image;
}

ZylImage *Step::result() {
    if (!(call_.operation->traits & regional)) return result(shape());
    ZylROI *region = std::exchange(source()->roi, nullptr);
    result_ = source_.copy(tiling_);
    source()->roi = region;
    setRegion(*result_);
    return result_->header();
}

ZylImage *Step::result(const Shape &shape) {
    result_.emplace(shape, tiling_);
    return result_->header();
}

const Value &Step::value(std::string_view name) const {
    for (const auto &[known, value] : call_.values)
        if (known == name) return value;
    throw std::logic_error("the table of operations has no parameter " + std::string(name));
}

void Step::print(const std::string &line) const {
    std::cout << line << '\n';
}

void Step::refuse(const std::string &why) const {
    throw Failure(std::string(call_.operation->name) + ": " + why);
}

Image Step::take() {
    Image &image = result_ ? *result_ : source_;
    image.clearRegion();
    return tiling_ ? image.copy() : std::move(image);
}

} // namespace tool
