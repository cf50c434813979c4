#ifndef OLHS_ENGINE_EXCHANGE_KERNEL_H
#define OLHS_ENGINE_EXCHANGE_KERNEL_H

#include <cstdint>

namespace olhs {
namespace engine {

/// What an exchange of one column's levels between points i and j does to rows i and j of
/// a distance matrix, all lanes at once.
///
/// For every lane l, the new distances are di[l] + delta(l) and dj[l] - delta(l), with
/// delta(l) = a (b - 2 x[l]) for squared Euclidean distances (a = x_j - x_i, b = x_j + x_i)
/// and delta(l) = |x_j - x[l]| - |x_i - x[l]| for city-block ones. Lanes i and j are left
/// out (pair (i, j) keeps its distance); padding lanes hold a distance from
/// `ExchangeRows::padding` on, which the passes ignore.
struct ExchangeRows {
    const std::int32_t* di;
    const std::int32_t* dj;
    const std::int32_t* x; ///< the column being exchanged, padded with zeros
    int lanes;             ///< a multiple of 16
    int i;
    int j;
    /// Padding lanes hold at least this much; no distance comes near it.
    static constexpr std::int32_t padding = std::int32_t{1} << 30;
};

/// The smallest new distance in row i and in row j (pairs (i, l) and (j, l), l not i, j).
struct RowMinima {
    std::int32_t i;
    std::int32_t j;
};

/// The weights of pairs, w(d) = (reference / d)^q, for the energy change of an exchange:
/// the current weights of rows i and j (0 at padding), and how to weigh a new distance.
struct Weights {
    const double* wi;
    const double* wj;
    double reference;
    int q;         ///< a whole power, made by squaring
    double* freshI; ///< receives the new weights of row i (lanes i and j: anything)
    double* freshJ; ///< and of row j
};

/// (reference / d)^q for a distance below ExchangeRows::padding, else 0. The ratio is
/// divided in single precision (twice the lanes per division) and raised by squaring from
/// the lowest bit of q up in double: the order every path follows.
inline double pairWeight(std::int32_t d, double reference, int q) {
    if (d >= ExchangeRows::padding / 2) return 0.0;
    const double ratio = static_cast<double>(static_cast<float>(reference) / static_cast<float>(d));
    double result = 1.0;
    double base = ratio;
    for (int k = q; k > 0; k >>= 1) {
        if (k & 1) result *= base;
        base *= base;
    }
    return result;
}

/// The row minima after the exchange. Integer arithmetic: every path gives the same.
using MinimaAfterExchange = RowMinima (*)(const ExchangeRows&);

/// The change of sum w(d) over rows i and j after the exchange. Every path adds lane l's
/// (w(new d_il) - wi[l]) + (w(new d_jl) - wj[l]) to partial sum l mod 8 and joins the
/// eight as ((s0 + s1) + (s2 + s3)) + ((s4 + s5) + (s6 + s7)), so all give the same bits.
/// Lanes i, j and the padding add 0. The new weights are left in freshI and freshJ, for
/// the exchange to keep if it is made.
using EnergyChange = double (*)(const ExchangeRows&, const Weights&);

/// The paths of one instruction set for one exponent.
struct ExchangeKernels {
    const char* name;
    MinimaAfterExchange minima;
    EnergyChange energyChange;
};

/// The fastest paths this processor runs for the exponent (1 city-block, 2 squared
/// Euclidean): AVX-512, AVX2 or the portable loops.
ExchangeKernels exchangeKernels(int exponent);

/// Every set this processor runs, fastest first, for tests and benchmarks; the last is
/// the portable reference. `out` holds at least 3.
int availableExchangeKernels(int exponent, ExchangeKernels* out);

/// Lanes a row of the matrix is padded to.
constexpr int kernelLanes = 16;

} // namespace engine
} // namespace olhs

#endif
