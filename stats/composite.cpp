// Alpha compositing: two images into a third by one of six rules.

#include <algorithm>

#include "core/step_kernels.h"
#include "core/walk_grid.h"
#include "stats/alpha.h"
#include "stats/kernels.h"

using namespace zylqx;

namespace {

// --- arguments ---

// Where one alpha comes from.
struct AlphaSource {
    ZylImage *image;  // null for a constant or the complement
    int channel;      // of the image
    bool complement;  // what the other alpha lacks
    PixelAlpha pixel; // as compositePixels() takes it: own alpha of the source, or a constant

    static AlphaSource ownOf(ZylImage *source) {
        return {source, source->alphaChannel, false, {true, 0}};
    }
    static AlphaSource imageOf(ZylImage *alphaImage) {
        return {alphaImage, std::max(alphaImage->alphaChannel, 1), false, {false, 0}};
    }
    static AlphaSource constantOf(std::int32_t alpha, std::uint32_t depth) {
        const std::int32_t most = depth == ZYL_DEPTH_8U ? 255 : 65535;
        return {nullptr, 0, false, {false, static_cast<std::uint16_t>(std::min(alpha, most))}};
    }
    static AlphaSource complementary() { return {nullptr, 0, true, {false, 0}}; }

    bool isConstant() const { return image == nullptr && !complement; }
};

struct Composition {
    ZylImage *srcImageA, *srcImageB, *dstImage;
    AlphaSource alphaA, alphaB;
    ZylImage *alphaDst; // where the resulting alpha goes; null for nowhere
    int rule;
    bool preMultiplied;
    bool divided;
    const ZylTileMapping *mapping;
};

// Positions of the images in the walk.
enum { DST, ALPHA_DST, SRC_A, SRC_B, ALPHA_A, ALPHA_B, OPERANDS };

bool badDepths(const Call &call, const ZylImage &a, const ZylImage &b, const ZylImage &d) {
    return call.fails(d.depth != ZYL_DEPTH_8U && d.depth != ZYL_DEPTH_16U,
                      "dstImage->depth != 8 && dstImage->depth != 16") ||
           call.fails(a.depth != d.depth, "srcImageA->depth != dstImage->depth") ||
           call.fails(b.depth != d.depth, "srcImageB->depth != dstImage->depth");
}

// The header check has refused alpha channels that the image does not have.
bool lacksAlpha(const Call &call, const ZylImage &image, const char *name) {
    return failsFor(call, name, image.alphaChannel < 1, "@->alphaChannel < 1");
}

bool badAlphaSource(const Call &call, const ZylImage *image, const ZylImage &dst,
                    const char *name) {
    return badAlphaImage(call, image, name) ||
           failsFor(call, name, image->depth != dst.depth, "@->depth != dstImage->depth");
}

bool alphaNotLast(const Call &call, const ZylImage &image, const char *name) {
    return failsFor(call, name, image.alphaChannel > 0 && image.alphaChannel != image.nChannels,
                    "@->alphaChannel > 0 && @->alphaChannel != @->nChannels");
}

int colourCount(const ZylImage &image) {
    return image.nChannels - (image.alphaChannel != 0 ? 1 : 0);
}

bool badColours(const Call &call, const ZylImage &src, const ZylImage &dst, const char *name) {
    return failsFor(call, name, channelOfInterest(dst) == 0 && colourCount(src) != colourCount(dst),
                    "(@->nChannels - (@->alphaChannel != 0)) != "
                    "(dstImage->nChannels - (dstImage->alphaChannel != 0))");
}

// The checks that both operations make last.
bool badComposition(const Call &call, const ZylImage &a, const ZylImage &b, const ZylImage &d,
                    std::int32_t compositeType, std::int32_t premulAlpha, std::int32_t divideMode) {
    return badInterest(call, a, d, "srcImageA") || badInterest(call, b, d, "srcImageB") ||
           alphaNotLast(call, a, "srcImageA") || alphaNotLast(call, b, "srcImageB") ||
           alphaNotLast(call, d, "dstImage") || badColours(call, a, d, "srcImageA") ||
           badColours(call, b, d, "srcImageB") ||
           call.fails(compositeType < ZYL_COMPOSITE_OVER || compositeType > ZYL_COMPOSITE_PLUS,
                      "compositeType != 0 && compositeType != 1 && compositeType != 2 && "
                      "compositeType != 3 && compositeType != 4 && compositeType != 5") ||
           call.fails(premulAlpha != 0 && premulAlpha != 1,
                      "premulAlpha != 0 && premulAlpha != 1") ||
           call.fails(divideMode != 0 && divideMode != 1, "divideMode != 0 && divideMode != 1");
}

// --- rows ---

template <class T>
class Compositor {
  public:
    explicit Compositor(const Composition &composition)
        : composition_(composition), kernels_(ZYLQX_KERNELS(alphaKernels).ofSize(sizeof(T))),
          steps_(ZYLQX_KERNELS(stepKernels)),
          row_((composition.divided
                    ? kernels_.compositeDivided
                    : kernels_.composite)[composition.preMultiplied][composition.rule]),
          alphaRow_((composition.divided ? kernels_.resultAlphaDivided
                                         : kernels_.resultAlpha)[composition.rule]) {
        fill(composition.alphaA, alphaA_);
        fill(composition.alphaB, alphaB_);
    }

