#include "selftest/calls.h"

#include <algorithm>
#include <cstring>
#include <tuple>

#include "selftest/bitmap_block.h"

namespace selftest {

namespace {

// ---- arithmetic, logic, copies ----------------------------------------------------

using Binary = void(ZYL_CALL *)(ZylImage *, ZylImage *, ZylImage *, const std::int32_t *);
using Unary = void(ZYL_CALL *)(ZylImage *, ZylImage *, const std::int32_t *);
using WithInt = void(ZYL_CALL *)(ZylImage *, ZylImage *, std::int32_t, const std::int32_t *);
using WithWord = void(ZYL_CALL *)(ZylImage *, ZylImage *, std::uint32_t, const std::int32_t *);

template <Binary OPERATION>
void binary(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *a = c.image(shape);
    ZylImage *b = c.image(shape);
    const std::int32_t *tile = c.tile();
    OPERATION(a, b, c.destination(shape), tile);
}

template <Unary OPERATION>
void unary(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *src = c.image(shape);
    const std::int32_t *tile = c.tile();
    OPERATION(src, c.destination(shape), tile);
}

template <WithInt OPERATION>
void withInt(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t *tile = c.tile();
    OPERATION(src, dst, c.number(), tile);
}

template <WithWord OPERATION>
void withWord(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t *tile = c.tile();
    OPERATION(src, dst, static_cast<std::uint32_t>(c.number()), tile);
}

template <WithWord OPERATION>
void shifted(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t *tile = c.tile();
    OPERATION(src, dst, static_cast<std::uint32_t>(c.mostly(c.in.below(34))), tile);
}

void subtract(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *a = c.image(shape);
    ZylImage *b = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t *tile = c.tile();
    zylSubtract(a, b, dst, c.in.below(2), tile);
}

void subtractS(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t value = c.number();
    const std::int32_t *tile = c.tile();
    zylSubtractS(src, dst, value, c.in.below(2), tile);
}

void set(Case &c) {
    ZylImage *image = c.image(c.shape(ALL_DEPTHS));
    const std::int32_t *tile = c.tile();
    zylSet(image, c.number(), tile);
}

// ---- conversion and colour --------------------------------------------------------

// The same picture kept otherwise.
Shape other(Case &c, Shape shape) {
    shape.order = c.in.below(2);
    shape.origin = c.in.below(2);
    return shape;
}

void convert(Case &c) {
    c.alike();
    const Shape from = c.shape(ALL_DEPTHS);
    Shape to = other(c, from);
    to.depth = c.depth(ALL_DEPTHS);
    if (to.depth == ZYL_DEPTH_1U) to.channels = 1;
    to.alpha = std::min(to.alpha, to.channels);
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    const ZylTileMapping *point = c.point();
    zylConvert(src, dst, c.mostly(c.in.below(2)), point);
}

void bitonalToGray(Case &c) {
    c.alike();
    const Shape from = c.shape(BITS);
    const Shape to = other(c, c.shape(ALL_BUT_BITS));
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    const std::int32_t zero = c.mostly(c.in.below(127));
    const std::int32_t one = c.mostly(c.in.below(127));
    zylBitonalToGray(src, dst, zero, one, c.point());
}

// A shape of one channel to a shape with three or more.
Shape gray(Case &c, Shape shape, unsigned depths) {
    shape.channels = 1;
    shape.alpha = 0;
    shape.model = "GRAY";
    shape.sequence = c.in.flag() ? "GRAY" : "G\0\0";
    shape.depth = c.depth(depths);
    return shape;
}

Shape colours(Case &c, unsigned depths) {
    Shape shape = c.shape(depths, 3, 5);
    shape.model = c.in.oneIn(8) ? "RGBA" : "RGB ";
    return shape;
}

void colorToGray(Case &c) {
    c.fill(Fill::NotNegative);
    const Shape from = colours(c, U8 | U16 | S32);
    ZylImage *src = c.image(from);
    const std::int32_t *tile = c.tile();
    zylColorToGray(src, c.destination(gray(c, from, BITS | U8 | U16)), tile);
}

void grayToColor(Case &c) {
    c.fill(Fill::NotNegative);
    const Shape to = colours(c, U8 | U16 | S32);
    Shape from = gray(c, to, BITS | U8 | U16 | S32);
    if (!c.in.oneIn(4)) from.depth = to.depth;
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    const auto fraction = [&c] {
        if (c.in.oneIn(12)) return static_cast<float>(c.number());
        return static_cast<float>(c.in.between(-20, 400)) / 256.0F;
    };
    const bool weights = c.in.oneIn(4);
    const float r = weights ? 0 : fraction();
    const float g = weights ? 0 : fraction();
    const float b = weights ? 0 : fraction();
    zylGrayToColor(src, dst, r, g, b, c.tile());
}

template <Unary OPERATION, char FIRST, char SECOND>
void colourModel(Case &c) {
    static constexpr char FROM[] = {FIRST, SECOND,
                                    FIRST == 'R'    ? 'B'
                                    : SECOND == 'S' ? 'V'
                                                    : 'S',
                                    0};
    c.fill(Fill::NotNegative);
    const Shape to = colours(c, U8 | U16 | S32);
    Shape from = to;
    from.model = FROM;
    if (FIRST != 'R' && !c.in.oneIn(4)) from.sequence = FROM;
    ZylImage *src = c.image(from);
    const std::int32_t *tile = c.tile();
    OPERATION(src, c.destination(to), tile);
}

void reduceBits(Case &c) {
    const std::int32_t jitter = c.in.oneIn(4) ? c.in.between(-1, 10) : 0;
    if (jitter != 0) c.fill(Fill::Highest);
    c.never(false, jitter != 0);
    const Shape from = c.shape(c.in.oneIn(12) ? ALL_DEPTHS : U8 | U16 | S32);
    Shape to = from;
    to.depth = c.depth(from.depth == ZYL_DEPTH_8U    ? BITS
                       : from.depth == ZYL_DEPTH_16U ? U8
                                                     : U8 | U16);
    if (c.in.oneIn(12)) to.depth = c.depth(ALL_DEPTHS);
    if (to.depth == ZYL_DEPTH_1U) to.channels = 1;
    to.alpha = std::min(to.alpha, to.channels);
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    const std::int32_t dither = c.in.oneIn(16) ? c.number() : 1 << c.in.below(5);
    const std::int32_t bits = c.in.oneIn(16) ? c.number() : c.in.between(0, 9);
    zylReduceBits(src, dst, jitter, dither, bits, c.tile());
}

void colorTwist(Case &c) {
    Shape shape = c.shape(U8 | U16, 3, 5);
    if (shape.alpha != 0 && !c.in.oneIn(6)) {
        shape.alpha = shape.channels == 3 ? 0 : shape.channels;
    }
    std::array<std::int32_t, 16> data;
    const bool usual = c.in.flag();
    for (std::int32_t &entry : data) entry = usual ? c.in.between(-300, 300) : c.number();
    ZylColorTwist *twist = zylCreateColorTwist(data.data(), c.mostly(c.in.below(12)));
    if (twist != nullptr && c.in.oneIn(3)) {
        zylSetColorTwist(twist, data.data(), c.mostly(c.in.below(32)));
    }
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const ZylTileMapping *point = c.point();
    zylApplyColorTwist(src, dst, twist, c.in.flag() ? 0 : c.number(), point);
    zylDeleteColorTwist(twist);
}

// ---- bitmaps ----------------------------------------------------------------------

Shape bitmapShape(Case &c) {
    struct Kind {
        int channels, alpha;
        std::uint32_t depth;
        const char *model, *sequence;
    };
    static constexpr std::array<Kind, 11> KINDS = {{
        {1, 0, ZYL_DEPTH_1U, "GRAY", "G\0\0"},
        {1, 0, ZYL_DEPTH_8U, "GRAY", "G\0\0"},
        {1, 0, ZYL_DEPTH_16U, "GRAY", "GRAY"},
        {3, 0, ZYL_DEPTH_8U, "RGB", "BGR"},
        {3, 0, ZYL_DEPTH_8U, "RGB", "RGB"},
        {3, 0, ZYL_DEPTH_16U, "RGB", "BGR"},
        {3, 0, ZYL_DEPTH_16U, "RGB", "RGB"},
        {4, 4, ZYL_DEPTH_8U, "RGBA", "BGRA"},
        {4, 4, ZYL_DEPTH_8U, "RGBA", "RGBA"},
        {4, 4, ZYL_DEPTH_16U, "RGBA", "BGRA"},
        {3, 0, ZYL_DEPTH_8U, "RGB", "XYZ"},
    }};
    const Kind kind = c.in.pick(KINDS);
    Shape shape;
    shape.channels = kind.channels;
    shape.alpha = kind.alpha;
    shape.depth = kind.depth;
    shape.model = kind.model;
    shape.sequence = kind.sequence;
    shape.order = c.in.below(2);
    shape.origin = c.in.below(2);
    return shape;
}

void translateDIB(Case &c) {
    const int height = c.in.between(1, 20);
    BitmapBlock bitmap(c.in, c.in.between(1, 90), height);
    std::int32_t cloned = -7;
    std::int32_t *flag = c.in.oneIn(40) ? nullptr : &cloned;
    ZylImage *image = zylTranslateDIB(c.in.oneIn(40) ? nullptr : bitmap.data(), flag);
    c.sum.addSigned(cloned);
    bitmap.addTo(c.sum);
    if (image == nullptr) return;
    addHeader(c.sum, *image);
    // Planes of bytes of the library's own have padding that is as it came.
    const auto used = static_cast<std::size_t>(cloned != 0 ? image->widthStep : image->width);
    const std::ptrdiff_t rows =
        cloned != 0 ? image->height : std::ptrdiff_t{image->height} * image->nChannels;
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        addSamples(c.sum, image->imageData + y * image->widthStep, used, image->depth);
    }
    zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
}

void convertFromDIB(Case &c) {
    c.never(!c.in.oneIn(24), false);
    ZylImage *image = c.image(bitmapShape(c));
    const int width = image != nullptr ? std::max(image->width, 1) : 9;
    const int height = image != nullptr ? std::max(image->height, 1) : 9;
    const int rows = std::max(1, height - c.in.below(3));
    BitmapBlock bitmap(c.in, std::max(1, width - c.in.below(3)), rows);
    zylConvertFromDIB(c.in.oneIn(40) ? nullptr : bitmap.data(), image);
    bitmap.addTo(c.sum);
}

void convertToDIB(Case &c) {
    c.never(!c.in.oneIn(24), false);
    ZylImage *image = c.image(bitmapShape(c));
    const int width = image != nullptr ? std::max(image->width, 1) : 9;
    const int height = image != nullptr ? std::max(image->height, 1) : 9;
    BitmapBlock bitmap(c.in, c.in.oneIn(24) ? width + 1 : width, height);
    const std::int32_t dither = c.in.oneIn(24) ? c.number() : c.in.flag() ? 8 : 1;
    const std::int32_t palette = c.in.oneIn(24) ? c.number() : c.in.below(3);
    if (!c.in.oneIn(8)) bitmap.bottomUp();
    zylConvertToDIB(image, c.in.oneIn(40) ? nullptr : bitmap.data(), dither, palette);
    bitmap.addTo(c.sum);
}

// ---- filters ----------------------------------------------------------------------

struct FreeKernel {
    void operator()(ZylConvKernel *kernel) const { zylDeleteConvKernel(kernel); }
};
using Kernel = std::unique_ptr<ZylConvKernel, FreeKernel>;

Kernel kernel(Case &c, int most) {
    const int rows = c.in.between(1, most);
    const int columns = c.in.between(1, most);
    std::array<std::int8_t, 256> values;
    const bool small = c.in.flag();
    for (std::int8_t &value : values) {
        value = static_cast<std::int8_t>(small ? c.in.between(-2, 5) : c.in.between(-128, 127));
    }
    const std::int32_t x = c.mostly(c.in.below(columns));
    const std::int32_t y = c.mostly(c.in.below(rows));
    const std::int32_t shift = c.in.oneIn(8) ? c.number() : c.in.below(12);
    return Kernel(zylCreateConvKernel(rows, columns, x, y, values.data(), shift));
}

void convolve2D(Case &c) {
    struct Pair {
        unsigned from, to;
    };
    static constexpr std::array<Pair, 7> PAIRS = {{{BITS, BITS | U8 | S8},
                                                   {U8, U8 | S8},
                                                   {S8, S8},
                                                   {U16, U16 | S16},
                                                   {S16, S16},
                                                   {U16 | S16 | S32, S32},
                                                   {ALL_DEPTHS, ALL_DEPTHS}}};
    const Pair pair = c.in.pick(PAIRS);
    Shape from = c.shape(pair.from, 1, 4);
    Shape to = from;
    to.depth = c.depth(pair.to);
    to.order = c.in.below(2);
    if (to.depth == ZYL_DEPTH_1U) to.channels = to.alpha = from.channels = from.alpha = 1;
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    std::array<Kernel, 3> owned;
    std::array<ZylConvKernel *, 3> kernels;
    const int most = c.in.pick(std::array{3, 3, 5, 9});
    for (std::size_t i = 0; i < owned.size(); ++i) {
        owned[i] = kernel(c, most);
        kernels[i] = owned[i].get();
    }
    const int count = c.in.oneIn(40) ? c.in.between(-1, 0) : c.in.between(1, 3);
    const std::int32_t combine = c.mostly(c.in.below(5));
    zylConvolve2D(src, dst, kernels.data(), count, combine, c.point());
}

void convolveSep2D(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS, 1, 4);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const int most = c.in.pick(std::array{3, 5, 9, 15});
    const Kernel x = kernel(c, most);
    const Kernel y = kernel(c, most);
    zylConvolveSep2D(src, dst, x.get(), y.get());
}

