// The fast criterion against the plain double computation, bit for bit: full sums,
// candidates judged one by one and side by side, moves and re-sums, with points held fixed
// or not; and the search's rule for fixed points.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/search_state.h"

namespace {

using namespace olhs::engine;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// n points in m variables. The first `fixed` take any levels in 1..n (rows 0 and 1 coincide
// when more than two are fixed); in each column the others hold the levels left over, in
// random order. With none fixed, a random Latin hypercube.
Levels design(int n, int m, int fixed, std::mt19937_64& rng) {
    Levels x(n, m);
    for (int c = 0; c < m; ++c) {
        std::vector<char> held(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; i < fixed; ++i) {
            x.set(i, c, i == 1 && fixed > 2 ? x(0, c) : 1 + static_cast<int>(rng() % n));
            held[static_cast<std::size_t>(x(i, c))] = 1;
        }
        std::vector<int> free;
        for (int v = 1; v <= n; ++v)
            if (!held[static_cast<std::size_t>(v)]) free.push_back(v);
        free.resize(static_cast<std::size_t>(n - fixed), 1); // too few: level 1 again
        std::shuffle(free.begin(), free.end(), rng);
        for (int i = fixed; i < n; ++i) x.set(i, c, free[static_cast<std::size_t>(i - fixed)]);
    }
    return x;
}

// phi_p the plain way: each pair's measure from the levels, its term pow(s, -p/exponent),
// summed `term + sum` in pair order without the pairs of two fixed points; a candidate is
// judged by adding its new terms to phi_p^p and taking its old ones away.
struct Plain {
    Levels x;
    int exponent, fixed;
    double p;
    mutable std::vector<double> terms; // pow of each measure, made when first needed

