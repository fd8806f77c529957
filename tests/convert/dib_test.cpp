#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>

#include "tests/convert/bitmaps.h"
#include "tests/support/failing_calls.h"

using namespace support;

namespace {

struct Deallocate {
    void operator()(ZylImage *image) const {
        zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    }
};
using Owned = std::unique_ptr<ZylImage, Deallocate>;

void fillNoise(BitmapBlock &bitmap, unsigned seed) {
    std::mt19937 random(seed);
    for (std::uint8_t *p = bitmap.pixels(); p < bitmap.bytes().data() + bitmap.bytes().size();
         ++p) {
        *p = static_cast<std::uint8_t>(random());
    }
    const bool table = bitmap.header()->biBitCount <= 8;
    for (std::uint8_t *p = bitmap.bytes().data() + 40; table && p < bitmap.pixels(); ++p) {
        *p = static_cast<std::uint8_t>(random());
    }
}

int scaled(std::uint32_t value, std::uint32_t mask) {
    int shift = 0;
    while ((mask >> shift & 1) == 0) ++shift;
    int width = 0;
    while (shift + width < 32 && (mask >> (shift + width) & 1) != 0) ++width;
    const std::uint64_t v = (value & mask) >> shift;
    return static_cast<int>(width < 8 ? v << (8 - width) : v >> (width - 8));
}

// The colour of a pixel as readers are to see it.
Bgra colourAt(BitmapBlock &bitmap, int x, int y, const std::vector<std::uint32_t> &masks) {
    const std::uint32_t v = bitmap.value(x, y);
    const int bits = bitmap.header()->biBitCount;
    if (bits <= 8) {
        const int last = static_cast<int>(bitmap.header()->biClrUsed) - 1;
        return bitmap.entry(last >= 0 ? std::min(static_cast<int>(v), last) : static_cast<int>(v));
    }
    if (bits == 24) {
        return {static_cast<int>(v & 255), static_cast<int>(v >> 8 & 255),
                static_cast<int>(v >> 16), 0};
    }
    const std::uint32_t alpha = masks.size() > 3 ? masks[3] : 0;
    return {scaled(v, masks[2]), scaled(v, masks[1]), scaled(v, masks[0]),
            alpha != 0 ? scaled(v, alpha) : 0};
}

struct Format {
    int bits;
    std::uint32_t entries;
    std::vector<std::uint32_t> masks; // red, green, blue, alpha as it is to be seen
    bool fields;
};

const Format FORMATS[] = {
    {1, 0, {}, false},
    {1, 1, {}, false}, // index 1 is past the table
    {4, 0, {}, false},
    {4, 5, {}, false},
    {8, 0, {}, false},
    {8, 100, {}, false},
    {8, 300, {}, false}, // more entries than indices
    {1, 300, {}, false},
    {16, 0, {0x7C00, 0x03E0, 0x001F}, false},
    {16, 0, {0xF800, 0x07E0, 0x001F}, true},
    {16, 0, {0x000F, 0x0FF0, 0x8000}, true},
    {24, 77, {}, false},
    {32, 0, {0xFF0000, 0xFF00, 0xFF, 0xFF000000}, false},
    {32, 0, {0xFF, 0xFF00, 0xFF0000, 0xFF000000}, true},
    {32, 0, {0x3FF, 0xFFC00, 0x3FF00000, 0xC0000000}, true},
    {32, 0, {0xFF000000, 0xFF0000, 0xFF00, 0}, true}, // no bit is left for alpha
};

BitmapBlock makeBitmap(const Format &format, int width, int height, unsigned seed) {
    std::vector<std::uint32_t> masks;
    if (format.fields) masks.assign(format.masks.begin(), format.masks.begin() + 3);
    BitmapBlock bitmap(width, height, format.bits, format.bits == 24 ? 0 : format.entries, masks);
    fillNoise(bitmap, seed);
    bitmap.header()->biClrUsed = format.entries;
    return bitmap;
}

// What an image holds for a colour.
std::vector<std::int64_t> samplesOf(const Shape &shape, Bgra colour) {
    const std::int64_t unit = shape.depth == ZYL_DEPTH_16U ? 256 : 1;
    if (shape.sequence[0] == 'G') {
        colour.r = (28 * colour.b + 151 * colour.g + 77 * colour.r) >> 8;
    } else if (shape.sequence[0] == 'R') {
        std::swap(colour.b, colour.r);
    }
    if (shape.depth == ZYL_DEPTH_1U) return {colour.r > 127};
    if (shape.channels == 1) return {colour.r * unit};
    std::vector<std::int64_t> samples = {colour.b * unit, colour.g * unit, colour.r * unit};
    if (shape.channels == 4) samples.push_back(colour.a * unit);
    return samples;
}

std::vector<Shape> imageShapes() {
    std::vector<Shape> shapes;
    for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
        for (const int origin : {ZYL_ORIGIN_TL, ZYL_ORIGIN_BL}) {
            for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
                Shape shape{.depth = depth, .order = order, .origin = origin};
                shape.sequence = "G\0\0";
                shapes.push_back(shape);
                shape.channels = 3;
                shape.sequence = "RGB";
                shapes.push_back(shape);
                shape.channels = 4;
                shape.alpha = 4;
                shape.sequence = "BGRA";
                shapes.push_back(shape);
            }
            shapes.push_back(
                {.depth = ZYL_DEPTH_1U, .order = order, .origin = origin, .sequence = "GRAY"});
        }
    }
    return shapes;
}

