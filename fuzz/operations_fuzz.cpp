// Bytes as one call of an operation: which one, with which images and arguments.
// The pixels of images and tiles are blocks of their exact size, so that every
// step outside is seen; at the end no tile may be held.
#include "bytes.h"

#include <zylqx.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace {

struct FreeHeader {
    void operator()(ZylImage *image) const {
        zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_ROI | ZYL_DEALLOC_TILE);
    }
};
using HeaderPointer = std::unique_ptr<ZylImage, FreeHeader>;

// Whether a tile was refused in this call: then arithmetic leaves others with the
// application.
bool refused = false;

// An image and its pixels, in memory or in tiles.
class Picture {
  public:
    explicit Picture(Bytes &in);
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;
    ~Picture() {
        if (held_ != 0 && !refused) std::abort();
    }

    operator ZylImage *() const { return header_.get(); }

  private:
    static void deliver(ZylImage *image, std::int32_t x, std::int32_t y, std::int32_t mode);
    std::vector<unsigned char> pixels(std::int32_t size) const {
        std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
        unsigned state = seed_;
        for (unsigned char &byte : bytes) {
            state = state * 1664525u + 1013904223u;
            byte = static_cast<unsigned char>(state >> 24);
        }
        return bytes;
    }

    HeaderPointer header_;
    std::vector<unsigned char> data_;
    std::map<std::pair<int, int>, std::vector<unsigned char>> tiles_;
    std::int32_t tileSize_ = 0; // bytes
    unsigned seed_ = 0;
    int refusal_ = 0; // the request that fails, from 1
    int held_ = 0;
};

Picture::Picture(Bytes &in) {
    static constexpr std::array<std::uint32_t, 6> DEPTHS = {
        ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};
    static constexpr std::array<const char *, 6> MODELS = {"GRAY", "RGB ", "RGBA",
                                                           "HSV ", "HLS ", "XYZ "};
    static constexpr std::array<const char *, 5> SEQUENCES = {"G   ", "RGB ", "BGRA", "RGBA",
                                                              "BGR "};
    const std::uint32_t depth = DEPTHS[static_cast<std::size_t>(in.below(6))];
    const int channels = depth == ZYL_DEPTH_1U ? 1 : in.between(1, 5);
    const int alpha = in.below(4) == 0 ? in.between(0, channels) : 0;
    const char *model = MODELS[static_cast<std::size_t>(in.below(6))];
    const char *sequence = SEQUENCES[static_cast<std::size_t>(in.below(5))];
    const int order = in.below(2);
    const int origin = in.below(2);
    const int align = in.flag() ? ZYL_ALIGN_4 : ZYL_ALIGN_8;
    const int height = in.between(1, 70);
    const int width = in.between(1, 140);
    const auto create = [&](int rows, int columns, ZylTileInfo *tiles) {
        return HeaderPointer(zylCreateImageHeader(channels, alpha, depth, model, sequence, order,
                                                  origin, align, rows, columns, nullptr, nullptr,
                                                  tiles));
    };
    seed_ = static_cast<unsigned>(in.byte());
    if (in.below(3) == 0) {
        const int tileWidth = 8 * in.between(1, 6);
        const int tileHeight = 8 * in.between(1, 6);
        tileSize_ = create(tileHeight, tileWidth, nullptr)->imageSize;
        refusal_ = in.below(4) == 0 ? in.between(1, 9) : 0;
        header_ = create(height, width, zylCreateTileInfo(deliver, this, tileWidth, tileHeight));
    } else {
        header_ = create(height, width, nullptr);
        data_ = pixels(header_->imageSize);
        header_->imageData = data_.data();
    }
    if (in.flag()) {
        const auto place = [&](int size) {
            return in.below(8) == 0 ? in.number() : in.below(size);
        };
        const int x = place(width);
        const int y = place(height);
        const int rows = in.below(8) == 0 ? in.number() : in.between(1, height);
        const int columns = in.below(8) == 0 ? in.number() : in.between(1, width);
        header_->roi = zylCreateROI(in.below(channels + 1), x, y, rows, columns);
    }
    for (const int side : {ZYL_SIDE_TOP, ZYL_SIDE_BOTTOM, ZYL_SIDE_LEFT, ZYL_SIDE_RIGHT}) {
        zylSetBorderMode(header_.get(), in.below(5), side, in.number());
    }
}

