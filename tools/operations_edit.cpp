// Cutting out, pasting and filling parts of a picture.
#include "operations.h"

namespace tool {

namespace {

void crop(Step &step) {
    Shape shape = step.shape();
    shape.width = step.source()->roi->width;
    shape.height = step.source()->roi->height;
    if (step.integer("channel")) {
        shape = makeShape(shape.width, shape.height, 1, shape.depth);
    }
    zylCopy(step.source(), step.result(shape), nullptr);
}

} // namespace

std::span<const Operation> editOperations() {
    static const std::vector<Operation> table = {
        {"crop", "cuts out a part, or one channel", {}, crop, regional},
        {"copy",
         "pastes another picture at x and y",
         {picture("with", required, "the picture to paste")},
         [](Step &s) { zylCopy(s.secondOfAnySize("with"), s.result(), nullptr); },
         regional},
        {"set",
         "fills with a value",
         {integer("value", required, "the value, clamped to the depth's range")},
         [](Step &s) { zylSet(s.result(), s.integer("value"), nullptr); },
         regional},
        {"exchange",
         "swaps with the same part of another picture of this size",
         {picture("with", required, "the other picture; its file stays as it is")},
         [](Step &s) { zylExchange(s.result(), s.second("with"), nullptr); },
         regional},
    };
    return table;
}

} // namespace tool