using Boxed = void(ZYL_CALL *)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                               std::int32_t, const ZylTileMapping *);

template <Boxed OPERATION, Depths DEPTHS>
void boxed(Case &c) {
    const Shape shape = c.shape(DEPTHS, 1, 4);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const bool square = c.in.flag();
    const int most = c.in.pick(std::array{3, 5, 9, 24});
    const std::int32_t rows =
        square ? 3 + 2 * c.in.below(2) : c.in.between(c.in.oneIn(24) ? -1 : 1, most);
    const std::int32_t columns = square ? rows : c.in.between(c.in.oneIn(24) ? -1 : 1, most);
    const std::int32_t x = c.in.oneIn(16) ? c.in.between(-2, 30) : std::max(columns, 1) / 2;
    const std::int32_t y = c.in.oneIn(16) ? c.in.between(-2, 30) : c.in.below(std::max(rows, 1));
    OPERATION(src, dst, rows, columns, x, y, c.point());
}

using Repeated = void(ZYL_CALL *)(ZylImage *, ZylImage *, std::int32_t, const ZylTileMapping *);

template <Repeated OPERATION>
void repeated(Case &c) {
    const Shape shape = c.shape(c.in.oneIn(16) ? ALL_DEPTHS : BITS | U8 | U16, 1, 4);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t iterations = c.in.oneIn(24) ? c.in.between(-2, 0) : c.in.between(1, 4);
    OPERATION(src, dst, iterations, c.in.oneIn(24) ? c.point() : nullptr);
}

