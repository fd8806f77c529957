// Pixel arithmetic and logic.
#include "operations.h"

namespace tool {

namespace {

const Parameter with = picture("with", required, "the second picture, of the same size and depth");

using Images = std::vector<ZylImage *>;

// Operations of the picture alone, and of two pictures.
template <class Function>
void withOne(Step &s, Function function) {
    s.thenOnRegion([=](const Images &from, ZylImage *to) { function(from[0], to); });
}

template <class Function>
void withBoth(Step &s, Function function) {
    s.thenOnRegion([=](const Images &from, ZylImage *to) { function(from[0], from[1], to); },
                   {s.other("with")});
}

using WithValue = void (*)(ZylImage *, ZylImage *, std::uint32_t, const std::int32_t *);

constexpr char VALUE[] = "value", SHIFT[] = "shift";

template <WithValue function, const char *parameter = VALUE>
void withValue(Step &s) {
    withOne(s, [value = static_cast<std::uint32_t>(s.integer(parameter))](
                   ZylImage *from, ZylImage *to) { function(from, to, value, nullptr); });
}

using WithPicture = void (*)(ZylImage *, ZylImage *, ZylImage *, const std::int32_t *);

template <WithPicture function>
void withPicture(Step &s) {
    withBoth(s, [](ZylImage *a, ZylImage *b, ZylImage *to) { function(a, b, to, nullptr); });
}

using Alone = void (*)(ZylImage *, ZylImage *, const std::int32_t *);

template <Alone function>
void alone(Step &s) {
    withOne(s, [](ZylImage *from, ZylImage *to) { function(from, to, nullptr); });
}

void subtract(Step &s) {
    withBoth(s, [reverse = s.flag("reverse")](ZylImage *a, ZylImage *b, ZylImage *to) {
        zylSubtract(a, b, to, reverse, nullptr);
    });
}

void addS(Step &s) {
    withOne(s, [value = static_cast<std::int32_t>(s.integer("value"))](
                   ZylImage *from, ZylImage *to) { zylAddS(from, to, value, nullptr); });
}

void subtractS(Step &s) {
    withOne(s,
            [value = static_cast<std::int32_t>(s.integer("value")), reverse = s.flag("reverse")](
                ZylImage *from, ZylImage *to) { zylSubtractS(from, to, value, reverse, nullptr); });
}

} // namespace

std::span<const Operation> arithOperations() {
    const std::vector<Parameter> value = {ofLibrary("value")}, shift = {ofLibrary("shift")};
    // A bit mask may also be written as a negative number.
    const std::vector<Parameter> mask = {integer(
        "value", required, "the other bits; those that a sample has no room for do not count",
        std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::uint32_t>::max())};
    static const std::vector<Operation> table = completed({
        {"add", "", {with}, withPicture<zylAdd>, pointwise, "add:with=OTHER"},
        {"subtract", "", {with, ofLibrary("reverse")}, subtract, pointwise, "subtract:with=OTHER"},
        {"multiply", "", {with}, withPicture<zylMultiply>, pointwise, "multiply:with=OTHER"},
        {"add-s", "", value, addS, pointwise, "add-s:value=40"},
        {"subtract-s",
         "",
         {ofLibrary("value"), ofLibrary("reverse")},
         subtractS,
         pointwise,
         "subtract-s:value=40"},
        {"multiply-s", "", value, withValue<zylMultiplyS>, pointwise, "multiply-s:value=2"},
        {"l-shift-s", "", shift, withValue<zylLShiftS, SHIFT>, pointwise, "l-shift-s:shift=1"},
        {"r-shift-s", "", shift, withValue<zylRShiftS, SHIFT>, pointwise, "r-shift-s:shift=1"},
        {"square", "", {}, alone<zylSquare>, pointwise, "square"},
        {"abs", "", {}, alone<zylAbs>, pointwise, "convert:depth=8s abs convert:depth=8u"},
        {"and", "", {with}, withPicture<zylAnd>, pointwise, "and:with=OTHER"},
        {"or", "", {with}, withPicture<zylOr>, pointwise, "or:with=OTHER"},
        {"xor", "", {with}, withPicture<zylXor>, pointwise, "xor:with=OTHER"},
        {"and-s", "", mask, withValue<zylAndS>, pointwise, "and-s:value=0xF0"},
        {"or-s", "", mask, withValue<zylOrS>, pointwise, "or-s:value=0x0F"},
        {"xor-s", "", mask, withValue<zylXorS>, pointwise, "xor-s:value=0x80"},
        {"not", "", {}, alone<zylNot>, pointwise, "not"},
    });
    return table;
}

} // namespace tool