void Picture::deliver(ZylImage *image, std::int32_t x, std::int32_t y, std::int32_t mode) {
    ZylTileInfo &info = *image->tileInfo;
    auto &self = *static_cast<Picture *>(info.id);
    if (mode == ZYL_RELEASE_TILE) {
        --self.held_;
        info.tileData = nullptr;
        return;
    }
    if (x < 0 || y < 0 || x * info.width >= image->width || y * info.height >= image->height) {
        std::abort();
    }
    if (--self.refusal_ == 0) {
        refused = true;
        info.tileData = nullptr;
        return;
    }
    ++self.held_;
    std::vector<unsigned char> &tile = self.tiles_[{x, y}];
    if (tile.empty()) tile = self.pixels(self.tileSize_);
    info.tileData = tile.data();
}

// A table of keys that do not decrease.
class Table {
  public:
    explicit Table(Bytes &in)
        : keys_(static_cast<std::size_t>(in.between(2, 20))), values_(keys_.size()),
          factors_(keys_.size()) {
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            keys_[i] = in.flag() ? in.byte() : in.byte() * 257;
            values_[i] = in.number();
            factors_[i] = in.number();
        }
        if (in.below(8) != 0) std::sort(keys_.begin(), keys_.end());
        lut_ = {static_cast<std::int32_t>(keys_.size()), keys_.data(), values_.data(),
                factors_.data(), in.below(2)};
    }
    operator ZylLUT *() { return &lut_; }

  private:
    std::vector<std::int32_t> keys_, values_, factors_;
    ZylLUT lut_;
};

struct FreeKernel {
    void operator()(ZylConvKernel *kernel) const { zylDeleteConvKernel(kernel); }
};
using KernelPointer = std::unique_ptr<ZylConvKernel, FreeKernel>;

KernelPointer makeKernel(Bytes &in) {
    const int rows = in.between(1, 6);
    const int columns = in.between(1, 6);
    std::vector<std::int8_t> values(static_cast<std::size_t>(rows) *
                                    static_cast<std::size_t>(columns));
    for (std::int8_t &value : values) value = static_cast<std::int8_t>(in.byte());
    const int anchorX = in.below(columns);
    const int anchorY = in.below(rows);
    return KernelPointer(
        zylCreateConvKernel(rows, columns, anchorX, anchorY, values.data(), in.number()));
}

// The images of a call: a few, some of them the same.
struct Call {
    Bytes &in;
    Picture a{in}, b{in}, c{in};
    ZylImage *source = a;
    ZylImage *second = in.below(4) == 0 ? a : b;
    ZylImage *destination = in.below(4) == 0 ? a : c;
    std::array<std::int32_t, 2> place = {in.below(150), in.below(80)};
    ZylTileMapping mapping = {place[0], place[1]};
    bool one = in.below(4) == 0;
    const std::int32_t *tile = one ? place.data() : nullptr;
    const ZylTileMapping *point = one ? &mapping : nullptr;

    explicit Call(Bytes &bytes) : in(bytes) {}
    std::int32_t number() { return in.number(); }
    // Boxes cost their rows, and medians their pixels.
    std::int32_t box() { return in.below(8) == 0 ? in.between(0, 255) : in.between(0, 12); }
};

