// What operations/operations.json says of the library's operations. The table is
// made from it when the tool is built.
#pragma once

#include "parameter.h"

#include <zylqx.h>

namespace tool {

// Bits of Described::layouts.
enum Layouts : unsigned {
    grayLayout = 1,
    grayAlphaLayout = 2,
    colorLayout = 4,
    colorAlphaLayout = 8
};

struct Described {
    std::string_view name;
    std::string_view help;
    // Depths of the source, each with those that the result may have.
    std::vector<std::pair<std::uint32_t, std::vector<std::uint32_t>>> depths;
    unsigned layouts;
    std::string_view model; // first letters of the source's color model; may be empty
    std::vector<Parameter> parameters;
};

const std::vector<Described> &describedOperations();

// Null when the library has no such operation.
const Described *described(std::string_view name);

} // namespace tool
