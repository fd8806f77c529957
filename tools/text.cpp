#include "text.h"

#include <algorithm>
#include <charconv>
#include <numeric>

namespace tool {

namespace {

template <class T, class... Base>
std::optional<T> parseWhole(std::string_view text, Base... base) {
    T value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base...);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

// Edits (one letter inserted, removed or changed) that turn a into b.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            std::size_t changed = diagonal + (a[i] != b[j]);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::optional<std::int64_t> parseInteger(std::string_view text) {
    if (text.substr(0, 2) == "0x" && text.substr(2, 1) != "-")
        return parseWhole<std::int64_t>(text.substr(2), 16);
    return parseWhole<std::int64_t>(text);
}

std::optional<double> parseNumber(std::string_view text) {
    return parseWhole<double>(text);
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        bool escaped = text[i] == '\\' && i + 1 < text.size() && text[i + 1] == separator;
        if (escaped) {
            parts.back() += text[++i];
        } else if (text[i] == separator) {
            parts.emplace_back();
        } else {
            parts.back() += text[i];
        }
    }
    return parts;
}

Misuse unknown(std::string_view kind, std::string_view word,
               const std::vector<std::string_view> &names) {
    std::string line("unknown ");
    line.append(kind).append(" '").append(word).append("'");
    if (names.empty() || word.empty()) return Misuse(line);
    auto nearest = std::min_element(names.begin(), names.end(), [&](auto a, auto b) {
        return distance(word, a) < distance(word, b);
    });
    if (distance(word, *nearest) <= std::max<std::size_t>(2, nearest->size() / 3))
        return Misuse(line.append("; did you mean '").append(*nearest).append("'?"));
    if (names.size() > 8) return Misuse(line);
    line += "; there is";
    for (std::string_view name : names) line.append(" ").append(name);
    return Misuse(line);
}

} // namespace tool
