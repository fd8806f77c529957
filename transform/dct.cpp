// The two-dimensional cosine transform: every row, then every column, sixteen at
// a time.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <utility>

#include "core/call.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/trigonometry.h"
#include "transform/kept_state.h"
#include "transform/kernels.h"
#include "transform/roots.h"
#include "transform/rounding.h"

using namespace zylqx;

namespace {

// Secants of the half-lengths 8, 16 and 32, as Tables computes longer ones: sides of up
// to 64 need no table.
constexpr std::ptrdiff_t CONSTANT_HALF = 32;
constexpr float CONSTANT_SECANTS[] = {
    0.502419293F, 0.522498608F, 0.566944063F, 0.646821797F, 0.788154602F, 1.06067765F,
    1.72244716F,  5.10114861F,  0.50060302F,  0.505470932F, 0.515447319F, 0.531042576F,
    0.553103924F, 0.582934976F, 0.622504115F, 0.674808323F, 0.744536281F, 0.839349627F,
    0.972568214F, 1.16943991F,  1.4841646F,   2.05778098F,  3.40760851F,  10.1900082F,
    0.500150621F, 0.501358449F, 0.50378871F,  0.507471144F, 0.51245147F,  0.518792689F,
    0.526577294F, 0.535909832F, 0.546920419F, 0.559769809F, 0.574655175F, 0.591818511F,
    0.611557364F, 0.634238958F, 0.660319805F, 0.690372109F, 0.725120544F, 0.765494168F,
    0.812702119F, 0.868344724F, 0.934583604F, 1.01440823F,  1.11207163F,  1.23383272F,
    1.38929391F,  1.59397233F,  1.87467599F,  2.28205013F,  2.9246285F,   4.08461094F,
    6.79675055F,  20.3738785F};

bool isPowerOfTwo(std::ptrdiff_t n) {
    return (n & (n - 1)) == 0;
}

// Tables live until a call with ZYL_DCT_RELEASE; one that no longer fits is
// replaced. The reserved name is the compiler's own, in the assignment of arrays.
class Tables { // NOLINT(bugprone-reserved-identifier)
  public:
    // False when memory is exhausted.
    bool prepare(std::ptrdiff_t columns, std::ptrdiff_t rows) {
        return prepareSecants(std::max(halfLength(columns), halfLength(rows))) &&
               prepareCosines(cosines_[0], columns) && prepareCosines(cosines_[1], rows);
    }
    // After prepare().
    DctTables ofColumns(std::ptrdiff_t columns) const { return tables(cosines_[0], columns); }
    DctTables ofRows(std::ptrdiff_t rows) const { return tables(cosines_[1], rows); }

    void release() { *this = {}; }

  private:
    struct Cosines {
        std::ptrdiff_t length = 0;
        Scratch<double> values;
    };

    // The largest half-length that needs secants from a table; 0 for none.
    static std::ptrdiff_t halfLength(std::ptrdiff_t length) {
        return isPowerOfTwo(length) && length >= 16 ? length / 2 : 0;
    }

    bool prepareSecants(std::ptrdiff_t half) {
        if (half <= std::max(half_, CONSTANT_HALF)) return true;
        half_ = 0;
        secants_ = {}; // the old ones first: both may not fit
        secants_ = Scratch<float>(2 * static_cast<std::uint64_t>(half));
        if (!secants_) return false;
        for (std::ptrdiff_t h = 8; h <= half; h *= 2) {
            for (std::ptrdiff_t j = 0; j < h; ++j) {
                const double angle =
                    static_cast<double>(2 * j + 1) * std::numbers::pi / static_cast<double>(4 * h);
                secants_[h - 8 + j] = static_cast<float>(0.5 / sineCosine(angle).cosine);
            }
        }
        half_ = half;
        return true;
    }

    static bool prepareCosines(Cosines &cosines, std::ptrdiff_t length) {
        if (isPowerOfTwo(length) || cosines.length == length) return true;
        cosines = {};
        cosines.values = Scratch<double>(4 * static_cast<std::uint64_t>(length));
        if (!cosines.values) return false;
        forEachRoot(4 * static_cast<std::int64_t>(length),
                    [&cosines](std::int64_t k, Root<double> root) { cosines.values[k] = root.c; });
        cosines.length = length;
        return true;
    }

