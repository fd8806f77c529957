// Bad input: the exact report of every header fault from every function, and
// random headers, which must never make a function leave its pixels.

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

#include "core/image.h"
#include "core/memory.h"
#include "tests/support/images.h"

using namespace support;

namespace {

// Every function that takes images, with as many as it takes; `value` is its
// other argument.
struct Function {
    const char *name, *file; // as reported
    int images;
    void (*run)(ZylImage *const *images, std::uint32_t value, const std::int32_t *tile);
};

#define TWO_SOURCES(name, file)                                                                    \
    {                                                                                              \
#name, file, 3,                                                                            \
            [](ZylImage *const *i, std::uint32_t,                                                  \
               const std::int32_t *tile) { name(i[0], i[1], i[2], tile); }                         \
    }
#define ONE_SOURCE(name, reported, file)                                                           \
    {                                                                                              \
        reported, file, 2, [](ZylImage *const *i, std::uint32_t, const std::int32_t *tile) {       \
            name(i[0], i[1], tile);                                                                \
        }                                                                                          \
    }
#define CONSTANT(name, file, type)                                                                 \
    {                                                                                              \
#name, file, 2,                                                                            \
            [](ZylImage *const *i, std::uint32_t value,                                            \
               const std::int32_t *tile) { name(i[0], i[1], static_cast<type>(value), tile); }     \
    }

const Function FUNCTIONS[] = {
    TWO_SOURCES(zylAdd, "zyladd"),
    {"zylSubtract", "zylsub", 3,
     [](ZylImage *const *i, std::uint32_t value, const std::int32_t *tile) {
         zylSubtract(i[0], i[1], i[2], static_cast<std::int32_t>(value & 1), tile);
     }},
    TWO_SOURCES(zylMultiply, "zylmul"),
    TWO_SOURCES(zylAnd, "zyland"),
    TWO_SOURCES(zylOr, "zylor"),
    TWO_SOURCES(zylXor, "zylxor"),
    CONSTANT(zylAddS, "zyladds", std::int32_t),
    {"zylSubtractS", "zylsubs", 2,
     [](ZylImage *const *i, std::uint32_t value, const std::int32_t *tile) {
         zylSubtractS(i[0], i[1], static_cast<std::int32_t>(value),
                      static_cast<std::int32_t>(value & 1), tile);
     }},
    CONSTANT(zylMultiplyS, "zylmuls", std::uint32_t),
    CONSTANT(zylLShiftS, "zyllshs", std::uint32_t),
    CONSTANT(zylRShiftS, "zylshfts", std::uint32_t),
    ONE_SOURCE(zylSquare, "zylSquare", "zylsqr"),
    ONE_SOURCE(zylAbs, "zylAbs", "zylabs"),
    CONSTANT(zylAndS, "zylands", std::uint32_t),
    CONSTANT(zylOrS, "zylors", std::uint32_t),
    CONSTANT(zylXorS, "zylxors", std::uint32_t),
    ONE_SOURCE(zylNot, "zylXorS", "zylxors"),
    ONE_SOURCE(zylCopy, "zylCopy", "zylSCE"),
    ONE_SOURCE(zylExchange, "zylExchange", "zylSCE"),
    {"zylSet", "zylSCE", 1,
     [](ZylImage *const *i, std::uint32_t value, const std::int32_t *tile) {
         zylSet(i[0], static_cast<std::int32_t>(value), tile);
     }},
};

// --- every fault from every function ---

struct Fault {
    std::int32_t mask;
    bool tiled;
    void (*make)(ZylImage &image);
};

const Fault FAULTS[] = {
    {ZYL_FAULT_DATA, false, [](ZylImage &image) { image.imageData = nullptr; }},
    {ZYL_FAULT_DATA, true,
     [](ZylImage &image) { image.imageData = reinterpret_cast<unsigned char *>(&image); }},
    {ZYL_FAULT_SIZE, false, [](ZylImage &image) { image.width = 0; }},
    {ZYL_FAULT_SIZE, false, [](ZylImage &image) { image.imageSize = -1; }},
    {ZYL_FAULT_SIZE, true, [](ZylImage &image) { image.height = INT_MIN; }},
    {ZYL_FAULT_ROI_OFFSET, false, [](ZylImage &image) { image.roi->xOffset = -3; }},
    {ZYL_FAULT_WIDTH_STEP, false, [](ZylImage &image) { image.widthStep = -4; }},
    {ZYL_FAULT_CHANNELS, true, [](ZylImage &image) { image.nChannels = 0; }},
    {ZYL_FAULT_BITONAL_CHANNELS, false, [](ZylImage &image) { image.depth = ZYL_DEPTH_1U; }},
    {ZYL_FAULT_DEPTH, false, [](ZylImage &image) { image.depth = 33; }},
    {ZYL_FAULT_ALPHA, true, [](ZylImage &image) { image.alphaChannel = 4; }},
    {ZYL_FAULT_DATA_ORDER, false, [](ZylImage &image) { image.dataOrder = INT_MAX; }},
    {ZYL_FAULT_ORIGIN, false, [](ZylImage &image) { image.origin = 2; }},
    {ZYL_FAULT_ALIGN, true, [](ZylImage &image) { image.align = 5; }},
    {ZYL_FAULT_CALLBACK, true, [](ZylImage &image) { image.tileInfo->callBack = nullptr; }},
    {ZYL_FAULT_TILE_SIZE, true, [](ZylImage &image) { image.tileInfo->height = 12; }},
    {ZYL_FAULT_COI, false, [](ZylImage &image) { image.roi->coi = 4; }},
    {ZYL_FAULT_ROI_SIZE, true, [](ZylImage &image) { image.roi->height = 0; }},
    {ZYL_FAULT_TILE_SIZE | ZYL_FAULT_COI | ZYL_FAULT_ROI_SIZE | ZYL_FAULT_ROI_OFFSET, true,
     [](ZylImage &image) {
         image.tileInfo->width = -8;
         *image.roi = {-1, INT_MIN, 0, INT_MIN, 1};
     }},
};

std::string headerMessage(std::int32_t mask) {
    const char *text = zylqx::headerMessage(mask);
    std::string copy = text;
    zylqx::freeHeaderMessage(text);
    return copy;
}

// Three images that go together.
struct Images {
    Images() {
        for (int i = 0; i < 3; ++i) {
            images[i] = std::make_unique<TestImage>(
                Shape{.channels = 3, .width = 12, .height = 10, .model = "RGB "});
            images[i]->randomise(static_cast<unsigned>(i)).region(0, 1, 1, 7, 7);
            headers[i] = images[i]->header();
            before[i] = images[i]->bytes();
        }
    }

