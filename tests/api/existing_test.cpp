// Existing designs: improve() from a start design, augment() of a finished one.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/existing.h"
#include "olhs/optimize.h"

namespace {

using olhs::AugmentResult;
using olhs::Options;
using olhs::Result;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// phi_p straight from the definition.
double definitionPhip(const std::vector<int>& levels, int n, int m, double p = 50.0, bool euclidean = false) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            double s = 0.0;
            for (int c = 0; c < m; ++c) {
                const double d = levels[static_cast<std::size_t>(i) * m + c] - levels[static_cast<std::size_t>(j) * m + c];
                s += euclidean ? d * d : std::fabs(d);
            }
            sum += std::pow(euclidean ? std::sqrt(s) : s, -p);
        }
    return std::pow(sum, 1.0 / p);
}

// phi_p as the library sums it: `term + sum` in pair order, each term pow(d, -p / e) of the
// city-block (e = 1) or squared Euclidean (e = 2) distance; pairs of two points below
// `fixed` left out.
double plainPhip(const std::vector<int>& levels, int n, int m, bool euclidean = false, int fixed = 0) {
    const double p = 50.0;
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = std::max(i + 1, fixed); j < n; ++j) {
            long long s = 0;
            for (int c = 0; c < m; ++c) {
                const long long d = levels[static_cast<std::size_t>(i) * m + c] - levels[static_cast<std::size_t>(j) * m + c];
                s += euclidean ? d * d : (d < 0 ? -d : d);
            }
            sum = std::pow(static_cast<double>(s), -(p / (euclidean ? 2 : 1))) + sum;
        }
    return std::pow(sum, 1.0 / p);
}

std::vector<int> randomLatin(int n, int m, std::mt19937_64& rng) {
    std::vector<int> levels(static_cast<std::size_t>(n) * m), column(static_cast<std::size_t>(n));
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) column[static_cast<std::size_t>(i)] = i + 1;
        std::shuffle(column.begin(), column.end(), rng);
        for (int i = 0; i < n; ++i) levels[static_cast<std::size_t>(i) * m + c] = column[static_cast<std::size_t>(i)];
    }
    return levels;
}

Options quick(std::uint64_t seed = 1) {
    Options o;
    o.seed = seed;
    o.iterations = 15;
    return o;
}

std::string refusal(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "(accepted)";
}

bool startsWith(const std::string& text, const std::string& start) { return text.rfind(start, 0) == 0; }

TEST(Improve, RefusesAStartThatIsNotLatin) {
    const std::vector<int> good = {1, 2, 2, 1, 3, 3};
    EXPECT_EQ(refusal([&] { olhs::improve(good, 3, 2, quick()); }), "(accepted)");
    EXPECT_TRUE(startsWith(refusal([&] { olhs::improve({1, 2, 2, 1, 3}, 3, 2); }), "startLevels: must hold n m = 6"));
    EXPECT_EQ(refusal([&] { olhs::improve({1, 2, 2, 1, 4, 3}, 3, 2); }),
              "startLevels: row 3, column 1: levels must lie in 1..3 (got 4)");
    EXPECT_EQ(refusal([&] { olhs::improve({1, 2, 2, 2, 3, 3}, 3, 2); }),
              "startLevels: column 2 must be a permutation of 1..3: rows 1 and 2 both hold (got 2)");
    EXPECT_TRUE(startsWith(refusal([&] { olhs::improve(good, 3, 2, [] { Options o; o.restarts = 0; return o; }()); }),
                           "restarts:"));
    EXPECT_TRUE(startsWith(refusal([&] { olhs::improve({1, 1}, 1, 2); }), "n:"));
}