// Every bit count, bottom up and top down, into every kind of image, which is
// larger than the bitmap.
TEST(ConvertFromDib, EqualsTheReference) {
    Reports reports;
    unsigned seed = 0;
    for (const Format &format : FORMATS) {
        for (const int height : {7, -7}) {
            for (Shape shape : imageShapes()) {
                BitmapBlock bitmap = makeBitmap(format, 525, height, ++seed);
                shape.width = 531;
                shape.height = 9;
                TestImage image(shape);
                image.randomise(seed);
                const TestImage before(image);
                zylConvertFromDIB(bitmap, image);
                SCOPED_TRACE(std::to_string(format.bits) + " bits, " + describe(shape));
                for (int y = 0; y < 9; ++y) {
                    const int row = shape.origin == ZYL_ORIGIN_BL ? 8 - y : y;
                    for (int x = 0; x < 531; ++x) {
                        const bool inside = x < 525 && y < 7;
                        std::vector<std::int64_t> expected;
                        if (inside) {
                            expected = samplesOf(shape, colourAt(bitmap, x, y, format.masks));
                        }
                        for (int c = 1; c <= shape.channels; ++c) {
                            ASSERT_EQ(image.at(x, row, c),
                                      inside ? expected[static_cast<std::size_t>(c) - 1]
                                             : before.at(x, row, c))
                                << "(" << x << ", " << y << ") channel " << c;
                        }
                    }
                }
                ASSERT_TRUE(image.guardsIntact());
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

// ---- writing ----------------------------------------------------------------------

Bgra colourOf(const TestImage &image, int x, int y) {
    const Shape &shape = image.shape();
    const int row = shape.origin == ZYL_ORIGIN_BL ? shape.height - 1 - y : y;
    const auto sample = [&](int channel) {
        const auto v = static_cast<int>(image.at(x, row, channel));
        return shape.depth == ZYL_DEPTH_1U ? 255 * v : shape.depth == ZYL_DEPTH_16U ? v >> 8 : v;
    };
    if (shape.channels == 1) return {sample(1), sample(1), sample(1), 0};
    Bgra colour{sample(1), sample(2), sample(3), shape.channels == 4 ? sample(4) : 0};
    if (shape.sequence[0] == 'R') std::swap(colour.b, colour.r);
    return colour;
}

std::uint32_t nearestEntry(BitmapBlock &bitmap, const Bgra &c, int entries) {
    int best = 0;
    int least = INT32_MAX;
    for (int i = 0; i < entries; ++i) {
        const Bgra e = bitmap.entry(i);
        const int d =
            (c.b - e.b) * (c.b - e.b) + (c.g - e.g) * (c.g - e.g) + (c.r - e.r) * (c.r - e.r);
        if (d < least) {
            least = d;
            best = i;
        }
    }
    return static_cast<std::uint32_t>(best);
}

std::uint32_t field(int value, std::uint32_t mask, bool scale) {
    if (mask == 0) return 0;
    int shift = 0;
    while ((mask >> shift & 1) == 0) ++shift;
    int width = 0;
    while (shift + width < 32 && (mask >> (shift + width) & 1) != 0) ++width;
    auto v = static_cast<std::uint32_t>(value);
    if (scale) v = width < 8 ? v >> (8 - width) : v << (width - 8);
    return (v << shift) & mask;
}

std::uint32_t expectedValue(BitmapBlock &bitmap, const Format &format, const Bgra &c) {
    const int entries =
        format.entries != 0 ? static_cast<int>(format.entries) : 1 << (format.bits & 15);
    switch (format.bits) {
    case 1:
        return nearestEntry(bitmap, c, entries) > 0;
    case 4:
        return nearestEntry(bitmap, c, entries) & 15;
    case 8:
        return nearestEntry(bitmap, c, entries) & 255;
    case 16:
        return field(c.b, format.masks[2], true) | field(c.g, format.masks[1], true) |
               field(c.r, format.masks[0], true);
    case 24:
        return static_cast<std::uint32_t>(c.b | c.g << 8 | c.r << 16);
    default:
        return field(c.b, format.masks[2], false) | field(c.g, format.masks[1], false) |
               field(c.r, format.masks[0], false) | field(c.a, format.masks[3], false);
    }
}

// Of many pixels the nearest entry is looked up, of few it is searched for. Bits past the
// rows keep their values.
TEST(ConvertToDib, EqualsTheReference) {
    Reports reports;
    unsigned seed = 0;
    for (const Format &format : FORMATS) {
        for (Shape shape : imageShapes()) {
            const int height = ++seed % 2 == 0 ? 7 : 8; // 8 x 525 are many
            BitmapBlock bitmap = makeBitmap(format, 525, height, seed);
            const std::vector<std::uint8_t> before = bitmap.bytes();
            shape.width = 525;
            shape.height = height;
            TestImage image(shape);
            image.randomise(seed);
            zylConvertToDIB(image, bitmap, 1, 0);
            SCOPED_TRACE(std::to_string(format.bits) + " bits, " + describe(shape));
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < 525; ++x) {
                    const Bgra colour = colourOf(image, x, y);
                    ASSERT_EQ(bitmap.value(x, y), expectedValue(bitmap, format, colour))
                        << "(" << x << ", " << y << ")";
                }
            }
            const int used = (525 * format.bits + 7) / 8; // bytes of a row
            for (std::ptrdiff_t i = used; i < bitmap.row(1) - bitmap.row(0); ++i) {
                const auto at = static_cast<std::size_t>(bitmap.row(0) + i - bitmap.bytes().data());
                ASSERT_EQ(bitmap.bytes()[at], before[at]) << "padding was written";
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

// Many entries of equal distance, duplicates among them: the first one wins.
TEST(ConvertToDib, TheFirstOfEquallyNearEntriesWins) {
    Shape shape{.channels = 3, .width = 64, .height = 64, .sequence = "BGR"};
    TestImage image(shape);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            image.set(x, y, 1, (x % 8) * 36);
            image.set(x, y, 2, (x / 8) * 36);
            image.set(x, y, 3, y * 4);
        }
    }
    BitmapBlock bitmap(64, 64, 8);
    for (int i = 0; i < 256; ++i) {
        const int k = i * 7 % 125; // a grid of 5 x 5 x 5, each twice
        bitmap.entry(i, {k % 5 * 60, k / 5 % 5 * 60, k / 25 * 60, 9});
    }
    zylConvertToDIB(image, bitmap, 1, 0);
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x) {
            ASSERT_EQ(bitmap.value(x, y), nearestEntry(bitmap, colourOf(image, x, y), 256));
        }
    }
}

// Every value of each channel, halfway between two levels too.
TEST(ConvertToDib, TheFixedTableOf256ColoursIsSearchedByChannel) {
    TestImage image({.channels = 3, .width = 256, .height = 3, .sequence = "RGB"});
    for (int x = 0; x < 256; ++x) {
        for (int y = 0; y < 3; ++y) {
            for (int c = 1; c <= 3; ++c) image.set(x, y, c, (c - 1) == y ? x : 255 - x * 7 % 256);
        }
    }
    BitmapBlock bitmap(256, 3, 8);
    zylConvertToDIB(image, bitmap, 1, 1);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 256; ++x) {
            ASSERT_EQ(bitmap.value(x, y), nearestEntry(bitmap, colourOf(image, x, y), 256))
                << x << ", " << y;
        }
    }
}

