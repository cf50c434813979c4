// Permutation applies the pick rule to a pool of doubles and draws anew on every refresh.
#include <vector>

#include <gtest/gtest.h>

#include "olhs/Permutation.h"
#include "test_support.h"

using olhs_test::ScopedSource;
using olhs_test::sequenceSource;

TEST(Permutation, RefreshFollowsThePickRuleAndDrawsAnewEachTime) {
    long draws = 0;
    auto scripted = sequenceSource({0, 0, 0, 0, 1, 1, 1, 1, 0.5, 0.5, 0.5, 0.5});
    ScopedSource source([&] {
        ++draws;
        return scripted();
    });
    Permutation four(4);
    EXPECT_EQ(draws, 0) << "construction draws nothing";
    EXPECT_EQ(four.refresh(), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(four.refresh(), (std::vector<double>{4, 3, 2, 1}));
    EXPECT_EQ(four.refresh(), (std::vector<double>{3, 2, 4, 1}));
    EXPECT_EQ(draws, 12) << "one draw per value, the last included";

    Permutation none(0);
    EXPECT_TRUE(none.refresh().empty());
    EXPECT_EQ(draws, 12);
}
