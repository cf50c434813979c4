#include "engine/fast_phip.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <utility>

namespace olhs {
namespace engine {

bool isLatin(const Levels& levels) {
    return !findLatinFault(levels.points(), levels.variables(), [&](int i, int c) { return levels(i, c); }).found();
}

namespace {
// Below this many points the plain sum of a few thousand terms costs less than keeping the
// exact one up to date (measured with engine_bench and time_search).
constexpr int plainSumBelow = 64;
} // namespace

template <class Dist, int Exponent>
bool FastPhip<Dist, Exponent>::fits(int n, int m) {
    return maxMeasure(n, m, Exponent) < static_cast<std::int64_t>(std::numeric_limits<Dist>::max());
}

template <class Dist, int Exponent>
FastPhip<Dist, Exponent>::FastPhip(Levels levels, std::shared_ptr<const PowerTable> table, int fixedRows)
    : levels_(std::move(levels)),
      table_(std::move(table)),
      sums_(table_->values(), plainSumBelow),
      termSums_(table_->values(), plainSumBelow) {
    const int n = levels_.points();
    const std::size_t size = static_cast<std::size_t>(n);
    d_.assign(size * size, 0);
    for (int c = 0; c < levels_.variables(); ++c) {
        const std::int32_t* x = levels_.column(c);
        for (int i = 0; i < n; ++i) {
            Dist* row = d_.data() + i * size;
            const std::int32_t xi = x[i];
            for (int j = i + 1; j < n; ++j) {
                row[j] = static_cast<Dist>(row[j] + lift<Exponent>(xi - x[j]));
            }
        }
    }
    // Adding the zero slot's 0.0 leaves every sum as it was without the pair, so fixed
    // pairs cost nothing in the sums and no exchange among the free points touches them.
    const Dist zero = static_cast<Dist>(table_->zeroSlot());
    for (int i = 0; i < fixedRows && i < n; ++i) {
        for (int j = i + 1; j < fixedRows && j < n; ++j) {
            d_[i * size + j] = zero;
        }
    }
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            d_[j * size + i] = d_[i * size + j];
        }
    }
    if constexpr (Exponent == 2 && std::is_same<Dist, std::uint32_t>::value) {
        if (table_->wholePower() > 0) {
            w_.resize(size * size);
            for (std::size_t i = 0; i < size * size; ++i) {
                w_[i] = (*table_)[d_[i]];
            }
            exchangedTerms_ = detail::exchangedTerms();
            roughSums_ = detail::exchangeRoughSums();
            roughPower_ = table_->wholePower();
        }
    }
    if constexpr (Exponent == 1) {
        setCityBlockBounds(detail::cityBlockRoughSums<Dist>());
    }
    if (w_.empty()) {
        sums_.reset(d_.data(), n);
    } else {
        termSums_.reset(w_.data(), n);
    }
    resum();
}

template <class Dist, int Exponent>
const std::uint32_t* FastPhip<Dist, Exponent>::row32(int i) const {
    if constexpr (std::is_same<Dist, std::uint32_t>::value) {
        return d_.data() + static_cast<std::size_t>(i) * points();
    } else {
        (void)i;
        return nullptr;
    }
}

template <class Dist, int Exponent>
double FastPhip<Dist, Exponent>::incremental(double added, double removed) const {
    const double p = table_->p();
    return std::pow((std::pow(phip_, p) + added) - removed, 1.0 / p);
}

template <class Dist, int Exponent>
double FastPhip<Dist, Exponent>::judge(int c, int a, int b) const {
    const int n = points();
    const std::int32_t* x = levels_.column(c);
    const Dist* rowA = d_.data() + static_cast<std::size_t>(a) * n;
    const Dist* rowB = d_.data() + static_cast<std::size_t>(b) * n;
    const PowerTable& terms = *table_;
    double added = 0.0;
    double removed = 0.0;
    for (int k = 0; k < n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const std::int64_t delta = lift<Exponent>(x[b] - x[k]) - lift<Exponent>(x[a] - x[k]);
        added = (added + terms[static_cast<std::size_t>(rowA[k] + delta)]) + terms[static_cast<std::size_t>(rowB[k] - delta)];
        removed = (removed + terms[rowA[k]]) + terms[rowB[k]];
    }
    return incremental(added, removed);
}