TEST(Improve, NeverWorseThanItsStartAndKeepsItsShape) {
    std::mt19937_64 rng(3);
    for (auto [n, m] : {std::pair<int, int>{2, 2}, {5, 2}, {12, 3}, {30, 4}, {20, 1}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << m);
        for (bool euclidean : {false, true}) {
            const std::vector<int> start = randomLatin(n, m, rng);
            Options o = quick(7);
            o.metric = euclidean ? olhs::Metric::Euclidean : olhs::Metric::CityBlock;
            const Result r = olhs::improve(start, n, m, o);
            const double before = plainPhip(start, n, m, euclidean);
            EXPECT_LE(r.phip, before);
            EXPECT_TRUE(sameBits(r.phip, plainPhip(r.levels, n, m, euclidean)));
            EXPECT_NEAR(r.phip, definitionPhip(r.levels, n, m, 50.0, euclidean), 1e-12 * r.phip);
            if (m >= 2 && n >= 12) {
                EXPECT_LT(r.phip, before); // a random start leaves room
            }
            for (int c = 0; c < m; ++c) {
                std::vector<int> column;
                for (int i = 0; i < n; ++i) column.push_back(r.levels[static_cast<std::size_t>(i) * m + c]);
                if (c == 0) {
                    for (int i = 0; i < n; ++i) EXPECT_EQ(column[i], start[static_cast<std::size_t>(i) * m]);
                }
                std::sort(column.begin(), column.end());
                for (int i = 0; i < n; ++i) ASSERT_EQ(column[i], i + 1) << "column " << c;
            }
            for (std::size_t k = 0; k < r.levels.size(); ++k) ASSERT_EQ(r.design[k], (r.levels[k] - 0.5) / n);
        }
    }
    // A start no search improves on comes back as it was, from every restart.
    const Result best = olhs::optimize(8, 3, quick(2));
    Options many = quick(5);
    many.restarts = 4;
    many.iterations = 3;
    const Result again = olhs::improve(best.levels, 8, 3, many);
    EXPECT_LE(again.phip, best.phip);
    if (sameBits(again.phip, best.phip)) {
        EXPECT_EQ(again.levels, best.levels);
    }
}

TEST(Improve, EveryColumnMovesWhenThereAreMoreColumnsThanInnerIterations) {
    // 40 points give ten inner iterations per outer one; with 16 columns a turn that
    // started again at every outer iteration would never reach the last ones.
    const int n = 40, m = 16;
    std::vector<int> start(static_cast<std::size_t>(n) * m);
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < m; ++c) start[static_cast<std::size_t>(i) * m + c] = i + 1;
    Options o = quick(4);
    o.iterations = 10;
    const Result r = olhs::improve(start, n, m, o);
    for (int c = 1; c < m; ++c) {
        int moved = 0;
        for (int i = 0; i < n; ++i) moved += r.levels[static_cast<std::size_t>(i) * m + c] != i + 1;
        EXPECT_GT(moved, 0) << "column " << c;
    }
}

TEST(Improve, SameBitsForTheSameSeedWhateverTheThreads) {
    std::mt19937_64 rng(4);
    const std::vector<int> start = randomLatin(40, 5, rng);
    Options o = quick(11);
    o.restarts = 5;
    o.threads = 1;
    const Result one = olhs::improve(start, 40, 5, o);
    for (int threads : {2, 8}) {
        o.threads = threads;
        const Result many = olhs::improve(start, 40, 5, o);
        EXPECT_EQ(many.levels, one.levels) << threads << " threads";
        EXPECT_TRUE(sameBits(many.phip, one.phip)) << threads << " threads";
    }
    o.seed = 12;
    EXPECT_NE(olhs::improve(start, 40, 5, o).levels, one.levels); // the seed drives the streams
}

// Strata of a result's values computed from the values themselves.
std::vector<int> strataOf(const AugmentResult& r, const std::vector<double>& lower, const std::vector<double>& upper) {
    std::vector<int> strata(r.design.size());
    const int N = r.points;
    for (std::size_t k = 0; k < r.design.size(); ++k) {
        const std::size_t c = k % static_cast<std::size_t>(r.variables);
        const double lo = lower.empty() ? 0.0 : lower[c], hi = upper.empty() ? 1.0 : upper[c];
        strata[k] = std::min(N - 1, static_cast<int>((r.design[k] - lo) / (hi - lo) * N)) + 1;
    }
    return strata;
}

