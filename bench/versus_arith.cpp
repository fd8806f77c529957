// Arithmetic, logic, copy, set and exchange.

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
    {"or-s", [](ZylImage *s, ZylImage *d) { zylOrS(s, d, 0x55, nullptr); }},
    {"xor-s", [](ZylImage *s, ZylImage *d) { zylXorS(s, d, 0x55, nullptr); }},
    {"not", [](ZylImage *s, ZylImage *d) { zylNot(s, d, nullptr); }},
    {"copy", [](ZylImage *s, ZylImage *d) { zylCopy(s, d, nullptr); }},
};

constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                    ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};

// A row of an operation that reads `sources` pictures and writes `targets`.
void addRow(std::vector<Row> &rows, const std::string &name, std::uint32_t depth, int channels,
            int side, int sources, int targets, std::function<Contest(Layout)> prepare) {
    const std::ptrdiff_t bytes = pictureBytes(depth, channels, side);
    rows.push_back({name, depth, side, sources * bytes, targets * bytes, std::move(prepare)});
}

void addBinaryRows(std::vector<Row> &rows, int side) {
    for (const NamedBinary &operation : BINARY) {
        for (const std::uint32_t depth : DEPTHS) {
            addRow(rows, operation.name, depth, 1, side, 2, 1, [=](Layout layout) {
                const PicturePointer a = picture(depth, 1, side, layout);
                const PicturePointer b = picture(depth, 1, side, layout);
                const PicturePointer d = picture(depth, 1, side, layout);
                return Contest{[=] { operation.call(*a, *b, *d); }, {a, b, d}};
            });
        }
    }
}

void addUnaryRows(std::vector<Row> &rows, int side) {
    for (const NamedUnary &operation : UNARY) {
        for (const std::uint32_t depth : DEPTHS) {
            addRow(rows, operation.name, depth, 1, side, 1, 1, [=](Layout layout) {
                const PicturePointer s = picture(depth, 1, side, layout);
                const PicturePointer d = picture(depth, 1, side, layout);
                return Contest{[=] { operation.call(*s, *d); }, {s, d}};
            });
        }
    }
}

void addSetAndExchange(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        addRow(rows, "set", depth, 1, side, 0, 1, [=](Layout layout) {
            const PicturePointer d = picture(depth, 1, side, layout);
            return Contest{[=] { zylSet(*d, 100, nullptr); }};
        });
        addRow(rows, "exchange", depth, 1, side, 2, 2, [=](Layout layout) {
            const PicturePointer a = picture(depth, 1, side, layout);
            const PicturePointer b = picture(depth, 1, side, layout);
            return Contest{[=] { zylExchange(*a, *b, nullptr); }};
        });
    }
}

// 8u pictures of four channels: what compositing libraries are made for.
void addFourChannelRows(std::vector<Row> &rows, int side) {
    constexpr std::uint32_t depth = ZYL_DEPTH_8U;
    addRow(rows, "add 4ch", depth, 4, side, 2, 1, [=](Layout layout) {
        const PicturePointer a = picture(depth, 4, side, layout);
        const PicturePointer b = picture(depth, 4, side, layout);
        const PicturePointer d = picture(depth, 4, side, layout);
        return Contest{[=] { zylAdd(*a, *b, *d, nullptr); }, {a, b, d}};
    });
    addRow(rows, "add 4ch in place", depth, 4, side, 2, 1, [=](Layout layout) {
        const PicturePointer a = picture(depth, 4, side, layout);
        const PicturePointer d = picture(depth, 4, side, layout);
        return Contest{[=] { zylAdd(*d, *a, *d, nullptr); }, {a, d, d}};
    });
    addRow(rows, "subtract 4ch", depth, 4, side, 2, 1, [=](Layout layout) {
        const PicturePointer a = picture(depth, 4, side, layout);
        const PicturePointer b = picture(depth, 4, side, layout);
        const PicturePointer d = picture(depth, 4, side, layout);
        return Contest{[=] { zylSubtract(*a, *b, *d, 0, nullptr); }, {a, b, d}};
    });
    addRow(rows, "copy 4ch", depth, 4, side, 1, 1, [=](Layout layout) {
        const PicturePointer s = picture(depth, 4, side, layout);
        const PicturePointer d = picture(depth, 4, side, layout);
        return Contest{[=] { zylCopy(*s, *d, nullptr); }, {s, d}};
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
