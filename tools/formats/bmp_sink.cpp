// Writing BMP: 1 or 8 bits of gray, 24 bits of color, 32 bits of color and alpha,
// or with a color table that the library chooses, for which the picture is held
// in memory.
#include "bmp_format.h"
#include "formats.h"
#include "output.h"
#include "rows.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tool {

namespace {

using namespace bmp;

void putNumber(std::vector<unsigned char> &bytes, std::size_t offset, std::uint32_t value,
               std::size_t size = 4) {
    for (std::size_t i = 0; i < size; ++i)
        bytes[offset + i] = static_cast<unsigned char>(value >> 8 * i);
}

std::uint32_t pixelsPerMetre(double density) {
    return static_cast<std::uint32_t>(std::llround(std::min(density, Metadata::mostDensity)));
}

std::uint64_t strideOf(int width, int bits) {
    return (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(bits) + 31) / 32 * 4;
}

// File header, header and color table, and the size of everything before the
// profile.
struct Front {
    std::vector<unsigned char> bytes;
    std::uint64_t end = 0;
};

// Alpha and profiles need the latest header; others are read by more programs.
Front frontOf(const Shape &shape, int bits, const Metadata &metadata) {
    const bool late = shape.alpha || !metadata.profile.empty();
    const std::uint32_t headerSize = late ? version5Header : infoHeader;
    const std::size_t table = bits <= 8 ? std::size_t{4} << bits : 0;
    Front front;
    front.bytes.resize(fileHeaderSize + headerSize + table);
    const std::uint64_t pixelBytes =
        strideOf(shape.width, bits) * static_cast<std::uint64_t>(shape.height);
    front.end = front.bytes.size() + pixelBytes;
    if (front.end + metadata.profile.size() > UINT32_MAX)
        throw Failure("would be too large for a BMP file (4 GiB at most): write a TIFF file");

    std::vector<unsigned char> &b = front.bytes;
    b[0] = 'B', b[1] = 'M';
    putNumber(b, 2, static_cast<std::uint32_t>(front.end + metadata.profile.size()));
    putNumber(b, 10, static_cast<std::uint32_t>(b.size()));
    const auto field = [&](std::size_t offset, std::uint32_t value, std::size_t size = 4) {
        putNumber(b, fileHeaderSize + offset, value, size);
    };
    field(0, headerSize);
    field(4, static_cast<std::uint32_t>(shape.width));
    field(8, static_cast<std::uint32_t>(shape.height));
    field(12, 1, 2); // planes
    field(14, static_cast<std::uint32_t>(bits), 2);
    field(16, shape.alpha ? bitFields : plain);
    field(20, static_cast<std::uint32_t>(pixelBytes));
    field(24, pixelsPerMetre(metadata.xDensity));
    field(28, pixelsPerMetre(metadata.yDensity));
    if (!late) return front;
    if (shape.alpha) {
        const std::uint32_t masks[] = {0xFF0000, 0xFF00, 0xFF, 0xFF000000};
        for (std::size_t c = 0; c < 4; ++c) field(masksField + 4 * c, masks[c]);
    }
    field(colorSpaceField, metadata.profile.empty() ? standardColors : embeddedProfile);
    if (metadata.profile.empty()) return front;
    field(profileField, static_cast<std::uint32_t>(front.end - fileHeaderSize));
    field(profileSizeField, static_cast<std::uint32_t>(metadata.profile.size()));
    return front;
}

class BmpSink : public Sink {
  public:
    BmpSink(std::unique_ptr<Output> output, const Shape &shape, const Metadata &metadata)
        : output_(std::move(output)), shape_(shape), profile_(metadata.profile),
          bits_(shape.depth == ZYL_DEPTH_1U ? 1 : 8 * shape.channels),
          front_(frontOf(shape, bits_, metadata)) {
        const std::size_t colors = bits_ <= 8 ? std::size_t{1} << bits_ : 0;
        const std::size_t table = front_.bytes.size() - 4 * colors;
        for (std::size_t i = 0; i < colors; ++i) {
            std::memset(front_.bytes.data() + table + 4 * i,
                        static_cast<int>(255 * i / (colors - 1)), 3);
        }
        put(0, front_.bytes);
        piece_ = {(shape.width + 7) / 8 * 8, 32};
    }

  private:
    void put(std::uint64_t offset, const std::vector<unsigned char> &bytes) {
        if (!output_->writeAt(offset, bytes.data(), bytes.size())) throw Failure(output_->error());
    }

