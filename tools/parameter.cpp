#include "parameter.h"

namespace tool {

namespace {

Parameter parameter(Kind kind, std::string_view name, Fallback fallback, std::string_view help) {
    return {kind, name, fallback, help, 0, 0, {}};
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

Parameter ofLibrary(std::string_view name) {
    return parameter(Kind::described, name, "", "");
}

} // namespace tool
