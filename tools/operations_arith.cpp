// Pixel arithmetic and logic.
#include "operations.h"

namespace tool {

namespace {

const std::vector<Parameter> with = {
    picture("with", required, "the second picture, of the same size and depth")};

const std::vector<Parameter> withReversed = {
    with[0], flag("reverse", "subtract the picture from the second one")};

std::vector<Parameter> signedValue(std::string_view help) {
    return {integer("value", required, help)};
}

std::vector<Parameter> unsignedValue(std::string_view name, std::string_view help) {
    return {integer(name, required, help, 0, std::numeric_limits<std::uint32_t>::max())};
}

// A bit mask may also be written as a negative number.
std::vector<Parameter> mask() {
    return {integer(
        "value", required, "the other bits; those that a sample has no room for do not count",
        std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::uint32_t>::max())};
}

using Images = std::vector<ZylImage *>;

// Operations of the picture alone, and of two pictures.
template <class Function>
void pointwise(Step &s, Function function) {
    s.thenOnRegion([=](const Images &from, ZylImage *to) { function(from[0], to); });
}

template <class Function>
void pointwiseWith(Step &s, Function function) {
    s.thenOnRegion([=](const Images &from, ZylImage *to) { function(from[0], from[1], to); },
                   {s.other("with")});
}

using WithValue = void (*)(ZylImage *, ZylImage *, std::uint32_t, const std::int32_t *);

constexpr char VALUE[] = "value", SHIFT[] = "shift";

template <WithValue function, const char *parameter = VALUE>
void withValue(Step &s) {
    pointwise(s, [value = static_cast<std::uint32_t>(s.integer(parameter))](
                     ZylImage *from, ZylImage *to) { function(from, to, value, nullptr); });
}

using WithPicture = void (*)(ZylImage *, ZylImage *, ZylImage *, const std::int32_t *);

template <WithPicture function>
void withPicture(Step &s) {
    pointwiseWith(s, [](ZylImage *a, ZylImage *b, ZylImage *to) { function(a, b, to, nullptr); });
}

using Alone = void (*)(ZylImage *, ZylImage *, const std::int32_t *);

template <Alone function>
void alone(Step &s) {
    pointwise(s, [](ZylImage *from, ZylImage *to) { function(from, to, nullptr); });
}

void subtract(Step &s) {
    pointwiseWith(s, [reverse = s.flag("reverse")](ZylImage *a, ZylImage *b, ZylImage *to) {
        zylSubtract(a, b, to, reverse, nullptr);
    });
}

void addS(Step &s) {
    pointwise(s, [value = static_cast<std::int32_t>(s.integer("value"))](
                     ZylImage *from, ZylImage *to) { zylAddS(from, to, value, nullptr); });
}

void subtractS(Step &s) {
    pointwise(s, [value = static_cast<std::int32_t>(s.integer("value")),
                  reverse = s.flag("reverse")](ZylImage *from, ZylImage *to) {
        zylSubtractS(from, to, value, reverse, nullptr);
    });
}

} // namespace

std::span<const Operation> arithOperations() {
    static const std::vector<Operation> table = {
        {"add", "adds a second picture, saturated", with, withPicture<zylAdd>, regional},
        {"subtract", "subtracts a second picture, saturated", withReversed, subtract, regional},
        {"multiply", "multiplies by a second picture, saturated", with, withPicture<zylMultiply>,
         regional},
        {"add-s", "adds a constant, saturated", signedValue("what is added"), addS, regional},
        {"subtract-s",
         "subtracts a constant, saturated",
         {integer("value", required, "what is subtracted"),
          flag("reverse", "subtract the picture from the constant")},
         subtractS,
         regional},
        {"multiply-s", "multiplies by a constant, saturated", unsignedValue("value", "the factor"),
         withValue<zylMultiplyS>, regional},
        {"l-shift-s", "shifts the bits of every sample left", unsignedValue("shift", "bits"),
         withValue<zylLShiftS, SHIFT>, regional},
        {"r-shift-s", "shifts the bits of every sample right",
         unsignedValue("shift", "bits, modulo 32"), withValue<zylRShiftS, SHIFT>, regional},
        {"square", "squares every sample, saturated", {}, alone<zylSquare>, regional},
        {"abs", "makes every sample positive", {}, alone<zylAbs>, regional},
        {"and", "keeps the bits that a second picture has too", with, withPicture<zylAnd>,
         regional},
        {"or", "adds the bits of a second picture", with, withPicture<zylOr>, regional},
        {"xor", "inverts the bits that a second picture has", with, withPicture<zylXor>, regional},
        {"and-s", "keeps the bits of a constant", mask(), withValue<zylAndS>, regional},
        {"or-s", "sets the bits of a constant", mask(), withValue<zylOrS>, regional},
        {"xor-s", "inverts the bits of a constant", mask(), withValue<zylXorS>, regional},
        {"not", "inverts all bits", {}, alone<zylNot>, regional},
    };
    return table;
}

} // namespace tool
