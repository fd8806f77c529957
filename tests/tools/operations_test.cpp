// Every operation of the tool, over every depth, gray and color, with and without
// alpha, in one tile and in many: it gives what a direct call of the library gives,
// or refuses the picture before any work.
#include "chain.h"
#include "described.h"
#include "operations.h"
#include "text.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>

namespace tool {
namespace {

constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                    ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};

Image noise(const Shape &shape, unsigned seed) {
    Image image(shape);
    std::mt19937 random(seed);
    for (int y = 0; y < shape.height; ++y)
        for (int i = 0; i < image.header()->widthStep; ++i)
            image.row(y)[i] = static_cast<unsigned char>(random() % 251);
    return image;
}

// The samples alone, without the rows' padding.
std::vector<unsigned char> samples(const Image &image) {
    const Shape shape = image.shape();
    const int bits = static_cast<int>(shape.depth & ~ZYL_DEPTH_SIGN) * shape.channels * shape.width;
    std::vector<unsigned char> all;
    for (int y = 0; y < shape.height; ++y) {
        all.insert(all.end(), image.row(y), image.row(y) + (bits + 7) / 8);
        if (bits % 8) all.back() &= static_cast<unsigned char>(0xFF00 >> bits % 8);
    }
    return all;
}

using Images = std::vector<ZylImage *>;

struct Case {
    const char *words;
    // The same on pictures in memory: the source, another picture, the result.
    void (*direct)(ZylImage *a, ZylImage *b, ZylImage *to);
    bool keepsAlpha = false;
};

struct KernelOwner {
    KernelOwner(int rows, int columns, const std::vector<std::int8_t> &values, int shift)
        : kernel(zylCreateConvKernel(rows, columns, columns / 2, rows / 2, values.data(), shift)) {}
    ~KernelOwner() { zylDeleteConvKernel(kernel); }
    ZylConvKernel *kernel;
};

void replicate(ZylImage *image) {
    zylSetBorderMode(image, ZYL_BORDER_REPLICATE, ZYL_SIDE_ALL, 0);
}

#define DIRECT []([[maybe_unused]] ZylImage * a, [[maybe_unused]] ZylImage * b, ZylImage * to)
#define AROUND(...)                                                                                \
    DIRECT {                                                                                       \
        replicate(a);                                                                              \
        replicate(to);                                                                             \
        __VA_ARGS__;                                                                               \
    }

const Case CASES[] = {{"add:with=b", DIRECT{zylAdd(a, b, to, nullptr);
} // namespace
, true
} // namespace tool
, {"subtract:with=b,reverse", DIRECT{zylSubtract(a, b, to, 1, nullptr);
}
, true
}
, {"multiply:with=b", DIRECT{zylMultiply(a, b, to, nullptr);
}
, true
}
, {"add-s:value=-40", DIRECT{zylAddS(a, to, -40, nullptr);
}
, true
}
, {"subtract-s:value=77,reverse", DIRECT{zylSubtractS(a, to, 77, 1, nullptr);
}
, true
}
, {"multiply-s:value=3", DIRECT{zylMultiplyS(a, to, 3, nullptr);
}
, true
}
, {"l-shift-s:shift=2", DIRECT{zylLShiftS(a, to, 2, nullptr);
}
, true
}
, {"r-shift-s:shift=1", DIRECT{zylRShiftS(a, to, 1, nullptr);
}
, true
}
, {"square", DIRECT{zylSquare(a, to, nullptr);
}
, true
}
, {"abs", DIRECT{zylAbs(a, to, nullptr);
}
, true
}
, {"and:with=b", DIRECT{zylAnd(a, b, to, nullptr);
}
, true
}
, {"or:with=b", DIRECT{zylOr(a, b, to, nullptr);
}
, true
}
, {"xor:with=b", DIRECT{zylXor(a, b, to, nullptr);
}
, true
}
, {"and-s:value=0x5A5A", DIRECT{zylAndS(a, to, 0x5A5A, nullptr);
}
, true
}
, {"or-s:value=0x0F", DIRECT{zylOrS(a, to, 0x0F, nullptr);
}
, true
}
, {"xor-s:value=-1", DIRECT{zylXorS(a, to, 0xFFFFFFFF, nullptr);
}
, true
}
, {"not", DIRECT{zylNot(a, to, nullptr);
}
, true
}
, {"not:alpha", DIRECT{zylNot(a, to, nullptr);
}
}
, {"set:value=9", DIRECT{zylSet(to, 9, nullptr);
}
, true
}
, {"copy:with=b", DIRECT{zylCopy(b, to, nullptr);
}
}
, {"exchange:with=b", DIRECT{zylCopy(b, to, nullptr);
}
}
, {"crop:x=3,y=5,width=50,height=33", DIRECT{ZylROI part = {0, 3, 5, 33, 50};
a->roi = &part;
zylCopy(a, to, nullptr);
a->roi = nullptr;
}
}
, {"mirror:axis=both", DIRECT{zylMirror(a, to, -1);
}
}
, {"convert:depth=8u,keep=high", DIRECT{zylConvert(a, to, 1, nullptr);
}
}
, {"convert:depth=16s,keep=low", DIRECT{zylConvert(a, to, 0, nullptr);
}
}
, {"convert:depth=32s,keep=low", DIRECT{zylConvert(a, to, 0, nullptr);
}
}
, {"bitonal-to-gray:depth=16s,zero=-5,one=700", DIRECT{zylBitonalToGray(a, to, -5, 700, nullptr);
}
}
, {"rgb2hsv", DIRECT{zylCopy(a, to, nullptr);
zylRGB2HSV(a, to, nullptr);
}
}
, {"rgb2hls", DIRECT{zylCopy(a, to, nullptr);
zylRGB2HLS(a, to, nullptr);
}
}
, {"apply-color-twist:matrix=1 2 3 4 3 2 1 0 0 0 0 9,scale=2,offset=7",
   DIRECT{const std::int32_t data[16] = {1, 2, 3, 4, 3, 2, 1, 0, 0, 0, 0, 9};
ZylColorTwist *twist = zylCreateColorTwist(data, 2);
zylCopy(a, to, nullptr);
zylApplyColorTwist(a, to, twist, 7, nullptr);
zylDeleteColorTwist(twist);
}
}
, {"convolve-2d:kernel=-1 -1 -1/-1 12 -1/-1 -1 -1,shift=2", AROUND({
       const KernelOwner owner(3, 3, {-1, -1, -1, -1, 12, -1, -1, -1, -1}, 2);
       ZylConvKernel *const kernels[] = {owner.kernel};
       zylCopy(a, to, nullptr);
       zylConvolve2D(a, to, kernels, 1, ZYL_SUM, nullptr);
   })},
    {"convolve-sep-2d:across=1 2 1,down=1 4 6 4 1,shift=6", AROUND({
         const KernelOwner x(1, 3, {1, 2, 1}, 6), y(5, 1, {1, 4, 6, 4, 1}, 0);
         zylConvolveSep2D(a, to, x.kernel, y.kernel);
     })},
    {"blur:rows=5,columns=4", AROUND(zylBlur(a, to, 5, 4, 2, 2, nullptr))},
    {"median-filter:rows=5,columns=3", AROUND(zylMedianFilter(a, to, 5, 3, 1, 2, nullptr))},
    {"max-filter:rows=2,columns=7,anchor-x=6", AROUND(zylMaxFilter(a, to, 2, 7, 6, 1, nullptr))},
    {"min-filter:rows=3,columns=3", AROUND(zylMinFilter(a, to, 3, 3, 1, 1, nullptr))},
    {"erode:iterations=2", AROUND(zylErode(a, to, 2, nullptr))},
    {"dilate:iterations=3", AROUND(zylDilate(a, to, 3, nullptr))},
    {"open:iterations=2", AROUND(zylOpen(a, to, 2, nullptr))},
    {"close:iterations=40", AROUND(zylClose(a, to, 40, nullptr))},
    {"zoom:factor=3,interpolate=nearest", DIRECT{zylZoom(a, to, 3, 1, 3, 1, 0, nullptr);
}
}
, {"zoom:factor=7/3,interpolate=linear", DIRECT{zylZoom(a, to, 7, 3, 7, 3, 1, nullptr);
}
}
, {"zoom:factor=1.5,interpolate=cubic", DIRECT{zylZoom(a, to, 3, 2, 3, 2, 2, nullptr);
}
}
, {"decimate:x-factor=2/3,y-factor=1/2,interpolate=cubic",
   DIRECT{zylDecimate(a, to, 2, 3, 1, 2, 2, nullptr);
}
}
, {"rotate:degrees=30", DIRECT{zylRotate(a, to, 3000, 38, 30, 1, nullptr);
}
}
, {"rotate:degrees=-77.5,interpolate=nearest,center-x=3,center-y=4",
   DIRECT{zylRotate(a, to, -7750, 3, 4, 0, nullptr);
}
}
, {"real-fft-2d", DIRECT{zylRealFft2D(a, to, ZYL_FFT_FORWARD | ZYL_FFT_WITH_ALPHA, nullptr);
}
}
, {"dct-2d", DIRECT{zylDCT2D(a, to, ZYL_DCT_FORWARD | ZYL_DCT_WITH_ALPHA);
}
}
, {"threshold:limit=100", DIRECT{zylThreshold(a, to, 100, nullptr);
}
, true
}
, {"multiply-scale:with=b", DIRECT{zylMultiplyScale(a, b, to, nullptr);
}
, true
}
, {"multiply-s-scale:scale=77", DIRECT{zylMultiplySScale(a, to, 77, nullptr);
}
, true
}
, {"pre-multiply-alpha", DIRECT{zylCopy(a, to, nullptr);
zylPreMultiplyAlpha(to, -1, nullptr);
}
}
, {"pre-multiply-alpha:alpha=99", DIRECT{zylCopy(a, to, nullptr);
zylPreMultiplyAlpha(to, 99, nullptr);
}
}
, {"histo-equalize", DIRECT{const int bins = 1 << a->depth;
std::vector<std::vector<std::int32_t>> keys(a->nChannels), values(a->nChannels);
std::vector<ZylLUT> luts(a->nChannels);
std::vector<ZylLUT *> pointers;
for (int c = 0; c < a->nChannels; ++c) {
    for (int i = 0; i <= bins; ++i) keys[c].push_back(i);
    values[c].resize(bins + 1);
    luts[c] = {bins + 1, keys[c].data(), values[c].data(), nullptr, 0};
    pointers.push_back(&luts[c]);
}
zylComputeHisto(a, pointers.data(), nullptr);
zylHistoEqualize(a, to, pointers.data(), nullptr);
}
, true
}
,
}
;

std::string lastReport;

ZylStatus ZYL_CALL keepReport(ZylStatus status, const char *, const char *context, const char *,
                              int) {
    lastReport = context ? context : "?";
    return status;
}

struct Pair {
    Image source, other;

