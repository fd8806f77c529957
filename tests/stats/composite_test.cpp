#include <cmath>
#include <gtest/gtest.h>
#include <memory>

#include "tests/support/failing_calls.h"

using namespace support;

namespace {

// The rules in integers, over colours (pre-multiplied) or over alphas.
std::int64_t integerRule(int rule, std::int64_t a, std::int64_t b, std::int64_t alphaA,
                         std::int64_t alphaB, std::int64_t most) {
    const std::int64_t aInB = a * alphaB / most;
    const std::int64_t bInA = b * alphaA / most;
    const std::int64_t results[] = {a + b - bInA,        aInB, a - aInB, aInB + b - bInA,
                                    a - aInB + b - bInA, a + b};
    return std::min(results[rule], most);
}

double realRule(int rule, double a, double b, double alphaA, double alphaB) {
    const double results[] = {(1 - alphaA) * b + a,
                              a * alphaB,
                              (1 - alphaB) * a,
                              (1 - alphaA) * b + alphaB * a,
                              (1 - alphaA) * b + (1 - alphaB) * a,
                              a + b};
    return results[rule];
}

struct Settings {
    int rule, premultiplied, divided;
};

struct Expected {
    double colour, alpha;
    double tolerance; // of a rounded result
};

Expected expectedOf(const Settings &s, double a, double b, double alphaA, double alphaB,
                    double most) {
    if (s.divided == 0) {
        const auto m = static_cast<std::int64_t>(most);
        const auto alphaIntA = static_cast<std::int64_t>(alphaA);
        const auto alphaIntB = static_cast<std::int64_t>(alphaB);
        auto colourA = static_cast<std::int64_t>(a);
        auto colourB = static_cast<std::int64_t>(b);
        if (s.premultiplied == 0) {
            colourA = colourA * alphaIntA / m;
            colourB = colourB * alphaIntB / m;
        }
        return {
            static_cast<double>(integerRule(s.rule, colourA, colourB, alphaIntA, alphaIntB, m)),
            static_cast<double>(integerRule(s.rule, alphaIntA, alphaIntB, alphaIntA, alphaIntB, m)),
            0};
    }
    const double fractionA = alphaA / most;
    const double fractionB = alphaB / most;
    const double colour = realRule(s.rule, s.premultiplied != 0 ? a : a * fractionA,
                                   s.premultiplied != 0 ? b : b * fractionB, fractionA, fractionB);
    const double alpha = realRule(s.rule, fractionA, fractionB, fractionA, fractionB);
    // Far below any alpha but 0, far above what rounding leaves of 0.
    const double divided = alpha > 0.5 / most / most ? colour / alpha : colour;
    return {std::min(divided, most), std::min(alpha * most, most), 0.502};
}

// One way to hand images and alphas to the operations.
struct Layout {
    const char *name;
    Shape a, b, d;
    bool constants; // zylAlphaCompositeC
    std::int32_t constantA, constantB;
    int alphaImages; // bits: A, B, destination
    Shape alphaImage = {.channels = 1, .alpha = 0};
};

Shape rgba(int order = ZYL_DATA_ORDER_PIXEL) {
    return {.channels = 4, .width = 45, .height = 5, .order = order, .alpha = 4};
}
Shape rgb(int order = ZYL_DATA_ORDER_PIXEL) {
    return {.channels = 3, .width = 45, .height = 5, .order = order};
}
constexpr int PIXEL = ZYL_DATA_ORDER_PIXEL;
constexpr int PLANE = ZYL_DATA_ORDER_PLANE;

const Layout LAYOUTS[] = {
    {"pixels", rgba(), rgba(), rgba(), false, 0, 0, 0},
    {"planes", rgba(PLANE), rgba(PLANE), rgba(PLANE), false, 0, 0, 0},
    {"mixed orders", rgba(), rgba(PLANE), rgb(), false, 0, 0, 0},
    {"gray and alpha",
     {.channels = 2, .width = 45, .height = 5, .alpha = 2},
     {.channels = 2, .width = 45, .height = 5, .alpha = 2},
     {.channels = 2, .width = 45, .height = 5, .alpha = 2},
     false,
     0,
     0,
     0},
    {"alpha images", rgb(), rgb(), rgb(), false, 0, 0, 3},
    {"alpha images of pictures", rgb(), rgb(PLANE), rgba(), false, 0, 0, 7, rgba()},
    {"complement", rgb(), rgb(), rgb(), false, 0, 0, 1},
    {"complement in planes", rgba(PLANE), rgb(PLANE), rgba(PLANE), false, 0, 0, 1},
    {"alpha of A its own, of B an image", rgba(), rgb(), rgba(), false, 0, 0, 2},
    {"resulting alpha elsewhere",
     rgba(),
     rgba(),
     rgba(),
     false,
     0,
     0,
     4,
     {.channels = 1, .alpha = 1}},
    {"constants", rgba(), rgba(), rgba(), true, 100, 31, 0},
    {"constants on colours", rgb(), rgb(), rgb(), true, 70000, 31, 0},
    {"a constant", rgba(), rgba(), rgba(), true, -1, 200, 0},
    {"a constant in planes", rgba(PLANE), rgb(PLANE), rgb(PLANE), true, -5, 0, 0},
    {"own alphas", rgba(), rgba(), rgba(), true, -1, -1, 0},
};

class Composite : public testing::TestWithParam<std::uint32_t> {
  protected:
    void run(const Settings &settings, const Layout &layout, unsigned seed, unsigned tiled);
    void expectPixel(const TestImage &d, const TestImage &before, int x, int y,
                     const Expected (&expected)[4], int coi, bool alphaHere);
};

void Composite::expectPixel(const TestImage &d, const TestImage &before, int x, int y,
                            const Expected (&expected)[4], int coi, bool alphaHere) {
    const Shape &shape = d.shape();
    for (int c = 1; c <= shape.channels; ++c) {
        const auto result = static_cast<double>(d.at(x, y, c));
        if (shape.alpha == c ? !alphaHere : coi != 0 && coi != c) {
            ASSERT_EQ(d.at(x, y, c), before.at(x, y, c)) << "kept, channel " << c;
        } else if (shape.alpha == c) {
            ASSERT_NEAR(result, expected[0].alpha, expected[0].tolerance) << "alpha";
        } else {
            ASSERT_NEAR(result, expected[c - 1].colour, expected[c - 1].tolerance) << c;
        }
    }
}

// `tiled`: a bit for each of A, B, destination, their alpha images.
void Composite::run(const Settings &settings, const Layout &layout, unsigned seed, unsigned tiled) {
    SCOPED_TRACE(std::string(layout.name) + ", rule " + std::to_string(settings.rule) +
                 ", pre-multiplied " + std::to_string(settings.premultiplied) + ", divided " +
                 std::to_string(settings.divided) + ", seed " + std::to_string(seed) + ", tiled " +
                 std::to_string(tiled));
    const std::uint32_t depth = GetParam();
    std::unique_ptr<TestImage> images[6];
    const Shape *shapes[] = {&layout.a, &layout.b, &layout.d};
    constexpr int TILE_WIDTHS[] = {16, 24, 8, 8, 16, 24};
    for (unsigned i = 0; i < 6; ++i) {
        Shape shape = i < 3 ? *shapes[i] : layout.alphaImage;
        shape.depth = depth;
        shape.width = 45;
        shape.height = 5;
        images[i] = std::make_unique<TestImage>(shape);
        images[i]->randomise(seed * 10 + i);
    }
    const TestImage before(*images[2]);
    const TestImage alphaBefore(*images[5]);
    const TestImage a(*images[0]), b(*images[1]);
    for (unsigned i = 0; i < 6; ++i) {
        if ((tiled >> i & 1) != 0) images[i]->tiles(TILE_WIDTHS[i], 8);
    }
    ZylImage *alphas[3];
    for (unsigned i = 0; i < 3; ++i) {
        alphas[i] = (layout.alphaImages >> i & 1) != 0 ? images[3 + i]->header() : nullptr;
    }
    TestImage &d = *images[2];
    if (layout.constants) {
        zylAlphaCompositeC(*images[0], *images[1], d, settings.rule, layout.constantA,
                           layout.constantB, settings.premultiplied, settings.divided, nullptr);
    } else {
        zylAlphaComposite(*images[0], *images[1], d, settings.rule, alphas[0], alphas[1], alphas[2],
                          settings.premultiplied, settings.divided, nullptr);
    }

    const auto most = static_cast<double>(highest(depth));
    const auto alphaChannel = [](const TestImage &image) {
        return std::max(image.shape().alpha, 1);
    };
    const auto alphaOf = [&](int source, int x, int y) -> double {
        const TestImage &own = source == 0 ? a : b;
        const std::int32_t constant = source == 0 ? layout.constantA : layout.constantB;
        if (layout.constants && constant >= 0) return std::min<double>(constant, most);
        const TestImage &image =
            alphas[source] != nullptr ? *images[static_cast<std::size_t>(3 + source)] : own;
        return static_cast<double>(image.at(x, y, alphaChannel(image)));
    };
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 45; ++x) {
            const double alphaA = alphaOf(0, x, y);
            const bool complement =
                !layout.constants && alphas[0] != nullptr && alphas[1] == nullptr;
            const double alphaB = complement ? most - alphaA : alphaOf(1, x, y);
            Expected expected[4];
            for (int c = 1; c <= 4; ++c) {
                if (c > a.shape().channels || c > b.shape().channels) continue;
                expected[c - 1] =
                    expectedOf(settings, static_cast<double>(a.at(x, y, c)),
                               static_cast<double>(b.at(x, y, c)), alphaA, alphaB, most);
            }
            SCOPED_TRACE("at " + std::to_string(x) + ", " + std::to_string(y));
            const bool alphaHere = !layout.constants && alphas[2] == nullptr;
            ASSERT_NO_FATAL_FAILURE(expectPixel(d, before, x, y, expected, 0, alphaHere));
            if (alphas[2] == nullptr) continue;
            const int target = alphaChannel(*images[5]);
            ASSERT_NEAR(static_cast<double>(images[5]->at(x, y, target)), expected[0].alpha,
                        expected[0].tolerance);
            if (target > 1) {
                ASSERT_EQ(images[5]->at(x, y, 1), alphaBefore.at(x, y, 1));
            }
        }
    }
    for (const auto &image : images) {
        EXPECT_EQ(image->tilesHeld(), 0);
        EXPECT_EQ(image->breaches(), "");
        EXPECT_TRUE(image->guardsIntact());
    }
}

