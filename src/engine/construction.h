#ifndef OLHS_ENGINE_CONSTRUCTION_H
#define OLHS_ENGINE_CONSTRUCTION_H

#include <cstdint>

#include "engine/levels.h"

namespace olhs {
namespace engine {

/// Whether p is prime (trial division: the sizes of designs).
bool isPrime(std::int64_t p);

/// An upper bound of the smallest distance between two points of any Latin design of n
/// points in m variables: city-block (exponent 1) or squared Euclidean (exponent 2).
/// 0 when the design has no pair of points; saturates at the largest int64 value.
/// Throws std::invalid_argument for any other exponent.
std::int64_t maximinUpperBound(int n, int m, int exponent);

/// Whether provenOptimalCityBlock(n, m) builds a design.
bool hasProvenOptimalCityBlock(int n, int m);

/// A design of n points in m variables whose smallest city-block distance is the largest a
/// Latin design can have, where one is known in closed form; an empty Levels() otherwise.
/// Known here: m = n with 2n + 1 prime.
Levels provenOptimalCityBlock(int n, int m);

} // namespace engine
} // namespace olhs

#endif