// Four candidates side by side: each keeps its own two chains of adds in its own order, so
// its bits are those of judging it alone, while the four chains overlap in the pipeline.
// The points of the candidates split the loop into runs where no candidate skips a point;
// at a candidate's own two points its terms come from the table's zero slot, and adding
// 0.0 changes nothing.
template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::judgeFour(int c, const Pair* pairs, double* sums) const {
    constexpr int lanes = 4;
    const int n = points();
    const std::int32_t* x = levels_.column(c);
    const double* terms = table_->data();
    const std::size_t zero = table_->zeroSlot();
    int a[lanes], b[lanes], own[2 * lanes];
    std::int32_t xa[lanes], xb[lanes];
    const Dist* rowA[lanes];
    const Dist* rowB[lanes];
    double added[lanes], removed[lanes];
    for (int l = 0; l < lanes; ++l) {
        a[l] = pairs[l].a - 1;
        b[l] = pairs[l].b - 1;
        own[2 * l] = a[l];
        own[2 * l + 1] = b[l];
        xa[l] = x[a[l]];
        xb[l] = x[b[l]];
        rowA[l] = d_.data() + static_cast<std::size_t>(a[l]) * n;
        rowB[l] = d_.data() + static_cast<std::size_t>(b[l]) * n;
        added[l] = 0.0;
        removed[l] = 0.0;
    }
    std::sort(own, own + 2 * lanes);

    auto step = [&](int k, bool masked) {
        const std::int32_t xk = x[k];
        for (int l = 0; l < lanes; ++l) {
            const std::size_t oldA = rowA[l][k];
            const std::size_t oldB = rowB[l][k];
            const std::ptrdiff_t delta = lift<Exponent>(xb[l] - xk) - lift<Exponent>(xa[l] - xk);
            std::size_t newA = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(oldA) + delta);
            std::size_t newB = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(oldB) - delta);
            std::size_t goneA = oldA;
            std::size_t goneB = oldB;
            if (masked && (k == a[l] || k == b[l])) {
                newA = newB = goneA = goneB = zero;
            }
            added[l] = (added[l] + terms[newA]) + terms[newB];
            removed[l] = (removed[l] + terms[goneA]) + terms[goneB];
        }
    };
    int k = 0;
    for (int s = 0; s < 2 * lanes; ++s) {
        if (own[s] < k) {
            continue; // the same point twice
        }
        for (; k < own[s]; ++k) {
            step(k, false);
        }
        step(k, true);
        ++k;
    }
    for (; k < n; ++k) {
        step(k, false);
    }
    for (int l = 0; l < lanes; ++l) {
        sums[2 * l] = added[l];
        sums[2 * l + 1] = removed[l];
    }
}

// The sums of one exchange as judge() adds them, for squared distances with whole-power
// terms: the old terms from the matrix of terms, the new ones computed a block at a time.
template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::exactSquared(int c, int a, int b, double& added, double& removed) const {
    if constexpr (Exponent == 2 && std::is_same<Dist, std::uint32_t>::value) {
        constexpr int block = 128;
        const int n = points();
        const std::size_t size = static_cast<std::size_t>(n);
        const std::int32_t* x = levels_.column(c);
        const Dist* rowA = d_.data() + static_cast<std::size_t>(a) * size;
        const Dist* rowB = d_.data() + static_cast<std::size_t>(b) * size;
        const double* oldA = w_.data() + static_cast<std::size_t>(a) * size;
        const double* oldB = w_.data() + static_cast<std::size_t>(b) * size;
        alignas(32) double newA[block];
        alignas(32) double newB[block];
        added = 0.0;
        removed = 0.0;
        for (int k0 = 0; k0 < n; k0 += block) {
            const int k1 = std::min(n, k0 + block);
            exchangedTerms_(*table_, rowA + k0, rowB + k0, x + k0, k1 - k0, x[a], x[b], newA, newB);
            for (int k = k0; k < k1; ++k) {
                if (k == a || k == b) {
                    continue;
                }
                added = (added + newA[k - k0]) + newB[k - k0];
                removed = (removed + oldA[k]) + oldB[k];
            }
        }
    } else {
        (void)c, (void)a, (void)b, (void)added, (void)removed;
    }
}

