#include "selftest/case.h"

namespace selftest {

namespace {

constexpr std::array<std::uint32_t, 6> DEPTHS = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                                 ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};

// The case that the thread runs: the report callback has no other way to it.
thread_local Case *running = nullptr;

// Most images are narrow; some are wide enough for the longest vectors, or have
// sides that are powers of two.
int side(Random &in, int usual) {
    switch (in.below(8)) {
    case 0:
        return in.between(1, 4);
    case 1:
        return 1 << in.between(0, 6);
    case 2:
        return in.between(1, 3 * usual);
    default:
        return in.between(1, usual);
    }
}

// Seldom one outside the image.
int tileColumn(Random &in) {
    const int column = in.below(6);
    return in.oneIn(12) ? column - 1 : column;
}

} // namespace

Case::Case(std::uint64_t seed)
    : in(seed), tiled_(in.oneIn(3)), regions_(in.flag()), channelsOfInterest_(in.oneIn(3)),
      stray_(in.oneIn(12)), size_{side(in, 70), side(in, 20)}, place_{tileColumn(in), in.below(4)},
      mapping_{in.below(100), in.below(40)} {
    running = this;
    zylRedirectError(addReport);
    zylSetErrMode(ZYL_ErrModeParent);
    zylSetErrStatus(in.oneIn(50) ? ZYL_StsError : ZYL_StsOk);
}

Case::~Case() {
    zylRedirectError(zylNulDevReport);
    running = nullptr;
}

// All of a report but the line, which moves with the library's source.
ZylStatus Case::addReport(ZylStatus status, const char *function, const char *text,
                          const char *file, int) {
    ++running->reports_;
    running->sum.addSigned(status);
    running->sum.addText(function);
    running->sum.addText(text);
    running->sum.addText(file);
    return status;
}

std::uint32_t Case::depth(unsigned depths) {
    for (;;) {
        const int i = in.below(static_cast<int>(DEPTHS.size()));
        if ((depths >> i & 1) != 0) return DEPTHS[static_cast<std::size_t>(i)];
    }
}

Shape Case::shape(unsigned depths, int fewest, int most) {
    struct Colours {
        const char *model, *sequence;
    };
    static constexpr std::array<Colours, 4> FEW = {
        {{"GRAY", "GRAY"}, {"GRAY", "G\0\0"}, {"HSV ", "SHV "}, {"XYZ ", "XYZ "}}};
    static constexpr std::array<Colours, 4> MANY = {
        {{"RGB ", "RGB "}, {"RGBA", "BGRA"}, {"RGB\0", "BGR\0"}, {"RGBA", "RGBA"}}};
    Shape made;
    made.depth = depth(depths);
    made.channels = made.depth == ZYL_DEPTH_1U ? 1 : in.between(fewest, most);
    if (in.oneIn(4)) made.alpha = in.oneIn(3) ? in.between(0, made.channels) : made.channels;
    const Colours colours = in.pick(made.channels < 3 ? FEW : MANY);
    made.model = colours.model;
    made.sequence = colours.sequence;
    made.order = in.below(2);
    made.origin = in.below(2);
    return made;
}

void Case::never(bool tiled, bool channelOfInterest) {
    if (tiled) tiled_ = false;
    if (channelOfInterest) channelsOfInterest_ = false;
}

ZylImage *Case::image(const Shape &shape) {
    Shape made = shape;
    Layout layout;
    const bool stray = stray_ && in.oneIn(2);
    if (stray && in.flag()) made = this->shape(ALL_DEPTHS);
    const bool alike = alike_ && !stray;
    made.width = !alike && in.oneIn(4) ? in.between(1, size_[0] + 9) : size_[0];
    made.height = !alike && in.oneIn(4) ? in.between(1, size_[1] + 9) : size_[1];
    layout.tiled = often(tiled_);
    layout.region = (alike ? regions_ : often(regions_)) || channelsOfInterest_;
    layout.channelOfInterest = channelsOfInterest_ && !(stray && in.oneIn(3));
    layout.faulty = stray && in.oneIn(3);
    layout.fill = fill_;
    pictures_.push_back(std::make_unique<Picture>(in, made, layout));
    ZylROI *region = pictures_.back()->image()->roi;
    const ZylROI *first = pictures_.front()->image()->roi;
    if (alike && region != nullptr && first != nullptr) {
        *region = {region->coi, first->xOffset, first->yOffset, first->height, first->width};
    }
    return stray && in.oneIn(6) ? nullptr : pictures_.back()->image();
}

ZylImage *Case::destination(const Shape &shape) {
    if (!pictures_.empty() && in.oneIn(6)) return pictures_.back()->image();
    return image(shape);
}

const std::int32_t *Case::tile() {
    return tiled_ && in.oneIn(3) ? place_.data() : nullptr;
}

const ZylTileMapping *Case::point() {
    return tiled_ && in.oneIn(3) ? &mapping_ : nullptr;
}

void Case::finish() {
    sum.addSigned(zylGetErrStatus());
    for (const auto &picture : pictures_) picture->addTo(sum);
}

} // namespace selftest
