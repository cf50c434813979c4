// The exploring factor starts at 1/0.7 when the process starts, and only acceptance
// ratios strictly below 10 % or strictly above 80 % select a new one. Nothing else in
// this process may run an update before this test.
#include <gtest/gtest.h>

#include "olhs/SimpleESEA.h"
#include "search_access.h"

using olhs::detail::SimpleESEAAccess;

namespace {

// The factor one exploring update with acceptance ratio a applies to the threshold.
double exploringFactor(SimpleESEA& s, double a) {
    SimpleESEAAccess::setThreshold(s, 4.0);
    s.updateTh(false, a, 0.0);
    return SimpleESEAAccess::threshold(s) / 4.0;
}

} // namespace

TEST(ThresholdUpdateInAFreshProcess, ExploringFactorSequence) {
    SimpleESEA s;
    const double grow = 1.0 / 0.7;

    // From the start: 0.5 keeps the starting factor, 0.9 selects 0.9, 0.5 keeps it,
    // 0.05 selects 1/0.7 again, 0.5 keeps that.
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.5), grow);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.9), 0.9);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.5), 0.9);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.05), grow);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.5), grow);

    // The bounds themselves select nothing.
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.1), grow);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.8), grow);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.9), 0.9);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.1), 0.9);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.8), 0.9);

    // Improving updates neither use nor change the factor.
    SimpleESEAAccess::setThreshold(s, 4.0);
    s.updateTh(true, 0.05, 0.0);
    EXPECT_EQ(SimpleESEAAccess::threshold(s), 5.0);
    s.updateTh(true, 0.95, 0.0);
    EXPECT_EQ(SimpleESEAAccess::threshold(s), 4.0);
    EXPECT_DOUBLE_EQ(exploringFactor(s, 0.5), 0.9);

    // Another object shares the factor.
    SimpleESEA other;
    EXPECT_DOUBLE_EQ(exploringFactor(other, 0.5), 0.9);
}
