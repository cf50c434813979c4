#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/Permutation.h"
#include "test_support.h"

using olhs_test::constantSource;
using olhs_test::countingSource;
using olhs_test::ScopedSource;
using olhs_test::sequenceSource;

TEST(Permutation, RefreshFollowsThePickRule) {
    Permutation five(5);
    Permutation four(4);
    {
        ScopedSource source(constantSource(0.0));
        EXPECT_EQ(five.refresh(), (std::vector<double>{1, 2, 3, 4, 5}));
    }
    {
        ScopedSource source(constantSource(1.0));
        EXPECT_EQ(five.refresh(), (std::vector<double>{5, 4, 3, 2, 1}));
    }
    {
        ScopedSource source(constantSource(0.5));
        EXPECT_EQ(four.refresh(), (std::vector<double>{3, 2, 4, 1}));
    }
    {
        ScopedSource source(sequenceSource({0.125, 0.1, 0.75, 0.49, 0.9}));
        EXPECT_EQ(five.refresh(), (std::vector<double>{2, 1, 5, 3, 4}));
    }
}

TEST(Permutation, DrawsExactlyNPerRefreshAndNoneOnConstruction) {
    long draws = 0;
    ScopedSource source(countingSource(&draws, 0.7));
    Permutation none(0);
    Permutation one(1);
    Permutation nine(9);
    EXPECT_EQ(draws, 0);
    EXPECT_TRUE(none.refresh().empty());
    EXPECT_EQ(draws, 0);
    EXPECT_EQ(one.refresh(), std::vector<double>{1});
    EXPECT_EQ(draws, 1);
    nine.refresh();
    EXPECT_EQ(draws, 10);
}

TEST(Permutation, EveryRefreshDrawsANewPermutationOfTheSameSize) {
    // Two scripted refreshes: the object keeps nothing of the first.
    {
        ScopedSource source(sequenceSource({0, 0, 0, 1, 1, 1}));
        Permutation three(3);
        EXPECT_EQ(three.refresh(), (std::vector<double>{1, 2, 3}));
        EXPECT_EQ(three.refresh(), (std::vector<double>{3, 2, 1}));
    }
    CRand::seed(8);
    Permutation p(12);
    std::vector<std::vector<double> > seen;
    for (int i = 0; i < 5; ++i) {
        std::vector<double> v = p.refresh();
        ASSERT_EQ(v.size(), 12u);
        seen.push_back(v);
        std::sort(v.begin(), v.end());
        for (int k = 0; k < 12; ++k) EXPECT_EQ(v[k], k + 1.0);
    }
    EXPECT_NE(seen[0], seen[1]);
    // The same seed gives the same permutations again.
    CRand::seed(8);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(p.refresh(), seen[i]);
}
