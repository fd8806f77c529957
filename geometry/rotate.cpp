// Rotation by any angle about any point.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/bits.h"
#include "core/call.h"
#include "core/trigonometry.h"
#include "core/walk_destination.h"
#include "geometry/kernels.h"
#include "geometry/positions.h"
#include "geometry/rows.h"

using namespace zylqx;

namespace {

constexpr std::int32_t FULL_TURN = 36000; // hundredths of a degree
constexpr std::int32_t QUARTER_TURN = 9000;

// Columns or rows from begin up to end.
struct Span {
    std::int64_t begin, end;

    bool empty() const { return begin >= end; }
    // Only what lies in the other range as well.
    void cutTo(std::int64_t otherBegin, std::int64_t otherEnd) {
        begin = std::max(begin, otherBegin);
        end = std::max(begin, std::min(end, otherEnd));
    }
};

// What the call turns: the destination's pixel (i, j) has the coordinates
// (x + i, y + j), and the point (xShift, yShift) stays where it is.
struct Turn {
    std::int32_t angle; // 1 to FULL_TURN - 1
    std::int64_t xShift, yShift;
    std::int64_t x, y;
    std::int32_t interpolate; // ZYL_INTER_...
    ChannelPairs pairs;
    std::int32_t width, height; // of the source
};

// --- writing ---

// Writes parts of rows of a piece.
class Writer {
  public:
    Writer(const DstPiece &piece, const ChannelPairs &pairs) : piece_(piece), pairs_(pairs) {}

    // Zeros in a part of the piece.
    void clear(Span rows, Span columns) const {
        if (columns.empty()) return;
        for (int plane = 0; plane < pairs_.planes; ++plane) {
            for (std::int64_t j = rows.begin; j < rows.end; ++j) {
                clearRow(static_cast<std::int32_t>(j), columns, pairs_.dstFirst + plane);
            }
        }
    }

    // Samples of one channel without gaps; 1-bit samples one per byte.
    void put(const void *samples, std::int64_t i, std::int32_t j, int channel,
             std::ptrdiff_t n) const {
        if (bytes() == 0) {
            unsigned char packed[TURN_BLOCK / 8];
            ZYLQX_KERNELS(moveKernels)
                .packBits(static_cast<const unsigned char *>(samples), packed, n);
            copyBits(packed, 0, piece_.row(j, 1), piece_.area.x % 8 + i, n);
            return;
        }
        spreadSamples(static_cast<const unsigned char *>(samples), at(i, j, channel), bytes(),
                      pairs_.dstStep * bytes(), n);
    }

    unsigned char *at(std::int64_t i, std::int32_t j, int channel) const {
        return piece_.row(j, channel) + i * pairs_.dstStep * bytes();
    }
    std::ptrdiff_t bytes() const { return sampleBytes(piece_.image.depth); }

  private:
    void clearRow(std::int32_t j, Span columns, int channel) const {
        const std::int64_t n = columns.end - columns.begin;
        if (bytes() == 0) {
            fillBits(piece_.row(j, 1), piece_.area.x % 8 + columns.begin, n, false);
            return;
        }
        const auto pixel = static_cast<std::size_t>(pairs_.count * bytes());
        unsigned char *pixels = at(columns.begin, j, channel);
        if (pairs_.count == pairs_.dstStep) {
            std::memset(pixels, 0, static_cast<std::size_t>(n) * pixel);
            return;
        }
        for (std::int64_t i = 0; i < n; ++i) {
            std::memset(pixels + i * pairs_.dstStep * bytes(), 0, pixel);
        }
    }

