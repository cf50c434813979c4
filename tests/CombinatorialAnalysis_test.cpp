// The pick rule behind CombinatorialAnalysis, and the subsets built on it.
#include <algorithm>
#include <functional>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/CombinatorialAnalysis.h"
#include "test_support.h"

using olhs_test::ScopedSource;
using olhs_test::sequenceSource;

using Subsets = std::vector<std::vector<int> >;

namespace {

template <class T>
bool strictlyAscending(const std::vector<T>& v) {
    return std::adjacent_find(v.begin(), v.end(), std::greater_equal<T>()) == v.end();
}

} // namespace

TEST(PickRule, EveryPermutationFollowsTheScriptedDraws) {
    struct Case {
        std::vector<double> draws;
        std::vector<int> expected;
    };
    const Case cases[] = {
        {{0.0}, {1, 2, 3, 4, 5}},
        {{1.0}, {5, 4, 3, 2, 1}},
        {{0.5}, {3, 2, 4, 1}}, // 0.5 (k - 1) lands on halves, which round away from zero
        // Pool 1..5: 0.125*4 = 0.5 -> index 1 (2); pool 1,3,4,5: 0.3 -> index 0 (1); pool
        // 3,4,5: 1.5 -> index 2 (5); pool 3,4: 0.49 -> index 0 (3); then 4. Removing by swapping
        // with the last value, or truncating instead of rounding, gives another order.
        {{0.125, 0.1, 0.75, 0.49, 0.9}, {2, 1, 5, 3, 4}},
        {{0.3}, {1}},
        {{0.3}, {}},
    };
    CombinatorialAnalysis<double> real;
    CombinatorialAnalysis<int> whole;
    for (const Case& c : cases) {
        const int n = static_cast<int>(c.expected.size());
        const std::vector<double> asReal(c.expected.begin(), c.expected.end());
        long draws = 0;
        auto scripted = sequenceSource(c.draws);
        ScopedSource source([&] {
            ++draws;
            return scripted();
        });
        EXPECT_EQ(real.getRandomPermutation(n), asReal) << "n = " << n << ", first draw " << c.draws[0];
        scripted = sequenceSource(c.draws);
        EXPECT_EQ(whole.getRandomPermutation(n), c.expected);
        EXPECT_EQ(draws, 2 * n) << "one draw per value, the last included";
    }
}

TEST(PickRule, SamplersDrawOnlyWhenAskedAndCombinationsDrawWholePermutations) {
    long draws = 0;
    ScopedSource source(olhs_test::countingSource(&draws, 0.3));
    CombinatorialAnalysis<double> real{CRand(false)};
    CombinatorialAnalysis<int> whole;
    EXPECT_EQ(draws, 0);
    for (int n : {0, 1, 2, 7}) {
        draws = 0;
        EXPECT_EQ(static_cast<int>(whole.getRandomCombination(n, n / 2).size()), n / 2);
        EXPECT_TRUE(real.getRandomCombination(n, 0).empty());
        EXPECT_TRUE(whole.getVectorOfRandomCombination(0, n, 1).empty());
        EXPECT_EQ(draws, 2 * n) << "n = " << n;
    }
}

TEST(Combinations, ListsAreDistinctAndSortedWhateverTheDrawOrder) {
    CombinatorialAnalysis<int> sampler;
    // Drawn {2,3}, {2,3} again (rejected), {1,3}, {1,2}: the rejected duplicate costs one
    // more permutation of draws, and the list comes back sorted.
    {
        long draws = 0;
        auto scripted = sequenceSource({1, 1, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0});
        ScopedSource source([&] {
            ++draws;
            return scripted();
        });
        EXPECT_EQ(sampler.getVectorOfRandomCombination(3, 3, 2), (Subsets{{1, 2}, {1, 3}, {2, 3}}));
        EXPECT_EQ(draws, 12);
    }
    CRand::seed(77);
    const std::tuple<int, int, int> requests[] = {{3, 3, 2}, {15, 6, 2}, {7, 9, 4}, {1, 5, 5}, {4, 4, 1}};
    for (int trial = 0; trial < 10; ++trial) {
        for (auto [count, n, k] : requests) {
            const Subsets list = sampler.getVectorOfRandomCombination(count, n, k);
            ASSERT_EQ(static_cast<int>(list.size()), count);
            EXPECT_TRUE(strictlyAscending(list)) << "unsorted or repeated subsets";
            for (const auto& c : list)
                EXPECT_TRUE(int(c.size()) == k && strictlyAscending(c) && c.front() >= 1 && c.back() <= n) << k;
        }
    }
}

TEST(Combinations, ImpossibleRequestsReturnNothingInsteadOfLooping) {
    CombinatorialAnalysis<int> sampler;
    CRand::seed(3);
    for (auto [count, n, k] : {std::tuple{4, 3, 2}, std::tuple{2, 4, 4}, std::tuple{1, 3, 0}, std::tuple{11, 5, 3}})
        EXPECT_TRUE(sampler.getVectorOfRandomCombination(count, n, k).empty()) << count << ", " << n << ", " << k;
    // Exactly as many as exist is fine.
    EXPECT_EQ(sampler.getVectorOfRandomCombination(10, 5, 3).size(), 10u);
    EXPECT_EQ(sampler.getVectorOfRandomCombination(1, 4, 4), (Subsets{{1, 2, 3, 4}}));
}
