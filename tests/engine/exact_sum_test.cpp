// The exact re-sum against the plain loop, bit for bit, through exchanges: tables of every
// kind of term, ties to even, and sums that move across binades.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "engine/exact_sum.h"

using olhs::engine::ExactRowSums;

namespace {

std::uint64_t bits(double x) {
    std::uint64_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

// The loop the class must reproduce, written out once more here; `upTo` stops it early.
template <class Dist>
double reference(const std::vector<double>& T, const std::vector<Dist>& D, int n, long upTo = -1) {
    double sum = 0.0;
    long k = 0;
    for (int i = 0; i < n - 1; ++i)
        for (int j = i + 1; j < n; ++j, ++k) {
            if (k == upTo) return sum;
            sum = T[D[static_cast<std::size_t>(i) * n + j]] + sum;
        }
    return sum;
}

std::vector<double> powers(std::size_t size, double p) {
    std::vector<double> T(size);
    for (std::size_t d = 0; d < size; ++d) T[d] = std::pow(static_cast<double>(d), -p);
    return T;
}

// Random exchanges, sums after most of them (now and then two in a row), each compared bit
// for bit; `change` alters rows and columns a and b of D.
template <class Dist>
void follow(const std::vector<double>& T, std::vector<Dist>& D, int n, int steps, std::mt19937_64& rng,
            const std::function<void(int, int)>& change) {
    // Small designs too take the fast way, except now and then the plain one they default to;
    // units are counted the wide way where the processor has one, or the narrow way.
    const bool wide = rng() % 2 == 0;
    SCOPED_TRACE(testing::Message() << "n " << n << (wide ? ", wide" : ", narrow"));
    ExactRowSums<Dist> fast(T, rng() % 4 == 0 ? 128 : 0, wide);
    fast.reset(D.data(), n);
    ASSERT_EQ(bits(fast.sum(D.data(), n)), bits(reference(T, D, n)));
    for (int step = 0; step < steps; ++step) {
        const int a = static_cast<int>(rng() % n), b = static_cast<int>(rng() % n);
        fast.beginChange(D.data(), n, a, b);
        change(a, b);
        fast.endChange(D.data(), n, a, b);
        if (rng() % 3 == 0) continue;
        const std::uint64_t expected = bits(reference(T, D, n));
        for (int again = rng() % 4 == 0 ? 2 : 1; again > 0; --again)
            ASSERT_EQ(bits(fast.sum(D.data(), n)), expected) << "step " << step;
    }
    ASSERT_EQ(bits(olhs::engine::plainSum(T, D.data(), n)), bits(reference(T, D, n)));
}

// Random symmetric distances in [lo, hi]; a change draws new ones for a and b, a-b now and
// then. With `close`, it now and then brings a pair to a distance below lo.
template <class Dist>
void followRandom(const std::vector<double>& T, int n, unsigned lo, unsigned hi, int steps, std::mt19937_64& rng,
                  bool close = false) {
    std::uniform_int_distribution<unsigned> draw(lo, hi);
    std::vector<Dist> D(static_cast<std::size_t>(n) * n, 0);
    auto set = [&](int i, int j, unsigned d) {
        D[static_cast<std::size_t>(i) * n + j] = D[static_cast<std::size_t>(j) * n + i] = static_cast<Dist>(d);
    };
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) set(i, j, draw(rng));
    follow<Dist>(T, D, n, steps, rng, [&](int a, int b) {
        for (int k = 0; k < n; ++k)
            if (k != a && k != b) set(a, k, draw(rng)), set(b, k, draw(rng));
        const int k = static_cast<int>(rng() % n);
        if (a != b && rng() % 2 == 0) set(a, b, draw(rng));
        if (close && k != a && rng() % 2 == 0) set(a, k, 1 + static_cast<unsigned>(rng() % (lo - 1)));
    });
}

} // namespace

