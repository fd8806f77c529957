// To and from device-independent bitmaps. Every conversion carries runs of
// working pixels through three stages: a reader, a change of the channels' order,
// and a writer.

#include <algorithm>
#include <cstring>
#include <optional>

#include "convert/bitmap.h"
#include "convert/kernels.h"
#include "convert/median_cut.h"
#include "convert/palette.h"
#include "core/call.h"
#include "core/image.h"

using namespace zylqx;

namespace {

// Working pixels that go through the stages at a time. A multiple of 8, so that
// every run starts at a byte of a row of bits.
constexpr std::ptrdiff_t RUN = NearestColour::RUN;

constexpr int RED_BYTE = 16; // its lowest bit in a working pixel

// ---- checks ---------------------------------------------------------------------

bool badBlock(const Call &call, const Bitmap &bitmap) {
    const ZylBitmapInfoHeader &header = bitmap.header;
    return call.fails(header.biSize != sizeof header,
                      "(dib->biSize != sizeof(BITMAPINFOHEADER))") ||
           call.fails(header.biPlanes != 1, "(dib->biPlanes != 1)") ||
           call.fails(header.biCompression != BITMAP_PLAIN && header.biCompression != BITMAP_FIELDS,
                      "(dib->biCompression != 0) && (dib->biCompression != 3)");
}

// Nothing fits the bitmap or the image; no news where the status tells of a
// failure already.
void reportInternal(const Call &call) {
    if (zylGetErrStatus() >= 0) call.report(ZYL_StsInternal, "");
}

// ---- the image side ---------------------------------------------------------------

// The rows of an image as bitmaps see them: whole, from the top of the picture
// down, with the strides that follow from the header's other fields.
class ImageRows {
  public:
    explicit ImageRows(const ZylImage &image)
        : image_(image), stride_(rowStride(image, image.width)) {}

    // Depths and channels that bitmaps can hold.
    bool supported() const {
        if (image_.depth == ZYL_DEPTH_1U) return image_.nChannels == 1;
        if (image_.depth != ZYL_DEPTH_8U && image_.depth != ZYL_DEPTH_16U) return false;
        return image_.nChannels == 1 || image_.nChannels == 3 || image_.nChannels == 4;
    }

    // n pixels from column x on, a multiple of 8.
    void read(std::ptrdiff_t y, std::ptrdiff_t x, std::uint32_t *pixels, std::ptrdiff_t n) const {
        const BitmapKernels &kernels = ZYLQX_KERNELS(bitmapKernels);
        if (image_.depth == ZYL_DEPTH_1U) return kernels.getBits(row(y) + x / 8, pixels, n);
        if (isBytes3()) return kernels.read24(row(y), x, nullptr, pixels, n);
        std::fill_n(pixels, n, 0u);
        const auto get = kernels.getChannel[image_.depth == ZYL_DEPTH_16U];
        const std::ptrdiff_t step = pixelStep(image_);
        if (image_.nChannels == 1) {
            for (int at = 0; at < 24; at += 8) get(sample(y, x, 0), step, at, pixels, n);
            return;
        }
        for (int c = 0; c < image_.nChannels; ++c) get(sample(y, x, c), step, 8 * c, pixels, n);
    }

    void write(std::ptrdiff_t y, std::ptrdiff_t x, const std::uint32_t *pixels,
               std::ptrdiff_t n) const {
        const BitmapKernels &kernels = ZYLQX_KERNELS(bitmapKernels);
        if (image_.depth == ZYL_DEPTH_1U) return kernels.putBits(pixels, row(y) + x / 8, n);
        if (isBytes3()) return kernels.write24(row(y), x, nullptr, pixels, n);
        const auto put = kernels.putChannel[image_.depth == ZYL_DEPTH_16U];
        const std::ptrdiff_t step = pixelStep(image_);
        if (image_.nChannels == 1) return put(pixels, RED_BYTE, sample(y, x, 0), step, n);
        for (int c = 0; c < image_.nChannels; ++c) put(pixels, 8 * c, sample(y, x, c), step, n);
    }

