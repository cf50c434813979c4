#include "engine/exchange_kernel.h"

// GCC 12's AVX-512 intrinsics start vectors from a deliberately undefined value, which
// -Wuninitialized reports inside the compiler's own header.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace olhs {
namespace engine {

namespace {

template <int Exponent>
std::int32_t deltaAt(const ExchangeRows& r, std::int32_t x) {
    const std::int32_t xi = r.x[r.i];
    const std::int32_t xj = r.x[r.j];
    return Exponent == 2 ? (xj - xi) * (xj + xi - 2 * x) : std::abs(xj - x) - std::abs(xi - x);
}

constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();

template <int Exponent>
RowMinima minimaPortable(const ExchangeRows& r) {
    RowMinima minima{most, most};
    for (int l = 0; l < r.lanes; ++l) {
        if (l == r.i || l == r.j) continue;
        const std::int32_t delta = deltaAt<Exponent>(r, r.x[l]);
        minima.i = std::min(minima.i, r.di[l] + delta);
        minima.j = std::min(minima.j, r.dj[l] - delta);
    }
    return minima;
}

double joined(const double* s) { return ((s[0] + s[1]) + (s[2] + s[3])) + ((s[4] + s[5]) + (s[6] + s[7])); }

template <int Exponent>
double energyChangePortable(const ExchangeRows& r, const Weights& w) {
    double sums[8] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
    for (int l = 0; l < r.lanes; ++l) {
        double change = 0.0;
        if (l != r.i && l != r.j) {
            const std::int32_t delta = deltaAt<Exponent>(r, r.x[l]);
            w.freshI[l] = pairWeight(r.di[l] + delta, w.reference, w.q);
            w.freshJ[l] = pairWeight(r.dj[l] - delta, w.reference, w.q);
            change = (w.freshI[l] - w.wi[l]) + (w.freshJ[l] - w.wj[l]);
        }
        sums[l % 8] += change;
    }
    return joined(sums);
}

// ---- AVX2: eight lanes of distances, four of weights.

[[gnu::target("avx2")]] inline __m256i load8(const std::int32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

template <int Exponent>
[[gnu::target("avx2")]] inline __m256i deltaAvx2(const ExchangeRows& r, __m256i x) {
    const std::int32_t xi = r.x[r.i];
    const std::int32_t xj = r.x[r.j];
    if (Exponent == 2) {
        return _mm256_mullo_epi32(_mm256_set1_epi32(xj - xi),
                                  _mm256_sub_epi32(_mm256_set1_epi32(xj + xi), _mm256_add_epi32(x, x)));
    }
    return _mm256_sub_epi32(_mm256_abs_epi32(_mm256_sub_epi32(_mm256_set1_epi32(xj), x)),
                            _mm256_abs_epi32(_mm256_sub_epi32(_mm256_set1_epi32(xi), x)));
}

// All ones in lanes l..l+7 that are lane i or j.
[[gnu::target("avx2")]] inline __m256i pairLanes(const ExchangeRows& r, int l) {
    const __m256i lanes = _mm256_add_epi32(_mm256_set1_epi32(l), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
    return _mm256_or_si256(_mm256_cmpeq_epi32(lanes, _mm256_set1_epi32(r.i)),
                           _mm256_cmpeq_epi32(lanes, _mm256_set1_epi32(r.j)));
}

[[gnu::target("avx2")]] inline std::int32_t smallestLane(__m256i v) {
    __m128i half = _mm_min_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    half = _mm_min_epi32(half, _mm_shuffle_epi32(half, 0x4E));
    half = _mm_min_epi32(half, _mm_shuffle_epi32(half, 0xB1));
    return _mm_cvtsi128_si32(half);
}

template <int Exponent>
[[gnu::target("avx2")]] RowMinima minimaAvx2(const ExchangeRows& r) {
    const __m256i none = _mm256_set1_epi32(most);
    __m256i lowI = none;
    __m256i lowJ = none;
    for (int l = 0; l < r.lanes; l += 8) {
        const __m256i delta = deltaAvx2<Exponent>(r, load8(r.x + l));
        const __m256i skip = pairLanes(r, l);
        lowI = _mm256_min_epi32(lowI, _mm256_blendv_epi8(_mm256_add_epi32(load8(r.di + l), delta), none, skip));
        lowJ = _mm256_min_epi32(lowJ, _mm256_blendv_epi8(_mm256_sub_epi32(load8(r.dj + l), delta), none, skip));
    }
    return {smallestLane(lowI), smallestLane(lowJ)};
}

// pairWeight() of two vectors of eight lanes: one single-precision division, the squaring
// chains of the four halves interleaved so that their latencies overlap.
[[gnu::target("avx2")]] inline void weightsAvx2(__m256i di, __m256i dj, const Weights& w, __m256d* out) {
    const __m256 reference = _mm256_set1_ps(static_cast<float>(w.reference));
    const __m256 ri = _mm256_div_ps(reference, _mm256_cvtepi32_ps(di));
    const __m256 rj = _mm256_div_ps(reference, _mm256_cvtepi32_ps(dj));
    __m256d base[4] = {_mm256_cvtps_pd(_mm256_castps256_ps128(ri)), _mm256_cvtps_pd(_mm256_extractf128_ps(ri, 1)),
                       _mm256_cvtps_pd(_mm256_castps256_ps128(rj)), _mm256_cvtps_pd(_mm256_extractf128_ps(rj, 1))};
    for (int v = 0; v < 4; ++v) out[v] = _mm256_set1_pd(1.0);
    for (int k = w.q; k > 0; k >>= 1) {
        for (int v = 0; v < 4; ++v) {
            if (k & 1) out[v] = _mm256_mul_pd(out[v], base[v]);
            base[v] = _mm256_mul_pd(base[v], base[v]);
        }
    }
}

// Zero where the mask of eight 32-bit lanes (from lane `from`, four at a time) is set.
[[gnu::target("avx2")]] inline __m256d cleared(__m256d v, __m128i mask) {
    return _mm256_andnot_pd(_mm256_castsi256_pd(_mm256_cvtepi32_epi64(mask)), v);
}

template <int Exponent>
[[gnu::target("avx2")]] double energyChangeAvx2(const ExchangeRows& r, const Weights& w) {
    const __m256i far = _mm256_set1_epi32(ExchangeRows::padding / 2 - 1);
    __m256d low = _mm256_setzero_pd();
    __m256d high = _mm256_setzero_pd();
    for (int l = 0; l < r.lanes; l += 8) {
        const __m256i delta = deltaAvx2<Exponent>(r, load8(r.x + l));
        const __m256i newI = _mm256_add_epi32(load8(r.di + l), delta);
        const __m256i newJ = _mm256_sub_epi32(load8(r.dj + l), delta);
        __m256d fresh[4];
        weightsAvx2(newI, newJ, w, fresh);
        _mm256_storeu_pd(w.freshI + l, fresh[0]);
        _mm256_storeu_pd(w.freshI + l + 4, fresh[1]);
        _mm256_storeu_pd(w.freshJ + l, fresh[2]);
        _mm256_storeu_pd(w.freshJ + l + 4, fresh[3]);
        const __m256i pair = pairLanes(r, l);
        const __m256i skipI = _mm256_or_si256(pair, _mm256_cmpgt_epi32(newI, far));
        const __m256i skipJ = _mm256_or_si256(pair, _mm256_cmpgt_epi32(newJ, far));
        const __m256d lowI = cleared(_mm256_sub_pd(fresh[0], _mm256_loadu_pd(w.wi + l)), _mm256_castsi256_si128(skipI));
        const __m256d highI = cleared(_mm256_sub_pd(fresh[1], _mm256_loadu_pd(w.wi + l + 4)), _mm256_extracti128_si256(skipI, 1));
        const __m256d lowJ = cleared(_mm256_sub_pd(fresh[2], _mm256_loadu_pd(w.wj + l)), _mm256_castsi256_si128(skipJ));
        const __m256d highJ = cleared(_mm256_sub_pd(fresh[3], _mm256_loadu_pd(w.wj + l + 4)), _mm256_extracti128_si256(skipJ, 1));
        low = _mm256_add_pd(low, _mm256_add_pd(lowI, lowJ));
        high = _mm256_add_pd(high, _mm256_add_pd(highI, highJ));
    }
    alignas(32) double sums[8];
    _mm256_store_pd(sums, low);
    _mm256_store_pd(sums + 4, high);
    return joined(sums);
}

// ---- AVX-512: sixteen lanes of distances, eight of weights.

template <int Exponent>
[[gnu::target("avx512f")]] inline __m512i deltaAvx512(const ExchangeRows& r, __m512i x) {
    const std::int32_t xi = r.x[r.i];
    const std::int32_t xj = r.x[r.j];
    if (Exponent == 2) {
        return _mm512_mullo_epi32(_mm512_set1_epi32(xj - xi),
                                  _mm512_sub_epi32(_mm512_set1_epi32(xj + xi), _mm512_add_epi32(x, x)));
    }
    return _mm512_sub_epi32(_mm512_abs_epi32(_mm512_sub_epi32(_mm512_set1_epi32(xj), x)),
                            _mm512_abs_epi32(_mm512_sub_epi32(_mm512_set1_epi32(xi), x)));
}

// Lanes l..l+15 that are not lane i or j.
[[gnu::target("avx512f")]] inline __mmask16 otherLanes(const ExchangeRows& r, int l) {
    const __m512i lanes = _mm512_add_epi32(_mm512_set1_epi32(l),
                                           _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    return static_cast<__mmask16>(_mm512_cmpneq_epi32_mask(lanes, _mm512_set1_epi32(r.i)) &
                                  _mm512_cmpneq_epi32_mask(lanes, _mm512_set1_epi32(r.j)));
}

[[gnu::target("avx512f")]] inline std::int32_t smallestLane(__m512i v) {
    alignas(64) std::int32_t lanes[16];
    _mm512_store_si512(lanes, v);
    return *std::min_element(lanes, lanes + 16);
}

template <int Exponent>
[[gnu::target("avx512f")]] RowMinima minimaAvx512(const ExchangeRows& r) {
    __m512i lowI = _mm512_set1_epi32(most);
    __m512i lowJ = lowI;
    for (int l = 0; l < r.lanes; l += 16) {
        const __m512i delta = deltaAvx512<Exponent>(r, _mm512_loadu_si512(r.x + l));
        const __mmask16 keep = otherLanes(r, l);
        lowI = _mm512_mask_min_epi32(lowI, keep, lowI, _mm512_add_epi32(_mm512_loadu_si512(r.di + l), delta));
        lowJ = _mm512_mask_min_epi32(lowJ, keep, lowJ, _mm512_sub_epi32(_mm512_loadu_si512(r.dj + l), delta));
    }
    return {smallestLane(lowI), smallestLane(lowJ)};
}

[[gnu::target("avx512f")]] inline void weightsAvx512(__m512i di, __m512i dj, const Weights& w, __m512d* out) {
    const __m512 reference = _mm512_set1_ps(static_cast<float>(w.reference));
    const __m512 ri = _mm512_div_ps(reference, _mm512_cvtepi32_ps(di));
    const __m512 rj = _mm512_div_ps(reference, _mm512_cvtepi32_ps(dj));
    __m512d base[4] = {
        _mm512_cvtps_pd(_mm512_castps512_ps256(ri)),
        _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(ri), 1))),
        _mm512_cvtps_pd(_mm512_castps512_ps256(rj)),
        _mm512_cvtps_pd(_mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(rj), 1)))};
    for (int v = 0; v < 4; ++v) out[v] = _mm512_set1_pd(1.0);
    for (int k = w.q; k > 0; k >>= 1) {
        for (int v = 0; v < 4; ++v) {
            if (k & 1) out[v] = _mm512_mul_pd(out[v], base[v]);
            base[v] = _mm512_mul_pd(base[v], base[v]);
        }
    }
}

