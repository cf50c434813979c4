#include <algorithm>
#include <cstdint>
#include <set>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/CombinatorialAnalysis.h"
#include "test_support.h"

using olhs_test::constantSource;
using olhs_test::countingSource;
using olhs_test::ScopedSource;
using olhs_test::sequenceSource;

using Subsets = std::vector<std::vector<int> >;

TEST(CombinatorialAnalysis, PickRuleUnderConstantSources) {
    CombinatorialAnalysis<double> real;
    CombinatorialAnalysis<int> whole;
    {
        ScopedSource source(constantSource(0.0));
        EXPECT_EQ(real.getRandomPermutation(5), (std::vector<double>{1, 2, 3, 4, 5}));
        EXPECT_EQ(whole.getRandomPermutation(5), (std::vector<int>{1, 2, 3, 4, 5}));
    }
    {
        ScopedSource source(constantSource(1.0));
        EXPECT_EQ(real.getRandomPermutation(5), (std::vector<double>{5, 4, 3, 2, 1}));
        EXPECT_EQ(whole.getRandomPermutation(5), (std::vector<int>{5, 4, 3, 2, 1}));
    }
    {
        // 0.5 (k - 1) lands on a half for even pools, which rounds away from zero.
        ScopedSource source(constantSource(0.5));
        EXPECT_EQ(real.getRandomPermutation(4), (std::vector<double>{3, 2, 4, 1}));
        EXPECT_EQ(whole.getRandomPermutation(4), (std::vector<int>{3, 2, 4, 1}));
    }
}

TEST(CombinatorialAnalysis, PickRuleRoundsToNearestAndKeepsThePoolInOrder) {
    // Pool 1..5: 0.125*4 = 0.5 -> index 1 (value 2); pool 1,3,4,5: 0.1*3 = 0.3 -> index 0
    // (value 1); pool 3,4,5: 0.75*2 = 1.5 -> index 2 (value 5); pool 3,4: 0.49 -> index 0
    // (value 3); then the last value. Removing by swapping with the last element, or
    // truncating instead of rounding, gives another order.
    ScopedSource source(sequenceSource({0.125, 0.1, 0.75, 0.49, 0.9}));
    CombinatorialAnalysis<int> sampler;
    EXPECT_EQ(sampler.getRandomPermutation(5), (std::vector<int>{2, 1, 5, 3, 4}));
}

TEST(CombinatorialAnalysis, DrawCounts) {
    long draws = 0;
    ScopedSource source(countingSource(&draws, 0.3));
    CombinatorialAnalysis<double> real(CRand(false));
    CombinatorialAnalysis<int> whole;
    EXPECT_EQ(draws, 0) << "constructing a sampler draws nothing";
    for (int n : {0, 1, 2, 7, 30}) {
        draws = 0;
        EXPECT_EQ(static_cast<int>(real.getRandomPermutation(n).size()), n);
        EXPECT_EQ(draws, n) << "getRandomPermutation(" << n << ")";
        draws = 0;
        whole.getRandomPermutation(n);
        EXPECT_EQ(draws, n);
        draws = 0;
        const std::vector<int> subset = whole.getRandomCombination(n, n / 2);
        EXPECT_EQ(static_cast<int>(subset.size()), n / 2);
        EXPECT_EQ(draws, n) << "a combination draws a whole permutation";
    }
    draws = 0;
    EXPECT_TRUE(whole.getRandomCombination(6, 0).empty());
    EXPECT_EQ(draws, 6);
    draws = 0;
    EXPECT_TRUE(whole.getVectorOfRandomCombination(0, 5, 2).empty());
    EXPECT_EQ(draws, 0);
}

TEST(CombinatorialAnalysis, PermutationsHoldEachLevelOnce) {
    CRand::seed(2024);
    CombinatorialAnalysis<double> sampler;
    for (int n = 1; n <= 40; ++n) {
        std::vector<double> p = sampler.getRandomPermutation(n);
        std::sort(p.begin(), p.end());
        for (int i = 0; i < n; ++i) ASSERT_EQ(p[i], i + 1.0) << "n = " << n;
    }
}

