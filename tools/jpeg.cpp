// JPEG: 8 bits, gray or colour.
//
// libjpeg leaves a failed call through error_exit, which jumps. As with libpng,
// the functions that are left that way own nothing and return false.
#include "file.h"
#include "picture_io.h"

#include <csetjmp>
#include <jpeglib.h>
// After jpeglib.h.
#include <jerror.h>

namespace tool {

namespace {

constexpr int quality = 92; // of 100

struct ErrorManager {
    jpeg_error_mgr manager; // first, so that libjpeg's pointer to it leads here
    std::jmp_buf jump;
    char text[JMSG_LENGTH_MAX] = "is damaged";
};

void leave(j_common_ptr info) {
    auto *errors = reinterpret_cast<ErrorManager *>(info->err);
    errors->manager.format_message(info, errors->text);
    std::longjmp(errors->jump, 1);
}

// Level -1 is a warning about damaged data. Bytes between two markers do no
// harm; anything else would leave part of the picture made up.
void keepMessage(j_common_ptr info, int level) {
    int code = info->err->msg_code;
    if (level < 0 && code != JWRN_EXTRANEOUS_DATA && code != JWRN_ADOBE_XFORM) leave(info);
}

jpeg_error_mgr *install(ErrorManager &errors) {
    jpeg_std_error(&errors.manager);
    errors.manager.error_exit = leave;
    errors.manager.emit_message = keepMessage;
    return &errors.manager;
}

struct Reader {
    ErrorManager errors;
    jpeg_decompress_struct info{};
    ~Reader() { jpeg_destroy_decompress(&info); }
};

struct Writer {
    ErrorManager errors;
    jpeg_compress_struct info{};
    ~Writer() { jpeg_destroy_compress(&info); }
};

bool readHeader(Reader &r, std::FILE *file) {
    r.info.err = install(r.errors);
    if (setjmp(r.errors.jump)) return false;
    jpeg_create_decompress(&r.info);
    jpeg_stdio_src(&r.info, file);
    jpeg_read_header(&r.info, TRUE);
    bool gray = r.info.jpeg_color_space == JCS_GRAYSCALE;
    r.info.out_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&r.info);
    return true;
}

bool readRows(Reader &r, unsigned char *data, std::ptrdiff_t stride) {
    if (setjmp(r.errors.jump)) return false;
    while (r.info.output_scanline < r.info.output_height) {
        JSAMPROW row = data + stride * r.info.output_scanline;
        jpeg_read_scanlines(&r.info, &row, 1);
    }
    jpeg_finish_decompress(&r.info);
    return true;
}

bool writeAll(Writer &w, std::FILE *file, const ZylImage &image) {
    w.info.err = install(w.errors);
    if (setjmp(w.errors.jump)) return false;
    jpeg_create_compress(&w.info);
    jpeg_stdio_dest(&w.info, file);
    w.info.image_width = static_cast<JDIMENSION>(image.width);
    w.info.image_height = static_cast<JDIMENSION>(image.height);
    w.info.input_components = image.nChannels;
    w.info.in_color_space = image.nChannels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&w.info);
    jpeg_set_quality(&w.info, quality, TRUE);
    jpeg_start_compress(&w.info, TRUE);
    while (w.info.next_scanline < w.info.image_height) {
        JSAMPROW row =
            image.imageData + static_cast<std::ptrdiff_t>(image.widthStep) * w.info.next_scanline;
        jpeg_write_scanlines(&w.info, &row, 1);
    }
    jpeg_finish_compress(&w.info);
    return true;
}

bool recognises(std::string_view start) {
    return start.substr(0, 3) == "\xff\xd8\xff";
}

Image read(const std::string &path) {
    File file = openFile(path, "rb");
    Reader reader;
    if (!readHeader(reader, file.get())) throw Failure(reader.errors.text);
    Image image = Image::unfilled(makeShape(static_cast<int>(reader.info.output_width),
                                            static_cast<int>(reader.info.output_height),
                                            reader.info.output_components, ZYL_DEPTH_8U));
    if (!readRows(reader, image.row(0), image.header()->widthStep))
        throw Failure(reader.errors.text);
    return image;
}

void write(const std::string &path, const Image &image) {
    Shape shape = image.shape();
    if (shape.depth != ZYL_DEPTH_8U || shape.alpha)
        throw Failure("a JPEG file" + cannotHold(shape));
    File file = openFile(path, "wb");
    Writer writer;
    if (!writeAll(writer, file.get(), *image.header())) throw Failure(writer.errors.text);
    finishFile(std::move(file));
}

} // namespace

const Format jpegFormat = {"JPEG", "jpg jpeg", recognises, read, write};

} // namespace tool