  private:
    // Whether rows are those of a bitmap of 24 bits.
    bool isBytes3() const {
        return image_.depth == ZYL_DEPTH_8U && image_.nChannels == 3 && !isPlanar(image_);
    }
    unsigned char *row(std::ptrdiff_t y) const {
        const bool bottomFirst = image_.origin == ZYL_ORIGIN_BL;
        return image_.imageData + (bottomFirst ? image_.height - 1 - y : y) * stride_;
    }
    unsigned char *sample(std::ptrdiff_t y, std::ptrdiff_t x, int channel) const {
        const std::ptrdiff_t bytes = sampleBytes(image_.depth);
        const std::ptrdiff_t channelStep = isPlanar(image_) ? stride_ * image_.height : bytes;
        return row(y) + x * pixelStep(image_) * bytes + channel * channelStep;
    }

    const ZylImage &image_;
    std::ptrdiff_t stride_;
};

// ---- the order of channels --------------------------------------------------------

enum class BitmapDirection { FromBitmap, ToBitmap };

bool sequenceIs(const ZylImage &image, const char (&text)[5]) {
    return std::memcmp(image.channelSeq, text, 4) == 0;
}

void keepChannels(std::uint32_t *, std::ptrdiff_t) {}

// Null for a sequence that is not known.
BitmapKernels::Change channelOrder(const ZylImage &image, BitmapDirection direction) {
    const BitmapKernels &kernels = ZYLQX_KERNELS(bitmapKernels);
    if (sequenceIs(image, "G\0\0\0") || sequenceIs(image, "GRAY")) {
        return direction == BitmapDirection::FromBitmap ? kernels.redFromColours
                                                        : kernels.coloursFromRed;
    }
    if (sequenceIs(image, "BGR\0") || sequenceIs(image, "BGRA")) return keepChannels;
    if (sequenceIs(image, "RGB\0") || sequenceIs(image, "RGBA")) return kernels.swapBlueAndRed;
    return nullptr;
}

// ---- the bitmap side --------------------------------------------------------------

class BitmapReader {
  public:
    explicit BitmapReader(const Bitmap &bitmap) : bitmap_(bitmap) {
        if (bitmap.header.biBitCount <= 8) readTable();
    }

    void read(std::ptrdiff_t y, std::ptrdiff_t x, std::uint32_t *pixels, std::ptrdiff_t n) const {
        const BitmapKernels &kernels = ZYLQX_KERNELS(bitmapKernels);
        const std::uint8_t *row = bitmap_.row(y);
        switch (bitmap_.header.biBitCount) {
        case 1:
            return kernels.read1(row, x, colours_, pixels, n);
        case 4:
            return kernels.read4(row, x, colours_, pixels, n);
        case 8:
            return kernels.read8(row, x, colours_, pixels, n);
        case 16:
            return kernels.read16(row, x, bitmap_.fields, pixels, n);
        case 24:
            return kernels.read24(row, x, bitmap_.fields, pixels, n);
        default:
            return kernels.read32(row, x, bitmap_.fields, pixels, n);
        }
    }

  private:
    // An index past the table gets its last entry.
    void readTable() {
        const std::uint64_t indices = std::uint64_t{1} << bitmap_.header.biBitCount;
        for (std::uint64_t i = 0; i < indices; ++i) {
            const std::uint8_t *entry =
                bitmap_.table + ENTRY_BYTES * std::min(i, bitmap_.entries - 1);
            colours_[i] = entry[0] | std::uint32_t{entry[1]} << 8 | std::uint32_t{entry[2]} << 16 |
                          std::uint32_t{entry[3]} << 24;
        }
    }

    const Bitmap &bitmap_;
    std::uint32_t colours_[256];
};

class BitmapWriter {
  public:
    explicit BitmapWriter(const Bitmap &bitmap)
        : bitmap_(bitmap), nearest_(nearestColourOf(bitmap)) {}

