// Calls of several threads at the same time give what each gives alone. Run under the
// thread sanitizer, the program also shows that they share nothing unguarded.

#include <array>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "core/memory.h"
#include "selftest/calls.h"
#include "tests/support/images.h"

using namespace support;

namespace {

constexpr int THREADS = 4;

// Runs work(i) in `count` threads that start together.
void atOnce(int count, const std::function<void(int)> &work) {
    std::atomic<int> waiting = count;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting > 0) std::this_thread::yield();
            work(i);
        });
    }
    for (std::thread &thread : threads) thread.join();
}

// Random calls of every operation, with images, tiles, borders, tables and reports of
// their own. The Fourier transforms among them repeat calls, which is for one thread.
std::vector<std::uint64_t> checksums(int thread, int calls) {
    std::vector<std::uint64_t> sums;
    for (const selftest::Operation &operation : selftest::operations()) {
        if (std::string_view(operation.name).find("Fft") != std::string_view::npos) continue;
        for (int i = 0; i < calls; ++i) {
            selftest::Case one(selftest::scatter(std::uint64_t(1000 * thread + i)));
            operation.call(one);
            one.finish();
            sums.push_back(one.sum.value());
        }
    }
    return sums;
}

TEST(Threads, EveryOperationGivesWhatItGivesAlone) {
    constexpr int CALLS = 20;
    std::array<std::vector<std::uint64_t>, THREADS> expected, found;
    for (int i = 0; i < THREADS; ++i) expected[i] = checksums(i, CALLS);
    atOnce(THREADS, [&](int i) { found[i] = checksums(i, CALLS); });
    EXPECT_EQ(expected, found);
}

Shape shapeOf(std::uint32_t depth, int width, int height, int channels = 1) {
    return {.depth = depth, .channels = channels, .width = width, .height = height};
}

// Every thread: its own destination for a source, a region, a kernel, a colour twist and a
// table that all of them share.
TEST(Threads, SourcesAndArgumentsAreShared) {
    TestImage source(shapeOf(ZYL_DEPTH_8U, 61, 47, 3));
    source.randomise(1).region(0, 3, 2, 50, 40).border(ZYL_BORDER_REPLICATE);
    const std::int8_t values[] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    ZylConvKernel *kernel = zylCreateConvKernel(3, 3, 1, 1, values, 4);
    const std::int32_t matrix[16] = {128, 64, 64, 0, 0, 256, 0, 0, 32, 32, 192, 0, 0, 0, 0, 256};
    ZylColorTwist *twist = zylCreateColorTwist(matrix, 8);
    std::array<std::int32_t, 3> keys = {0, 100, 255}, heights = {255, 90, 0}, factors = {};
    ZylLUT table = {3, keys.data(), heights.data(), factors.data(), 0};
    ZylLUT *tables[] = {&table, &table, &table};

    constexpr int STEPS = 7;
    const auto run = [&](TestImage &result, int step) {
        switch (step) {
        case 0:
            return zylConvolve2D(source, result, &kernel, 1, ZYL_SUM, nullptr);
        case 1:
            return zylApplyColorTwist(source, result, twist, 0, nullptr);
        case 2:
            return zylContrastStretch(source, result, tables, nullptr);
        case 3:
            return zylMedianFilter(source, result, 5, 5, 2, 2, nullptr);
        case 4:
            return zylBlur(source, result, 7, 3, 3, 1, nullptr);
        case 5:
            return zylAdd(source, source, result, nullptr);
        default:
            return zylRotate(source, result, 1234, 20, 10, ZYL_INTER_LINEAR, nullptr);
        }
    };
    const auto every = [&](int round) {
        std::vector<std::vector<unsigned char>> results;
        TestImage result(shapeOf(ZYL_DEPTH_8U, 61, 47, 3));
        result.fill(round);
        for (int step = 0; step < STEPS; ++step) {
            run(result, step);
            results.push_back(result.bytes());
        }
        return results;
    };
    Reports reports;
    const auto expected = every(0);
    EXPECT_TRUE(reports.all().empty());
    atOnce(THREADS, [&](int) {
        const Reports own;
        for (int round = 0; round < 20; ++round) ASSERT_EQ(expected, every(0));
        ASSERT_TRUE(own.all().empty());
    });
    zylDeleteColorTwist(twist);
    zylDeleteConvKernel(kernel);
}

thread_local int heard = 0;
ZylStatus hear(ZylStatus status, const char *, const char *, const char *, int) {
    ++heard;
    return status;
}
ZylStatus doNotHear(ZylStatus status, const char *, const char *, const char *, int) {
    return status;
}