// ---- geometry ---------------------------------------------------------------------

using Scaled = void(ZYL_CALL *)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                                std::int32_t, std::int32_t, const ZylTileMapping *);

template <Scaled OPERATION, bool LARGER>
void scaled(Case &c) {
    const Shape shape = c.shape(c.in.oneIn(16) ? ALL_DEPTHS : BITS | U8 | U16, 1, 4);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const auto factor = [&c](std::int32_t &upper, std::int32_t &lower) {
        const int most = c.in.oneIn(4) ? 1000 : 9;
        const int a = c.in.between(1, most);
        const int b = c.in.between(1, most);
        upper = c.mostly(LARGER ? std::max(a, b) : std::min(a, b));
        lower = c.mostly(LARGER ? std::min(a, b) : std::max(a, b));
    };
    std::int32_t xU, xL, yU, yL;
    factor(xU, xL);
    factor(yU, yL);
    const std::int32_t interpolate = c.mostly(c.in.below(3));
    OPERATION(src, dst, xU, xL, yU, yL, interpolate, c.point());
}

void rotate(Case &c) {
    const Shape shape = c.shape(c.in.oneIn(16) ? ALL_DEPTHS : BITS | U8 | U16, 1, 4);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t angle = c.in.oneIn(4)   ? 9000 * c.in.between(-5, 5)
                               : c.in.oneIn(8) ? c.number()
                                               : c.in.between(-36100, 36100);
    const std::int32_t x = c.mostly(c.in.between(-10, 80));
    const std::int32_t y = c.mostly(c.in.between(-10, 40));
    const std::int32_t *tile = c.tile();
    zylRotate(src, dst, angle, x, y, c.mostly(c.in.below(3)), tile);
}

