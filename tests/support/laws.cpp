#include "tests/support/laws.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>

#include "core/image.h"
#include "core/levels.h"
#include "tests/support/early_ends.h"

namespace support {

namespace {

using Images = std::vector<std::unique_ptr<TestImage>>;

// A region of an image, as TestImage::region() takes it.
struct Region {
    int coi, x, y, width, height;
};

Images makeImages(const Operation &operation, const Shape &shape, unsigned seed,
                  int resultAlign = 0) {
    Images images;
    for (int i = 0; i < operation.sources; ++i) {
        images.push_back(std::make_unique<TestImage>(shape));
        images.back()->randomise(seed + static_cast<unsigned>(i));
    }
    Shape result = operation.result(shape);
    if (resultAlign != 0) {
        result.align = resultAlign;
        result.origin = shape.origin;
    }
    images.push_back(std::make_unique<TestImage>(result));
    images.back()->randomise(seed + 100);
    return images;
}

// The images that the operation itself takes.
std::size_t imageArguments(const Operation &operation) {
    return static_cast<std::size_t>(operation.sources) + (operation.measures ? 0 : 1);
}

Images copyImages(const Images &images) {
    Images copies;
    for (const auto &image : images) copies.push_back(std::make_unique<TestImage>(*image));
    return copies;
}

void run(const Operation &operation, Images &images, const std::int32_t *tile = nullptr) {
    std::vector<ZylImage *> headers;
    for (auto &image : images) headers.push_back(image->header());
    operation.run(headers.data(), tile);
}

void setRegions(Images &images, const Region &source, const Region &destination) {
    for (std::size_t i = 0; i < images.size(); ++i) {
        const Region &region = i + 1 < images.size() ? source : destination;
        images[i]->region(region.coi, region.x, region.y, region.width, region.height);
    }
}

// Regions past the edge, at odd offsets, and with a channel of interest.
std::vector<std::pair<Region, Region>> regionsFor(const Operation &operation, const Shape &shape) {
    const int w = shape.width;
    const int h = shape.height;
    std::vector<std::pair<Region, Region>> regions = {
        {{0, 3, 2, w - 5, h - 4}, {0, 1, 5, w - 3, h - 3}},
        {{0, w / 2, h / 3, w, h}, {0, 0, 0, w, h}},
        {{0, 0, 0, w - 9, h - 2}, {0, 0, 0, w - 9, h - 2}}, // at the corner
    };
    const Shape result = operation.result(shape);
    if (shape.channels > 1 && result.channels > 1) {
        regions.push_back({{2, 5, 1, w - 7, h - 3}, {result.channels, 2, 2, w, h}});
        regions.push_back({{1, 0, 0, w, h}, {1, 0, 0, w, h}});
    }
    return regions;
}

struct Tiling {
    int width, height;
};
constexpr Tiling TILINGS[] = {{8, 8}, {16, 8}, {8, 24}};

// Bit i of `which` makes image i tiled.
void tileImages(Images &images, unsigned which) {
    for (std::size_t i = 0; i < images.size(); ++i) {
        if ((which >> i & 1) == 0) continue;
        const Tiling &tiling = TILINGS[i % std::size(TILINGS)];
        images[i]->tiles(tiling.width, tiling.height);
    }
}

// Pictures in which more moves than in those of the usual shapes.
struct Scene {
    const char *name;
    int width, height, origin;
    int sourceAlign, resultAlign;
    Tiling tilings[3]; // of the images in turn
    bool shifted;      // by regions as large as the images
};
const Scene SCENES[] = {
    // Windows of rows slide within a tile and from one to the next.
    {"tall", 13, 251, ZYL_ORIGIN_TL, 4, 4, {{8, 16}, {16, 64}, {8, 40}}, false},
    // Rows of 9 samples end at other addresses in the two images.
    {"aligned otherwise", 9, 67, ZYL_ORIGIN_BL, 4, 8, {{16, 24}, {8, 8}, {16, 32}}, false},
    {"shifted", 43, 61, ZYL_ORIGIN_BL, 8, 4, {{24, 8}, {8, 56}, {16, 16}}, true},
    // Rows end where strips of them end.
    {"strips", 1024, 9, ZYL_ORIGIN_TL, 4, 4, {{40, 8}, {24, 8}, {24, 16}}, false},
    // Places and counts leave 16 bits.
    {"wide", 65551, 1, ZYL_ORIGIN_TL, 4, 4, {{4096, 8}, {65528, 8}, {32768, 16}}, false},
};

// An operation's shapes of different depths and channels, in a scene's size.
std::vector<Shape> shapesFor(const Operation &operation, const Scene &scene) {
    std::vector<Shape> shapes;
    for (Shape shape : operation.shapes) {
        shape.width = scene.width;
        shape.height = scene.height;
        shape.origin = scene.origin;
        shape.align = scene.sourceAlign;
        const bool known = std::any_of(shapes.begin(), shapes.end(), [&](const Shape &other) {
            return other.depth == shape.depth && other.channels == shape.channels;
        });
        if (!known) shapes.push_back(shape);
    }
    return shapes;
}

std::string describe(const Operation &operation, const Shape &shape, const std::string &what) {
    return operation.name + ", " + support::describe(shape) + ", " + what;
}

void expectSound(const Images &images) {
    for (const auto &image : images) {
        EXPECT_TRUE(image->guardsIntact());
        EXPECT_EQ(image->breaches(), "");
    }
}

// Every shape of the operation in every data order that it allows.
std::vector<Shape> allShapes(const Operation &operation) {
    std::vector<Shape> shapes;
    for (Shape shape : operation.shapes) {
        for (int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            if (order == ZYL_DATA_ORDER_PLANE && !operation.planesAlike) continue;
            shape.order = order;
            shapes.push_back(shape);
        }
    }
    return shapes;
}

std::vector<zylqx::Level> levels() {
    std::vector<zylqx::Level> result;
    for (auto level : {zylqx::Level::Baseline, zylqx::Level::Avx2, zylqx::Level::Avx512}) {
        if (level <= zylqx::bestLevel()) result.push_back(level);
    }
    return result;
}

} // namespace

std::vector<Shape> usualShapes(const std::vector<std::uint32_t> &depths) {
    std::vector<Shape> shapes;
    for (std::uint32_t depth : depths) {
        shapes.push_back({.depth = depth, .width = 37, .height = 29});
        shapes.push_back({.depth = depth, .width = 1, .height = 1});
        if (depth == ZYL_DEPTH_1U) continue;
        shapes.push_back({.depth = depth,
                          .channels = 3,
                          .width = 31,
                          .height = 23,
                          .model = "RGB ",
                          .sequence = "RGB "});
    }
    return shapes;
}

void PrintTo(const Operation &operation, std::ostream *out) {
    *out << (operation.function.empty() ? operation.reportedName : operation.function);
}

std::string operationName(const testing::TestParamInfo<Operation> &info) {
    return info.param.name;
}

std::vector<Operation> operationsWith(const std::vector<Operation> &table,
                                      bool (*holds)(const Operation &)) {
    std::vector<Operation> result;
    std::copy_if(table.begin(), table.end(), std::back_inserter(result), holds);
    return result;
}

// A program may use the images without the laws, and a table may have nothing for
// one of them.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Laws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(TileLaws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RegionLaws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CropLaws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ChannelLaws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PlaneLaws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(InPlaceLaws);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(TileArgumentLaws);

TEST_P(TileLaws, TilingNeverChangesAResult) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 1;
    for (const Shape &shape : allShapes(operation)) {
        auto regions = regionsFor(operation, shape);
        if (!operation.regions || shape.width == 1) regions.clear();
        for (std::size_t r = 0; r <= regions.size(); ++r) {
            Images memory = makeImages(operation, shape, ++seed);
            if (r > 0) setRegions(memory, regions[r - 1].first, regions[r - 1].second);
            const Images original = copyImages(memory);
            run(operation, memory);
            for (unsigned which = 1; which < 1u << original.size(); ++which) {
                SCOPED_TRACE(describe(operation, shape,
                                      "seed " + std::to_string(seed) + ", region " +
                                          std::to_string(r) + ", tiled " + std::to_string(which)));
                Images tiled = copyImages(original);
                tileImages(tiled, which);
                run(operation, tiled);
                EXPECT_EQ(difference(*memory.back(), *tiled.back()), "");
                for (const auto &image : tiled) EXPECT_EQ(image->tilesHeld(), 0);
                expectSound(tiled);
                if (HasFailure()) return;
            }
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

TEST_P(Laws, EveryLevelGivesTheSameBits) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 1000;
    for (const Shape &shape : allShapes(operation)) {
        auto regions = regionsFor(operation, shape);
        if (!operation.regions || shape.width == 1) regions.clear();
        for (std::size_t r = 0; r <= regions.size(); ++r) {
            Images original = makeImages(operation, shape, ++seed);
            if (r > 0) setRegions(original, regions[r - 1].first, regions[r - 1].second);
            Images expected = copyImages(original);
            zylqx::useLevel(zylqx::Level::Baseline);
            run(operation, expected);
            for (auto level : levels()) {
                SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(seed)));
                Images images = copyImages(original);
                zylqx::useLevel(level);
                run(operation, images);
                EXPECT_EQ(expected.back()->bytes(), images.back()->bytes())
                    << difference(*expected.back(), *images.back());
            }
            zylqx::useLevel(zylqx::bestLevel());
            if (HasFailure()) return;
        }
    }
}

