// Measures of any design: ranks, phi_p (its bits against the plain loop, with the terms
// that cannot change the sum left out), and the other measures against hand-worked cases.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "api/pair_distances.h"
#include "olhs/metrics.h"
#include "olhs/optimize.h"

namespace {

using olhs::Metric;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

std::string refusal(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "(no refusal)";
}

// The plain loop: every term by pow, added as term + sum in row order.
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

std::vector<int> randomLatin(int n, int m, std::mt19937_64& random) {
    std::vector<int> levels(static_cast<std::size_t>(n) * m);
    std::vector<int> column(static_cast<std::size_t>(n));
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) column[i] = i + 1;
        std::shuffle(column.begin(), column.end(), random);
        for (int i = 0; i < n; ++i) levels[static_cast<std::size_t>(i) * m + c] = column[i];
    }
    return levels;
}

TEST(Ranks, RanksEachColumnAndNamesWhatItRefuses) {
    const std::vector<double> values = {0.5, -3.0, 2.0, 1e300, -0.0, 7.0};
    EXPECT_EQ(olhs::ranks(values.data(), 3, 2), (std::vector<int>{2, 1, 3, 3, 1, 2}));

    const std::vector<double> tie = {1.0, 5.0, 2.0, 6.0, 1.0, 7.0, 1.0, 8.0};
    EXPECT_EQ(refusal([&] { olhs::ranks(tie.data(), 4, 2); }), "column 1: rows 1 and 3 tie at 1");
    const std::vector<double> lateTie = {9.0, 1.0, 4.0, 2.0, 0.5, 1.0, 7.0, 3.0}; // column 2: rows 1 and 3
    try {
        olhs::ranks(lateTie.data(), 4, 2);
        ADD_FAILURE() << "no refusal";
    } catch (const olhs::TiedValues& e) {
        EXPECT_EQ(e.column(), 2);
        EXPECT_EQ(e.firstRow(), 1);
        EXPECT_EQ(e.secondRow(), 3);
        EXPECT_EQ(e.value(), 1.0);
    }
    const std::vector<double> zeros = {0.0, -0.0}; // equal values, whatever their sign bit
    EXPECT_EQ(refusal([&] { olhs::ranks(zeros.data(), 2, 1); }), "column 1: rows 1 and 2 tie at 0");
    std::vector<double> bad = {1.0, 2.0, 3.0, 4.0};
    bad[3] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(refusal([&] { olhs::ranks(bad.data(), 2, 2); }), "values: row 2, column 2: must be a finite number (got nan)");
    bad[3] = -INFINITY;
    EXPECT_EQ(refusal([&] { olhs::ranks(bad.data(), 2, 2); }), "values: row 2, column 2: must be a finite number (got -inf)");
    EXPECT_EQ(refusal([&] { olhs::ranks(values.data(), 1, 2); }).rfind("n: ", 0), 0u);
    EXPECT_EQ(refusal([&] { olhs::ranks(values.data(), 3, 0); }).rfind("m: ", 0), 0u);
}

TEST(Phip, HandWorkedCasesAndRefusals) {
    // Distances 3, 3 and 2 (city-block); squared 5, 5 and 2.
    const std::vector<int> levels = {1, 1, 2, 3, 3, 2};
    EXPECT_DOUBLE_EQ(olhs::phip(levels, 3, 2, Metric::CityBlock, 1.0), 1.0 / 3 + 1.0 / 3 + 1.0 / 2);
    EXPECT_DOUBLE_EQ(olhs::phip(levels, 3, 2, Metric::Euclidean, 2.0), std::sqrt(0.2 + 0.2 + 0.5));
    // Two equal points: a distance of 0 makes phi_p infinite.
    EXPECT_EQ(olhs::phip({1, 1, 1, 1, 2, 2}, 3, 2), INFINITY);

    EXPECT_EQ(refusal([&] { olhs::phip(levels, 3, 2, Metric::CityBlock, 0.5); }), "p: must lie in [1, 200] (got 0.5)");
    EXPECT_EQ(refusal([&] { olhs::phip(levels, 2, 2); }), "levels: must hold n m = 4 values (got 6)");
    EXPECT_EQ(refusal([&] { olhs::phip({1, 2000000}, 2, 1); }).rfind("levels: must lie in", 0), 0u);
}