    void expectUntouched() const {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(images[i]->bytes(), before[i]);
            EXPECT_TRUE(images[i]->tileCalls().empty());
        }
    }

    std::unique_ptr<TestImage> images[3];
    ZylImage *headers[3];
    std::vector<unsigned char> before[3];
};

TEST(BadInput, EveryHeaderFaultHasItsReport) {
    Reports reports;
    for (const Function &function : FUNCTIONS) {
        for (int bad = 0; bad < function.images; ++bad) {
            for (const Fault &fault : FAULTS) {
                SCOPED_TRACE(std::string(function.name) + ", fault " + std::to_string(fault.mask) +
                             " of image " + std::to_string(bad));
                Images images;
                if (fault.tiled) images.images[bad]->tiles(8, 8);
                fault.make(*images.headers[bad]);
                reports.clear();
                function.run(images.headers, 1, nullptr);
                EXPECT_EQ(reports.all(),
                          (std::vector<Report>{{ZYL_StsBadArg, function.name,
                                                headerMessage(fault.mask), function.file}}));
                EXPECT_EQ(zylGetErrStatus(), ZYL_StsBadArg);
                images.expectUntouched();
            }
        }
    }
}

TEST(BadInput, NullImagesAndTheFirstOfTwoFaults) {
    Reports reports;
    for (const Function &function : FUNCTIONS) {
        SCOPED_TRACE(function.name);
        for (int bad = 0; bad < function.images; ++bad) {
            Images images;
            images.headers[bad] = nullptr;
            // The later images are not looked at.
            for (int later = bad + 1; later < 3; ++later) images.headers[later]->origin = 7;
            reports.clear();
            function.run(images.headers, 1, nullptr);
            EXPECT_EQ(reports.all(), (std::vector<Report>{{ZYL_StsBadArg, function.name,
                                                           headerMessage(0x1), function.file}}));
            images.expectUntouched();
        }
        // The lines of a report need memory.
        Images images;
        images.headers[0]->align = 3;
        reports.clear();
        const AllocationFault fault(1);
        function.run(images.headers, 1, nullptr);
        EXPECT_EQ(reports.texts(), std::vector<std::string>{"Out of memory"});
    }
}

// --- random headers ---