TEST_P(TileLaws, EveryMechanismMoves) {
    const Operation &operation = GetParam();
    if (!operation.anySize) return;
    const Reports reports;
    unsigned seed = 9000;
    for (const Scene &scene : SCENES) {
        if (scene.shifted && !operation.regions) continue;
        const std::vector<Shape> shapes = shapesFor(operation, scene);
        // Each scene takes two of the shapes, so that all of them have their turn.
        for (std::size_t turn = 0; turn < std::min<std::size_t>(shapes.size(), 2); ++turn) {
            Shape shape = shapes[(++seed * 5) % shapes.size()];
            shape.order =
                operation.planesAlike && turn > 0 ? ZYL_DATA_ORDER_PLANE : ZYL_DATA_ORDER_PIXEL;
            SCOPED_TRACE(describe(operation, shape,
                                  std::string(scene.name) + ", seed " + std::to_string(seed)));
            const Images original = makeImages(operation, shape, seed, scene.resultAlign);
            if (scene.shifted) {
                const int w = shape.width;
                const int h = shape.height;
                for (const auto &image : original) image->region(0, 0, 3, w, h);
                original.back()->region(0, 5, 2, w, h);
            }
            Images memory = copyImages(original);
            run(operation, memory);
            Images baseline = copyImages(original);
            zylqx::useLevel(zylqx::Level::Baseline);
            run(operation, baseline);
            zylqx::useLevel(zylqx::bestLevel());
            EXPECT_EQ(difference(*baseline.back(), *memory.back()), "");
            for (const unsigned which : {~0u, 1u}) {
                Images tiled = copyImages(original);
                for (std::size_t i = 0; i < tiled.size(); ++i) {
                    const Tiling &tiling = scene.tilings[i % std::size(scene.tilings)];
                    if ((which >> i & 1) != 0) tiled[i]->tiles(tiling.width, tiling.height);
                }
                run(operation, tiled);
                EXPECT_EQ(difference(*memory.back(), *tiled.back()), "") << "tiled " << which;
                for (const auto &image : tiled) EXPECT_EQ(image->tilesHeld(), 0);
                expectSound(tiled);
            }
            if (HasFailure()) return;
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

// Regions begin in the first row: arithmetic finds another one by the usual stride.
TEST_P(Laws, RowsFurtherApartChangeNoSample) {
    const Operation &operation = GetParam();
    if (!operation.looseRows) return;
    const Reports reports;
    unsigned seed = 1500;
    for (const Shape &shape : allShapes(operation)) {
        const int w = shape.width;
        const int h = shape.height;
        for (const bool region : {false, true}) {
            if (region && (!operation.regions || w == 1)) continue;
            SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(++seed)));
            Images images = makeImages(operation, shape, seed);
            if (region) setRegions(images, {0, 3, 0, w - 5, h - 4}, {0, 1, 0, w - 3, h - 3});
            Images loose = copyImages(images);
            for (std::size_t i = 0; i < imageArguments(operation); ++i) {
                loose[i]->widen(8 * static_cast<int>(i + 1));
            }
            run(operation, images);
            run(operation, loose);
            EXPECT_EQ(difference(*images.back(), *loose.back()), "");
            expectSound(loose);
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

TEST_P(RegionLaws, NothingOutsideTheRegionChanges) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 2000;
    for (const Shape &shape : allShapes(operation)) {
        if (shape.width == 1) continue;
        for (const auto &[source, destination] : regionsFor(operation, shape)) {
            SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(++seed)));
            Images images = makeImages(operation, shape, seed);
            setRegions(images, source, destination);
            const Images before = copyImages(images);
            run(operation, images);
            int changed = 0;
            const Shape &result = images.back()->shape();
            for (int c = 1; c <= result.channels; ++c) {
                for (int y = 0; y < result.height; ++y) {
                    for (int x = 0; x < result.width; ++x) {
                        if (before.back()->at(x, y, c) == images.back()->at(x, y, c)) continue;
                        ++changed;
                        const Region &region = destination;
                        const bool inside = x >= region.x && x < region.x + region.width &&
                                            y >= region.y && y < region.y + region.height &&
                                            (region.coi == 0 || region.coi == c);
                        ASSERT_TRUE(inside) << "(" << x << ", " << y << ") channel " << c;
                    }
                }
            }
            EXPECT_GT(changed, 0);
            for (std::size_t i = 0; i + 1 < images.size(); ++i) {
                EXPECT_EQ(images[i]->bytes(), before[i]->bytes()) << "a source was written";
            }
            expectSound(images);
        }
    }
}

// The samples of a region as an image of their own.
std::unique_ptr<TestImage> cropped(const TestImage &image, const Region &region, int width,
                                   int height) {
    Shape shape = image.shape();
    shape.width = width;
    shape.height = height;
    auto result = std::make_unique<TestImage>(shape);
    for (int c = 1; c <= shape.channels; ++c) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                result->set(x, y, c, image.at(region.x + x, region.y + y, c));
            }
        }
    }
    return result;
}

