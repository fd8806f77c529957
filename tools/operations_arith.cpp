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

} // namespace

std::span<const Operation> arithOperations() {
    static const std::vector<Operation> table = {
        {"add", "adds a second picture, saturated", with,
         [](Step &s) { zylAdd(s.source(), s.second("with"), s.result(), nullptr); }, regional},
        {"subtract", "subtracts a second picture, saturated", withReversed,
         [](Step &s) {
             zylSubtract(s.source(), s.second("with"), s.result(), s.flag("reverse"), nullptr);
         },
         regional},
        {"multiply", "multiplies by a second picture, saturated", with,
         [](Step &s) { zylMultiply(s.source(), s.second("with"), s.result(), nullptr); }, regional},
        {"add-s", "adds a constant, saturated", signedValue("what is added"),
         [](Step &s) { zylAddS(s.source(), s.result(), s.integer("value"), nullptr); }, regional},
        {"subtract-s",
         "subtracts a constant, saturated",
         {integer("value", required, "what is subtracted"),
          flag("reverse", "subtract the picture from the constant")},
         [](Step &s) {
             zylSubtractS(s.source(), s.result(), s.integer("value"), s.flag("reverse"), nullptr);
         },
         regional},
        {"multiply-s", "multiplies by a constant, saturated", unsignedValue("value", "the factor"),
         [](Step &s) { zylMultiplyS(s.source(), s.result(), s.integer("value"), nullptr); },
         regional},
        {"l-shift-s", "shifts the bits of every sample left", unsignedValue("shift", "bits"),
         [](Step &s) { zylLShiftS(s.source(), s.result(), s.integer("shift"), nullptr); },
         regional},
        {"r-shift-s", "shifts the bits of every sample right",
         unsignedValue("shift", "bits, modulo 32"),
         [](Step &s) { zylRShiftS(s.source(), s.result(), s.integer("shift"), nullptr); },
         regional},
        {"square",
         "squares every sample, saturated",
         {},
         [](Step &s) { zylSquare(s.source(), s.result(), nullptr); },
         regional},
        {"abs",
         "makes every sample positive",
         {},
         [](Step &s) { zylAbs(s.source(), s.result(), nullptr); },
         regional},
        {"and", "keeps the bits that a second picture has too", with,
         [](Step &s) { zylAnd(s.source(), s.second("with"), s.result(), nullptr); }, regional},
        {"or", "adds the bits of a second picture", with,
         [](Step &s) { zylOr(s.source(), s.second("with"), s.result(), nullptr); }, regional},
        {"xor", "inverts the bits that a second picture has", with,
         [](Step &s) { zylXor(s.source(), s.second("with"), s.result(), nullptr); }, regional},
        {"and-s", "keeps the bits of a constant", mask(),
         [](Step &s) { zylAndS(s.source(), s.result(), s.integer("value"), nullptr); }, regional},
        {"or-s", "sets the bits of a constant", mask(),
         [](Step &s) { zylOrS(s.source(), s.result(), s.integer("value"), nullptr); }, regional},
        {"xor-s", "inverts the bits of a constant", mask(),
         [](Step &s) { zylXorS(s.source(), s.result(), s.integer("value"), nullptr); }, regional},
        {"not",
         "inverts all bits",
         {},
         [](Step &s) { zylNot(s.source(), s.result(), nullptr); },
         regional},
    };
    return table;
}

} // namespace tool