TEST_P(Composite, EveryRuleAndLayoutEqualsTheReference) {
    const Reports reports;
    unsigned seed = 1;
    for (int rule = 0; rule < 6; ++rule) {
        for (const int premultiplied : {0, 1}) {
            for (const int divided : {0, 1}) {
                for (const Layout &layout : LAYOUTS) {
                    for (const unsigned tiled : {0u, 1u, 4u, 32u, 42u, 63u}) {
                        run({rule, premultiplied, divided}, layout, ++seed, tiled);
                        if (HasFailure()) return;
                    }
                }
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

INSTANTIATE_TEST_SUITE_P(Depths, Composite, testing::Values(ZYL_DEPTH_8U, ZYL_DEPTH_16U));

// Each channel of interest by itself gives that channel of the whole, and the
// alpha with it; the alpha channel as channel of interest gives nothing.
TEST(CompositeChannels, ChannelsOfInterest) {
    Reports reports;
    for (const int order : {PIXEL, PLANE}) {
        TestImage a(rgba(order)), b(rgba(order));
        a.randomise(1);
        b.randomise(2);
        TestImage whole(rgba(order));
        zylAlphaComposite(a, b, whole, ZYL_COMPOSITE_XOR, nullptr, nullptr, nullptr, 0, 0, nullptr);
        for (int coi = 1; coi <= 4; ++coi) {
            TestImage d(rgba(order));
            d.randomise(3);
            const TestImage before(d);
            for (TestImage *image : {&a, &b, &d}) image->region(coi, 0, 0, 45, 5);
            zylAlphaComposite(a, b, d, ZYL_COMPOSITE_XOR, nullptr, nullptr, nullptr, 0, 0, nullptr);
            for (int c = 1; c <= 4; ++c) {
                for (int x = 0; x < 45; ++x) {
                    const bool written = coi < 4 && (c == coi || c == 4);
                    ASSERT_EQ(d.at(x, 2, c), (written ? whole : before).at(x, 2, c))
                        << "coi " << coi << " channel " << c << " at " << x;
                }
            }
            a.noRegion();
            b.noRegion();
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

// The destination may be a source and an alpha image at once.
TEST(CompositeChannels, InPlace) {
    Reports reports;
    for (const int order : {PIXEL, PLANE}) {
        for (const bool tiled : {false, true}) {
            TestImage a(rgba(order)), b(rgba(order)), expected(rgba(order));
            a.randomise(1);
            b.randomise(2);
            const TestImage original(b);
            TestImage alpha(b);
            zylAlphaComposite(a, b, expected, ZYL_COMPOSITE_OVER, nullptr, nullptr, nullptr, 0, 0,
                              nullptr);
            if (tiled) b.tiles(16, 8);
            zylAlphaComposite(a, b, b, ZYL_COMPOSITE_OVER, nullptr, nullptr, nullptr, 0, 0,
                              nullptr);
            EXPECT_EQ(difference(expected, b), "");
            EXPECT_EQ(b.breaches(), "");

            // The first colour of an image without alpha is the alpha of all.
            TestImage mask(rgb(order)), result(rgb(order)), from(rgb(order));
            mask.randomise(4);
            from.randomise(5);
            TestImage same(mask);
            zylAlphaComposite(from, mask, result, ZYL_COMPOSITE_ATOP, mask, mask, nullptr, 0, 0,
                              nullptr);
            if (tiled) same.tiles(8, 8);
            zylAlphaComposite(from, same, same, ZYL_COMPOSITE_ATOP, same, same, nullptr, 0, 0,
                              nullptr);
            EXPECT_EQ(difference(result, same), "");
            EXPECT_EQ(same.breaches(), "");
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(CompositeChannels, WorkedCases) {
    const Reports reports;
    const Shape pixel{.channels = 2, .width = 1, .height = 1, .alpha = 2};
    TestImage a(pixel), b(pixel), d(pixel);
    const auto composite = [&](int rule, std::vector<std::int64_t> pixelA,
                               std::vector<std::int64_t> pixelB, int premultiplied, int divided) {
        a.assign(pixelA);
        b.assign(pixelB);
        zylAlphaComposite(a, b, d, rule, nullptr, nullptr, nullptr, premultiplied, divided,
                          nullptr);
        return std::vector<std::int64_t>{d.at(0, 0, 1), d.at(0, 0, 2)};
    };
    using Pixel = std::vector<std::int64_t>;
    EXPECT_EQ(composite(ZYL_COMPOSITE_OVER, {200, 128}, {100, 255}, 0, 0), (Pixel{150, 255}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_OVER, {200, 128}, {100, 255}, 0, 1), (Pixel{150, 255}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_OVER, {200, 255}, {99, 77}, 0, 0), (Pixel{200, 255}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_OVER, {200, 0}, {99, 77}, 0, 0), (Pixel{99 * 77 / 255, 77}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_PLUS, {200, 200}, {99, 77}, 1, 0), (Pixel{255, 255}));
    // Nothing is divided by an alpha of 0; ties go to the even number.
    EXPECT_EQ(composite(ZYL_COMPOSITE_IN, {200, 0}, {99, 0}, 1, 1), (Pixel{0, 0}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_PLUS, {200, 0}, {99, 0}, 1, 1), (Pixel{255, 0}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_PLUS, {2, 255}, {3, 255}, 1, 1), (Pixel{2, 255}));
    EXPECT_EQ(composite(ZYL_COMPOSITE_PLUS, {4, 255}, {3, 255}, 1, 1), (Pixel{4, 255}));
}

// Every argument of both operations, spoiled from the last check to the first, so
// that each text shows that it comes before those that were spoiled already.
TEST(CompositeReports, InOrder) {
    const Shape small{.channels = 4, .width = 10, .height = 10, .alpha = 4};
    for (const bool constants : {false, true}) {
        FailingCalls calls(constants ? "zylAlphaCompositeC" : "zylAlphaComposite", "zylalpha");
        const auto expect = [&](const std::string &text, const std::function<void()> &call) {
            calls.expect({text}, call);
        };
        int type = 0, premultiplied = 0, divided = 2, aA = -1, aB = -1;
        TestImage a(small), b(small), d(small);
        calls.watch(d);
        ZylImage *A = a, *B = b, *D = d, *alphaA = nullptr, *alphaB = nullptr, *alphaD = nullptr;
        const auto run = [&] {
            if (constants) {
                zylAlphaCompositeC(A, B, D, type, aA, aB, premultiplied, divided, nullptr);
            } else {
                zylAlphaComposite(A, B, D, type, alphaA, alphaB, alphaD, premultiplied, divided,
                                  nullptr);
            }
        };
        expect("divideMode != 0 && divideMode != 1", run);
        premultiplied = -1;
        expect("premulAlpha != 0 && premulAlpha != 1", run);
        for (const int wrong : {-1, 6}) {
            type = wrong;
            expect("compositeType != 0 && compositeType != 1 && compositeType != 2 && "
                   "compositeType != 3 && compositeType != 4 && compositeType != 5",
                   run);
        }
        const std::string colours =
            "->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))";
        Shape five = small;
        five.channels = five.alpha = 5;
        TestImage wideB(five), wideA(five);
        B = wideB;
        expect("(srcImageB->nChannels - (srcImageB" + colours, run);
        A = wideA;
        expect("(srcImageA->nChannels - (srcImageA" + colours, run);
        ZylImage *inOrder[] = {D, B, A};
        const char *names[] = {"dstImage", "srcImageB", "srcImageA"};
        for (int i = 0; i < 3; ++i) {
            const std::string n = names[i];
            inOrder[i]->alphaChannel = 1;
            expect(n + "->alphaChannel > 0 && " + n + "->alphaChannel != " + n + "->nChannels",
                   run);
        }
        wideB.region(1, 0, 0, 9, 9);
        expect("srcImageB->roi->coi > 0 && dstImage->roi == 0", run);
        wideA.region(1, 0, 0, 9, 9);
        expect("srcImageA->roi->coi > 0 && dstImage->roi == 0", run);
        d.region(1, 0, 0, 9, 9);
        wideB.region(0, 0, 0, 9, 9);
        expect("dstImage->roi->coi > 0 && srcImageB->roi->coi == 0", run);
        wideB.noRegion();
        expect("dstImage->roi->coi > 0 && srcImageB->roi == 0", run);
        wideA.region(0, 0, 0, 9, 9);
        expect("dstImage->roi->coi > 0 && srcImageA->roi->coi == 0", run);
        wideA.noRegion();
        expect("dstImage->roi->coi > 0 && srcImageA->roi == 0", run);

        TestImage deep({.depth = ZYL_DEPTH_16U, .width = 10, .height = 10});
        if (!constants) {
            TestImage mask({.width = 10, .height = 10});
            alphaD = mask;
            expect("alphaImageDst->alphaChannel < 1", run);
            alphaD = deep;
            expect("alphaImageDst->depth != dstImage->depth", run);
            deep.region(0, 0, 10, 1, 1);
            expect("alphaImageDst->roi->yOffset >= alphaImageDst->height", run);
            deep.noRegion();
            alphaB = deep;
            expect("alphaImageB->depth != dstImage->depth", run);
            mask.header()->align = 3;
            alphaB = mask;
            expect("zylBadImageHeader(alphaImageB) != 0", run);
            alphaA = deep;
            expect("alphaImageA->depth != dstImage->depth", run);
            alphaA = mask;
            expect("zylBadImageHeader(alphaImageA) != 0", run);
            alphaA = alphaB = nullptr;
        }
        B->alphaChannel = 0;
        expect("srcImageB->alphaChannel < 1", run);
        A->alphaChannel = 0;
        expect("srcImageA->alphaChannel < 1", run);
        B = deep;
        expect("srcImageB->depth != dstImage->depth", run);
        A = deep;
        expect("srcImageA->depth != dstImage->depth", run);
        TestImage deepest({.depth = ZYL_DEPTH_32S, .width = 10, .height = 10});
        D = deepest;
        expect("dstImage->depth != 8 && dstImage->depth != 16", run);
        ZylImage **checked[] = {&B, &A, &D};
        const char *checkedNames[] = {"srcImageB", "srcImageA", "dstImage"};
        TestImage outside({.width = 10, .height = 10});
        outside.region(0, 10, 0, 1, 1);
        TestImage broken({.width = 10, .height = 10});
        broken.header()->width = 0;
        for (int i = 0; i < 3; ++i) {
            const std::string n = checkedNames[i];
            *checked[i] = outside;
            expect(n + "->roi->xOffset >= " + n + "->width", run);
            *checked[i] = broken;
            expect("zylBadImageHeader(" + n + ") != 0", run);
            *checked[i] = nullptr;
            expect(n + "==0", run);
        }
    }
}

// The alphas, whose tiles are smaller, have been put together by then; they do not go back.
TEST(AlphaComposite, WritesNothingBackWhenASourceFails) {
    const Reports reports;
    const Shape colours{.channels = 3, .width = 32, .height = 16};
    const Shape alphas{.width = 32, .height = 16, .alpha = 1};
    for (int n = 1; n <= 2; ++n) {
        TestImage a(colours), b(colours), d(colours), alphaA(alphas), alphaB(alphas),
            alphaD(alphas);
        for (TestImage *image : {&a, &b, &d, &alphaA, &alphaB, &alphaD}) image->randomise(3);
        d.tiles(16, 16);
        alphaD.tiles(8, 8);
        a.tiles(16, 16).failTileRequest(n);
        zylAlphaComposite(a, b, d, ZYL_COMPOSITE_OVER, alphaA, alphaB, alphaD, 1, 0, nullptr);
        EXPECT_NE(a.failedRequest(), 0);
        EXPECT_FALSE(d.askedAfterFailure() || alphaD.askedAfterFailure()) << n;
        EXPECT_EQ(d.tilesHeld() + alphaD.tilesHeld() + a.tilesHeld(), 0);
    }
    EXPECT_EQ(reports.texts(), std::vector<std::string>(2, "ERROR in Tiling callBack"));
}

} // namespace