    void block(const GridWalk &walk) {
        if (takesPixels(walk)) {
            pixels(walk);
        } else {
            samples(walk);
        }
    }

  private:
    bool takesPixels(const GridWalk &walk) const;
    void pixels(const GridWalk &walk) const;
    void samples(const GridWalk &walk);
    bool takesAllChannels(const GridWalk &walk) const;
    void fill(const AlphaSource &source, T *block) const;
    const T *loadAlpha(const GridPixels &pixels, const AlphaSource &source, std::ptrdiff_t x,
                       std::ptrdiff_t y, std::ptrdiff_t n, T *block) const;
    void storeAlpha(const GridPixels &pixels, std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t n,
                    const T *alphaA, const T *alphaB);
    // An alpha for each sample of n pixels.
    const T *spread(const AlphaSource &source, const T *alpha, std::ptrdiff_t perPixel,
                    std::ptrdiff_t n, T *block) const {
        if (source.isConstant()) return alpha;
        kernels_.spread(alpha, perPixel, block, n);
        return block;
    }
    void channel(const View<T> &a, const View<T> &b, const View<T> &d, std::ptrdiff_t x,
                 std::ptrdiff_t y, std::ptrdiff_t n, const T *alphaA, const T *alphaB);

    const Composition &composition_;
    static constexpr int SIZE = sizeIndex(sizeof(T));
    const AlphaKernels::Depth &kernels_;
    const StepKernels &steps_;
    const AlphaKernels::CompositeRow row_;
    const AlphaKernels::ResultAlphaRow alphaRow_;

    // Few enough 16-bit samples that alphas stay in the nearest cache while the other
    // planes, at equal distances, come and go.
    static constexpr std::ptrdiff_t BLOCK = sizeof(T) == 1 ? ALPHA_BLOCK : ALPHA_BLOCK / 4;