TEST_P(CropLaws, ARegionGivesWhatACroppedImageGives) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 3000;
    for (const Shape &shape : allShapes(operation)) {
        if (shape.width == 1) continue;
        const auto [source, destination] = regionsFor(operation, shape).front();
        const int width = std::min(
            {source.width, destination.width, shape.width - source.x, shape.width - destination.x});
        const int height = std::min({source.height, destination.height, shape.height - source.y,
                                     shape.height - destination.y});
        SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(++seed)));
        Images images = makeImages(operation, shape, seed);
        Images crops;
        for (std::size_t i = 0; i < images.size(); ++i) {
            const Region &region = i + 1 < images.size() ? source : destination;
            crops.push_back(cropped(*images[i], region, width, height));
        }
        setRegions(images, source, destination);
        run(operation, images);
        run(operation, crops);
        EXPECT_EQ(difference(*crops.back(), *cropped(*images.back(), destination, width, height)),
                  "");
    }
}

// An image of three channels with the samples of `gray` in one of them, which is its
// channel of interest.
std::unique_ptr<TestImage> asChannel(const TestImage &gray, int channel, unsigned seed) {
    Shape shape = gray.shape();
    shape.channels = 3;
    auto image = std::make_unique<TestImage>(shape);
    image->randomise(seed);
    for (int y = 0; y < shape.height; ++y) {
        for (int x = 0; x < shape.width; ++x) image->set(x, y, channel, gray.at(x, y));
    }
    image->region(channel, 0, 0, shape.width, shape.height);
    return image;
}