    DctTables tables(const Cosines &cosines, std::ptrdiff_t length) const {
        DctTables result;
        result.length = length;
        if (isPowerOfTwo(length)) {
            result.secants = half_ > 0 ? secants_.data() : CONSTANT_SECANTS;
        } else {
            result.cosines = cosines.values.data();
        }
        return result;
    }

    Scratch<float> secants_;
    std::ptrdiff_t half_ = 0;
    Cosines cosines_[2]; // of the columns' and the rows' number
};

constinit KeptState<Tables> keptTables;
const DestroyedAtExit<Tables> atExit{keptTables};

struct BlockSize {
    std::ptrdiff_t columns, rows;
};

// The transforms of blocks of one size.
class CosineTransform {
  public:
    CosineTransform(BlockSize block, bool forward)
        : k_(ZYLQX_KERNELS(dctKernels)), columns_(block.columns), rows_(block.rows),
          forward_(forward) {
        const double root = std::sqrt(static_cast<double>(columns_) * static_cast<double>(rows_));
        mean_ = static_cast<float>(1 / root);
        edge_ = static_cast<float>(std::numbers::sqrt2 / root);
        inside_ = static_cast<float>(2 / root);
    }

    // Obtains everything that can be refused; false when memory is exhausted.
    bool prepare(Tables &tables) {
        const auto columns = static_cast<std::uint64_t>(raised(columns_));
        const auto rows = static_cast<std::uint64_t>(raised(rows_));
        lines_ = Scratch<float>(columns * LINES);
        block_ = Scratch<float>(columns * rows);
        work_ = Scratch<unsigned char>(std::max(columns, rows) * DIRECT_WORK);
        if (!lines_ || !block_ || !work_ || !tables.prepare(columns_, rows_)) return false;
        alongRows_ = tables.ofColumns(columns_);
        alongColumns_ = tables.ofRows(rows_);
        return true;
    }

    void run(const Samples &from, const Samples &to) const {
        const auto transformLines = forward_ ? k_.forwardLines : k_.inverseLines;
        const std::ptrdiff_t panelRows = raised(rows_);
        for (std::ptrdiff_t y = 0; y < rows_; y += LINES) {
            const std::ptrdiff_t rows = std::min<std::ptrdiff_t>(LINES, rows_ - y);
            k_.loadRows(at(from, 0, y), rows, columns_, lines_.data());
            if (!forward_) k_.scale(lines_.data(), columns_, factors(y == 0));
            transformLines(lines_.data(), alongRows_, work_.data());
            k_.rowsToColumns(lines_.data(), columns_, y, block_.data(), panelRows);
        }
        for (std::ptrdiff_t x = 0; x < columns_; x += LINES) {
            const std::ptrdiff_t columns = std::min<std::ptrdiff_t>(LINES, columns_ - x);
            float *panel = block_.data() + x * panelRows;
            transformLines(panel, alongColumns_, work_.data());
            if (forward_) k_.scale(panel, rows_, factors(x == 0));
            k_.storeColumns(panel, rows_, columns, at(to, x, 0));
        }
    }

  private:
    // What makes plain sums orthonormal, for a panel whose first line is that of
    // the frequency 0, or for another.
    DctScale factors(bool firstPanel) const {
        DctScale scale;
        std::fill_n(scale.first, LINES, edge_);
        std::fill_n(scale.others, LINES, inside_);
        if (firstPanel) {
            scale.first[0] = mean_;
            scale.others[0] = edge_;
        }
        return scale;
    }

    static Samples at(Samples samples, std::ptrdiff_t x, std::ptrdiff_t y) {
        samples.data += y * samples.stride + x * columnBytes(samples);
        return samples;
    }

