#include "engine/city_block_bounds.h"

// GCC 12's AVX-512 intrinsics start vectors from a deliberately undefined value, which
// -Wuninitialized reports inside the compiler's own header.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

// Vectors pass between always-inlined helpers only, never across a real call, so the
// warning that their calling convention depends on the instruction set does not apply.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

#include "engine/fast_phip_squared.h"
#include "engine/power_table.h"

namespace olhs {
namespace engine {
namespace detail {

namespace {

// Four vectors raised to the power q and inverted, as PowerTable::roughTerm does one: their
// chains side by side, so that one walk over the bits of q serves them all. Q > 0 unrolls
// the walk for a q known when compiling.
template <int Q, bool Started, class V>
[[gnu::always_inline]] inline void raise(V& p0, V& p1, V& p2, V& p3, V& b0, V& b1, V& b2, V& b3) {
    if constexpr (Q > 0) {
        if constexpr ((Q & 1) != 0) {
            if constexpr (Started) {
                p0 = p0 * b0, p1 = p1 * b1, p2 = p2 * b2, p3 = p3 * b3;
            } else {
                p0 = b0, p1 = b1, p2 = b2, p3 = b3;
            }
        }
        if constexpr (Q > 1) {
            b0 = b0 * b0, b1 = b1 * b1, b2 = b2 * b2, b3 = b3 * b3;
        }
        raise<(Q >> 1), Started || (Q & 1) != 0>(p0, p1, p2, p3, b0, b1, b2, b3);
    }
}

// The powers only, left in place: each caller inverts them with what its instruction set
// has (vectors never pass by value between functions of different instruction sets).
template <int Q, class V>
[[gnu::always_inline]] inline void roughPowers(V& s0, V& s1, V& s2, V& s3, int q) {
    V p0 = s0, p1 = s1, p2 = s2, p3 = s3;
    if constexpr (Q > 0) {
        raise<Q, false>(p0, p1, p2, p3, s0, s1, s2, s3);
    } else {
        bool started = false;
        for (; q > 0; q >>= 1) {
            if (q & 1) {
                if (started) {
                    p0 = p0 * s0, p1 = p1 * s1, p2 = p2 * s2, p3 = p3 * s3;
                } else {
                    p0 = s0, p1 = s1, p2 = s2, p3 = s3;
                }
                started = true;
            }
            if (q > 1) {
                s0 = s0 * s0, s1 = s1 * s1, s2 = s2 * s2, s3 = s3 * s3;
            }
        }
    }
    s0 = p0, s1 = p1, s2 = p2, s3 = p3;
}

// The lanes past the last whole vector, one by one.
template <class Dist>
double tail(double added, int k, const Dist* rowA, const Dist* rowB, const std::int32_t* x, int count, int a, int b,
            std::int32_t xa, std::int32_t xb, float inverseSigma, int q) {
    for (; k < count; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const std::int32_t toB = xb - x[k];
        const std::int32_t toA = xa - x[k];
        const std::int32_t delta = (toB < 0 ? -toB : toB) - (toA < 0 ? -toA : toA);
        float newA = static_cast<float>(static_cast<std::int32_t>(rowA[k]) + delta) * inverseSigma;
        float newB = static_cast<float>(static_cast<std::int32_t>(rowB[k]) - delta) * inverseSigma;
        float unused0 = 1.0f, unused1 = 1.0f;
        roughPowers<0>(newA, newB, unused0, unused1, q);
        added += static_cast<double>(1.0f / newA + 1.0f / newB);
    }
    return added;
}

#if defined(__x86_64__) && defined(__GNUC__)
#define OLHS_CITY_BLOCK_WIDE 1

// ---- AVX-512: sixteen lanes of k.
[[gnu::target("avx512f")]] inline __m512d lowHalf(__m512 v) { return _mm512_cvtps_pd(_mm512_castps512_ps256(v)); }
[[gnu::target("avx512f")]] inline __m512d highHalf(__m512 v) {
    return _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(v), 1)));
}

// 1 / p from the processor's estimate alone: its error is far below what the bounds can
// use, and it is finite or infinite, never NaN, wherever p is (0 gives infinity, whose
// sum the bounds refuse, and infinity 0, a term below any that counts).
constexpr double avx512ReciprocalError = 0x1.0p-14;

template <class Dist>
[[gnu::target("avx512f,avx512bw,avx512vl")]] inline __m512i load16(const Dist* p, __mmask16 valid) {
    if constexpr (sizeof(Dist) == 2) {
        return _mm512_cvtepu16_epi32(_mm256_maskz_loadu_epi16(valid, p));
    } else {
        return _mm512_maskz_loadu_epi32(valid, p);
    }
}

template <class Dist>
struct Avx512Lanes {
    __m512i lanes, pointA, pointB, levelA, levelB;
    __m512 scale;
    const Dist* rowA;
    const Dist* rowB;
    const std::int32_t* x;
    int count;

