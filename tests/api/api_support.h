// Helpers of the modern API's tests: bit equality, random Latin designs, the Latin check and
// short runs. Brings in GoogleTest, <algorithm>, <random>, <vector> and olhs/optimize.h.
#ifndef OLHS_TESTS_API_SUPPORT_H
#define OLHS_TESTS_API_SUPPORT_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/optimize.h"

namespace olhs_api_test {

inline bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// n x m levels, row after row, each column a random permutation of 1..n.
inline std::vector<int> randomLatin(int n, int m, std::mt19937_64& random) {
    std::vector<int> levels(static_cast<std::size_t>(n) * m);
    for (std::size_t k = 0; k < levels.size(); ++k) levels[k] = static_cast<int>(k / m) + 1;
    for (std::size_t c = 0; c < static_cast<std::size_t>(m); ++c) // Fisher-Yates in each column
        for (std::size_t i = static_cast<std::size_t>(n) - 1; i > 0; --i)
            std::swap(levels[i * m + c], levels[random() % (i + 1) * m + c]);
    return levels;
}

/// Every column of the n x m levels a permutation of 1..n.
inline bool isLatin(const std::vector<int>& levels, int n, int m) {
    std::vector<std::vector<bool>> seen(static_cast<std::size_t>(m), std::vector<bool>(static_cast<std::size_t>(n) + 1));
    for (std::size_t k = 0; k < levels.size(); ++k) {
        if (levels[k] < 1 || levels[k] > n || seen[k % m][static_cast<std::size_t>(levels[k])]) return false;
        seen[k % m][static_cast<std::size_t>(levels[k])] = true;
    }
    return levels.size() == static_cast<std::size_t>(n) * m;
}

inline bool isLatin(const olhs::Result& r) { return isLatin(r.levels, r.points, r.variables); }

/// Options of a short run: 20 iterations from `seed`, then `change`.
inline olhs::Options quick(std::uint64_t seed = 1, const std::function<void(olhs::Options&)>& change = {}) {
    olhs::Options o;
    o.seed = seed;
    o.iterations = 20;
    if (change) change(o);
    return o;
}

} // namespace olhs_api_test

#endif
