// Arithmetic, logic, copy, set and exchange.

#include "peers.h"
#include "rows.h"

namespace bench {

namespace {

using Binary = void (*)(ZylImage *a, ZylImage *b, ZylImage *d);
using Unary = void (*)(ZylImage *s, ZylImage *d);

struct NamedBinary {
    const char *name;
    Binary call;
};
struct NamedUnary {
    const char *name;
    Unary call;
};

const NamedBinary BINARY[] = {
    {"add", [](ZylImage *a, ZylImage *b, ZylImage *d) { zylAdd(a, b, d, nullptr); }},
    {"subtract", [](ZylImage *a, ZylImage *b, ZylImage *d) { zylSubtract(a, b, d, 0, nullptr); }},
    {"multiply", [](ZylImage *a, ZylImage *b, ZylImage *d) { zylMultiply(a, b, d, nullptr); }},
    {"and", [](ZylImage *a, ZylImage *b, ZylImage *d) { zylAnd(a, b, d, nullptr); }},
    {"or", [](ZylImage *a, ZylImage *b, ZylImage *d) { zylOr(a, b, d, nullptr); }},
    {"xor", [](ZylImage *a, ZylImage *b, ZylImage *d) { zylXor(a, b, d, nullptr); }},
};

const NamedUnary UNARY[] = {
    {"add-s", [](ZylImage *s, ZylImage *d) { zylAddS(s, d, 40, nullptr); }},
    {"subtract-s", [](ZylImage *s, ZylImage *d) { zylSubtractS(s, d, 40, 0, nullptr); }},
    {"multiply-s", [](ZylImage *s, ZylImage *d) { zylMultiplyS(s, d, 3, nullptr); }},
    {"l-shift-s", [](ZylImage *s, ZylImage *d) { zylLShiftS(s, d, 2, nullptr); }},
    {"r-shift-s", [](ZylImage *s, ZylImage *d) { zylRShiftS(s, d, 2, nullptr); }},
    {"square", [](ZylImage *s, ZylImage *d) { zylSquare(s, d, nullptr); }},
    {"abs", [](ZylImage *s, ZylImage *d) { zylAbs(s, d, nullptr); }},
    {"and-s", [](ZylImage *s, ZylImage *d) { zylAndS(s, d, 0x55, nullptr); }},
    {"not", [](ZylImage *s, ZylImage *d) { zylNot(s, d, nullptr); }},
    {"copy", [](ZylImage *s, ZylImage *d) { zylCopy(s, d, nullptr); }},
};

constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                    ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};

// A row of an operation that reads `sources` pictures and writes `targets`.
void addRow(std::vector<Row> &rows, const std::string &name, std::uint32_t depth, int channels,
            int side, int sources, int targets, std::function<Contest()> prepare) {
    const std::ptrdiff_t bytes = pictureBytes(depth, channels, side);
    rows.push_back(
        {name, depthName(depth), side, sources * bytes, targets * bytes, std::move(prepare)});
}

#if defined(ZYLQX_PEER_LEPTONICA)
// The operations that it has, by our name.
struct LeptonicaBinary {
    std::string name;
    std::uint32_t depth;
    PIX *(*call)(PIX *d, PIX *a, PIX *b);
};
const LeptonicaBinary LEPTONICA_BINARY[] = {
    {"add", ZYL_DEPTH_8U, pixAddGray}, {"subtract", ZYL_DEPTH_8U, pixSubtractGray},
    {"and", ZYL_DEPTH_1U, pixAnd},     {"or", ZYL_DEPTH_1U, pixOr},
    {"xor", ZYL_DEPTH_1U, pixXor},
};
#endif

void addLeptonica([[maybe_unused]] Contest &contest, [[maybe_unused]] const char *name,
                  [[maybe_unused]] std::uint32_t depth, [[maybe_unused]] const PicturePointer &a,
                  [[maybe_unused]] const PicturePointer &b) {
#if defined(ZYLQX_PEER_LEPTONICA)
    for (const LeptonicaBinary &theirs : LEPTONICA_BINARY) {
        if (theirs.name != name || theirs.depth != depth) continue;
        const PixPointer first = leptonicaImage(a);
        const PixPointer second = leptonicaImage(b);
        // Its arithmetic works in place or into a new image; both are its fastest.
        const bool inPlace = depth == ZYL_DEPTH_8U;
        const PixPointer out = inPlace ? first : leptonicaImage(a);
        contest.peers.push_back({"leptonica", [first, second, out, call = theirs.call] {
                                     call(out.get(), first.get(), second.get());
                                 }});
    }
#endif
}

void addVipsLogic([[maybe_unused]] Contest &contest, [[maybe_unused]] const std::string &name,
                  [[maybe_unused]] std::uint32_t depth, [[maybe_unused]] const PicturePointer &a,
                  [[maybe_unused]] const PicturePointer &b) {
#if defined(ZYLQX_PEER_VIPS)
    if (depth != ZYL_DEPTH_8U && depth != ZYL_DEPTH_16U) return;
    const VipsBandFormat format = depth == ZYL_DEPTH_8U ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT;
    VipsOperationBoolean operation = VIPS_OPERATION_BOOLEAN_LAST;
    if (name == "and") operation = VIPS_OPERATION_BOOLEAN_AND;
    if (name == "or") operation = VIPS_OPERATION_BOOLEAN_OR;
    if (name == "xor") operation = VIPS_OPERATION_BOOLEAN_EOR;
    if (operation == VIPS_OPERATION_BOOLEAN_LAST) return;
    const VipsPointer first = vipsImage(a, format);
    const VipsPointer second = vipsImage(b, format);
    contest.peers.push_back({"vips", [=] {
                                 VipsImage *out = nullptr;
                                 vips_boolean(first.get(), second.get(), &out, operation, nullptr);
                                 vipsCompute(out);
                             }});
#endif
}

void addBinaryRows(std::vector<Row> &rows, int side) {
    for (const NamedBinary &operation : BINARY) {
        for (const std::uint32_t depth : DEPTHS) {
            addRow(rows, operation.name, depth, 1, side, 2, 1, [=] {
                const PicturePointer a = picture(depth, 1, side);
                const PicturePointer b = picture(depth, 1, side);
                const PicturePointer d = picture(depth, 1, side);
                Contest contest{[=] { operation.call(*a, *b, *d); }, {}};
                addLeptonica(contest, operation.name, depth, a, b);
                addVipsLogic(contest, operation.name, depth, a, b);
                return contest;
            });
        }
    }
}

void addUnaryRows(std::vector<Row> &rows, int side) {
    for (const NamedUnary &operation : UNARY) {
        for (const std::uint32_t depth : DEPTHS) {
            addRow(rows, operation.name, depth, 1, side, 1, 1, [=] {
                const PicturePointer s = picture(depth, 1, side);
                const PicturePointer d = picture(depth, 1, side);
                Contest contest{[=] { operation.call(*s, *d); }, {}};
                return contest;
            });
        }
    }
}

void addSetAndExchange(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        addRow(rows, "set", depth, 1, side, 0, 1, [=] {
            const PicturePointer d = picture(depth, 1, side);
            return Contest{[=] { zylSet(*d, 100, nullptr); }, {}};
        });
        addRow(rows, "exchange", depth, 1, side, 2, 2, [=] {
            const PicturePointer a = picture(depth, 1, side);
            const PicturePointer b = picture(depth, 1, side);
            return Contest{[=] { zylExchange(*a, *b, nullptr); }, {}};
        });
    }
}