    void write(std::ptrdiff_t y, std::ptrdiff_t x, const std::uint32_t *pixels, std::ptrdiff_t n) {
        const BitmapKernels &kernels = ZYLQX_KERNELS(bitmapKernels);
        std::uint8_t *row = bitmap_.row(y);
        switch (bitmap_.header.biBitCount) {
        case 1:
            return writeBits(row + x / 8, pixels, n);
        case 4:
            return writeHalves(row + x / 2, pixels, n);
        case 8:
            return nearest_->find(pixels, row + x, n);
        case 16:
            return kernels.write16(row, x, bitmap_.fields, pixels, n);
        case 24:
            return kernels.write24(row, x, bitmap_.fields, pixels, n);
        default:
            return kernels.write32(row, x, bitmap_.fields, pixels, n);
        }
    }

  private:
    // Several indices to a byte, the first in its highest bits. Bits of a byte past the
    // row keep their values.
    void writeBits(std::uint8_t *bytes, const std::uint32_t *pixels, std::ptrdiff_t n) {
        std::uint8_t indices[RUN];
        nearest_->find(pixels, indices, n);
        ZYLQX_KERNELS(depthKernels).toBits[0](indices, 1, bytes, n);
    }
    void writeHalves(std::uint8_t *bytes, const std::uint32_t *pixels, std::ptrdiff_t n) {
        std::uint8_t indices[RUN];
        nearest_->find(pixels, indices, n);
        for (std::ptrdiff_t i = 0; i < n / 2; ++i) {
            bytes[i] = static_cast<std::uint8_t>(indices[2 * i] << 4 | (indices[2 * i + 1] & 15));
        }
        if (n % 2 == 0) return;
        std::uint8_t &last = bytes[n / 2];
        last = static_cast<std::uint8_t>(indices[n - 1] << 4 | (last & 15));
    }

    // None without a colour table.
    static std::optional<NearestColour> nearestColourOf(const Bitmap &bitmap) {
        const std::uint16_t bits = bitmap.header.biBitCount;
        if (bits > 8) return std::nullopt;
        return std::optional<NearestColour>(std::in_place, bitmap.table, bitmap.entries, bits == 1,
                                            bitmap.rows * bitmap.header.biWidth);
    }

    const Bitmap &bitmap_;
    std::optional<NearestColour> nearest_;
};

// Takes `rows` rows of `columns` pixels, from the top of the picture down, from a
// reader through `change` to a writer.
template <class Reader, class Writer>
void convertRows(const Reader &reader, BitmapKernels::Change change, Writer &writer,
                 std::ptrdiff_t rows, std::ptrdiff_t columns) {
    std::uint32_t pixels[RUN];
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        for (std::ptrdiff_t x = 0; x < columns; x += RUN) {
            const std::ptrdiff_t n = std::min(RUN, columns - x);
            reader.read(y, x, pixels, n);
            change(pixels, n);
            writer.write(y, x, pixels, n);
        }
    }
}

// ---- translating ------------------------------------------------------------------

// The layout of an image for a bitmap, and whether the bitmap's pixels serve it.
struct ImageLayout {
    std::int32_t nChannels;
    std::int32_t alphaChannel;
    std::uint32_t depth;
    char colorModel[5];
    char channelSeq[5];
    bool shared;
};

ImageLayout layoutFor(const Bitmap &bitmap) {
    const std::uint16_t bits = bitmap.header.biBitCount;
    const bool fields = bitmap.header.biCompression == BITMAP_FIELDS;
    if (bits <= 8 && isGrayRamp(bitmap.table, bitmap.entries)) {
        return {1, 0, bits == 1 ? ZYL_DEPTH_1U : ZYL_DEPTH_8U, "GRAY", "G\0\0\0", bits != 4};
    }
    if (bits == 32) return {4, 4, ZYL_DEPTH_8U, "RGBA", "BGRA", !fields};
    return {3, 0, ZYL_DEPTH_8U, "RGB\0", "BGR\0", bits == 24};
}

