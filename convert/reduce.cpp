// Fewer bits: samples are cut, after some noise if wanted, and dithered.

#include <algorithm>
#include <atomic>
#include <optional>

#include "convert/colour.h"
#include "convert/kernels.h"
#include "core/call.h"
#include "core/walk_colour.h"

using namespace zylqx;

namespace {

// ---- cutting ----------------------------------------------------------------------

// The kernel for a pair of depths, and what the cut drops: its unit is the first
// bit that stays.
struct Reduction {
    ReduceKernels::Row row = nullptr;
    std::int32_t unit = 0;
    const char *fault = nullptr; // why there is no kernel
};

Reduction reductionFor(std::uint32_t src, std::uint32_t dst) {
    const ReduceKernels &kernels = ZYLQX_KERNELS(reduceKernels);
    switch (src) {
    case ZYL_DEPTH_8U:
        if (dst == ZYL_DEPTH_1U) return {kernels.u8ToBits, 16};
        return {nullptr, 0, "errOutDepth"};
    case ZYL_DEPTH_16U:
        if (dst == ZYL_DEPTH_8U) return {kernels.u16ToU8, 256};
        return {nullptr, 0, "errOutDepth"};
    case ZYL_DEPTH_32S:
        if (dst == ZYL_DEPTH_16U) return {kernels.s32ToU16, 65536};
        if (dst == ZYL_DEPTH_8U) return {kernels.s32ToU8, 1 << 24};
        return {nullptr, 0, "errInOutDepth"};
    default:
        return {nullptr, 0, "errInOutDepth"};
    }
}

// Channel after channel; whole rows at once where the channels are interleaved
// alike.
template <class F>
void forEachRun(const ZylImage &src, const ZylImage &dst, std::int32_t width, std::int32_t height,
                F run) {
    const bool whole = !isPlanar(src) && src.nChannels == dst.nChannels;
    const int channels = whole ? 1 : std::min(src.nChannels, dst.nChannels);
    const std::ptrdiff_t samples = whole ? std::ptrdiff_t{width} * src.nChannels : width;
    const std::ptrdiff_t srcStep = whole ? 1 : pixelStep(src);
    const std::ptrdiff_t dstStep = whole ? 1 : pixelStep(dst);
    for (int c = 1; c <= channels; ++c) {
        for (std::int32_t y = 0; y < height; ++y) {
            run(sampleAt(src, 0, y, c), srcStep, sampleAt(dst, 0, y, c), dstStep, samples);
        }
    }
}

// ---- jitter -----------------------------------------------------------------------

// Noise, the same at the same place for all channels and all tiles of one call.
class Jitter {
  public:
    explicit Jitter(std::int32_t type) : type_(type) {
        // Another sequence for every call of the process.
        static std::atomic<std::uint32_t> calls{0};
        std::uint32_t state = calls.fetch_add(1, std::memory_order_relaxed) * 0x9E3779B9u;
        const auto next = [&state] {
            state = state * 1664525u + 1013904223u;
            return static_cast<std::uint16_t>(state >> 22);
        };
        for (std::uint16_t &shift : shifts_) shift = next();
        for (std::uint16_t &fraction : fractions_) fraction = next();
    }

    // A sample at a place; `unit` is that of the cut, `highest` the largest sample.
    template <class T>
    T apply(T v, std::uint32_t x, std::uint32_t y, std::int64_t unit, std::int64_t highest) const {
        if (v >= highest - unit) return v;
        std::int64_t sum = v;
        const std::int64_t low = v & (unit - 1);
        const std::int64_t limit = 9 * fractions_[(x + 4 * y + shifts_[x % SIZE]) % SIZE] / SIZE;
        if (low <= limit) sum += unit;
        // The nearest whole number of up to 2 * type.
        const std::int64_t noise =
            (2 * type_ * fractions_[(y + 4 * x + shifts_[y % SIZE]) % SIZE] + SIZE / 2) / SIZE;
        const std::int64_t moved = sum + (noise - type_) * unit;
        return static_cast<T>(moved >= 0 && moved <= highest ? moved : sum);
    }

  private:
    static constexpr std::int64_t SIZE = 1024;