    const DstPiece &piece_;
    const ChannelPairs &pairs_;
};

TurnSource turnSource(const SourceRect &source, const Turn &turn, int channel) {
    const ZylImage &image = source.image();
    const bool bits = image.depth == ZYL_DEPTH_1U;
    const std::ptrdiff_t pixel = pixelStep(image) * sampleBytes(image.depth);
    return {source.row(source.top(), channel),
            source.left(),
            source.top(),
            static_cast<std::int32_t>(bits ? 1 : pixel),
            std::ptrdiff_t{image.widthStep} * (bits ? 8 : 1),
            turn.width,
            turn.height};
}

// Puts the samples at the block's positions into columns from i on.
void putBlock(const SourceRect &source, const Turn &turn, TurnKernels::Sample sample,
              const TurnBlock &block, const Writer &writer, std::int64_t i, std::int32_t j,
              std::ptrdiff_t n) {
    alignas(64) unsigned char samples[TURN_BLOCK * 2];
    const ChannelPairs &pairs = turn.pairs;
    for (int c = 0; c < pairs.planes * static_cast<int>(pairs.count); ++c) {
        const TurnSource from = turnSource(source, turn, pairs.srcFirst + c);
        sample(from, block, samples, n);
        writer.put(samples, i, j, pairs.dstFirst + c, n);
    }
}

// --- any angle ---

class FreeTurn {
  public:
    explicit FreeTurn(const Turn &turn) : turn_(turn) {
        constexpr double PI = 3.14159265358979323846;
        const double theta = turn.angle * 0.01 * PI / 180;
        const auto xs = static_cast<double>(turn.xShift), ys = static_cast<double>(turn.yShift);
        const auto [sine, cosine] = sineCosine(theta);
        c_ = cosine;
        s_ = sine;
        x0_ = xs - c_ * xs + s_ * ys;
        y0_ = ys - s_ * xs - c_ * ys;
        const TurnKernels &kernels = ZYLQX_KERNELS(turnKernels);
        nearest_ = turn.interpolate == ZYL_INTER_NN;
        positions_ = nearest_                               ? kernels.nearest
                     : turn.interpolate == ZYL_INTER_LINEAR ? kernels.between[LINEAR]
                                                            : kernels.between[CUBIC];
    }

    // The source rectangle around the part's four corners and what interpolation
    // reads beside it.
    Area needed(const PartOfBlock &part, const Area &region) const {
        Span columns = {0, turn_.width}, rows = {0, turn_.height};
        constexpr std::int64_t REACH = 4;
        double left = HUGE_VAL, right = -HUGE_VAL, top = HUGE_VAL, bottom = -HUGE_VAL;
        for (const std::int32_t i : {part.dx, part.dx + part.width - 1}) {
            for (const std::int32_t j : {part.dy, part.dy + part.height - 1}) {
                const TurnedRow row = turnedRow(j);
                const double sx = columnAt(row, i), sy = rowAt(row, i);
                left = std::min(left, sx);
                right = std::max(right, sx);
                top = std::min(top, sy);
                bottom = std::max(bottom, sy);
            }
        }
        columns.cutTo(static_cast<std::int64_t>(left) - REACH,
                      static_cast<std::int64_t>(right) + REACH);
        rows.cutTo(static_cast<std::int64_t>(top) - REACH,
                   static_cast<std::int64_t>(bottom) + REACH);
        return {static_cast<std::int32_t>(columns.begin), static_cast<std::int32_t>(rows.begin),
                static_cast<std::int32_t>(columns.end - columns.begin),
                static_cast<std::int32_t>(rows.end - rows.begin), region.coi};
    }

