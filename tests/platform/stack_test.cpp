// Callers align the stack by 4 bytes (32 bits) or 16, not by the longest vector:
// operations give the same wherever it begins, at every level.
#include <gtest/gtest.h>

#include "core/levels.h"
#include "tests/support/images.h"

namespace {

using support::Shape;
using support::TestImage;

using Operation = void (*)(ZylImage *a, ZylImage *b, ZylImage *dst);

#if defined(__i386__)
constexpr int STEPS[] = {4, 8, 12, 20, 36, 60};
// Calls with a stack that begins `bytes` below a multiple of 64.
void call(int bytes, Operation perform, ZylImage *a, ZylImage *b, ZylImage *dst) {
    asm volatile("mov %%esp, %%ebx\n\t"
                 "and $-64, %%esp\n\t"
                 "sub %[bytes], %%esp\n\t"
                 "push %[dst]\n\t"
                 "push %[b]\n\t"
                 "push %[a]\n\t"
                 "call *%[perform]\n\t"
                 "mov %%ebx, %%esp"
                 : [perform] "+a"(perform), [bytes] "+c"(bytes), [dst] "+d"(dst)
                 : [a] "S"(a), [b] "D"(b)
                 : "ebx", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6",
                   "xmm7");
}
#else
constexpr int STEPS[] = {16, 32, 48};
// Calls with a stack that begins `bytes` further down.
[[gnu::noinline]] void call(int bytes, Operation perform, ZylImage *a, ZylImage *b, ZylImage *dst) {
    auto *room = static_cast<volatile char *>(__builtin_alloca(static_cast<std::size_t>(bytes)));
    room[0] = 0;
    perform(a, b, dst);
}
#endif

const Operation OPERATIONS[] = {
    [](ZylImage *a, ZylImage *b, ZylImage *dst) { zylMultiply(a, b, dst, nullptr); },
    [](ZylImage *a, ZylImage *b, ZylImage *dst) { zylMultiplyScale(a, b, dst, nullptr); },
    [](ZylImage *a, ZylImage *b, ZylImage *dst) {
        zylAlphaCompositeC(a, b, dst, ZYL_COMPOSITE_ATOP, 77, 99, 0, 1, nullptr);
    },
    [](ZylImage *a, ZylImage *, ZylImage *dst) { zylMedianFilter(a, dst, 5, 5, 2, 2, nullptr); },
    [](ZylImage *a, ZylImage *, ZylImage *dst) { zylBlur(a, dst, 5, 7, 2, 3, nullptr); },
    [](ZylImage *a, ZylImage *, ZylImage *dst) {
        zylZoom(a, dst, 3, 2, 5, 4, ZYL_INTER_CUBIC, nullptr);
    },
    [](ZylImage *a, ZylImage *, ZylImage *dst) {
        zylDecimate(a, dst, 2, 3, 4, 5, ZYL_INTER_LINEAR, nullptr);
    },
    [](ZylImage *a, ZylImage *, ZylImage *dst) {
        zylRotate(a, dst, 30, 3, 4, ZYL_INTER_CUBIC, nullptr);
    },
    [](ZylImage *a, ZylImage *, ZylImage *dst) { zylRGB2HSV(a, dst, nullptr); },
    [](ZylImage *a, ZylImage *, ZylImage *dst) { zylRGB2HLS(a, dst, nullptr); },
    [](ZylImage *a, ZylImage *, ZylImage *dst) {
        static const std::int8_t values[] = {1, -2, 3, 4, 5, -6, 7, 8, 9};
        ZylConvKernel *kernel = zylCreateConvKernel(3, 3, 1, 1, values, 4);
        zylConvolve2D(a, dst, &kernel, 1, 0, nullptr);
        zylDeleteConvKernel(kernel);
    },
};

TEST(Stack, MayBeginAnywhere) {
    const support::Reports silent;
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        const Shape shape = {.depth = depth,
                             .channels = 3,
                             .width = 211,
                             .height = 13,
                             .model = "RGB ",
                             .sequence = "RGB "};
        TestImage a(shape);
        TestImage b(shape);
        a.randomise(1);
        b.randomise(2);
        for (const Operation &operation : OPERATIONS) {
            for (int level = 0; level <= static_cast<int>(zylqx::bestLevel()); ++level) {
                zylqx::useLevel(static_cast<zylqx::Level>(level));
                TestImage expected(shape);
                operation(a, b, expected);
                for (const int step : STEPS) {
                    TestImage result(shape);
                    call(step, operation, a, b, result);
                    EXPECT_EQ(support::difference(expected, result), "")
                        << "operation " << &operation - OPERATIONS << ", level " << level
                        << ", stack " << step << " bytes below";
                }
            }
        }
    }
    zylqx::useLevel(zylqx::bestLevel());
}

} // namespace
