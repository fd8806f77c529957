#include "info.h"

#include "profile.h"

#include <cmath>
#include <sstream>

namespace tool {

namespace {

constexpr double metresPerInch = 0.0254;

std::string number(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

// Dots per inch, to a hundredth.
double inches(double perMetre) {
    return std::round(perMetre * metresPerInch * 100) / 100;
}

std::string profileText(const std::vector<unsigned char> &profile) {
    const std::string name = profileName(profile);
    return name.empty() ? std::to_string(profile.size()) + " bytes" : name;
}

std::string quoted(const std::string &text) {
    static const char digits[] = "0123456789abcdef";
    std::string result(1, '"');
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (code < 0x20) {
            result += "\\u00";
            result += digits[code >> 4];
            result += digits[code & 15];
        } else {
            result += c;
        }
    }
    result += '"';
    return result;
}

bool hasDensity(const Metadata &metadata) {
    return metadata.xDensity > 0 && metadata.yDensity > 0;
}

} // namespace

std::string infoText(const std::string &name, const Details &details) {
    const Metadata &metadata = details.metadata;
    std::string text = name + ": " + details.format + ", " + describe(details.shape) + '\n';
    const auto line = [&](const std::string &key, const std::string &value) {
        text.append("  ").append(key).append(": ").append(value).append("\n");
    };
    if (!details.storage.empty()) line("stored", details.storage);
    if (details.pages > 1) line("pages", std::to_string(details.pages));
    if (details.orientation > 1) line("orientation", std::to_string(details.orientation));
    if (!metadata.profile.empty()) line("profile", profileText(metadata.profile));
    if (hasDensity(metadata)) {
        line("resolution", number(inches(metadata.xDensity)) + " x " +
                               number(inches(metadata.yDensity)) + " dots per inch");
    }
    if (metadata.gamma > 0) line("gamma", number(metadata.gamma));
    if (!metadata.exif.empty()) line("exif", std::to_string(metadata.exif.size()) + " bytes");
    for (const auto &[key, value] : metadata.texts) line(key, value);
    return text;
}

std::string infoJson(const std::string &name, const Details &details) {
    const Metadata &metadata = details.metadata;
    const Shape &shape = details.shape;
    const bool isSigned = (shape.depth & ZYL_DEPTH_SIGN) != 0;
    std::string text("{\"file\": ");
    text += quoted(name);
    const auto field = [&](const char *key, const std::string &value) {
        text.append(", \"").append(key).append("\": ").append(value);
    };
    field("format", quoted(details.format));
    field("width", std::to_string(shape.width));
    field("height", std::to_string(shape.height));
    field("bits", std::to_string(shape.depth & ~ZYL_DEPTH_SIGN));
    field("signed", isSigned ? "true" : "false");
    field("channels", std::to_string(shape.channels));
    field("color", quoted(shape.color() ? "RGB" : "gray"));
    field("alpha", shape.alpha ? "true" : "false");
    field("stored", quoted(details.storage));
    field("pages", std::to_string(details.pages));
    field("orientation", std::to_string(details.orientation));
    field("profile", metadata.profile.empty() ? "null" : quoted(profileText(metadata.profile)));
    field("xResolution", hasDensity(metadata) ? number(inches(metadata.xDensity)) : "null");
    field("yResolution", hasDensity(metadata) ? number(inches(metadata.yDensity)) : "null");
    field("exif", metadata.exif.empty() ? "false" : "true");
    text += ", \"texts\": [";
    const char *separator = "";
    for (const auto &[key, value] : metadata.texts) {
        text += separator;
        text.append("[").append(quoted(key)).append(", ").append(quoted(value)).append("]");
        separator = ", ";
    }
    return text + "]}\n";
}

} // namespace tool