// Pixels for any image of at most MAX_SIZE columns and rows, 4 channels of 4
// bytes, and strides up to MAX_STRIDE. The block has exactly this size, so that
// the sanitizers see an access past it.
constexpr int MAX_SIZE = 40;
constexpr int MAX_STRIDE = 2 * MAX_SIZE * 4 * 4;
constexpr std::size_t PIXEL_BYTES = std::size_t{MAX_STRIDE} * (MAX_SIZE + 8) * 4;

class RandomImage {
  public:
    explicit RandomImage(std::mt19937 &random) : random_(random) {
        header.headerSize = sizeof(ZylImage);
        header.depth = choose({ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U,
                               ZYL_DEPTH_16S, ZYL_DEPTH_32S});
        header.nChannels = header.depth == ZYL_DEPTH_1U ? 1 : pick(1, 4);
        header.dataOrder = pick(0, 1);
        header.align = pick(0, 1) != 0 ? 4 : 8;
        header.width = pick(1, MAX_SIZE);
        header.height = pick(1, MAX_SIZE);
        header.imageData = pixels();
        layOut();
        if (pick(0, 2) == 0) makeTiled();
        if (pick(0, 1) == 0) makeRegion();
    }
    RandomImage(const RandomImage &) = delete;
    RandomImage &operator=(const RandomImage &) = delete;

    // Makes the images of one call alike, or else nearly every call ends at a
    // check.
    void follow(const RandomImage &other) {
        header.depth = other.header.depth;
        header.nChannels = other.header.nChannels;
        header.dataOrder = other.header.dataOrder;
        header.origin = other.header.origin;
        if (pick(0, 1) == 0) {
            header.width = other.header.width;
            header.height = other.header.height;
            header.align = other.header.align;
        }
        layOut();
        if (header.roi != nullptr) {
            roi_.coi = other.header.roi != nullptr ? other.header.roi->coi : 0;
        }
    }

    // Changes one field to anything that the pixels allow or the checks refuse.
    void spoil() {
        const int odd = choose({-1, 0, 2, 3, 5, INT_MAX, INT_MIN});
        switch (pick(0, 13)) {
        case 0:
            header.headerId = odd;
            break;
        case 1:
            header.nChannels = choose({-1, 0, 1, 2, 3, 4});
            break;
        case 2:
            header.alphaChannel = choose({-1, 0, 1, 2, 5});
            break;
        case 3:
            header.depth = choose({0u, 1u, 8u, 16u, 32u, 0x80000001u, 0x80000008u, 0x80000010u,
                                   0x80000020u, 0xFFFFFFFFu});
            break;
        case 4:
            header.dataOrder = choose({-1, 0, 1, 2});
            break;
        case 5:
            header.origin = choose({-1, 0, 1, 2});
            break;
        case 6:
            header.align = choose({0, 4, 8, 16, -4});
            break;
        case 7:
            header.height = choose({-1, 0, 1, MAX_SIZE});
            break;
        case 8:
            header.width = choose({-1, 0, 1, MAX_SIZE});
            break;
        case 9:
            // Tiles can be had for an image of any size, pixels cannot.
            if (header.tileInfo != nullptr && header.roi != nullptr) {
                header.width = INT_MAX;
                header.height = INT_MAX - 1;
                roi_.xOffset = INT_MAX - pick(0, 50);
                roi_.yOffset = INT_MAX - pick(0, 50);
            }
            break;
        case 10:
            header.imageSize = choose({-1, 0, 1, 7, 1000, static_cast<int>(PIXEL_BYTES)});
            break;
        case 11:
            header.widthStep = choose({-4, 0, 4, 8, MAX_STRIDE});
            break;
        case 12:
            if (std::max(header.width, header.height) > MAX_SIZE) break; // far too many tiles
            makeRegion();
            roi_.coi = choose({0, 0, 1, 2, 4, 5, -1, INT_MAX});
            *(pick(0, 1) != 0 ? &roi_.xOffset : &roi_.yOffset) = odd;
            *(pick(0, 1) != 0 ? &roi_.width : &roi_.height) = choose({1, 7, INT_MAX, 0, INT_MIN});
            break;
        default:
            if (header.tileInfo == nullptr) break;
            *(pick(0, 1) != 0 ? &tileInfo_.width : &tileInfo_.height) =
                choose({8, 16, 24, 0, -8, 12, INT_MIN});
            refused_ = pick(0, 1) != 0 ? pick(1, 5) : 0;
            break;
        }
    }

    ZylImage header{};

  private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

    template <class T>
    T choose(std::initializer_list<T> values) {
        return values.begin()[pick(0, static_cast<int>(values.size()) - 1)];
    }