// ---- palettes -----------------------------------------------------------------------

TEST(ConvertToDib, FillsTheFixedTables) {
    TestImage gray({.width = 1, .height = 1, .sequence = "GRAY"});
    TestImage colour({.channels = 3, .width = 1, .height = 1, .sequence = "RGB"});
    gray.fill(0);
    colour.fill(0);
    const auto table = [](ZylImage *image, int bits, std::uint32_t used) {
        BitmapBlock bitmap(1, 1, bits, used);
        for (int i = 0; i < (used != 0 ? static_cast<int>(used) : 1 << bits); ++i) {
            bitmap.entry(i, {1, 2, 3, 4});
        }
        zylConvertToDIB(image, bitmap, 1, 1);
        EXPECT_EQ(bitmap.header()->biClrUsed, used);
        return bitmap;
    };
    BitmapBlock two = table(colour, 1, 0);
    EXPECT_EQ(two.entry(0), (Bgra{0, 0, 0, 0}));
    EXPECT_EQ(two.entry(1), (Bgra{255, 255, 255, 0}));
    BitmapBlock ramp = table(gray, 4, 0);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(ramp.entry(i), (Bgra{17 * i, 17 * i, 17 * i, 0}));
    BitmapBlock sixteen = table(colour, 8, 16);
    EXPECT_EQ(sixteen.entry(3), (Bgra{0, 128, 128, 0}));
    EXPECT_EQ(sixteen.entry(8), (Bgra{192, 192, 192, 0}));
    EXPECT_EQ(sixteen.entry(12), (Bgra{255, 0, 0, 0}));
    BitmapBlock full = table(gray, 8, 0);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(full.entry(i), (Bgra{i, i, i, 0}));
    BitmapBlock cube = table(colour, 8, 0);
    EXPECT_EQ(cube.entry(0b101'110'10), (Bgra{128, 192, 160, 0}));
    EXPECT_EQ(cube.entry(255), (Bgra{255, 255, 255, 0}));
    BitmapBlock other = table(colour, 8, 100); // no fixed table has 100 entries
    EXPECT_EQ(other.entry(99), (Bgra{1, 2, 3, 4}));
}