// How many points each stratum of variable c holds.
std::vector<int> occupancy(const std::vector<int>& strata, int N, int m, int c) {
    std::vector<int> count(static_cast<std::size_t>(N) + 1, 0);
    for (int i = 0; i < N; ++i) ++count[static_cast<std::size_t>(strata[static_cast<std::size_t>(i) * m + c])];
    return count;
}

TEST(Augment, OriginalsUnchangedAndEveryStratumHeldOnce) {
    for (auto [n, m, k] : {std::tuple<int, int, int>{10, 3, 5}, {7, 2, 1}, {20, 4, 20}, {1, 3, 4}, {12, 1, 6}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << m << " + " << k);
        // Values in distinct strata of n + k: the middles of the cells of a Latin design of
        // n points lie 1/n >= 1/(n + k) apart.
        std::vector<double> values(static_cast<std::size_t>(n) * m);
        if (n >= 2) {
            values = olhs::optimize(n, m, quick(3)).design;
        } else {
            for (double& v : values) v = 0.3;
        }
        for (auto placement : {olhs::Placement::Centered, olhs::Placement::Jittered}) {
            Options o = quick(9);
            o.placement = placement;
            const AugmentResult r = olhs::augment(values, n, m, k, o);
            ASSERT_EQ(r.points, n + k);
            ASSERT_EQ(r.design.size(), static_cast<std::size_t>(n + k) * m);
            EXPECT_EQ(std::memcmp(r.design.data(), values.data(), values.size() * sizeof(double)), 0);
            EXPECT_EQ(r.doubled, 0);
            EXPECT_EQ(r.doubledStrata, std::vector<int>(static_cast<std::size_t>(m), 0));
            EXPECT_EQ(strataOf(r, {}, {}), r.strata);
            for (int c = 0; c < m; ++c) {
                const std::vector<int> count = occupancy(r.strata, n + k, m, c);
                for (int s = 1; s <= n + k; ++s) ASSERT_EQ(count[static_cast<std::size_t>(s)], 1) << "stratum " << s;
            }
            if (placement == olhs::Placement::Centered) {
                for (std::size_t at = values.size(); at < r.design.size(); ++at)
                    EXPECT_EQ(r.design[at], (r.strata[at] - 0.5) / (n + k));
            }
            EXPECT_TRUE(sameBits(r.phip, plainPhip(r.strata, n + k, m)));
        }
    }
}

TEST(Augment, DoubledStrataWhenTheOriginalsShareThem) {
    // Variable 1: 0.1 and 0.2 share stratum 1 of 4, so strata 2 and 3 are empty and the one
    // new point takes the later of the two middles of the ranks: stratum 3, value 0.625.
    // Variable 2 has one empty stratum, 2, value 0.375.
    const std::vector<double> values = {0.1, 0.05, 0.2, 0.6, 0.9, 0.8};
    const AugmentResult r = olhs::augment(values, 3, 2, 1, quick());
    EXPECT_EQ(r.doubledStrata, (std::vector<int>{1, 0}));
    EXPECT_EQ(r.doubled, 1);
    EXPECT_EQ(r.strata, (std::vector<int>{1, 1, 1, 3, 4, 4, 3, 2}));
    EXPECT_EQ(r.design[6], 0.625);
    EXPECT_EQ(r.design[7], 0.375);
    // Five points in two strata of seven: five doubled, and the two new points spread
    // over the five empty ones by rank (2 and 5 of 1..7 are the second and fourth).
    const std::vector<double> clustered = {0.0, 0.01, 0.02, 0.03, 0.99};
    const AugmentResult c = olhs::augment(clustered, 5, 1, 2, quick());
    EXPECT_EQ(c.doubled, 3);
    std::vector<int> added = {c.strata[5], c.strata[6]};
    std::sort(added.begin(), added.end());
    EXPECT_EQ(added, (std::vector<int>{3, 5}));
    // Two originals in one place make phi_p infinite, and the new points are still placed.
    const AugmentResult twins = olhs::augment({0.5, 0.5, 0.5, 0.5}, 2, 2, 3, quick());
    EXPECT_TRUE(std::isinf(twins.phip));
    EXPECT_EQ(twins.doubledStrata, (std::vector<int>{1, 1}));
    for (int c2 = 0; c2 < 2; ++c2) {
        const std::vector<int> count = occupancy(twins.strata, 5, 2, c2);
        EXPECT_EQ(std::count(count.begin() + 1, count.end(), 1), 3);
        EXPECT_EQ(std::count(count.begin() + 1, count.end(), 2), 1);
    }
}