TEST_P(ChannelLaws, AChannelGoesIntoAnImageOfOneChannelAndBack) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 3500;
    for (const Shape &shape : allShapes(operation)) {
        if (shape.channels != 1 || operation.result(shape).channels != 1) continue;
        if (shape.depth == ZYL_DEPTH_1U || operation.result(shape).depth == ZYL_DEPTH_1U) continue;
        Images gray = makeImages(operation, shape, ++seed);
        const Images before = copyImages(gray);
        run(operation, gray);
        for (const bool intoChannel : {false, true}) {
            for (const bool tiled : {false, true}) {
                if (tiled && (!operation.tilesSupported || shape.width == 1)) continue;
                SCOPED_TRACE(describe(operation, shape,
                                      std::string(intoChannel ? "into" : "from") +
                                          " a channel, seed " + std::to_string(seed)));
                Images images;
                for (std::size_t i = 0; i < before.size(); ++i) {
                    const bool last = i + 1 == before.size();
                    images.push_back(last == intoChannel
                                         ? asChannel(*before[i], last ? 2 : 3, seed + 50)
                                         : std::make_unique<TestImage>(*before[i]));
                }
                if (tiled) tileImages(images, ~0u);
                run(operation, images);
                const TestImage &result = *images.back();
                const TestImage expected =
                    intoChannel ? *asChannel(*gray.back(), 2, seed + 50) : *gray.back();
                EXPECT_EQ(difference(expected, result), "");
                expectSound(images);
                if (HasFailure()) return;
            }
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

TEST_P(PlaneLaws, PlanesGiveWhatPixelsGive) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 4000;
    for (Shape shape : operation.shapes) {
        SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(++seed)));
        shape.order = ZYL_DATA_ORDER_PIXEL;
        Images pixels = makeImages(operation, shape, seed);
        shape.order = ZYL_DATA_ORDER_PLANE;
        Images planes = makeImages(operation, shape, seed);
        run(operation, pixels);
        run(operation, planes);
        EXPECT_EQ(difference(*pixels.back(), *planes.back()), "");
    }
}