    Plain(Levels levels, int e, int f, double power)
        : x(std::move(levels)), exponent(e), fixed(f), p(power),
          terms(static_cast<std::size_t>(maxMeasure(x.points(), x.variables(), e)) + 1, -1.0) {}
    std::int64_t measure(int i, int j) const {
        std::int64_t s = 0;
        for (int c = 0; c < x.variables(); ++c) {
            const std::int64_t d = x(i, c) - x(j, c);
            s += exponent == 1 ? std::llabs(d) : d * d;
        }
        return s;
    }
    double term(int i, int j) const {
        const std::int64_t s = measure(i, j);
        double& t = terms[static_cast<std::size_t>(s)];
        return t >= 0.0 ? t : t = std::pow(static_cast<double>(s), -(p / exponent));
    }
    double full() const {
        double sum = 0.0;
        for (int i = 0; i < x.points(); ++i)
            for (int j = std::max(i + 1, fixed); j < x.points(); ++j) sum = term(i, j) + sum;
        return std::pow(sum, 1.0 / p);
    }
    double rowsOf(int a, int b) const {
        double sum = 0.0;
        for (int k = 0; k < x.points(); ++k)
            if (k != a && k != b) sum = (sum + term(a, k)) + term(b, k);
        return sum;
    }
    double judge(double phip, int c, int a, int b) {
        const double removed = rowsOf(a, b);
        x.exchange(c, a, b);
        const double added = rowsOf(a, b);
        x.exchange(c, a, b);
        return std::pow((std::pow(phip, p) + added) - removed, 1.0 / p);
    }
};

// Walks a design through accepted moves among its free points, checking every distance,
// every candidate's value, every choice and every re-sum against the plain computation.
// With `worse`, every other move is the first candidate instead of the best, as threshold
// acceptance allows: designs then reach pairs far closer than the current smallest.
template <class Dist, int Exponent = 1>
void walk(const Levels& start, int steps, RandomStream& stream, int path, double p = 50.0, int fixed = 0,
          bool worse = false) {
    const int n = start.points(), m = start.variables(), free = n - fixed;
    SCOPED_TRACE(testing::Message() << n << " x " << m << ", " << fixed << " fixed, p " << p << ", "
                                    << 8 * sizeof(Dist) << "-bit measure " << Exponent);
    FastPhip<Dist, Exponent> fast(start, std::make_shared<const PowerTable>(p, maxMeasure(n, m, Exponent), Exponent),
                                  fixed);
    if constexpr (Exponent == 1) {
        detail::CityBlockRoughPath<Dist> paths[3];
        fast.setCityBlockBounds(paths[std::min(path, detail::availableCityBlockRoughSums(paths) - 1)]);
    }
    Plain plain(start, Exponent, fixed, p);
    std::vector<Pair> pairs;
    for (int step = 0;; ++step) {
        const double phip = plain.full();
        ASSERT_TRUE(sameBits(fast.phip(), phip)) << "step " << step << ": " << fast.phip() << " vs " << phip;
        ASSERT_TRUE(fast.levels() == plain.x) << "step " << step;
        for (int i = 0; i < n; ++i)
            for (int j = std::max(i + 1, fixed); j < n; ++j) {
                const std::int64_t s = plain.measure(i, j);
                ASSERT_TRUE(fast.distance(i, j) == s && fast.distance(j, i) == s) << i << ", " << j << ", step " << step;
            }
        if (step == steps) return;
        const int column = (1 + step) % m;
        drawDistinctPairs(stream, std::min(50, free * (free - 1) / 2), free, pairs);
        Choice expected{0, 0.0};
        for (int t = 0; t < static_cast<int>(pairs.size()); ++t) {
            Pair& q = pairs[static_cast<std::size_t>(t)];
            q.a += fixed, q.b += fixed;
            const double value = plain.judge(phip, column, q.a - 1, q.b - 1);
            ASSERT_TRUE(sameBits(fast.judge(column, q.a - 1, q.b - 1), value)) << "step " << step << ", pair " << t;
            if (t == 0 || value < expected.value) expected = {t, value};
        }
        const Choice mine = fast.best(column, pairs);
        ASSERT_EQ(mine.index, expected.index) << "step " << step;
        ASSERT_TRUE(sameBits(mine.value, expected.value)) << "step " << step;
        const Pair chosen = pairs[static_cast<std::size_t>(worse && step % 2 == 1 ? 0 : mine.index)];
        fast.exchange(column, chosen.a - 1, chosen.b - 1);
        fast.resum();
        plain.x.exchange(column, chosen.a - 1, chosen.b - 1);
    }
}

// Each way of bounding city-block candidates before their exact sums (by instruction set,
// and none), named in the test's name so that the log shows which ran on this processor.
std::vector<std::string> boundingPaths() {
    detail::CityBlockRoughPath<std::uint16_t> paths[3];
    std::vector<std::string> names;
    for (int k = 0, count = detail::availableCityBlockRoughSums(paths); k < count; ++k) names.push_back(paths[k].name);
    return names;
}

class FastPhipPath : public testing::TestWithParam<std::string> {};

TEST_P(FastPhipPath, EveryValueHasThePlainBits) {
    const std::vector<std::string> names = boundingPaths();
    const int path = static_cast<int>(std::find(names.begin(), names.end(), GetParam()) - names.begin());
    std::mt19937_64 rng(1);
    RandomStream stream(2);
    for (int n : {2, 3, 4, 5, 9, 23, 64, 150, 333})
        for (int m : {2, 3, 7}) {
            const Levels start = design(n, m, 0, rng);
            walk<std::uint16_t>(start, 12, stream, path);
            walk<std::uint32_t>(start, 12, stream, path);
        }
    // Other exponents: the choice must not rely on p = 50; whole ones are bounded too.
    for (double p : {1.0, 0.5, 2.0, 7.5, 9.0, 64.0}) walk<std::uint16_t>(design(30, 4, 0, rng), 8, stream, path, p);
    walk<std::uint16_t>(design(90, 4, 0, rng), 300, stream, path, 50.0, 0, true);
    // Points held fixed, coinciding ones among them, whose pairs are left out; 300 points
    // are past the plain-sum size.
    for (auto [n, m, fixed] : {std::tuple<int, int, int>{12, 3, 5}, {40, 4, 30}, {300, 2, 260}, {6, 2, 3}}) {
        const Levels start = design(n, m, fixed, rng);
        walk<std::uint16_t>(start, 30, stream, path, 50.0, fixed);
        walk<std::uint32_t>(start, 30, stream, path, 50.0, fixed);
    }
}

INSTANTIATE_TEST_SUITE_P(Bounds, FastPhipPath, testing::ValuesIn(boundingPaths()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

// Squared distances: whole powers (p = 50, 10, 2, 128) take the bounded path, others the
// table; tiny designs, rows past a vector's width, terms far below and above the float range.
TEST(FastPhip, SquaredDistancesHaveThePlainBits) {
    std::mt19937_64 rng(3);
    RandomStream stream(4);
    const std::tuple<int, int, double, int> cases[] = {
        {3, 2, 50.0, 0},   {9, 3, 50.0, 0},  {100, 10, 50.0, 0}, {37, 5, 50.0, 0}, {150, 7, 50.0, 0}, {301, 20, 50.0, 0},
        {60, 4, 10.0, 0},  {60, 4, 2.0, 0},  {60, 4, 128.0, 0},  {40, 6, 7.5, 0},  {25, 3, 50.0, 10}};
    for (auto [n, m, p, fixed] : cases) walk<std::uint32_t, 2>(design(n, m, fixed, rng), 40, stream, 0, p, fixed, true);
}

TEST(FastPhip, DistancesUpToTheTopOfTheType) {
    // Every column in point order puts the first and last points m (n - 1) = 65400 apart,
    // just inside 16 bits with the table's zero slot one past it.
    const int n = 301, m = 218;
    Levels identity(n, m);
    for (int c = 0; c < m; ++c)
        for (int i = 0; i < n; ++i) identity.set(i, c, i + 1);
    EXPECT_TRUE(FastPhip<std::uint16_t>::fits(n, m));
    EXPECT_FALSE(FastPhip<std::uint16_t>::fits(n, m + 1));
    EXPECT_TRUE(FastPhip<std::uint16_t>::fits(2, 65534));
    EXPECT_FALSE(FastPhip<std::uint16_t>::fits(2, 65535));
    RandomStream stream(3);
    walk<std::uint16_t>(identity, 2, stream, 0);
    walk<std::uint32_t>(identity, 2, stream, 0);
}

TEST(FastPhip, FirstOfEqualCandidatesWins) {
    // Rows (1,1), (2,2), (3,3): exchanging 1-2 or 2-3 in column 1 gives mirror images with
    // equal values, and whichever pair is listed first must win.
    Levels diagonal(3, 2);
    for (int i = 0; i < 3; ++i) diagonal.set(i, 0, i + 1), diagonal.set(i, 1, i + 1);
    FastPhip<std::uint16_t> x(diagonal, std::make_shared<const PowerTable>(50.0, 4));
    EXPECT_EQ(x.best(1, {{1, 2}, {2, 3}}).index, 0);
    EXPECT_EQ(x.best(1, {{2, 3}, {1, 2}}).index, 0);
    EXPECT_EQ(x.best(1, {{1, 3}, {1, 2}, {2, 3}}).index, 1);
}

// With points held fixed the search moves the others only, and in every column: the fixed
// points tie column 0 down.
TEST(Search, MovesFreePointsOnlyAndInEveryColumn) {
    std::mt19937_64 rng(12);
    for (auto [n, m, fixed] : {std::tuple<int, int, int>{30, 3, 20}, {50, 4, 10}, {12, 2, 9}}) {
        const Levels start = design(n, m, fixed, rng);
        FastPhip<std::uint16_t> current(start, std::make_shared<const PowerTable>(50.0, maxMeasure(n, m, 1)), fixed);
        const double phip = current.phip();
        RandomStream stream(13);
        Search<FastSearchState<std::uint16_t> > search(FastSearchState<std::uint16_t>(std::move(current), start, phip),
                                                       stream, 0.005 * phip, 0, 0, fixed);
        std::vector<int> moved(static_cast<std::size_t>(m), 0);
        for (int outer = 0; outer < 30; ++outer) {
            search.outerIteration();
            const Levels& now = search.state().current().levels();
            for (int c = 0; c < m; ++c)
                for (int i = 0; i < n; ++i) {
                    ASSERT_TRUE(i >= fixed || now(i, c) == start(i, c)) << "fixed point " << i << " moved";
                    moved[static_cast<std::size_t>(c)] += now(i, c) != start(i, c);
                }
        }
        for (int c = 0; c < m; ++c) EXPECT_GT(moved[c], 0) << n << " x " << m << ", " << fixed << " fixed: column " << c;
    }
}

} // namespace