ZylImage *createHeader(const Bitmap &bitmap, const ImageLayout &layout) {
    if (bitmap.rows > INT32_MAX) return nullptr;
    ZylImage *image = zylCreateImageHeader(
        layout.nChannels, layout.alphaChannel, layout.depth, layout.colorModel, layout.channelSeq,
        layout.shared ? ZYL_DATA_ORDER_PIXEL : ZYL_DATA_ORDER_PLANE,
        bitmap.header.biHeight >= 0 ? ZYL_ORIGIN_BL : ZYL_ORIGIN_TL,
        layout.shared ? ZYL_ALIGN_4 : ZYL_ALIGN_8, static_cast<std::int32_t>(bitmap.rows),
        bitmap.header.biWidth, nullptr, nullptr, nullptr);
    if (image != nullptr && layout.shared) image->imageData = bitmap.pixels;
    return image;
}

// ---- writing bitmaps --------------------------------------------------------------

// The colour table that a bitmap gets once nothing can fail any more.
class NewTable {
  public:
    // False when the median cut failed.
    bool make(const Bitmap &bitmap, const ZylImage &image, std::int32_t paletteConversion) {
        const std::uint16_t bits = bitmap.header.biBitCount;
        if (paletteConversion == 0 || bits >= 16) return true;
        if (paletteConversion == 2 && bits > 8) return false;
        if (!bitmap.knownBitCount()) return true; // there is no table
        if (paletteConversion == 1) {
            const bool filled = fillFixedTable(table_, bitmap.entries, image.nChannels == 1);
            entries_ = filled ? bitmap.entries : 0;
            return true;
        }
        entries_ = static_cast<std::uint64_t>(medianCutTable(image, bits, table_));
        medianCut_ = true;
        return entries_ != 0;
    }

    void putInto(Bitmap &bitmap) const {
        std::memcpy(bitmap.table, table_, static_cast<std::size_t>(entries_) * ENTRY_BYTES);
        if (medianCut_) bitmap.setEntriesUsed(static_cast<std::uint32_t>(entries_));
    }

  private:
    static constexpr std::uint64_t MAX_ENTRIES = 256;
    std::uint8_t table_[MAX_ENTRIES * ENTRY_BYTES];
    std::uint64_t entries_ = 0;
    bool medianCut_ = false;
};

// A copy of an image with 8 bits, freed at the end of the scope.
class ReducedImage {
  public:
    ReducedImage() = default;
    ReducedImage(const ReducedImage &) = delete;
    ReducedImage &operator=(const ReducedImage &) = delete;
    ~ReducedImage() { zylDeallocate(image_, ZYL_DEALLOC_ALL); }

    // False when something failed, which has been reported.
    bool make(const Call &call, ZylImage &image, std::int32_t dither) {
        image_ =
            zylCreateImageHeader(image.nChannels, image.alphaChannel, ZYL_DEPTH_8U,
                                 image.colorModel, image.channelSeq, image.dataOrder, image.origin,
                                 image.align, image.height, image.width, nullptr, nullptr, nullptr);
        if (image_ != nullptr) zylAllocateImage(image_, -1);
        if (image_ == nullptr || image_->imageData == nullptr) {
            call.report(ZYL_StsNoMem, "Allocation failure");
            return false;
        }
        // The whole image is reduced, whatever its region.
        ZylImage whole = image;
        whole.roi = nullptr;
        const ZylStatus before = zylGetErrStatus();
        zylSetErrStatus(ZYL_StsOk);
        zylReduceBits(&whole, image_, 0, dither, 1, nullptr);
        if (zylGetErrStatus() < 0) return false;
        zylSetErrStatus(before);
        return true;
    }

    ZylImage *get() const { return image_; }

  private:
    ZylImage *image_ = nullptr;
};

} // namespace

ZylImage *zylTranslateDIB(const void *dib, std::int32_t *cloneData) {
    const Call call("zylTranslateDIB", "zyldib");
    if (call.fails(dib == nullptr, "(dib == ((void *)0))") ||
        call.fails(cloneData == nullptr, "(cloneData == ((void *)0))")) {
        return nullptr;
    }
    const Bitmap bitmap(dib);
    if (badBlock(call, bitmap) || call.fails(!bitmap.knownBitCount(), "Bad dib->biBitCount") ||
        call.fails(bitmap.emptyMask(), "Bad dib color mask")) {
        return nullptr;
    }
    const ImageLayout layout = layoutFor(bitmap);
    ZylImage *image = createHeader(bitmap, layout);
    if (call.fails(image == nullptr, "Create image header is failed")) return nullptr;
    *cloneData = layout.shared ? 1 : 0;
    if (layout.shared) return image;

    zylAllocateImage(image, -1);
    if (call.fails(image->imageData == nullptr, "Allocate memory for ZYL image data is failed")) {
        zylDeallocate(image, ZYL_DEALLOC_HEADER);
        return nullptr;
    }
    zylConvertFromDIB(dib, image);
    return image;
}