template <int Exponent>
[[gnu::target("avx512f")]] double energyChangeAvx512(const ExchangeRows& r, const Weights& w) {
    const __m512i far = _mm512_set1_epi32(ExchangeRows::padding / 2);
    __m512d sum = _mm512_setzero_pd();
    for (int l = 0; l < r.lanes; l += 16) {
        const __m512i delta = deltaAvx512<Exponent>(r, _mm512_loadu_si512(r.x + l));
        const __m512i newI = _mm512_add_epi32(_mm512_loadu_si512(r.di + l), delta);
        const __m512i newJ = _mm512_sub_epi32(_mm512_loadu_si512(r.dj + l), delta);
        __m512d fresh[4];
        weightsAvx512(newI, newJ, w, fresh);
        _mm512_storeu_pd(w.freshI + l, fresh[0]);
        _mm512_storeu_pd(w.freshI + l + 8, fresh[1]);
        _mm512_storeu_pd(w.freshJ + l, fresh[2]);
        _mm512_storeu_pd(w.freshJ + l + 8, fresh[3]);
        const __mmask16 keep = otherLanes(r, l);
        const __mmask16 keepI = static_cast<__mmask16>(keep & _mm512_cmplt_epi32_mask(newI, far));
        const __mmask16 keepJ = static_cast<__mmask16>(keep & _mm512_cmplt_epi32_mask(newJ, far));
        // Lanes l..l+7, then l+8..l+15, each into partial sum (lane mod 8).
        const __m512d lowI = _mm512_maskz_sub_pd(static_cast<__mmask8>(keepI), fresh[0], _mm512_loadu_pd(w.wi + l));
        const __m512d lowJ = _mm512_maskz_sub_pd(static_cast<__mmask8>(keepJ), fresh[2], _mm512_loadu_pd(w.wj + l));
        sum = _mm512_add_pd(sum, _mm512_add_pd(lowI, lowJ));
        const __m512d highI = _mm512_maskz_sub_pd(static_cast<__mmask8>(keepI >> 8), fresh[1], _mm512_loadu_pd(w.wi + l + 8));
        const __m512d highJ = _mm512_maskz_sub_pd(static_cast<__mmask8>(keepJ >> 8), fresh[3], _mm512_loadu_pd(w.wj + l + 8));
        sum = _mm512_add_pd(sum, _mm512_add_pd(highI, highJ));
    }
    alignas(64) double sums[8];
    _mm512_store_pd(sums, sum);
    return joined(sums);
}

bool hasAvx512() { return __builtin_cpu_supports("avx512f"); }
bool hasAvx2() { return __builtin_cpu_supports("avx2"); }

template <int Exponent>
int kernelsOf(ExchangeKernels* out) {
    int count = 0;
    if (hasAvx512()) out[count++] = {"avx512", &minimaAvx512<Exponent>, &energyChangeAvx512<Exponent>};
    if (hasAvx2()) out[count++] = {"avx2", &minimaAvx2<Exponent>, &energyChangeAvx2<Exponent>};
    out[count++] = {"portable", &minimaPortable<Exponent>, &energyChangePortable<Exponent>};
    return count;
}

} // namespace

int availableExchangeKernels(int exponent, ExchangeKernels* out) {
    return exponent == 2 ? kernelsOf<2>(out) : kernelsOf<1>(out);
}

ExchangeKernels exchangeKernels(int exponent) {
    ExchangeKernels kernels[3];
    availableExchangeKernels(exponent, kernels);
    return kernels[0];
}

} // namespace engine
} // namespace olhs
