// JPEG: 8 bits, gray or colour; CMYK and YCCK become RGB.
//
// libjpeg leaves a failed call through error_exit, which jumps. As with libpng,
// the functions that are left that way own nothing and return false.
#include "exif.h"
#include "formats.h"
#include "input.h"
#include "output.h"
#include "rows.h"
#include "text.h"
#include "utf8.h"

#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <jpeglib.h>
// After jpeglib.h.
#include <jerror.h>

namespace tool {

namespace {

constexpr int usualQuality = 92; // of 100
constexpr std::size_t bufferSize = 1 << 14;
constexpr int exifMarker = JPEG_APP0 + 1;
constexpr int profileMarker = JPEG_APP0 + 2;
constexpr std::string_view exifName("Exif\0\0", 6);
constexpr std::size_t largestMarker = 65533;
constexpr double perInch = 1 / 0.0254; // of a metre

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

// Where the bytes come from.
struct InputManager {
    jpeg_source_mgr manager{}; // first
    Input *input = nullptr;
    JOCTET buffer[bufferSize];
};

boolean fill(j_decompress_ptr info) {
    auto *source = reinterpret_cast<InputManager *>(info->src);
    source->manager.next_input_byte = source->buffer;
    source->manager.bytes_in_buffer = source->input->read(source->buffer, bufferSize);
    if (source->manager.bytes_in_buffer == 0) ERREXIT(info, JERR_INPUT_EOF);
    return TRUE;
}

void skip(j_decompress_ptr info, long count) {
    jpeg_source_mgr &source = *info->src;
    while (count > static_cast<long>(source.bytes_in_buffer)) {
        count -= static_cast<long>(source.bytes_in_buffer);
        fill(info);
    }
    if (count <= 0) return;
    source.next_input_byte += count;
    source.bytes_in_buffer -= static_cast<std::size_t>(count);
}

// Where the bytes go.
struct OutputManager {
    jpeg_destination_mgr manager{}; // first
    Output *output = nullptr;
    JOCTET buffer[bufferSize];
};

void restart(OutputManager &target) {
    target.manager.next_output_byte = target.buffer;
    target.manager.free_in_buffer = bufferSize;
}

boolean empty(j_compress_ptr info) {
    auto *target = reinterpret_cast<OutputManager *>(info->dest);
    if (!target->output->write(target->buffer, bufferSize)) ERREXIT(info, JERR_FILE_WRITE);
    restart(*target);
    return TRUE;
}

void writeLast(j_compress_ptr info) {
    auto *target = reinterpret_cast<OutputManager *>(info->dest);
    const std::size_t count = bufferSize - target->manager.free_in_buffer;
    if (!target->output->write(target->buffer, count)) ERREXIT(info, JERR_FILE_WRITE);
}

struct Reader {
    ErrorManager errors;
    InputManager source;
    jpeg_decompress_struct info{};
    ~Reader() { jpeg_destroy_decompress(&info); }
};

struct Writer {
    ErrorManager errors;
    OutputManager target;
    jpeg_compress_struct info{};
    ~Writer() { jpeg_destroy_compress(&info); }
};

bool readHeader(Reader &r, Input &input, int shrink) {
    r.info.err = install(r.errors);
    if (setjmp(r.errors.jump)) return false;
    jpeg_create_decompress(&r.info);
    r.source.input = &input;
    r.source.manager.init_source = [](j_decompress_ptr) {};
    r.source.manager.fill_input_buffer = fill;
    r.source.manager.skip_input_data = skip;
    r.source.manager.resync_to_restart = jpeg_resync_to_restart;
    r.source.manager.term_source = [](j_decompress_ptr) {};
    r.info.src = &r.source.manager;
    jpeg_save_markers(&r.info, exifMarker, 0xFFFF);
    jpeg_save_markers(&r.info, profileMarker, 0xFFFF);
    jpeg_save_markers(&r.info, JPEG_COM, 0xFFFF);
    jpeg_read_header(&r.info, TRUE);
    switch (r.info.jpeg_color_space) {
    case JCS_GRAYSCALE:
        r.info.out_color_space = JCS_GRAYSCALE;
        break;
    case JCS_CMYK:
    case JCS_YCCK:
        r.info.out_color_space = JCS_CMYK;
        break;
    default:
        r.info.out_color_space = JCS_RGB;
    }
    r.info.scale_num = 1;
    r.info.scale_denom = static_cast<unsigned>(shrink);
    jpeg_calc_output_dimensions(&r.info);
    return true;
}

// A progressive picture is decoded whole by this call: libjpeg holds its
// coefficients, since each pass over the file refines all of them.
bool startRows(Reader &r) {
    if (setjmp(r.errors.jump)) return false;
    jpeg_start_decompress(&r.info);
    return true;
}

bool decodeRow(Reader &r, unsigned char *to) {
    if (setjmp(r.errors.jump)) return false;
    JSAMPROW row = to;
    jpeg_read_scanlines(&r.info, &row, 1);
    if (r.info.output_scanline == r.info.output_height) jpeg_finish_decompress(&r.info);
    return true;
}

// Writers that leave Adobe's marker store the inks inverted, 255 for none.
void convertInks(const unsigned char *inks, int count, bool inverted, unsigned char *rgb) {
    const unsigned flip = inverted ? 0 : 255;
    for (int x = 0; x < count; ++x, inks += 4, rgb += 3) {
        const unsigned paper = inks[3] ^ flip;
        for (int c = 0; c < 3; ++c)
            rgb[c] = static_cast<unsigned char>(((inks[c] ^ flip) * paper + 127) / 255);
    }
}

std::string storageOf(const jpeg_decompress_struct &info) {
    std::string text = info.progressive_mode ? "progressive" : "baseline";
    if (info.jpeg_color_space == JCS_CMYK) text += ", CMYK";
    if (info.jpeg_color_space == JCS_YCCK) text += ", YCCK";
    if (info.jpeg_color_space == JCS_YCbCr) {
        const jpeg_component_info &luma = info.comp_info[0];
        text += ", chroma " + std::to_string(luma.h_samp_factor) + " x " +
                std::to_string(luma.v_samp_factor);
    }
    return text;
}

Metadata metadataOf(Reader &r) {
    Metadata metadata;
    JOCTET *profile = nullptr;
    unsigned size = 0;
    if (jpeg_read_icc_profile(&r.info, &profile, &size)) {
        metadata.profile.assign(profile, profile + size);
        std::free(profile);
    }
    for (auto *marker = r.info.marker_list; marker; marker = marker->next) {
        const std::string_view bytes(reinterpret_cast<const char *>(marker->data),
                                     marker->data_length);
        if (marker->marker == JPEG_COM) {
            const std::string_view text = bytes.substr(0, bytes.find('\0'));
            metadata.texts.emplace_back("Comment",
                                        isUtf8(text) ? std::string(text) : utf8OfLatin1(text));
        }
        if (marker->marker == exifMarker && bytes.substr(0, exifName.size()) == exifName &&
            metadata.exif.empty()) {
            metadata.exif.assign(marker->data + exifName.size(),
                                 marker->data + marker->data_length);
        }
    }
    const double unit = r.info.density_unit == 1 ? perInch : r.info.density_unit == 2 ? 100 : 0;
    metadata.xDensity = r.info.X_density * unit;
    metadata.yDensity = r.info.Y_density * unit;
    return metadata;
}

class JpegSource : public RowSource {
  public:
    JpegSource(std::unique_ptr<Input> input, int shrink) : input_(std::move(input)) {
        if (!readHeader(reader_, *input_, shrink)) throw Failure(reader_.errors.text);
        const jpeg_decompress_struct &info = reader_.info;
        inks_ = info.out_color_space == JCS_CMYK;
        const int channels = info.out_color_space == JCS_GRAYSCALE ? 1 : 3;
        details_.format = "JPEG";
        details_.shape =
            checkedShape(info.output_width, info.output_height, channels, ZYL_DEPTH_8U);
        details_.storage = storageOf(info);
        details_.metadata = metadataOf(reader_);
        details_.orientation = exifOrientation(details_.metadata.exif);
        if (inks_) inkRow_.resize(4 * static_cast<std::size_t>(info.output_width));
        setRows(16);
    }

