#include "profile.h"

#include <string_view>

namespace tool {

namespace {

constexpr std::size_t headerSize = 128;

std::string_view textAt(std::span<const unsigned char> profile, std::size_t offset,
                        std::size_t size) {
    if (offset > profile.size() || size > profile.size() - offset) return {};
    return {reinterpret_cast<const char *>(profile.data()) + offset, size};
}

std::size_t numberAt(std::span<const unsigned char> profile, std::size_t offset) {
    std::size_t value = 0;
    for (const char c : textAt(profile, offset, 4))
        value = value << 8 | static_cast<unsigned char>(c);
    return value;
}

// The ASCII characters of a text in UTF-16.
std::string narrow(std::string_view wide) {
    std::string text;
    for (std::size_t i = 0; i + 1 < wide.size(); i += 2)
        text += wide[i] == 0 && wide[i + 1] > 0 ? wide[i + 1] : '?';
    return text;
}

} // namespace

bool profileFits(std::span<const unsigned char> profile, const Shape &shape) {
    if (profile.empty()) return true;
    return textAt(profile, 16, 4) == (shape.color() ? "RGB " : "GRAY");
}

std::string profileName(std::span<const unsigned char> profile) {
    const std::size_t tags = numberAt(profile, headerSize);
    for (std::size_t i = 0; i < tags; ++i) {
        const std::size_t entry = headerSize + 4 + 12 * i;
        if (entry + 12 > profile.size()) return "";
        if (textAt(profile, entry, 4) != "desc") continue;
        const std::size_t offset = numberAt(profile, entry + 4);
        if (textAt(profile, offset, 4) == "desc") {
            const std::string_view text =
                textAt(profile, offset + 12, numberAt(profile, offset + 8));
            return std::string(text.substr(0, text.find('\0')));
        }
        // Texts in several languages: the first one.
        return narrow(textAt(profile, offset + numberAt(profile, offset + 24),
                             numberAt(profile, offset + 20)));
    }
    return "";
}

} // namespace tool
