// Copy, set and exchange.

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

#include "core/levels.h"
#include "tests/support/laws.h"

using namespace support;

namespace {

enum class Action { Copy, Set, Exchange };

struct Rect {
    int x, y, width, height;
};

// The region of an image that lies inside it.
Rect regionOf(const TestImage &image, const ZylROI *roi) {
    const int width = image.shape().width;
    const int height = image.shape().height;
    if (roi == nullptr) return {0, 0, width, height};
    return {roi->xOffset, roi->yOffset, std::max(std::min(roi->width, width - roi->xOffset), 0),
            std::max(std::min(roi->height, height - roi->yOffset), 0)};
}

// The channels that an image's region has, from 1.
std::vector<int> channelsOf(const TestImage &image, const ZylROI *roi) {
    if (roi != nullptr && roi->coi != 0) return {roi->coi};
    std::vector<int> channels;
    for (int c = 1; c <= image.shape().channels; ++c) channels.push_back(c);
    return channels;
}

// One random call: two images in any layout, regions, tiles and tile argument.
class RandomCall {
  public:
    explicit RandomCall(unsigned seed) : random_(seed) {
        const std::uint32_t depth = ALL_DEPTHS[pick(0, 5)];
        const int order = pick(0, 1);
        const int origin = pick(0, 1);
        for (auto &image : images) {
            Shape shape;
            shape.depth = depth;
            shape.order = order;
            shape.origin = origin;
            shape.channels = depth == ZYL_DEPTH_1U ? 1 : pick(1, 4);
            shape.width = pick(1, 70);
            shape.height = pick(1, 30);
            shape.align = pick(0, 1) != 0 ? 4 : 8;
            image = std::make_unique<TestImage>(shape);
            image->randomise(random_());
            if (pick(0, 3) != 0) {
                // Now and then wholly outside the image.
                image->region(pick(0, 1) != 0 ? pick(1, shape.channels) : 0,
                              pick(0, shape.width + 1), pick(0, shape.height + 1),
                              pick(1, shape.width + 5), pick(1, shape.height + 5));
            }
            if (pick(0, 1) != 0) image->tiles(8 * pick(1, 3), 8 * pick(1, 2));
        }
        if (pick(0, 2) == 0) tile = tileIndex;
        tileIndex[0] = pick(-1, 5);
        tileIndex[1] = pick(-1, 3);
        value = pick(-70000, 70000);
    }

    void run(Action action) {
        ZylImage *a = *images[0];
        ZylImage *b = *images[1];
        switch (action) {
        case Action::Copy:
            return zylCopy(a, b, tile);
        case Action::Set:
            return zylSet(b, value, tile);
        case Action::Exchange:
            return zylExchange(a, b, tile);
        }
    }

    // What the action makes of `expected`, copies of the images.
    void reference(Action action, TestImage &a, TestImage &b) const {
        if (action == Action::Set) return referenceSet(b);
        const ZylROI *roiA = images[0]->header()->roi;
        const ZylROI *roiB = images[1]->header()->roi;
        const Rect rectA = regionOf(a, roiA);
        const Rect rectB = regionOf(b, roiB);
        const auto channelsA = channelsOf(a, roiA);
        const auto channelsB = channelsOf(b, roiB);
        if (channelsA.size() != channelsB.size()) return;
        for (std::size_t c = 0; c < channelsA.size(); ++c) {
            for (int y = 0; y < std::min(rectA.height, rectB.height); ++y) {
                for (int x = 0; x < std::min(rectA.width, rectB.width); ++x) {
                    if (!inTile(rectB.x + x, rectB.y + y)) continue;
                    const auto first = a.at(rectA.x + x, rectA.y + y, channelsA[c]);
                    const auto second = b.at(rectB.x + x, rectB.y + y, channelsB[c]);
                    b.set(rectB.x + x, rectB.y + y, channelsB[c], first);
                    if (action == Action::Copy) continue;
                    a.set(rectA.x + x, rectA.y + y, channelsA[c], second);
                }
            }
        }
    }

