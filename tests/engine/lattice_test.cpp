// Rank-1 lattice designs against plain all-pairs computations on the full lattice.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "engine/lattice.h"

using olhs::engine::isLatin;
using olhs::engine::latticeDesign;
using olhs::engine::LatticeDesign;
using olhs::engine::Levels;
using olhs::engine::torusSmallest;

namespace {

using Points = std::vector<std::vector<std::int64_t>>;

// Points i h mod N, i = 0..N-1.
Points lattice(const std::vector<std::uint64_t>& h, std::int64_t prime) {
    Points p(static_cast<std::size_t>(prime));
    for (std::int64_t i = 0; i < prime; ++i)
        for (std::uint64_t g : h) p[i].push_back(static_cast<std::int64_t>(i * (g % prime) % prime));
    return p;
}

// Smallest distance over all pairs; with wrap > 0, on the torus of that size.
std::int64_t smallest(const Points& p, int exponent, std::int64_t wrap = 0) {
    std::int64_t best = std::numeric_limits<std::int64_t>::max();
    for (std::size_t a = 0; a < p.size(); ++a)
        for (std::size_t b = a + 1; b < p.size(); ++b) {
            std::int64_t sum = 0;
            for (std::size_t c = 0; c < p[a].size(); ++c) {
                std::int64_t d = std::abs(p[a][c] - p[b][c]);
                if (wrap > 0) d = std::min(d, wrap - d);
                sum += exponent == 1 ? d : d * d;
            }
            best = std::min(best, sum);
        }
    return best;
}

Points rows(const Levels& d) {
    Points p(static_cast<std::size_t>(d.points()));
    for (int i = 0; i < d.points(); ++i)
        for (int c = 0; c < d.variables(); ++c) p[i].push_back(d(i, c));
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

class LatticeShape : public ::testing::TestWithParam<std::tuple<int, int, int>> {};

// Latin, deterministic, the value the torus minimum of its generators and a bound of the
// full lattice, and the proven bounds below the design's own smallest distances.
TEST_P(LatticeShape, IsLatinAndItsBoundsHold) {
    const auto [n, m, exponent] = GetParam();
    const LatticeDesign r = latticeDesign(n, m, exponent);
    ASSERT_EQ(r.levels.points(), n);
    ASSERT_EQ(r.levels.variables(), m);
    EXPECT_TRUE(isLatin(r.levels));
    EXPECT_GE(r.prime, n);

    const auto h = korobov(r.multiplier, m, r.prime);
    EXPECT_TRUE(distinct(h)) << "repeated generator";
    EXPECT_EQ(torusSmallest(h, r.prime, exponent), r.torusValue);

    EXPECT_EQ(latticeDesign(n, m, exponent).levels, r.levels) << "not deterministic";

    // The value bounds the full N points; the n re-ranked ones can lose a few units, which
    // the proven bounds allow for, in both metrics.
    EXPECT_LE(r.torusValue, smallest(lattice(h, r.prime), exponent));
    const olhs::engine::DistanceBounds bounds = olhs::engine::smallestBounds(r, n, m, exponent);
    EXPECT_LE(bounds.cityBlock, smallest(rows(r.levels), 1));
    EXPECT_LE(bounds.squared, smallest(rows(r.levels), 2));
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
                    const Points p = lattice(h, prime);
                    const std::int64_t value = torusSmallest(h, prime, exponent);
                    EXPECT_EQ(value, smallest(p, exponent, prime)) << prime << " " << m << " " << exponent;
                    EXPECT_LE(value, smallest(p, exponent));
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
        const std::int64_t value = smallest(lattice(korobov(a, m, r.prime), r.prime), exponent, r.prime);
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