template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::setCityBlockBounds(const detail::CityBlockRoughPath<Dist>& path) {
    // Terms d^-q for a whole q in [2, 64]: a float of (d / sigma)^q then spans the range
    // that matters, and the bound's error stays far below the choice window.
    if constexpr (Exponent == 1) {
        const double p = table_->p();
        const bool wholePower = p >= 2.0 && p <= 64.0 && p == std::floor(p);
        cityBlockBounds_ = wholePower ? path.sums : nullptr;
        reciprocalError_ = path.reciprocalError;
        roughPower_ = cityBlockBounds_ ? static_cast<int>(p) : 0;
        const int n = points();
        rowTerms_.assign(cityBlockBounds_ ? static_cast<std::size_t>(n) : 0, 0.0);
        rowError_.assign(rowTerms_.size(), 0.0);
        for (std::size_t k = 0; k < rowTerms_.size(); ++k) {
            sumRow(static_cast<int>(k));
        }
    } else {
        (void)path;
    }
}

namespace {
constexpr double unit = 0x1.0p-53;
// A kept row sum is recounted once its error bound passes this share of it.
constexpr double rowDrift = 0x1.0p-40;
} // namespace

template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::sumRow(int k) const {
    const int n = points();
    const Dist* row = d_.data() + static_cast<std::size_t>(k) * n;
    const PowerTable& terms = *table_;
    double sum = 0.0;
    for (int j = 0; j < n; ++j) {
        sum += j == k ? 0.0 : terms[row[j]];
    }
    rowTerms_[static_cast<std::size_t>(k)] = sum;
    rowError_[static_cast<std::size_t>(k)] = 2.0 * n * unit * sum;
}

template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::settle(int c, const std::vector<Pair>& pairs, const std::vector<int>& which,
                                      double powered, std::vector<double>& base) const {
    if constexpr (Exponent == 2) {
        for (const int t : which) {
            double added = 0.0, removed = 0.0;
            exactSquared(c, pairs[static_cast<std::size_t>(t)].a - 1, pairs[static_cast<std::size_t>(t)].b - 1, added,
                         removed);
            base[static_cast<std::size_t>(t)] = (powered + added) - removed;
        }
    } else {
        // Four at a time, as best() judges them without bounds.
        double sums[8];
        const std::size_t count = which.size();
        for (std::size_t s = 0; s < count; s += 4) {
            Pair group[4];
            for (std::size_t l = 0; l < 4; ++l) {
                group[l] = pairs[static_cast<std::size_t>(which[s + l < count ? s + l : s])];
            }
            judgeFour(c, group, sums);
            for (std::size_t l = 0; l < 4 && s + l < count; ++l) {
                base[static_cast<std::size_t>(which[s + l])] = (powered + sums[2 * l]) - sums[2 * l + 1];
            }
        }
    }
}

