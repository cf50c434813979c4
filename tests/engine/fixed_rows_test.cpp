// Searches with fixed points: the fast criterion, which leaves out the pairs of two fixed
// points, against a plain computation; and the search, which moves only the free points.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/search_state.h"

namespace {

using namespace olhs::engine;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Fixed rows take any levels in 1..n, repeats and whole repeated points included; each
// column of the free rows holds the levels the fixed ones left, in random order.
Levels withFixedRows(int n, int m, int fixed, std::mt19937_64& rng) {
    Levels levels(n, m);
    std::uniform_int_distribution<int> level(1, n);
    for (int c = 0; c < m; ++c) {
        std::vector<int> free;
        std::vector<char> held(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; i < fixed; ++i) {
            const int v = i == 1 && fixed > 2 ? levels(0, c) : level(rng); // rows 0 and 1 coincide
            levels.set(i, c, v);
            held[static_cast<std::size_t>(v)] = 1;
        }
        for (int v = 1; v <= n; ++v)
            if (!held[static_cast<std::size_t>(v)]) free.push_back(v);
        free.resize(static_cast<std::size_t>(n - fixed), 1); // too few: level 1 again
        std::shuffle(free.begin(), free.end(), rng);
        for (int i = fixed; i < n; ++i) levels.set(i, c, free[static_cast<std::size_t>(i - fixed)]);
    }
    return levels;
}

// phi_p over the pairs not both fixed: `term + sum` in pair order, each term pow(d, -p/e).
double plainPhip(const Levels& x, int fixed, int exponent, double p) {
    double sum = 0.0;
    for (int i = 0; i < x.points(); ++i)
        for (int j = i + 1; j < x.points(); ++j) {
            if (j < fixed) continue;
            std::int64_t d = 0;
            for (int c = 0; c < x.variables(); ++c) {
                const std::int64_t delta = x(i, c) - x(j, c);
                d += exponent == 1 ? std::llabs(delta) : delta * delta;
            }
            sum = std::pow(static_cast<double>(d), -(p / exponent)) + sum;
        }
    return std::pow(sum, 1.0 / p);
}

template <class Dist, int Exponent>
void walkWithFixedRows(int n, int m, int fixed, std::mt19937_64& rng) {
    SCOPED_TRACE(testing::Message() << n << " x " << m << ", " << fixed << " fixed, exponent " << Exponent);
    const Levels start = withFixedRows(n, m, fixed, rng);
    const double p = 50.0;
    auto table = std::make_shared<const PowerTable>(p, maxMeasure(n, m, Exponent), Exponent);
    FastPhip<Dist, Exponent> fast(start, table, fixed);
    ASSERT_TRUE(sameBits(fast.phip(), plainPhip(start, fixed, Exponent, p)));
    std::uniform_int_distribution<int> column(0, m - 1), freeRow(fixed, n - 1);
    for (int step = 0; step < 30; ++step) {
        const int c = column(rng);
        std::vector<Pair> pairs;
        while (pairs.size() < 6) {
            const int a = freeRow(rng), b = freeRow(rng);
            if (a != b) pairs.push_back({std::min(a, b) + 1, std::max(a, b) + 1});
        }
        // The choice is the first of the smallest values, judged one by one.
        Choice expected{0, fast.judge(c, pairs[0].a - 1, pairs[0].b - 1)};
        for (int t = 1; t < static_cast<int>(pairs.size()); ++t) {
            const double value = fast.judge(c, pairs[t].a - 1, pairs[t].b - 1);
            if (value < expected.value) expected = {t, value};
        }
        const Choice chosen = fast.best(c, pairs);
        ASSERT_EQ(chosen.index, expected.index) << "step " << step;
        ASSERT_TRUE(sameBits(chosen.value, expected.value)) << "step " << step;
        const Pair pair = pairs[static_cast<std::size_t>(chosen.index)];
        fast.exchange(c, pair.a - 1, pair.b - 1);
        fast.resum();
        const double plain = plainPhip(fast.levels(), fixed, Exponent, p);
        ASSERT_TRUE(sameBits(fast.phip(), plain)) << "step " << step;
        for (int i = 0; i < fixed; ++i)
            for (int k = 0; k < m; ++k) ASSERT_EQ(fast.levels()(i, k), start(i, k));
    }
}

TEST(FastPhip, FixedPointsLeaveTheirPairsOut) {
    std::mt19937_64 rng(11);
    for (int round = 0; round < 4; ++round) {
        walkWithFixedRows<std::uint16_t, 1>(12, 3, 5, rng);
        walkWithFixedRows<std::uint32_t, 1>(40, 4, 30, rng);
        walkWithFixedRows<std::uint32_t, 2>(25, 3, 10, rng);
        walkWithFixedRows<std::uint16_t, 1>(300, 2, 260, rng); // past the plain-sum size
        walkWithFixedRows<std::uint16_t, 1>(6, 2, 3, rng);
    }
    // Two fixed points at one place would make phi_p infinite; left out, it stays finite.
    Levels twins(4, 2);
    for (int c = 0; c < 2; ++c) twins.set(0, c, 1), twins.set(1, c, 1), twins.set(2, c, 3), twins.set(3, c, 4);
    auto table = std::make_shared<const PowerTable>(50.0, maxMeasure(4, 2, 1));
    EXPECT_TRUE(std::isinf(FastPhip<std::uint32_t, 1>(twins, table).phip()));
    EXPECT_TRUE(std::isfinite(FastPhip<std::uint32_t, 1>(twins, table, 2).phip()));
    // The zero slot must fit the type too.
    EXPECT_TRUE(FastPhip<std::uint16_t>::fits(2, 65534));
    EXPECT_FALSE(FastPhip<std::uint16_t>::fits(2, 65535));
}

TEST(Search, OnlyFreePointsMoveInEveryColumn) {
    std::mt19937_64 rng(12);
    for (auto [n, m, fixed] : {std::tuple<int, int, int>{30, 3, 20}, {50, 4, 10}, {12, 2, 9}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << m << ", " << fixed << " fixed");
        const Levels start = withFixedRows(n, m, fixed, rng);
        auto table = std::make_shared<const PowerTable>(50.0, maxMeasure(n, m, 1));
        FastPhip<std::uint16_t> current(start, table, fixed);
        const double startPhip = current.phip();
        RandomStream stream(13);
        Search<FastSearchState<std::uint16_t> > search(
            FastSearchState<std::uint16_t>(std::move(current), start, startPhip), stream, 0.005 * startPhip, 0, 0,
            fixed);
        std::vector<char> moved(static_cast<std::size_t>(m), 0);
        for (int outer = 0; outer < 30; ++outer) {
            search.outerIteration();
            const Levels& now = search.state().current().levels();
            for (int c = 0; c < m; ++c)
                for (int i = fixed; i < n; ++i) moved[static_cast<std::size_t>(c)] |= now(i, c) != start(i, c);
        }
        const Levels& best = search.state().bestLevels();
        for (int c = 0; c < m; ++c) {
            EXPECT_TRUE(moved[static_cast<std::size_t>(c)]) << "column " << c << " never moved";
            std::vector<int> before, after;
            for (int i = 0; i < n; ++i) {
                if (i < fixed) {
                    ASSERT_EQ(best(i, c), start(i, c)) << "fixed point " << i << " moved";
                } else {
                    before.push_back(start(i, c));
                    after.push_back(best(i, c));
                }
            }
            std::sort(before.begin(), before.end());
            std::sort(after.begin(), after.end());
            EXPECT_EQ(before, after) << "column " << c << " lost or gained levels";
        }
        EXPECT_LT(search.state().bestPhip(), startPhip);
        EXPECT_TRUE(sameBits(search.state().bestPhip(), plainPhip(best, fixed, 1, 50.0)));
    }
}

} // namespace