void mirror(Case &c) {
    const Shape from = c.shape(ALL_DEPTHS);
    Shape to = from;
    to.order = c.in.below(2);
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    zylMirror(src, dst, c.mostly(c.in.between(-1, 1)));
}

// ---- transforms -------------------------------------------------------------------

using Fourier = void(ZYL_CALL *)(ZylImage *, ZylImage *, std::int32_t, const ZylTileMapping *);

template <Fourier OPERATION>
void fourier(Case &c) {
    OPERATION(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr);
    c.never(!c.in.oneIn(16), false);
    Shape from = c.shape(ALL_BUT_BITS, 1, 4);
    Shape to = from;
    to.depth = c.depth(c.in.flag() ? S32 : ALL_BUT_BITS);
    to.order = c.in.below(2);
    ZylImage *src = c.image(from);
    ZylImage *dst = c.destination(to);
    static constexpr std::array<int, 5> OPTIONS = {ZYL_FFT_NO_SCALE, ZYL_FFT_WITH_ALPHA,
                                                   ZYL_FFT_FIXED_POINT, ZYL_FFT_FLOATING,
                                                   ZYL_FFT_KEEP_TABLES};
    std::int32_t flags = c.in.flag() ? ZYL_FFT_FORWARD : ZYL_FFT_INVERSE;
    for (const int option : OPTIONS) {
        if (c.in.oneIn(4)) flags |= option;
    }
    if (c.in.oneIn(24)) flags = c.in.below(64);
    OPERATION(src, dst, flags, c.in.oneIn(24) ? c.point() : nullptr);
    if (c.in.oneIn(3)) OPERATION(src, dst, ZYL_FFT_REPEAT, nullptr);
    OPERATION(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr);
}

