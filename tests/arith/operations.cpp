#include "tests/arith/operations.h"

#include <algorithm>

using namespace support;

namespace {

using Expected = std::function<std::int64_t(std::uint32_t, std::int64_t, std::int64_t)>;

std::int64_t saturate(std::uint32_t depth, std::int64_t value) {
    return std::clamp(value, lowest(depth), highest(depth));
}

int bits(std::uint32_t depth) {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

bool isSigned(std::uint32_t depth) {
    return (depth & ZYL_DEPTH_SIGN) != 0;
}

// The low bits of a number as a sample.
std::int64_t lowBits(std::uint32_t depth, std::uint64_t value) {
    const int unused = 64 - bits(depth);
    if (isSigned(depth)) return static_cast<std::int64_t>(value << unused) >> unused;
    return static_cast<std::int64_t>(value << unused >> unused);
}

Operation binary(const std::string &name, const std::string &reportedName,
                 std::function<void(ZylImage *, ZylImage *, ZylImage *, const std::int32_t *)> f) {
    Operation operation{name, reportedName, 2,
                        [f](ZylImage *const *images, const std::int32_t *tile) {
                            f(images[0], images[1], images[2], tile);
                        }};
    operation.shapes = usualShapes({std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)});
    return operation;
}

Operation unary(const std::string &name, const std::string &reportedName,
                std::function<void(ZylImage *, ZylImage *, const std::int32_t *)> f) {
    Operation operation{
        name, reportedName, 1,
        [f](ZylImage *const *images, const std::int32_t *tile) { f(images[0], images[1], tile); }};
    operation.shapes = usualShapes({std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)});
    return operation;
}

// A value in a test name.
std::string label(std::int64_t value) {
    return value < 0 ? "minus_" + std::to_string(-value) : std::to_string(value);
}

void addBinary(std::vector<ArithCase> &cases) {
    cases.push_back(
        {binary("Add", "zylAdd", zylAdd), [](std::uint32_t depth, std::int64_t a, std::int64_t b) {
             return depth == ZYL_DEPTH_1U ? a | b : saturate(depth, a + b);
         }});
    for (const int reverse : {0, 5}) {
        cases.push_back(
            {binary(reverse != 0 ? "SubtractReverse" : "Subtract", "zylSubtract",
                    [reverse](ZylImage *a, ZylImage *b, ZylImage *d, const std::int32_t *tile) {
                        zylSubtract(a, b, d, reverse, tile);
                    }),
             [reverse](std::uint32_t depth, std::int64_t a, std::int64_t b) {
                 return saturate(depth, reverse != 0 ? b - a : a - b);
             }});
    }
    cases.push_back({binary("Multiply", "zylMultiply", zylMultiply),
                     [](std::uint32_t depth, std::int64_t a, std::int64_t b) {
                         return saturate(depth, a * b);
                     }});
    cases.push_back({binary("And", "zylAnd", zylAnd),
                     [](std::uint32_t, std::int64_t a, std::int64_t b) { return a & b; }});
    cases.push_back({binary("Or", "zylOr", zylOr),
                     [](std::uint32_t, std::int64_t a, std::int64_t b) { return a | b; }});
    cases.push_back({binary("Xor", "zylXor", zylXor),
                     [](std::uint32_t, std::int64_t a, std::int64_t b) { return a ^ b; }});
}