    Image tool(const char *words, Tiling tile) const {
        Pipeline::Options options;
        options.tile = tile;
        Pipeline pipeline(options);
        const OpenPicture open = [&](const std::string &name) {
            return pipeline.add(name == "b" ? zyl::copy(other) : zyl::copy(source));
        };
        const Call call = parseCall(words);
        return pipeline.image(planCall(call, pipeline, open("a"), open));
    }

    // Of the shape that the tool's result has.
    std::optional<Image> direct(const Case &test, const Shape &shape) const {
        lastReport.clear();
        zylSetErrStatus(ZYL_StsOk);
        Image result(shape);
        const Image a = zyl::copy(source), b = zyl::copy(other);
        const ZylErrorCallBack before = zylRedirectError(keepReport);
        test.direct(a.header(), b.header(), result.header());
        if (test.keepsAlpha && shape.alpha) {
            Image colors = zyl::copy(source);
            colors.setChannel(shape.alpha);
            result.setChannel(shape.alpha);
            zylCopy(colors.header(), result.header(), nullptr);
            result.clearRegion();
        }
        zylRedirectError(before);
        if (!lastReport.empty()) return {};
        return result;
    }
};

// Whether the operation can do something with such a picture.
bool taken(const char *words, const Shape &shape) {
    const Operation &operation = *parseCall(words).operation;
    const Described *facts =
        described(operation.function.empty() ? operation.name : operation.function);
    bool depth = false;
    for (const auto &[from, results] : facts->depths) depth = depth || from == shape.depth;
    // A 1-bit picture has no bits to choose from.
    if (operation.name == "convert" && shape.depth == ZYL_DEPTH_1U) return false;
    if (std::string(words) == "pre-multiply-alpha" && !shape.alpha) return false;
    const bool color = (facts->layouts & 12) != 0, gray = (facts->layouts & 3) != 0;
    const bool layout = shape.color() ? color : gray;
    return depth && layout;
}

TEST(Operations, GiveWhatTheLibraryGivesOrRefuse) {
    int compared = 0, refused = 0;
    for (const Case &test : CASES) {
        const Operation &operation = *parseCall(test.words).operation;
        for (const std::uint32_t depth : DEPTHS) {
            for (int channels = 1; channels <= (depth == ZYL_DEPTH_1U ? 1 : 4); ++channels) {
                const Shape shape = makeShape(77, 61, channels, depth);
                SCOPED_TRACE(std::string(test.words) + " of " + describe(shape));
                const Pair run{noise(shape, 1), noise(shape, 2)};
                std::optional<Image> made;
                try {
                    made = run.tool(test.words, {});
                } catch (const LibraryFailure &report) {
                    ADD_FAILURE() << "work was begun: " << report.what();
                    continue;
                } catch (const Failure &refusal) {
                    EXPECT_EQ(std::string(refusal.what()).find(std::string(operation.name) + ": "),
                              0u);
                    EXPECT_THROW(run.tool(test.words, {64, 48}), Failure);
                    ++refused;
                    EXPECT_FALSE(taken(test.words, shape)) << refusal.what();
                    continue;
                }
                EXPECT_TRUE(taken(test.words, shape));
                const std::optional<Image> expected = run.direct(test, made->shape());
                ASSERT_TRUE(expected) << lastReport;
                EXPECT_EQ(samples(*made), samples(*expected));
                EXPECT_EQ(samples(run.tool(test.words, {64, 48})), samples(*expected));
                EXPECT_EQ(samples(run.tool(test.words, {8, 8})), samples(*expected));
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 600);
    EXPECT_GT(refused, 100);
}

// Every operation that the library has with a picture as its result is compared.
TEST(Operations, AreAllCompared) {
    std::set<std::string_view> compared = {
        // elsewhere: those without a result, with results of several calls, and inverses
        "compute-histo",     "norm",          "convert",
        "color-to-gray",     "gray-to-color", "hsv2rgb",
        "hls2rgb",           "ccs-fft-2d",    "alpha-composite",
        "alpha-composite-c", "reduce-bits",   "contrast-stretch"};
    for (const Case &test : CASES) compared.insert(parseCall(test.words).operation->name);
    for (const Described &operation : describedOperations())
        EXPECT_TRUE(compared.count(operation.name)) << operation.name;
}

Image run(const Image &source, const std::vector<const char *> &chain) {
    Pipeline pipeline({});
    const OpenPicture open = [&](const std::string &) { return pipeline.add(zyl::copy(source)); };
    Pipeline::Node node = open("");
    for (const char *words : chain) {
        const Call call = parseCall(words);
        node = planCall(call, pipeline, node, open);
    }
    return pipeline.image(node);
}

// The words of an operation's example.
std::vector<std::string> exampleWords(const Operation &operation) {
    std::string text(operation.example);
    if (text.front() == '\'') return {text.substr(1, text.size() - 2)};
    std::vector<std::string> words;
    for (std::string &word : split(text, ' ')) words.push_back(std::move(word));
    return words;
}

// Also those of several calls of the library, and those that only the tool has.
TEST(Operations, NeverBeginWhatTheyCannotDoAndAreTheSameInTiles) {
    int made = 0, refused = 0;
    for (const Family &family : operationFamilies()) {
        for (const Operation &operation : family.operations) {
            if (operation.traits & prints) continue;
            for (const std::uint32_t depth : DEPTHS) {
                for (int channels = 1; channels <= (depth == ZYL_DEPTH_1U ? 1 : 4); ++channels) {
                    const Shape shape = makeShape(83, 67, channels, depth);
                    SCOPED_TRACE(std::string(operation.example) + " of " + describe(shape));
                    const Image source = noise(shape, 3), other = noise(shape, 4);
                    const auto result = [&](Tiling tile) {
                        Pipeline::Options options;
                        options.tile = tile;
                        Pipeline pipeline(options);
                        const OpenPicture open = [&](const std::string &name) {
                            return pipeline.add(name == "OTHER" ? zyl::copy(other)
                                                                : zyl::copy(source));
                        };
                        Pipeline::Node node = open("");
                        for (const std::string &words : exampleWords(operation))
                            node = planCall(parseCall(words), pipeline, node, open);
                        return samples(pipeline.image(node));
                    };
                    try {
                        const std::vector<unsigned char> whole = result({});
                        EXPECT_EQ(result({64, 48}), whole);
                        EXPECT_EQ(result({8, 8}), whole);
                        ++made;
                    } catch (const LibraryFailure &report) {
                        ADD_FAILURE() << "work was begun: " << report.what();
                    } catch (const Failure &) {
                        ++refused;
                    }
                }
            }
        }
    }
    EXPECT_GT(made, 700);
    EXPECT_GT(refused, 100);
}

// A ramp over the depth's whole range.
template <class T>
Image ramp(std::uint32_t depth) {
    constexpr int SIDE = 256;
    Image image(makeShape(SIDE, SIDE, 1, depth));
    for (int i = 0; i < SIDE * SIDE; ++i) {
        const double part = i / double(SIDE * SIDE - 1);
        const double least = std::numeric_limits<T>::min(), most = std::numeric_limits<T>::max();
        image.samples<T>(i / SIDE)[i % SIDE] =
            static_cast<T>(std::round(least + part * (most - least)));
    }
    return image;
}

template <class T>
void expectEndsAndReturn(std::uint32_t depth, const std::vector<const char *> &there,
                         const char *back) {
    const Image source = ramp<T>(depth);
    for (const char *words : there) {
        SCOPED_TRACE(words);
        const Image wide = run(source, {words});
        const int last = wide.shape().height - 1;
        switch (wide.shape().depth) {
        case ZYL_DEPTH_16U:
            EXPECT_EQ(wide.samples<std::uint16_t>(0)[0], 0);
            EXPECT_EQ(wide.samples<std::uint16_t>(last)[last], 65535);
            break;
        case ZYL_DEPTH_16S:
            EXPECT_EQ(wide.samples<std::int16_t>(0)[0], -32768);
            EXPECT_EQ(wide.samples<std::int16_t>(last)[last], 32767);
            break;
        default:
            EXPECT_EQ(wide.samples<std::int32_t>(0)[0], INT32_MIN);
            EXPECT_EQ(wide.samples<std::int32_t>(last)[last], INT32_MAX);
        }
        EXPECT_EQ(samples(run(wide, {back})), samples(source));
    }
}

TEST(Convert, ScalesToWiderDepthsAndBackWithoutLoss) {
    const std::vector<const char *> toWide = {"convert:depth=16u", "convert:depth=16s",
                                              "convert:depth=32s"};
    expectEndsAndReturn<std::uint8_t>(ZYL_DEPTH_8U, toWide, "convert:depth=8u");
    expectEndsAndReturn<std::int8_t>(ZYL_DEPTH_8S, toWide, "convert:depth=8s");
    expectEndsAndReturn<std::uint16_t>(ZYL_DEPTH_16U, {"convert:depth=32s"}, "convert:depth=16u");
    expectEndsAndReturn<std::int16_t>(ZYL_DEPTH_16S, {"convert:depth=32s"}, "convert:depth=16s");
}

TEST(Convert, RoundsToTheNearest) {
    const Image wide = ramp<std::uint16_t>(ZYL_DEPTH_16U);
    const Image narrow = run(wide, {"convert:depth=8u"});
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(narrow.row(i / 256)[i % 256], (i + 128) / 257) << i;
    const Image bits = run(wide, {"convert:depth=1u"});
    EXPECT_EQ(bits.row(127)[31], 0);
    EXPECT_EQ(bits.row(128)[0], 0xFF);
}

TEST(Gray, KeepsDepthAndAlpha) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        const Image source = noise(makeShape(33, 9, 4, depth), 5);
        const Shape shape = run(source, {"color-to-gray"}).shape();
        EXPECT_EQ(describe(shape), describe(makeShape(33, 9, 2, depth)));
        EXPECT_EQ(samples(run(source, {"color-to-gray", "crop:channel=2"})),
                  samples(run(source, {"crop:channel=4"})));
        EXPECT_EQ(samples(run(source, {"gray", "gray-to-color", "crop:channel=4"})),
                  samples(run(source, {"crop:channel=4"})));
    }
}

// Every pair of depths, every dither, every number of bits.
TEST(ReduceBits, LeavesAsManyLevelsAsItSays) {
    for (const char *dither : {"floyd-steinberg", "jarvis", "stucki", "ordered", "16"}) {
        for (const char *from : {"convert:depth=8u", "convert:depth=16u", "convert:depth=32s"}) {
            for (const std::string depth : {"8u", "16u"}) {
                for (int bits = 1; bits <= 7; bits += 2) {
                    if (depth == "16u" && std::string(from) == "convert:depth=8u") continue;
                    const std::string words = "reduce-bits:depth=" + depth + ",dither=" + dither +
                                              ",bits=" + std::to_string(bits);
                    SCOPED_TRACE(std::string(from) + " " + words);
                    Image source = run(ramp<std::uint16_t>(ZYL_DEPTH_16U), {from});
                    // Negative samples of 32 bits count as black.
                    const Image result = run(source, {words.c_str()});
                    std::set<int> levels;
                    for (int y = 0; y < 256; ++y)
                        for (int x = 0; x < 256; ++x)
                            levels.insert(depth == "8u" ? result.row(y)[x]
                                                        : result.samples<std::uint16_t>(y)[x]);
                    EXPECT_EQ(levels.size(), std::size_t{1} << bits);
                    EXPECT_EQ(*levels.begin(), 0);
                    EXPECT_EQ(*levels.rbegin(), depth == "8u" ? 255 : 65535);
                }
            }
        }
    }
    const Image middle = run(ramp<std::uint8_t>(ZYL_DEPTH_8U), {"set:value=128"});
    const Image bits = run(middle, {"reduce-bits:depth=1u,dither=stucki"});
    int set = 0;
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) set += bits.row(y)[x / 8] >> (7 - x % 8) & 1;
    EXPECT_NEAR(set, 32768 * 128 / 127.5, 1500);
    EXPECT_THROW(run(middle, {"reduce-bits"}), Failure);
    EXPECT_THROW(run(middle, {"reduce-bits:depth=16u,dither=2"}), Failure);
}

} // namespace
} // namespace tool
