// Words of the command line: failures, numbers, names.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

// Something did not work. The text is the one line the user reads.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The command line asks for something that does not exist.
struct Misuse : Failure {
    using Failure::Failure;
};

// The whole of `text` as a number, hexadecimal after 0x; nothing if it is none.
std::optional<std::int64_t> parseInteger(std::string_view text);
std::optional<double> parseNumber(std::string_view text);

// Cuts at every `separator` that has no backslash before it, and removes those
// backslashes. A text without separators gives one part.
std::vector<std::string> split(std::string_view text, char separator);

// "unknown KIND 'blurr'; did you mean 'blur'?", or all names where none is near.
Misuse unknown(std::string_view kind, std::string_view word,
               const std::vector<std::string_view> &names);

} // namespace tool