void addConstants(std::vector<ArithCase> &cases) {
    for (const std::int32_t v : {0, 1, -20, 100, 255, -256, 70000, -70000, INT32_MAX, INT32_MIN}) {
        cases.push_back({unary("AddS_" + label(v), "zylAddS",
                               [v](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                                   zylAddS(s, d, v, tile);
                               }),
                         [v](std::uint32_t depth, std::int64_t s, std::int64_t) {
                             if (depth == ZYL_DEPTH_1U) return s | (v & 1);
                             return saturate(depth, s + v);
                         }});
        for (const int reverse : {0, 1}) {
            cases.push_back(
                {unary((reverse != 0 ? "SubtractSReverse_" : "SubtractS_") + label(v),
                       "zylSubtractS",
                       [v, reverse](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                           zylSubtractS(s, d, v, reverse, tile);
                       }),
                 [v, reverse](std::uint32_t depth, std::int64_t s, std::int64_t) {
                     const std::int64_t c = depth == ZYL_DEPTH_1U ? v & 1 : v;
                     return saturate(depth, reverse != 0 ? c - s : s - c);
                 }});
        }
    }
    for (const std::uint32_t v : {0u, 1u, 2u, 127u, 128u, 255u, 256u, 32768u, 65535u, 65537u,
                                  0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        cases.push_back({unary("MultiplyS_" + label(v), "zylMultiplyS",
                               [v](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                                   zylMultiplyS(s, d, v, tile);
                               }),
                         [v](std::uint32_t depth, std::int64_t s, std::int64_t) -> std::int64_t {
                             if (depth == ZYL_DEPTH_1U) return s & v;
                             if (isSigned(depth)) return saturate(depth, s * v);
                             return saturate(depth, static_cast<std::uint32_t>(s) * v);
                         }});
    }
}

// Some depths are copied, and copying takes rows to be as far apart as they usually are.
void copiesSome(ArithCase &c) {
    c.operation.looseRows = false;
}

void addShifts(std::vector<ArithCase> &cases) {
    for (const std::uint32_t n : {0u, 1u, 5u, 7u, 8u, 15u, 16u, 25u, 31u, 32u, 33u, 0xFFFFFFFFu}) {
        cases.push_back({unary("LShiftS_" + label(n), "zylLShiftS",
                               [n](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                                   zylLShiftS(s, d, n, tile);
                               }),
                         [n](std::uint32_t depth, std::int64_t s, std::int64_t) -> std::int64_t {
                             if (n >= static_cast<std::uint32_t>(bits(depth))) return 0;
                             return lowBits(depth, static_cast<std::uint64_t>(s) << n);
                         }});
        if (n == 0) copiesSome(cases.back());
        cases.push_back({unary("RShiftS_" + label(n), "zylRShiftS",
                               [n](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                                   zylRShiftS(s, d, n, tile);
                               }),
                         [n](std::uint32_t depth, std::int64_t s, std::int64_t) -> std::int64_t {
                             if (depth == ZYL_DEPTH_1U) return n == 0 ? s : 0;
                             if (depth == ZYL_DEPTH_32S) return s >> n % 32;
                             return lowBits(depth, static_cast<std::uint32_t>(s) >> n % 32);
                         }});
    }
}

void addRest(std::vector<ArithCase> &cases) {
    cases.push_back(
        {unary("Square", "zylSquare", zylSquare),
         [](std::uint32_t depth, std::int64_t s, std::int64_t) { return saturate(depth, s * s); }});
    cases.push_back(
        {unary("Abs", "zylAbs", zylAbs), [](std::uint32_t depth, std::int64_t s, std::int64_t) {
             return s < 0 ? lowBits(depth, static_cast<std::uint64_t>(-s)) : s;
         }});
    copiesSome(cases.back());
    Operation inverted = unary("Not", "zylXorS", zylNot);
    inverted.function = "zylNot";
    inverted.mixesChannels = true;
    cases.push_back({inverted, [](std::uint32_t depth, std::int64_t s, std::int64_t) {
                         return lowBits(depth, ~static_cast<std::uint64_t>(s));
                     }});
    for (const std::uint32_t v : {0u, 3u, 0x0Fu, 0x1234u, 0x00FF0000u, 0xFFFFFFFFu}) {
        const struct {
            const char *name, *reportedName;
            void (*f)(ZylImage *, ZylImage *, std::uint32_t, const std::int32_t *);
            std::uint64_t (*of)(std::uint64_t, std::uint64_t);
        } operations[] = {
            {"AndS_", "zylAndS", zylAndS, [](std::uint64_t a, std::uint64_t b) { return a & b; }},
            {"OrS_", "zylOrS", zylOrS, [](std::uint64_t a, std::uint64_t b) { return a | b; }},
            {"XorS_", "zylXorS", zylXorS, [](std::uint64_t a, std::uint64_t b) { return a ^ b; }},
        };
        for (const auto &o : operations) {
            cases.push_back({unary(o.name + label(v), o.reportedName,
                                   [v, f = o.f](ZylImage *s, ZylImage *d,
                                                const std::int32_t *tile) { f(s, d, v, tile); }),
                             [v, of = o.of](std::uint32_t depth, std::int64_t s, std::int64_t) {
                                 return lowBits(depth, of(static_cast<std::uint64_t>(s), v));
                             }});
        }
    }
}

} // namespace

std::vector<ArithCase> arithCases() {
    std::vector<ArithCase> cases;
    addBinary(cases);
    addConstants(cases);
    addShifts(cases);
    addRest(cases);
    return cases;
}