TEST_P(InPlaceLaws, InPlaceGivesWhatAThirdImageGives) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 5000;
    for (const Shape &shape : allShapes(operation)) {
        for (const bool tiled : {false, true}) {
            if (tiled && !operation.tilesSupported) continue;
            SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(++seed)));
            Images images = makeImages(operation, shape, seed);
            Images same = copyImages(images);
            if (tiled) same.front()->tiles(16, 8);
            run(operation, images);
            std::vector<ZylImage *> headers;
            for (auto &image : same) headers.push_back(image->header());
            headers.back() = headers.front();
            operation.run(headers.data(), nullptr);
            EXPECT_EQ(difference(*images.back(), *same.front()), "");
            EXPECT_EQ(same.front()->tilesHeld(), 0);
            expectSound(same);
        }
    }
}

TEST_P(TileArgumentLaws, OneTileIsThatPartOfTheWhole) {
    const Operation &operation = GetParam();
    const Reports reports;
    unsigned seed = 6000;
    for (const Shape &shape : allShapes(operation)) {
        if (shape.width == 1) continue;
        const std::int32_t tile[] = {1, 2};
        for (const bool tiledSource : {false, true}) {
            SCOPED_TRACE(describe(operation, shape, "seed " + std::to_string(++seed)));
            Images whole = makeImages(operation, shape, seed);
            Images part = copyImages(whole);
            const Images before = copyImages(whole);
            if (tiledSource) part.front()->tiles(24, 16);
            part.back()->tiles(16, 8);
            run(operation, whole);
            run(operation, part, tile);
            for (int c = 1; c <= part.back()->shape().channels; ++c) {
                for (int y = 0; y < shape.height; ++y) {
                    for (int x = 0; x < shape.width; ++x) {
                        const bool inside = x / 16 == tile[0] && y / 8 == tile[1];
                        ASSERT_EQ(part.back()->at(x, y, c),
                                  (inside ? whole : before).back()->at(x, y, c))
                            << "(" << x << ", " << y << ")";
                    }
                }
            }
            for (const TileCall &call : part.back()->tileCalls()) {
                EXPECT_TRUE(call.column == tile[0] && call.row == tile[1]);
            }
            EXPECT_EQ(part.back()->tilesHeld(), 0);
            expectSound(part);
        }
    }
}

// Of tiles of 16 x 8 pixels, at the edges of a region that ends with one of them or
// one pixel later, and outside the image.
TEST_P(TileArgumentLaws, TilesAtTheEndOfTheRegionAndPastIt) {
    const Operation &operation = GetParam();
    const Reports reports;
    const std::int32_t tiles[][2] = {{0, 0}, {1, 1}, {0, 2},  {1, 2},  {2, 1},
                                     {2, 3}, {3, 0}, {-2, 0}, {0, -2}, {9, 99}};
    unsigned seed = 6500;
    for (const Shape &shape : allShapes(operation)) {
        const Shape result = operation.result(shape);
        if (result.width < 33 || result.height < 18) continue;
        for (const int past : {0, 1}) {
            if (past == 1 && !operation.regions) continue;
            Images original = makeImages(operation, shape, ++seed);
            original.back()->tiles(16, 8);
            if (operation.regions) {
                setRegions(original, {0, 2, 1, 31, 26}, {0, 3, 1, 13 + past, 15 + past});
            }
            Images whole = copyImages(original);
            run(operation, whole);
            for (const auto &tile : tiles) {
                SCOPED_TRACE(describe(operation, shape,
                                      "tile " + std::to_string(tile[0]) + ", " +
                                          std::to_string(tile[1]) + ", region + " +
                                          std::to_string(past) + ", seed " + std::to_string(seed)));
                Images part = copyImages(original);
                run(operation, part, tile);
                for (int c = 1; c <= result.channels; ++c) {
                    for (int y = 0; y < result.height; ++y) {
                        for (int x = 0; x < result.width; ++x) {
                            const bool inside = x / 16 == tile[0] && y / 8 == tile[1];
                            ASSERT_EQ(part.back()->at(x, y, c),
                                      (inside ? whole : original).back()->at(x, y, c))
                                << "(" << x << ", " << y << ")";
                        }
                    }
                }
                for (const TileCall &call : part.back()->tileCalls()) {
                    EXPECT_TRUE(call.column == tile[0] && call.row == tile[1]);
                }
                EXPECT_EQ(part.back()->tilesHeld(), 0);
                expectSound(part);
                zylSetErrStatus(ZYL_StsOk);
            }
        }
    }
}

