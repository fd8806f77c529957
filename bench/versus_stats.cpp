// Histograms, look-ups, threshold, norms, scaled products and compositing.

#include <vector>

#include "peers.h"
#include "rows.h"

namespace bench {

namespace {

// A row of an operation that reads `sources` pictures and writes `targets`.
void addRow(std::vector<Row> &rows, const std::string &name, std::uint32_t depth, int channels,
            int side, int sources, int targets, std::function<Contest()> prepare) {
    const std::ptrdiff_t bytes = pictureBytes(depth, channels, side);
    rows.push_back(
        {name, depthName(depth), side, sources * bytes, targets * bytes, std::move(prepare)});
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

void addHistogram(std::vector<Row> &rows, std::uint32_t depth, int channels, int side) {
    std::string suffix;
    if (channels > 1) suffix.append(" ").append(std::to_string(channels)).append("ch");
    addRow(rows, "compute-histo" + suffix, depth, channels, side, 1, 0, [=] {
        const PicturePointer s = picture(depth, channels, side);
        const auto lut = std::make_shared<Lut>(depth);
        Contest contest{[=] { zylComputeHisto(*s, lut->pointers, nullptr); }, {}};
#if defined(ZYLQX_PEER_LEPTONICA)
        if (depth == ZYL_DEPTH_8U && channels == 1) {
            const PixPointer pix = leptonicaImage(s);
            contest.peers.push_back({"leptonica", [pix] {
                                         NUMA *counts = pixGetGrayHistogram(pix.get(), 1);
                                         numaDestroy(&counts);
                                     }});
        }
#endif
        return contest;
    });
    addRow(rows, "contrast-stretch" + suffix, depth, channels, side, 1, 1, [=] {
        const PicturePointer s = picture(depth, channels, side);
        const PicturePointer d = picture(depth, channels, side);
        const auto lut = std::make_shared<Lut>(depth);
        Contest contest{[=] { zylContrastStretch(*s, *d, lut->pointers, nullptr); }, {}};
#if defined(ZYLQX_PEER_VIPS)
        if (depth == ZYL_DEPTH_8U && channels == 1) {
            const VipsPointer from = vipsImage(s, VIPS_FORMAT_UCHAR);
            const auto bytes = std::make_shared<std::vector<unsigned char>>();
            for (int v = 0; v < 256; ++v) bytes->push_back(static_cast<unsigned char>(255 - v));
            const VipsPointer table = {vips_image_new_from_memory(bytes->data(), bytes->size(), 256,
                                                                  1, 1, VIPS_FORMAT_UCHAR),
                                       g_object_unref};
            contest.peers.push_back({"vips", [from, table, bytes] {
                                         VipsImage *out = nullptr;
                                         vips_maplut(from.get(), &out, table.get(), nullptr);
                                         vipsCompute(out);
                                     }});
        }
#endif
        return contest;
    });
}

void addPointRows(std::vector<Row> &rows, std::uint32_t depth, int side) {
    addRow(rows, "threshold", depth, 1, side, 1, 1, [=] {
        const PicturePointer s = picture(depth, 1, side);
        const PicturePointer d = picture(depth, 1, side);
        return Contest{[=] { zylThreshold(*s, *d, 100, nullptr); }, {}};
    });
    const struct {
        const char *name;
        std::int32_t type;
    } norms[] = {{"norm c", ZYL_NORM_C}, {"norm l1", ZYL_NORM_L1}, {"norm l2", ZYL_NORM_L2}};
    for (const auto &norm : norms) {
        addRow(rows, norm.name, depth, 1, side, 2, 0, [=, type = norm.type] {
            const PicturePointer a = picture(depth, 1, side);
            const PicturePointer b = picture(depth, 1, side);
            return Contest{[=] { zylNorm(*a, *b, type); }, {}};
        });
    }
}

PicturePointer alphaPicture(std::uint32_t depth, int side, int order) {
    auto p = std::make_shared<const Picture>(depth, 4, side, side, order);
    static_cast<ZylImage *>(*p)->alphaChannel = 4;
    return p;
}

void addScaledProducts(std::vector<Row> &rows, std::uint32_t depth, int side) {
    constexpr int order = ZYL_DATA_ORDER_PIXEL;
    addRow(rows, "multiply-scale 4ch", depth, 4, side, 2, 1, [=] {
        const PicturePointer a = alphaPicture(depth, side, order);
        const PicturePointer b = alphaPicture(depth, side, order);
        const PicturePointer d = alphaPicture(depth, side, order);
        Contest contest{[=] { zylMultiplyScale(*a, *b, *d, nullptr); }, {}};
#if defined(ZYLQX_PEER_LIBYUV)
        if (depth == ZYL_DEPTH_8U) {
            contest.peers.push_back({"libyuv", [=] {
                                         libyuv::ARGBMultiply(a->data(), a->stride(), b->data(),
                                                              b->stride(), d->data(), d->stride(),
                                                              side, side);
                                     }});
        }
#endif
        return contest;
    });
    addRow(rows, "multiply-s-scale 4ch", depth, 4, side, 1, 1, [=] {
        const PicturePointer s = alphaPicture(depth, side, order);
        const PicturePointer d = alphaPicture(depth, side, order);
        Contest contest{[=] { zylMultiplySScale(*s, *d, 200, nullptr); }, {}};
#if defined(ZYLQX_PEER_LIBYUV)
        if (depth == ZYL_DEPTH_8U) {
            contest.peers.push_back({"libyuv", [=] {
                                         libyuv::ARGBShade(s->data(), s->stride(), d->data(),
                                                           d->stride(), side, side, 0xC8C8C8C8u);
                                     }});
        }
#endif
        return contest;
    });
    addRow(rows, "pre-multiply-alpha", depth, 4, side, 1, 1, [=] {
        const PicturePointer d = alphaPicture(depth, side, order);
        Contest contest{[=] { zylPreMultiplyAlpha(*d, -1, nullptr); }, {}};
#if defined(ZYLQX_PEER_LIBYUV)
        if (depth == ZYL_DEPTH_8U) {
            contest.peers.push_back({"libyuv", [=] {
                                         libyuv::ARGBAttenuate(d->data(), d->stride(), d->data(),
                                                               d->stride(), side, side);
                                     }});
        }
#endif
        return contest;
    });
}

struct NamedRule {
    const char *name;
    std::int32_t rule;
#if defined(ZYLQX_PEER_PIXMAN)
    pixman_op_t pixman;
#endif
};

#if defined(ZYLQX_PEER_PIXMAN)
#define RULE(name, rule, pixman)                                                                   \
    { name, rule, pixman }
#else
#define RULE(name, rule, pixman)                                                                   \
    { name, rule }
#endif
const NamedRule RULES[] = {RULE("over", ZYL_COMPOSITE_OVER, PIXMAN_OP_OVER),
                           RULE("in", ZYL_COMPOSITE_IN, PIXMAN_OP_IN),
                           RULE("out", ZYL_COMPOSITE_OUT, PIXMAN_OP_OUT),
                           RULE("atop", ZYL_COMPOSITE_ATOP, PIXMAN_OP_ATOP),
                           RULE("xor", ZYL_COMPOSITE_XOR, PIXMAN_OP_XOR),
                           RULE("plus", ZYL_COMPOSITE_PLUS, PIXMAN_OP_ADD)};

// Pre-multiplied pictures, onto the second source: what the peers do.
void addCompositions(std::vector<Row> &rows, std::uint32_t depth, int side) {
    for (const NamedRule &rule : RULES) {
        addRow(rows, std::string("alpha-composite ") + rule.name, depth, 4, side, 2, 1, [=] {
            const PicturePointer a = alphaPicture(depth, side, ZYL_DATA_ORDER_PIXEL);
            const PicturePointer d = alphaPicture(depth, side, ZYL_DATA_ORDER_PIXEL);
            Contest contest{[=] {
                                zylAlphaComposite(*a, *d, *d, rule.rule, nullptr, nullptr, nullptr,
                                                  1, 0, nullptr);
                            },
                            {}};
#if defined(ZYLQX_PEER_PIXMAN)
            if (depth == ZYL_DEPTH_8U) {
                const PixmanPointer from = pixmanImage(a);
                const PixmanPointer to = pixmanImage(d);
                contest.peers.push_back({"pixman", [=] {
                                             pixman_image_composite32(rule.pixman, from.get(),
                                                                      nullptr, to.get(), 0, 0, 0, 0,
                                                                      0, 0, side, side);
                                         }});
            }
#endif
#if defined(ZYLQX_PEER_LIBYUV)
            if (depth == ZYL_DEPTH_8U && rule.rule == ZYL_COMPOSITE_OVER) {
                contest.peers.push_back({"libyuv", [=] {
                                             libyuv::ARGBBlend(a->data(), a->stride(), d->data(),
                                                               d->stride(), d->data(), d->stride(),
                                                               side, side);
                                         }});
            }
#endif
            return contest;
        });
        addRow(rows, std::string("alpha-composite planes ") + rule.name, depth, 4, side, 2, 1, [=] {
            const PicturePointer a = alphaPicture(depth, side, ZYL_DATA_ORDER_PLANE);
            const PicturePointer d = alphaPicture(depth, side, ZYL_DATA_ORDER_PLANE);
            return Contest{[=] {
                               zylAlphaComposite(*a, *d, *d, rule.rule, nullptr, nullptr, nullptr,
                                                 1, 0, nullptr);
                           },
                           {}};
        });
    }
}

} // namespace

void addStatsRows(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (const int channels : {1, 3}) addHistogram(rows, depth, channels, side);
        addScaledProducts(rows, depth, side);
        addCompositions(rows, depth, side);
    }
    for (const std::uint32_t depth :
         {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        addPointRows(rows, depth, side);
    }
}

} // namespace bench
