// Constructed designs against plain all-pairs computations: the maximin bound against
// actual designs, the proven-optimal city-block designs against the bound, and rank-1
// lattice designs against the full lattice.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "engine/construction.h"
#include "engine/lattice.h"
#include "engine/multistart.h"

using namespace olhs::engine;

namespace {

// The smallest distance over all pairs (or their total); with wrap > 0, on the torus of
// that size.
std::int64_t overPairs(const Levels& p, int exponent, std::int64_t wrap = 0, bool total = false) {
    std::int64_t result = total ? 0 : std::numeric_limits<std::int64_t>::max();
    for (int a = 0; a < p.points(); ++a)
        for (int b = a + 1; b < p.points(); ++b) {
            std::int64_t sum = 0;
            for (int c = 0; c < p.variables(); ++c) {
                std::int64_t d = std::abs(p(a, c) - p(b, c));
                if (wrap > 0) d = std::min(d, wrap - d);
                sum += exponent == 1 ? d : d * d;
            }
            result = total ? result + sum : std::min(result, sum);
        }
    return result;
}

// Whether every column of the n x m design is a permutation of 1..n.
testing::AssertionResult isLatin(const Levels& d, int n, int m) {
    if (d.points() != n || d.variables() != m) return testing::AssertionFailure() << d.points() << " x " << d.variables();
    for (int c = 0; c < m; ++c) {
        std::vector<int> column(d.column(c), d.column(c) + n);
        std::sort(column.begin(), column.end());
        for (int i = 0; i < n; ++i)
            if (column[i] != i + 1) return testing::AssertionFailure() << "column " << c << " is not a permutation";
    }
    return testing::AssertionSuccess();
}

// Points i h mod N, i = 0..N-1.
Levels lattice(const std::vector<std::uint64_t>& h, int prime) {
    Levels p(prime, static_cast<int>(h.size()));
    for (int i = 0; i < prime; ++i)
        for (std::size_t c = 0; c < h.size(); ++c)
            p.set(i, static_cast<int>(c), static_cast<std::int32_t>(i * (h[c] % prime) % prime));
    return p;
}

std::vector<std::uint64_t> korobov(std::uint64_t a, int m, std::uint64_t prime) {
    std::vector<std::uint64_t> h{1};
    while (static_cast<int>(h.size()) < m) h.push_back(h.back() * a % prime);
    return h;
}

bool distinct(std::vector<std::uint64_t> h) {
    std::sort(h.begin(), h.end());
    return std::adjacent_find(h.begin(), h.end()) == h.end();
}

} // namespace

