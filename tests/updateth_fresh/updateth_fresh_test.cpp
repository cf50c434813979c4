// The threshold update. The exploring factor starts at 1/0.7 when the process starts, and
// only acceptance ratios strictly below 10 % or strictly above 80 % select a new one, so
// nothing else in this process may run an update before this test.
#include <array>

#include <gtest/gtest.h>

#include "olhs/SimpleESEA.h"
#include "search_access.h"

using olhs::detail::SimpleESEAAccess;

TEST(ThresholdUpdateInAFreshProcess, ExploringFactorSequenceAndImprovingRule) {
    SimpleESEA s, other;
    const auto factor = [](SimpleESEA& x, bool improving, double a, double b) {
        SimpleESEAAccess::setThreshold(x, 4.0);
        x.updateTh(improving, a, b);
        return SimpleESEAAccess::threshold(x) / 4.0;
    };
    // (acceptance ratio, factor applied): the bounds themselves select nothing.
    const double grow = 1.0 / 0.7, steps[][2] = {{0.5, grow}, {0.9, 0.9}, {0.5, 0.9}, {0.05, grow}, {0.5, grow},
                                                 {0.1, grow}, {0.8, grow}, {0.9, 0.9}, {0.1, 0.9}, {0.8, 0.9}};
    for (const auto& step : steps) EXPECT_DOUBLE_EQ(factor(s, false, step[0], 0.0), step[1]) << step[0];
    // Improving updates (acceptance ratio a, improvement ratio b, factor) neither use nor
    // change the exploring factor, which every object shares.
    for (const auto& c : {std::array<double, 3>{0.1, 0.0, 1.25}, {0.5, 0.5, 1.0}, {0.5, 0.25, 0.8}, {0.05, 0.0, 1.25},
                          {0.1, 0.1, 1.25}, {0.3, 0.4, 1.25}, {1.0, 0.0, 0.8}})
        EXPECT_EQ(factor(s, true, c[0], c[1]), c[2]) << "a = " << c[0] << ", b = " << c[1];
    EXPECT_DOUBLE_EQ(factor(other, false, 0.5, 0.0), 0.9);
}
