// PNG: 1, 8 and 16 bits, gray or colour, with or without alpha. Palettes and
// gray of 2 and 4 bits become 8-bit pictures.
//
// libpng leaves a failed call by longjmp(). It is caught in functions that call
// libpng and own nothing, so that no destructor is jumped over; they return
// false and their callers throw.
#include "exif.h"
#include "formats.h"
#include "input.h"
#include "output.h"
#include "rows.h"
#include "text.h"
#include "utf8.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <png.h>

namespace tool {

namespace {

// Level and filter that are quick, for files that are hardly larger than those of
// the slow ones.
constexpr int quickLevel = 3;

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

void readBytes(png_structp png, png_bytep to, std::size_t count) {
    auto *input = static_cast<Input *>(png_get_io_ptr(png));
    if (input->read(to, count) != count) png_error(png, "is truncated");
}

void writeBytes(png_structp png, png_bytep from, std::size_t count) {
    auto *output = static_cast<Output *>(png_get_io_ptr(png));
    if (!output->write(from, count)) png_error(png, output->error().c_str());
}

void flushNothing(png_structp) {}

// What libpng may hold while it reads: rows of a million pixels, the most that it takes,
// and what goes with a picture. A damaged or hostile file can ask for any amount.
struct Allowance {
    std::size_t left = std::size_t{64} << 20;
};

// Before each block stands its size.
constexpr std::size_t sizeBefore = alignof(std::max_align_t);

void *allocate(png_structp png, png_alloc_size_t size) {
    auto *allowance = static_cast<Allowance *>(png_get_mem_ptr(png));
    if (size > allowance->left) return nullptr;
    auto *block = static_cast<unsigned char *>(std::malloc(sizeBefore + size));
    if (!block) return nullptr;
    allowance->left -= size;
    std::memcpy(block, &size, sizeof size);
    return block + sizeBefore;
}

void release(png_structp png, png_voidp memory) {
    unsigned char *block = static_cast<unsigned char *>(memory) - sizeBefore;
    png_alloc_size_t size = 0;
    std::memcpy(&size, block, sizeof size);
    static_cast<Allowance *>(png_get_mem_ptr(png))->left += size;
    std::free(block);
}

struct Reader {
    Message message;
    Allowance allowance;
    png_structp png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &message, keepError,
                                               ignoreWarning, &allowance, allocate, release);
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
bool readHeader(Reader &r, Input &input) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_set_read_fn(r.png, &input, readBytes);
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

bool decodeRow(Reader &r, png_bytep row) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_read_row(r.png, row, nullptr);
    return true;
}

// All passes of an interlaced picture.
bool decodePasses(Reader &r, png_bytepp rows) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_read_image(r.png, rows);
    return true;
}

bool readEnd(Reader &r) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_read_end(r.png, nullptr);
    return true;
}

std::string storageOf(const Reader &r) {
    std::string text = std::to_string(png_get_bit_depth(r.png, r.info)) + " bits";
    if (png_get_color_type(r.png, r.info) == PNG_COLOR_TYPE_PALETTE) text += ", palette";
    if (png_get_interlace_type(r.png, r.info) != PNG_INTERLACE_NONE) text += ", interlaced";
    return text;
}

void readTexts(const Reader &r, Metadata &metadata) {
    png_textp texts = nullptr;
    const int count = png_get_text(r.png, r.info, &texts, nullptr);
    for (int i = 0; i < count; ++i) {
        const bool utf8 = texts[i].compression >= PNG_ITXT_COMPRESSION_NONE;
        const std::string text(texts[i].text ? texts[i].text : "");
        metadata.texts.emplace_back(texts[i].key, utf8 ? text : utf8OfLatin1(text));
    }
}

Metadata metadataOf(const Reader &r) {
    Metadata metadata;
    png_charp name = nullptr;
    int method = 0;
    png_bytep bytes = nullptr;
    png_uint_32 size = 0;
    if (png_get_iCCP(r.png, r.info, &name, &method, &bytes, &size))
        metadata.profile.assign(bytes, bytes + size);
    if (png_get_eXIf_1(r.png, r.info, &size, &bytes)) metadata.exif.assign(bytes, bytes + size);
    metadata.xDensity = png_get_x_pixels_per_meter(r.png, r.info);
    metadata.yDensity = png_get_y_pixels_per_meter(r.png, r.info);
    int intent = 0;
    if (png_get_sRGB(r.png, r.info, &intent)) metadata.renderingIntent = intent;
    if (png_get_valid(r.png, r.info, PNG_INFO_gAMA)) png_get_gAMA(r.png, r.info, &metadata.gamma);
    readTexts(r, metadata);
    return metadata;
}