    // Rows lie from the bottom up: those of a rectangle are written as one block.
    void writeRect(const Rect &rect, ConstPixels from) override {
        const std::uint64_t stride = strideOf(shape_.width, bits_);
        std::vector<unsigned char> rows(stride * static_cast<std::size_t>(rect.height));
        for (int y = 0; y < rect.height; ++y) {
            convertRow(from.data + y * from.stride,
                       rows.data() + stride * static_cast<std::size_t>(rect.height - 1 - y));
        }
        const auto below = static_cast<std::uint64_t>(shape_.height - rect.y - rect.height);
        put(front_.bytes.size() + stride * below, rows);
    }

    void convertRow(const unsigned char *from, unsigned char *to) const {
        if (shape_.channels == 1) {
            std::memcpy(to, from, rowBytes(shape_, shape_.width));
            return;
        }
        for (int x = 0; x < shape_.width; ++x, from += shape_.channels, to += shape_.channels) {
            to[0] = from[2], to[1] = from[1], to[2] = from[0];
            if (shape_.channels == 4) to[3] = from[3];
        }
    }

    void complete() override {
        if (!profile_.empty()) put(front_.end, profile_);
        output_->commit();
    }

    std::unique_ptr<Output> output_;
    Shape shape_;
    std::vector<unsigned char> profile_;
    int bits_;
    Front front_;
};

// Runs bitmap operations with their reports kept silent; throws what they say.
template <class Work>
void silently(Work work) {
    static thread_local std::string text;
    text.clear();
    const ZylErrorCallBack previous = zylRedirectError(
        [](ZylStatus status, const char *, const char *context, const char *, int) {
            text = context != nullptr && *context != 0 ? context : zylErrorStr(status);
            return status;
        });
    work();
    zylRedirectError(previous);
    if (text.empty()) return;
    zylSetErrStatus(ZYL_StsOk);
    throw Failure("does not fit: " + text);
}

class IndexedBmpSink : public RowSink {
  public:
    IndexedBmpSink(std::unique_ptr<Output> output, const Shape &shape, const Metadata &metadata,
                   const Palette &palette)
        : output_(std::move(output)), image_(Image::unfilled(shape)), metadata_(metadata),
          palette_(palette) {
        piece_ = {(shape.width + 7) / 8 * 8, 32};
        metadata_.profile.clear(); // the header that the library fills has no place for it
    }

  private:
    void writeRow(const unsigned char *from) override {
        std::memcpy(image_.row(next_++), from, rowBytes(image_.shape(), image_.header()->width));
    }

    void complete() override {
        const int bits = palette_.colors == 2 ? 1 : palette_.colors == 16 ? 4 : 8;
        std::vector<unsigned char> bytes = frontOf(image_.shape(), bits, metadata_).bytes;
        bytes.resize(bytes.size() + strideOf(image_.header()->width, bits) *
                                        static_cast<std::size_t>(image_.header()->height));
        constexpr int noDither = 1;
        silently([&] {
            zylConvertToDIB(image_.header(), bytes.data() + fileHeaderSize, noDither,
                            palette_.medianCut ? 2 : 1);
        });
        output_->put(bytes.data(), bytes.size());
        output_->commit();
    }

    std::unique_ptr<Output> output_;
    Image image_;
    Metadata metadata_;
    Palette palette_;
    int next_ = 0;
};

} // namespace

std::unique_ptr<Sink> createBmp(std::unique_ptr<Output> output, const Shape &shape,
                                const Metadata &metadata, const WriteOptions &options) {
    const bool channels = shape.channels == 1 || shape.channels == 3 || shape.channels == 4;
    const bool depth =
        shape.depth == ZYL_DEPTH_1U ? shape.channels == 1 : shape.depth == ZYL_DEPTH_8U;
    if (!channels || !depth) {
        throw Failure(
            "a BMP file" + cannotHold(shape) +
            ", only 1-bit gray, 8-bit gray, RGB and RGBA: convert it or write a TIFF file");
    }
    if (!options.palette) {
        output->makeSeekable();
        return std::make_unique<BmpSink>(std::move(output), shape, metadata);
    }
    if (shape.alpha)
        throw Failure("a BMP file with a color table" + cannotHold(shape) + ": remove the alpha");
    return std::make_unique<IndexedBmpSink>(std::move(output), shape, metadata, *options.palette);
}

} // namespace tool