TEST(Phip, SameBitsAsThePlainLoopOverManyDesigns) {
    std::mt19937_64 random(11);
    struct Size {
        int n, m;
    };
    // Large enough designs for most terms to fall below the sum's rounding, and p = 1 where
    // almost none do.
    for (const Size size : {Size{2, 1}, Size{3, 1}, Size{7, 2}, Size{40, 3}, Size{300, 2}, Size{600, 5}})
        for (const double p : {1.0, 2.0, 7.5, 50.0, 200.0})
            for (const Metric metric : {Metric::CityBlock, Metric::Euclidean})
                for (int trial = 0; trial < 3; ++trial) {
                    std::vector<int> levels = randomLatin(size.n, size.m, random);
                    if (trial == 2) // any integers, repeated points too
                        for (int& level : levels) level = static_cast<int>(random() % 2001) - 1000;
                    const double fast = olhs::phip(levels, size.n, size.m, metric, p);
                    const double plain = plainPhip(levels, size.n, size.m, metric, p);
                    ASSERT_TRUE(sameBits(fast, plain)) << size.n << "x" << size.m << " p " << p << " trial " << trial
                                                       << ": " << fast << " against " << plain;
                }
}

// Past four million pairs a helper thread computes half of the distances.
TEST(Phip, SharedDistancesKeepThePlainBitsAndSmallestDistances) {
    std::mt19937_64 random(5);
    const int n = 3001, m = 2;
    const std::vector<int> levels = randomLatin(n, m, random);
    for (const Metric metric : {Metric::CityBlock, Metric::Euclidean}) {
        const olhs::api::PairSummary summary =
            olhs::api::summarisePairs(levels, n, m, metric == Metric::Euclidean ? 2 : 1, 50.0);
        EXPECT_TRUE(sameBits(summary.phip, plainPhip(levels, n, m, metric, 50.0)));
        std::int64_t city = std::numeric_limits<std::int64_t>::max(), squared = city, atCity = 0, atSquared = 0;
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j) {
                const std::int64_t a = levels[i * m] - levels[j * m], b = levels[i * m + 1] - levels[j * m + 1];
                const std::int64_t d1 = std::abs(a) + std::abs(b), d2 = a * a + b * b;
                if (d1 < city) city = d1, atCity = 0;
                atCity += d1 == city;
                if (d2 < squared) squared = d2, atSquared = 0;
                atSquared += d2 == squared;
            }
        EXPECT_EQ(summary.minCityBlock, city);
        EXPECT_EQ(summary.atMinCityBlock, atCity);
        EXPECT_EQ(summary.minSquared, squared);
        EXPECT_EQ(summary.atMinSquared, atSquared);
    }
}

TEST(Phip, LeavesOutOnlyTermsTheSumWouldDrop) {
    // Sums that climb through many binades, small terms met after large ones and the
    // other way round, and a sum that starts at 0 (terms that underflow).
    std::mt19937_64 random(5);
    for (const double power : {-1.0, -25.0, -50.0, -100.0}) {
        for (int trial = 0; trial < 200; ++trial) {
            olhs::api::OrderedPowerSum sum(power, trial % 2 ? 1 << 10 : 0);
            double plain = 0.0;
            const int count = 1 + static_cast<int>(random() % 400);
            for (int k = 0; k < count; ++k) {
                const int bits = 1 + static_cast<int>(random() % (trial % 3 ? 40 : 12));
                const std::int64_t d = static_cast<std::int64_t>(random() % (std::uint64_t{1} << bits));
                sum.add(d);
                plain = std::pow(static_cast<double>(d), power) + plain;
                ASSERT_TRUE(sameBits(sum.sum(), plain)) << power << " trial " << trial << " term " << k;
            }
        }
    }
}

