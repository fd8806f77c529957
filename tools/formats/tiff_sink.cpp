// Writing TIFF, in strips from top to bottom or in tiles of any order; BigTIFF
// where the picture may not fit in 4 GiB.
#include "formats.h"
#include "output.h"
#include "rows.h"
#include "text.h"
#include "tiff_encoder.h"
#include "tiff_exif.h"
#include "tiff_format.h"

#include <algorithm>
#include <cstring>
#include <mutex>

namespace tool {

namespace {

constexpr std::size_t stripBytes = 1 << 18;

struct Compression {
    std::string_view name;
    std::uint16_t code;
    bool predicts; // takes differences of neighbours
};
constexpr Compression compressions[] = {{"none", COMPRESSION_NONE, false},
                                        {"lzw", COMPRESSION_LZW, true},
                                        {"deflate", COMPRESSION_ADOBE_DEFLATE, true},
                                        {"zstd", COMPRESSION_ZSTD, true},
                                        {"lzma", COMPRESSION_LZMA, true},
                                        {"packbits", COMPRESSION_PACKBITS, false},
                                        {"jpeg", COMPRESSION_JPEG, false},
                                        {"fax3", COMPRESSION_CCITTFAX3, false},
                                        {"fax4", COMPRESSION_CCITTFAX4, false}};

const Compression &compressionOf(const std::string &name, const Shape &shape) {
    std::vector<std::string_view> names;
    for (const Compression &compression : compressions) {
        if (!TIFFIsCODECConfigured(compression.code)) continue;
        if (compression.name != (name.empty() ? "lzw" : name)) {
            names.push_back(compression.name);
            continue;
        }
        const bool fax =
            compression.code == COMPRESSION_CCITTFAX3 || compression.code == COMPRESSION_CCITTFAX4;
        if (fax && shape.depth != ZYL_DEPTH_1U)
            throw Failure("compression " + name + " is for 1-bit pictures: convert it or take lzw");
        if (compression.code == COMPRESSION_JPEG && (shape.depth != ZYL_DEPTH_8U || shape.alpha)) {
            throw Failure("compression jpeg is for 8-bit pictures without alpha: convert it or "
                          "take lzw");
        }
        return compression;
    }
    throw unknown("--compression", name, names);
}

// A compression may make noise half as large again.
const char *modeFor(const Shape &shape, const Compression &compression) {
    constexpr double classic = 4294967296.0 - 64.0 * (1 << 20);
    const double bytes = static_cast<double>(rowBytes(shape, shape.width)) * shape.height;
    return bytes * (compression.code == COMPRESSION_NONE ? 1 : 1.5) > classic ? "w8" : "w";
}

TiffCoding codingOf(const Shape &shape, const WriteOptions &options,
                    const Compression &compression) {
    constexpr int usualQuality = 92;
    return {shape, compression.code, compression.predicts, options.quality.value_or(usualQuality),
            options.tile};
}

class TiffSink : public Sink {
  public:
    TiffSink(std::unique_ptr<Output> output, const Shape &shape, const Metadata &metadata,
             const WriteOptions &options, const Compression &compression)
        : output_(std::move(output)), shape_(shape), coding_(codingOf(shape, options, compression)),
          file_(*output_, modeFor(shape, compression)) {
        setFields();
        writeTiffMetadata(file_, metadata);
        writeTiffExif(file_, metadata.exif);
    }
    // A file that is not finished is thrown away: libtiff need not complete it.
    ~TiffSink() override { file_.setDeferred(true); }