TEST(MedianCut, TakesTheGraysOfAnImageWithFew) {
    TestImage image({.width = 10, .height = 2, .sequence = "GRAY"});
    std::vector<std::int64_t> samples;
    for (int i = 0; i < 20; ++i) samples.push_back((9 - i % 10) * 20 + 3);
    image.assign(samples);
    BitmapBlock bitmap(10, 2, 4);
    zylConvertToDIB(image, bitmap, 1, 2);
    EXPECT_EQ(bitmap.header()->biClrUsed, 10u);
    for (int i = 0; i < 10; ++i) {
        const int v = 20 * i + 3;
        EXPECT_EQ(bitmap.entry(i), (Bgra{v, v, v, 0}));
    }
    // The rows stand where the header now says.
    TestImage back({.width = 10, .height = 2, .sequence = "GRAY"});
    zylConvertFromDIB(bitmap, back);
    EXPECT_EQ(difference(image, back), "");
}

TEST(MedianCut, BitsAreBlackAndWhite) {
    TestImage image({.depth = ZYL_DEPTH_1U, .width = 9, .height = 2, .sequence = "GRAY"});
    image.fill(1);
    BitmapBlock bitmap(9, 2, 8);
    fillNoise(bitmap, 1);
    zylConvertToDIB(image, bitmap, 1, 2);
    EXPECT_EQ(bitmap.header()->biClrUsed, 2u);
    EXPECT_EQ(bitmap.entry(0), (Bgra{0, 0, 0, 0}));
    EXPECT_EQ(bitmap.entry(1), (Bgra{255, 255, 255, 0}));
    EXPECT_EQ(bitmap.value(8, 1), 1u);
}

// Grays 0 1 2 3 100 200, with 4 1 1 2 3 5 pixels: 16 in all. Two boxes: the sums
// are 4 5 6 8 11, half is 8, exceeded first at 100; 0 below half before it, 3
// above at it: the cut falls below 100. Boxes 0..3 (8 pixels) and 100..200 (8).
// Means: (0 * 4 + 1 + 2 + 6) / 8 = 1 and (300 + 1000) / 8 = 162.
TEST(MedianCut, CutsGraysAtHalf) {
    const int values[] = {0, 1, 2, 3, 100, 200};
    const int counts[] = {4, 1, 1, 2, 3, 5};
    std::vector<std::int64_t> samples;
    for (int i = 0; i < 6; ++i)
        samples.insert(samples.end(), static_cast<std::size_t>(counts[i]), values[i]);
    TestImage image({.width = 16, .height = 1, .sequence = "GRAY"});
    image.assign(samples);
    BitmapBlock bitmap(16, 1, 1);
    zylConvertToDIB(image, bitmap, 1, 2);
    EXPECT_EQ(bitmap.header()->biClrUsed, 2u);
    EXPECT_EQ(bitmap.entry(0), (Bgra{1, 1, 1, 0}));
    EXPECT_EQ(bitmap.entry(1), (Bgra{162, 162, 162, 0}));

    // 10 pixels 10, 10 of 20, 1 of 30: half is 10, exceeded at 20 by 10 and missed
    // by 0 before: the cut falls below 20. One of 20 less and one of 10 more: 11
    // exceed 10 at once, by 1, and 10 below it are missed: the cut falls above 10.
    for (const int tens : {10, 11}) {
        samples.assign(static_cast<std::size_t>(tens), 10);
        samples.resize(20, 20);
        samples.push_back(30);
        TestImage row({.width = 21, .height = 1, .sequence = "GRAY"});
        row.assign(samples);
        BitmapBlock cut(21, 1, 1);
        zylConvertToDIB(row, cut, 1, 2);
        EXPECT_EQ(cut.entry(0).r, 10);
        EXPECT_EQ(cut.entry(1).r, (20 * (20 - tens) + 30) / (21 - tens));
    }
}

// Three reds and two blues, in cells of 4: red spans 0..40 (cells 0..10), blue
// 0..40 too: red wins the tie. Red cells 0: 3 pixels, 5: 1, 10: 2, of 6; half is
// 3, exceeded at 5 by 1, missed by 0 before: the cut falls below 5.
TEST(MedianCut, CutsTheLongestAxis) {
    TestImage image({.channels = 3, .width = 6, .height = 1, .sequence = "RGB"});
    image.assign({0, 0, 40, 1, 3, 0, 2, 8, 40, 20, 0, 0, 40, 0, 0, 43, 0, 43});
    BitmapBlock bitmap(6, 1, 1);
    zylConvertToDIB(image, bitmap, 1, 2);
    EXPECT_EQ(bitmap.header()->biClrUsed, 2u);
    EXPECT_EQ(bitmap.entry(0), (Bgra{80 / 3, 8 / 3, 0, 0}));
    EXPECT_EQ(bitmap.entry(1), (Bgra{40 / 3, 0, 100 / 3, 0}));
}

