// Bytes as a picture file of the format that ZYL_FORMAT names: its details, and its
// pixels in the order that the source gives them in, as a reader may ask for them.
#include "formats/formats.h"
#include "formats/registry.h"
#include "formats/rows.h"
#include "text.h"

#include <algorithm>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace tool;

constexpr std::int64_t mostPixels = 1 << 21;

void readPart(Source &source, const Rect &rect) {
    const std::size_t stride = rowBytes(source.shape(), rect.width);
    std::vector<unsigned char> pixels(stride * static_cast<std::size_t>(rect.height));
    source.read(rect, {pixels.data(), static_cast<std::ptrdiff_t>(stride)});
}

void readAll(Source &source) {
    const Shape &shape = source.shape();
    const int width = source.order() == Order::rows ? shape.width : source.piece().width;
    const int height = source.piece().height;
    if (width <= 0 || height <= 0) __builtin_trap();
    for (int y = 0; y < shape.height; y += std::min(height, shape.height - y)) {
        for (int x = 0; x < shape.width; x += std::min(width, shape.width - x))
            readPart(source,
                     {x, y, std::min(width, shape.width - x), std::min(height, shape.height - y)});
    }
    if (source.order() == Order::rows) return;
    // A part across pieces.
    const int x = shape.width / 3 / 8 * 8, y = shape.height / 3;
    readPart(source, {x, y, (shape.width - x + 1) / 2, (shape.height - y + 1) / 2});
}

void readPage(const std::string &name, const ReadOptions &options) {
    const std::unique_ptr<Source> source = openSource(name, options);
    const Shape &shape = source->shape();
    if (std::int64_t{shape.width} * shape.height > mostPixels) return;
    readAll(*source);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    if (!ZYL_FORMAT.recognises(bytes.substr(0, 16))) return -1;
    const int file = memfd_create("fuzz", 0);
    if (write(file, data, size) != static_cast<ssize_t>(size)) __builtin_trap();
    const std::string name = "/proc/self/fd/" + std::to_string(file);
    for (const int page : {1, 2}) {
        try {
            ReadOptions options;
            options.page = page;
            options.orient = page == 1;
            readPage(name, options);
        } catch (const Failure &failure) {
            // One line that says what is wrong.
            if (std::string_view(failure.what()).find('\n') != std::string_view::npos)
                __builtin_trap();
        }
    }
    close(file);
    return 0;
}
