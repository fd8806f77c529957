// BMP files, sound and damaged. A damaged one is refused, or gives a block that
// the library reads to its end and not a byte further, which the sanitizers see.

#include <gtest/gtest.h>
#include <memory>
#include <random>

#include "tests/convert/bitmaps.h"
#include "tests/support/images.h"
#include "tools/bitmap_file.h"
#include "tools/text.h"

using support::Reports;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes blockOf(int bits, int height, std::uint32_t entries, std::vector<std::uint32_t> masks,
              std::mt19937 &random) {
    BitmapBlock block(13, height, bits, entries, std::move(masks));
    for (std::uint8_t *p = block.pixels(); p < block.bytes().data() + block.bytes().size(); ++p) {
        *p = static_cast<std::uint8_t>(random());
    }
    return block.bytes();
}

std::vector<Bytes> soundBlocks() {
    std::mt19937 random(1);
    std::vector<Bytes> blocks;
    for (const int height : {5, -5}) {
        for (const int bits : {1, 4, 8, 16, 24, 32}) {
            blocks.push_back(blockOf(bits, height, bits == 8 ? 7 : 0, {}, random));
        }
        blocks.push_back(blockOf(16, height, 0, {0xF800, 0x07E0, 0x001F}, random));
        blocks.push_back(blockOf(32, height, 0, {0xFF, 0xFF00, 0xFF0000}, random));
    }
    return blocks;
}

void put(Bytes &bytes, std::size_t offset, std::uint32_t value, std::size_t size = 4) {
    for (std::size_t i = 0; i < size && offset + i < bytes.size(); ++i) {
        bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

// Reads the file as the tool does; false when it is refused, in so many words.
bool readAll(const Bytes &file) {
    Bytes block;
    try {
        block = tool::bitmapBlock(file);
    } catch (const tool::Failure &failure) {
        EXPECT_GT(std::string(failure.what()).size(), 5u);
        return false;
    }
    // A block of exactly its length, so that reading on is noticed.
    const auto exact = std::make_unique<std::uint8_t[]>(block.size());
    std::copy(block.begin(), block.end(), exact.get());
    std::int32_t shared = 0;
    ZylImage *image = zylTranslateDIB(exact.get(), &shared);
    if (image == nullptr) return false;
    ZylImage *copy =
        zylCreateImageHeader(3, 0, ZYL_DEPTH_8U, "RGB", "RGB", ZYL_DATA_ORDER_PIXEL, ZYL_ORIGIN_TL,
                             4, image->height, image->width, nullptr, nullptr, nullptr);
    if (copy != nullptr) zylAllocateImage(copy, 0);
    if (copy != nullptr && copy->imageData != nullptr) zylConvertFromDIB(exact.get(), copy);
    zylDeallocate(copy, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    return true;
}

TEST(BitmapFile, GivesTheBlockBack) {
    for (const Bytes &block : soundBlocks()) {
        EXPECT_EQ(tool::bitmapBlock(tool::bitmapFile(block)), block);
    }
}

TEST(BitmapFile, SkipsLaterHeadersAndGaps) {
    for (const Bytes &block : soundBlocks()) {
        const bool fields = block[16] == 3;
        Bytes file = tool::bitmapFile(block);
        const std::uint32_t pixels = file[10] + 256u * file[11];
        // A header of 108 bytes holds the masks; a gap before the pixels follows.
        const std::uint32_t grown = (fields ? 108 - 12 : 108) - 40;
        const std::uint32_t gap = 9;
        file.insert(file.begin() + pixels, gap, 0xEE);
        file.insert(file.begin() + (fields ? 54 + 12 : 54), grown, 0);
        put(file, 14, 108);
        put(file, 10, pixels + grown + gap);
        EXPECT_EQ(tool::bitmapBlock(file), block);
    }
}

TEST(BitmapFile, RefusesLies) {
    struct Lie {
        std::size_t offset;
        std::uint32_t value;
        std::size_t size;
        const char *text;
    };
    const Lie lies[] = {
        {0, 'X', 1, "is not a BMP file"},
        {10, 0xFFFFFFF0, 4, "is truncated"},
        {10, 20, 4, "has its pixels before the end of its header"},
        {14, 12, 4, "has a header of an old kind"},
        {14, 0xFFFFFFFF, 4, "is truncated"},
        {18, 0, 4, "has no pixels"},
        {18, 0x80000000, 4, "has no pixels"},
        {18, 0x7FFFFFFF, 4, "is truncated"},
        {22, 0, 4, "has no pixels"},
        {22, 0x80000000, 4, "is truncated"},
        {22, 0x7FFFFFFF, 4, "is truncated"},
        {26, 0, 2, "does not have one plane"},
        {28, 2, 2, "does not have 1, 4, 8, 16, 24 or 32 bits a pixel"},
        {30, 1, 4, "is compressed, which zyl does not read"},
        {30, 3, 4, "has bit fields where there are colors"},
        {46, 257, 4, "has more colors than its bits name"},
        {46, 0xFFFFFFFF, 4, "has more colors than its bits name"},
    };
    std::mt19937 random(2);
    for (const Lie &lie : lies) {
        Bytes file = tool::bitmapFile(blockOf(8, 5, 0, {}, random));
        put(file, lie.offset, lie.value, lie.size);
        try {
            tool::bitmapBlock(file);
            ADD_FAILURE() << lie.text;
        } catch (const tool::Failure &failure) {
            EXPECT_STREQ(failure.what(), lie.text);
        }
    }
    Bytes masked = tool::bitmapFile(blockOf(16, 5, 0, {0xF800, 0x10000, 0x1F}, random));
    EXPECT_THROW(tool::bitmapBlock(masked), tool::Failure);
}

TEST(BitmapFile, RefusesEveryTruncation) {
    const Reports reports;
    for (const Bytes &block : soundBlocks()) {
        const Bytes file = tool::bitmapFile(block);
        EXPECT_TRUE(readAll(file));
        for (std::size_t n = 0; n < file.size(); ++n) {
            EXPECT_FALSE(
                readAll(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(n))))
                << n << " of " << file.size() << " bytes";
        }
    }
}

// Bytes changed at random, most of them in the headers, where numbers that matter
// are preferred.
TEST(BitmapFile, SurvivesDamage) {
    const Reports reports;
    std::mt19937 random(20);
    const std::vector<Bytes> blocks = soundBlocks();
    const std::uint32_t numbers[] = {0,          1,          3,          4,         8,   12,
                                     16,         24,         32,         40,        108, 256,
                                     0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFF0};
    const std::size_t fields[] = {2, 10, 14, 18, 22, 26, 28, 30, 34, 46, 50, 54, 58, 62};
    int read = 0;
    int refused = 0;
    for (int i = 0; i < 40000; ++i) {
        Bytes file = tool::bitmapFile(blocks[random() % blocks.size()]);
        for (unsigned k = random() % 3; k != ~0u; --k) {
            switch (random() % 4) {
            case 0:
                put(file, random() % file.size(), random(), 1);
                break;
            case 1:
                put(file, random() % 70, random(), 1);
                break;
            default:
                put(file, fields[random() % std::size(fields)],
                    numbers[random() % std::size(numbers)], random() % 2 == 0 ? 4 : 2);
            }
        }
        if (random() % 8 == 0) file.resize(random() % file.size());
        SCOPED_TRACE(i);
        ++(readAll(file) ? read : refused);
    }
    EXPECT_GT(read, 5000);
    EXPECT_GT(refused, 5000);
}

} // namespace