    std::unique_ptr<TestImage> images[2];
    std::int32_t tileIndex[2];
    const std::int32_t *tile = nullptr;
    int value;

  private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

    // Whether the tile argument lets a pixel of the second image be processed.
    bool inTile(int x, int y) const {
        const ZylTileInfo *info = images[1]->header()->tileInfo;
        if (tile == nullptr || info == nullptr) return true;
        return x / info->width == tile[0] && y / info->height == tile[1];
    }

    void referenceSet(TestImage &b) const {
        const ZylROI *roi = images[1]->header()->roi;
        const Rect rect = regionOf(b, roi);
        const std::uint32_t depth = b.shape().depth;
        const auto sample = std::clamp<std::int64_t>(value, lowest(depth), highest(depth));
        for (const int c : channelsOf(b, roi)) {
            for (int y = rect.y; y < rect.y + rect.height; ++y) {
                for (int x = rect.x; x < rect.x + rect.width; ++x) {
                    if (inTile(x, y)) b.set(x, y, c, sample);
                }
            }
        }
    }

    std::mt19937 random_;
};

// No tile stays out, none was written that is only read, and no two of an image
// were out at a time.
void expectProtocol(const TestImage &image, bool written) {
    EXPECT_EQ(image.breaches(), "");
    EXPECT_EQ(image.tilesHeld(), 0);
    const auto &calls = image.tileCalls();
    ASSERT_EQ(calls.size() % 2, 0u);
    for (std::size_t i = 0; i < calls.size(); i += 2) {
        EXPECT_EQ(calls[i].mode, written ? ZYL_GET_TILE_TO_WRITE : ZYL_GET_TILE_TO_READ);
        EXPECT_EQ(calls[i + 1], (TileCall{calls[i].column, calls[i].row, ZYL_RELEASE_TILE}));
    }
}

class CopyFamily : public testing::TestWithParam<Action> {};

TEST_P(CopyFamily, EqualsTheReference) {
    const Action action = GetParam();
    const Reports reports;
    int changed = 0;
    for (unsigned seed = 0; seed < 4000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomCall call(seed);
        TestImage &a = *call.images[0];
        TestImage &b = *call.images[1];
        TestImage expectedA(a);
        TestImage expectedB(b);
        call.reference(action, expectedA, expectedB);
        changed += expectedB.bytes() != b.bytes();
        const ZylImage headers[] = {*a.header(), *b.header()};

        // Levels that the processor lacks are left out.
        const auto level = static_cast<zylqx::Level>(seed % 3);
        zylqx::useLevel(level <= zylqx::bestLevel() ? level : zylqx::Level::Baseline);
        call.run(action);
        zylqx::useLevel(zylqx::bestLevel());

        // All bytes, so that padding and neighbouring bits count.
        ASSERT_EQ(expectedB.bytes(), b.bytes()) << difference(expectedB, b);
        ASSERT_EQ(expectedA.bytes(), a.bytes()) << difference(expectedA, a);
        expectProtocol(a, action == Action::Exchange);
        expectProtocol(b, true);
        EXPECT_EQ(std::memcmp(&headers[0], a.header(), sizeof(ZylImage)), 0);
        EXPECT_EQ(std::memcmp(&headers[1], b.header(), sizeof(ZylImage)), 0);
        EXPECT_TRUE(reports.all().empty());
        if (HasFailure()) return;
    }
    EXPECT_GT(changed, 400);
}

INSTANTIATE_TEST_SUITE_P(Actions, CopyFamily,
                         testing::Values(Action::Copy, Action::Set, Action::Exchange));

TEST(Copy, ShiftsBitsFromEveryOffsetToEveryOffset) {
    const Reports reports;
    for (int from = 0; from < 16; ++from) {
        for (int to = 0; to < 16; ++to) {
            for (const int width : {1, 5, 8, 9, 63, 64, 65, 130}) {
                TestImage source({.depth = ZYL_DEPTH_1U, .width = 150, .height = 1});
                TestImage copy({.depth = ZYL_DEPTH_1U, .width = 150, .height = 1});
                source.randomise(1).region(0, from, 0, width, 1);
                copy.randomise(2).region(0, to, 0, width, 1);
                TestImage expected(copy);
                for (int i = 0; i < std::min({width, 150 - from, 150 - to}); ++i) {
                    expected.set(to + i, 0, 1, source.at(from + i, 0));
                }
                zylCopy(source, copy, nullptr);
                ASSERT_EQ(expected.bytes(), copy.bytes())
                    << from << " to " << to << ", " << width << " bits";
            }
        }
    }
}

TEST(Set, ClampsToTheDepth) {
    struct {
        std::uint32_t depth;
        std::int32_t fill;
        std::int64_t sample;
    } const cases[] = {
        {ZYL_DEPTH_1U, 7, 1},
        {ZYL_DEPTH_1U, 2, 1},
        {ZYL_DEPTH_1U, -1, 0},
        {ZYL_DEPTH_8U, 300, 255},
        {ZYL_DEPTH_8U, -5, 0},
        {ZYL_DEPTH_8S, 128, 127},
        {ZYL_DEPTH_8S, -129, -128},
        {ZYL_DEPTH_16U, 65536, 65535},
        {ZYL_DEPTH_16U, INT_MIN, 0},
        {ZYL_DEPTH_16S, -40000, -32768},
        {ZYL_DEPTH_16S, 40000, 32767},
        {ZYL_DEPTH_32S, INT_MIN, INT_MIN},
        {ZYL_DEPTH_32S, -70000, -70000},
    };
    for (const auto &c : cases) {
        TestImage image({.depth = c.depth, .width = 19, .height = 3});
        image.randomise(3);
        zylSet(image, c.fill, nullptr);
        for (int x = 0; x < 19; ++x) EXPECT_EQ(image.at(x, 2), c.sample) << depthName(c.depth);
    }
}

TEST(Set, RequestsTheTilesOfItsRegionRowByRow) {
    const Reports reports;
    TestImage image({.width = 20, .height = 20});
    image.tiles(8, 8).region(0, 4, 4, 10, 10);
    zylSet(image, 9, nullptr);
    const int write = ZYL_GET_TILE_TO_WRITE;
    const int release = ZYL_RELEASE_TILE;
    const std::vector<TileCall> expected = {{0, 0, write},   {0, 0, release}, {1, 0, write},
                                            {1, 0, release}, {0, 1, write},   {0, 1, release},
                                            {1, 1, write},   {1, 1, release}};
    EXPECT_EQ(image.tileCalls(), expected);

    image.clearTileCalls();
    for (const std::int32_t column : {-1, 2, 3, INT_MAX}) {
        const std::int32_t outside[] = {column, 0};
        zylSet(image, 1, outside);
    }
    EXPECT_TRUE(image.tileCalls().empty());
    EXPECT_TRUE(reports.all().empty());
}

TEST(Exchange, BothTiledPassesThroughOneTileAtATime) {
    const Reports reports;
    TestImage a({.width = 16, .height = 8});
    TestImage b({.width = 16, .height = 8});
    a.tiles(16, 8);
    b.tiles(8, 8);
    zylExchange(a, b, nullptr);
    const TileCall write = {0, 0, ZYL_GET_TILE_TO_WRITE};
    const TileCall release = {0, 0, ZYL_RELEASE_TILE};
    EXPECT_EQ(a.tileCalls(), (std::vector<TileCall>{write, release, write, release, write, release,
                                                    write, release}));
    EXPECT_EQ(b.tileCalls(),
              (std::vector<TileCall>{
                  write, release, {1, 0, ZYL_GET_TILE_TO_WRITE}, {1, 0, ZYL_RELEASE_TILE}}));
}

// Both arguments of a call share their pixels, at any distance.
TEST(CopyFamilyInPlace, IsSafe) {
    const Reports reports;
    for (const std::uint32_t depth : ALL_DEPTHS) {
        TestImage image({.depth = depth, .width = 37, .height = 20});
        image.randomise(5);
        const TestImage before(image);
        for (const bool tiled : {false, true}) {
            if (tiled) image.tiles(8, 8);
            zylCopy(image, image, nullptr);
            zylExchange(image, image, nullptr);
            EXPECT_EQ(image.bytes(), before.bytes());
            EXPECT_EQ(image.breaches(), "");
            EXPECT_EQ(image.tilesHeld(), 0);
        }
    }
}

TEST(CopyFamilyInPlace, OverlappingRegionsStayInsideThem) {
    const Reports reports;
    for (const std::uint32_t depth : ALL_DEPTHS) {
        for (const int shift : {-9, -1, 1, 2, 9}) {
            TestImage image({.depth = depth, .width = 37, .height = 20});
            image.randomise(5);
            const TestImage before(image);
            ZylImage other = *image.header();
            ZylROI roi = {0, 10 + shift, 5 + shift / 2, 8, 15};
            other.roi = &roi;
            image.region(0, 10, 5, 15, 8);
            zylCopy(image, &other, nullptr);
            zylExchange(image, &other, nullptr);
            for (int x = 0; x < 37; ++x) {
                for (int y = 0; y < 20; ++y) {
                    if (x >= 1 && x < 34 && y >= 1 && y < 17) continue;
                    ASSERT_EQ(image.at(x, y), before.at(x, y)) << x << ", " << y;
                }
            }
        }
    }
}

TEST(CopyFamilyChecks, AllComparisonsAreReported) {
    Reports reports;
    const Shape shape{.channels = 3, .width = 9, .height = 9};
    Shape other = shape;
    other.depth = ZYL_DEPTH_8S;
    other.order = ZYL_DATA_ORDER_PLANE;
    other.origin = ZYL_ORIGIN_BL;
    TestImage a(shape);
    TestImage b(other);
    a.randomise(1);
    b.randomise(2);
    const TestImage beforeA(a);
    const TestImage beforeB(b);
    const auto expected = [](const char *function) {
        std::vector<Report> list;
        for (const char *text :
             {"srcImage->depth != dstImage->depth", "srcImage->dataOrder != dstImage->dataOrder",
              "srcImage->origin != dstImage->origin"}) {
            list.push_back({ZYL_StsBadArg, function, text, "zylSCE"});
        }
        return list;
    };
    zylCopy(a, b, nullptr);
    EXPECT_EQ(reports.all(), expected("zylCopy"));
    reports.clear();
    zylExchange(a, b, nullptr);
    EXPECT_EQ(reports.all(), expected("zylExchange"));

    reports.clear();
    other.depth = shape.depth;
    other.order = shape.order;
    TestImage c(other);
    zylCopy(a, c, nullptr);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{"srcImage->origin != dstImage->origin"});

