// What transforms keep from call to call, under failures and changes of size in every
// order.

#include <gtest/gtest.h>
#include <set>

#include "core/memory.h"
#include "tests/transform/pictures.h"
#include "transform/kept_state.h"

using namespace support;

namespace {

int allocations = 0;
int firstRefused = 0;
int refused = 0; // so many, from that one on

bool refuse(std::size_t) {
    const int n = ++allocations;
    return n >= firstRefused && n < firstRefused + refused;
}

// How many allocations a call asks for when `count` of them fail, from the n-th on.
template <class F>
int allocationsOf(F call, int n = 0, int count = 0) {
    allocations = 0;
    firstRefused = n;
    refused = count;
    zylqx::refuseAllocations(refuse);
    call();
    zylqx::refuseAllocations(nullptr);
    return allocations;
}

void releaseAll() {
    zylRealFft2D(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr);
    zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
}

enum class Kind { Fourier, FourierFixed, Packed, Cosine };

// One transform of noise, which keeps its tables, and what it gives.
class Step {
  public:
    Step(Kind kind, int width, int height)
        : kind_(kind), src_(shapeOf(ZYL_DEPTH_16S, width, height)), dst_(src_), expected_(src_) {
        src_.randomise(static_cast<unsigned>(width * height));
        dst_.fill(-5);
        releaseAll();
        call(expected_);
    }

    void call(TestImage &to) {
        if (kind_ == Kind::Cosine) {
            zylDCT2D(src_, to, ZYL_DCT_FORWARD);
        } else if (kind_ == Kind::Packed) {
            zylCcsFft2D(src_, to, ZYL_FFT_INVERSE | ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES,
                        nullptr);
        } else {
            const int arithmetic = kind_ == Kind::Fourier ? ZYL_FFT_FLOATING : ZYL_FFT_FIXED_POINT;
            zylRealFft2D(src_, to, ZYL_FFT_INVERSE | arithmetic | ZYL_FFT_KEEP_TABLES, nullptr);
        }
    }

    void expectRight() {
        TestImage result(dst_);
        call(result);
        EXPECT_EQ(difference(expected_, result), "");
    }

    // With failing allocations: nothing is written, or all. False when there were fewer.
    bool fails(int n, int count) {
        TestImage result(dst_);
        const bool struck = allocationsOf([&] { call(result); }, n, count) >= n;
        if (difference(dst_, result).empty()) {
            EXPECT_EQ(zylGetErrStatus(), kind_ == Kind::Cosine ? ZYL_StsOk : ZYL_StsBadArg);
        } else {
            EXPECT_EQ(difference(expected_, result), "");
        }
        zylSetErrStatus(ZYL_StsOk);
        return struck;
    }

    int kindNumber() const { return static_cast<int>(kind_); }
    Shape shape() const { return src_.shape(); }

