#include "engine/construction.h"

#include <limits>
#include <stdexcept>

namespace olhs {
namespace engine {

namespace {

// floor(m a / d) for m, a >= 0 and a small d, without forming m a (which can leave 64 bits
// for the squared distances of a large design).
std::int64_t floorScaled(std::int64_t m, std::int64_t a, std::int64_t d) {
    std::int64_t whole = 0;
    if (__builtin_mul_overflow(m, a / d, &whole) ||
        __builtin_add_overflow(whole, m * (a % d) / d, &whole)) {
        return std::numeric_limits<std::int64_t>::max();
    }
    return whole;
}


} // namespace

bool isPrime(std::int64_t p) {
    if (p < 2) {
        return false;
    }
    for (std::int64_t d = 2; d * d <= p; ++d) {
        if (p % d == 0) {
            return false;
        }
    }
    return true;
}

std::int64_t maximinUpperBound(int n, int m, int exponent) {
    if (exponent != 1 && exponent != 2) {
        throw std::invalid_argument("maximinUpperBound: exponent must be 1 or 2");
    }
    if (n < 2 || m < 1) {
        return 0;
    }
    // With one variable the two points holding neighbouring levels are 1 apart; the mean
    // below is far looser there.
    if (m == 1) {
        return 1;
    }
    // The smallest pair distance is at most the mean over all pairs, which a Latin design
    // fixes: per variable, (n + 1) / 3 city-block and n (n + 1) / 6 squared Euclidean.
    const std::int64_t points = n;
    return exponent == 1 ? floorScaled(m, points + 1, 3)
                         : floorScaled(m, points * (points + 1), 6);
}

bool hasProvenOptimalCityBlock(int n, int m) { return n >= 1 && m == n && isPrime(2 * static_cast<std::int64_t>(n) + 1); }

Levels provenOptimalCityBlock(int n, int m) {
    // Wang, Xiao and Xu (2018, Ann. Statist. 46(6B), 3741-3766): with p = 2n + 1 prime, the
    // good lattice points i h mod p (i, h = 1..n), each folded onto its distance from 0
    // mod p (their Williams transformation, halved), put every pair of points n (n + 1) / 3
    // apart: the mean bound. Folding keeps each column Latin, as i h = -j h (mod p) would
    // need i + j = p.
    const std::int64_t p = 2 * static_cast<std::int64_t>(n) + 1;
    if (!hasProvenOptimalCityBlock(n, m)) {
        return Levels();
    }
    Levels levels(n, m);
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) {
            const std::int64_t x = (static_cast<std::int64_t>(i) + 1) * (c + 1) % p;
            levels.set(i, c, static_cast<std::int32_t>(x <= n ? x : p - x));
        }
    }
    return levels;
}

} // namespace engine
} // namespace olhs
