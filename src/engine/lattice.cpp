#include "engine/lattice.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>

#include "engine/construction.h"

namespace olhs {
namespace engine {

namespace {

// Whether m coordinates of wrap-around distance at most N/2 each can leave int64.
bool distancesOverflow(std::int64_t modulus, std::int64_t m, int exponent) {
    const std::int64_t half = modulus / 2;
    std::int64_t step = half;
    std::int64_t total = 0;
    return (exponent == 2 && __builtin_mul_overflow(half, half, &step)) ||
           __builtin_mul_overflow(step, m, &total);
}

void checkExponent(int exponent, const char* who) {
    if (exponent != 1 && exponent != 2) {
        throw std::invalid_argument(std::string(who) + ": exponent must be 1 or 2");
    }
}

// The running residues i h_j mod N and the steps N - h_j, in 32 bits so that -O3 vectorises
// the scan (about twice as fast as in 64 bits; the same at -O2).
struct Scan {
    std::vector<std::int32_t> step;
    std::vector<std::int32_t> residue;

    explicit Scan(std::size_t m) : step(m, 0), residue(m, 0) {}
};

// Smallest wrap-around distance from point 0 to points 1..N/2 of the lattice whose steps are
// scan.step. Returns as soon as it finds one at or below `floor`: the caller only asks
// whether the lattice beats a value, and most candidates fail within a few points.
template <int Exponent>
std::int64_t smallestAbove(Scan& scan, std::int32_t modulus, std::int64_t floor) {
    std::fill(scan.residue.begin(), scan.residue.end(), 0);
    const std::int32_t* step = scan.step.data();
    std::int32_t* residue = scan.residue.data();
    const std::size_t m = scan.step.size();
    std::int64_t best = std::numeric_limits<std::int64_t>::max();
    for (std::int32_t i = 1; i <= modulus / 2; ++i) {
        std::int64_t sum = 0;
        for (std::size_t j = 0; j < m; ++j) {
            // (r + h) mod N as r - (N - h), wrapped once if negative: never leaves 32 bits,
            // no product, no division.
            std::int32_t r = residue[j] - step[j];
            r += r < 0 ? modulus : 0;
            residue[j] = r;
            // Unsigned 32 x 32 -> 64 bits: the one wide product SSE2 has.
            const std::uint64_t t = static_cast<std::uint32_t>(std::min(r, modulus - r));
            sum += static_cast<std::int64_t>(Exponent == 1 ? t : t * t);
        }
        if (sum < best) {
            best = sum;
            if (best <= floor) {
                return best;
            }
        }
    }
    return best;
}

std::int64_t smallestAbove(Scan& scan, std::int32_t modulus, int exponent, std::int64_t floor) {
    return exponent == 1 ? smallestAbove<1>(scan, modulus, floor) : smallestAbove<2>(scan, modulus, floor);
}

// h_j = a^j mod N for j < h.size(), or false when two of them coincide (a has order below
// m), which would make two columns equal.
bool korobov(std::int64_t a, std::int64_t modulus, std::vector<std::int64_t>& h) {
    h[0] = 1;
    for (std::size_t j = 1; j < h.size(); ++j) {
        h[j] = h[j - 1] * a % modulus;
        // a^j = a^k for k < j means a^(j-k) = 1, and 1 = h_0 is met first.
        if (h[j] == 1) {
            return false;
        }
    }
    return true;
}

// Generators reduced mod N, as the scan's steps.
void setSteps(Scan& scan, const std::vector<std::int64_t>& h, std::int64_t modulus) {
    for (std::size_t j = 0; j < h.size(); ++j) {
        scan.step[j] = static_cast<std::int32_t>(modulus - h[j] % modulus);
    }
}

} // namespace

std::int64_t torusSmallest(const std::vector<std::uint64_t>& h, int prime, int exponent) {
    checkExponent(exponent, "torusSmallest");
    if (prime < 2 || h.empty()) {
        throw std::invalid_argument("torusSmallest: needs prime >= 2 and at least one generator");
    }
    if (distancesOverflow(prime, static_cast<std::int64_t>(h.size()), exponent)) {
        throw std::invalid_argument("torusSmallest: distances of this size leave 64 bits");
    }
    std::vector<std::int64_t> reduced(h.size());
    std::transform(h.begin(), h.end(), reduced.begin(), [prime](std::uint64_t g) {
        return static_cast<std::int64_t>(g % static_cast<std::uint64_t>(prime));
    });
    Scan scan(h.size());
    setSteps(scan, reduced, prime);
    return smallestAbove(scan, prime, exponent, -1);
}

DistanceBounds smallestBounds(const LatticeDesign& lattice, int n, int m, int exponent) {
    const std::int64_t shift = static_cast<std::int64_t>(lattice.prime) - n;
    DistanceBounds bounds;
    if (exponent == 1) {
        bounds.cityBlock = std::max<std::int64_t>(0, lattice.torusValue - m * shift);
        // Cauchy-Schwarz: m d2 >= d1^2.
        bounds.squared = (bounds.cityBlock * bounds.cityBlock + m - 1) / m;
    } else {
        // Minkowski: |t - s| >= |t| - |s| with every |s_c| <= shift; kept a unit or two low
        // against rounding.
        const double root = std::sqrt(static_cast<double>(lattice.torusValue)) * (1.0 - 1e-12) -
                            std::sqrt(static_cast<double>(m)) * static_cast<double>(shift) * (1.0 + 1e-12);
        bounds.squared = root > 0.0 ? std::max<std::int64_t>(0, static_cast<std::int64_t>(root * root * (1.0 - 1e-12)) - 1) : 0;
        // d1 >= the Euclidean distance.
        bounds.cityBlock = std::max<std::int64_t>(0, static_cast<std::int64_t>(std::sqrt(static_cast<double>(bounds.squared))) - 1);
    }
    return bounds;
}

LatticeDesign latticeDesign(int n, int m, int exponent, const LatticeProgress& progress) {
    checkExponent(exponent, "latticeDesign");
    if (n < 2 || m < 1) {
        throw std::invalid_argument("latticeDesign: needs n >= 2 and m >= 1");
    }
    // Only a prime of at least m + 1 has a multiplier of order >= m.
    std::int64_t modulus = std::max<std::int64_t>(n, static_cast<std::int64_t>(m) + 1);
    while (!isPrime(modulus)) {
        ++modulus;
    }
    if (modulus > std::numeric_limits<int>::max() || distancesOverflow(modulus, m, exponent)) {
        throw std::invalid_argument("latticeDesign: distances of this size leave 64 bits");
    }

    std::vector<std::int64_t> h(static_cast<std::size_t>(m));
    Scan scan(h.size());
    std::int64_t bestValue = -1;
    std::int64_t bestA = 0;
    bool complete = true;
    // a = 1 gives h = (1, 1, ...): a candidate only when m = 1, where every a is the same.
    for (std::int64_t a = 1; a < modulus; ++a) {
        // Each multiplier costs O(N m) at worst: a few hundred take well under a second.
        if (progress && a % 256 == 0 && bestValue >= 0 && !progress(static_cast<double>(a) / modulus)) {
            complete = false;
            break;
        }
        if (!korobov(a, modulus, h)) {
            continue;
        }
        setSteps(scan, h, modulus);
        // Strictly above the best or abandoned: ties keep the smaller a.
        const std::int64_t value = smallestAbove(scan, static_cast<std::int32_t>(modulus), exponent, bestValue);
        if (value > bestValue) {
            bestValue = value;
            bestA = a;
        }
    }
    korobov(bestA, modulus, h);

    // Drop the origin and its index neighbours, +1, -1, +2, ... (the extra one on the + side):
    // point 0 costs nothing, and of the choices measured (the first, the last, the most
    // extreme points) this lost least. What is kept is points lo..lo+n-1. Re-ranking: a level
    // falls by one for every dropped point below it in that column, so no sort is needed.
    const std::int64_t dropped = modulus - n;
    const std::int64_t lo = dropped == 0 ? 0 : dropped / 2 + 1;
    LatticeDesign result{Levels(n, m), bestValue, static_cast<std::uint64_t>(bestA), static_cast<int>(modulus),
                         complete};
    std::vector<std::int32_t> below(static_cast<std::size_t>(modulus) + 1);
    for (int j = 0; j < m; ++j) {
        std::fill(below.begin(), below.end(), 0);
        for (std::int64_t i = lo + n; i < modulus + lo; ++i) {
            ++below[static_cast<std::size_t>(i % modulus * h[j] % modulus) + 1];
        }
        std::partial_sum(below.begin(), below.end(), below.begin());
        std::int64_t r = lo * h[j] % modulus;
        for (int i = 0; i < n; ++i) {
            result.levels.set(i, j, static_cast<std::int32_t>(r - below[static_cast<std::size_t>(r)] + 1));
            r += h[j];
            r -= r >= modulus ? modulus : 0;
        }
    }
    return result;
}

} // namespace engine
} // namespace olhs