void cosine(Case &c) {
    c.alike();
    c.never(!c.in.oneIn(16), false);
    const Shape from = c.shape(ALL_BUT_BITS, 1, 4);
    Shape to = from;
    to.depth = c.depth(ALL_BUT_BITS);
    ZylImage *src = c.image(from);
    ZylImage *dst = c.image(to);
    std::int32_t flags = c.in.flag() ? ZYL_DCT_FORWARD : ZYL_DCT_INVERSE;
    if (c.in.oneIn(3)) flags |= ZYL_DCT_WITH_ALPHA;
    if (c.in.oneIn(24)) flags = c.in.below(8);
    zylDCT2D(src, dst, flags);
    zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
}

// ---- statistics -------------------------------------------------------------------

// One LUT for every channel that an image can have.
class Luts {
  public:
    Luts(Case &c, std::uint32_t depth, bool counts) {
        const int limit = depth == ZYL_DEPTH_16U ? 65536 : depth == ZYL_DEPTH_1U ? 2 : 256;
        for (std::size_t i = 0; i < luts_.size(); ++i) {
            Lut &lut = luts_[i];
            const int keys = c.in.between(2, 20);
            for (int k = 0; k < keys; ++k) {
                lut.keys.push_back(c.in.between(0, limit));
                lut.values.push_back(counts ? c.in.below(1000) : c.number());
                lut.factors.push_back(c.in.flag() ? c.in.between(-3, 3) : c.number());
            }
            if (!c.in.oneIn(24)) std::sort(lut.keys.begin(), lut.keys.end());
            if (c.in.flag()) {
                lut.keys.front() = 0;
                lut.keys.back() = limit;
            }
            lut.record = {c.mostly(keys) > 0 ? keys : 1, lut.keys.data(), lut.values.data(),
                          c.in.oneIn(12) ? nullptr : lut.factors.data(), c.in.below(2)};
            pointers_[i] = c.in.oneIn(60) ? nullptr : &lut.record;
        }
    }
    ZylLUT *const *pointers() const { return pointers_.data(); }
    void addTo(Checksum &sum) const {
        for (const Lut &lut : luts_) {
            sum.addSigned(lut.record.interpolate);
            for (const std::int32_t value : lut.values) sum.addSigned(value);
        }
    }

