#include "engine/fast_phip_squared.h"

#include <cmath>
#include <cstring>

namespace olhs {
namespace engine {
namespace detail {

namespace {

typedef double Doubles __attribute__((vector_size(32)));
typedef std::int64_t Words __attribute__((vector_size(32)));
typedef std::int32_t Ints __attribute__((vector_size(16)));
typedef float Floats8 __attribute__((vector_size(32)));
typedef std::int32_t Ints8 __attribute__((vector_size(32)));

inline double termOf(const PowerTable& table, std::uint32_t s) {
    const std::int8_t units = table.corrections()[s];
    if (units == PowerTable::readTable) {
        return table[s];
    }
    double rough = static_cast<double>(s);
    PowerTable::roughTerm(rough, table.wholePower());
    std::int64_t bits;
    std::memcpy(&bits, &rough, sizeof bits);
    bits += units;
    double term;
    std::memcpy(&term, &bits, sizeof term);
    return term;
}

// Four terms of s at once: the divisions and products overlap, and only the corrections
// are read one by one.
[[gnu::always_inline]] inline void fourTerms(const PowerTable& table, Ints s, double* out) {
    const std::int8_t* corrections = table.corrections();
    const Words units = {corrections[s[0]], corrections[s[1]], corrections[s[2]], corrections[s[3]]};
    Doubles rough = __builtin_convertvector(s, Doubles);
    PowerTable::roughTerm(rough, table.wholePower());
    const Words bits = (Words)rough + units;
    std::memcpy(out, &bits, sizeof bits);
    const Words escaped = units == PowerTable::readTable;
    if (__builtin_expect((escaped[0] | escaped[1] | escaped[2] | escaped[3]) != 0, 0)) {
        for (int l = 0; l < 4; ++l) {
            if (escaped[l]) {
                out[l] = table[static_cast<std::size_t>(s[l])];
            }
        }
    }
}

[[gnu::always_inline]] inline void termsBody(const PowerTable& table, const std::uint32_t* rowA,
                                             const std::uint32_t* rowB, const std::int32_t* x, int count,
                                             std::int32_t xa, std::int32_t xb, double* termsA, double* termsB) {
    // (xb - x)^2 - (xa - x)^2 = (xb - xa)(xb + xa - 2x).
    const std::int32_t u = xb - xa;
    const std::int32_t v = xb + xa;
    int k = 0;
    for (; k + 4 <= count; k += 4) {
        Ints xk, a, b;
        std::memcpy(&xk, x + k, sizeof xk);
        std::memcpy(&a, rowA + k, sizeof a);
        std::memcpy(&b, rowB + k, sizeof b);
        const Ints delta = u * (v - 2 * xk);
        fourTerms(table, a + delta, termsA + k);
        fourTerms(table, b - delta, termsB + k);
    }
    for (; k < count; ++k) {
        const std::int32_t delta = u * (v - 2 * x[k]);
        termsA[k] = termOf(table, static_cast<std::uint32_t>(static_cast<std::int32_t>(rowA[k]) + delta));
        termsB[k] = termOf(table, static_cast<std::uint32_t>(static_cast<std::int32_t>(rowB[k]) - delta));
    }
}

void portableTerms(const PowerTable& table, const std::uint32_t* rowA, const std::uint32_t* rowB,
                   const std::int32_t* x, int count, std::int32_t xa, std::int32_t xb, double* termsA,
                   double* termsB) {
    termsBody(table, rowA, rowB, x, count, xa, xb, termsA, termsB);
}

#if defined(__x86_64__) && defined(__GNUC__)
[[gnu::target("avx2")]] void wideTerms(const PowerTable& table, const std::uint32_t* rowA, const std::uint32_t* rowB,
                                       const std::int32_t* x, int count, std::int32_t xa, std::int32_t xb,
                                       double* termsA, double* termsB) {
    termsBody(table, rowA, rowB, x, count, xa, xb, termsA, termsB);
}
#endif

[[gnu::always_inline]] inline RoughSums roughBody(const std::uint32_t* rowA, const std::uint32_t* rowB,
                                                  const double* wA, const double* wB, const std::int32_t* x, int count,
                                                  int a, int b, std::int32_t xa, std::int32_t xb, float inverseSigma,
                                                  int q) {
    const std::int32_t u = xb - xa;
    const std::int32_t v = xb + xa;
    Doubles added = {0.0, 0.0, 0.0, 0.0};
    Doubles removed = {0.0, 0.0, 0.0, 0.0};
    Doubles removedHigh = {0.0, 0.0, 0.0, 0.0};
    const Ints8 lanes = {0, 1, 2, 3, 4, 5, 6, 7};
    int k = 0;
    for (; k + 8 <= count; k += 8) {
        Ints8 xk, dA, dB;
        std::memcpy(&xk, x + k, sizeof xk);
        std::memcpy(&dA, rowA + k, sizeof dA);
        std::memcpy(&dB, rowB + k, sizeof dB);
        const Ints8 delta = u * (v - 2 * xk);
        Floats8 tA = __builtin_convertvector(dA + delta, Floats8) * inverseSigma;
        Floats8 tB = __builtin_convertvector(dB - delta, Floats8) * inverseSigma;
        PowerTable::roughTerm(tA, q);
        PowerTable::roughTerm(tB, q);
        // The candidate's own points add nothing: their lanes are cleared bit by bit.
        const Ints8 index = lanes + k;
        const Ints8 keep = (index != a) & (index != b);
        const Floats8 pair = (Floats8)((Ints8)(tA + tB) & keep);
        added += __builtin_convertvector(__builtin_shufflevector(pair, pair, 0, 1, 2, 3), Doubles) +
                 __builtin_convertvector(__builtin_shufflevector(pair, pair, 4, 5, 6, 7), Doubles);
        const Words keepLow = __builtin_convertvector(__builtin_shufflevector(keep, keep, 0, 1, 2, 3), Words);
        const Words keepHigh = __builtin_convertvector(__builtin_shufflevector(keep, keep, 4, 5, 6, 7), Words);
        Doubles oldA, oldB, oldAHigh, oldBHigh;
        std::memcpy(&oldA, wA + k, sizeof oldA);
        std::memcpy(&oldB, wB + k, sizeof oldB);
        std::memcpy(&oldAHigh, wA + k + 4, sizeof oldAHigh);
        std::memcpy(&oldBHigh, wB + k + 4, sizeof oldBHigh);
        removed += (Doubles)(((Words)oldA & keepLow)) + (Doubles)(((Words)oldB & keepLow));
        removedHigh += (Doubles)(((Words)oldAHigh & keepHigh)) + (Doubles)(((Words)oldBHigh & keepHigh));
    }
    removed += removedHigh;
    double scaledAdded = (added[0] + added[1]) + (added[2] + added[3]);
    double old = (removed[0] + removed[1]) + (removed[2] + removed[3]);
    for (; k < count; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const std::int32_t delta = u * (v - 2 * x[k]);
        float tA = static_cast<float>(static_cast<std::int32_t>(rowA[k]) + delta) * inverseSigma;
        float tB = static_cast<float>(static_cast<std::int32_t>(rowB[k]) - delta) * inverseSigma;
        PowerTable::roughTerm(tA, q);
        PowerTable::roughTerm(tB, q);
        scaledAdded += static_cast<double>(tA + tB);
        old += wA[k] + wB[k];
    }
    return {scaledAdded, old};
}

RoughSums portableRoughSums(const std::uint32_t* rowA, const std::uint32_t* rowB, const double* wA, const double* wB,
                            const std::int32_t* x, int count, int a, int b, std::int32_t xa, std::int32_t xb,
                            float inverseSigma, int q) {
    return roughBody(rowA, rowB, wA, wB, x, count, a, b, xa, xb, inverseSigma, q);
}

#if defined(__x86_64__) && defined(__GNUC__)
[[gnu::target("avx2")]] RoughSums wideRoughSums(const std::uint32_t* rowA, const std::uint32_t* rowB, const double* wA,
                                               const double* wB, const std::int32_t* x, int count, int a, int b,
                                               std::int32_t xa, std::int32_t xb, float inverseSigma, int q) {
    return roughBody(rowA, rowB, wA, wB, x, count, a, b, xa, xb, inverseSigma, q);
}
#endif

} // namespace

ExchangeRoughSums exchangeRoughSums() {
#if defined(__x86_64__) && defined(__GNUC__)
    if (__builtin_cpu_supports("avx2")) {
        return wideRoughSums;
    }
#endif
    return portableRoughSums;
}

double roughSumsError(int q) {
    int products = 0;
    for (int r = q; r > 0; r >>= 1) {
        products += (r & 1) + (r > 1);
    }
    // First-order terms, doubled for the higher orders while the bound stays small.
    return 2.0 * (q + q * products + 2) * 0x1.0p-24;
}

ExchangedTerms exchangedTerms() {
#if defined(__x86_64__) && defined(__GNUC__)
    if (__builtin_cpu_supports("avx2")) {
        return wideTerms;
    }
#endif
    return portableTerms;
}

ExchangedTerms portableExchangedTerms() { return portableTerms; }

} // namespace detail
} // namespace engine
} // namespace olhs