TEST(CombinatorialAnalysis, PickRuleIsBiasedTowardInnerValues) {
    // With a uniform draw the end values of a pool of k >= 3 come up half as often as the
    // inner ones: the first value of a permutation of 3 is 2 half the time.
    CRand::seed(314159);
    CombinatorialAnalysis<int> sampler;
    int counts[4] = {0, 0, 0, 0};
    const int trials = 8000;
    for (int i = 0; i < trials; ++i) ++counts[sampler.getRandomPermutation(3)[0]];
    EXPECT_NEAR(counts[1] / double(trials), 0.25, 0.02);
    EXPECT_NEAR(counts[2] / double(trials), 0.50, 0.02);
    EXPECT_NEAR(counts[3] / double(trials), 0.25, 0.02);

    int firstIsOne = 0;
    for (int i = 0; i < trials; ++i) firstIsOne += sampler.getRandomPermutation(2)[0] == 1;
    EXPECT_NEAR(firstIsOne / double(trials), 0.5, 0.02);
}

TEST(CombinatorialAnalysis, CombinationsAreAscendingDistinctAndInRange) {
    CRand::seed(11);
    CombinatorialAnalysis<double> sampler;
    for (int n = 1; n <= 12; ++n) {
        std::vector<int> all(n);
        for (int i = 0; i < n; ++i) all[i] = i + 1;
        EXPECT_EQ(sampler.getRandomCombination(n, n), all);
        for (int k = 0; k <= n; ++k) {
            const std::vector<int> c = sampler.getRandomCombination(n, k);
            ASSERT_EQ(static_cast<int>(c.size()), k);
            for (int i = 0; i < k; ++i) {
                ASSERT_GE(c[i], 1);
                ASSERT_LE(c[i], n);
                if (i > 0) {
                    ASSERT_LT(c[i - 1], c[i]) << "n = " << n << ", k = " << k;
                }
            }
        }
    }
}

TEST(CombinatorialAnalysis, ListsOfCombinationsAreDistinctAndSorted) {
    CombinatorialAnalysis<int> sampler;
    const Subsets allPairsOf3 = {{1, 2}, {1, 3}, {2, 3}};

    // Draw order {2,3}, {2,3} again (rejected), {1,3}, {1,2}: the result is sorted, and
    // the rejected duplicate costs one more permutation of draws.
    {
        long draws = 0;
        auto scripted = sequenceSource({1, 1, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0});
        ScopedSource source([&]() {
            ++draws;
            return scripted();
        });
        EXPECT_EQ(sampler.getVectorOfRandomCombination(3, 3, 2), allPairsOf3);
        EXPECT_EQ(draws, 12);
    }
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        CRand::seed(seed);
        EXPECT_EQ(sampler.getVectorOfRandomCombination(3, 3, 2), allPairsOf3) << "seed " << seed;
    }

    CRand::seed(77);
    for (int trial = 0; trial < 20; ++trial) {
        for (auto [count, n, k] : {std::tuple{10, 6, 2}, std::tuple{15, 6, 2}, std::tuple{7, 9, 4},
                                   std::tuple{1, 5, 5}}) {
            const Subsets list = sampler.getVectorOfRandomCombination(count, n, k);
            ASSERT_EQ(static_cast<int>(list.size()), count);
            EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
            EXPECT_EQ(std::set<std::vector<int> >(list.begin(), list.end()).size(), list.size())
                << "repeated subset";
            for (const auto& c : list) {
                ASSERT_EQ(static_cast<int>(c.size()), k);
                EXPECT_TRUE(std::is_sorted(c.begin(), c.end()));
                EXPECT_EQ(std::set<int>(c.begin(), c.end()).size(), c.size());
                EXPECT_GE(c.front(), 1);
                EXPECT_LE(c.back(), n);
            }
        }
    }
}

TEST(CombinatorialAnalysis, ImpossibleRequestsReturnNothingInsteadOfLooping) {
    CombinatorialAnalysis<int> sampler;
    CRand::seed(3);
    EXPECT_TRUE(sampler.getVectorOfRandomCombination(4, 3, 2).empty());
    EXPECT_TRUE(sampler.getVectorOfRandomCombination(2, 4, 4).empty());
    EXPECT_TRUE(sampler.getVectorOfRandomCombination(1, 3, 0).empty());
    EXPECT_TRUE(sampler.getVectorOfRandomCombination(11, 5, 3).empty());
    // Exactly as many as exist is fine.
    EXPECT_EQ(sampler.getVectorOfRandomCombination(10, 5, 3).size(), 10u);
    EXPECT_EQ(sampler.getVectorOfRandomCombination(1, 4, 4), (Subsets{{1, 2, 3, 4}}));
}
