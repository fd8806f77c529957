// The Taylor series in pairs of doubles, after an exact reduction to an eighth of
// the circle. Sums and products of pairs follow T. J. Dekker, "A floating-point
// technique for extending the available precision" (1971); they need doubles that
// are rounded at every step, and no contraction.
#include "core/trigonometry.h"

#include <cfloat>
#include <cstddef>

namespace zylqx {

namespace {

static_assert(FLT_EVAL_METHOD == 0 || FLT_EVAL_METHOD == 1,
              "Doubles are not rounded at every step; on 32-bit x86 use -msse2 -mfpmath=sse.");

// An unevaluated sum: high is the sum rounded to a double.
struct Pair {
    double high, low;
};

// For |a| >= |b|.
Pair ordered(double a, double b) {
    const double sum = a + b;
    return {sum, b - (sum - a)};
}

Pair sum(double a, double b) {
    const double s = a + b;
    const double part = s - a;
    return {s, (a - (s - part)) + (b - part)};
}

// The upper 26 bits.
double upper(double a) {
    const double scaled = a * 134217729.0; // 2^27 + 1
    return scaled - (scaled - a);
}

Pair product(double a, double b) {
    const double p = a * b;
    const double aHigh = upper(a), bHigh = upper(b);
    const double aLow = a - aHigh, bLow = b - bHigh;
    return {p, ((aHigh * bHigh - p) + aHigh * bLow + aLow * bHigh) + aLow * bLow};
}

// For |a| >= |b|.
Pair operator+(Pair a, Pair b) {
    const Pair s = ordered(a.high, b.high);
    return ordered(s.high, s.low + (a.low + b.low));
}

Pair operator*(Pair a, Pair b) {
    const Pair p = product(a.high, b.high);
    return ordered(p.high, p.low + (a.high * b.low + a.low * b.high));
}

// 1 / n! with alternating signs, for n = 1, 3, 5 ... and n = 0, 2, 4 ...
constexpr std::size_t PAIRS = 9; // the terms that count below the 53rd bit
constexpr Pair SINE[PAIRS] = {
    {1, 0},
    {-0x1.5555555555555p-3, -0x1.5555555555555p-57},
    {0x1.1111111111111p-7, 0x1.1111111111111p-63},
    {-0x1.a01a01a01a01ap-13, -0x1.a01a01a01a01ap-73},
    {0x1.71de3a556c734p-19, -0x1.c154f8ddc6c00p-73},
    {-0x1.ae64567f544e4p-26, 0x1.c062e06d1f209p-80},
    {0x1.6124613a86d09p-33, 0x1.f28e0cc748ebep-87},
    {-0x1.ae7f3e733b81fp-41, -0x1.1d8656b0ee8cbp-97},
    {0x1.952c77030ad4ap-49, 0x1.ac981465ddc6cp-103},
};
constexpr Pair COSINE[PAIRS] = {
    {1, 0},
    {-0x1p-1, 0},
    {0x1.5555555555555p-5, 0x1.5555555555555p-59},
    {-0x1.6c16c16c16c17p-10, 0x1.f49f49f49f49fp-65},
    {0x1.a01a01a01a01ap-16, 0x1.a01a01a01a01ap-76},
    {-0x1.27e4fb7789f5cp-22, -0x1.cbbc05b4fa99ap-76},
    {0x1.1eed8eff8d898p-29, -0x1.2aec959e14c06p-83},
    {-0x1.93974a8c07c9dp-37, -0x1.05d6f8a2efd1fp-92},
    {0x1.ae7f3e733b81fp-45, 0x1.1d8656b0ee8cbp-101},
};
// The terms after those; what follows is below 2^-106 of the sum.
constexpr std::size_t REST = 5;
constexpr double SINE_REST[REST] = {-0x1.2f49b46814157p-57, 0x1.71b8ef6dcf572p-66,
                                    -0x1.761b41316381ap-75, 0x1.3f3ccdd165fa9p-84,
                                    -0x1.d1ab1c2dccea3p-94};
constexpr double COSINE_REST[REST] = {-0x1.6827863b97d97p-53, 0x1.e542ba4020225p-62,
                                      -0x1.0ce396db7f853p-70, 0x1.f2cf01972f578p-80,
                                      -0x1.88e85fc6a4e5ap-89};

// The series in the square of the angle.
Pair series(const Pair (&terms)[PAIRS], const double (&rest)[REST], Pair square) {
    double tail = rest[REST - 1];
    for (std::size_t i = REST - 1; i-- > 0;) tail = tail * square.high + rest[i];
    Pair value = terms[PAIRS - 1] + product(tail, square.high);
    for (std::size_t i = PAIRS - 1; i-- > 0;) value = terms[i] + value * square;
    return value;
}

// angle - quarters * pi / 2, for up to 5 quarters. Of pi / 2 two parts of 50 bits,
// whose multiples are exact, and the rest.
Pair reduced(double angle, int quarters) {
    const double nearest = angle - quarters * 0x1.921fb54442d18p+0; // exact: both are close
    const Pair r = sum(nearest, -(quarters * 0x1.1a62633145c00p-54));
    return ordered(r.high, r.low - quarters * 0x1.b839a252049c1p-104);
}

} // namespace

SineCosine sineCosine(double angle) {
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): no angle is negative
    const int quarters = static_cast<int>(angle * 0.63661977236758134 + 0.5); // 2 / pi
    const Pair r = reduced(angle, quarters);
    const Pair square = r * r;
    const double s = (r * series(SINE, SINE_REST, square)).high;
    const double c = series(COSINE, COSINE_REST, square).high;
    switch (quarters % 4) {
    case 0:
        return {s, c};
    case 1:
        return {c, -s};
    case 2:
        return {-s, -c};
    default:
        return {-c, s};
    }
}

} // namespace zylqx