TEST_P(Laws, ABadHeaderIsReportedAndNothingIsWritten) {
    const Operation &operation = GetParam();
    Reports reports;
    Shape shape = operation.shapes.front();
    const struct {
        int mask;
        std::function<void(ZylImage &)> spoil;
    } faults[] = {
        {ZYL_FAULT_DATA, [](ZylImage &image) { image.imageData = nullptr; }},
        {ZYL_FAULT_SIZE, [](ZylImage &image) { image.height = 0; }},
        {ZYL_FAULT_WIDTH_STEP, [](ZylImage &image) { image.widthStep = 0; }},
        {ZYL_FAULT_DEPTH, [](ZylImage &image) { image.depth = 32; }},
        {ZYL_FAULT_ALPHA, [](ZylImage &image) { image.alphaChannel = image.nChannels + 1; }},
        {ZYL_FAULT_DATA_ORDER, [](ZylImage &image) { image.dataOrder = 2; }},
        {ZYL_FAULT_ORIGIN | ZYL_FAULT_ALIGN,
         [](ZylImage &image) {
             image.origin = -1;
             image.align = 2;
         }},
        {ZYL_FAULT_COI, [](ZylImage &image) { image.roi->coi = image.nChannels + 1; }},
        {ZYL_FAULT_ROI_SIZE, [](ZylImage &image) { image.roi->width = 0; }},
        {ZYL_FAULT_ROI_OFFSET, [](ZylImage &image) { image.roi->xOffset = -1; }},
    };
    for (const auto &fault : faults) {
        for (std::size_t bad = 0; bad < imageArguments(operation); ++bad) {
            SCOPED_TRACE(describe(operation, shape,
                                  "fault " + std::to_string(fault.mask) + " of image " +
                                      std::to_string(bad)));
            Images images = makeImages(operation, shape, 7000);
            images[bad]->region(0, 0, 0, shape.width, shape.height);
            const auto before = images.back()->bytes();
            fault.spoil(*images[bad]->header());
            reports.clear();
            run(operation, images);
            EXPECT_EQ(images.back()->bytes(), before);
            ASSERT_FALSE(reports.all().empty());
            EXPECT_EQ(zylGetErrStatus(), ZYL_StsBadArg);
            EXPECT_EQ(reports.all().front().function, operation.reportedName);
            EXPECT_EQ(reports.all().front().file, earlyEndOf(operation.reportedName).file);
            if (!operation.headersReported) continue;
            const char *message = zylqx::headerMessage(fault.mask);
            EXPECT_EQ(reports.all().front().text, message);
            zylqx::freeHeaderMessage(message);
        }
    }
}

// --- calls that end early ---

namespace {

// Where the images of such a call lie.
enum class Placing { Memory, InPlace, Tiles, TilesInPlace };

class EarlyCall {
  public:
    EarlyCall(const Operation &operation, const Shape &shape, Placing placing, unsigned seed)
        : operation_(operation), placing_(placing), before_(makeImages(operation, shape, seed)) {
        if (tiled()) tileImages(before_, ~0u);
        after_ = copyImages(before_);
        runOn(after_);
    }

    // Every allocation fails in turn, the later ones with growing steps.
    void failMemory() {
        for (int n = 1;; n += 1 + n / 4) {
            SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
            Images images = copyImages(before_);
            reports_.clear();
            bool struck = false;
            {
                const AllocationFault fault(n);
                runOn(images);
                struck = AllocationFault::struck();
            }
            if (!struck) return;
            // What is not needed for the result may be missing.
            const bool done = difference(result(after_), result(images)).empty();
            const EarlyEnd &end = earlyEndOf(operation_.reportedName, reports_.all());
            if (!done || !reports_.all().empty()) {
                EXPECT_EQ(reports_.all(), end.memoryReports());
                EXPECT_EQ(zylGetErrStatus(), end.status);
            }
            for (const auto &image : images) {
                EXPECT_EQ(image->tilesHeld(), 0);
                EXPECT_TRUE(done || !image->askedAfterFailure());
            }
            expectWhole(images, end);
            if (testing::Test::HasFailure()) return;
        }
    }