  private:
    void readRow(unsigned char *to) override {
        if (!started_ && !startRows(reader_)) fail();
        started_ = true;
        if (!decodeRow(reader_, inks_ ? inkRow_.data() : to)) fail();
        if (inks_) convertInks(inkRow_.data(), shape().width, reader_.info.saw_Adobe_marker, to);
    }
    [[noreturn]] void fail() const {
        throw Failure(reader_.errors.text +
                      (", near row " + std::to_string(reader_.info.output_scanline)));
    }

    std::unique_ptr<Input> input_;
    Reader reader_;
    bool started_ = false;
    bool inks_ = false; // CMYK
    std::vector<unsigned char> inkRow_;
};

// JFIF holds whole numbers below 65536, per inch where those are as good.
void setDensity(jpeg_compress_struct &info, const Metadata &metadata) {
    const double x = metadata.xDensity, y = metadata.yDensity;
    constexpr double most = 65535 * perInch;
    if (x <= 0 || y <= 0 || x >= most || y >= most) return;
    const auto wholeIn = [](double value) { return std::abs(value - std::round(value)); };
    const bool centimetres = wholeIn(x / 100) < wholeIn(x / perInch) - 0.01 && x < 6553500;
    const double unit = centimetres ? 100 : perInch;
    info.density_unit = centimetres ? 2 : 1;
    info.X_density = static_cast<UINT16>(std::lround(x / unit));
    info.Y_density = static_cast<UINT16>(std::lround(y / unit));
}

bool writeStart(Writer &w, Output &output, const Shape &shape, const Metadata &metadata,
                int quality, const std::vector<unsigned char> &exif) {
    w.info.err = install(w.errors);
    if (setjmp(w.errors.jump)) return false;
    jpeg_create_compress(&w.info);
    w.target.output = &output;
    w.target.manager.init_destination = [](j_compress_ptr info) {
        restart(*reinterpret_cast<OutputManager *>(info->dest));
    };
    w.target.manager.empty_output_buffer = empty;
    w.target.manager.term_destination = writeLast;
    w.info.dest = &w.target.manager;
    w.info.image_width = static_cast<JDIMENSION>(shape.width);
    w.info.image_height = static_cast<JDIMENSION>(shape.height);
    w.info.input_components = shape.channels;
    w.info.in_color_space = shape.channels == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&w.info);
    jpeg_set_quality(&w.info, quality, TRUE);
    setDensity(w.info, metadata);
    jpeg_start_compress(&w.info, TRUE);
    if (!exif.empty())
        jpeg_write_marker(&w.info, exifMarker, exif.data(), static_cast<unsigned>(exif.size()));
    if (!metadata.profile.empty()) {
        jpeg_write_icc_profile(&w.info, metadata.profile.data(),
                               static_cast<unsigned>(metadata.profile.size()));
    }
    for (const auto &[key, text] : metadata.texts) {
        if ((key == "Comment" || key == "Description") && text.size() <= largestMarker) {
            jpeg_write_marker(&w.info, JPEG_COM, reinterpret_cast<const JOCTET *>(text.data()),
                              static_cast<unsigned>(text.size()));
        }
    }
    return true;
}

bool encodeRow(Writer &w, const unsigned char *from) {
    if (setjmp(w.errors.jump)) return false;
    // libjpeg does not change the row.
    JSAMPROW row = const_cast<JSAMPROW>(from);
    jpeg_write_scanlines(&w.info, &row, 1);
    return true;
}

bool writeEnd(Writer &w) {
    if (setjmp(w.errors.jump)) return false;
    jpeg_finish_compress(&w.info);
    return true;
}

class JpegSink : public RowSink {
  public:
    JpegSink(std::unique_ptr<Output> output, const Shape &shape, const Metadata &metadata,
             int quality)
        : output_(std::move(output)) {
        std::vector<unsigned char> exif;
        if (!metadata.exif.empty() && metadata.exif.size() + exifName.size() <= largestMarker) {
            exif.assign(exifName.begin(), exifName.end());
            exif.insert(exif.end(), metadata.exif.begin(), metadata.exif.end());
        }
        if (!writeStart(writer_, *output_, shape, metadata, quality, exif)) fail();
        piece_ = {(shape.width + 7) / 8 * 8, 16};
    }