    const DctKernels &k_;
    const std::ptrdiff_t columns_, rows_;
    const bool forward_;
    float mean_, edge_, inside_;
    Scratch<float> lines_;        // rows of the image, a real panel
    Scratch<float> block_;        // panels of columns
    Scratch<unsigned char> work_; // for the kernels
    DctTables alongRows_, alongColumns_;
};

// The region of an image lies within it; a missing one does.
bool badRoi(const ZylImage &image) {
    const ZylROI *roi = image.roi;
    if (roi == nullptr) return false;
    return roi->coi < 0 || roi->coi > image.nChannels || roi->xOffset < 0 || roi->yOffset < 0 ||
           roi->width <= 0 || roi->height <= 0 ||
           std::int64_t{roi->xOffset} + roi->width > image.width ||
           std::int64_t{roi->yOffset} + roi->height > image.height;
}

// Pixels in memory, in a layout and of a depth that are known.
bool unusable(const ZylImage &image) {
    return image.imageData == nullptr || isTiled(image) || depthIndex(image.depth) <= 0 ||
           (image.dataOrder != ZYL_DATA_ORDER_PIXEL && image.dataOrder != ZYL_DATA_ORDER_PLANE) ||
           image.nChannels < 1 || image.width < 1 || image.height < 1 || badRoi(image);
}

bool incompatible(const ZylImage &src, const ZylImage &dst) {
    if (&src == &dst || src.nChannels != dst.nChannels || src.width != dst.width ||
        src.height != dst.height || src.dataOrder != dst.dataOrder ||
        (src.roi == nullptr) != (dst.roi == nullptr)) {
        return true;
    }
    if (unusable(src) || unusable(dst)) return true;
    if (src.roi == nullptr) return false;
    return dst.roi->width < src.roi->width || dst.roi->height < src.roi->height ||
           (src.roi->coi != 0 && dst.roi->coi == 0);
}

Samples samplesOf(const ZylImage &image, int channel) {
    const int x = image.roi != nullptr ? image.roi->xOffset : 0;
    const int y = image.roi != nullptr ? image.roi->yOffset : 0;
    return {sampleAt(image, x, y, channel), pixelStep(image), image.widthStep,
            depthIndex(image.depth)};
}

// Calls run(from, to) for the samples of every channel that is transformed.
template <class F>
void eachChannel(const ZylImage &src, const ZylImage &dst, int flags, F run) {
    const int coi = channelOfInterest(src);
    if (coi != 0) {
        run(samplesOf(src, coi), samplesOf(dst, channelOfInterest(dst)));
        return;
    }
    const int skipped = (flags & ZYL_DCT_WITH_ALPHA) != 0 ? 0 : src.alphaChannel;
    for (int channel = 1; channel <= src.nChannels; ++channel) {
        if (channel != skipped) run(samplesOf(src, channel), samplesOf(dst, channel));
    }
}

} // namespace

void zylDCT2D(ZylImage *src, ZylImage *dst, int32_t flags) {
    if ((flags & ZYL_DCT_RELEASE) != 0) {
        keptTables.release();
        return;
    }
    const Call call("zylDCT2D", "zyldct2d");
    call.fails(src == nullptr, "src==0");
    call.fails(dst == nullptr, "dst==0");
    if (zylGetErrStatus() < 0 || src == nullptr || dst == nullptr) return;
    if (call.fails(incompatible(*src, *dst), "Images are not compatible")) return;
    const int direction = flags & (ZYL_DCT_FORWARD | ZYL_DCT_INVERSE);
    if (direction != ZYL_DCT_FORWARD && direction != ZYL_DCT_INVERSE) return;

    const bool forward = direction == ZYL_DCT_FORWARD;
    const BlockSize block = src->roi != nullptr ? BlockSize{src->roi->width, src->roi->height}
                                                : BlockSize{src->width, src->height};
    const RoundToNearest mode;
    if (block.columns == 8 && block.rows == 8) {
        const DctKernels &k = ZYLQX_KERNELS(dctKernels);
        eachChannel(*src, *dst, flags, forward ? k.forward8x8 : k.inverse8x8);
        return;
    }
    CosineTransform transform(block, forward);
    const StateLease tables(keptTables);
    if (!tables || !transform.prepare(*tables)) return;
    eachChannel(*src, *dst, flags,
                [&](const Samples &from, const Samples &to) { transform.run(from, to); });
}