TEST(Metrics, HandWorkedCases) {
    // Points (1,1), (2,3), (3,2): city-block 3, 3, 2; squared 5, 5, 2.
    const olhs::Metrics three = olhs::metrics({1, 1, 2, 3, 3, 2}, 3, 2);
    EXPECT_EQ(three.minCityBlock, 2);
    EXPECT_EQ(three.minCityBlockPairs, 1);
    EXPECT_DOUBLE_EQ(three.minEuclidean, std::sqrt(2.0));
    EXPECT_EQ(three.minEuclideanPairs, 1);
    EXPECT_TRUE(sameBits(three.phipCityBlock, olhs::phip({1, 1, 2, 3, 3, 2}, 3, 2)));
    EXPECT_TRUE(sameBits(three.phipEuclidean, olhs::phip({1, 1, 2, 3, 3, 2}, 3, 2, Metric::Euclidean)));
    ASSERT_TRUE(three.maxAbsCorrelation);
    EXPECT_DOUBLE_EQ(*three.maxAbsCorrelation, 0.5); // (1,2,3) against (1,3,2)

    // Four points on a diagonal and its mirror: every neighbour at city-block 2.
    const olhs::Metrics diagonal = olhs::metrics({1, 4, 2, 3, 3, 2, 4, 1}, 4, 2);
    EXPECT_EQ(diagonal.minCityBlock, 2);
    EXPECT_EQ(diagonal.minCityBlockPairs, 3);
    EXPECT_EQ(diagonal.minEuclideanPairs, 3);
    EXPECT_DOUBLE_EQ(*diagonal.maxAbsCorrelation, 1.0);

    // Two points at 0.25 and 0.75: the squared centred L2 discrepancy is
    // 13/12 - (2/2)(2 * 1.09375) + (2 * 1.25 + 2 * 1) / 4 = 1/48.
    const olhs::Metrics pair = olhs::metrics({2, 1}, 2, 1);
    EXPECT_NEAR(pair.centredL2Discrepancy, std::sqrt(1.0 / 48), 1e-14);
    EXPECT_FALSE(pair.maxAbsCorrelation);
    EXPECT_EQ(pair.minCityBlock, 1);

    EXPECT_EQ(refusal([] { olhs::metrics({1, 1, 1, 2}, 2, 2); }),
              "levels: column 1 must be a permutation of 1..2: rows 1 and 2 both hold (got 1)");
    EXPECT_EQ(refusal([] { olhs::metrics({1, 3}, 2, 1); }),
              "levels: row 2, column 1: levels must lie in 1..2 (got 3)");
}

TEST(Metrics, DiscrepancyAgainstItsDefinitionOnLargerDesigns) {
    std::mt19937_64 random(3);
    for (int m : {1, 3, 6}) {
        const int n = 25;
        const std::vector<int> levels = randomLatin(n, m, random);
        double single = 0.0, pairs = 0.0;
        for (int i = 0; i < n; ++i) {
            double product = 1.0;
            for (int c = 0; c < m; ++c) {
                const double a = std::fabs((levels[i * m + c] - 0.5) / n - 0.5);
                product *= 1 + a / 2 - a * a / 2;
            }
            single += product;
            for (int j = 0; j < n; ++j) {
                double term = 1.0;
                for (int c = 0; c < m; ++c) {
                    const double x = (levels[i * m + c] - 0.5) / n, y = (levels[j * m + c] - 0.5) / n;
                    term *= 1 + std::fabs(x - 0.5) / 2 + std::fabs(y - 0.5) / 2 - std::fabs(x - y) / 2;
                }
                pairs += term;
            }
        }
        const double expected = std::sqrt(std::pow(13.0 / 12, m) - 2.0 / n * single + pairs / (n * n));
        EXPECT_NEAR(olhs::metrics(levels, n, m).centredL2Discrepancy, expected, 1e-12) << m;
    }
}

TEST(Metrics, AgreeWithTheOptimisersResult) {
    for (const Metric metric : {Metric::CityBlock, Metric::Euclidean})
        for (int m : {1, 4}) {
            olhs::Options options;
            options.iterations = 5;
            options.metric = metric;
            options.p = 20.0;
            const olhs::Result r = olhs::optimize(30, m, options);
            EXPECT_TRUE(sameBits(r.phip, olhs::phip(r.levels, 30, m, metric, 20.0))) << m;
            const olhs::Metrics measured = olhs::metrics(r.levels, 30, m, 20.0);
            EXPECT_EQ(measured.minCityBlock, r.minCityBlock);
            EXPECT_EQ(measured.minEuclidean, r.minEuclidean);
        }
}

// Measuring with progress: the same measures, shares told in order through all three
// passes over the pairs, and a false answer stops it.
TEST(Metrics, ProgressSeesEveryPassAndCanStopIt) {
    const olhs::Result r = olhs::optimize(300, 3, olhs::Options());
    std::vector<double> told;
    const olhs::Metrics watched = olhs::metrics(r.levels, 300, 3, 50.0, [&](double done) {
        told.push_back(done);
        return true;
    });
    const olhs::Metrics plain = olhs::metrics(r.levels, 300, 3);
    EXPECT_TRUE(sameBits(watched.phipCityBlock, plain.phipCityBlock));
    EXPECT_TRUE(sameBits(watched.maxPro, plain.maxPro));
    EXPECT_TRUE(sameBits(watched.centredL2Discrepancy, plain.centredL2Discrepancy));
    ASSERT_GE(told.size(), 6u);
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_EQ(told.front(), 0.0);
    EXPECT_GT(told.back(), 2.0 / 3.0);
    EXPECT_LT(told.back(), 1.0);
    int calls = 0;
    EXPECT_THROW(olhs::metrics(r.levels, 300, 3, 50.0, [&](double) { return ++calls < 3; }), olhs::MeasuringCancelled);
    EXPECT_EQ(calls, 3);
}

} // namespace