  private:
    void writeRow(const unsigned char *from) override {
        if (!encodeRow(writer_, from)) fail();
    }
    void complete() override {
        if (!writeEnd(writer_)) fail();
        output_->commit();
    }
    [[noreturn]] void fail() const {
        throw Failure(output_->failed() ? output_->error() : writer_.errors.text);
    }

    std::unique_ptr<Output> output_;
    Writer writer_;
};

bool recognises(std::string_view start) {
    return start.substr(0, 3) == "\xff\xd8\xff";
}

std::unique_ptr<Source> open(std::unique_ptr<Input> input, const ReadOptions &options) {
    return std::make_unique<JpegSource>(std::move(input), options.shrink);
}

std::unique_ptr<Sink> create(std::unique_ptr<Output> output, const Shape &shape,
                             const Metadata &metadata, const WriteOptions &options) {
    if (shape.depth != ZYL_DEPTH_8U || shape.alpha || shape.channels == 2 || shape.channels > 3) {
        throw Failure("a JPEG file" + cannotHold(shape) +
                      ", only 8 bits without alpha: convert it or write a PNG file");
    }
    if (shape.width > JPEG_MAX_DIMENSION || shape.height > JPEG_MAX_DIMENSION) {
        throw Failure("a JPEG file" + cannotHold(shape) + ", only " +
                      std::to_string(JPEG_MAX_DIMENSION) +
                      " pixels a side: make it smaller or write a TIFF file");
    }
    const int quality = options.quality.value_or(usualQuality);
    return std::make_unique<JpegSink>(std::move(output), shape, metadata, quality);
}

} // namespace

const Format jpegFormat = {"JPEG", "jpg jpeg jpe jfif", recognises, open, create, QUALITY};

} // namespace tool