// A table as plainly as it can be made: boxes are sets of pixels.
struct SlowBox {
    std::vector<std::array<int, 3>> cells; // red, green, blue of every pixel
    int low(int axis) const {
        int v = 64;
        for (const auto &c : cells) v = std::min(v, c[static_cast<std::size_t>(axis)]);
        return v;
    }
    int high(int axis) const {
        int v = -1;
        for (const auto &c : cells) v = std::max(v, c[static_cast<std::size_t>(axis)]);
        return v;
    }
};

std::vector<Bgra> slowMedianCut(std::vector<std::array<int, 3>> cells, std::size_t wanted) {
    std::vector<SlowBox> boxes(1);
    boxes[0].cells = std::move(cells);
    while (boxes.size() < wanted) {
        const std::size_t before = boxes.size();
        for (std::size_t i = 0; i < before && boxes.size() < wanted; ++i) {
            int axis = 0;
            int length = -1;
            for (int a = 0; a < 3; ++a) {
                if (boxes[i].high(a) - boxes[i].low(a) <= length) continue;
                length = boxes[i].high(a) - boxes[i].low(a);
                axis = a;
            }
            if (length == 0) continue;
            const auto key = static_cast<std::size_t>(axis);
            const auto half = boxes[i].cells.size() / 2;
            const auto upTo = [&](int v) {
                return static_cast<std::size_t>(
                    std::count_if(boxes[i].cells.begin(), boxes[i].cells.end(),
                                  [&](const auto &c) { return c[key] <= v; }));
            };
            int last = boxes[i].low(axis);
            while (upTo(last) <= half) ++last;
            if (half - upTo(last - 1) < upTo(last) - half) --last;
            SlowBox upper;
            SlowBox lower;
            for (const auto &c : boxes[i].cells)
                (c[key] <= last ? lower : upper).cells.push_back(c);
            boxes[i] = lower;
            boxes.push_back(upper);
        }
    }
    std::vector<Bgra> table;
    for (const SlowBox &box : boxes) {
        std::int64_t sums[3] = {};
        for (const auto &c : box.cells) {
            for (std::size_t a = 0; a < 3; ++a) sums[a] += 4 * c[a];
        }
        const auto n = static_cast<std::int64_t>(box.cells.size());
        table.push_back({static_cast<int>(sums[2] / n), static_cast<int>(sums[1] / n),
                         static_cast<int>(sums[0] / n), 0});
    }
    return table;
}

TEST(MedianCut, EqualsASlowOne) {
    for (const int bits : {1, 4, 8}) {
        for (const char *sequence : {"RGB", "BGRA"}) {
            for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
                const int channels = sequence[3] == 'A' ? 4 : 3;
                TestImage image({.depth = channels == 4 ? ZYL_DEPTH_16U : ZYL_DEPTH_8U,
                                 .channels = channels,
                                 .width = 41,
                                 .height = 37,
                                 .order = order,
                                 .alpha = channels == 4 ? 4 : 0,
                                 .sequence = sequence});
                image.randomise(static_cast<unsigned>(bits));
                std::vector<std::array<int, 3>> cells;
                for (int y = 0; y < 37; ++y) {
                    for (int x = 0; x < 41; ++x) {
                        const Bgra c = colourOf(image, x, y);
                        cells.push_back({c.r >> 2, c.g >> 2, c.b >> 2});
                    }
                }
                BitmapBlock bitmap(41, 37, bits);
                zylConvertToDIB(image, bitmap, 1, 2);
                const std::vector<Bgra> expected = slowMedianCut(cells, std::size_t{1} << bits);
                ASSERT_EQ(bitmap.header()->biClrUsed, expected.size());
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    ASSERT_EQ(bitmap.entry(static_cast<int>(i)), expected[i]) << "entry " << i;
                }
            }
        }
    }
}

TEST(MedianCut, FewColoursAreListedByCell) {
    TestImage image({.channels = 3, .width = 4, .height = 1, .sequence = "BGR"});
    image.assign({255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 2, 3}); // blue, green, red, black
    BitmapBlock bitmap(4, 1, 8);
    zylConvertToDIB(image, bitmap, 1, 2);
    EXPECT_EQ(bitmap.header()->biClrUsed, 4u);
    EXPECT_EQ(bitmap.entry(0), (Bgra{0, 0, 0, 0}));
    EXPECT_EQ(bitmap.entry(1), (Bgra{0, 0, 252, 0}));
    EXPECT_EQ(bitmap.entry(2), (Bgra{0, 252, 0, 0}));
    EXPECT_EQ(bitmap.entry(3), (Bgra{252, 0, 0, 0}));
}

// ---- translating --------------------------------------------------------------------

void fillRamp(BitmapBlock &bitmap, int entries) {
    for (int i = 0; i < entries; ++i) {
        const int v = i * 255 / (entries - 1);
        bitmap.entry(i, {v, v, v, 0});
    }
}