// Exif and texts may stand after the pixels. A file that can be read at positions is
// looked through for them: gives a PNG file that ends where its pixels would begin.
std::vector<unsigned char> lateChunks(const Input &input) {
    constexpr std::size_t signatureSize = 8, frameSize = 12, mostBytes = 1 << 20;
    constexpr int mostChunks = 10000;
    std::vector<unsigned char> bytes(signatureSize);
    if (input.readAt(0, bytes.data(), bytes.size()) != bytes.size()) return {};
    bool afterPixels = false;
    bool found = false;
    std::uint64_t offset = signatureSize;
    for (int i = 0; i < mostChunks; ++i) {
        unsigned char head[8];
        if (input.readAt(offset, head, sizeof head) != sizeof head) break;
        const std::size_t size = png_get_uint_32(head) + frameSize;
        const std::string_view name(reinterpret_cast<const char *>(head) + 4, 4);
        const bool late =
            afterPixels && (name == "eXIf" || name == "tEXt" || name == "zTXt" || name == "iTXt");
        if ((late || name == "IHDR" || name == "PLTE") && bytes.size() + size <= mostBytes) {
            bytes.resize(bytes.size() + size);
            if (input.readAt(offset, bytes.data() + bytes.size() - size, size) != size) return {};
            found = found || late;
        }
        afterPixels = afterPixels || name == "IDAT";
        offset += size;
    }
    if (!found) return {};
    static constexpr unsigned char pixels[] = {0, 0, 0, 0, 'I', 'D', 'A', 'T'};
    bytes.insert(bytes.end(), std::begin(pixels), std::end(pixels));
    return bytes;
}

struct Memory {
    const unsigned char *at, *end;
};

void readMemory(png_structp png, png_bytep to, std::size_t count) {
    auto *memory = static_cast<Memory *>(png_get_io_ptr(png));
    if (static_cast<std::size_t>(memory->end - memory->at) < count) png_error(png, "is truncated");
    std::memcpy(to, memory->at, count);
    memory->at += count;
}

bool readChunks(Reader &r, Memory &memory) {
    if (setjmp(png_jmpbuf(r.png))) return false;
    png_set_read_fn(r.png, &memory, readMemory);
    png_read_info(r.png, r.info);
    return true;
}

// Damage there does no harm to the picture.
void addLateChunks(const Input &input, Metadata &metadata) {
    const std::vector<unsigned char> bytes = lateChunks(input);
    Memory memory = {bytes.data(), bytes.data() + bytes.size()};
    Reader reader;
    if (bytes.empty() || !reader.info || !readChunks(reader, memory)) return;
    Metadata late = metadataOf(reader);
    if (metadata.exif.empty()) metadata.exif = std::move(late.exif);
    metadata.texts.insert(metadata.texts.end(), late.texts.begin(), late.texts.end());
}

class PngSource : public RowSource {
  public:
    explicit PngSource(std::unique_ptr<Input> input) : input_(std::move(input)) {
        if (!reader_.info) throw std::bad_alloc();
        if (!readHeader(reader_, *input_)) throw Failure(reader_.message.text);
        details_.format = "PNG";
        details_.shape = checkedShape(png_get_image_width(reader_.png, reader_.info),
                                      png_get_image_height(reader_.png, reader_.info),
                                      png_get_channels(reader_.png, reader_.info),
                                      png_get_bit_depth(reader_.png, reader_.info));
        details_.storage = storageOf(reader_);
        details_.metadata = metadataOf(reader_);
        addLateChunks(*input_, details_.metadata);
        details_.orientation = exifOrientation(details_.metadata.exif);
        interlaced_ = png_get_interlace_type(reader_.png, reader_.info) != PNG_INTERLACE_NONE;
        setRows(16);
    }

  private:
    void readRow(unsigned char *to) override {
        if (interlaced_) {
            if (next_ == 0) readInterlaced();
            std::memcpy(to, whole_->row(next_), rowBytes(shape(), shape().width));
        } else if (!decodeRow(reader_, to)) {
            fail();
        }
        if (++next_ == shape().height && !readEnd(reader_)) fail();
    }

    // The last pass fills every second row: the first row is complete when all are.
    void readInterlaced() {
        whole_.emplace(Image::unfilled(shape()));
        std::vector<png_bytep> rows(static_cast<std::size_t>(shape().height));
        for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = whole_->row(static_cast<int>(y));
        if (!decodePasses(reader_, rows.data())) fail();
    }

    [[noreturn]] void fail() const {
        throw Failure(reader_.message.text + (", in row " + std::to_string(next_)));
    }

    std::unique_ptr<Input> input_;
    Reader reader_;
    bool interlaced_ = false;
    std::optional<Image> whole_; // of an interlaced picture
    int next_ = 0;
};

