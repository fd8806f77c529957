#include "core/levels.h"

#include <gtest/gtest.h>

namespace zylqx {
namespace {

TEST(Levels, StartAtTheBestAndFollowATest) {
    EXPECT_EQ(currentLevel(), bestLevel());
    useLevel(Level::Baseline);
    EXPECT_EQ(currentLevel(), Level::Baseline);
    useLevel(bestLevel());
}

} // namespace
} // namespace zylqx