    // The alphas of a run of pixels; the same for each sample of a pixel.
    alignas(64) T alphaA_[BLOCK];
    alignas(64) T alphaB_[BLOCK];
    alignas(64) T spreadA_[BLOCK];
    alignas(64) T spreadB_[BLOCK];
    alignas(64) T blockA_[BLOCK];
    alignas(64) T blockB_[BLOCK];
    alignas(64) T blockD_[BLOCK];
};

bool isRgba(const ZylImage &image) {
    return !isPlanar(image) && image.nChannels == 4 && image.alphaChannel == 4;
}

// Whether all images are interleaved pixels of three colours and alpha, with
// nothing beside them.
template <class T>
bool Compositor<T>::takesPixels(const GridWalk &walk) const {
    const Composition &c = composition_;
    const auto simple = [](const AlphaSource &alpha) {
        return alpha.pixel.own || alpha.isConstant();
    };
    return !c.divided && simple(c.alphaA) && simple(c.alphaB) &&
           (c.alphaDst == nullptr || c.alphaDst == c.dstImage) &&
           channelOfInterest(*c.dstImage) == 0 && isRgba(walk.pixels(DST).image()) &&
           isRgba(walk.pixels(SRC_A).image()) && isRgba(walk.pixels(SRC_B).image());
}

template <class T>
void Compositor<T>::pixels(const GridWalk &walk) const {
    const Composition &c = composition_;
    const auto row = kernels_.compositePixels[c.preMultiplied][c.rule];
    const View<T> a = walk.pixels(SRC_A).template allChannels<T>();
    const View<T> b = walk.pixels(SRC_B).template allChannels<T>();
    const View<T> d = walk.pixels(DST).template allChannels<T>();
    for (std::ptrdiff_t y = 0; y < d.rows; ++y) {
        row(a.row(y), c.alphaA.pixel, b.row(y), c.alphaB.pixel, d.row(y), c.alphaDst == nullptr,
            d.columns / 4);
    }
}

// Whether the channels of all images, all of them colours, can be processed as
// one.
template <class T>
bool Compositor<T>::takesAllChannels(const GridWalk &walk) const {
    const ZylImage &d = walk.pixels(DST).image();
    const ZylImage &a = walk.pixels(SRC_A).image();
    const ZylImage &b = walk.pixels(SRC_B).image();
    return channelOfInterest(*composition_.dstImage) == 0 && d.alphaChannel == 0 &&
           a.nChannels == d.nChannels && b.nChannels == d.nChannels && !isPlanar(d) &&
           !isPlanar(a) && !isPlanar(b) && d.nChannels <= 16;
}

template <class T>
void Compositor<T>::fill(const AlphaSource &source, T *block) const {
    if (!source.isConstant()) return;
    std::fill(block, block + BLOCK, static_cast<T>(source.pixel.constant));
}

// A constant is in its block already. A colour of the destination that serves as
// alpha is copied before it is written.
template <class T>
const T *Compositor<T>::loadAlpha(const GridPixels &pixels, const AlphaSource &source,
                                  std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t n,
                                  T *block) const {
    if (source.image == nullptr) return block;
    const ZylImage *dst = composition_.dstImage;
    const bool overwritten = source.image == dst && source.channel != dst->alphaChannel;
    const View<T> alpha = pixels.channel<T>(source.channel);
    const T *from = alpha.row(y) + x * alpha.step;
    if (alpha.step == 1 && !overwritten) return from;
    steps_.gather[SIZE](from, alpha.step, block, n);
    return block;
}

template <class T>
void Compositor<T>::storeAlpha(const GridPixels &pixels, std::ptrdiff_t x, std::ptrdiff_t y,
                               std::ptrdiff_t n, const T *alphaA, const T *alphaB) {
    const View<T> alpha = pixels.channel<T>(pixels.image().alphaChannel);
    T *to = alpha.row(y) + x * alpha.step;
    if (alpha.step == 1) return alphaRow_(alphaA, alphaB, to, n);
    alphaRow_(alphaA, alphaB, blockD_, n);
    steps_.scatter[SIZE](blockD_, to, alpha.step, n);
}

// n samples from column x on.
template <class T>
void Compositor<T>::channel(const View<T> &a, const View<T> &b, const View<T> &d, std::ptrdiff_t x,
                            std::ptrdiff_t y, std::ptrdiff_t n, const T *alphaA, const T *alphaB) {
    const auto load = [&](const View<T> &view, T *block) {
        T *from = view.row(y) + x * view.step;
        if (view.step == 1) return from;
        steps_.gather[SIZE](from, view.step, block, n);
        return block;
    };
    const T *colourA = load(a, blockA_);
    const T *colourB = load(b, blockB_);
    T *out = d.row(y) + x * d.step;
    if (d.step == 1) {
        row_(colourA, colourB, alphaA, alphaB, out, n);
        return;
    }
    row_(colourA, colourB, alphaA, alphaB, blockD_, n);
    steps_.scatter[SIZE](blockD_, out, d.step, n);
}

template <class T>
void Compositor<T>::samples(const GridWalk &walk) {
    const Composition &c = composition_;
    const GridPixels &a = walk.pixels(SRC_A);
    const GridPixels &b = walk.pixels(SRC_B);
    const GridPixels &d = walk.pixels(DST);
    const int coi = channelOfInterest(*c.dstImage);
    const int alphaChannel = d.image().alphaChannel;
    // An alpha alone is not composited.
    if (coi != 0 && coi == alphaChannel) return;

    const bool all = takesAllChannels(walk);
    const std::ptrdiff_t perPixel = all ? d.image().nChannels : 1;
    const std::ptrdiff_t pixelsAtOnce = BLOCK / perPixel;
    const View<T> extent = d.channel<T>(1);
    for (std::ptrdiff_t y = 0; y < extent.rows; ++y) {
        for (std::ptrdiff_t x = 0; x < extent.columns; x += pixelsAtOnce) {
            const std::ptrdiff_t n = std::min(pixelsAtOnce, extent.columns - x);
            const T *alphaA = loadAlpha(walk.pixels(ALPHA_A), c.alphaA, x, y, n, alphaA_);
            const T *alphaB = loadAlpha(walk.pixels(ALPHA_B), c.alphaB, x, y, n, alphaB_);
            if (c.alphaB.complement) kernels_.complement(alphaA, alphaB_, n);
            if (all) {
                channel(a.allChannels<T>(), b.allChannels<T>(), d.allChannels<T>(), x * perPixel, y,
                        n * perPixel, spread(c.alphaA, alphaA, perPixel, n, spreadA_),
                        spread(c.alphaB, alphaB, perPixel, n, spreadB_));
            } else if (coi != 0) {
                channel(a.channel<T>(c.srcImageA->roi->coi), b.channel<T>(c.srcImageB->roi->coi),
                        d.channel<T>(coi), x, y, n, alphaA, alphaB);
            } else {
                for (int k = 1; k <= d.image().nChannels; ++k) {
                    if (k == alphaChannel) continue;
                    channel(a.channel<T>(k), b.channel<T>(k), d.channel<T>(k), x, y, n, alphaA,
                            alphaB);
                }
            }
            if (c.alphaDst != nullptr) storeAlpha(walk.pixels(ALPHA_DST), x, y, n, alphaA, alphaB);
        }
    }
}

template <class T>
void composite(const Call &call, const Composition &composition) {
    GridOperand operands[OPERANDS];
    operands[DST] = {composition.dstImage, true};
    operands[ALPHA_DST] = {composition.alphaDst, true};
    operands[SRC_A] = {composition.srcImageA, false};
    operands[SRC_B] = {composition.srcImageB, false};
    operands[ALPHA_A] = {composition.alphaA.image, false};
    operands[ALPHA_B] = {composition.alphaB.image, false};
    Compositor<T> compositor(composition);
    GridWalk walk(call, operands, OPERANDS, composition.mapping);
    while (walk.next()) compositor.block(walk);
}

void composite(const Call &call, const Composition &composition) {
    if (composition.dstImage->depth == ZYL_DEPTH_8U) {
        composite<std::uint8_t>(call, composition);
    } else {
        composite<std::uint16_t>(call, composition);
    }
}

} // namespace

