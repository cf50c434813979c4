#include "engine/exact_sum.h"

#include <algorithm>
#include <cstring>

namespace olhs {
namespace engine {

namespace {

// Units are counted in the binade of exponent field f, whose ulp is 2^(f - 1075). Field 0
// (zero and subnormals) shares field 1's ulp, so it is counted as field 1: the bits of s
// are then always the bits of the binade's start plus its units, and adding units to s is
// adding them to its bits.
constexpr std::uint64_t kNotFinite = std::uint64_t{0x7FF} << 52; // and above: inf, NaN, negative
constexpr std::uint64_t kBad = std::uint64_t{1} << 53;           // more than any binade holds

inline std::uint64_t bitsOf(double x) {
    std::uint64_t b;
    std::memcpy(&b, &x, sizeof b);
    return b;
}

inline double doubleOf(std::uint64_t b) {
    double x;
    std::memcpy(&x, &b, sizeof x);
    return x;
}

// The term of a distance, or the term itself where D holds terms.
template <class Dist>
inline double termOf(const double* table, Dist d) {
    return table[d];
}
inline double termOf(const double*, double term) { return term; }

inline unsigned fieldOf(std::uint64_t s) { return std::max(static_cast<unsigned>(s >> 52), 1u); }

// Terms below this add no unit and cannot tie in binade f.
inline std::uint64_t negligibleBelow(unsigned f) { return f >= 54 ? std::uint64_t{f - 53} << 52 : 0; }

// 2^(1075 - f), the reciprocal of binade f's ulp, as two factors that are normal doubles
// for every field.
struct Scale {
    double first, second;
};

inline Scale scaleOf(unsigned f) {
    const int e = 1075 - static_cast<int>(f);
    const int half = e / 2;
    return {doubleOf(static_cast<std::uint64_t>(half + 1023) << 52), doubleOf(static_cast<std::uint64_t>(e - half + 1023) << 52)};
}

// The term in units of the binade rounded to nearest, or kBad, which sends its block term
// by term, when the rounding of s + t would depend on s (a half-unit), the term alone is as
// large as the binade's start, or it is not a finite non-negative number. Without branches.
inline std::uint64_t unitsOf(double t, Scale scale) {
    // Exact: scaling by powers of two, where it under- or overflows the result is far
    // below a half-unit or far above the bound either way.
    const double x = t * scale.first * scale.second;
    // Below 2^52, adding 2^52 rounds x to a whole number, ties to even.
    const double y = x + 0x1p52;
    const double off = (y - 0x1p52) - x;
    const bool good = x >= 0.0 && x < 0x1p52 && off != 0.5 && off != -0.5;
    return good ? bitsOf(y) - bitsOf(0x1p52) : kBad;
}

// Lanes of terms: two for any x86-64, four where the processor has AVX2.
template <int L>
struct UnitLanes;
template <>
struct UnitLanes<2> {
    typedef double Doubles __attribute__((vector_size(16)));
    typedef std::uint64_t Words __attribute__((vector_size(16)));
};
template <>
struct UnitLanes<4> {
    typedef double Doubles __attribute__((vector_size(32)));
    typedef std::uint64_t Words __attribute__((vector_size(32)));
};

// unitsOf on every lane at once, added to q: the same exact arithmetic lane by lane, so
// every width gives the same units. By reference, so no vector crosses a call.
template <class Doubles, class Words>
[[gnu::always_inline]] inline void addUnits(const Doubles& t, Scale scale, Words& q) {
    const Doubles x = t * scale.first * scale.second;
    const Doubles y = x + 0x1p52;
    const Doubles off = (y - 0x1p52) - x;
    const Words good = (Words)((x >= 0.0) & (x < 0x1p52) & (off != 0.5) & (off != -0.5));
    q += (((Words)y - bitsOf(0x1p52)) & good) | (kBad & ~good);
}

// The units in binade f of the terms of row[0, count), L terms at a time.
template <int L, class Dist>
[[gnu::always_inline]] inline std::uint64_t sumUnitsOf(const double* table, const Dist* row, int count, unsigned f) {
    using Doubles = typename UnitLanes<L>::Doubles;
    using Words = typename UnitLanes<L>::Words;
    const Scale scale = scaleOf(f);
    // Lanes of terms all below a quarter unit add none; skipping them is worth a branch.
    const double small = doubleOf(f >= 55 ? std::uint64_t{f - 54} << 52 : 0);
    Words q = {};
    int j = 0;
    for (; j + L <= count; j += L) {
        double terms[L];
        for (int l = 0; l < L; ++l) terms[l] = termOf(table, row[j + l]);
        Doubles t;
        std::memcpy(&t, terms, sizeof t);
        const Words none = (Words)((t >= 0.0) & (t < small));
        std::uint64_t all = ~std::uint64_t{0};
        for (int l = 0; l < L; ++l) all &= none[l];
        if (all == 0) addUnits(t, scale, q);
    }
    std::uint64_t sum = 0;
    for (int l = 0; l < L; ++l) sum += q[l];
    for (; j < count; ++j) sum += unitsOf(termOf(table, row[j]), scale);
    return sum;
}

template <class Dist>
std::uint64_t sumUnits(const double* table, const Dist* row, int count, unsigned f) {
    return sumUnitsOf<2>(table, row, count, f);
}

#if defined(__x86_64__) && defined(__GNUC__)
#define OLHS_EXACT_SUM_WIDE 1
template <class Dist>
[[gnu::target("avx2")]] std::uint64_t sumUnitsWide(const double* table, const Dist* row, int count, unsigned f) {
    return sumUnitsOf<4>(table, row, count, f);
}
#endif

} // namespace

template <class Dist>
double plainSum(const std::vector<double>& table, const Dist* D, int n) {
    double sum = 0.0;
    for (int i = 0; i < n - 1; ++i) {
        const Dist* row = D + static_cast<std::size_t>(i) * n;
        for (int j = i + 1; j < n; ++j) {
            sum = termOf(table.data(), row[j]) + sum;
        }
    }
    return sum;
}

template <class Dist>
ExactRowSums<Dist>::ExactRowSums(const std::vector<double>& table, int plainBelow, bool wide)
    : table_(table.data()), plainBelow_(plainBelow), sumUnits_(&sumUnits<Dist>) {
#ifdef OLHS_EXACT_SUM_WIDE
    if (wide && __builtin_cpu_supports("avx2")) sumUnits_ = &sumUnitsWide<Dist>;
#else
    (void)wide;
#endif
}

template <class Dist>
void ExactRowSums<Dist>::reset(const Dist*, int n) {
    n_ = n;
    rowBlock_.assign(static_cast<std::size_t>(std::max(n, 0)) + 1, 0);
    std::size_t blocks = 0;
    for (int i = 0; i < n; ++i) {
        rowBlock_[i] = blocks;
        blocks += static_cast<std::size_t>((n - 1 - i + kBlock - 1) >> kBlockShift);
    }
    if (n > 0) rowBlock_[n] = blocks;
    blocks_ = blocks;
    field_.assign(blocks_, 0);
    units_.assign(blocks_, 0);
    lowest_ = 0;
}

template <class Dist>
void ExactRowSums<Dist>::beginChange(const Dist* D, int n, int a, int b) {
    if (n != n_) reset(D, n);
    if (a > b) std::swap(a, b);
    // The pairs (k, a) and (k, b) with k before them need their old terms; D is symmetric,
    // so they are the rows' starts.
    before_.resize(static_cast<std::size_t>(a) + static_cast<std::size_t>(b));
    std::copy(D + static_cast<std::size_t>(a) * n, D + static_cast<std::size_t>(a) * n + a, before_.begin());
    std::copy(D + static_cast<std::size_t>(b) * n, D + static_cast<std::size_t>(b) * n + b, before_.begin() + a);
}

template <class Dist>
void ExactRowSums<Dist>::endChange(const Dist* D, int n, int a, int b) {
    if (n != n_ || lowest_ == 0) {
        if (n != n_) reset(D, n);
        return;
    }
    if (a > b) std::swap(a, b);
    changeColumn(D, before_.data(), a, -1);
    if (b != a) changeColumn(D, before_.data() + a, b, a);
}

template <class Dist>
void ExactRowSums<Dist>::changeColumn(const Dist* D, const Dist* before, int x, int skip) {
    const Dist* row = D + static_cast<std::size_t>(x) * n_;
    std::uint16_t* field = field_.data();
    std::uint64_t* units = units_.data();
    // The row's own blocks, recounted from their new terms.
    for (std::size_t block = rowBlock_[x]; block < rowBlock_[x + 1]; ++block) {
        if (field[block] == 0) continue;
        const int j0 = x + 1 + static_cast<int>((block - rowBlock_[x]) << kBlockShift);
        units[block] = blockUnits(row, j0, std::min(j0 + kBlock, n_), field[block]);
    }
    // Pairs (k, x): one per block of row k. Most terms are far below every binade kept;
    // the others are gathered first, every pair written and the kept ones advancing, which
    // spares a branch no one predicts.
    const std::uint64_t below = negligibleBelow(lowest_);
    changed_.resize(static_cast<std::size_t>(x) + 1);
    Changed* out = changed_.data();
    for (int k = 0; k < x; ++k) {
        out->block = rowBlock_[k] + static_cast<std::size_t>((x - k - 1) >> kBlockShift);
        out->before = termOf(table_, before[k]);
        out->after = termOf(table_, row[k]);
        out += (std::max(bitsOf(out->before), bitsOf(out->after)) >= below) & (k != skip);
    }
    // A block not known (field 0) takes a meaningless delta, which is harmless: its units
    // are counted afresh before any use.
    for (const Changed* c = changed_.data(); c != out; ++c) {
        const Scale scale = scaleOf(field[c->block]);
        // Sums of such units stay below 2^64, so the wrap-around steps cancel out.
        units[c->block] += unitsOf(c->after, scale) - unitsOf(c->before, scale);
    }
}

template <class Dist>
std::uint64_t ExactRowSums<Dist>::blockUnits(const Dist* row, int j0, int j1, unsigned f) const {
    // At most kBlock * kBad: no overflow.
    return sumUnits_(table_, row + j0, j1 - j0, f);
}

template <class Dist>
std::uint64_t ExactRowSums<Dist>::addTerms(std::uint64_t s, const Dist* row, int j0, int j1) const {
    double sum = doubleOf(s);
    for (int j = j0; j < j1; ++j) {
        sum = termOf(table_, row[j]) + sum;
    }
    return bitsOf(sum);
}

template <class Dist>
double ExactRowSums<Dist>::sum(const Dist* D, int n) {
    if (n != n_) reset(D, n);
    std::uint64_t s = 0; // the bits of the running sum, from +0.0
    if (n < plainBelow_) {
        // No block is ever counted, so changes cost nothing either.
        for (int i = 0; i < n - 1; ++i) s = addTerms(s, D + static_cast<std::size_t>(i) * n, i + 1, n);
        return doubleOf(s);
    }
    std::uint16_t* field = field_.data();
    std::uint64_t* units = units_.data();
    unsigned lowest = 0;
    bool settled = false; // the last block left the sum in the binade it found it in
    int i = 0; // the row of the block; row n - 1 has none, so rowBlock_[n - 1] == blocks_
    for (std::size_t block = 0; block < blocks_;) {
        while (rowBlock_[i + 1] <= block) ++i;
        const Dist* row = D + static_cast<std::size_t>(i) * n;
        const int j0 = i + 1 + static_cast<int>((block - rowBlock_[i]) << kBlockShift);
        const int j1 = std::min(j0 + kBlock, n);
        if (s >= kNotFinite) {
            s = addTerms(s, row, j0, j1);
            field[block] = 0;
            settled = false;
            ++block;
            continue;
        }
        const unsigned f = fieldOf(s);
        // s + q must stay below the next binade, (f + 1) << 52 as bits.
        const std::uint64_t limit = (std::uint64_t{f} + 1) << 52;
        if (field[block] != f) {
            if (!settled) {
                s = addTerms(s, row, j0, j1);
                ++block;
                // A binade the sum lingers in is worth counting; one it passes through is not.
                settled = fieldOf(s) == f;
                field[block - 1] = static_cast<std::uint16_t>(settled ? f : 0);
                if (settled) {
                    units[block - 1] = blockUnits(row, j0, j1, f);
                    lowest = lowest == 0 ? f : std::min(lowest, f);
                }
                continue;
            }
            field[block] = static_cast<std::uint16_t>(f);
            units[block] = blockUnits(row, j0, j1, f);
        }
        lowest = lowest == 0 ? f : std::min(lowest, f);
        if (units[block] >= limit - s) {
            s = addTerms(s, row, j0, j1);
            ++block;
            settled = fieldOf(s) == f;
            continue;
        }
        settled = true;
        s += units[block];
        for (++block; block < blocks_ && field[block] == f && units[block] < limit - s; ++block) s += units[block];
    }
    lowest_ = lowest;
    return doubleOf(s);
}

template double plainSum<std::uint16_t>(const std::vector<double>&, const std::uint16_t*, int);
template double plainSum<std::uint32_t>(const std::vector<double>&, const std::uint32_t*, int);
template double plainSum<double>(const std::vector<double>&, const double*, int);
template class ExactRowSums<std::uint16_t>;
template class ExactRowSums<std::uint32_t>;
template class ExactRowSums<double>;

} // namespace engine
} // namespace olhs
