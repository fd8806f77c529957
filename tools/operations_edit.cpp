// Cutting out, pasting and filling parts of a picture.
#include "operations.h"

namespace tool {

namespace {

using Images = std::vector<ZylImage *>;

void crop(Step &step) {
    const Rect region = step.region();
    const int channel = step.channel();
    Shape shape = step.shape();
    if (channel) shape = makeShape(region.width, region.height, 1, shape.depth);
    shape.width = region.width;
    shape.height = region.height;
    step.then(shape, [region, channel](Request &request) {
        const Rect from = moved(request.place, region.x, region.y);
        const Region reading(request.sources[0], regionOf(from, channel));
        zylCopy(request.sources[0], request.window, nullptr);
    });
}

void paste(Step &step) {
    const Rect region = step.region();
    const int channel = step.channel();
    const Step::Node other = step.otherOfAnySize("with");
    const Rect pasted = intersection(region, moved(wholeOf(step.shape(other)), region.x, region.y));
    Plan plan;
    plan.result = step.shape();
    plan.make = [region, pasted, channel](Request &request) {
        copyPart(request, request.sources[0], request.place, request.place);
        const Rect part = intersection(request.place, pasted);
        if (empty(part)) return;
        copyPart(request, request.sources[1], moved(part, -region.x, -region.y), part, channel);
    };
    step.then(plan, {other});
}

void set(Step &step) {
    const auto value = static_cast<std::int32_t>(step.integer("value"));
    step.thenOnCopy([=](const Images &, ZylImage *to) { zylSet(to, value, nullptr); });
}

// What the other picture gets in exchange is dropped with a copy of its part.
void exchange(Step &step) {
    step.thenOnCopy(
        [shape = step.shape()](const Images &from, ZylImage *to) {
            const ZylROI &part = *from[1]->roi;
            const int channels = part.coi ? 1 : shape.channels;
            const Image copy(makeShape(part.width, part.height, channels, shape.depth));
            zylCopy(from[1], copy.header(), nullptr);
            zylExchange(to, copy.header(), nullptr);
        },
        {step.other("with")});
}

} // namespace

std::span<const Operation> editOperations() {
    static const std::vector<Operation> table = completed({
        {"crop",
         "cuts out a part, or one channel",
         {},
         crop,
         regional,
         "crop:x=10,y=10,width=40,height=30",
         "copy"},
        {"copy",
         "pastes another picture at x and y",
         {picture("with", required, "the picture to paste")},
         paste,
         regional,
         "copy:with=OTHER,x=8,y=8"},
        {"set",
         "",
         {ofLibrary("value")},
         set,
         pointwise,
         "set:value=255,x=10,y=10,width=20,height=20"},
        {"exchange",
         "swaps with the same part of another picture of this size",
         {picture("with", required, "the other picture; its file stays as it is")},
         exchange,
         regional,
         "exchange:with=OTHER,width=20"},
    });
    return table;
}

} // namespace tool