    // Columns in blocks, so that what consecutive rows read stays in the cache: in the
    // nearest one, unless a pixel takes longer than its samples.
    bool run(const SourceRect &source, const DstPiece &piece) const {
        const TurnKernels &kernels = ZYLQX_KERNELS(turnKernels);
        const int size = sizeIndex(sampleBytes(piece.image.depth));
        const auto sample = piece.image.depth == ZYL_DEPTH_1U ? kernels.sampleNearest[2]
                            : nearest_                        ? kernels.sampleNearest[size]
                            : turn_.interpolate == ZYL_INTER_LINEAR
                                ? kernels.sampleBetween[LINEAR][size]
                                : kernels.sampleBetween[CUBIC][size];
        const TurnSource image = turnSource(source, turn_, turn_.pairs.srcFirst);
        const std::ptrdiff_t most =
            turn_.interpolate == ZYL_INTER_CUBIC ? TURN_BLOCK : TURN_BLOCK / 2;
        const std::ptrdiff_t columns = std::min(turnBlockColumns(image.rowStep), most);
        const Writer writer(piece, turn_.pairs);
        TurnBlock block;
        double cx[TURN_BLOCK], sx[TURN_BLOCK]; // c and s times the columns
        for (std::int64_t i = 0; i < piece.area.width; i += columns) {
            const std::int64_t end = std::min<std::int64_t>(i + columns, piece.area.width);
            for (std::int64_t k = i; k < end; ++k) {
                cx[k - i] = c_ * coordinate(piece.dx + k);
                sx[k - i] = s_ * coordinate(piece.dx + k);
            }
            for (std::int32_t j = 0; j < piece.area.height; ++j) {
                const TurnedRow row = turnedRow(piece.dy + j);
                Span inside = insideOf(row, {piece.dx + i, piece.dx + end});
                inside = {inside.begin - piece.dx, inside.end - piece.dx};
                writer.clear({j, j + 1}, {i, inside.begin});
                writer.clear({j, j + 1}, {inside.end, end});
                if (inside.empty()) continue;
                const std::ptrdiff_t n = inside.end - inside.begin, skipped = inside.begin - i;
                positions_(row, image, cx + skipped, sx + skipped, n, block);
                putBlock(source, turn_, sample, block, writer, inside.begin, j, n);
            }
        }
        return true;
    }

  private:
    double coordinate(std::int64_t i) const { return static_cast<double>(turn_.x + i); }

    TurnedRow turnedRow(std::int64_t j) const {
        const auto y = static_cast<double>(turn_.y + j);
        return {s_ * y, c_ * y, x0_, y0_};
    }
    double columnAt(const TurnedRow &row, std::int64_t i) const {
        return c_ * coordinate(i) - row.sY + row.x0;
    }
    double rowAt(const TurnedRow &row, std::int64_t i) const {
        return s_ * coordinate(i) + row.cY + row.y0;
    }

    bool above(double position) const {
        return nearest_ ? position >= -0.5 - TOLERANCE : position > -TOLERANCE;
    }
    bool below(double position, std::int32_t size) const {
        return nearest_ ? roundedPosition(position + TOLERANCE) <= size - 1 : position <= size - 1;
    }

    // The columns whose positions lie in the source. Along a row, each of the four
    // conditions begins or ends to hold once at most.
    Span insideOf(const TurnedRow &row, Span columns) const {
        auto atX = [&](std::int64_t i) { return columnAt(row, i); };
        auto atY = [&](std::int64_t i) { return rowAt(row, i); };
        narrow(columns, atX, 0, [&](double x) { return above(x); });
        narrow(columns, atX, turn_.width, [&](double x) { return below(x, turn_.width); });
        narrow(columns, atY, 0, [&](double y) { return above(y); });
        narrow(columns, atY, turn_.height, [&](double y) { return below(y, turn_.height); });
        return columns;
    }
    // To where a condition on positions holds, which changes near `limit`. That is
    // found by going there in a straight line, and by halving what is left.
    template <class Position, class Condition>
    static void narrow(Span &range, Position position, double limit, Condition holds) {
        if (range.empty()) return;
        std::int64_t low = range.begin, high = range.end - 1;
        const double lowest = position(low), highest = position(high);
        const bool first = holds(lowest), last = holds(highest);
        if (first && last) return;
        if (!first && !last) {
            range.end = range.begin;
            return;
        }
        const double way = (limit - lowest) / (highest - lowest);
        auto next = low + static_cast<std::int64_t>(way * static_cast<double>(high - low));
        for (int step = 0; high - low > 1; ++step) {
            next = std::clamp(next, low + 1, high - 1);
            const bool before = holds(position(next)) == first;
            (before ? low : high) = next;
            next = step > 3 ? low + (high - low) / 2 : before ? next + 1 : next - 1;
        }
        (first ? range.end : range.begin) = high;
    }

