// PNG: 1, 8 and 16 bits, gray or colour, with or without alpha. Palettes and
// gray of 2 and 4 bits become 8-bit pictures.
//
// libpng leaves a failed call by longjmp(). It is caught in functions that call
// libpng and own nothing, so that no destructor is jumped over; they return
// false and their callers throw.
#include "file.h"
#include "picture_io.h"

#include <bit>
#include <csetjmp>
#include <png.h>

namespace tool {

namespace {

// What the error handler of libpng leaves behind. Fixed in size: it is written
// between a failure and its jump.
struct Message {
    char text[200] = "is damaged";
};

void keepError(png_structp png, png_const_charp text) {
    auto *message = static_cast<Message *>(png_get_error_ptr(png));
    std::snprintf(message->text, sizeof message->text, "%s", text);
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

struct Reader {
    Message message;
    png_structp png =
        png_create_read_struct(PNG_LIBPNG_VER_STRING, &message, keepError, ignoreWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;

    ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

struct Writer {
    Message message;
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &message, keepError, ignoreWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;

    ~Writer() { png_destroy_write_struct(&png, &info); }
};

// Reads the header and asks libpng for samples as a ZylImage has them.
bool readHeader(Reader &r, std::FILE *file) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_init_io(r.png, file);
    png_read_info(r.png, r.info);
    bool transparent = png_get_valid(r.png, r.info, PNG_INFO_tRNS) != 0;
    bool gray = png_get_color_type(r.png, r.info) == PNG_COLOR_TYPE_GRAY;
    bool bitonal = gray && !transparent && png_get_bit_depth(r.png, r.info) == 1;
    if (!bitonal) png_set_expand(r.png);
    if (std::endian::native == std::endian::little) png_set_swap(r.png);
    png_set_interlace_handling(r.png);
    png_read_update_info(r.png, r.info);
    return true;
}

bool readRows(Reader &r, png_bytepp rows) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_read_image(r.png, rows);
    png_read_end(r.png, nullptr);
    return true;
}

bool writeAll(Writer &w, std::FILE *file, const ZylImage &image, int colorType, png_bytepp rows) {
    if (setjmp(png_jmpbuf(w.png))) return false;
    png_init_io(w.png, file);
    png_set_compression_level(w.png, 6);
    png_set_IHDR(w.png, w.info, static_cast<png_uint_32>(image.width),
                 static_cast<png_uint_32>(image.height), static_cast<int>(image.depth), colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(w.png, w.info);
    if (std::endian::native == std::endian::little) png_set_swap(w.png);
    png_write_image(w.png, rows);
    png_write_end(w.png, nullptr);
    return true;
}

std::vector<png_bytep> rowsOf(const Image &image) {
    std::vector<png_bytep> rows(static_cast<std::size_t>(image.header()->height));
    for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = image.row(static_cast<int>(y));
    return rows;
}

bool recognises(std::string_view start) {
    return start.substr(0, 8) == std::string_view("\x89PNG\r\n\x1a\n", 8);
}

Image read(const std::string &path) {
    File file = openFile(path, "rb");
    Reader reader;
    if (!reader.info) throw std::bad_alloc();
    if (!readHeader(reader, file.get())) throw Failure(reader.message.text);
    Image image = Image::unfilled(makeShape(
        static_cast<int>(png_get_image_width(reader.png, reader.info)),
        static_cast<int>(png_get_image_height(reader.png, reader.info)),
        png_get_channels(reader.png, reader.info), png_get_bit_depth(reader.png, reader.info)));
    std::vector<png_bytep> rows = rowsOf(image);
    if (!readRows(reader, rows.data())) throw Failure(reader.message.text);
    return image;
}

void write(const std::string &path, const Image &image) {
    static const int types[] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA,
                                PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
    Shape shape = image.shape();
    if (shape.depth & ZYL_DEPTH_SIGN) throw Failure("a PNG file" + cannotHold(shape));
    File file = openFile(path, "wb");
    Writer writer;
    if (!writer.info) throw std::bad_alloc();
    std::vector<png_bytep> rows = rowsOf(image);
    if (!writeAll(writer, file.get(), *image.header(), types[shape.channels], rows.data()))
        throw Failure(writer.message.text);
    finishFile(std::move(file));
}

} // namespace

const Format pngFormat = {"PNG", "png", recognises, read, write};

} // namespace tool
