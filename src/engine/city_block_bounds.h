#ifndef OLHS_ENGINE_CITY_BLOCK_BOUNDS_H
#define OLHS_ENGINE_CITY_BLOCK_BOUNDS_H

#include <cstdint>

namespace olhs {
namespace engine {
namespace detail {

/// A sum that bounds what an exchange of city-block distances adds to phi_p^p: over k in
/// [0, count) other than a and b, in any order, with the new distances d = rowA[k] +
/// delta(k) and rowB[k] - delta(k) (delta(k) = |xb - x[k]| - |xa - x[k]|), the terms
/// 1 / (d / sigma)^q in float, up to four at a time added in float, then in double. Each
/// float term is within cityBlockRoughError(q, the path's reciprocalError) of its true
/// value wherever it is a normal float.
/// roughSumsError(q) for terms inverted by an estimate within reciprocalError, and summed
/// four to a lane in float.
double cityBlockRoughError(int q, double reciprocalError);

/// The sum, or, once a partial sum passes giveUpAbove, that partial sum (all the terms are
/// positive, so it bounds the whole from below).
struct RoughAdded {
    double scaled;
    bool whole;
};

template <class Dist>
using CityBlockRoughSums = RoughAdded (*)(const Dist* rowA, const Dist* rowB, const std::int32_t* x, int count,
                                          int a, int b, std::int32_t xa, std::int32_t xb, float inverseSigma, int q,
                                          double giveUpAbove);

/// One instruction set's version.
template <class Dist>
struct CityBlockRoughPath {
    const char* name;
    CityBlockRoughSums<Dist> sums;
    /// How far its reciprocals may be from 1 / x, relative to it.
    double reciprocalError;
};

/// Every version this processor runs, fastest first, the portable one last; `out` holds
/// at least 3. The versions differ in their last bits, never in what they bound.
template <class Dist>
int availableCityBlockRoughSums(CityBlockRoughPath<Dist>* out);

/// The fastest version this processor runs.
template <class Dist>
CityBlockRoughPath<Dist> cityBlockRoughSums();

} // namespace detail
} // namespace engine
} // namespace olhs

#endif