    // The new distances of lanes k..k+15 in float, scaled, and the lanes that count: those
    // below count, other than the candidate's own points.
    [[gnu::target("avx512f,avx512bw,avx512vl")]] __mmask16 load(int k, __m512& newA, __m512& newB) const {
        __m512i a, b;
        const __mmask16 keep = distances(k, a, b);
        newA = _mm512_mul_ps(_mm512_cvtepi32_ps(a), scale);
        newB = _mm512_mul_ps(_mm512_cvtepi32_ps(b), scale);
        return keep;
    }

    // The new distances of lanes k..k+15 and the lanes that count.
    [[gnu::target("avx512f,avx512bw,avx512vl")]] __mmask16 distances(int k, __m512i& newA, __m512i& newB) const {
        const int left = count - k;
        const __mmask16 valid = left >= 16 ? __mmask16(0xFFFF)
                                           : static_cast<__mmask16>(left > 0 ? (1u << left) - 1 : 0u);
        const __m512i xk = _mm512_maskz_loadu_epi32(valid, x + k);
        const __m512i dA = load16(rowA + k, valid);
        const __m512i dB = load16(rowB + k, valid);
        const __m512i delta = _mm512_sub_epi32(_mm512_abs_epi32(_mm512_sub_epi32(levelB, xk)),
                                               _mm512_abs_epi32(_mm512_sub_epi32(levelA, xk)));
        newA = _mm512_add_epi32(dA, delta);
        newB = _mm512_sub_epi32(dB, delta);
        const __m512i index = _mm512_add_epi32(lanes, _mm512_set1_epi32(k));
        return static_cast<__mmask16>(valid & ~(_mm512_cmpeq_epi32_mask(index, pointA) |
                                                _mm512_cmpeq_epi32_mask(index, pointB)));
    }
};

// Thirty-two lanes of k a step, so that four chains of products overlap.
template <class Dist, int Q>
[[gnu::target("avx512f,avx512bw,avx512vl")]] RoughAdded avx512Body(const Dist* rowA, const Dist* rowB,
                                                                  const std::int32_t* x, int count, int a, int b,
                                                                  std::int32_t xa, std::int32_t xb,
                                                                  float inverseSigma, int q, double giveUpAbove) {
    Avx512Lanes<Dist> v;
    v.lanes = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    v.pointA = _mm512_set1_epi32(a), v.pointB = _mm512_set1_epi32(b);
    v.levelA = _mm512_set1_epi32(xa), v.levelB = _mm512_set1_epi32(xb);
    v.scale = _mm512_set1_ps(inverseSigma);
    v.rowA = rowA, v.rowB = rowB, v.x = x, v.count = count;
    __m512d added = _mm512_setzero_pd();
    for (int k = 0; k < count; k += 32) {
        __m512 a0, b0, a1, b1;
        const __mmask16 keep0 = v.load(k, a0, b0);
        const __mmask16 keep1 = v.load(k + 16, a1, b1);
        roughPowers<Q>(a0, b0, a1, b1, q);
        a0 = _mm512_rcp14_ps(a0), b0 = _mm512_rcp14_ps(b0), a1 = _mm512_rcp14_ps(a1), b1 = _mm512_rcp14_ps(b1);
        const __m512 four = _mm512_add_ps(_mm512_maskz_add_ps(keep0, a0, b0), _mm512_maskz_add_ps(keep1, a1, b1));
        added = _mm512_add_pd(added, _mm512_add_pd(lowHalf(four), highHalf(four)));
        if ((k & 63) == 32 && k + 32 < count) {
            const double part = _mm512_reduce_add_pd(added);
            if (part > giveUpAbove) return {part, false};
        }
    }
    return {_mm512_reduce_add_pd(added), true};
}

// ---- AVX2: eight lanes of k.
template <class Dist>
[[gnu::target("avx2")]] inline __m256i load8(const Dist* p) {
    if constexpr (sizeof(Dist) == 2) {
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    } else {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
}

[[gnu::target("avx2")]] inline __m256d lowHalf(__m256 v) { return _mm256_cvtps_pd(_mm256_castps256_ps128(v)); }
[[gnu::target("avx2")]] inline __m256d highHalf(__m256 v) { return _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1)); }

[[gnu::target("avx2")]] inline double total(__m256d v) {
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(v), _mm256_extractf128_pd(v, 1));
    return _mm_cvtsd_f64(_mm_add_sd(half, _mm_unpackhi_pd(half, half)));
}

constexpr double avx2ReciprocalError = 1.5 * 0x1.0p-12;

template <class Dist>
struct Avx2Lanes {
    __m256i lanes, pointA, pointB, levelA, levelB;
    __m256 scale;
    const Dist* rowA;
    const Dist* rowB;
    const std::int32_t* x;

    // The new distances of lanes k..k+7 in float, scaled, and all ones in the lanes of the
    // candidate's own points.
    [[gnu::target("avx2")]] __m256 load(int k, __m256& newA, __m256& newB) const {
        const __m256i xk = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(x + k));
        const __m256i delta = _mm256_sub_epi32(_mm256_abs_epi32(_mm256_sub_epi32(levelB, xk)),
                                               _mm256_abs_epi32(_mm256_sub_epi32(levelA, xk)));
        newA = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_add_epi32(load8(rowA + k), delta)), scale);
        newB = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_sub_epi32(load8(rowB + k), delta)), scale);
        const __m256i index = _mm256_add_epi32(lanes, _mm256_set1_epi32(k));
        return _mm256_castsi256_ps(
            _mm256_or_si256(_mm256_cmpeq_epi32(index, pointA), _mm256_cmpeq_epi32(index, pointB)));
    }
};

