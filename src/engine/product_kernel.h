#ifndef OLHS_ENGINE_PRODUCT_KERNEL_H
#define OLHS_ENGINE_PRODUCT_KERNEL_H

#include <cstdint>

namespace olhs {
namespace engine {
namespace detail {

/// An exchange of levels xa = x[a] and xb = x[b] in column x, seen from the kept products
/// of points a and b (rowA, rowB): pair (a, k) trades its factor A = f(xa, x[k]) for
/// B = f(xb, x[k]), pair (b, k) the reverse.
struct TradedFactors {
    const std::int32_t* x;
    const double* rowA;
    const double* rowB;
    const double* z; ///< per level v, |(v - 0.5) / n - 0.5| (the discrepancy's factors)
    int n;
    int a;
    int b;
    int xa;
    int xb;
};

/// Sum over k other than a and b of t_a (B / A - 1) + t_b (A / B - 1), computed as
/// (B - A)(t_a B - t_b A) / (A B), into eight partial sums by k mod 8 joined as
/// ((s0 + s1) + (s2 + s3)) + ((s4 + s5) + (s6 + s7)): every path gives the same bits.
/// MaxPro: f(u, v) = 1 / (u - v)^2. Discrepancy: f(u, v) = 1 + z[u] / 2 + z[v] / 2 -
/// |u - v| / (2 n).
using TradedSum = double (*)(const TradedFactors&);

struct TradedKernels {
    TradedSum maxPro;
    TradedSum discrepancy;
};

/// AVX2 where the processor has it and `wide`, else the portable loops.
TradedKernels tradedKernels(bool wide);

} // namespace detail
} // namespace engine
} // namespace olhs

#endif