    const Turn &turn_;
    double c_, s_, x0_, y0_;
    bool nearest_;
    TurnKernels::Positions positions_;
};

// --- quarter turns ---

// Pixels move unchanged: source column = columnX * x + columnY * y + column0, rows
// alike.
class QuarterTurn {
  public:
    explicit QuarterTurn(const Turn &turn) : turn_(turn) {
        if (turn.angle == QUARTER_TURN) {
            column_ = {0, -1, turn.xShift + turn.yShift};
            row_ = {1, 0, turn.yShift - turn.xShift};
        } else if (turn.angle == 2 * QUARTER_TURN) {
            column_ = {-1, 0, 2 * turn.xShift};
            row_ = {0, -1, 2 * turn.yShift};
        } else {
            column_ = {0, 1, turn.xShift - turn.yShift};
            row_ = {-1, 0, turn.xShift + turn.yShift};
        }
    }

    Area needed(const PartOfBlock &part, const Area &region) const {
        const Filled filled = filledPart({part.dx, part.dx + std::int64_t{part.width}},
                                         {part.dy, part.dy + std::int64_t{part.height}});
        return filled.empty() ? Area{0, 0, 0, 0, region.coi} : sourceOf(filled);
    }

    bool run(const SourceRect &source, const DstPiece &piece) const {
        const Writer writer(piece, turn_.pairs);
        const Area &area = piece.area;
        const Filled filled = filledPart({piece.dx, piece.dx + std::int64_t{area.width}},
                                         {piece.dy, piece.dy + std::int64_t{area.height}});
        const Span all = {0, area.width};
        if (filled.empty()) {
            writer.clear({0, area.height}, all);
            return true;
        }
        const Span columns = {filled.columns.begin - piece.dx, filled.columns.end - piece.dx};
        const Span rows = {filled.rows.begin - piece.dy, filled.rows.end - piece.dy};
        DstPiece part = piece; // the part that gets source pixels
        part.area = {static_cast<std::int32_t>(area.x + columns.begin),
                     static_cast<std::int32_t>(area.y + rows.begin),
                     static_cast<std::int32_t>(columns.end - columns.begin),
                     static_cast<std::int32_t>(rows.end - rows.begin), area.coi};
        if (!move(source, part, sourceOf(filled))) return false;
        writer.clear({0, rows.begin}, all);
        writer.clear({rows.end, area.height}, all);
        writer.clear(rows, {0, columns.begin});
        writer.clear(rows, {columns.end, area.width});
        return true;
    }

  private:
    struct Mapping {
        std::int64_t x, y, shift;

        std::int64_t operator()(std::int64_t atX, std::int64_t atY) const {
            return x * atX + y * atY + shift;
        }
        // The coordinates that are mapped inside 0 .. size, by the direction that
        // counts: columns or rows.
        Span inside(std::int64_t size) const {
            return x + y > 0 ? Span{-shift, size - shift} : Span{shift - size + 1, shift + 1};
        }
    };
    // Columns and rows of the block that get source pixels.
    struct Filled {
        Span columns, rows;
        bool empty() const { return columns.empty() || rows.empty(); }
    };

    Filled filledPart(Span columns, Span rows) const {
        const Span acrossSource = column_.inside(turn_.width);
        const Span downSource = row_.inside(turn_.height);
        const Span &x = column_.x != 0 ? acrossSource : downSource;
        const Span &y = column_.x != 0 ? downSource : acrossSource;
        columns.cutTo(x.begin - turn_.x, x.end - turn_.x);
        rows.cutTo(y.begin - turn_.y, y.end - turn_.y);
        return {columns, rows};
    }

    Area sourceOf(const Filled &filled) const {
        const std::int64_t x1 = turn_.x + filled.columns.begin, x2 = turn_.x + filled.columns.end;
        const std::int64_t y1 = turn_.y + filled.rows.begin, y2 = turn_.y + filled.rows.end;
        const auto left = std::min(column_(x1, y1), column_(x2 - 1, y2 - 1));
        const auto top = std::min(row_(x1, y1), row_(x2 - 1, y2 - 1));
        const bool swapped = column_.x == 0;
        return {static_cast<std::int32_t>(left), static_cast<std::int32_t>(top),
                static_cast<std::int32_t>(swapped ? y2 - y1 : x2 - x1),
                static_cast<std::int32_t>(swapped ? x2 - x1 : y2 - y1), 0};
    }