TEST(Augment, BoxesAndRefusals) {
    const std::vector<double> lower = {10.0, -1.0}, upper = {20.0, 1.0};
    const std::vector<double> values = {10.0, 1.0, 20.0, -1.0, 15.0, 0.0};
    const AugmentResult r = olhs::augment(values, 3, 2, 3, quick(), lower, upper);
    EXPECT_EQ(std::memcmp(r.design.data(), values.data(), sizeof(double) * 6), 0);
    EXPECT_EQ(strataOf(r, lower, upper), r.strata);
    for (int c = 0; c < 2; ++c) {
        const std::vector<int> count = occupancy(r.strata, 6, 2, c);
        EXPECT_EQ(std::count(count.begin() + 1, count.end(), 1), 6) << "variable " << c;
        for (int i = 3; i < 6; ++i) {
            const double x = r.design[static_cast<std::size_t>(i) * 2 + c];
            EXPECT_TRUE(x > lower[c] && x < upper[c]) << x;
        }
    }
    EXPECT_EQ(refusal([&] { olhs::augment(values, 3, 2, 1); }),
              "values: row 1, column 1: must lie in [0, 1] (got 10)");
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({0.5, NAN}, 1, 2, 1); }), "values: row 1, column 2: must be a finite"));
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({0.5, 0.5}, 1, 2, 0); }), "k:"));
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({}, 0, 2, 1); }), "n:"));
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({0.5}, 1, 2, 1); }), "values: must hold n m = 2"));
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({0.5, 0.5}, 1, 2, 1, quick(), {0.0}, {1.0, 1.0}); }), "lower:"));
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({0.5, 0.5}, 1, 2, 1, quick(), {0.0, 1.0}, {1.0, 1.0}); }),
                           "upper: variable 2"));
    Options grid = quick();
    grid.placement = olhs::Placement::Grid;
    EXPECT_TRUE(startsWith(refusal([&] { olhs::augment({0.5, 0.5}, 1, 2, 1, grid); }), "placement:"));
}

TEST(Augment, TheSearchImprovesTheNewPointsAndRepeatsItself) {
    std::mt19937_64 rng(8);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<double> values(30 * 3);
    for (double& v : values) v = unit(rng);
    Options none = quick(4);
    none.iterations = 1;
    Options o = quick(4);
    o.iterations = 60;
    o.restarts = 3;
    const AugmentResult little = olhs::augment(values, 30, 3, 20, none);
    o.threads = 1;
    const AugmentResult one = olhs::augment(values, 30, 3, 20, o);
    // Pairs of two given points, which no exchange changes, dominate phi_p of the whole.
    EXPECT_LT(plainPhip(one.strata, 50, 3, false, 30), plainPhip(little.strata, 50, 3, false, 30));
    EXPECT_LE(one.phip, little.phip);
    for (int threads : {2, 8}) {
        o.threads = threads;
        const AugmentResult many = olhs::augment(values, 30, 3, 20, o);
        EXPECT_EQ(many.strata, one.strata);
        EXPECT_EQ(std::memcmp(many.design.data(), one.design.data(), one.design.size() * sizeof(double)), 0);
    }
}

} // namespace
