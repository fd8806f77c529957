// Header faults: their bits, and their texts in the order of the reports.

#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "core/image.h"
#include "tests/support/images.h"

namespace {

using support::AllocationFault;
using support::Shape;
using support::TestImage;

struct Fault {
    std::int32_t bit;
    std::string line;
    std::function<void(ZylImage &)> make;
};

// In the order of the reports; the changes do not disturb each other.
const std::vector<Fault> &memoryFaults() {
    static const std::vector<Fault> faults = {
        {0x2, "Image data and tileinfo is either null or not null                    \n",
         [](ZylImage &image) { image.imageData = nullptr; }},
        {0x4, "Image size is invalid                                                 \n",
         [](ZylImage &image) { image.imageSize = 0; }},
        {0x10, "Image widthStep is invalid                                            \n",
         [](ZylImage &image) { image.widthStep = 0; }},
        {0x20, "Image channel's number is less one                                    \n",
         [](ZylImage &image) { image.nChannels = 0; }},
        {0x80, "Image depth is invalid                                                \n",
         [](ZylImage &image) { image.depth = 32; }},
        {0x100, "Image alpha channel's number is less zero or is more channel's number \n",
         [](ZylImage &image) { image.alphaChannel = -1; }},
        {0x200, "Image data order is invalid                                           \n",
         [](ZylImage &image) { image.dataOrder = 2; }},
        {0x400, "Image origin is invalid                                               \n",
         [](ZylImage &image) { image.origin = -1; }},
        {0x800, "Image align is invalid                                                \n",
         [](ZylImage &image) { image.align = 16; }},
        {0x4000, "COI is less zero or is more image channel's number                    \n",
         [](ZylImage &image) { image.roi->coi = 4; }},
        {0x8000, "ROI size is invalid                                                   \n",
         [](ZylImage &image) { image.roi->height = 0; }},
        {0x8, "ROI offset is invalid                                                 \n",
         [](ZylImage &image) { image.roi->xOffset = -1; }},
    };
    return faults;
}

TestImage soundImage(std::uint32_t depth = ZYL_DEPTH_8U) {
    TestImage image({.depth = depth, .channels = 3, .width = 10, .height = 10});
    image.region(0, 1, 1, 5, 5);
    return image;
}

std::string message(std::int32_t mask) {
    const char *text = zylqx::headerMessage(mask);
    std::string copy = text != nullptr ? text : "";
    zylqx::freeHeaderMessage(text);
    return copy;
}

TEST(HeaderFaults, EveryCombinationHasItsBitsAndLines) {
    const auto count = memoryFaults().size();
    for (unsigned subset = 0; subset < 1u << count; ++subset) {
        TestImage image = soundImage();
        std::int32_t mask = 0;
        std::string lines;
        for (std::size_t i = 0; i < count; ++i) {
            if ((subset >> i & 1) == 0) continue;
            memoryFaults()[i].make(*image.header());
            mask |= memoryFaults()[i].bit;
            lines += memoryFaults()[i].line;
        }
        ASSERT_EQ(zylBadImageHeader(image), mask) << std::hex << "subset " << subset;
        ASSERT_EQ(message(mask), lines) << std::hex << "subset " << subset;
    }
}

TEST(HeaderFaults, OfSpecialShapes) {
    struct {
        std::int32_t mask;
        std::function<void(ZylImage &)> make;
    } const cases[] = {
        {0x4, [](ZylImage &image) { image.height = 0; }},
        {0x4, [](ZylImage &image) { image.width = -1; }},
        {0x20, [](ZylImage &image) { image.nChannels = -5, image.roi = nullptr; }},
        {0x40, [](ZylImage &image) { image.depth = ZYL_DEPTH_1U; }},
        {0x80, [](ZylImage &image) { image.depth = ZYL_DEPTH_SIGN | 1u; }},
        {0x100, [](ZylImage &image) { image.alphaChannel = 4; }},
        {0x4000, [](ZylImage &image) { image.roi->coi = -1; }},
        {0x8000, [](ZylImage &image) { image.roi->width = -1; }},
        {0x8, [](ZylImage &image) { image.roi->yOffset = -1; }},
        // What is not looked at.
        {0, [](ZylImage &image) { image.headerSize = 0; }},
        {0, [](ZylImage &image) { image.roi->xOffset = 1000; }},
        {0, [](ZylImage &image) { image.widthStep = 1; }},
    };
    int index = 0;
    for (const auto &c : cases) {
        TestImage image = soundImage();
        c.make(*image.header());
        const std::int32_t alpha = image.header()->nChannels < 0 ? 0x100 : 0;
        EXPECT_EQ(zylBadImageHeader(image), c.mask | alpha) << "case " << index;
        ++index;
    }
    EXPECT_EQ(zylBadImageHeader(nullptr), 0x1);
    EXPECT_EQ(message(0x1),
              "Image header is null                                                  \n");
    EXPECT_EQ(message(0x40),
              "For image depth 1U channel's number is not equal one                  \n");
}

TEST(HeaderFaults, OfTiledImages) {
    const auto mask = [](int width, int height, const std::function<void(ZylImage &)> &change) {
        TestImage image = soundImage();
        image.tiles(width, height);
        // Neither stride nor size of a tiled image counts.
        image.header()->widthStep = 0;
        image.header()->imageSize = 0;
        change(*image.header());
        return zylBadImageHeader(image);
    };
    const auto nothing = [](ZylImage &) {};
    EXPECT_EQ(mask(8, 16, nothing), 0);
    for (const int size : {12, 0, -8, 4}) {
        EXPECT_EQ(mask(size, 16, nothing), 0x2000) << size;
        EXPECT_EQ(mask(16, size, nothing), 0x2000) << size;
    }
    EXPECT_EQ(mask(8, 8, [](ZylImage &image) { image.tileInfo->callBack = nullptr; }), 0x1000);
    EXPECT_EQ(mask(12, 8, [](ZylImage &image) { image.tileInfo->callBack = nullptr; }), 0x3000);
    unsigned char pixel = 0;
    EXPECT_EQ(mask(8, 8, [&](ZylImage &image) { image.imageData = &pixel; }), 0x2);
    EXPECT_EQ(message(0x3000),
              "Callback is null                                                      \n"
              "Tile size is invalid                                                  \n");
}

TEST(HeaderFaults, OtherTexts) {
    EXPECT_EQ(zylqx::headerMessage(0), nullptr);
    EXPECT_EQ(message(0x20000), "Bad status: unknown error");
    EXPECT_EQ(message(0x20000 | 0x800),
              "Image align is invalid                                                \n");
    const AllocationFault fault(1);
    EXPECT_EQ(message(0x4), "Out of memory");
}

} // namespace