TEST(TranslateDib, SharesPixelsWhereItCan) {
    struct Case {
        int bits, entries, channels;
        std::uint32_t depth;
        const char *sequence;
        bool fields, shared;
    };
    const Case cases[] = {
        {1, 2, 1, ZYL_DEPTH_1U, "G", false, true},
        {1, 0, 3, ZYL_DEPTH_8U, "BGR", false, false},
        {4, 16, 1, ZYL_DEPTH_8U, "G", false, false},
        {4, 0, 3, ZYL_DEPTH_8U, "BGR", false, false},
        {8, 256, 1, ZYL_DEPTH_8U, "G", false, true},
        {8, 0, 3, ZYL_DEPTH_8U, "BGR", false, false},
        {16, 0, 3, ZYL_DEPTH_8U, "BGR", false, false},
        {16, 0, 3, ZYL_DEPTH_8U, "BGR", true, false},
        {24, 0, 3, ZYL_DEPTH_8U, "BGR", false, true},
        {32, 0, 4, ZYL_DEPTH_8U, "BGRA", false, true},
        {32, 0, 4, ZYL_DEPTH_8U, "BGRA", true, false},
    };
    for (const Case &c : cases) {
        for (const int height : {5, -5}) {
            SCOPED_TRACE(std::to_string(c.bits) + " bits, " + std::to_string(c.entries));
            std::vector<std::uint32_t> masks;
            if (c.fields) masks = {0x7C00, 0x03E0, 0x001F};
            BitmapBlock bitmap(11, height, c.bits, 0, masks);
            fillNoise(bitmap, 3);
            if (c.entries != 0) fillRamp(bitmap, c.entries);
            std::int32_t shared = -1;
            const Owned image(zylTranslateDIB(bitmap, &shared));
            ASSERT_NE(image, nullptr);
            EXPECT_EQ(shared, c.shared ? 1 : 0);
            EXPECT_EQ(image->nChannels, c.channels);
            EXPECT_EQ(image->alphaChannel, c.channels == 4 ? 4 : 0);
            EXPECT_EQ(image->depth, c.depth);
            EXPECT_EQ(std::string(image->channelSeq, strnlen(image->channelSeq, 4)), c.sequence);
            EXPECT_EQ(image->origin, height > 0 ? ZYL_ORIGIN_BL : ZYL_ORIGIN_TL);
            EXPECT_EQ(image->dataOrder, c.shared ? ZYL_DATA_ORDER_PIXEL : ZYL_DATA_ORDER_PLANE);
            EXPECT_EQ(image->align, c.shared ? 4 : 8);
            EXPECT_EQ(zylBadImageHeader(image.get()), 0);
            if (c.shared) {
                EXPECT_EQ(image->imageData, bitmap.pixels());
                EXPECT_EQ(image->imageDataOrigin, nullptr);
                EXPECT_EQ(image->widthStep, bitmap.row(1) - bitmap.row(0));
                EXPECT_EQ(image->imageSize, 5 * image->widthStep);
                continue;
            }
            const Format format{c.bits, 0,
                                c.fields ? masks : std::vector<std::uint32_t>{0x7C00, 0x3E0, 0x1F},
                                c.fields};
            for (int y = 0; y < 5; ++y) {
                for (int x = 0; x < 11; ++x) {
                    const Bgra colour = colourAt(bitmap, x, y, format.masks);
                    const int row = height > 0 ? 4 - y : y;
                    EXPECT_EQ(readSample(*image, x, row, 1), colour.b);
                    if (c.channels == 1) continue;
                    EXPECT_EQ(readSample(*image, x, row, 3), colour.r);
                }
            }
        }
    }
}

TEST(TranslateDib, OneEntryIsNoRampAndServesEveryIndex) {
    BitmapBlock bitmap(9, 2, 8, 1);
    fillNoise(bitmap, 1);
    bitmap.entry(0, {10, 20, 30, 40});
    std::int32_t shared = 1;
    const Owned image(zylTranslateDIB(bitmap, &shared));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(shared, 0);
    EXPECT_EQ(image->nChannels, 3);
    EXPECT_EQ(readSample(*image, 8, 1, 1), 10);
    EXPECT_EQ(readSample(*image, 8, 1, 3), 30);
}

TEST(TranslateDib, AFailedAllocationReturnsNothing) {
    Reports reports;
    BitmapBlock bitmap(9, 2, 16);
    std::int32_t shared = 0;
    for (int n = 1; n <= 2; ++n) {
        reports.clear();
        const AllocationFault fault(n);
        EXPECT_EQ(zylTranslateDIB(bitmap, &shared), nullptr);
        EXPECT_EQ(reports.texts().back(), n == 1 ? "Create image header is failed"
                                                 : "Allocate memory for ZYL image data is failed");
    }
}

// ---- 16 bits and dither, failures -----------------------------------------------------

