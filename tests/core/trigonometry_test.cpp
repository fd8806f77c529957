#include "core/trigonometry.h"

#include <cfloat>
#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

namespace zylqx {
namespace {

// Rounded from 300 bits. Among them angles at which the last bit is hard to find
// and those where the reduction loses most.
TEST(Trigonometry, RoundsCorrectly) {
    struct Known {
        double angle, sine, cosine;
    };
    static constexpr Known KNOWN[] = {
        {0x0p+0, 0x0p+0, 0x1p+0},
        {0x1p-30, 0x1p-30, 0x1p+0},
        {0x1.921fb54442d18p-1, 0x1.6a09e667f3bccp-1, 0x1.6a09e667f3bcdp-1},
        {0x1.921fb54442d18p+0, 0x1p+0, 0x1.1a62633145c07p-54},
        {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53, -0x1p+0},
        {0x1.2d97c7f3321d2p+2, -0x1p+0, -0x1.a79394c9e8a0ap-53},
        {0x1.921fb54442d18p+2, -0x1.1a62633145c07p-52, 0x1p+0},
        {0x1.cp+2, 0x1.50608c26d0a08p-1, 0x1.81ff79ed92017p-1},
        {0x1.6c80c094f8c17p+1, 0x1.28a72207ebcbep-2, -0x1.ea0b4d773388dp-1},
        {0x1.d60afbb08ffdcp-2, 0x1.c5b58dcbc17dcp-2, 0x1.caffff66d67cdp-1},
        {0x1.031fc81b138fep+2, -0x1.9359f89308cadp-1, -0x1.3b5c0796b06e6p-1},
        {0x1.deb8088e372a3p-4, 0x1.dda13849d049p-4, 0x1.fc81d0fb9a3e4p-1},
        {0x1.9c3a3bc02fea1p-2, 0x1.912ee1afa1414p-2, 0x1.d711f10254eb9p-1},
    };
    for (const Known &known : KNOWN) {
        const SineCosine found = sineCosine(known.angle);
        EXPECT_EQ(found.sine, known.sine) << known.angle;
        EXPECT_EQ(found.cosine, known.cosine) << known.angle;
    }
}

// Where the mathematical library has numbers of more bits, they decide, unless
// they lie as good as between two doubles.
TEST(Trigonometry, AgreesWithLongerNumbers) {
    if (LDBL_MANT_DIG < 64) GTEST_SKIP();
#if defined(_WIN32)
    GTEST_SKIP() << "sinl() is the processor's there, which loses bits near multiples of pi";
#endif
    const auto check = [](double found, long double exact, double angle) {
        const long double ulp = std::ldexp(1.0L, std::ilogb(exact) - 52);
        EXPECT_LE(std::fabs(found - exact), 0.502L * ulp) << angle;
    };
    for (int i = 1; i < 36000; ++i) {
        const double angle = i * 0.01 * std::numbers::pi / 180;
        const SineCosine found = sineCosine(angle);
        check(found.sine, std::sin(static_cast<long double>(angle)), angle);
        check(found.cosine, std::cos(static_cast<long double>(angle)), angle);
    }
}

} // namespace
} // namespace zylqx