  private:
    struct Lut {
        std::vector<std::int32_t> keys, values, factors;
        ZylLUT record;
    };
    std::array<Lut, 5> luts_;
    std::array<ZylLUT *, 5> pointers_;
};

void computeHisto(Case &c) {
    const Shape shape = c.shape(c.in.oneIn(16) ? ALL_DEPTHS : BITS | U8 | U16);
    ZylImage *image = c.image(shape);
    const Luts luts(c, shape.depth, true);
    const std::int32_t *tile = c.tile();
    zylComputeHisto(image, c.in.oneIn(40) ? nullptr : luts.pointers(), tile);
    luts.addTo(c.sum);
}

using Mapped = void(ZYL_CALL *)(ZylImage *, ZylImage *, ZylLUT *const *, const std::int32_t *);

template <Mapped OPERATION, bool COUNTS>
void mapped(Case &c) {
    const Shape shape = c.shape(c.in.oneIn(16) ? ALL_DEPTHS : U8 | U16);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const Luts luts(c, shape.depth, COUNTS);
    const std::int32_t *tile = c.tile();
    OPERATION(src, dst, c.in.oneIn(40) ? nullptr : luts.pointers(), tile);
    luts.addTo(c.sum);
}

void threshold(Case &c) {
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(shape);
    const std::int32_t *tile = c.tile();
    zylThreshold(src, dst, c.number(), tile);
}

void norm(Case &c) {
    static constexpr std::array<int, 6> TYPES = {ZYL_NORM_C,           ZYL_NORM_L1,
                                                 ZYL_NORM_L2,          ZYL_NORM_RELATIVE_C,
                                                 ZYL_NORM_RELATIVE_L1, ZYL_NORM_RELATIVE_L2};
    const Shape shape = c.shape(ALL_DEPTHS);
    ZylImage *a = c.image(shape);
    ZylImage *b = c.in.oneIn(3) ? nullptr : c.destination(shape);
    const double result = zylNorm(a, b, c.mostly(c.in.pick(TYPES)));
    static_assert(sizeof result == sizeof(std::uint64_t));
    std::uint64_t bits;
    std::memcpy(&bits, &result, sizeof bits);
    c.sum.add(bits);
}

// ---- scaled products and compositing ----------------------------------------------

// Colours with an alpha channel behind them, or without one.
Shape withAlpha(Case &c, Shape shape, int colours, bool alpha) {
    shape.channels = colours + alpha;
    shape.alpha = alpha ? shape.channels : 0;
    if (c.in.oneIn(30)) shape.alpha = 1;
    shape.order = c.in.below(2);
    return shape;
}

// A factor that suits samples of 8 or 16 bits.
std::int32_t fraction(Case &c) {
    const std::int32_t value = c.in.below(300);
    return c.in.flag() ? 257 * value : value;
}

void multiplySScale(Case &c) {
    const Shape shape = c.shape(U8 | U16);
    ZylImage *src = c.image(shape);
    ZylImage *dst = c.destination(other(c, shape));
    const ZylTileMapping *point = c.point();
    zylMultiplySScale(src, dst, static_cast<std::uint32_t>(c.mostly(fraction(c))), point);
}

