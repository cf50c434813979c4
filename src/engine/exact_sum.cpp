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
constexpr std::uint64_t kMantissa = (std::uint64_t{1} << 52) - 1;
constexpr std::uint64_t kHidden = std::uint64_t{1} << 52;
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

inline unsigned fieldOf(std::uint64_t s) { return std::max(static_cast<unsigned>(s >> 52), 1u); }

// Terms below this add no unit and cannot tie in binade f.
inline std::uint64_t negligibleBelow(unsigned f) { return f >= 54 ? std::uint64_t{f - 53} << 52 : 0; }

// The term (as bits) in units of binade f rounded to nearest, or kBad when the rounding of
// s + t would depend on s (a half-unit), the term alone would overfill the binade, or it is
// not a finite non-negative number (-0.0 included, to keep the rule simple).
inline std::uint64_t unitsOf(std::uint64_t t, unsigned f) {
    if (t >= kNotFinite) return kBad;
    std::uint64_t m = t & kMantissa;
    unsigned e = static_cast<unsigned>(t >> 52);
    if (e != 0) {
        m |= kHidden;
    } else {
        e = 1;
    }
    if (e >= f) {
        const unsigned up = e - f;
        if (m == 0) return 0;
        if (up >= 53 || (m >> (53 - up)) != 0) return kBad;
        return m << up;
    }
    const unsigned down = f - e;
    if (down >= 54) return 0;
    const std::uint64_t half = std::uint64_t{1} << (down - 1);
    const std::uint64_t rest = m & ((half << 1) - 1);
    if (rest == half) return kBad;
    return (m >> down) + (rest > half ? 1 : 0);
}

} // namespace

template <class Dist>
double plainSum(const std::vector<double>& table, const Dist* D, int n) {
    double sum = 0.0;
    for (int i = 0; i < n - 1; ++i) {
        const Dist* row = D + static_cast<std::size_t>(i) * n;
        for (int j = i + 1; j < n; ++j) {
            sum = table[row[j]] + sum;
        }
    }
    return sum;
}

template <class Dist>
ExactRowSums<Dist>::ExactRowSums(const std::vector<double>& table, int plainBelow)
    : table_(table.data()), plainBelow_(plainBelow), binades_(kSlots) {}

template <class Dist>
void ExactRowSums<Dist>::reset(const Dist*, int n) {
    n_ = n;
    rowBlock_.assign(static_cast<std::size_t>(std::max(n, 0)), 0);
    std::size_t blocks = 0;
    for (int i = 0; i < n; ++i) {
        rowBlock_[i] = blocks;
        blocks += static_cast<std::size_t>((n - 1 - i + kBlock - 1) >> kBlockShift);
    }
    blocks_ = blocks;
    for (Binade& b : binades_) b.field = 0;
}

template <class Dist>
std::size_t ExactRowSums<Dist>::blockOf(int i, int j) const {
    return rowBlock_[i] + static_cast<std::size_t>((j - i - 1) >> kBlockShift);
}

template <class Dist>
void ExactRowSums<Dist>::beginChange(const Dist* D, int n, int a, int b) {
    if (n != n_) {
        reset(D, n);
        return;
    }
    applyChange(D, a, b, false);
}

template <class Dist>
void ExactRowSums<Dist>::endChange(const Dist* D, int n, int a, int b) {
    if (n != n_) {
        reset(D, n);
        return;
    }
    applyChange(D, a, b, true);
}

template <class Dist>
void ExactRowSums<Dist>::applyChange(const Dist* D, int a, int b, bool add) {
    unsigned lowest = 0;
    for (const Binade& bin : binades_)
        if (bin.field != 0 && (lowest == 0 || bin.field < lowest)) lowest = bin.field;
    if (lowest == 0) return;
    // Most terms are far below every binade kept; only the others are worth a look.
    const std::uint64_t below = negligibleBelow(lowest);
    // Both rows fit, with room for the last pair written and not kept.
    changed_.resize(2 * static_cast<std::size_t>(n_));
    Changed* out = changed_.data();
    secondRun_ = 0;
    const int pivots[2] = {a, b};
    for (int p = 0; p < (a == b ? 1 : 2); ++p) {
        const int x = pivots[p];
        const int other = p == 1 ? a : x; // pair a-b is taken with a only
        if (p == 1) secondRun_ = static_cast<std::size_t>(out - changed_.data());
        // Read along row x: D is symmetric, and its columns are far apart in memory. Every
        // pair is written and the kept ones advance, which spares a branch no one predicts.
        const Dist* row = D + static_cast<std::size_t>(x) * n_;
        for (int k = 0; k < x; ++k) {
            out->bits = bitsOf(table_[row[k]]);
            out->block = blockOf(k, x);
            out += (out->bits >= below) & (k != other);
        }
        const std::size_t first = rowBlock_[x];
        for (int k = x + 1; k < n_; ++k) {
            out->bits = bitsOf(table_[row[k]]);
            out->block = first + static_cast<std::size_t>((k - x - 1) >> kBlockShift);
            out += (out->bits >= below) & (k != other);
        }
    }
    const std::size_t count = static_cast<std::size_t>(out - changed_.data());
    const auto byBlock = [](const Changed& c, std::size_t block) { return c.block < block; };
    for (Binade& bin : binades_) {
        if (bin.field == 0) continue;
        const std::uint64_t skip = negligibleBelow(bin.field);
        std::uint64_t* units = bin.units.data();
        const Changed* runs[3] = {changed_.data(), changed_.data() + secondRun_, changed_.data() + count};
        if (secondRun_ == 0) runs[1] = runs[2];
        for (int r = 0; r < 2; ++r) {
            const Changed* end = std::lower_bound(runs[r], runs[r + 1], bin.hi, byBlock);
            for (const Changed* c = std::lower_bound(runs[r], end, bin.lo, byBlock); c != end; ++c) {
                if (c->bits < skip || units[c->block] == kUnknown) continue;
                const std::uint64_t q = unitsOf(c->bits, bin.field);
                // The block's units are a sum of such terms, so neither step wraps around.
                units[c->block] = add ? units[c->block] + q : units[c->block] - q;
            }
        }
    }
}

