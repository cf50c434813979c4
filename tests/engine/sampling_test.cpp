// The engine's pick rule and pair sampler against the plain legacy computation: a pool
// each draw erases its value from, and a list searched for duplicates.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "engine/random_stream.h"
#include "engine/sampling.h"
#include "olhs/CombinatorialAnalysis.h"
#include "test_support.h"

using olhs::engine::Pair;
using olhs::engine::RandomStream;
using Subsets = std::vector<std::vector<int> >;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// The pick rule as first written: n draws, each erasing from the ascending pool the value
// at r (k - 1) rounded half away from zero, draws outside [0, 1] held to the pool's ends.
std::vector<int> pickByErasing(RandomStream& stream, int n, int picked) {
    std::vector<int> pool, out;
    for (int v = 1; v <= n; ++v) pool.push_back(v);
    for (int draw = 0; draw < n; ++draw) {
        const int k = static_cast<int>(pool.size());
        const double x = stream.next() * (k - 1);
        const int index = !(x >= 0.0) ? 0 : x >= k - 1 ? k - 1 : static_cast<int>(x + 0.5);
        if (draw >= picked) continue;
        out.push_back(pool[static_cast<std::size_t>(index)]);
        pool.erase(pool.begin() + index);
    }
    return out;
}

// The legacy sampler written out plainly: a whole permutation of n draws per candidate,
// duplicates dropped, the list sorted.
Subsets plainPairs(RandomStream& stream, int count, int n) {
    std::set<std::vector<int> > subsets;
    if (count <= 0 || n < 2 || count > static_cast<long>(n) * (n - 1) / 2) return {};
    while (static_cast<int>(subsets.size()) < count) {
        std::vector<int> candidate = pickByErasing(stream, n, 2);
        subsets.insert({std::min(candidate[0], candidate[1]), std::max(candidate[0], candidate[1])});
    }
    return Subsets(subsets.begin(), subsets.end());
}

Subsets asSubsets(const std::vector<Pair>& pairs) {
    Subsets subsets;
    for (const Pair& p : pairs) subsets.push_back({p.a, p.b});
    return subsets;
}

// Whether two streams stand at the same draw (NaN matching NaN).
bool sameNextDraws(RandomStream& x, RandomStream& y) {
    for (int i = 0; i < 4; ++i) {
        const double a = x.next(), b = y.next();
        if (!(a == b || (std::isnan(a) && std::isnan(b)))) return false;
    }
    return true;
}

// A reproducible host giving, besides uniform draws, the ends, NaN, infinities, values
// outside [0, 1] and exact halves; counts its calls.
RandomStream awkwardHost(std::uint64_t seed, long* calls) {
    auto engine = std::make_shared<std::mt19937_64>(seed);
    return RandomStream(std::function<double()>([engine, calls]() {
        ++*calls;
        const std::uint64_t u = (*engine)();
        const double awkward[] = {0.0, 1.0, kNaN, -0.25, 1.5, kInf, -kInf, 0.5};
        return u % 16 < 8 ? awkward[u % 8] : static_cast<double>(u >> 11) * 0x1.0p-53;
    }));
}

} // namespace

TEST(PickPermutation, TakesTheErasingPoolsValuesAndMakesItsDraws) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        // Small pools, halves of pools and their neighbours, and pools past the array limit
        // that an order-statistic tree keeps.
        const int n = static_cast<int>(seed % 14) + (seed % 5 == 0 ? 300 : 0) + (seed % 7 == 0 ? 2040 : 0) +
                      (seed % 11 == 0 ? 5000 : 0);
        for (int picked : {-1, 0, 1, 2, n / 2, n, n + 1}) {
            long calls = 0, plainCalls = 0;
            RandomStream stream = seed % 2 ? RandomStream(seed) : awkwardHost(seed, &calls);
            RandomStream plain = seed % 2 ? RandomStream(seed) : awkwardHost(seed, &plainCalls);
            std::vector<int> values = {42}; // whatever `values` held is replaced
            olhs::engine::pickPermutation(stream, n, picked, values);
            ASSERT_EQ(values, pickByErasing(plain, n, std::max(picked, 0))) << seed << ", n " << n << ", " << picked;
            EXPECT_TRUE(calls == plainCalls && sameNextDraws(stream, plain)) << seed << ", n " << n << ", " << picked;
        }
    }
}

TEST(DrawDistinctPairs, GivesTheLegacyListAndLeavesTheStreamWhereTheLegacyDoes) {
    std::vector<Pair> pairs;
    for (int n : {2, 3, 4, 5, 10, 23, 100, 1000}) {
        const int all = n * (n - 1) / 2, search = std::min(50, (all + 9) / 10);
        for (int count : {1, 2, search, 50, 64, 65, 200, all - 1, all}) {
            // Few seeds for long lists, none for every pair of 1000 values; on small sets,
            // every other seed a host with draws of every awkward kind.
            const bool drawable = count > 0 && count <= std::min(all, 5000);
            const std::uint64_t seeds = !drawable ? 0 : count > 1000 ? 2 : n >= 1000 ? 3 : n > 23 ? 30 : 60;
            for (std::uint64_t seed = 0; seed < seeds; ++seed) {
                long calls = 0, plainCalls = 0;
                const bool host = n <= 23 && seed % 2 == 1;
                RandomStream stream = host ? awkwardHost(seed, &calls) : RandomStream(seed * 31 + n);
                RandomStream plain = host ? awkwardHost(seed, &plainCalls) : RandomStream(seed * 31 + n);
                olhs::engine::drawDistinctPairs(stream, count, n, pairs);
                ASSERT_EQ(asSubsets(pairs), plainPairs(plain, count, n)) << n << ", " << count << ", seed " << seed;
                ASSERT_TRUE(calls == plainCalls && sameNextDraws(stream, plain)) << n << ", " << count << ", " << seed;
            }
        }
    // Requests with no answer draw nothing and leave an empty list.
        for (int count : {-1, 0, all + 1}) {
            RandomStream stream(5), untouched(5);
            pairs.assign(3, Pair{1, 2});
            olhs::engine::drawDistinctPairs(stream, count, n, pairs);
            EXPECT_TRUE(pairs.empty() && sameNextDraws(stream, untouched)) << n << ", " << count;
        }
    }
    // The real legacy sampler, fed from a copy of the stream through a generator that
    // cannot skip draws, so makes the left-over ones one by one.
    CombinatorialAnalysis<int> sampler;
    for (std::uint64_t seed = 0; seed < 40; ++seed) {
        const int n = 2 + static_cast<int>(seed % 30), count = std::min(n * (n - 1) / 2, 1 + static_cast<int>(seed));
        RandomStream stream(seed), legacy(seed);
        olhs_test::ScopedSource source([&legacy] { return legacy.next(); });
        olhs::engine::drawDistinctPairs(stream, count, n, pairs);
        ASSERT_EQ(asSubsets(pairs), sampler.getVectorOfRandomCombination(count, n, 2)) << n << ", " << count;
        EXPECT_TRUE(sameNextDraws(stream, legacy));
    }
}