TEST(ConvertToDib, DithersDeepImagesWithThreeLevels) {
    TestImage image(
        {.depth = ZYL_DEPTH_16U, .channels = 3, .width = 33, .height = 21, .sequence = "RGB"});
    image.randomise(5);
    image.region(2, 3, 3, 4, 4); // not looked at
    BitmapBlock bitmap(33, 21, 24);
    zylSetErrStatus(ZYL_StsNoMem); // an earlier failure
    zylConvertToDIB(image, bitmap, 8, 0);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsNoMem);
    zylSetErrStatus(ZYL_StsOk);
    int middle = 0;
    for (int y = 0; y < 21; ++y) {
        for (int x = 0; x < 99; ++x) {
            const int v = bitmap.row(y)[x];
            ASSERT_TRUE(v == 0 || v == 127 || v == 254) << v;
            middle += v == 127;
        }
    }
    EXPECT_GT(middle, 100);
}

TEST(ConvertToDib, WithoutMemoryTheTableStaysAsItIs) {
    TestImage image(
        {.depth = ZYL_DEPTH_16U, .channels = 3, .width = 9, .height = 5, .sequence = "RGB"});
    image.randomise(6);
    int failures = 0;
    for (int n = 1; n <= 8; ++n) {
        for (const int palette : {1, 2}) {
            Reports reports;
            BitmapBlock bitmap(9, 5, 8);
            fillNoise(bitmap, 7);
            const auto before = bitmap.bytes();
            const AllocationFault fault(n);
            zylConvertToDIB(image, bitmap, 8, palette);
            if (reports.texts().empty()) continue;
            ++failures;
            EXPECT_EQ(bitmap.bytes(), before) << reports.texts()[0] << ", allocation " << n;
        }
    }
    EXPECT_GE(failures, 4);
}

using Options = std::array<std::int32_t, 2>;
using Failure = Fault<ZylBitmapInfoHeader, ZylImage, Options>;

TEST(Dib, ReportsInOrderAndWritesNothing) {
    const auto check = [&](const char *function, const std::vector<Failure> &failures, auto run) {
        BitmapBlock bitmap(16, 4, 24);
        fillNoise(bitmap, 1);
        TestImage image({.channels = 3, .width = 16, .height = 4, .sequence = "BGR"});
        image.randomise(2);
        Options options = {1, 0};
        ZylImage header = *image.header();
        FailingCalls(function, "zyldib")
            .watch(image)
            .watch([&] { return bitmap.bytes(); })
            .expectInOrder(
                failures, [&] { run(bitmap, header, options); }, *bitmap.header(), header, options);
    };
    using H = ZylBitmapInfoHeader &;
    using I = ZylImage &;
    using A = Options &;
    const Failure size = {"(dib->biSize != sizeof(BITMAPINFOHEADER))",
                          [](H h, I, A) { h.biSize = 12; }};
    const Failure planes = {"(dib->biPlanes != 1)", [](H h, I, A) { h.biPlanes = 3; }};
    const Failure compression = {"(dib->biCompression != 0) && (dib->biCompression != 3)",
                                 [](H h, I, A) { h.biCompression = 1; }};
    const Failure sequence = {"image->channelSeq unsupport",
                              [](H, I i, A) { std::memcpy(i.channelSeq, "GBR", 4); }};
    const Failure mask = {"Bad dib color mask", [](H h, I, A) {
                              h.biBitCount = 16;
                              h.biCompression = 3;
                              std::memset(&h + 1, 0, 4);
                          }};
    const Failure noImage = {"image->imageData==0", [](H, I i, A) {
                                 static ZylTileInfo tiles{
                                     [](ZylImage *, std::int32_t, std::int32_t, std::int32_t) {},
                                     nullptr, nullptr, 8, 8};
                                 i.imageData = nullptr;
                                 i.tileInfo = &tiles;
                             }};
    const auto shape = [](const char *text, int channels, int alpha, std::uint32_t depth) {
        return Failure{text, [=](H, I i, A) {
                           i.nChannels = channels;
                           i.alphaChannel = alpha;
                           i.depth = depth;
                       }};
    };

    check("zylTranslateDIB",
          {size,
           planes,
           compression,
           {"Bad dib->biBitCount", [](H h, I, A) { h.biBitCount = 2; }},
           mask,
           {"Create image header is failed", [](H h, I, A) { h.biWidth = -1; }},
           {"Create image header is failed", [](H h, I, A) { h.biHeight = INT32_MIN; }}},
          [](void *dib, ZylImage &, A) {
              std::int32_t shared = 0;
              EXPECT_EQ(zylTranslateDIB(dib, &shared), nullptr);
          });
    const char *small = "image size is too small";
    check("zylConvertFromDIB",
          {noImage,
           size,
           planes,
           compression,
           {small, [](H h, I, A) { h.biHeight = -5; }},
           {small, [](H h, I, A) { h.biHeight = INT32_MIN; }},
           {"", [](H h, I, A) { h.biBitCount = 9; }, ZYL_StsInternal},
           mask,
           sequence,
           {"", [](H, I i, A) { i.nChannels = 2; }, ZYL_StsInternal},
           {"", [](H, I i, A) { i.depth = ZYL_DEPTH_8S; }, ZYL_StsInternal}},
          [](void *dib, ZylImage &image, A) { zylConvertFromDIB(dib, &image); });
    const char *sizes = "(image->width != dib->biWidth || image->height != dib->biHeight)";
    check("zylConvertToDIB",
          {noImage,
           shape("(image->nChannels <= 0 || image->nChannels > 4)", 5, 0, ZYL_DEPTH_8U),
           shape("(image->depth & 0x80000000)", 3, 0, ZYL_DEPTH_8S),
           shape("(image->alphaChannel != 0 && image->alphaChannel != 4)", 4, 3, ZYL_DEPTH_8U),
           shape("(image->nChannels != 3 && image->nChannels != 1)", 4, 0, ZYL_DEPTH_8U),
           {sizes, [](H h, I, A) { h.biHeight = -4; }},
           {sizes, [](H h, I, A) { h.biWidth = 15; }},
           size,
           planes,
           compression,
           {"(dither != 8 && dither != 1)", [](H, I, A a) { a[0] = 2; }},
           {"(paletteConversion != 0 && paletteConversion != 1 && paletteConversion != 2)",
            [](H, I, A a) { a[1] = 3; }},
           {"create medcut palette error", [](H h, I, A) { h.biBitCount = 12; }},
           {"create medcut palette error",
            [](H h, I i, A a) {
                h.biBitCount = 8;
                a[1] = 2;
                std::memcpy(i.channelSeq, "RBG", 4);
            }},
           sequence,
           {"dib-<biBitCount is bad",
            [](H h, I, A a) {
                h.biBitCount = 2;
                a[1] = 1;
            }},
           mask},
          [](void *dib, ZylImage &image, A a) { zylConvertToDIB(&image, dib, a[0], a[1]); });
}

