#ifndef OLHS_ENGINE_LATTICE_H
#define OLHS_ENGINE_LATTICE_H

#include <cstdint>
#include <functional>
#include <vector>

#include "engine/levels.h"

namespace olhs {
namespace engine {

/// A rank-1 lattice design and what chose it.
struct LatticeDesign {
    /// n points in m variables, each column a permutation of 1..n.
    Levels levels;
    /// Smallest wrap-around distance of the full lattice: a lower bound of the smallest
    /// ordinary distance of the full lattice (not of the n kept points, whose re-ranking
    /// can take a few units off).
    std::int64_t torusValue = 0;
    /// The Korobov multiplier a; the generators are (1, a, a^2, ..., a^(m-1)) mod prime.
    std::uint64_t multiplier = 0;
    /// Points of the full lattice, N.
    int prime = 0;
    /// Whether every multiplier was tried (false when the caller stopped the choice).
    bool complete = true;
};

/// Told the share of multipliers tried, now and then; returning false stops the choice
/// with the best multiplier so far.
using LatticeProgress = std::function<bool(double fractionDone)>;

/// A rank-1 lattice Latin design of n points in m variables, chosen for the metric (exponent
/// 1 city-block, 2 squared Euclidean).
///
/// N is the smallest prime >= max(n, m + 1) (m + 1 so that some multiplier has m distinct
/// powers); x_ij = i h_j mod N for i = 0..N-1 with Korobov generators h_j = a^j mod N. Every
/// multiplier a in [1, N-1] whose first m powers are distinct (a = 1 only when m = 1) is
/// scored by its smallest wrap-around distance; the largest wins, the smallest a on ties.
/// Then N - n points are dropped, point 0 and its index neighbours 1, N-1, 2, N-2, ... (the
/// kept ones are lo..lo+n-1 with lo = (N-n)/2 + 1, or 0 when N = n; row k is point lo + k),
/// and each column re-ranked to 1..n.
/// O(N^2 m) at worst, far less in practice since a candidate is abandoned once it cannot win.
/// Throws std::invalid_argument for n < 2, m < 1, another exponent, or sizes whose distances
/// leave 64 bits. `progress`, if given, is called every few hundred multipliers.
LatticeDesign latticeDesign(int n, int m, int exponent, const LatticeProgress& progress = {});

/// Proven lower bounds of the smallest distances of a design latticeDesign() made, from its
/// torus value alone: a kept point's level moves by at most prime - n on re-ranking, so
/// each coordinate difference shrinks by at most that much, and the ordinary distance is
/// never below the wrap-around one.
struct DistanceBounds {
    std::int64_t cityBlock = 0;
    std::int64_t squared = 0; ///< squared Euclidean
};
DistanceBounds smallestBounds(const LatticeDesign& lattice, int n, int m, int exponent);

/// Smallest wrap-around distance of the rank-1 lattice {i h mod prime : i = 0..prime-1}:
/// the minimum over i = 1..prime/2 of the distance from point i to point 0, each coordinate
/// taking min(r, prime - r). Any modulus >= 2 is accepted; h_j are reduced mod prime.
/// Throws std::invalid_argument for prime < 2, empty h, another exponent, or sizes whose
/// distances leave 64 bits.
std::int64_t torusSmallest(const std::vector<std::uint64_t>& h, int prime, int exponent);

} // namespace engine
} // namespace olhs

#endif