template <class Dist, int Q>
[[gnu::target("avx2")]] RoughAdded avx2Body(const Dist* rowA, const Dist* rowB, const std::int32_t* x, int count,
                                           int a, int b, std::int32_t xa, std::int32_t xb, float inverseSigma, int q,
                                           double giveUpAbove) {
    Avx2Lanes<Dist> v;
    v.lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    v.pointA = _mm256_set1_epi32(a), v.pointB = _mm256_set1_epi32(b);
    v.levelA = _mm256_set1_epi32(xa), v.levelB = _mm256_set1_epi32(xb);
    v.scale = _mm256_set1_ps(inverseSigma);
    v.rowA = rowA, v.rowB = rowB, v.x = x;
    __m256d added = _mm256_setzero_pd();
    int k = 0;
    // Sixteen lanes of k a step, so that four chains of products overlap.
    for (; k + 16 <= count; k += 16) {
        __m256 a0, b0, a1, b1;
        const __m256 skip0 = v.load(k, a0, b0);
        const __m256 skip1 = v.load(k + 8, a1, b1);
        roughPowers<Q>(a0, b0, a1, b1, q);
        a0 = _mm256_rcp_ps(a0), b0 = _mm256_rcp_ps(b0), a1 = _mm256_rcp_ps(a1), b1 = _mm256_rcp_ps(b1);
        const __m256 four = _mm256_add_ps(_mm256_andnot_ps(skip0, _mm256_add_ps(a0, b0)),
                                          _mm256_andnot_ps(skip1, _mm256_add_ps(a1, b1)));
        added = _mm256_add_pd(added, _mm256_add_pd(lowHalf(four), highHalf(four)));
        if ((k & 63) == 48 && k + 16 < count) {
            const double part = total(added);
            if (part > giveUpAbove) return {part, false};
        }
    }
    return {tail(total(added), k, rowA, rowB, x, count, a, b, xa, xb, inverseSigma, q), true};
}

// phi_p's usual p = 50 has its walk unrolled; other powers walk the bits of q.
template <class Dist>
[[gnu::target("avx512f,avx512bw,avx512vl")]] RoughAdded avx512Sums(const Dist* rowA, const Dist* rowB, const std::int32_t* x,
                                                int count, int a, int b, std::int32_t xa, std::int32_t xb,
                                                float inverseSigma, int q, double giveUpAbove) {
    return q == 50 ? avx512Body<Dist, 50>(rowA, rowB, x, count, a, b, xa, xb, inverseSigma, q, giveUpAbove)
                   : avx512Body<Dist, 0>(rowA, rowB, x, count, a, b, xa, xb, inverseSigma, q, giveUpAbove);
}

template <class Dist>
[[gnu::target("avx2")]] RoughAdded avx2Sums(const Dist* rowA, const Dist* rowB, const std::int32_t* x, int count,
                                           int a, int b, std::int32_t xa, std::int32_t xb, float inverseSigma, int q, double giveUpAbove) {
    return q == 50 ? avx2Body<Dist, 50>(rowA, rowB, x, count, a, b, xa, xb, inverseSigma, q, giveUpAbove)
                   : avx2Body<Dist, 0>(rowA, rowB, x, count, a, b, xa, xb, inverseSigma, q, giveUpAbove);
}
#endif

} // namespace

double cityBlockRoughError(int q, double reciprocalError) {
    // The reciprocal in place of the division, and two more adds in float: four terms a
    // lane before the sum moves to double.
    return roughSumsError(q) + 2.0 * (reciprocalError + 4.0 * 0x1.0p-24);
}

template <class Dist>
int availableCityBlockRoughSums(CityBlockRoughPath<Dist>* out) {
    int count = 0;
#ifdef OLHS_CITY_BLOCK_WIDE
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl")) {
        out[count++] = {"avx512", &avx512Sums<Dist>, avx512ReciprocalError};
    }
    if (__builtin_cpu_supports("avx2")) out[count++] = {"avx2", &avx2Sums<Dist>, avx2ReciprocalError};
#endif
    out[count++] = {"exact", nullptr, 0.0};
    return count;
}

template <class Dist>
CityBlockRoughPath<Dist> cityBlockRoughSums() {
    CityBlockRoughPath<Dist> paths[3];
    availableCityBlockRoughSums(paths);
    return paths[0];
}

template int availableCityBlockRoughSums(CityBlockRoughPath<std::uint16_t>*);
template int availableCityBlockRoughSums(CityBlockRoughPath<std::uint32_t>*);
template CityBlockRoughPath<std::uint16_t> cityBlockRoughSums();
template CityBlockRoughPath<std::uint32_t> cityBlockRoughSums();

} // namespace detail
} // namespace engine
} // namespace olhs