void zylAlphaComposite(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                       std::int32_t compositeType, ZylImage *alphaImageA, ZylImage *alphaImageB,
                       ZylImage *alphaImageDst, std::int32_t premulAlpha, std::int32_t divideMode,
                       const ZylTileMapping *mapping) {
    const Call call("zylAlphaComposite", ALPHA_FILE_NAME);
    if (badAlphaImage(call, dstImage, "dstImage") || badAlphaImage(call, srcImageA, "srcImageA") ||
        badAlphaImage(call, srcImageB, "srcImageB") ||
        badDepths(call, *srcImageA, *srcImageB, *dstImage)) {
        return;
    }
    if (alphaImageA == nullptr ? lacksAlpha(call, *srcImageA, "srcImageA")
                               : badAlphaSource(call, alphaImageA, *dstImage, "alphaImageA")) {
        return;
    }
    if (alphaImageB != nullptr) {
        if (badAlphaSource(call, alphaImageB, *dstImage, "alphaImageB")) return;
    } else if (alphaImageA == nullptr && lacksAlpha(call, *srcImageB, "srcImageB")) {
        return;
    }
    if (alphaImageDst != nullptr &&
        (badAlphaSource(call, alphaImageDst, *dstImage, "alphaImageDst") ||
         lacksAlpha(call, *alphaImageDst, "alphaImageDst"))) {
        return;
    }
    if (badComposition(call, *srcImageA, *srcImageB, *dstImage, compositeType, premulAlpha,
                       divideMode)) {
        return;
    }
    const AlphaSource alphaA =
        alphaImageA != nullptr ? AlphaSource::imageOf(alphaImageA) : AlphaSource::ownOf(srcImageA);
    AlphaSource alphaB = AlphaSource::complementary();
    if (alphaImageB != nullptr) {
        alphaB = AlphaSource::imageOf(alphaImageB);
    } else if (alphaImageA == nullptr) {
        alphaB = AlphaSource::ownOf(srcImageB);
    }
    ZylImage *alphaDst = alphaImageDst;
    if (alphaDst == nullptr && dstImage->alphaChannel != 0) alphaDst = dstImage;
    composite(call, {srcImageA, srcImageB, dstImage, alphaA, alphaB, alphaDst, compositeType,
                     premulAlpha != 0, divideMode != 0, mapping});
}

void zylAlphaCompositeC(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                        std::int32_t compositeType, std::int32_t aA, std::int32_t aB,
                        std::int32_t premulAlpha, std::int32_t divideMode,
                        const ZylTileMapping *mapping) {
    const Call call("zylAlphaCompositeC", ALPHA_FILE_NAME);
    if (badAlphaImage(call, dstImage, "dstImage") || badAlphaImage(call, srcImageA, "srcImageA") ||
        badAlphaImage(call, srcImageB, "srcImageB") ||
        badDepths(call, *srcImageA, *srcImageB, *dstImage) ||
        (aA < 0 && lacksAlpha(call, *srcImageA, "srcImageA")) ||
        (aB < 0 && lacksAlpha(call, *srcImageB, "srcImageB")) ||
        badComposition(call, *srcImageA, *srcImageB, *dstImage, compositeType, premulAlpha,
                       divideMode)) {
        return;
    }
    const std::uint32_t depth = dstImage->depth;
    const AlphaSource alphaA =
        aA < 0 ? AlphaSource::ownOf(srcImageA) : AlphaSource::constantOf(aA, depth);
    const AlphaSource alphaB =
        aB < 0 ? AlphaSource::ownOf(srcImageB) : AlphaSource::constantOf(aB, depth);
    composite(call, {srcImageA, srcImageB, dstImage, alphaA, alphaB, nullptr, compositeType,
                     premulAlpha != 0, divideMode != 0, mapping});
}