void multiplyScale(Case &c) {
    const Shape shape = c.shape(U8 | U16);
    ZylImage *a = c.image(shape);
    ZylImage *b = c.image(other(c, shape));
    const ZylTileMapping *point = c.point();
    zylMultiplyScale(a, b, c.destination(shape), point);
}

std::int32_t alphaValue(Case &c) {
    return c.in.oneIn(3) ? -1 : c.mostly(fraction(c));
}

void preMultiplyAlpha(Case &c) {
    const Shape shape = c.shape(U8 | U16, 1, 4);
    const bool alpha = !c.in.oneIn(4);
    ZylImage *image = c.image(withAlpha(c, shape, c.in.between(1, 4), alpha));
    const ZylTileMapping *point = c.point();
    zylPreMultiplyAlpha(image, alphaValue(c), point);
}

void alphaComposite(Case &c) {
    const Shape shape = c.shape(U8 | U16, 1, 4);
    const int colours = c.in.between(1, 4);
    const bool images = c.in.oneIn(3);
    const auto alphaImage = [&](bool given) -> ZylImage * {
        if (!given) return nullptr;
        const bool alpha = c.in.flag();
        return c.image(withAlpha(c, shape, c.in.between(1, 4), alpha));
    };
    ZylImage *alphaA = alphaImage(images);
    ZylImage *alphaB = alphaImage(images && c.in.flag());
    ZylImage *alphaDst = alphaImage(c.in.oneIn(4));
    ZylImage *b = c.image(withAlpha(c, shape, colours, !images || c.in.flag()));
    ZylImage *a = c.image(withAlpha(c, shape, colours, !images || c.in.flag()));
    ZylImage *dst = c.destination(withAlpha(c, shape, colours, c.in.flag()));
    const std::int32_t type = c.mostly(c.in.below(6));
    const std::int32_t premultiplied = c.mostly(c.in.below(2));
    const std::int32_t divide = c.mostly(c.in.below(2));
    zylAlphaComposite(a, b, dst, type, alphaA, alphaB, alphaDst, premultiplied, divide, c.point());
}

void alphaCompositeC(Case &c) {
    const Shape shape = c.shape(U8 | U16, 1, 4);
    const int colours = c.in.between(1, 4);
    ZylImage *b = c.image(withAlpha(c, shape, colours, !c.in.oneIn(4)));
    ZylImage *a = c.image(withAlpha(c, shape, colours, !c.in.oneIn(4)));
    ZylImage *dst = c.destination(withAlpha(c, shape, colours, c.in.flag()));
    const std::int32_t type = c.mostly(c.in.below(6));
    const std::int32_t aA = alphaValue(c);
    const std::int32_t aB = alphaValue(c);
    const std::int32_t premultiplied = c.mostly(c.in.below(2));
    const std::int32_t divide = c.mostly(c.in.below(2));
    zylAlphaCompositeC(a, b, dst, type, aA, aB, premultiplied, divide, c.point());
}

// ---- images themselves ------------------------------------------------------------

void createImageHeader(Case &c) {
    const auto usual = [&c](int value) { return c.in.oneIn(24) ? c.in.between(-1, 9) : value; };
    Shape shape = c.shape(ALL_DEPTHS);
    if (c.in.oneIn(24)) shape.depth = c.in.bits();
    const int channels = usual(shape.channels);
    const int alpha = usual(shape.alpha);
    const int order = usual(shape.order);
    const int origin = usual(shape.origin);
    const int align = usual(c.in.flag() ? ZYL_ALIGN_4 : ZYL_ALIGN_8);
    const int height = usual(c.in.below(30));
    const int width = usual(c.in.below(90));
    const char *sequence = c.in.oneIn(24) ? nullptr : shape.sequence;
    const char *model = c.in.oneIn(24) ? nullptr : shape.model;
    ZylImage *image = zylCreateImageHeader(channels, alpha, shape.depth, model, sequence, order,
                                           origin, align, height, width, nullptr, nullptr, nullptr);
    c.sum.add(image != nullptr);
    if (image == nullptr) return;
    addHeader(c.sum, *image);
    zylAllocateImage(image, c.in.flag() ? c.in.below(INT32_MAX) : 0);
    c.sum.add(image->imageData != nullptr);
    if (image->imageData != nullptr) {
        addSamples(c.sum, image->imageData, static_cast<std::size_t>(image->imageSize),
                   image->depth);
    }
    zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
}

