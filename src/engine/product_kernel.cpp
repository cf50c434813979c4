#include "engine/product_kernel.h"

#include <cstdlib>
#include <cstring>

// Vectors pass between always-inlined helpers only, never across a real call, so the
// warning that their calling convention depends on the instruction set does not apply.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace olhs {
namespace engine {
namespace detail {

namespace {

typedef double Doubles __attribute__((vector_size(32)));
typedef std::int64_t Words __attribute__((vector_size(32)));

// One pair's share, the reference arithmetic every lane repeats.
inline double maxProTerm(const TradedFactors& t, int k) {
    // With A = 1 / da and B = 1 / db: (da - db)(t_a da - t_b db) / (da db).
    const double da = static_cast<double>(t.xa - t.x[k]) * static_cast<double>(t.xa - t.x[k]);
    const double db = static_cast<double>(t.xb - t.x[k]) * static_cast<double>(t.xb - t.x[k]);
    return (da - db) * (t.rowA[k] * da - t.rowB[k] * db) / (da * db);
}

inline double discrepancyFactor(const TradedFactors& t, int u, int v) {
    return ((1.0 + 0.5 * t.z[u]) + 0.5 * t.z[v]) - 0.5 * static_cast<double>(std::abs(u - v)) / t.n;
}

inline double discrepancyTerm(const TradedFactors& t, int k) {
    const double A = discrepancyFactor(t, t.xa, t.x[k]);
    const double B = discrepancyFactor(t, t.xb, t.x[k]);
    return (B - A) * (t.rowA[k] * B - t.rowB[k] * A) / (A * B);
}

// Four lanes of k from `k`: the same operations in the same order as the scalar terms.
[[gnu::target("avx2"), gnu::always_inline]] inline Doubles maxProLanes(const TradedFactors& t, int k) {
    const Doubles xk = {static_cast<double>(t.x[k]), static_cast<double>(t.x[k + 1]), static_cast<double>(t.x[k + 2]),
                        static_cast<double>(t.x[k + 3])};
    Doubles ta, tb;
    std::memcpy(&ta, t.rowA + k, sizeof ta);
    std::memcpy(&tb, t.rowB + k, sizeof tb);
    // Differences of whole levels are exact in double, so subtracting there is the
    // scalar's integer subtraction.
    const Doubles fa = static_cast<double>(t.xa) - xk;
    const Doubles fb = static_cast<double>(t.xb) - xk;
    const Doubles da = fa * fa;
    const Doubles db = fb * fb;
    return (da - db) * (ta * da - tb * db) / (da * db);
}

[[gnu::target("avx2"), gnu::always_inline]] inline Doubles discrepancyLanes(const TradedFactors& t, int k) {
    const Doubles xk = {static_cast<double>(t.x[k]), static_cast<double>(t.x[k + 1]), static_cast<double>(t.x[k + 2]),
                        static_cast<double>(t.x[k + 3])};
    const Doubles zk = {t.z[t.x[k]], t.z[t.x[k + 1]], t.z[t.x[k + 2]], t.z[t.x[k + 3]]};
    Doubles ta, tb;
    std::memcpy(&ta, t.rowA + k, sizeof ta);
    std::memcpy(&tb, t.rowB + k, sizeof tb);
    Doubles toA = static_cast<double>(t.xa) - xk;
    Doubles toB = static_cast<double>(t.xb) - xk;
    toA = toA < 0.0 ? -toA : toA;
    toB = toB < 0.0 ? -toB : toB;
    const double n = static_cast<double>(t.n);
    const Doubles A = ((1.0 + 0.5 * t.z[t.xa]) + 0.5 * zk) - 0.5 * toA / n;
    const Doubles B = ((1.0 + 0.5 * t.z[t.xb]) + 0.5 * zk) - 0.5 * toB / n;
    return (B - A) * (ta * B - tb * A) / (A * B);
}

// Lanes k..k+3 that are neither a nor b, all ones.
[[gnu::target("avx2"), gnu::always_inline]] inline Words others(const TradedFactors& t, int k) {
    const Words index = {k, k + 1, k + 2, k + 3};
    return (index != t.a) & (index != t.b);
}

inline double joined(const double* s) { return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7])); }

template <bool MaxPro>
[[gnu::target("avx2"), gnu::always_inline]] inline double tradedBody(const TradedFactors& t) {
    Doubles low = {0.0, 0.0, 0.0, 0.0};
    Doubles high = {0.0, 0.0, 0.0, 0.0};
    const Doubles none = {0.0, 0.0, 0.0, 0.0};
    int k = 0;
    for (; k + 8 <= t.n; k += 8) {
        const Doubles first = MaxPro ? maxProLanes(t, k) : discrepancyLanes(t, k);
        const Doubles second = MaxPro ? maxProLanes(t, k + 4) : discrepancyLanes(t, k + 4);
        low += others(t, k) ? first : none;
        high += others(t, k + 4) ? second : none;
    }
    double sums[8];
    std::memcpy(sums, &low, sizeof low);
    std::memcpy(sums + 4, &high, sizeof high);
    for (; k < t.n; ++k) {
        if (k != t.a && k != t.b) sums[k & 7] += MaxPro ? maxProTerm(t, k) : discrepancyTerm(t, k);
    }
    return joined(sums);
}

// The reference: one pair at a time.
template <bool MaxPro>
double tradedPortable(const TradedFactors& t) {
    double sums[8] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    for (int k = 0; k < t.n; ++k) {
        if (k != t.a && k != t.b) sums[k & 7] += MaxPro ? maxProTerm(t, k) : discrepancyTerm(t, k);
    }
    return joined(sums);
}

#if defined(__x86_64__) && defined(__GNUC__)
template <bool MaxPro>
[[gnu::target("avx2")]] double tradedAvx2(const TradedFactors& t) {
    return tradedBody<MaxPro>(t);
}
#endif

} // namespace

TradedKernels tradedKernels(bool wide) {
#if defined(__x86_64__) && defined(__GNUC__)
    if (wide && __builtin_cpu_supports("avx2")) return {&tradedAvx2<true>, &tradedAvx2<false>};
#endif
    (void)wide;
    return {&tradedPortable<true>, &tradedPortable<false>};
}

} // namespace detail
} // namespace engine
} // namespace olhs