// best() where every term is a whole power q of a reciprocal distance. Rough sums, in float
// terms and any order, bound every candidate's (phi^p + added) - removed; only the
// candidates whose bounds reach the window best() takes roots in are summed exactly,
// usually one or two.
template <class Dist, int Exponent>
Choice FastPhip<Dist, Exponent>::bestBounded(int c, const std::vector<Pair>& pairs, double powered) const {
    const int count = static_cast<int>(pairs.size());
    const int n = points();
    const std::size_t size = static_cast<std::size_t>(n);
    const double inverse = 1.0 / table_->p();
    const int q = roughPower_;
    // Terms are scaled by a power of two sigma^q near the largest the sum allows, so that
    // the float terms neither overflow nor lose their precision where they count.
    int sigmaExponent = 0;
    std::frexp(std::pow(powered, -1.0 / q), &sigmaExponent);
    --sigmaExponent;
    const std::int32_t* x = levels_.column(c);
    std::vector<double> low(static_cast<std::size_t>(count)), high(static_cast<std::size_t>(count));
    std::vector<double> base(static_cast<std::size_t>(count));
    std::vector<char> known(static_cast<std::size_t>(count), 0);
    const bool scalable = powered > 0.0 && std::isfinite(powered) && sigmaExponent > -120 && sigmaExponent < 120 &&
                          static_cast<long>(q) * sigmaExponent > -1000 && static_cast<long>(q) * sigmaExponent < 1000;
    const double scale = std::ldexp(1.0, -q * sigmaExponent);
    const float inverseSigma = std::ldexp(1.0f, -sigmaExponent);
    // Added in any order, N non-negative doubles are within gamma of their sum; the table's
    // terms within an ulp of d^-q; each float term within roughSumsError, or, away from
    // normal floats, within two of the smallest normal float of its true value.
    const double gamma = 2.0 * n * 0x1.0p-53 / (1.0 - 2.0 * n * 0x1.0p-53);
    const double termError = Exponent == 2 ? detail::roughSumsError(q) : detail::cityBlockRoughError(q, reciprocalError_);
    const double spreadRough = termError + 3.0 * gamma + 0x1.0p-50;
    const double spreadExact = 3.0 * gamma + 0x1.0p-50;
    const double slack = 8.0 * n * static_cast<double>(std::numeric_limits<float>::min());
    const double tiny = std::numeric_limits<double>::min();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    auto roughHigh = [&](double scaled) { return (scaled * (1.0 + spreadRough) + slack) * scale + tiny; };
    auto roughLow = [&](double scaled) {
        return std::max(0.0, (scaled * (1.0 - spreadRough) - slack) * scale - tiny);
    };
    double bestHigh = infinity; // the smallest bound above a base known non-negative
    for (int t = 0; t < count; ++t) {
        const int a = pairs[static_cast<std::size_t>(t)].a - 1;
        const int b = pairs[static_cast<std::size_t>(t)].b - 1;
        low[t] = -infinity;
        high[t] = infinity;
        if (!scalable) {
            continue;
        }
        double addedLow, addedHigh, removedLow, removedHigh;
        if constexpr (Exponent == 2) {
            const detail::RoughSums sums =
                roughSums_(row32(a), row32(b), w_.data() + a * size, w_.data() + b * size, x, n, a, b, x[a], x[b],
                           inverseSigma, q);
            if (!(sums.scaledAdded < 0x1.0p100) || !(sums.removed < infinity)) {
                continue;
            }
            addedLow = roughLow(sums.scaledAdded);
            addedHigh = roughHigh(sums.scaledAdded);
            removedHigh = sums.removed * (1.0 + spreadExact) + tiny;
            removedLow = std::max(0.0, sums.removed * (1.0 - spreadExact) - tiny);
        } else {
            // A row's bound grows with every change; one that has drifted too far is
            // recounted when a candidate needs it, not at every change (a search's early
            // moves shift most rows' largest terms).
            for (const int row : {a, b}) {
                if (!(rowError_[static_cast<std::size_t>(row)] <= rowDrift * rowTerms_[static_cast<std::size_t>(row)])) {
                    sumRow(row);
                }
            }
            // What leaves is both rows' kept sums but for the pair itself, which stays.
            const double rowA = rowTerms_[static_cast<std::size_t>(a)];
            const double rowB = rowTerms_[static_cast<std::size_t>(b)];
            const double own = (*table_)[d_[a * size + b]];
            const double removed = (rowA + rowB) - 2.0 * own;
            const double error = rowError_[static_cast<std::size_t>(a)] + rowError_[static_cast<std::size_t>(b)] +
                                 4.0 * unit * (rowA + rowB + 2.0 * own);
            if (!(removed < infinity) || !(error < infinity)) {
                continue;
            }
            removedHigh = (removed + error) * (1.0 + spreadExact) + tiny;
            // A candidate whose added terms alone lift its base clear above a base already
            // bounded cannot be chosen, nor come near the choice: its sum stops early.
            double giveUp = infinity;
            if (bestHigh < infinity) {
                const double clear = bestHigh + bestHigh * 0x1.0p-30 +
                                     0x1.0p-48 * (powered + removedHigh + bestHigh) - powered + removedHigh;
                giveUp = (((clear + tiny) / scale + slack) / (1.0 - spreadRough)) * (1.0 + 0x1.0p-20);
            }
            const detail::RoughAdded sums = cityBlockBounds_(d_.data() + a * size, d_.data() + b * size, x, n, a, b,
                                                             x[a], x[b], inverseSigma, q, giveUp);
            const double scaledAdded = sums.scaled;
            if (!sums.whole) {
                low[t] = infinity;
                continue;
            }
            if (!(scaledAdded >= 0.0 && scaledAdded < 0x1.0p100)) {
                continue;
            }
            addedLow = roughLow(scaledAdded);
            addedHigh = roughHigh(scaledAdded);
            removedLow = std::max(0.0, (removed - error) * (1.0 - spreadExact) - tiny);
        }
        // Rounding is monotone: the exact base lies between these.
        const double lo = (powered + addedLow) - removedHigh;
        const double hi = (powered + addedHigh) - removedLow;
        if (lo == lo && hi == hi) {
            low[t] = lo;
            high[t] = hi;
            if (lo >= 0.0) {
                bestHigh = std::min(bestHigh, hi);
            }
        }
    }
    std::vector<int> which;
    auto settleWhich = [&] {
        settle(c, pairs, which, powered, base);
        for (const int t : which) {
            low[t] = high[t] = base[t];
            known[t] = 1;
        }
        which.clear();
    };

    // best()'s rule on the candidates that can matter: a base that is not certainly
    // non-negative, the smallest non-negative one, and every one that may lie within the
    // window above it.
    if (!(low[0] >= 0.0)) {
        which.push_back(0);
        settleWhich();
        if (!(base[0] >= 0.0)) {
            return {0, std::pow(base[0], inverse)};
        }
    }
    double bound = infinity; // at least the smallest non-negative base
    for (int t = 0; t < count; ++t) {
        if (low[t] >= 0.0) {
            bound = std::min(bound, high[t]);
        }
    }
    // pow's roots of bases further apart than this are ordered as the bases, with room to
    // spare for p up to 128: a wider window would only settle more candidates.
    const double reach = bound + bound * 0x1.0p-40;
    for (int t = 0; t < count; ++t) {
        if (!known[t] && high[t] >= 0.0 && low[t] <= reach) {
            which.push_back(t);
        }
    }
    settleWhich();
    double smallest = infinity;
    for (int t = 0; t < count; ++t) {
        if (known[t] && base[t] >= 0.0 && base[t] <= reach && base[t] < smallest) {
            smallest = base[t];
        }
    }
    const double near = smallest + smallest * 0x1.0p-20;
    Choice chosen{-1, 0.0};
    for (int t = 0; t < count; ++t) {
        if (known[t] && base[t] >= 0.0 && base[t] <= near) {
            const double value = std::pow(base[t], inverse);
            if (chosen.index < 0 || value < chosen.value) {
                chosen = {t, value};
            }
        }
    }
    return chosen;
}