void arithmetic(Call &c) {
    switch (c.in.below(20)) {
    case 0:
        return zylAdd(c.source, c.second, c.destination, c.tile);
    case 1:
        return zylSubtract(c.source, c.second, c.destination, c.in.below(2), c.tile);
    case 2:
        return zylMultiply(c.source, c.second, c.destination, c.tile);
    case 3:
        return zylAnd(c.source, c.second, c.destination, c.tile);
    case 4:
        return zylOr(c.source, c.second, c.destination, c.tile);
    case 5:
        return zylXor(c.source, c.second, c.destination, c.tile);
    case 6:
        return zylAddS(c.source, c.destination, c.number(), c.tile);
    case 7:
        return zylSubtractS(c.source, c.destination, c.number(), c.in.below(2), c.tile);
    case 8:
        return zylMultiplyS(c.source, c.destination, static_cast<std::uint32_t>(c.number()),
                            c.tile);
    case 9:
        return zylLShiftS(c.source, c.destination, static_cast<std::uint32_t>(c.number()), c.tile);
    case 10:
        return zylRShiftS(c.source, c.destination, static_cast<std::uint32_t>(c.number()), c.tile);
    case 11:
        return zylSquare(c.source, c.destination, c.tile);
    case 12:
        return zylAbs(c.source, c.destination, c.tile);
    case 13:
        return zylAndS(c.source, c.destination, static_cast<std::uint32_t>(c.number()), c.tile);
    case 14:
        return zylOrS(c.source, c.destination, static_cast<std::uint32_t>(c.number()), c.tile);
    case 15:
        return zylXorS(c.source, c.destination, static_cast<std::uint32_t>(c.number()), c.tile);
    case 16:
        return zylNot(c.source, c.destination, c.tile);
    case 17:
        return zylCopy(c.source, c.destination, c.tile);
    case 18:
        return zylSet(c.destination, c.number(), c.tile);
    default:
        return zylExchange(c.source, c.destination, c.tile);
    }
}

void colour(Call &c) {
    switch (c.in.below(10)) {
    case 0:
        return zylConvert(c.source, c.destination, c.in.below(2), c.point);
    case 1:
        return zylBitonalToGray(c.source, c.destination, c.number(), c.number(), c.point);
    case 2:
        return zylColorToGray(c.source, c.destination, c.tile);
    case 3:
        return zylGrayToColor(c.source, c.destination, c.in.fraction(), c.in.fraction(),
                              c.in.fraction(), c.tile);
    case 4:
        return zylRGB2HSV(c.source, c.destination, c.tile);
    case 5:
        return zylHSV2RGB(c.source, c.destination, c.tile);
    case 6:
        return zylRGB2HLS(c.source, c.destination, c.tile);
    case 7:
        return zylHLS2RGB(c.source, c.destination, c.tile);
    case 8:
        return zylReduceBits(c.source, c.destination, c.in.below(16), 1 << c.in.below(6),
                             c.in.between(0, 17), c.tile);
    default: {
        std::array<std::int32_t, 16> data;
        for (std::int32_t &entry : data) entry = c.number();
        ZylColorTwist *twist = zylCreateColorTwist(data.data(), c.in.between(-1, 34));
        if (twist == nullptr) return;
        zylApplyColorTwist(c.source, c.destination, twist, c.number(), c.point);
        zylDeleteColorTwist(twist);
    }
    }
}

void filter(Call &c) {
    const auto boxed = [&c](auto operation) {
        const std::int32_t rows = c.box();
        const std::int32_t columns = c.box();
        const std::int32_t x = c.in.below(8) == 0 ? c.number() : columns / 2;
        const std::int32_t y = c.in.below(8) == 0 ? c.number() : rows / 2;
        operation(c.source, c.destination, rows, columns, x, y, c.point);
    };
    const auto repeated = [&c](auto operation) {
        operation(c.source, c.destination, c.in.below(4), nullptr);
    };
    const KernelPointer one = makeKernel(c.in);
    const KernelPointer other = makeKernel(c.in);
    std::array kernels = {one.get(), other.get()};
    switch (c.in.below(10)) {
    case 0:
        return boxed(zylBlur);
    case 1:
        return boxed(zylMaxFilter);
    case 2:
        return boxed(zylMinFilter);
    case 3:
        return boxed(zylMedianFilter);
    case 4:
        return repeated(zylErode);
    case 5:
        return repeated(zylDilate);
    case 6:
        return repeated(zylOpen);
    case 7:
        return repeated(zylClose);
    case 8:
        return zylConvolve2D(c.source, c.destination, kernels.data(), c.in.between(1, 2),
                             c.in.below(5), c.point);
    default:
        if (c.in.below(4) == 0) one->anchorX = c.number();
        if (c.in.below(4) == 0) other->anchorY = c.number();
        return zylConvolveSep2D(c.source, c.destination, one.get(), other.get());
    }
}