  private:
    void setFields() {
        TIFF *t = file_.get();
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, shape_.width);
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, shape_.height);
        TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        coding_.describe(t);
        if (coding_.tile) {
            order_ = Order::any;
            piece_ = coding_.tile;
            return;
        }
        const std::size_t rows = stripBytes / rowBytes(shape_, shape_.width) / 16 * 16;
        piece_ = {(shape_.width + 7) / 8 * 8, std::max(16, static_cast<int>(rows))};
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, std::min(piece_.height, shape_.height));
    }

    void writeRect(const Rect &rect, ConstPixels from) override {
        if (order_ == Order::any) return writeTile(rect, from);
        const std::size_t bytes = rowBytes(shape_, shape_.width);
        strip_.resize(bytes * static_cast<std::size_t>(piece_.height));
        for (int y = 0; y < rect.height; ++y) {
            std::memcpy(strip_.data() + bytes * static_cast<std::size_t>(stripRows_),
                        from.data + y * from.stride, bytes);
            if (++stripRows_ == piece_.height) writeStrip();
        }
    }

    void writeStrip() {
        const auto bytes = static_cast<tmsize_t>(rowBytes(shape_, shape_.width)) * stripRows_;
        if (TIFFWriteEncodedStrip(file_.get(), stripsDone_++, strip_.data(), bytes) < 0) fail();
        stripRows_ = 0;
    }

    // A tile is written whole; past the picture it repeats the last pixels, which
    // compress well.
    std::vector<unsigned char> wholeTile(const Rect &rect, ConstPixels from) const {
        const std::size_t stride = rowBytes(shape_, piece_.width);
        const std::size_t used = rowBytes(shape_, rect.width);
        const std::size_t pixel = std::max<std::size_t>(1, rowBytes(shape_, 1));
        std::vector<unsigned char> tile(stride * static_cast<std::size_t>(piece_.height));
        for (int y = 0; y < piece_.height; ++y) {
            unsigned char *row = tile.data() + stride * static_cast<std::size_t>(y);
            std::memcpy(row, from.data + std::min(y, rect.height - 1) * from.stride, used);
            for (std::size_t i = used; i < stride; ++i) row[i] = row[i - pixel];
        }
        return tile;
    }

    void writeTile(const Rect &rect, ConstPixels from) {
        const std::uint32_t index = TIFFComputeTile(file_.get(), static_cast<std::uint32_t>(rect.x),
                                                    static_cast<std::uint32_t>(rect.y), 0, 0);
        const std::size_t bytes =
            rowBytes(shape_, piece_.width) * static_cast<std::size_t>(piece_.height);
        const bool plain = coding_.compression == COMPRESSION_NONE;
        const bool asItLies =
            rect.width == piece_.width && rect.height == piece_.height &&
            from.stride == static_cast<std::ptrdiff_t>(rowBytes(shape_, piece_.width));
        if (plain && asItLies) return store(index, from.data, bytes);
        std::vector<unsigned char> tile = wholeTile(rect, from);
        if (plain) return store(index, tile.data(), bytes);
        std::unique_ptr<TiffEncoder> encoder = takeEncoder();
        const std::vector<unsigned char> &encoded = encoder->encode(std::move(tile));
        if (coding_.compression == COMPRESSION_JPEG) setTables(*encoder);
        store(index, encoded.data(), encoded.size());
        const std::lock_guard lock(mutex_);
        idle_.push_back(std::move(encoder));
    }

    std::unique_ptr<TiffEncoder> takeEncoder() {
        const std::lock_guard lock(mutex_);
        if (idle_.empty()) return std::make_unique<TiffEncoder>(coding_);
        std::unique_ptr<TiffEncoder> encoder = std::move(idle_.back());
        idle_.pop_back();
        return encoder;
    }

    // The tables follow from the quality: those of any tile.
    void setTables(const TiffEncoder &encoder) {
        const std::lock_guard lock(mutex_);
        if (std::exchange(hasTables_, true)) return;
        const std::vector<unsigned char> tables = encoder.jpegTables();
        TIFFSetField(file_.get(), TIFFTAG_JPEGTABLES, static_cast<std::uint32_t>(tables.size()),
                     tables.data());
    }

    // libtiff gives the tile its place; the bytes are written without the lock.
    void store(std::uint32_t index, const unsigned char *tile, std::size_t bytes) {
        std::uint64_t offset = 0;
        {
            const std::lock_guard lock(mutex_);
            file_.setDeferred(true);
            const tmsize_t done =
                TIFFWriteRawTile(file_.get(), index, const_cast<unsigned char *>(tile),
                                 static_cast<tmsize_t>(bytes));
            file_.setDeferred(false);
            if (done < 0) fail();
            offset = file_.writtenAt();
        }
        if (!output_->writeAt(offset, tile, bytes)) throw Failure(output_->error());
    }

    void complete() override {
        if (stripRows_ > 0) writeStrip();
        if (!TIFFFlush(file_.get())) fail();
        file_.close();
        output_->commit();
    }

    [[noreturn]] void fail() {
        const std::string message = file_.takeMessage();
        throw Failure(output_->failed() ? output_->error() : message);
    }

    std::unique_ptr<Output> output_;
    Shape shape_;
    TiffCoding coding_;
    std::mutex mutex_; // guards file_ and idle_
    TiffFile file_;
    std::vector<std::unique_ptr<TiffEncoder>> idle_;
    bool hasTables_ = false;
    std::vector<unsigned char> strip_;
    int stripRows_ = 0;
    std::uint32_t stripsDone_ = 0;
};

} // namespace

std::unique_ptr<Sink> createTiff(std::unique_ptr<Output> output, const Shape &shape,
                                 const Metadata &metadata, const WriteOptions &options) {
    const Compression &compression = compressionOf(options.compression, shape);
    if (options.tile && (options.tile.width % 16 != 0 || options.tile.height % 16 != 0))
        throw Misuse("--tile is a multiple of 16");
    output->makeSeekable();
    return std::make_unique<TiffSink>(std::move(output), shape, metadata, options, compression);
}

} // namespace tool