template <class Dist>
std::uint64_t ExactRowSums<Dist>::blockUnits(const Dist* row, int j0, int j1, unsigned f) const {
    const std::uint64_t below = negligibleBelow(f);
    std::uint64_t q = 0; // at most kBlock * kBad: no overflow
    for (int j = j0; j < j1; ++j) {
        const std::uint64_t t = bitsOf(table_[row[j]]);
        if (t >= below) q += unitsOf(t, f);
    }
    return q;
}

template <class Dist>
std::uint64_t ExactRowSums<Dist>::addTerms(std::uint64_t s, const Dist* row, int j0, int j1) const {
    double sum = doubleOf(s);
    for (int j = j0; j < j1; ++j) {
        sum = table_[row[j]] + sum;
    }
    return bitsOf(sum);
}

template <class Dist>
typename ExactRowSums<Dist>::Binade* ExactRowSums<Dist>::find(unsigned f) {
    for (Binade& bin : binades_) {
        if (bin.field == f) {
            bin.lastSum = sums_;
            bin.lastTouch = ++clock_;
            return &bin;
        }
    }
    return nullptr;
}

template <class Dist>
typename ExactRowSums<Dist>::Binade* ExactRowSums<Dist>::adopt(unsigned f) {
    Binade* slot = &binades_[0];
    for (Binade& bin : binades_) {
        if (bin.field == 0) {
            slot = &bin;
            break;
        }
        if (bin.lastTouch < slot->lastTouch) slot = &bin;
    }
    slot->field = f;
    slot->lastSum = sums_;
    slot->lastTouch = ++clock_;
    slot->units.resize(blocks_);
    slot->lo = slot->hi = 0;
    return slot;
}

template <class Dist>
void ExactRowSums<Dist>::widen(Binade& bin, std::size_t block) {
    std::uint64_t* units = bin.units.data();
    if (bin.lo == bin.hi) {
        bin.lo = block;
        bin.hi = block + 1;
        units[block] = kUnknown;
    } else if (block < bin.lo) {
        std::fill(units + block, units + bin.lo, kUnknown);
        bin.lo = block;
    } else if (block >= bin.hi) {
        std::fill(units + bin.hi, units + block + 1, kUnknown);
        bin.hi = block + 1;
    }
}

template <class Dist>
double ExactRowSums<Dist>::sum(const Dist* D, int n) {
    if (n != n_) reset(D, n);
    std::uint64_t s = 0; // the bits of the running sum, from +0.0
    if (n < plainBelow_) {
        // No binade is ever kept, so changes cost nothing either.
        for (int i = 0; i < n - 1; ++i) s = addTerms(s, D + static_cast<std::size_t>(i) * n, i + 1, n);
        return doubleOf(s);
    }
    ++sums_;
    Binade* bin = nullptr;
    unsigned field = 0;
    int i = 0; // the row of the block; row n - 1 has none, so rowBlock_[n - 1] == blocks_
    for (std::size_t block = 0; block < blocks_;) {
        while (rowBlock_[i + 1] <= block) ++i;
        const Dist* row = D + static_cast<std::size_t>(i) * n;
        const int j0 = i + 1 + static_cast<int>((block - rowBlock_[i]) << kBlockShift);
        const int j1 = std::min(j0 + kBlock, n);
        if (s >= kNotFinite) {
            s = addTerms(s, row, j0, j1);
            ++block;
            continue;
        }
        const unsigned f = fieldOf(s);
        if (f != field) {
            bin = find(f);
            field = f;
        }
        if (bin == nullptr) {
            s = addTerms(s, row, j0, j1);
            ++block;
            // A binade the sum lingers in is worth keeping; one it passes through is not.
            if (s < kNotFinite && fieldOf(s) == f) bin = adopt(f);
            continue;
        }
        if (block - bin->lo >= bin->hi - bin->lo) widen(*bin, block);
        std::uint64_t* units = bin->units.data();
        if (units[block] == kUnknown) units[block] = blockUnits(row, j0, j1, f);
        // s + q must stay below the next binade, (f + 1) << 52 as bits; an unknown block
        // (kUnknown) never does, which ends the run.
        const std::uint64_t limit = (std::uint64_t{f} + 1) << 52;
        if (units[block] >= limit - s) {
            s = addTerms(s, row, j0, j1);
            ++block;
            continue;
        }
        for (const std::size_t end = bin->hi; block < end && units[block] < limit - s; ++block) s += units[block];
    }
    for (Binade& b : binades_)
        if (b.field != 0 && sums_ - b.lastSum >= kKeepSums) b.field = 0;
    return doubleOf(s);
}

template double plainSum<std::uint16_t>(const std::vector<double>&, const std::uint16_t*, int);
template double plainSum<std::uint32_t>(const std::vector<double>&, const std::uint32_t*, int);
template class ExactRowSums<std::uint16_t>;
template class ExactRowSums<std::uint32_t>;

} // namespace engine
} // namespace olhs