    // Every image in turn takes no tile back.
    void keepTiles() {
        for (std::size_t kept = 0; kept < imageArguments(operation_); ++kept) {
            SCOPED_TRACE("image " + std::to_string(kept) + " keeps its tiles");
            Images images = copyImages(before_);
            images[kept]->keepTiles();
            reports_.clear();
            runOn(images);
            const EarlyEnd &end = reportingEnd();
            EXPECT_EQ(reports_.all(), end.keptReports(static_cast<int>(kept), imageCount()));
            if (end.keepsTiles()) continue;
            for (std::size_t i = 0; i < images.size(); ++i) {
                EXPECT_TRUE(i == kept || images[i]->tilesHeld() == 0) << "image " << i;
            }
            if (kept + 1 < images.size() && reports_.all().empty()) {
                EXPECT_EQ(difference(result(after_), result(images)), "");
            }
        }
    }

    // The first, the last and some other tile of every image are not delivered.
    void failTiles() {
        for (std::size_t bad = 0; bad < (inPlace() ? 1 : imageArguments(operation_)); ++bad) {
            const int requests = requestsOf(*after_[bad]);
            for (const int n : std::set<int>{1, 2, requests / 2 + 1, requests}) {
                if (n < 1 || n > requests) continue;
                SCOPED_TRACE("request " + std::to_string(n) + " of image " + std::to_string(bad) +
                             " fails");
                Images images = copyImages(before_);
                images[bad]->failTileRequest(n);
                reports_.clear();
                runOn(images);
                if (inPlace()) {
                    expectGivenBack(images);
                } else {
                    expectTileReports(images, bad);
                }
                expectWhole(images, earlyEndOf(operation_.reportedName));
                if (testing::Test::HasFailure()) return;
            }
        }
    }

  private:
    bool tiled() const { return placing_ == Placing::Tiles || placing_ == Placing::TilesInPlace; }
    bool inPlace() const {
        return placing_ == Placing::InPlace || placing_ == Placing::TilesInPlace;
    }

    void runOn(Images &images) const {
        std::vector<ZylImage *> headers;
        for (auto &image : images) headers.push_back(image->header());
        if (inPlace()) headers.back() = headers.front();
        operation_.run(headers.data(), nullptr);
    }

    TestImage &result(const Images &images) const {
        return inPlace() ? *images.front() : *images.back();
    }

    int imageCount() const { return operation_.measures ? 1 : static_cast<int>(before_.size()); }

    // Some arguments leave the work, and the reports, to another function.
    const EarlyEnd &reportingEnd() const {
        const EarlyEnd &own = earlyEndOf(operation_.reportedName);
        for (const std::string &other : own.others) {
            const EarlyEnd &end = earlyEndOf(other);
            const bool silent = reports_.all().empty() && !end.keepsTiles();
            if (silent ||
                (!silent && !reports_.all().empty() && reports_.all().front().function == other)) {
                return end;
            }
        }
        return own;
    }

    static int requestsOf(const TestImage &image) {
        const auto &calls = image.tileCalls();
        return static_cast<int>(std::count_if(calls.begin(), calls.end(), [](const TileCall &call) {
            return call.mode != ZYL_RELEASE_TILE;
        }));
    }

    void expectTileReports(const Images &images, std::size_t bad) {
        const bool written = images[bad]->failedRequest() == ZYL_GET_TILE_TO_WRITE;
        const EarlyEnd &end = reportingEnd();
        const auto expected = end.tileReports(static_cast<int>(bad), imageCount(), written);
        EXPECT_EQ(reports_.all(), expected);
        EXPECT_EQ(zylGetErrStatus(), expected.empty() ? ZYL_StsOk : expected.front().status);
        const bool goesOn = expected.empty();
        for (std::size_t i = 0; i < images.size(); ++i) {
            // Of images before the one that failed, a tile is held at that moment.
            const int held = end.keepsTiles() && i < bad ? 1 : 0;
            if (end.keepsTiles() && i > bad) {
                EXPECT_LE(images[i]->tilesHeld(), 1);
            } else {
                EXPECT_EQ(images[i]->tilesHeld(), held) << "image " << i;
            }
            EXPECT_TRUE(goesOn || !images[i]->askedAfterFailure()) << "image " << i;
        }
    }