  private:
    Kind kind_;
    TestImage src_, dst_, expected_;
};

std::vector<std::unique_ptr<Step>> allSteps() {
    std::vector<std::unique_ptr<Step>> steps;
    for (const Kind kind : {Kind::Fourier, Kind::FourierFixed, Kind::Packed, Kind::Cosine}) {
        // Tables of every kind: powers of two, small and large ones, short lengths, those
        // with small factors, primes.
        for (const auto &[width, height] :
             {std::pair{16, 16}, {256, 8}, {128, 512}, {7, 5}, {60, 21}, {127, 9}}) {
            steps.push_back(std::make_unique<Step>(kind, width, height));
        }
    }
    return steps;
}

struct Counted {
    static inline int destroyed = 0;
    void release() {}
    ~Counted() { ++destroyed; }
};

// Calls at the same time each have a state; 16 of them are kept.
TEST(KeptState, SixteenStatesAreKept) {
    zylqx::KeptState<Counted> kept;
    std::set<Counted *> states;
    bool continued = false;
    for (int i = 0; i < 20; ++i) {
        states.insert(kept.take(continued));
        EXPECT_EQ(continued, i == 0);
    }
    EXPECT_EQ(states.size(), 20u);
    EXPECT_EQ(states.count(nullptr), 0u);
    for (Counted *state : states) kept.giveBack(state);
    EXPECT_EQ(Counted::destroyed, 4);

    states.clear();
    EXPECT_EQ(allocationsOf(
                  [&] {
                      for (int i = 0; i < 16; ++i) states.insert(kept.take(continued));
                      EXPECT_EQ(kept.take(continued), nullptr);
                  },
                  1, 1),
              1);
    EXPECT_EQ(states.size(), 16u);
    for (Counted *state : states) kept.giveBack(state);
    kept.releaseSpare();
    EXPECT_EQ(Counted::destroyed, 19);
    kept.destroyAll();
    EXPECT_EQ(Counted::destroyed, 20);
}

TEST(TransformState, EveryFailureBetweenTwoSizesIsForgotten) {
    const Reports reports;
    const auto steps = allSteps();
    for (const auto &first : steps) {
        for (const auto &second : steps) {
            // Cosine tables are kept apart from the others.
            const bool cosine = first->kindNumber() == static_cast<int>(Kind::Cosine);
            if (cosine != (second->kindNumber() == static_cast<int>(Kind::Cosine))) continue;
            for (const int count : {1, 1000}) {
                bool struck = true;
                for (int n = 1; struck; n += 1 + n / 4) {
                    SCOPED_TRACE("kinds " + std::to_string(first->kindNumber()) + ", " +
                                 std::to_string(second->kindNumber()) + ", " +
                                 describe(first->shape()) + ", then " + describe(second->shape()) +
                                 ", allocation " + std::to_string(n) + " of " +
                                 std::to_string(count) + " fails");
                    releaseAll();
                    first->expectRight();
                    struck = second->fails(n, count);
                    first->expectRight();
                    second->expectRight();
                    if (HasFailure()) return;
                }
            }
        }
    }
}

// Released or not kept, everything is obtained anew; kept, nothing. Each kind takes larger
// pictures than any call before.
TEST(TransformState, WhatIsReleasedIsObtainedAnew) {
    const Reports reports;
    int height = 600;
    for (const int arithmetic : {ZYL_FFT_FLOATING, ZYL_FFT_FIXED_POINT}) {
        TestImage src(shapeOf(ZYL_DEPTH_16S, 256, height += 300)), dst(src);
        const auto transform = [&](int keep) {
            return allocationsOf(
                [&] { zylRealFft2D(src, dst, ZYL_FFT_FORWARD | arithmetic | keep, nullptr); });
        };
        const int all = transform(0);
        EXPECT_EQ(transform(ZYL_FFT_KEEP_TABLES), all);
        EXPECT_EQ(transform(ZYL_FFT_KEEP_TABLES), 0);
        releaseAll();
        EXPECT_EQ(transform(0), all);
    }
}

// A new length where no more are kept, beside one of those that are.
TEST(TransformState, MoreLengthsThanAreKept) {
    const Reports reports;
    Step step(Kind::Fourier, 3, 130);
    for (int lengths = 58; lengths < 68; ++lengths) {
        releaseAll();
        for (int n = 3; n < 3 + lengths; ++n) {
            TestImage line(shapeOf(ZYL_DEPTH_32S, n, 1)), terms(line);
            zylRealFft2D(line, terms, ZYL_FFT_FORWARD | ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES,
                         nullptr);
        }
        step.expectRight();
        step.expectRight();
    }
}

// What is repeated is the last set-up that succeeded at once before; a failed set-up, not
// a failed allocation, ends that.
TEST(TransformState, RepeatsAfterFailures) {
    const Reports reports;
    Shape shape = shapeOf(ZYL_DEPTH_16S, 32, 8);
    TestImage src(shape);
    src.randomise(3);
    TestImage dst(shape), expected(shape);
    constexpr int FLAGS = ZYL_FFT_INVERSE | ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES;
    zylRealFft2D(src, expected, FLAGS, nullptr);

    releaseAll();
    allocationsOf([&] { zylRealFft2D(src, dst, FLAGS, nullptr); }, 1, 1000);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsBadArg);
    zylSetErrStatus(ZYL_StsOk);
    zylRealFft2D(src, dst, ZYL_FFT_REPEAT, nullptr);
    EXPECT_EQ(difference(expected, dst), "");

    // A set-up that fails, of a call between.
    dst.fill(1);
    const TestImage before(dst);
    zylRealFft2D(src, dst, FLAGS | ZYL_FFT_FIXED_POINT, nullptr);
    zylSetErrStatus(ZYL_StsOk);
    zylRealFft2D(src, dst, ZYL_FFT_REPEAT, nullptr);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsBadArg);
    EXPECT_EQ(difference(before, dst), "");
    EXPECT_EQ(reports.texts(), std::vector<std::string>(3, "Error in input data"));
}

} // namespace
