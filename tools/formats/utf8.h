// Texts of files: ASCII, ISO 8859-1 and UTF-8.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace tool {

inline bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

inline std::string utf8OfLatin1(std::string_view latin1) {
    std::string text;
    for (const char c : latin1) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | code >> 6);
            text += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return text;
}

// Whether multi-byte characters are complete; not whether they are the shortest.
inline bool isUtf8(std::string_view text) {
    int rest = 0;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if ((code & 0xC0) == 0x80) {
            if (--rest < 0) return false;
            continue;
        }
        if (rest != 0 || code >= 0xF8) return false;
        rest = code < 0x80 ? 0 : code < 0xC0 ? -1 : code < 0xE0 ? 1 : code < 0xF0 ? 2 : 3;
    }
    return rest == 0;
}

} // namespace tool