void writeHeader(const Writer &w, const Shape &shape) {
    static const int types[] = {0, PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA,
                                PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA};
    png_set_IHDR(w.png, w.info, static_cast<png_uint_32>(shape.width),
                 static_cast<png_uint_32>(shape.height), static_cast<int>(shape.depth),
                 types[shape.channels], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
}

void writeTexts(const Writer &w, const Metadata &metadata) {
    for (const auto &[key, text] : metadata.texts) {
        if (key.empty() || key.size() > 79) continue; // no keyword of PNG
        png_text entry{};
        entry.compression = isAscii(text) ? PNG_TEXT_COMPRESSION_NONE : PNG_ITXT_COMPRESSION_NONE;
        // libpng copies what these point to.
        entry.key = const_cast<char *>(key.c_str());
        entry.text = const_cast<char *>(text.c_str());
        (entry.compression == PNG_TEXT_COMPRESSION_NONE ? entry.text_length : entry.itxt_length) =
            text.size();
        png_set_text(w.png, w.info, &entry, 1);
    }
}

void writeMetadata(const Writer &w, const Metadata &metadata) {
    const auto size = [](const std::vector<unsigned char> &bytes) {
        return static_cast<png_uint_32>(bytes.size());
    };
    // One or the other: a profile says more.
    if (!metadata.profile.empty()) {
        png_set_iCCP(w.png, w.info, "ICC", PNG_COMPRESSION_TYPE_BASE, metadata.profile.data(),
                     size(metadata.profile));
    } else if (metadata.renderingIntent) {
        png_set_sRGB(w.png, w.info, *metadata.renderingIntent);
    }
    if (metadata.gamma > 0) png_set_gAMA(w.png, w.info, metadata.gamma);
    const auto whole = [](double density) {
        return static_cast<png_uint_32>(std::lround(std::min<double>(density, PNG_UINT_31_MAX)));
    };
    if (metadata.xDensity > 0 && metadata.yDensity > 0) {
        png_set_pHYs(w.png, w.info, whole(metadata.xDensity), whole(metadata.yDensity),
                     PNG_RESOLUTION_METER);
    }
    if (!metadata.exif.empty()) {
        png_set_eXIf_1(w.png, w.info, size(metadata.exif),
                       const_cast<png_bytep>(metadata.exif.data()));
    }
    writeTexts(w, metadata);
}

bool writeStart(Writer &w, Output &output, const Shape &shape, const Metadata &metadata,
                const std::optional<int> &level) {
    if (setjmp(png_jmpbuf(w.png))) return false;
    png_set_write_fn(w.png, &output, writeBytes, flushNothing);
    png_set_benign_errors(w.png, 1);
    png_set_compression_level(w.png, level.value_or(quickLevel));
    if (!level && shape.depth != ZYL_DEPTH_1U)
        png_set_filter(w.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    writeHeader(w, shape);
    writeMetadata(w, metadata);
    png_write_info(w.png, w.info);
    if (std::endian::native == std::endian::little) png_set_swap(w.png);
    return true;
}

bool writeRow(Writer &w, const unsigned char *row) {
    if (setjmp(png_jmpbuf(w.png))) return false;
    png_write_row(w.png, row);
    return true;
}

bool writeEnd(Writer &w) {
    if (setjmp(png_jmpbuf(w.png))) return false;
    png_write_end(w.png, nullptr);
    return true;
}

class PngSink : public RowSink {
  public:
    PngSink(std::unique_ptr<Output> output, const Shape &shape, const Metadata &metadata,
            const std::optional<int> &level)
        : output_(std::move(output)) {
        if (!writer_.info) throw std::bad_alloc();
        if (!writeStart(writer_, *output_, shape, metadata, level)) fail();
        piece_ = {(shape.width + 7) / 8 * 8, 16};
    }

  private:
    void writeRow(const unsigned char *from) override {
        if (!tool::writeRow(writer_, from)) fail();
    }
    void complete() override {
        if (!writeEnd(writer_)) fail();
        output_->commit();
    }
    [[noreturn]] void fail() const { throw Failure(writer_.message.text); }

    std::unique_ptr<Output> output_;
    Writer writer_;
};

bool recognises(std::string_view start) {
    return start.substr(0, 8) == std::string_view("\x89PNG\r\n\x1a\n", 8);
}

std::unique_ptr<Source> open(std::unique_ptr<Input> input, const ReadOptions &) {
    return std::make_unique<PngSource>(std::move(input));
}

std::optional<int> levelOf(const std::string &compression) {
    if (compression.empty()) return {};
    const auto level = parseInteger(compression);
    if (!level || *level < 0 || *level > 9)
        throw Misuse("--compression of a PNG file is a number from 0 to 9");
    return static_cast<int>(*level);
}

std::unique_ptr<Sink> create(std::unique_ptr<Output> output, const Shape &shape,
                             const Metadata &metadata, const WriteOptions &options) {
    if (shape.depth & ZYL_DEPTH_SIGN || shape.channels > 4)
        throw Failure("a PNG file" + cannotHold(shape) + ", write a TIFF file or convert it");
    return std::make_unique<PngSink>(std::move(output), shape, metadata,
                                     levelOf(options.compression));
}

} // namespace

const Format pngFormat = {"PNG", "png", recognises, open, create, COMPRESSION};

} // namespace tool
