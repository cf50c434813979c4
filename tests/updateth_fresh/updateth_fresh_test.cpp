// The exploring factor starts at 1/0.7 when the process starts, and only acceptance
// ratios strictly below 10 % or strictly above 80 % select a new one. Nothing else in
// this process may run an update before this test.
#include <gtest/gtest.h>

#include "olhs/SimpleESEA.h"
#include "search_access.h"

using olhs::detail::SimpleESEAAccess;

TEST(ThresholdUpdateInAFreshProcess, ExploringFactorSequence) {
    const double grow = 1.0 / 0.7;
    SimpleESEA s, other;
    const auto factor = [](SimpleESEA& x, double a) {
        SimpleESEAAccess::setThreshold(x, 4.0);
        x.updateTh(false, a, 0.0);
        return SimpleESEAAccess::threshold(x) / 4.0;
    };
    // (acceptance ratio, factor applied): the bounds themselves select nothing.
    const double steps[][2] = {{0.5, grow}, {0.9, 0.9},  {0.5, 0.9},  {0.05, grow}, {0.5, grow},
                               {0.1, grow}, {0.8, grow}, {0.9, 0.9},  {0.1, 0.9},   {0.8, 0.9}};
    for (const auto& step : steps) EXPECT_DOUBLE_EQ(factor(s, step[0]), step[1]) << step[0];

    // Improving updates neither use nor change the factor, which every object shares.
    SimpleESEAAccess::setThreshold(s, 4.0);
    s.updateTh(true, 0.05, 0.0);
    EXPECT_EQ(SimpleESEAAccess::threshold(s), 5.0);
    s.updateTh(true, 0.95, 0.0);
    EXPECT_EQ(SimpleESEAAccess::threshold(s), 4.0);
    EXPECT_DOUBLE_EQ(factor(other, 0.5), 0.9);
}