template <class Dist, int Exponent>
Choice FastPhip<Dist, Exponent>::best(int c, const std::vector<Pair>& pairs) const {
    const int count = static_cast<int>(pairs.size());
    const double p = table_->p();
    const double inverse = 1.0 / p;
    const double powered = std::pow(phip_, p);
    if (roughPower_ > 0 && count > 0 && p > 1.0 && std::isfinite(p)) {
        return bestBounded(c, pairs, powered);
    }
    // (phi^p + added) - removed for each candidate; the value is its (1/p)-th power.
    std::vector<double> base(static_cast<std::size_t>(count));
    double sums[8];
    for (int t = 0; t < count; t += 4) {
        Pair group[4];
        for (int l = 0; l < 4; ++l) {
            group[l] = pairs[static_cast<std::size_t>(t + l < count ? t + l : t)];
        }
        judgeFour(c, group, sums);
        for (int l = 0; l < 4 && t + l < count; ++l) {
            base[static_cast<std::size_t>(t + l)] = (powered + sums[2 * l]) - sums[2 * l + 1];
        }
    }

    // Judged one by one, the first candidate stays chosen if its value is NaN (nothing
    // compares below NaN); otherwise the first of the smallest values wins. With p > 1 the
    // root is NaN exactly for negative or NaN bases, and pow is monotone to within an ulp,
    // so only bases within a hair of the smallest need their root taken to settle ties.
    const bool rootIsMonotone = p > 1.0 && std::isfinite(p);
    if (!rootIsMonotone) {
        Choice chosen{0, std::pow(base[0], inverse)};
        for (int t = 1; t < count; ++t) {
            const double value = std::pow(base[static_cast<std::size_t>(t)], inverse);
            if (value < chosen.value) {
                chosen = {t, value};
            }
        }
        return chosen;
    }
    if (!(base[0] >= 0.0)) {
        return {0, std::pow(base[0], inverse)};
    }
    double smallest = base[0];
    for (int t = 1; t < count; ++t) {
        const double b = base[static_cast<std::size_t>(t)];
        if (b >= 0.0 && b < smallest) {
            smallest = b;
        }
    }
    const double near = smallest + smallest * 0x1.0p-20;
    Choice chosen{-1, 0.0};
    for (int t = 0; t < count; ++t) {
        const double b = base[static_cast<std::size_t>(t)];
        if (b >= 0.0 && b <= near) {
            const double value = std::pow(b, inverse);
            if (chosen.index < 0 || value < chosen.value) {
                chosen = {t, value};
            }
        }
    }
    return chosen;
}