    // False, with nothing written, when memory is exhausted.
    bool move(const SourceRect &source, const DstPiece &part, const Area &from) const {
        if (turn_.angle == 2 * QUARTER_TURN) return turnRound(source, part, from);
        if (part.image.depth == ZYL_DEPTH_1U) {
            transposeBits(source, part, from);
            return true;
        }
        for (int plane = 0; plane < turn_.pairs.planes; ++plane) {
            transpose(source, part, from, plane);
        }
        return true;
    }

    bool turnRound(const SourceRect &source, const DstPiece &part, const Area &from) const {
        RowFlip rows(source, from.x, part, turn_.pairs, true);
        if (!rows) return false;
        for (int plane = 0; plane < turn_.pairs.planes; ++plane) {
            rows.startPlane(plane);
            rows.runAll(from.y, true);
        }
        return true;
    }

    // A clockwise step through the destination goes through the source in columns:
    // upwards or downwards, the columns in or against their order.
    void transpose(const SourceRect &source, const DstPiece &part, const Area &from,
                   int plane) const {
        const ChannelPairs &pairs = turn_.pairs;
        const std::ptrdiff_t bytes = sampleBytes(part.image.depth);
        const std::ptrdiff_t pixel = pairs.count * bytes;
        const bool up = row_.x < 0, against = column_.y < 0;
        std::ptrdiff_t srcStride = source.image().widthStep, dstStride = part.image.widthStep;
        const unsigned char *src =
            source.row(up ? from.y + from.height - 1 : from.y, pairs.srcFirst + plane) +
            (std::ptrdiff_t{from.x} - source.left()) * pairs.srcStep * bytes;
        unsigned char *dst = part.row(against ? part.area.height - 1 : 0, pairs.dstFirst + plane);
        if (up) srcStride = -srcStride;
        if (against) dstStride = -dstStride;
        const bool dense = pairs.count == pairs.srcStep && pairs.count == pairs.dstStep;
        if (dense && (pixel == 1 || pixel == 2 || pixel == 4)) {
            ZYLQX_KERNELS(moveKernels)
                .transpose[sizeIndex(pixel)](src, srcStride, dst, dstStride, from.width,
                                             from.height);
            return;
        }
        // Blocks of columns keep the destination's rows in the cache.
        constexpr std::int32_t BLOCK = 32;
        for (std::int32_t begin = 0; begin < from.width; begin += BLOCK) {
            const std::int32_t end = std::min(begin + BLOCK, from.width);
            for (std::int32_t column = begin; column < end; ++column) {
                spreadColumn(src + column * pairs.srcStep * bytes, srcStride,
                             dst + column * dstStride, pairs.dstStep * bytes, pixel, from.height);
            }
        }
    }

    static void spreadColumn(const unsigned char *src, std::ptrdiff_t srcStride, unsigned char *dst,
                             std::ptrdiff_t dstStep, std::ptrdiff_t bytes, std::ptrdiff_t n) {
        withSize(bytes, [&](auto size) {
            for (std::ptrdiff_t i = 0; i < n; ++i) {
                std::memcpy(dst + i * dstStep, src + i * srcStride, size);
            }
        });
    }

    void transposeBits(const SourceRect &source, const DstPiece &part, const Area &from) const {
        const Writer writer(part, turn_.pairs);
        const auto sample = ZYLQX_KERNELS(turnKernels).sampleNearest[2];
        const auto bits = std::int64_t{source.image().widthStep} * 8;
        const auto columns = static_cast<std::int32_t>(turnBlockColumns(bits));
        TurnBlock block;
        for (std::int32_t j = 0; j < part.area.height; ++j) {
            const std::int32_t x = column_.y > 0 ? from.x + j : from.x + from.width - 1 - j;
            for (std::int32_t i = 0; i < part.area.width; i += columns) {
                const std::int32_t n = std::min(columns, part.area.width - i);
                block.row = row_.x > 0 ? from.y + i : from.y + from.height - 1 - i;
                for (std::int32_t k = 0; k < n; ++k) {
                    block.offset[k] =
                        static_cast<std::int32_t>(x - source.left() + (row_.x > 0 ? k : -k) * bits);
                }
                putBlock(source, turn_, sample, block, writer, i, j, n);
            }
        }
    }