    // The image is source and destination: which of them failed is not told apart.
    void expectGivenBack(const Images &images) const {
        const bool kept = earlyEndOf(operation_.reportedName).keepsTiles();
        EXPECT_TRUE(kept || images.front()->tilesHeld() == 0);
    }

    // Of a destination in tiles, every part of 8 x 8 pixels is as it was or as it should
    // be; of one in memory, every row.
    void expectWhole(const Images &images, const EarlyEnd &end) const {
        expectSound(images);
        const bool sources = !inPlace() && !end.unspecified;
        for (std::size_t i = 0; sources && i + 1 < images.size(); ++i) {
            EXPECT_EQ(difference(*before_[i], *images[i]), "") << "a source was written";
        }
        if (end.unspecified) return;
        const Shape &shape = result(images).shape();
        const int width = tiled() ? 8 : shape.width;
        const int height = tiled() ? 8 : 1;
        for (int y = 0; y < shape.height; y += height) {
            for (int x = 0; x < shape.width; x += width) {
                ASSERT_TRUE(isAs(before_, images, x, y, width, height) ||
                            isAs(after_, images, x, y, width, height))
                    << "half done from (" << x << ", " << y << ") on";
            }
        }
    }

    bool isAs(const Images &expected, const Images &images, int left, int top, int width,
              int height) const {
        const TestImage &now = result(images);
        const Shape &shape = now.shape();
        for (int c = 1; c <= shape.channels; ++c) {
            for (int y = top; y < std::min(top + height, shape.height); ++y) {
                for (int x = left; x < std::min(left + width, shape.width); ++x) {
                    if (now.at(x, y, c) != result(expected).at(x, y, c)) return false;
                }
            }
        }
        return true;
    }

    const Operation &operation_;
    const Placing placing_;
    Images before_, after_;
    Reports reports_;
};

} // namespace

TEST_P(Laws, AnEarlierFailureEndsTheCallsThatSaySo) {
    const Operation &operation = GetParam();
    if (operation.measures) return;
    const EarlyEnd &end = earlyEndOf(operation.reportedName);
    const Reports reports;
    for (const Shape &shape : allShapes(operation)) {
        for (const bool tiled : {false, true}) {
            if (tiled && !operation.tilesSupported) continue;
            SCOPED_TRACE(describe(operation, shape, tiled ? "seed 8500, tiled" : "seed 8500"));
            Images images = makeImages(operation, shape, 8500);
            if (tiled) tileImages(images, ~0u);
            const Images before = copyImages(images);
            Images after = copyImages(images);
            run(operation, after);
            zylSetErrStatus(ZYL_StsNoConv);
            run(operation, images);
            zylSetErrStatus(ZYL_StsOk);
            const bool nothing = difference(*before.back(), *images.back()).empty();
            if (end.endsByStatus()) {
                EXPECT_TRUE(nothing);
                for (const auto &image : images) EXPECT_TRUE(image->tileCalls().empty());
            } else if (end.others.empty() || !nothing) {
                EXPECT_EQ(difference(*after.back(), *images.back()), "");
            }
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

TEST_P(Laws, ACallThatEndsEarlyLeavesNothingHalfDone) {
    const Operation &operation = GetParam();
    unsigned seed = 8000;
    for (const Shape &shape : allShapes(operation)) {
        for (const Placing placing :
             {Placing::Memory, Placing::InPlace, Placing::Tiles, Placing::TilesInPlace}) {
            const bool inPlace = placing == Placing::InPlace || placing == Placing::TilesInPlace;
            const bool tiled = placing == Placing::Tiles || placing == Placing::TilesInPlace;
            if ((inPlace && !operation.inPlace) || (tiled && !operation.tilesSupported)) continue;
            SCOPED_TRACE(describe(operation, shape,
                                  "placing " + std::to_string(static_cast<int>(placing)) +
                                      ", seed " + std::to_string(++seed)));
            EarlyCall call(operation, shape, placing, seed);
            call.failMemory();
            if (tiled) call.failTiles();
            if (placing == Placing::Tiles) call.keepTiles();
            if (HasFailure()) return;
        }
    }
}

} // namespace support