template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::exchange(int c, int a, int b) {
    const int n = points();
    const std::size_t size = static_cast<std::size_t>(n);
    const std::int32_t* x = levels_.column(c);
    const std::int32_t xa = x[a];
    const std::int32_t xb = x[b];
    Dist* rowA = d_.data() + a * size;
    Dist* rowB = d_.data() + b * size;
    const bool terms = !w_.empty();
    if (terms) {
        // The new terms of both rows, before the distances and levels move.
        scratch_.resize(2 * size);
        exchangedTerms_(*table_, row32(a), row32(b), x, n, xa, xb, scratch_.data(), scratch_.data() + size);
        termSums_.beginChange(w_.data(), n, a, b);
    } else {
        sums_.beginChange(d_.data(), n, a, b);
    }
    const bool keptRows = !rowTerms_.empty();
    const PowerTable& table = *table_;
    for (int k = 0; k < n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const std::int32_t delta = lift<Exponent>(xb - x[k]) - lift<Exponent>(xa - x[k]);
        const Dist oldA = rowA[k];
        const Dist oldB = rowB[k];
        rowA[k] = static_cast<Dist>(oldA + delta);
        rowB[k] = static_cast<Dist>(oldB - delta);
        d_[k * size + a] = rowA[k];
        d_[k * size + b] = rowB[k];
        if (keptRows) {
            // Two pairs of row k change; each rounding errs by at most a unit of its result.
            const double newTerms = table[rowA[k]] + table[rowB[k]];
            const double oldTerms = table[oldA] + table[oldB];
            double& sum = rowTerms_[static_cast<std::size_t>(k)];
            double& error = rowError_[static_cast<std::size_t>(k)];
            sum += newTerms - oldTerms;
            error += 4.0 * unit * (newTerms + oldTerms + sum);
        }
    }
    if (keptRows) {
        sumRow(a);
        sumRow(b);
    }
    if (terms) {
        double* termsA = w_.data() + a * size;
        double* termsB = w_.data() + b * size;
        for (int k = 0; k < n; ++k) {
            if (k == a || k == b) {
                continue;
            }
            termsA[k] = w_[k * size + a] = scratch_[k];
            termsB[k] = w_[k * size + b] = scratch_[size + k];
        }
        termSums_.endChange(w_.data(), n, a, b);
    } else {
        sums_.endChange(d_.data(), n, a, b);
    }
    levels_.exchange(c, a, b);
}

template <class Dist, int Exponent>
void FastPhip<Dist, Exponent>::resum() {
    const double sum = w_.empty() ? sums_.sum(d_.data(), points()) : termSums_.sum(w_.data(), points());
    phip_ = std::pow(sum, 1.0 / table_->p());
}

template class FastPhip<std::uint16_t, 1>;
template class FastPhip<std::uint32_t, 1>;
template class FastPhip<std::uint32_t, 2>;

} // namespace engine
} // namespace olhs