TEST(Dib, ReportsWhatIsMissing) {
    BitmapBlock bitmap(16, 4, 24);
    TestImage image({.channels = 3, .width = 16, .height = 4, .sequence = "BGR"});
    FailingCalls translate("zylTranslateDIB", "zyldib");
    translate.expect("(dib == ((void *)0))", [] { zylTranslateDIB(nullptr, nullptr); });
    translate.expect("(cloneData == ((void *)0))", [&] { zylTranslateDIB(bitmap, nullptr); });
    FailingCalls("zylConvertFromDIB", "zyldib").watch(image).expect("dib==0", [&] {
        zylConvertFromDIB(nullptr, image);
    });
    FailingCalls("zylConvertToDIB", "zyldib").expect("dib==0", [&] {
        zylConvertToDIB(image, nullptr, 1, 0);
    });
}

// An image or bit count without a stage is no news to a thread whose status
// already tells of a failure.
TEST(Dib, InternalFailuresDoNotFollowAnotherFailure) {
    Reports reports;
    BitmapBlock bitmap(16, 4, 9);
    TestImage image({.channels = 3, .width = 16, .height = 4, .sequence = "BGR"});
    zylSetErrStatus(ZYL_StsNoMem);
    zylConvertFromDIB(bitmap, image);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsNoMem);
    EXPECT_TRUE(reports.all().empty());
}

// The oldest kind of header has twelve bytes: no more of it is read.
TEST(Dib, ShortHeadersAreReadAsFarAsTheyGo) {
    Reports reports;
    const auto block = std::make_unique<std::uint32_t[]>(3);
    block[0] = 12;
    block[1] = 4; // where the long header has its width and height
    block[2] = 4;
    TestImage image({.channels = 3, .width = 4, .height = 4, .sequence = "BGR"});
    std::int32_t shared = 0;
    EXPECT_EQ(zylTranslateDIB(block.get(), &shared), nullptr);
    zylConvertFromDIB(block.get(), image);
    zylConvertToDIB(image, block.get(), 1, 0);
    EXPECT_EQ(reports.texts(),
              std::vector<std::string>(3, "(dib->biSize != sizeof(BITMAPINFOHEADER))"));
}

// The n-th allocation fails: a report, or a search without lists; never a leak.
TEST(ConvertToDib, SurvivesFailedAllocations) {
    Reports reports;
    TestImage image(
        {.depth = ZYL_DEPTH_16U, .channels = 3, .width = 20, .height = 20, .sequence = "RGB"});
    image.randomise(5);
    BitmapBlock expected(20, 20, 8);
    zylConvertToDIB(image, expected, 8, 2);
    for (int n = 1; n < 20; ++n) {
        BitmapBlock bitmap(20, 20, 8);
        reports.clear();
        const AllocationFault fault(n);
        zylConvertToDIB(image, bitmap, 8, 2);
        if (reports.all().empty()) {
            EXPECT_EQ(bitmap.bytes(), expected.bytes());
        }
        if (!AllocationFault::struck()) return;
    }
    FAIL() << "allocations without end";
}

} // namespace