void badImageHeader(Case &c) {
    c.sum.addSigned(zylBadImageHeader(c.image(c.shape(ALL_DEPTHS))));
}

} // namespace

const std::vector<Operation> &operations() {
    static const std::vector<Operation> ALL = {
        {"zylAbs", unary<zylAbs>},
        {"zylAdd", binary<zylAdd>},
        {"zylAddS", withInt<zylAddS>},
        {"zylAlphaComposite", alphaComposite},
        {"zylAlphaCompositeC", alphaCompositeC},
        {"zylAnd", binary<zylAnd>},
        {"zylAndS", withWord<zylAndS>},
        {"zylApplyColorTwist", colorTwist},
        {"zylBadImageHeader", badImageHeader},
        {"zylBitonalToGray", bitonalToGray},
        {"zylBlur", boxed<zylBlur, ALL_BUT_BITS>},
        {"zylCcsFft2D", fourier<zylCcsFft2D>},
        {"zylClose", repeated<zylClose>},
        {"zylColorToGray", colorToGray},
        {"zylComputeHisto", computeHisto},
        {"zylContrastStretch", mapped<zylContrastStretch, false>},
        {"zylConvert", convert},
        {"zylConvertFromDIB", convertFromDIB},
        {"zylConvertToDIB", convertToDIB},
        {"zylConvolve2D", convolve2D},
        {"zylConvolveSep2D", convolveSep2D},
        {"zylCopy", unary<zylCopy>},
        {"zylCreateImageHeader", createImageHeader},
        {"zylDCT2D", cosine},
        {"zylDecimate", scaled<zylDecimate, false>},
        {"zylDilate", repeated<zylDilate>},
        {"zylErode", repeated<zylErode>},
        {"zylExchange", unary<zylExchange>},
        {"zylGrayToColor", grayToColor},
        {"zylHLS2RGB", colourModel<zylHLS2RGB, 'H', 'L'>},
        {"zylHSV2RGB", colourModel<zylHSV2RGB, 'H', 'S'>},
        {"zylHistoEqualize", mapped<zylHistoEqualize, true>},
        {"zylLShiftS", shifted<zylLShiftS>},
        {"zylMaxFilter", boxed<zylMaxFilter, ALL_DEPTHS>},
        {"zylMedianFilter", boxed<zylMedianFilter, ALL_DEPTHS>},
        {"zylMinFilter", boxed<zylMinFilter, ALL_DEPTHS>},
        {"zylMirror", mirror},
        {"zylMultiply", binary<zylMultiply>},
        {"zylMultiplyS", withWord<zylMultiplyS>},
        {"zylMultiplySScale", multiplySScale},
        {"zylMultiplyScale", multiplyScale},
        {"zylNorm", norm},
        {"zylNot", unary<zylNot>},
        {"zylOpen", repeated<zylOpen>},
        {"zylOr", binary<zylOr>},
        {"zylOrS", withWord<zylOrS>},
        {"zylPreMultiplyAlpha", preMultiplyAlpha},
        {"zylRGB2HLS", colourModel<zylRGB2HLS, 'R', 'G'>},
        {"zylRGB2HSV", colourModel<zylRGB2HSV, 'R', 'G'>},
        {"zylRShiftS", shifted<zylRShiftS>},
        {"zylRealFft2D", fourier<zylRealFft2D>},
        {"zylReduceBits", reduceBits},
        {"zylRotate", rotate},
        {"zylSet", set},
        {"zylSquare", unary<zylSquare>},
        {"zylSubtract", subtract},
        {"zylSubtractS", subtractS},
        {"zylThreshold", threshold},
        {"zylTranslateDIB", translateDIB},
        {"zylXor", binary<zylXor>},
        {"zylXorS", withWord<zylXorS>},
        {"zylZoom", scaled<zylZoom, true>},
    };
    return ALL;
}

} // namespace selftest