// Every Latin design has the same mean distance over its pairs, so a random one shows it.
TEST(MaximinUpperBound, IsTheFlooredMeanOverPairs) {
    RandomStream stream(7);
    for (int n = 2; n <= 12; ++n)
        for (int m = 2; m <= 5; ++m) {
            const Levels d = randomLatin(n, m, stream);
            for (int exponent : {1, 2})
                EXPECT_EQ(maximinUpperBound(n, m, exponent), overPairs(d, exponent, 0, true) / (n * (n - 1) / 2))
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

// Every n up to 60 with 2n + 1 prime gets an n x n Latin design that meets the bound, so is
// optimal; every other size gets none.
TEST_P(CityBlockConstruction, MeetsTheBoundExactlyWhereTwoNPlusOneIsPrime) {
    const int n = GetParam();
    const std::vector<int> admissible = {2,  3,  5,  6,  8,  9,  11, 14, 15, 18, 20, 21, 23, 26,
                                         29, 30, 33, 35, 36, 39, 41, 44, 48, 50, 51, 53, 54, 56};
    const bool prime = std::find(admissible.begin(), admissible.end(), n) != admissible.end();
    for (int m : {n - 1, n, n + 1}) {
        const Levels d = provenOptimalCityBlock(n, m);
        if (!prime || m != n) {
            EXPECT_EQ(d.points(), 0) << n << " x " << m;
            continue;
        }
        ASSERT_TRUE(isLatin(d, n, n));
        EXPECT_EQ(overPairs(d, 1), maximinUpperBound(n, n, 1));
    }
}

INSTANTIATE_TEST_SUITE_P(UpTo60, CityBlockConstruction, ::testing::Range(2, 61));

class LatticeShape : public ::testing::TestWithParam<std::tuple<int, int, int>> {};

// Latin, the value the torus minimum of its generators and a bound of the full lattice,
// and the proven bounds below the design's own smallest distances.
TEST_P(LatticeShape, IsLatinAndItsBoundsHold) {
    const auto [n, m, exponent] = GetParam();
    const LatticeDesign r = latticeDesign(n, m, exponent);
    ASSERT_TRUE(isLatin(r.levels, n, m));
    EXPECT_GE(r.prime, n);
    const auto h = korobov(r.multiplier, m, r.prime);
    EXPECT_TRUE(distinct(h)) << "repeated generator";
    EXPECT_EQ(torusSmallest(h, r.prime, exponent), r.torusValue);
    // The value bounds the full N points; the n re-ranked ones can lose a few units, which
    // the proven bounds allow for, in both metrics.
    EXPECT_LE(r.torusValue, overPairs(lattice(h, r.prime), exponent));
    const DistanceBounds bounds = smallestBounds(r, n, m, exponent);
    EXPECT_LE(bounds.cityBlock, overPairs(r.levels, 1));
    EXPECT_LE(bounds.squared, overPairs(r.levels, 2));
}

INSTANTIATE_TEST_SUITE_P(Sizes, LatticeShape,
                         ::testing::Combine(::testing::Values(2, 3, 4, 10, 97, 100, 1000), ::testing::Values(1, 2, 5, 10),
                                            ::testing::Values(1, 2)));

// The scan from point 0 is the all-pairs torus minimum (translation invariance), which
// bounds the ordinary minimum of the full lattice from below; zero and unreduced generators too.
TEST(TorusSmallest, IsTheAllPairsTorusMinimumAndBoundsTheOrdinaryOne) {
    std::mt19937_64 random(11);
    for (int prime : {2, 3, 7, 31, 101, 211})
        for (int m : {1, 2, 4, 7})
            for (int exponent : {1, 2})
                for (int trial = 0; trial < 3; ++trial) {
                    std::vector<std::uint64_t> h(static_cast<std::size_t>(m));
                    for (auto& g : h) g = random() % (2 * static_cast<std::uint64_t>(prime));
                    const Levels p = lattice(h, prime);
                    const std::int64_t value = torusSmallest(h, prime, exponent);
                    EXPECT_EQ(value, overPairs(p, exponent, prime)) << prime << " " << m << " " << exponent;
                    EXPECT_LE(value, overPairs(p, exponent));
                }
}

class LatticeChoice : public ::testing::TestWithParam<std::tuple<int, int, int>> {};

// Every multiplier scored by plain all-pairs torus distances: none beats the chosen one, and
// none below it ties.
TEST_P(LatticeChoice, IsTheSmallestBestMultiplier) {
    const auto [n, m, exponent] = GetParam();
    const LatticeDesign r = latticeDesign(n, m, exponent);
    std::int64_t best = -1;
    std::uint64_t bestA = 0;
    for (std::uint64_t a = 1; a < static_cast<std::uint64_t>(r.prime); ++a) {
        if (!distinct(korobov(a, m, r.prime))) continue;
        const std::int64_t value = overPairs(lattice(korobov(a, m, r.prime), r.prime), exponent, r.prime);
        if (value > best) std::tie(best, bestA) = std::make_tuple(value, a);
    }
    EXPECT_EQ(r.multiplier, bestA);
    EXPECT_EQ(r.torusValue, best);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LatticeChoice,
                         ::testing::Combine(::testing::Values(5, 11, 30, 60, 97), ::testing::Values(1, 2, 3, 6),
                                            ::testing::Values(1, 2)));

TEST(Lattice, RefusesWhatItCannotBuild) {
    EXPECT_THROW(latticeDesign(1, 2, 1), std::invalid_argument);
    EXPECT_THROW(latticeDesign(10, 0, 1), std::invalid_argument);
    EXPECT_THROW(latticeDesign(10, 2, 3), std::invalid_argument);
    EXPECT_THROW(torusSmallest({}, 7, 1), std::invalid_argument);
    EXPECT_THROW(torusSmallest({1}, 1, 2), std::invalid_argument);
    EXPECT_THROW(torusSmallest(std::vector<std::uint64_t>(100, 1), 2147483647, 2), std::invalid_argument);
}
