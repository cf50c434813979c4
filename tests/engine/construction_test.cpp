// The maximin bound against the distances of actual designs, and the constructed designs
// against the bound.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <random>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "engine/construction.h"

using olhs::engine::Levels;
using olhs::engine::maximinUpperBound;
using olhs::engine::provenOptimalCityBlock;

namespace {

std::int64_t distance(const Levels& d, int a, int b, int exponent) {
    std::int64_t sum = 0;
    for (int c = 0; c < d.variables(); ++c) {
        const std::int64_t step = std::abs(d(a, c) - d(b, c));
        sum += exponent == 1 ? step : step * step;
    }
    return sum;
}

// Smallest distance over the pairs (or their total).
std::int64_t overPairs(const Levels& d, int exponent, bool total = false) {
    std::int64_t result = total ? 0 : std::numeric_limits<std::int64_t>::max();
    for (int a = 0; a < d.points(); ++a)
        for (int b = a + 1; b < d.points(); ++b)
            result = total ? result + distance(d, a, b, exponent) : std::min(result, distance(d, a, b, exponent));
    return result;
}

} // namespace

// Every Latin design has the same mean distance over its pairs, so a random one shows it.
TEST(MaximinUpperBound, IsTheFlooredMeanOverPairs) {
    std::mt19937 shuffle(7);
    for (int n = 2; n <= 12; ++n)
        for (int m = 2; m <= 5; ++m) {
            Levels d(n, m);
            std::vector<int> column(n);
            std::iota(column.begin(), column.end(), 1);
            for (int c = 0; c < m; ++c) {
                std::shuffle(column.begin(), column.end(), shuffle);
                for (int i = 0; i < n; ++i) d.set(i, c, column[i]);
            }
            for (int exponent : {1, 2})
                EXPECT_EQ(maximinUpperBound(n, m, exponent), overPairs(d, exponent, true) / (n * (n - 1) / 2))
                    << n << " x " << m << ", exponent " << exponent;
        }
}

TEST(MaximinUpperBound, EdgesAndSizesWhoseProductLeaves64Bits) {
    EXPECT_EQ(maximinUpperBound(7, 1, 1), 1); // one variable: neighbouring levels
    EXPECT_EQ(maximinUpperBound(7, 1, 2), 1);
    EXPECT_EQ(maximinUpperBound(1000000000, 30, 2), INT64_C(5000000005000000000));
    EXPECT_EQ(maximinUpperBound(2000000000, 1000, 2), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(maximinUpperBound(1, 5, 1), 0);
    EXPECT_THROW(maximinUpperBound(5, 2, 3), std::invalid_argument);
}

class CityBlockConstruction : public ::testing::TestWithParam<int> {};

// Every n up to 60 with 2n + 1 prime gets an n x n design that meets the bound, so is
// optimal; every other size gets none.
TEST_P(CityBlockConstruction, MeetsTheBoundExactlyWhereTwoNPlusOneIsPrime) {
    const int n = GetParam();
    const std::vector<int> admissible = {2,  3,  5,  6,  8,  9,  11, 14, 15, 18, 20, 21, 23, 26,
                                         29, 30, 33, 35, 36, 39, 41, 44, 48, 50, 51, 53, 54, 56};
    const bool expected = std::find(admissible.begin(), admissible.end(), n) != admissible.end();
    for (int m : {n - 1, n, n + 1}) {
        const Levels d = provenOptimalCityBlock(n, m);
        if (!expected || m != n) {
            EXPECT_EQ(d.points(), 0) << n << " x " << m;
            continue;
        }
        ASSERT_EQ(d.points(), n);
        ASSERT_EQ(d.variables(), n);
        for (int c = 0; c < n; ++c) {
            std::vector<int> column(d.column(c), d.column(c) + n), levels(n);
            std::sort(column.begin(), column.end());
            std::iota(levels.begin(), levels.end(), 1);
            EXPECT_EQ(column, levels) << "column " << c;
        }
        EXPECT_EQ(overPairs(d, 1), maximinUpperBound(n, n, 1));
    }
}

INSTANTIATE_TEST_SUITE_P(UpTo60, CityBlockConstruction, ::testing::Range(2, 61));