TEST(Threads, StatusModeAndCallbackBelongToTheThread) {
    atOnce(THREADS, [](int i) {
        ASSERT_EQ(ZYL_StsOk, zylGetErrStatus());
        ASSERT_EQ(ZYL_ErrModeLeaf, zylGetErrMode());
        ASSERT_EQ(zylGuiBoxReport, zylRedirectError(i % 2 == 0 ? hear : doNotHear));
        zylSetErrMode(i % 3);
        for (int round = 1; round <= 1000; ++round) {
            zylSetErrStatus(ZYL_StsOk);
            zylError(-100 - i, "function", "context", "file", 1);
            ASSERT_EQ(-100 - i, zylGetErrStatus());
            ASSERT_EQ(i % 3, zylGetErrMode());
            ASSERT_EQ(i % 2 == 0 ? round : 0, heard);
            ASSERT_EQ("Unknown error code " + std::to_string(-100 - i), zylErrorStr(-100 - i));
        }
    });
}

// Transforms of sizes and arithmetics that need all kinds of tables, kept or not.
struct Transformed {
    int width, height, flags;
};
constexpr Transformed TRANSFORMS[] = {
    {8, 8, 0},   {8, 8, ZYL_FFT_FLOATING},     {16, 16, 0}, {64, 32, 0},
    {45, 77, 0}, {31, 9, ZYL_FFT_FIXED_POINT}, {1, 60, 0},  {128, 16, ZYL_FFT_FIXED_POINT}};

std::vector<std::vector<unsigned char>> transforms(int kept) {
    std::vector<std::vector<unsigned char>> results;
    for (const auto &[width, height, flags] : TRANSFORMS) {
        TestImage image(shapeOf(ZYL_DEPTH_8U, width, height, 2));
        TestImage spectrum(shapeOf(ZYL_DEPTH_32S, width, height, 2));
        TestImage cosines(shapeOf(ZYL_DEPTH_16S, width, height, 2));
        image.randomise(unsigned(width));
        zylRealFft2D(image, spectrum, ZYL_FFT_FORWARD | flags | kept, nullptr);
        zylDCT2D(image, cosines, ZYL_DCT_FORWARD);
        if (kept == 0) zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
        zylCcsFft2D(spectrum, image, ZYL_FFT_INVERSE | flags | kept, nullptr);
        results.insert(results.end(), {spectrum.bytes(), cosines.bytes(), image.bytes()});
    }
    return results;
}

class TransformThreads : public testing::Test {
  protected:
    ~TransformThreads() override {
        zylRealFft2D(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr);
        zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
    }
};

TEST_F(TransformThreads, EachHasTheResultsOfOneAlone) {
    const auto expected = transforms(0);
    // More at once than tables are kept for, some of which free them.
    atOnce(5 * THREADS, [&](int i) {
        const Reports reports;
        for (int round = 0; round < 8; ++round) {
            const bool kept = (i + round) % 4 != 0;
            ASSERT_EQ(expected, transforms(kept ? ZYL_FFT_KEEP_TABLES : 0));
        }
        ASSERT_TRUE(reports.all().empty());
    });
}

std::atomic<int> allocations = 0;
bool countAllocation(std::size_t) {
    ++allocations;
    return false;
}

// Allocations of a call in another thread.
int allocationsElsewhere(const std::function<void()> &call) {
    allocations = 0;
    zylqx::refuseAllocations(countAllocation);
    std::thread(call).join();
    zylqx::refuseAllocations(nullptr);
    return allocations;
}

// One after the other, threads have one set of tables, and one call before.
TEST_F(TransformThreads, CallsOneAfterTheOtherHaveTheSameState) {
    TestImage image(shapeOf(ZYL_DEPTH_8U, 45, 77));
    TestImage spectrum(shapeOf(ZYL_DEPTH_32S, 45, 77));
    image.randomise(1);
    atOnce(THREADS, [](int) { transforms(ZYL_FFT_KEEP_TABLES); }); // states of several threads
    const auto fourier = [&](int flags) {
        zylRealFft2D(image, spectrum, ZYL_FFT_FORWARD | ZYL_FFT_KEEP_TABLES | flags, nullptr);
    };
    zylRealFft2D(image, spectrum, ZYL_FFT_FORWARD, nullptr); // releases all of them
    EXPECT_GT(allocationsElsewhere([&] { fourier(0); }), 0);
    const TestImage expected(spectrum);
    EXPECT_EQ(0, allocationsElsewhere([&] { fourier(0); }));
    spectrum.fill(0);
    TestImage other(image);
    EXPECT_EQ(0, allocationsElsewhere([&] {
                  zylRealFft2D(other, other, ZYL_FFT_REPEAT | ZYL_FFT_KEEP_TABLES, nullptr);
              }));
    EXPECT_EQ("", difference(expected, spectrum));
    std::thread([] { zylCcsFft2D(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr); }).join();
    EXPECT_GT(allocationsElsewhere([&] { fourier(0); }), 0);

    TestImage cosines(shapeOf(ZYL_DEPTH_16S, 45, 77));
    const auto cosine = [&] { zylDCT2D(image, cosines, ZYL_DCT_FORWARD); };
    zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
    const int first = allocationsElsewhere(cosine);
    EXPECT_EQ(first - 2, allocationsElsewhere(cosine)); // two tables of cosines
}

} // namespace
