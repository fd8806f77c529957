// Bytes as a picture, what goes with it, and the options to write it with, in the format
// that ZYL_FORMAT names. What was written is read again, and is the same where the format
// loses nothing.
#include "picture.h"

#include "formats/formats.h"
#include "pictures.h"
#include "text.h"

#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace {

using namespace tool;

std::string fileName() {
    const std::string extensions(ZYL_FORMAT.extensions);
    return std::filesystem::temp_directory_path() / ("zyl_fuzz_" + std::to_string(getpid()) + "." +
                                                     extensions.substr(0, extensions.find(' ')));
}

std::vector<unsigned char> bytesOf(const std::string &text) {
    return {text.begin(), text.end()};
}

// As readers give it: texts are UTF-8, Exif begins as a TIFF file does.
Metadata anyMetadata(Bytes &in) {
    Metadata metadata;
    if (in.flag()) metadata.profile = bytesOf(in.text(in.below(40)));
    if (in.flag()) metadata.exif = bytesOf(std::string("II*\0\b\0\0\0", 8) + in.text(in.below(40)));
    static constexpr std::array<double, 4> DENSITIES = {0.25, 2835, 65536.5, Metadata::mostDensity};
    if (in.flag()) metadata.xDensity = in.pick(DENSITIES);
    if (in.flag()) metadata.yDensity = in.pick(DENSITIES);
    if (in.flag()) metadata.gamma = 1.0 / in.between(1, 9);
    if (in.flag()) metadata.renderingIntent = in.below(4);
    for (int i = in.below(3); i > 0; --i) {
        std::string text = in.text(in.below(30));
        for (char &c : text) c = static_cast<char>(32 + (static_cast<unsigned char>(c) % 95));
        metadata.texts.emplace_back("keyword" + std::to_string(i), in.flag() ? text : text + "é");
    }
    return metadata;
}

WriteOptions anyOptions(Bytes &in) {
    static constexpr std::array<const char *, 16> COMPRESSIONS = {
        "", "none", "lzw",  "deflate", "packbits", "jpeg", "fax3",     "fax4",
        "", "zstd", "lzma", "webp",    "0",        "9",    "lossless", "other"};
    WriteOptions options;
    if (in.flag()) options.quality = in.between(1, 100);
    options.compression = in.pick(COMPRESSIONS);
    if (in.flag()) options.tile = {16 * in.between(1, 3), 16 * in.between(1, 3)};
    if (in.flag()) options.palette = Palette{1 << (1 << in.below(4)), in.flag()};
    return options;
}

bool losesNothing(const WriteOptions &options) {
    const std::string_view name = ZYL_FORMAT.name;
    if (name == "TIFF") return options.compression != "jpeg" && options.compression != "webp";
    return name == "PNG" || name == "PNM" || (name == "BMP" && !options.palette);
}

bool same(const Image &a, const Image &b) {
    const Shape shape = a.shape();
    const std::size_t bytes = rowBytes(shape, shape.width);
    const int spare = shape.depth == ZYL_DEPTH_1U ? (8 - shape.width % 8) % 8 : 0;
    for (int y = 0; y < shape.height; ++y) {
        if (std::memcmp(a.row(y), b.row(y), bytes - 1) != 0) return false;
        if ((a.row(y)[bytes - 1] ^ b.row(y)[bytes - 1]) >> spare != 0) return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const std::string name = fileName();
    Bytes in(data, size);
    const Shape shape = anyShape(in);
    const Image image = anyImage(in, shape);
    const WriteOptions options = anyOptions(in);
    const Metadata metadata = anyMetadata(in);
    try {
        writePicture(name, image, metadata, options);
    } catch (const Failure &failure) {
        checkMessage(failure.what());
        return 0;
    }
    const Image read = readPicture(name);
    const Shape found = read.shape();
    if (found.width != shape.width || found.height != shape.height) __builtin_trap();
    const bool alike = found.depth == shape.depth && found.channels == shape.channels;
    if (alike && losesNothing(options) && !same(image, read)) __builtin_trap();
    std::filesystem::remove(name);
    return 0;
}