TEST(ExactRowSums, RandomDistancesUnderExchangesMatchThePlainLoop) {
    std::mt19937_64 rng(1);
    // Terms over the whole range: zeros, subnormals, huge ones, and inf at a zero distance.
    std::vector<double> wild(400);
    for (double& t : wild) {
        const unsigned kind = rng() % 6;
        t = kind == 0 ? 0.0 : kind == 1 ? std::ldexp(static_cast<double>(rng() % 4096), -1074)
                                        : std::ldexp(1.0 + static_cast<double>(rng() % 1000000) / 1e6, static_cast<int>(rng() % 2000) - 1000);
    }
    wild[0] = std::numeric_limits<double>::infinity();
    // Sums that stay below the smallest normal, and a table with NaN and negative terms.
    std::vector<double> tiny(400), odd = powers(400, 3.0);
    for (std::size_t d = 0; d < tiny.size(); ++d) tiny[d] = std::ldexp(static_cast<double>(d % 7), -1074);
    odd[17] = std::numeric_limits<double>::quiet_NaN();
    odd[5] = -1.0;
    odd[6] = -0.0;
    std::vector<std::tuple<std::vector<double>, unsigned, unsigned> > tables = {
        {wild, 1, 399}, {wild, 0, 399}, {tiny, 0, 399}, {odd, 1, 399}, {odd, 1, 40}};
    for (double p : {50.0, 1.0, 2.0, 7.5, 120.0}) tables.emplace_back(powers(4000, p), 1, 3999);
    for (const auto& [T, lo, hi] : tables)
        for (int n : {2, 3, 4, 50, 300}) {
            followRandom<std::uint16_t>(T, n, lo, hi, 40, rng);
            followRandom<std::uint32_t>(T, n, lo, hi, 40, rng);
        }
    followRandom<std::uint16_t>(std::get<0>(tables.back()), 1500, 1, 3999, 8, rng);
    // Distances at the top of the 16-bit range, where pow(d, -60) is subnormal.
    for (double p : {50.0, 60.0}) {
        const std::vector<double> T = powers(65536, p);
        followRandom<std::uint16_t>(T, 300, 65000, 65535, 30, rng);
        followRandom<std::uint32_t>(T, 50, 65500, 65535, 30, rng);
    }
}

TEST(ExactRowSums, SumsThatMoveAcrossBinades) {
    // Now and then a pair comes to the smallest distance, whose term outweighs all the others,
    // and leaves it again: every block after it is met in another binade, then the old one.
    std::mt19937_64 rng(4);
    for (int n : {300, 700}) followRandom<std::uint16_t>(powers(400, 50.0), n, 40, 399, 60, rng, true);
}

TEST(ExactRowSums, TermsHalfwayBetweenTwoSums) {
    std::mt19937_64 rng(3);
    for (int n : {50, 300}) {
        // Each distance first met at some position gets a term of 0.5, 1.5 or 2.5 ulps of the
        // partial sum just before it, so the plain add must round a tie to even.
        std::vector<std::uint32_t> D(static_cast<std::size_t>(n) * n, 0);
        const auto at = [&](int i, int j) -> std::uint32_t& { return D[static_cast<std::size_t>(i) * n + j]; };
        for (int i = 0; i < n; ++i)
            for (int j = i + 1; j < n; ++j) at(i, j) = at(j, i) = 1 + static_cast<std::uint32_t>(rng() % 3000);
        std::vector<double> T = powers(3001, 50.0);
        std::vector<bool> seen(T.size(), false);
        long k = 0, ties = 0;
        for (int i = 0; i < n - 1; ++i)
            for (int j = i + 1; j < n; ++j, ++k) {
                const std::uint32_t d = at(i, j);
                if (seen[d]) continue;
                seen[d] = true;
                const double s = reference(T, D, n, k);
                if (s == 0.0 || rng() % 2 == 0) continue;
                T[d] = (std::nextafter(s, 1e308) - s) * (0.5 + static_cast<double>(rng() % 3));
                ++ties;
            }
        ASSERT_GT(ties, 20);
        // Points a and b trade places, which moves the ties about the order.
        follow<std::uint32_t>(T, D, n, 40, rng, [&](int a, int b) {
            for (int j = 0; j < n; ++j) {
                if (j == a || j == b) continue;
                std::swap(at(a, j), at(b, j));
                at(j, a) = at(a, j);
                at(j, b) = at(b, j);
            }
        });
    }
}