void zylConvertFromDIB(const void *dib, ZylImage *image) {
    const Call call("zylConvertFromDIB", "zyldib");
    if (call.badHeader(image) || call.fails(dib == nullptr, "dib==0")) return;
    if (call.fails(isTiled(*image), "image->imageData==0")) return;
    const Bitmap bitmap(dib);
    if (badBlock(call, bitmap) ||
        call.fails(image->width < bitmap.header.biWidth || image->height < bitmap.rows,
                   "image size is too small")) {
        return;
    }
    if (!bitmap.knownBitCount()) return reportInternal(call);
    if (call.fails(bitmap.emptyMask(), "Bad dib color mask")) return;
    const auto change = channelOrder(*image, BitmapDirection::FromBitmap);
    if (call.fails(change == nullptr, "image->channelSeq unsupport")) return;
    const ImageRows rows(*image);
    if (!rows.supported()) return reportInternal(call);
    convertRows(BitmapReader(bitmap), change, rows, static_cast<std::ptrdiff_t>(bitmap.rows),
                bitmap.header.biWidth);
}

void zylConvertToDIB(ZylImage *image, void *dib, std::int32_t dither,
                     std::int32_t paletteConversion) {
    const Call call("zylConvertToDIB", "zyldib");
    if (call.badHeader(image) || call.fails(dib == nullptr, "dib==0")) return;
    if (call.fails(isTiled(*image), "image->imageData==0")) return;
    Bitmap bitmap(dib);
    NewTable table;
    const bool alpha = image->alphaChannel == 4;
    if (call.fails(image->nChannels <= 0 || image->nChannels > 4,
                   "(image->nChannels <= 0 || image->nChannels > 4)") ||
        call.fails((image->depth & ZYL_DEPTH_SIGN) != 0, "(image->depth & 0x80000000)") ||
        call.fails(image->alphaChannel != 0 && image->alphaChannel != 4,
                   "(image->alphaChannel != 0 && image->alphaChannel != 4)") ||
        call.fails(alpha && image->nChannels != 4, "(image->nChannels != 4)") ||
        call.fails(!alpha && image->nChannels != 3 && image->nChannels != 1,
                   "(image->nChannels != 3 && image->nChannels != 1)") ||
        call.fails(image->width != bitmap.header.biWidth || image->height != bitmap.header.biHeight,
                   "(image->width != dib->biWidth || image->height != dib->biHeight)") ||
        badBlock(call, bitmap) ||
        call.fails(dither != 8 && dither != 1, "(dither != 8 && dither != 1)") ||
        call.fails(
            paletteConversion < 0 || paletteConversion > 2,
            "(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)") ||
        call.fails(!table.make(bitmap, *image, paletteConversion), "create medcut palette error")) {
        return;
    }

    ReducedImage reduced;
    const ZylImage *source = image;
    if (image->depth > ZYL_DEPTH_8U && dither == 8) {
        if (!reduced.make(call, *image, dither)) return;
        source = reduced.get();
    }
    const ImageRows rows(*source);
    if (!rows.supported()) return reportInternal(call);
    const auto change = channelOrder(*source, BitmapDirection::ToBitmap);
    if (call.fails(change == nullptr, "image->channelSeq unsupport") ||
        call.fails(!bitmap.knownBitCount(), "dib-<biBitCount is bad") ||
        call.fails(bitmap.emptyMask(), "Bad dib color mask")) {
        return;
    }
    table.putInto(bitmap);
    BitmapWriter writer(bitmap);
    convertRows(rows, change, writer, image->height, image->width);
}
