// A named value of an operation, as in `name=value`.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

enum class Kind { integer, number, choice, text, picture, flag, described };

struct Parameter {
    Kind kind;
    std::string_view name;
    std::optional<std::string_view> fallback; // nothing: must be given
    std::string_view help;
    double least = 0; // range of integers and numbers
    double most = 0;
    std::vector<std::pair<std::string_view, int>> choices;
};

inline constexpr std::nullopt_t required = std::nullopt;
using Fallback = std::optional<std::string_view>;

// The kinds of parameters, for the tables of operations. Integers are decimal or,
// after 0x, hexadecimal.
Parameter integer(std::string_view name, Fallback fallback, std::string_view help,
                  double least = std::numeric_limits<std::int32_t>::min(),
                  double most = std::numeric_limits<std::int32_t>::max());
Parameter number(std::string_view name, Fallback fallback, std::string_view help,
                 double least = std::numeric_limits<double>::lowest(),
                 double most = std::numeric_limits<double>::max());
// One of several words, or its number.
Parameter choice(std::string_view name, Fallback fallback, std::string_view help,
                 std::vector<std::pair<std::string_view, int>> choices);
Parameter text(std::string_view name, Fallback fallback, std::string_view help);
// The name of a picture file.
Parameter picture(std::string_view name, Fallback fallback, std::string_view help);
// On when it is named, off else.
Parameter flag(std::string_view name, std::string_view help);
// As the description of the library has it.
Parameter ofLibrary(std::string_view name);

} // namespace tool
