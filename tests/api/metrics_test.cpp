// Measures of any design: phi_p against the plain loop, bit for bit, the others on hand-worked
// designs (on larger ones they are the search's own, which optimize_test.cpp checks and the
// engine's tests hold to the textbook formulas). Refusals: the table of optimize_test.cpp.
#include <cmath>
#include <cstdint>
#include <tuple>

#include "api/api_support.h"
#include "api/pair_distances.h"
#include "olhs/metrics.h"

namespace {

using namespace olhs_api_test;
using olhs::Metric;

// The plain loop: every term by pow, added as term + sum in row order. phip() leaves out
// the terms that cannot change the sum, and must give these bits.
double plainPhip(const std::vector<int>& levels, int n, int m, Metric metric, double p) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            std::int64_t d = 0;
            for (int c = 0; c < m; ++c) {
                const std::int64_t t = std::int64_t{levels[i * m + c]} - levels[j * m + c];
                d += metric == Metric::Euclidean ? t * t : std::abs(t);
            }
            sum = std::pow(static_cast<double>(d), metric == Metric::Euclidean ? -(p / 2) : -p) + sum;
        }
    return std::pow(sum, 1.0 / p);
}

TEST(Phip, SameBitsAsThePlainLoopOverManyDesigns) {
    EXPECT_EQ(olhs::phip({1, 1, 1, 1, 2, 2}, 3, 2), INFINITY); // two equal points
    // Large enough designs for most terms to fall below the sum's rounding, and p = 1 where
    // almost none do; Latin designs and any integers, repeated points too.
    std::mt19937_64 random(11);
    for (const auto& [n, m] : {std::pair<int, int>{2, 1}, {3, 1}, {7, 2}, {40, 3}, {600, 5}})
        for (const double p : {1.0, 2.0, 7.5, 50.0, 200.0})
            for (const Metric metric : {Metric::CityBlock, Metric::Euclidean})
                for (const bool latin : {true, false}) {
                    std::vector<int> levels = randomLatin(n, m, random);
                    for (int& level : levels) level = latin ? level : static_cast<int>(random() % 2001) - 1000;
                    const double fast = olhs::phip(levels, n, m, metric, p), plain = plainPhip(levels, n, m, metric, p);
                    ASSERT_TRUE(sameBits(fast, plain)) << n << "x" << m << " p " << p << ": " << fast << " not " << plain;
                }
}

// Past four million pairs a helper thread computes half of the distances.
TEST(Phip, SharedDistancesKeepThePlainBitsAndSmallestDistances) {
    std::mt19937_64 random(5);
    const int n = 3001, m = 2;
    const std::vector<int> levels = randomLatin(n, m, random);
    std::int64_t smallest[2] = {INT64_MAX, INT64_MAX}, at[2] = {0, 0}; // city block, squared
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            const std::int64_t a = levels[i * m] - levels[j * m], b = levels[i * m + 1] - levels[j * m + 1];
            const std::int64_t d[2] = {std::abs(a) + std::abs(b), a * a + b * b};
            for (int k = 0; k < 2; ++k) {
                if (d[k] < smallest[k]) smallest[k] = d[k], at[k] = 0;
                at[k] += d[k] == smallest[k];
            }
        }
    for (const int exponent : {1, 2}) {
        const olhs::api::PairSummary summary = olhs::api::summarisePairs(levels, n, m, exponent, 50.0);
        const Metric metric = exponent == 2 ? Metric::Euclidean : Metric::CityBlock;
        EXPECT_TRUE(sameBits(summary.phip, plainPhip(levels, n, m, metric, 50.0)));
        EXPECT_EQ(std::make_tuple(summary.minCityBlock, summary.atMinCityBlock, summary.minSquared, summary.atMinSquared),
                  std::make_tuple(smallest[0], at[0], smallest[1], at[1]));
    }
}

TEST(Metrics, HandWorkedCases) {
    // A diagonal's mirror: neighbours at city-block 2, squared distance 2, correlation -1.
    const olhs::Metrics diagonal = olhs::metrics({1, 4, 2, 3, 3, 2, 4, 1}, 4, 2);
    EXPECT_EQ(std::make_tuple(diagonal.minCityBlock, diagonal.minCityBlockPairs, diagonal.minEuclideanPairs),
              std::make_tuple(2, 3, 3));
    EXPECT_DOUBLE_EQ(diagonal.minEuclidean * diagonal.minEuclidean, 2.0);
    EXPECT_DOUBLE_EQ(diagonal.maxAbsCorrelation.value_or(0.0), 1.0);
    // Points at 0.25 and 0.75: the squared centred L2 discrepancy 13/12 - 2 * 1.09375 +
    // (2 * 1.25 + 2 * 1) / 4 = 1/48, MaxPro 2^2 / 1^2, and one column has no correlation.
    const olhs::Metrics pair = olhs::metrics({2, 1}, 2, 1);
    EXPECT_NEAR(pair.centredL2Discrepancy, std::sqrt(1.0 / 48), 1e-14);
    EXPECT_DOUBLE_EQ(pair.maxPro, 4.0);
    EXPECT_FALSE(pair.maxAbsCorrelation);
}

// With progress: the same bits, shares told in order through the three passes over the
// pairs, and a false answer stops it.
TEST(Metrics, ProgressSeesEveryPassAndCanStopIt) {
    std::mt19937_64 random(9);
    const std::vector<int> levels = randomLatin(300, 3, random);
    std::vector<double> told;
    const olhs::Metrics watched = olhs::metrics(levels, 300, 3, 50.0, [&](double x) { return told.push_back(x), true; });
    const olhs::Metrics plain = olhs::metrics(levels, 300, 3);
    EXPECT_TRUE(sameBits(watched.phipCityBlock, plain.phipCityBlock) && sameBits(watched.maxPro, plain.maxPro) &&
                sameBits(watched.centredL2Discrepancy, plain.centredL2Discrepancy));
    ASSERT_GE(told.size(), 6u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()) && told.front() == 0.0 && told.back() > 2.0 / 3 && told.back() < 1);
    int calls = 0;
    EXPECT_THROW(olhs::metrics(levels, 300, 3, 50.0, [&](double) { return ++calls < 3; }), olhs::MeasuringCancelled);
    EXPECT_EQ(calls, 3);
}

} // namespace
