// The engine's pick rule and pair sampler against the plain legacy computation.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
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

// The pick rule's index as first written: r (k - 1) rounded half away from zero, draws
// outside [0, 1] held to the pool's ends.
int plainPickIndex(double r, int k) {
    const double x = r * (k - 1);
    if (!(x >= 0.0)) return 0;
    if (x >= k - 1) return k - 1;
    return x > 0 ? static_cast<int>(x + 0.5) : static_cast<int>(x - 0.5);
}

// The legacy sampler written out plainly: a whole permutation of n draws per candidate, a
// search of the accepted ones for duplicates, a final sort.
Subsets plainPairs(RandomStream& stream, int count, int n) {
    Subsets subsets;
    if (count <= 0 || n < 2 || count > static_cast<long>(n) * (n - 1) / 2) return subsets;
    while (static_cast<int>(subsets.size()) < count) {
        std::vector<int> pool, candidate;
        for (int v = 1; v <= n; ++v) pool.push_back(v);
        for (int draw = 0; draw < n; ++draw) {
            const int index = plainPickIndex(stream.next(), static_cast<int>(pool.size()));
            if (draw >= 2) continue;
            candidate.push_back(pool[static_cast<std::size_t>(index)]);
            pool.erase(pool.begin() + index);
        }
        std::sort(candidate.begin(), candidate.end());
        if (std::find(subsets.begin(), subsets.end(), candidate) == subsets.end()) subsets.push_back(candidate);
    }
    std::sort(subsets.begin(), subsets.end());
    return subsets;
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
std::function<double()> awkwardHost(std::uint64_t seed, long* calls) {
    auto engine = std::make_shared<std::mt19937_64>(seed);
    return [engine, calls]() {
        ++*calls;
        const std::uint64_t u = (*engine)();
        const double awkward[] = {0.0, 1.0, kNaN, -0.25, 1.5, kInf, -kInf, 0.5};
        return u % 16 < 8 ? awkward[u % 8] : static_cast<double>(u >> 11) * 0x1.0p-53;
    };
}

// A stream with draws only, no skip of its own.
struct DrawOnlyStream {
    RandomStream inner;
    long draws = 0;
    double next() { return ++draws, inner.next(); }
};

} // namespace

// The pick rule as first written: n draws, each erasing its value from an ascending pool.
std::vector<int> pickByErasing(CRand& generator, int n, int picked) {
    std::vector<int> out;
    if (n <= 0) return out;
    picked = std::min(std::max(picked, 0), n);
    std::vector<int> pool(static_cast<std::size_t>(n));
    for (int v = 0; v < n; ++v) pool[static_cast<std::size_t>(v)] = v + 1;
    for (int draw = 0; draw < n; ++draw) {
        const double r = generator.Random();
        if (draw < picked) {
            const int index = plainPickIndex(r, static_cast<int>(pool.size()));
            out.push_back(pool[static_cast<std::size_t>(index)]);
            pool.erase(pool.begin() + index);
        }
    }
    return out;
}

TEST(EnginePickRule, IndexesAndPermutationsAreTheLegacyOnes) {
    std::mt19937_64 engine(1);
    for (int k : {1, 2, 3, 4, 7, 100, 4096}) {
        std::vector<double> draws = {0.0, -0.0, 1.0, -1.0, 2.0, kNaN, kInf, -kInf, 1e-300, 1.0 - 0x1.0p-53};
        for (int j = 0; j < std::min(k, 50); ++j) { // halves and their neighbours
            const double half = (j + 0.5) / std::max(k - 1, 1);
            draws.insert(draws.end(), {half, std::nextafter(half, 0.0), std::nextafter(half, 1.0)});
        }
        for (int i = 0; i < 2000; ++i) draws.push_back(static_cast<double>(engine() >> 11) * 0x1.0p-53);
        for (double r : draws) ASSERT_EQ(olhs::engine::pickIndex(r, k), plainPickIndex(r, k)) << r << ", " << k;
    }
    // Against the legacy rule on a copy of the stream: the same values, the same draws made.
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        // Small pools, and pools past the array limit that an order-statistic tree keeps.
        const int n = static_cast<int>(seed % 14) + (seed % 5 == 0 ? 300 : 0) + (seed % 7 == 0 ? 2040 : 0) +
                      (seed % 11 == 0 ? 5000 : 0);
        for (int picked : {-1, 0, 1, 2, n / 2, n, n + 1}) {
            long calls = 0, legacyCalls = 0;
            RandomStream stream = seed % 2 ? RandomStream(seed) : RandomStream(awkwardHost(seed, &calls));
            RandomStream legacy = seed % 2 ? RandomStream(seed) : RandomStream(awkwardHost(seed, &legacyCalls));
            std::vector<int> expected, values = {42}; // whatever `values` held is replaced
            {
                olhs_test::ScopedSource source([&legacy] { return legacy.next(); });
                CRand generator;
                expected = pickByErasing(generator, n, picked);
            }
            olhs::engine::pickPermutation(stream, n, picked, values);
            ASSERT_EQ(values, expected) << "seed " << seed << ", n " << n << ", picked " << picked;
            if (seed % 3 == 0) {
                RandomStream again = RandomStream(seed + 1000);
                RandomStream reference = again;
                std::vector<int> library, plain;
                {
                    olhs_test::ScopedSource source([&again] { return again.next(); });
                    CRand generator;
                    library = olhs::detail::pickPermutation<int>(generator, n, picked);
                }
                {
                    olhs_test::ScopedSource source([&reference] { return reference.next(); });
                    CRand generator;
                    plain = pickByErasing(generator, n, picked);
                }
                ASSERT_EQ(library, plain) << "the classes' sampler, n " << n << ", picked " << picked;
            }
            EXPECT_EQ(calls, legacyCalls);
            EXPECT_TRUE(sameNextDraws(stream, legacy)) << "seed " << seed << ", n " << n << ", picked " << picked;
        }
        DrawOnlyStream drawOnly{RandomStream(seed)};
        RandomStream plain(seed);
        EXPECT_EQ(olhs::engine::pickPermutation<double>(drawOnly, n, 2).size(), std::min<std::size_t>(2, n));
        EXPECT_EQ(drawOnly.draws, n);
        plain.skip(static_cast<std::uint64_t>(n));
        EXPECT_TRUE(sameNextDraws(drawOnly.inner, plain)) << "a stream without skip, n " << n;
    }
}

