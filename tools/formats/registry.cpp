#include "registry.h"

#include "exif.h"
#include "formats.h"
#include "input.h"
#include "naming.h"
#include "oriented.h"
#include "output.h"
#include "profile.h"

#include <algorithm>

namespace tool {

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return text;
}

const Format *formatOfExtension(const std::string &extension) {
    for (const Format *format : pictureFormats()) {
        const std::vector<std::string> own = split(format->extensions, ' ');
        if (std::find(own.begin(), own.end(), extension) != own.end()) return format;
    }
    return nullptr;
}

// A name to write and the extension of the format that it asks for, lower case.
struct Target {
    std::string name;
    std::string extension;
};

Target targetOf(const std::string &name) {
    const std::size_t folder = name.rfind('/') + 1; // 0 where there is none
    const std::size_t colon = name.rfind(':');
    if (colon != std::string::npos && (colon > folder || colon == 0)) {
        std::string extension = lower(name.substr(colon + 1));
        if (formatOfExtension(extension))
            return {colon == 0 ? "-" : name.substr(0, colon), extension};
    }
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot < folder) return {name, ""};
    return {name, lower(name.substr(dot + 1))};
}

// An option that does nothing may be meant for another format.
void requireTaken(const Format &format, const WriteOptions &options) {
    const struct {
        bool given;
        WriteOption option;
        const char *name;
    } all[] = {{options.quality.has_value(), QUALITY, "--quality is"},
               {!options.compression.empty(), COMPRESSION, "--compression is"},
               {static_cast<bool>(options.tile), TILE, "--tile is"},
               {options.palette.has_value(), PALETTE, "--colors and --palette are"}};
    for (const auto &[given, option, name] : all) {
        if (!given || (format.options & option) != 0) continue;
        std::string takers;
        for (const Format *other : pictureFormats()) {
            if ((other->options & option) == 0) continue;
            takers.append(takers.empty() ? "" : ", ").append(other->name);
        }
        throw Misuse(std::string(name) + " for these files: " + takers);
    }
}

const Format &formatOfStart(std::string_view start) {
    if (start.empty()) throw Failure("is empty");
    for (const Format *format : pictureFormats())
        if (format->recognises(start.substr(0, 16))) return *format;
    throw Failure("is not a picture file that zyl knows");
}

} // namespace

std::span<const Format *const> pictureFormats() {
    static const Format *const formats[] = {&pngFormat, &jpegFormat, &tiffFormat,
                                            &bmpFormat, &pnmFormat,  &webpFormat};
    return formats;
}

const Format &formatOfName(const std::string &name) {
    const std::string extension = targetOf(name).extension;
    if (const Format *format = formatOfExtension(extension)) return *format;
    return naming(name, [&]() -> const Format & {
        if (name == "-") throw Misuse("standard output needs a format: -:png");
        if (extension.empty()) {
            throw Misuse("needs an extension that names the format, as in .png, or one after a "
                         "colon, as in :png");
        }
        std::vector<std::string> known;
        for (const Format *format : pictureFormats())
            for (std::string &own : split(format->extensions, ' ')) known.push_back(std::move(own));
        throw unknown("format", extension, {known.begin(), known.end()});
    });
}

std::unique_ptr<Source> openSource(const std::string &name, const ReadOptions &options) {
    const std::string shown = name == "-" ? "standard input" : name;
    auto source = naming(shown, [&] {
        auto input = std::make_unique<Input>(name);
        const Format &format = formatOfStart(input->start());
        std::unique_ptr<Source> opened = format.open(std::move(input), options);
        const int pages = opened->details().pages;
        if (options.page < 1 || options.page > pages) {
            throw Failure("has " + std::to_string(pages) +
                          (pages == 1 ? " page" : " pages, from 1 to " + std::to_string(pages)));
        }
        return opened;
    });
    source->setName(shown);
    if (!options.orient || source->details().orientation == 1) return source;
    return std::make_unique<Oriented>(std::move(source), options.spool);
}

std::unique_ptr<Sink> createSink(const std::string &name, const Shape &shape,
                                 const Metadata &metadata, const WriteOptions &options) {
    const Format &format = formatOfName(name);
    auto [file, extension] = targetOf(name);
    const std::string shown = file == "-" ? "standard output" : file;
    auto sink = naming(shown, [&, &path = file, &ending = extension] {
        requireTaken(format, options);
        Metadata fitting = metadata;
        if (!profileFits(fitting.profile, shape)) fitting.profile.clear();
        return format.create(std::make_unique<Output>(path, ending), shape, fitting, options);
    });
    sink->setName(shown);
    return sink;
}

std::string cannotHold(const Shape &shape) {
    return " cannot hold a picture of " + describe(shape);
}

} // namespace tool
