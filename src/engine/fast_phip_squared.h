#ifndef OLHS_ENGINE_FAST_PHIP_SQUARED_H
#define OLHS_ENGINE_FAST_PHIP_SQUARED_H

#include <cstdint>

#include "engine/power_table.h"

namespace olhs {
namespace engine {
namespace detail {

/// The terms of rows a and b of squared distances after exchanging levels xa and xb in a
/// column x: termsA[k] is the term of rowA[k] + delta(k), termsB[k] that of
/// rowB[k] - delta(k), delta(k) = (xb - x[k])^2 - (xa - x[k])^2, for k in [0, count). Each
/// has the table's bits; the table has wholePower() > 0.
using ExchangedTerms = void (*)(const PowerTable& table, const std::uint32_t* rowA, const std::uint32_t* rowB,
                                const std::int32_t* x, int count, std::int32_t xa, std::int32_t xb, double* termsA,
                                double* termsB);

/// The fastest version this processor runs.
ExchangedTerms exchangedTerms();
/// The version for any x86-64, the reference for the others.
ExchangedTerms portableExchangedTerms();

/// Sums that bound the ones an exchange adds and takes away (see roughSumsError).
struct RoughSums {
    /// Over the new squared distances s of ExchangedTerms, 1 / (s / sigma)^q by
    /// PowerTable::roughTerm in float, two at a time added in float, then in double.
    double scaledAdded;
    /// The old terms wA[k] + wB[k], in double.
    double removed;
};

/// RoughSums over k in [0, count) other than a and b, in any order, with 1 / sigma given.
using ExchangeRoughSums = RoughSums (*)(const std::uint32_t* rowA, const std::uint32_t* rowB, const double* wA,
                                        const double* wB, const std::int32_t* x, int count, int a, int b,
                                        std::int32_t xa, std::int32_t xb, float inverseSigma, int q);

/// The fastest version this processor runs.
ExchangeRoughSums exchangeRoughSums();

/// A bound on the relative error of each float term of RoughSums::scaledAdded, pair sum
/// included, wherever it is a normal float (q by squaring: the rounding of s / sigma
/// weighs q, each product at most q, the division and the pair's add one each).
double roughSumsError(int q);

} // namespace detail
} // namespace engine
} // namespace olhs

#endif