TEST(DrawDistinctPairs, GivesTheLegacyListAndLeavesTheStreamWhereTheLegacyDoes) {
    std::vector<Pair> pairs;
    for (int n : {2, 3, 4, 5, 10, 23, 100, 1000}) {
        const int all = n * (n - 1) / 2, search = std::min(50, (all + 9) / 10);
        for (int count : {1, 2, search, 50, 64, 65, 200, all - 1, all}) {
            // The plain sampler is quadratic in the count: few seeds for long lists, none for
            // every pair of 1000 values.
            const bool drawable = count > 0 && count <= std::min(all, 5000);
            const std::uint64_t seeds = !drawable ? 0 : count > 1000 ? 2 : n >= 1000 ? 3 : 30;
            for (std::uint64_t seed = 0; seed < seeds; ++seed) {
                RandomStream stream(seed * 31 + static_cast<std::uint64_t>(n)), plain = stream;
                olhs::engine::drawDistinctPairs(stream, count, n, pairs);
                ASSERT_EQ(asSubsets(pairs), plainPairs(plain, count, n)) << n << ", " << count << ", seed " << seed;
                ASSERT_TRUE(sameNextDraws(stream, plain)) << n << ", " << count << ", seed " << seed;
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
    // The real legacy sampler, fed from a copy of the stream.
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

TEST(DrawDistinctPairs, AgreesOnHostSourcesAndKeepsItsListsMemory) {
    std::vector<Pair> pairs;
    for (int n : {2, 3, 7, 100}) { // a constant host: one pair, one permutation's calls
        for (double value : {0.0, -3.0, kNaN, -kInf, 1.0, 7.5, kInf}) {
            long calls = 0;
            RandomStream stream(olhs_test::countingSource(&calls, value));
            olhs::engine::drawDistinctPairs(stream, 1, n, pairs);
            const Pair expected = value >= 1.0 ? Pair{n - 1, n} : Pair{1, 2};
            ASSERT_TRUE(pairs.size() == 1 && pairs[0] == expected) << value << ", n " << n;
            EXPECT_EQ(calls, n) << value << ", n " << n;
        }
    }
    for (std::uint64_t seed = 0; seed < 150; ++seed) {
        for (int n : {2, 3, 4, 5, 10, 23}) {
            const int all = n * (n - 1) / 2;
            for (int count : {1, static_cast<int>(seed % static_cast<std::uint64_t>(all)) + 1, all}) {
                long calls = 0, plainCalls = 0;
                RandomStream stream(awkwardHost(seed, &calls)), plain(awkwardHost(seed, &plainCalls));
                olhs::engine::drawDistinctPairs(stream, count, n, pairs);
                ASSERT_EQ(asSubsets(pairs), plainPairs(plain, count, n)) << seed << ", " << n << ", " << count;
                EXPECT_EQ(calls, plainCalls);
            }
        }
    }
    for (int count : {50, 300}) { // sorted insertion, then the hash table
        RandomStream stream(8);
        olhs::engine::drawDistinctPairs(stream, count, 200, pairs);
        const Pair* const memory = pairs.data();
        for (int again = 0; again < 20; ++again) {
            olhs::engine::drawDistinctPairs(stream, count - again % 3, 200, pairs);
            ASSERT_EQ(pairs.data(), memory) << "count " << count << ", call " << again;
        }
    }
}