void geometry(Call &c) {
    const auto factor = [&c] { return c.in.flag() ? c.in.between(1, 9) : c.number(); };
    switch (c.in.below(4)) {
    case 0:
        return zylZoom(c.source, c.destination, factor(), factor(), factor(), factor(),
                       c.in.below(3), c.point);
    case 1:
        return zylDecimate(c.source, c.destination, factor(), factor(), factor(), factor(),
                           c.in.below(3), c.point);
    case 2:
        return zylRotate(c.source, c.destination, c.number(), c.number(), c.number(), c.in.below(3),
                         c.tile);
    default:
        return zylMirror(c.source, c.destination, c.in.between(-1, 1));
    }
}

// ZYL_FFT_REPEAT wants the images of the call before, which must have got as far as
// to them.
void transform(Call &c) {
    const auto twice = [&c](auto operation) {
        const int flags = c.in.byte() & ~ZYL_FFT_REPEAT;
        if (c.source->tileInfo != nullptr || c.destination->tileInfo != nullptr || c.in.flag()) {
            return operation(c.source, c.destination, flags, c.point);
        }
        operation(c.source, c.destination, flags & ~ZYL_FFT_RELEASE, nullptr);
        operation(c.source, c.destination, ZYL_FFT_REPEAT, nullptr);
    };
    switch (c.in.below(3)) {
    case 0:
        return twice(zylRealFft2D);
    case 1:
        return twice(zylCcsFft2D);
    default:
        return zylDCT2D(c.source, c.destination, c.in.byte());
    }
}

void statistics(Call &c) {
    Table first(c.in);
    Table second(c.in);
    const std::array<ZylLUT *, 5> tables = {first, second, first, second, first};
    switch (c.in.below(10)) {
    case 0:
        return zylComputeHisto(c.source, tables.data(), c.tile);
    case 1:
        return zylContrastStretch(c.source, c.destination, tables.data(), c.tile);
    case 2:
        return zylHistoEqualize(c.source, c.destination, tables.data(), c.tile);
    case 3:
        return zylThreshold(c.source, c.destination, c.number(), c.tile);
    case 4:
        zylNorm(c.source, c.in.flag() ? c.second : nullptr, 1 << c.in.below(6));
        return;
    case 5:
        return zylMultiplySScale(c.source, c.destination, static_cast<std::uint32_t>(c.number()),
                                 c.point);
    case 6:
        return zylMultiplyScale(c.source, c.second, c.destination, c.point);
    case 7:
        return zylPreMultiplyAlpha(c.source, c.number(), c.point);
    case 8: {
        Picture alphaA(c.in), alphaB(c.in), alphaDst(c.in);
        const auto maybe = [&c](Picture &image) {
            return c.in.flag() ? static_cast<ZylImage *>(image) : nullptr;
        };
        return zylAlphaComposite(c.source, c.second, c.destination, c.in.below(7), maybe(alphaA),
                                 maybe(alphaB), maybe(alphaDst), c.in.below(2), c.in.below(2),
                                 c.point);
    }
    default:
        return zylAlphaCompositeC(c.source, c.second, c.destination, c.in.below(7), c.number(),
                                  c.number(), c.in.below(2), c.in.below(2), c.point);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static constexpr std::array FAMILIES = {arithmetic, colour,    filter,
                                            geometry,   transform, statistics};
    zylRedirectError(zylNulDevReport);
    zylSetErrMode(ZYL_ErrModeParent);
    zylSetErrStatus(ZYL_StsOk);
    refused = false;
    Bytes in(data, size);
    const auto family = FAMILIES[static_cast<std::size_t>(in.below(FAMILIES.size()))];
    Call call(in);
    family(call);
    return 0;
}
