// Histograms, look-ups, threshold, norms, scaled products and compositing.

#include <vector>

#include "rows.h"

namespace bench {

namespace {

// A row of an operation that reads `sources` pictures and writes `targets`.
void addRow(std::vector<Row> &rows, const std::string &name, std::uint32_t depth, int channels,
            int side, int sources, int targets, std::function<Contest(Layout)> prepare,
            double cycles = 0) {
    const std::ptrdiff_t bytes = pictureBytes(depth, channels, side);
    rows.push_back(
        {name, depth, side, sources * bytes, targets * bytes, std::move(prepare), cycles});
}

// A LUT with a key for each value, the same for all channels.
struct Lut {
    std::vector<std::int32_t> key, value;
    ZylLUT lut;
    ZylLUT *pointers[4];

    explicit Lut(std::uint32_t depth) {
        const std::int32_t size = 1 << depth;
        for (std::int32_t v = 0; v <= size; ++v) {
            key.push_back(v);
            value.push_back(size - 1 - v);
        }
        lut = {size + 1, key.data(), value.data(), nullptr, 0};
        for (ZylLUT *&pointer : pointers) pointer = &lut;
    }
};

// A count takes two loads and a store, and so does a look-up in 16-bit tables; in those of
// bytes 52 operations for 32 samples: three for each of 16 parts and four for both halves.
// Interleaved channels add 30 for 96, to sort samples by channel and back.
double lookUpCycles(std::uint32_t depth, int channels) {
    if (depth != ZYL_DEPTH_8U) return channels;
    return channels * (52.0 / 96 + (channels > 1 ? 30.0 / 288 : 0));
}

void addHistogram(std::vector<Row> &rows, std::uint32_t depth, int channels, int side) {
    std::string suffix;
    if (channels > 1) suffix.append(" ").append(std::to_string(channels)).append("ch");
    addRow(
        rows, "compute-histo" + suffix, depth, channels, side, 1, 0,
        [=](Layout layout) {
            const PicturePointer s = picture(depth, channels, side, layout);
            const auto lut = std::make_shared<Lut>(depth);
            return Contest{[=] { zylComputeHisto(*s, lut->pointers, nullptr); }, {s}};
        },
        channels);
    const auto addLookUp = [&](const char *name, int reads, auto function, double cycles) {
        addRow(
            rows, name + suffix, depth, channels, side, reads, 1,
            [=](Layout layout) {
                const PicturePointer s = picture(depth, channels, side, layout);
                const PicturePointer d = picture(depth, channels, side, layout);
                const auto lut = std::make_shared<Lut>(depth);
                return Contest{[=] { function(*s, *d, lut->pointers, nullptr); }, {s, d}};
            },
            cycles);
    };
    const double lookUp = lookUpCycles(depth, channels);
    addLookUp("contrast-stretch", 1, zylContrastStretch, lookUp);
    // It counts first, and then looks up what it made of the counts.
    addLookUp("histo-equalize", 2, zylHistoEqualize, channels + lookUp);
}

void addPointRows(std::vector<Row> &rows, std::uint32_t depth, int side) {
    addRow(rows, "threshold", depth, 1, side, 1, 1, [=](Layout layout) {
        const PicturePointer s = picture(depth, 1, side, layout);
        const PicturePointer d = picture(depth, 1, side, layout);
        return Contest{[=] { zylThreshold(*s, *d, 100, nullptr); }};
    });
    const struct {
        const char *name;
        std::int32_t type;
    } norms[] = {{"norm c", ZYL_NORM_C}, {"norm l1", ZYL_NORM_L1}, {"norm l2", ZYL_NORM_L2}};
    for (const auto &norm : norms) {
        addRow(rows, norm.name, depth, 1, side, 2, 0, [=, type = norm.type](Layout layout) {
            const PicturePointer a = picture(depth, 1, side, layout);
            const PicturePointer b = picture(depth, 1, side, layout);
            return Contest{[=] { zylNorm(*a, *b, type); }};
        });
    }
}

PicturePointer alphaPicture(std::uint32_t depth, int side, int order, Layout layout) {
    auto p = std::make_shared<const Picture>(depth, 4, side, side, order, layout);
    static_cast<ZylImage *>(*p)->alphaChannel = 4;
    return p;
}

void addScaledProducts(std::vector<Row> &rows, std::uint32_t depth, int side) {
    constexpr int order = ZYL_DATA_ORDER_PIXEL;
    addRow(rows, "multiply-scale 4ch", depth, 4, side, 2, 1, [=](Layout layout) {
        const PicturePointer a = alphaPicture(depth, side, order, layout);
        const PicturePointer b = alphaPicture(depth, side, order, layout);
        const PicturePointer d = alphaPicture(depth, side, order, layout);
        return Contest{[=] { zylMultiplyScale(*a, *b, *d, nullptr); }, {a, b, d}};
    });
    addRow(rows, "multiply-s-scale 4ch", depth, 4, side, 1, 1, [=](Layout layout) {
        const PicturePointer s = alphaPicture(depth, side, order, layout);
        const PicturePointer d = alphaPicture(depth, side, order, layout);
        return Contest{[=] { zylMultiplySScale(*s, *d, 200, nullptr); }, {s, d}};
    });
    // Of bytes, two operations for the factors of 8 pixels and nine for the products, which
    // are those of whole division.
    addRow(
        rows, "pre-multiply-alpha", depth, 4, side, 1, 1,
        [=](Layout layout) {
            const PicturePointer d = alphaPicture(depth, side, order, layout);
            return Contest{[=] { zylPreMultiplyAlpha(*d, -1, nullptr); }, {d, d}};
        },
        depth == ZYL_DEPTH_8U && order == ZYL_DATA_ORDER_PIXEL ? 11.0 / 24 : 0);
}

struct NamedRule {
    const char *name;
    std::int32_t rule;
};
const NamedRule RULES[] = {{"over", ZYL_COMPOSITE_OVER}, {"in", ZYL_COMPOSITE_IN},
                           {"out", ZYL_COMPOSITE_OUT},   {"atop", ZYL_COMPOSITE_ATOP},
                           {"xor", ZYL_COMPOSITE_XOR},   {"plus", ZYL_COMPOSITE_PLUS}};

// Pre-multiplied pictures, onto the second source: what the peers do.
void addCompositions(std::vector<Row> &rows, std::uint32_t depth, int side) {
    for (const NamedRule &rule : RULES) {
        addRow(rows, std::string("alpha-composite ") + rule.name, depth, 4, side, 2, 1,
               [=](Layout layout) {
                   const PicturePointer a = alphaPicture(depth, side, ZYL_DATA_ORDER_PIXEL, layout);
                   const PicturePointer d = alphaPicture(depth, side, ZYL_DATA_ORDER_PIXEL, layout);
                   return Contest{[=] {
                                      zylAlphaComposite(*a, *d, *d, rule.rule, nullptr, nullptr,
                                                        nullptr, 1, 0, nullptr);
                                  },
                                  {a, d, d}};
               });
        addRow(rows, std::string("alpha-composite planes ") + rule.name, depth, 4, side, 2, 1,
               [=](Layout layout) {
                   const PicturePointer a = alphaPicture(depth, side, ZYL_DATA_ORDER_PLANE, layout);
                   const PicturePointer d = alphaPicture(depth, side, ZYL_DATA_ORDER_PLANE, layout);
                   return Contest{[=] {
                       zylAlphaComposite(*a, *d, *d, rule.rule, nullptr, nullptr, nullptr, 1, 0,
                                         nullptr);
                   }};
               });
    }
}

// Alpha of one value for all pixels.
void addConstantAlpha(std::vector<Row> &rows, std::uint32_t depth, int side) {
    addRow(rows, "alpha-composite-c over", depth, 3, side, 2, 1, [=](Layout layout) {
        const PicturePointer a = picture(depth, 3, side, layout);
        const PicturePointer d = picture(depth, 3, side, layout);
        return Contest{
            [=] { zylAlphaCompositeC(*a, *d, *d, ZYL_COMPOSITE_OVER, 128, 128, 1, 0, nullptr); }};
    });
}

} // namespace

void addStatsRows(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (const int channels : {1, 3}) addHistogram(rows, depth, channels, side);
        addScaledProducts(rows, depth, side);
        addCompositions(rows, depth, side);
        addConstantAlpha(rows, depth, side);
    }
    for (const std::uint32_t depth :
         {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        addPointRows(rows, depth, side);
    }
}

} // namespace bench
