#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "tests/convert/bitmaps.h"
#include "tests/convert/operations.h"

using namespace support;

namespace {

class Convert : public testing::TestWithParam<ConvertCase> {};

std::string caseName(const testing::TestParamInfo<ConvertCase> &info) {
    return info.param.operation.name;
}

Pixel pixelAt(const TestImage &image, int x, int y) {
    Pixel pixel;
    for (int c = 1; c <= image.shape().channels; ++c) pixel.push_back(image.at(x, y, c));
    return pixel;
}

// Results are defined for samples that are not negative, in colour operations.
void clearSigns(TestImage &image) {
    for (int c = 1; c <= image.shape().channels; ++c) {
        for (int y = 0; y < image.shape().height; ++y) {
            for (int x = 0; x < image.shape().width; ++x) {
                const std::int64_t v = image.at(x, y, c);
                if (v < 0) image.set(x, y, c, v + INT32_MAX + 1);
            }
        }
    }
}

void expectPixels(const ConvertCase &c, const TestImage &source, const TestImage &before,
                  const TestImage &result) {
    for (int y = 0; y < result.shape().height; ++y) {
        for (int x = 0; x < result.shape().width; ++x) {
            Pixel expected = c.expected(pixelAt(source, x, y));
            for (std::size_t k = 0; k < expected.size(); ++k) {
                const int channel = static_cast<int>(k) + 1;
                if (expected[k] == UNCHANGED) expected[k] = before.at(x, y, channel);
            }
            ASSERT_EQ(pixelAt(result, x, y), expected)
                << describe(source.shape()) << " (" << x << ", " << y << "), source "
                << testing::PrintToString(pixelAt(source, x, y));
        }
    }
}

// Data orders may differ between source and destination where the operation
// takes this.
TEST_P(Convert, EqualsTheReference) {
    const ConvertCase &c = GetParam();
    const Reports reports;
    const bool mixes =
        c.operation.name.starts_with("Convert") || c.operation.name.starts_with("Bitonal") ||
        c.operation.name.starts_with("ColorToGray") || c.operation.name.starts_with("GrayToColor");
    unsigned seed = 0;
    for (const Shape &shape : c.operation.shapes) {
        for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            for (const bool mixed : {false, true}) {
                if (mixed && !mixes) continue;
                // More than kernels take at a time; rows with and without gaps.
                Shape from = shape;
                from.order = order;
                from.width = shape.width == 1 ? 1 : seed % 3 == 0 ? 1101 : 1120;
                from.height = shape.height == 1 ? 1 : 5;
                Shape to = c.operation.result(from);
                if (mixed) to.order = 1 - order;
                TestImage source(from);
                source.randomise(++seed);
                if (!c.operation.name.starts_with("Convert")) clearSigns(source);
                TestImage result(to);
                result.randomise(seed + 50);
                const TestImage before(result);
                ZylImage *images[] = {source, result};
                c.operation.run(images, nullptr);
                expectPixels(c, source, before, result);
                EXPECT_TRUE(result.guardsIntact());
                if (HasFailure()) return;
            }
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

INSTANTIATE_TEST_SUITE_P(Cases, Convert, testing::ValuesIn(convertCases()), caseName);

// Bitmaps are blocks of memory: what is read from one of noise, and the bytes that
// are written to one.
constexpr int WIDTH = 37;
constexpr int HEIGHT = 29;

Operation bitmapOperation(const std::string &name, const std::string &reportedName, int sources) {
    Operation operation{name, reportedName, sources, {}};
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        operation.shapes.push_back({.depth = depth,
                                    .channels = 3,
                                    .width = WIDTH,
                                    .height = HEIGHT,
                                    .model = "RGB ",
                                    .sequence = "BGR"}); // with a zero behind
    }
    operation.pointwise = false;
    operation.regions = false;
    operation.inPlace = false;
    operation.tileArgument = false;
    operation.tilesSupported = false;
    operation.looseRows = false;
    operation.anySize = false;
    return operation;
}

Operation fromBitmap(int bits) {
    Operation operation = bitmapOperation("FromDib" + std::to_string(bits), "zylConvertFromDIB", 0);
    operation.run = [bits](ZylImage *const *images, const std::int32_t *) {
        BitmapBlock bitmap(WIDTH, HEIGHT, bits);
        std::mt19937 random(3);
        std::generate(bitmap.bytes().begin() + 40, bitmap.bytes().end(),
                      [&] { return static_cast<std::uint8_t>(random()); });
        zylConvertFromDIB(bitmap, images[0]);
    };
    return operation;
}

Operation toBitmap(int bits, int dither, int palette) {
    Operation operation =
        bitmapOperation("ToDib" + std::to_string(bits) + "_" + std::to_string(dither) + "_" +
                            std::to_string(palette),
                        "zylConvertToDIB", 1);
    operation.run = [=](ZylImage *const *images, const std::int32_t *) {
        BitmapBlock bitmap(WIDTH, HEIGHT, bits);
        zylConvertToDIB(images[0], bitmap, dither, palette);
        if (zylGetErrStatus() != ZYL_StsOk) return;
        auto *result = static_cast<TestImage *>(images[1]->imageTag);
        for (std::size_t i = 0; i < bitmap.bytes().size(); ++i) {
            result->set(static_cast<int>(i), 0, 1, bitmap.bytes()[i]);
        }
    };
    operation.result = [bits](const Shape &) {
        const std::size_t bytes = BitmapBlock(WIDTH, HEIGHT, bits).bytes().size();
        return Shape{.width = static_cast<int>(bytes), .height = 1};
    };
    operation.measures = true;
    return operation;
}

std::vector<Operation> lawTable() {
    std::vector<Operation> table = {fromBitmap(8), fromBitmap(24), toBitmap(24, 1, 0),
                                    toBitmap(8, 1, 1), toBitmap(4, 8, 2)};
    for (const ConvertCase &c : convertCases()) {
        if (c.lawful) table.push_back(c.operation);
    }
    return table;
}

} // namespace

namespace support {
ZYLQX_RUN_LAWS(ConvertFamily, lawTable());
}