    std::int64_t type_;
    std::uint16_t shifts_[SIZE];
    std::uint16_t fractions_[SIZE]; // of 1024
};

template <class T>
void jitterRows(const ZylImage &src, const ZylImage &dst, std::int32_t width, std::int32_t height,
                const Reduction &reduction, const Jitter &jitter) {
    constexpr std::int64_t HIGHEST = sizeof(T) == 4 ? INT32_MAX : sizeof(T) == 2 ? 65535 : 255;
    constexpr std::ptrdiff_t RUN = 512; // a multiple of 8, for rows of bits
    T samples[RUN];
    const int channels = std::min(src.nChannels, dst.nChannels);
    const std::ptrdiff_t step = pixelStep(src);
    for (int c = 1; c <= channels; ++c) {
        for (std::int32_t y = 0; y < height; ++y) {
            const T *row = reinterpret_cast<const T *>(sampleAt(src, 0, y, c));
            for (std::ptrdiff_t x = 0; x < width; x += RUN) {
                const std::ptrdiff_t n = std::min(RUN, width - x);
                for (std::ptrdiff_t i = 0; i < n; ++i) {
                    samples[i] =
                        jitter.apply(row[(x + i) * step], static_cast<std::uint32_t>(x + i),
                                     static_cast<std::uint32_t>(y), reduction.unit, HIGHEST);
                }
                reduction.row(samples, 1, sampleAt(dst, x, y, c), pixelStep(dst), n);
            }
        }
    }
}

void reduceWithJitter(const ZylImage &src, const ZylImage &dst, std::int32_t width,
                      std::int32_t height, const Reduction &reduction, const Jitter &jitter) {
    switch (src.depth) {
    case ZYL_DEPTH_8U:
        return jitterRows<std::uint8_t>(src, dst, width, height, reduction, jitter);
    case ZYL_DEPTH_16U:
        return jitterRows<std::uint16_t>(src, dst, width, height, reduction, jitter);
    default:
        return jitterRows<std::int32_t>(src, dst, width, height, reduction, jitter);
    }
}

// ---- dithering --------------------------------------------------------------------

enum {
    DITHER_NONE = 1,
    DITHER_FLOYD_STEINBERG = 2,
    DITHER_JARVIS = 4,
    DITHER_STUCKI = 8,
    DITHER_ORDERED = 16
};

std::int32_t ditherStep(std::uint32_t depth, std::int32_t ditherBits) {
    const int sampleBits = depthBits(depth);
    const std::int32_t highest = (1 << sampleBits) - 1;
    const std::int32_t bits = ditherBits > sampleBits ? sampleBits / 2 : std::max(ditherBits, 0);
    return std::max(highest >> bits, 1);
}

// Null for a type that is not known.
const DitherKernels::Dither *dithersOf(std::int32_t type) {
    const DitherKernels &kernels = ZYLQX_KERNELS(ditherKernels);
    switch (type) {
    case DITHER_FLOYD_STEINBERG:
        return kernels.floydSteinberg;
    case DITHER_JARVIS:
        return kernels.jarvis;
    case DITHER_STUCKI:
        return kernels.stucki;
    case DITHER_ORDERED:
        return kernels.ordered;
    default:
        return nullptr;
    }
}

void ditherImage(const ZylImage &image, std::int32_t width, std::int32_t height,
                 std::int32_t ditherType, std::int32_t ditherBits) {
    const Call call("own_dither_rect", KERNEL_FILE);
    const DitherKernels::Dither *dithers = dithersOf(ditherType);
    const bool wide = image.depth == ZYL_DEPTH_16U;
    if (call.fails(dithers == nullptr, "errDitherOption") ||
        call.fails(!wide && image.depth != ZYL_DEPTH_8U, "errInDepth")) {
        return;
    }
    const std::int32_t step = ditherStep(image.depth, ditherBits);
    if (step == 1) return; // all samples are multiples
    // One gray channel, or three colours; a colour image with fewer has those.
    const bool colour = image.channelSeq[0] != 'G';
    const int count = colour ? std::min(image.nChannels, 3) : 1;
    if (!isPlanar(image)) {
        dithers[wide](
            {sampleAt(image, 0, 0, 1), pixelStep(image), image.widthStep, width, height, count},
            step);
        return;
    }
    const ColourChannels channels = count == 3 ? colourChannels(image, "RGB") : FIRST_CHANNELS;
    for (int k = 0; k < count; ++k) {
        unsigned char *plane = sampleAt(image, 0, 0, channels.of[k]);
        dithers[wide]({plane, 1, image.widthStep, width, height, 1}, step);
    }
}

} // namespace

void zylReduceBits(ZylImage *srcImage, ZylImage *dstImage, std::int32_t jitterType,
                   std::int32_t ditherType, std::int32_t ditherBits, const std::int32_t *dstTile) {
    const Call call("zylReduceBits", "zylcolor");
    if (call.fails(0 > jitterType || jitterType > 8, "(0>jitterType)||(jitterType>8)") ||
        call.badHeader(srcImage) || call.badHeader(dstImage)) {
        return;
    }
    ZylImage &src = *srcImage;
    ZylImage &dst = *dstImage;
    if (call.fails(effectiveChannels(src) != effectiveChannels(dst) ||
                       src.dataOrder != dst.dataOrder || src.origin != dst.origin,
                   "incomatibleimages")) {
        return;
    }
    const Reduction reduction = reductionFor(src.depth, dst.depth);
    std::optional<Jitter> jitter; // its tables take longer than a small image
    if (jitterType != 0) jitter.emplace(jitterType);
    auto kernel = [&](const ZylImage &s, const ZylImage &d, std::int32_t width,
                      std::int32_t height) {
        if (reduction.row == nullptr) {
            const char *name = jitterType == 0 ? "ownReduceBits" : "ownjitter_rect";
            Call(name, KERNEL_FILE).report(ZYL_StsBadArg, reduction.fault);
            return;
        }
        if (jitter) {
            reduceWithJitter(s, d, width, height, reduction, *jitter);
        } else {
            forEachRun(s, d, width, height, reduction.row);
        }
        if (ditherType != DITHER_NONE) ditherImage(d, width, height, ditherType, ditherBits);
    };
    // A dither, and jitter, see the whole destination.
    const bool plain = jitterType == 0 && ditherType == DITHER_NONE;
    walkColour(call, src, dst, dstTile, kernel, plain ? InMemory::CommonPart : InMemory::OneTile);
}