// 8u pictures of four channels: what compositing libraries are made for.
void addFourChannelRows(std::vector<Row> &rows, int side) {
    constexpr std::uint32_t depth = ZYL_DEPTH_8U;
    addRow(rows, "add 4ch", depth, 4, side, 2, 1, [=] {
        const PicturePointer a = picture(depth, 4, side);
        const PicturePointer b = picture(depth, 4, side);
        const PicturePointer d = picture(depth, 4, side);
        Contest contest{[=] { zylAdd(*a, *b, *d, nullptr); }, {}};
#if defined(ZYLQX_PEER_LIBYUV)
        contest.peers.push_back({"libyuv", [=] {
                                     libyuv::ARGBAdd(a->data(), a->stride(), b->data(), b->stride(),
                                                     d->data(), d->stride(), side, side);
                                 }});
#endif
        return contest;
    });
    addRow(rows, "add 4ch in place", depth, 4, side, 2, 1, [=] {
        const PicturePointer a = picture(depth, 4, side);
        const PicturePointer d = picture(depth, 4, side);
        Contest contest{[=] { zylAdd(*d, *a, *d, nullptr); }, {}};
#if defined(ZYLQX_PEER_PIXMAN)
        const PixmanPointer from = pixmanImage(a);
        const PixmanPointer to = pixmanImage(d);
        contest.peers.push_back({"pixman", [=] {
                                     pixman_image_composite32(PIXMAN_OP_ADD, from.get(), nullptr,
                                                              to.get(), 0, 0, 0, 0, 0, 0, side,
                                                              side);
                                 }});
#endif
#if defined(ZYLQX_PEER_LIBYUV)
        contest.peers.push_back({"libyuv", [=] {
                                     libyuv::ARGBAdd(d->data(), d->stride(), a->data(), a->stride(),
                                                     d->data(), d->stride(), side, side);
                                 }});
#endif
        return contest;
    });
    addRow(rows, "subtract 4ch", depth, 4, side, 2, 1, [=] {
        const PicturePointer a = picture(depth, 4, side);
        const PicturePointer b = picture(depth, 4, side);
        const PicturePointer d = picture(depth, 4, side);
        Contest contest{[=] { zylSubtract(*a, *b, *d, 0, nullptr); }, {}};
#if defined(ZYLQX_PEER_LIBYUV)
        contest.peers.push_back({"libyuv", [=] {
                                     libyuv::ARGBSubtract(a->data(), a->stride(), b->data(),
                                                          b->stride(), d->data(), d->stride(), side,
                                                          side);
                                 }});
#endif
        return contest;
    });
    addRow(rows, "copy 4ch", depth, 4, side, 1, 1, [=] {
        const PicturePointer s = picture(depth, 4, side);
        const PicturePointer d = picture(depth, 4, side);
        Contest contest{[=] { zylCopy(*s, *d, nullptr); }, {}};
#if defined(ZYLQX_PEER_LIBYUV)
        contest.peers.push_back({"libyuv", [=] {
                                     libyuv::ARGBCopy(s->data(), s->stride(), d->data(),
                                                      d->stride(), side, side);
                                 }});
#endif
        return contest;
    });
}

} // namespace

void addArithRows(std::vector<Row> &rows, int side) {
    addBinaryRows(rows, side);
    addUnaryRows(rows, side);
    addSetAndExchange(rows, side);
    addFourChannelRows(rows, side);
}

} // namespace bench