    unsigned char *pixels() { return reinterpret_cast<unsigned char *>(pixels_.get()); }

    // The fields that follow from the others.
    void layOut() {
        header.widthStep = zylqx::rowStride(header, header.width);
        header.imageSize = zylqx::imageBytes(header, header.widthStep);
    }

    void makeTiled() {
        header.imageData = nullptr;
        tileInfo_ = {callBack, this, nullptr, 8 * pick(1, 3), 8 * pick(1, 3)};
        header.tileInfo = &tileInfo_;
    }

    void makeRegion() {
        roi_ = {pick(0, 2) == 0 ? pick(1, std::max(header.nChannels, 1)) : 0, pick(0, MAX_SIZE),
                pick(0, MAX_SIZE), pick(1, MAX_SIZE), pick(1, MAX_SIZE)};
        header.roi = &roi_;
    }

    // Delivers the same pixels for every tile, and now and then nothing.
    static void ZYL_CALL callBack(ZylImage *image, std::int32_t, std::int32_t, std::int32_t mode) {
        auto *self = static_cast<RandomImage *>(image->tileInfo->id);
        const bool deliver = mode != ZYL_RELEASE_TILE && --self->refused_ != 0;
        image->tileInfo->tileData = deliver ? self->pixels() : nullptr;
    }

    std::mt19937 &random_;
    ZylROI roi_{};
    ZylTileInfo tileInfo_{};
    int refused_ = 0; // counts requests down to the one that gives nothing
    std::unique_ptr<std::uint64_t[]> pixels_ =
        std::make_unique<std::uint64_t[]>(PIXEL_BYTES / sizeof(std::uint64_t));
};

TEST(BadInput, RandomHeadersNeverCrash) {
    Reports reports;
    int quiet = 0;
    constexpr int ROUNDS = 3000;
    for (unsigned seed = 0; seed < ROUNDS; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        RandomImage images[] = {RandomImage(random), RandomImage(random), RandomImage(random)};
        images[1].follow(images[0]);
        images[2].follow(images[0]);
        for (unsigned n = random() % 4; n > 0; --n) images[random() % 3].spoil();
        ZylImage *headers[] = {&images[0].header, &images[1].header, &images[2].header};
        if (random() % 8 == 0) headers[random() % 3] = headers[random() % 3];
        const std::int32_t tile[] = {static_cast<std::int32_t>(random() % 6) - 1,
                                     static_cast<std::int32_t>(random() % 6) - 1};
        const std::uint32_t values[] = {0, 1, 7, 200, 70000, 0x80000000u, 0xFFFFFFFFu};
        for (const Function &function : FUNCTIONS) {
            reports.clear();
            function.run(headers, values[random() % std::size(values)],
                         random() % 3 == 0 ? tile : nullptr);
            quiet += reports.all().empty();
        }
    }
    // Most headers must get past the checks for the test to mean anything.
    EXPECT_GT(quiet, ROUNDS * static_cast<int>(std::size(FUNCTIONS)) / 3);
}

// Creation, allocation and release with any arguments.
TEST(BadInput, RandomCreationNeverCrashes) {
    zylqx::refuseAllocations([](std::size_t bytes) { return bytes > 1u << 20; });
    std::mt19937 random(1);
    const std::int32_t values[] = {INT_MIN, -1, 0, 1, 2, 3, 4, 8, 100, 70000, INT_MAX};
    const auto any = [&] { return values[random() % std::size(values)]; };
    const std::uint32_t depths[] = {1,           8,           16,          32,         0,
                                    0x80000008u, 0x80000010u, 0x80000020u, 0x80000001u};
    int made = 0;
    for (int i = 0; i < 200000; ++i) {
        ZylROI *roi = zylCreateROI(any(), any(), any(), any(), any());
        ZylImage *image =
            zylCreateImageHeader(any(), any(), depths[random() % std::size(depths)], "GRAY", "G   ",
                                 any(), any(), any(), any(), any(), roi, nullptr, nullptr);
        if (image == nullptr) {
            zylDeleteROI(roi);
            continue;
        }
        ++made;
        zylAllocateImage(image, any());
        zylSetBorderMode(image, any(), any(), any());
        EXPECT_EQ(image->imageData != nullptr, image->imageDataOrigin != nullptr);
        zylBadImageHeader(image);
        zylDeallocate(image, ZYL_DEALLOC_ALL);
    }
    zylqx::refuseAllocations(nullptr);
    EXPECT_GT(made, 100);
}

} // namespace