    // A callback that takes the status back does not make them go together.
    zylRedirectError([](ZylStatus status, const char *, const char *, const char *, int) {
        zylSetErrStatus(ZYL_StsOk);
        return status;
    });
    zylCopy(a, b, nullptr);
    zylExchange(a, b, nullptr);
    EXPECT_EQ(a.bytes(), beforeA.bytes());
    EXPECT_EQ(b.bytes(), beforeB.bytes());
}

TEST(CopyFamilyChecks, ANegativeStatusKeepsCopyAndExchangeFromWriting) {
    Reports reports;
    TestImage a({.width = 9, .height = 9});
    TestImage b({.width = 9, .height = 9});
    a.fill(1);
    b.fill(2);
    zylSetErrStatus(ZYL_StsNoMem);
    zylCopy(a, b, nullptr);
    zylExchange(a, b, nullptr);
    EXPECT_EQ(b.at(3, 3), 2);
    EXPECT_EQ(a.at(3, 3), 1);
    zylSet(b, 7, nullptr);
    EXPECT_EQ(b.at(3, 3), 7);
    zylSetErrStatus(5);
    zylCopy(a, b, nullptr);
    EXPECT_EQ(b.at(3, 3), 1);
    EXPECT_TRUE(reports.all().empty());
}

TEST(CopyFamilyChecks, ExtremeRegionsAreCutQuietly) {
    const Reports reports;
    for (const bool tiled : {false, true}) {
        TestImage a({.width = 9, .height = 9});
        TestImage b({.width = 9, .height = 9});
        a.fill(1);
        if (tiled) b.tiles(8, 8);
        b.region(0, INT_MAX, INT_MAX, INT_MAX, INT_MAX);
        zylCopy(a, b, nullptr);
        zylSet(b, 3, nullptr);
        EXPECT_TRUE(b.tileCalls().empty());
        b.region(0, 8, 8, INT_MAX, INT_MAX);
        zylCopy(a, b, nullptr);
        EXPECT_EQ(b.at(8, 8), 1);
        EXPECT_EQ(b.at(7, 8), 0);
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(CopyFamilyChecks, TheStrideFollowsFromTheHeader) {
    const Reports reports;
    TestImage a({.width = 9, .height = 9});
    TestImage b({.width = 9, .height = 9});
    a.randomise(1);
    a.header()->widthStep = 1;
    b.header()->widthStep = 400;
    zylCopy(a, b, nullptr);
    a.header()->widthStep = 12;
    b.header()->widthStep = 12;
    EXPECT_EQ(difference(a, b), "");
}

TEST(CopyFamilyFaults, WithoutMemoryForTheBufferItEndsQuietly) {
    Reports reports;
    const Shape shape{.width = 20, .height = 20};
    for (const bool exchange : {false, true}) {
        for (int n = 1; n <= 3; ++n) {
            TestImage a(shape);
            TestImage b(shape);
            a.fill(1).tiles(8, 16);
            b.fill(2).tiles(8, 8);
            {
                const AllocationFault fault(n);
                exchange ? zylExchange(a, b, nullptr) : zylCopy(a, b, nullptr);
                EXPECT_TRUE(AllocationFault::struck());
            }
            // The tiles before were finished.
            for (int tile = 0; tile < 3; ++tile) {
                EXPECT_EQ(b.at(tile * 8, 0), tile < n - 1 ? 1 : 2);
                EXPECT_EQ(a.at(tile * 8, 0), tile < n - 1 && exchange ? 2 : 1);
            }
            EXPECT_EQ(a.tilesHeld() + b.tilesHeld(), 0);
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

std::vector<Operation> lawTable() {
    Operation copy{"Copy", "zylCopy", 1, [](ZylImage *const *images, const std::int32_t *tile) {
                       zylCopy(images[0], images[1], tile);
                   }};
    Operation set{"Set", "zylSet", 0, [](ZylImage *const *images, const std::int32_t *tile) {
                      zylSet(images[0], 77, tile);
                  }};
    Operation exchange{"Exchange", "zylExchange", 1,
                       [](ZylImage *const *images, const std::int32_t *tile) {
                           zylExchange(images[0], images[1], tile);
                       }};
    copy.mixesChannels = true;
    // The first image is written too; the reference has regions and places.
    exchange.regions = false;
    exchange.inPlace = false;
    std::vector<Operation> table = {copy, set, exchange};
    for (Operation &operation : table) {
        operation.shapes = usualShapes({std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)});
        operation.looseRows = false;
    }
    return table;
}

} // namespace

namespace support {
ZYLQX_RUN_LAWS(CopyFamily, lawTable());
} // namespace support