    const Turn &turn_;
    Mapping column_, row_;
};

// --- the call ---

// The interpolation that a source of this size and depth allows.
std::int32_t allowed(std::int32_t interpolate, const ZylImage &src) {
    const std::int32_t size = std::min(src.width, src.height);
    if (src.depth == ZYL_DEPTH_1U || size < 2 || interpolate == ZYL_INTER_NN) return ZYL_INTER_NN;
    return size < 4 || interpolate == ZYL_INTER_LINEAR ? ZYL_INTER_LINEAR : ZYL_INTER_CUBIC;
}

bool badPair(const Call &call, const ZylImage *srcImage, const ZylImage *dstImage) {
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return true;
    call.fails(srcImage->depth != dstImage->depth, "srcImage->depth != dstImage->depth");
    call.fails(srcImage->dataOrder != dstImage->dataOrder,
               "srcImage->dataOrder != dstImage->dataOrder");
    const bool otherOrigin = srcImage->origin != dstImage->origin;
    constexpr const char *ORIGIN_TEXT = "srcImage->origin != dstImage->origin";
    call.fails(otherOrigin, ORIGIN_TEXT);
    if (call.fails(otherOrigin, ORIGIN_TEXT)) return true; // as a check of its own
    call.fails((srcImage->depth & ZYL_DEPTH_SIGN) != 0, "srcImage->depth & ZYL_DEPTH_SIGN");
    return zylGetErrStatus() < 0;
}

// The part of the destination that is written.
Area turnedBlock(const ZylImage &src, const ZylImage &dst) {
    Area block = clippedArea(dst);
    block.width = std::min(block.width, src.roi != nullptr ? src.roi->width : src.width);
    block.height = std::min(block.height, src.roi != nullptr ? src.roi->height : src.height);
    return block;
}

template <class Turned>
void turnImages(const Call &call, const Turn &turn, ZylImage &src, ZylImage &dst, const Area &block,
                const std::int32_t *dstTile) {
    const Turned turned(turn);
    auto needed = [&](const PartOfBlock &part) { return turned.needed(part, block); };
    auto process = [&](const SourceRect &source, const DstPiece &piece) {
        return turned.run(source, piece);
    };
    walkDestination(call, TRANSFER_REPORT, src, dst, block, dstTile, needed, process);
}

} // namespace

void zylRotate(ZylImage *srcImage, ZylImage *dstImage, std::int32_t angle, std::int32_t xShift,
               std::int32_t yShift, std::int32_t interpolate, const std::int32_t *dstTile) {
    const Call call("zylRotate", "zylRotat");
    if (badPair(call, srcImage, dstImage)) return;
    angle %= FULL_TURN;
    if (angle < 0) angle += FULL_TURN;
    if (angle == 0) {
        zylCopy(srcImage, dstImage, dstTile);
        if (zylGetErrStatus() < 0) call.report(ZYL_StsBackTrace, "");
        return;
    }
    const ZylImage &src = *srcImage;
    const Area block = turnedBlock(src, *dstImage);
    if (block.empty() || effectiveChannels(src) != effectiveChannels(*dstImage)) return;

    Turn turn;
    turn.angle = angle;
    turn.xShift = xShift;
    turn.yShift = yShift;
    // Rows of a bottom-left image are counted upwards on screen.
    if (src.origin == ZYL_ORIGIN_BL) {
        turn.angle = FULL_TURN - angle;
        turn.yShift = std::int64_t{src.height} - 1 - yShift;
    }
    turn.x = src.roi != nullptr ? src.roi->xOffset : 0;
    turn.y = src.roi != nullptr ? src.roi->yOffset : 0;
    turn.interpolate = allowed(interpolate, src);
    turn.pairs = pairChannels(src, *dstImage);
    turn.width = src.width;
    turn.height = src.height;
    if (turn.angle % QUARTER_TURN == 0) {
        turnImages<QuarterTurn>(call, turn, *srcImage, *dstImage, block, dstTile);
    } else {
        turnImages<FreeTurn>(call, turn, *srcImage, *dstImage, block, dstTile);
    }
}
