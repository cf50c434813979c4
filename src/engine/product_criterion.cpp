#include "engine/product_criterion.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace olhs {
namespace engine {

ProductCriterion::ProductCriterion(Levels levels, ProductKind kind, bool wide)
    : ProductCriterion(std::move(levels), kind, wide, TablesOnly{}) {
    const std::size_t size = static_cast<std::size_t>(n_);
    pairs_.assign(size * size, 0.0);
    singles_.assign(size, 0.0);
    for (int i = 0; i < n_; ++i) {
        refreshPoint(i);
    }
    sumAll();
}

ProductCriterion::ProductCriterion(Levels levels, ProductKind kind, bool wide, TablesOnly)
    : levels_(std::move(levels)), kind_(kind), n_(levels_.points()), kernels_(detail::tradedKernels(wide)) {
    const std::size_t size = static_cast<std::size_t>(n_);
    perLevel_.assign(size + 1, 0.0);
    for (int k = 0; k <= n_; ++k) {
        perLevel_[static_cast<std::size_t>(k)] =
            kind_ == ProductKind::MaxPro ? 1.0 / (static_cast<double>(k) * k)
                                         : std::fabs((k - 0.5) / n_ - 0.5);
    }
    if (kind_ == ProductKind::Discrepancy) {
        ownPart_.resize(size + 1);
        otherPart_.resize(size + 1);
        stepPart_.resize(size + 1);
        for (std::size_t k = 0; k <= size; ++k) {
            ownPart_[k] = 1.0 + 0.5 * perLevel_[k];
            otherPart_[k] = 0.5 * perLevel_[k];
            stepPart_[k] = 0.5 * static_cast<double>(k) / n_;
        }
    }
    // (13/12)^m by products, not powl, whose last bits may differ between libraries.
    for (int c = 0; c < levels_.variables(); ++c) {
        cube_ *= 13.0L / 12.0L;
    }
}

double ProductCriterion::factor(int u, int v) const {
    if (kind_ == ProductKind::MaxPro) {
        return perLevel_[static_cast<std::size_t>(std::abs(u - v))];
    }
    // ((1 + z_u / 2) + z_v / 2) - |u - v| / (2 n), each part tabulated with the bits of
    // computing it.
    return (ownPart_[static_cast<std::size_t>(u)] + otherPart_[static_cast<std::size_t>(v)]) -
           stepPart_[static_cast<std::size_t>(std::abs(u - v))];
}

double ProductCriterion::product(int i, int j) const {
    double result = 1.0;
    for (int c = 0; c < variables(); ++c) {
        result *= factor(levels_(i, c), levels_(j, c));
    }
    return result;
}

namespace {
// A variable's factor in a point's single term of the discrepancy, z its |x - 1/2|.
double singleFactor(double z) { return 1.0 + 0.5 * z - 0.5 * z * z; }
} // namespace

double ProductCriterion::single(int i) const {
    double result = 1.0;
    for (int c = 0; c < variables(); ++c) {
        result *= singleFactor(perLevel_[static_cast<std::size_t>(levels_(i, c))]);
    }
    return result;
}

void ProductCriterion::refreshPoint(int i) {
    const std::size_t size = static_cast<std::size_t>(n_);
    double* row = pairs_.data() + static_cast<std::size_t>(i) * size;
    std::fill(row, row + size, 1.0);
    // Column after column, each product in the order product() multiplies it.
    for (int c = 0; c < variables(); ++c) {
        const std::int32_t* x = levels_.column(c);
        const int xi = x[i];
        for (int k = 0; k < n_; ++k) {
            row[k] *= factor(xi, x[k]);
        }
    }
    // A point's product with itself is the discrepancy's own term; MaxPro has none.
    if (kind_ == ProductKind::MaxPro) {
        row[i] = 0.0;
    }
    for (int k = 0; k < n_; ++k) {
        pairs_[static_cast<std::size_t>(k) * size + static_cast<std::size_t>(i)] = row[k];
    }
    if (kind_ == ProductKind::Discrepancy) {
        singles_[static_cast<std::size_t>(i)] = single(i);
    }
}

void ProductCriterion::sumAll() {
    const std::size_t size = static_cast<std::size_t>(n_);
    total_ = totalOf([&](std::size_t i, std::size_t j) { return pairs_[i * size + j]; },
                     [&](std::size_t i) { return singles_[i]; });
    value_ = valueOf(total_);
    movesSinceSum_ = 0;
}

template <class Pairs, class Singles>
long double ProductCriterion::totalOf(Pairs&& pair, Singles&& single) const {
    const std::size_t size = static_cast<std::size_t>(n_);
    // The discrepancy's square is a small difference of sums near (13/12)^m (at 50 x 5,
    // 0.003 from 1.5), so the sums are kept in x87 extended precision: the same bits on
    // every x86-64, with 11 bits more than a double against the digits that cancel.
    long double offDiagonal = 0.0L;
    long double diagonal = 0.0L;
    long double singles = 0.0L;
    const bool discrepancy = kind_ == ProductKind::Discrepancy;
    for (std::size_t i = 0; i < size; ++i) {
        for (std::size_t j = i + 1; j < size; ++j) {
            offDiagonal += pair(i, j);
        }
        if (discrepancy) {
            diagonal += pair(i, i);
            singles += single(i);
        }
    }
    const long double squares = static_cast<long double>(n_) * n_;
    return discrepancy ? (diagonal + 2.0L * offDiagonal) / squares - 2.0L / n_ * singles : offDiagonal;
}

double ProductCriterion::valueOf(long double total) const {
    if (kind_ == ProductKind::MaxPro) {
        const double pairs = 0.5 * n_ * (n_ - 1.0);
        return static_cast<double>(n_) * n_ * std::pow(static_cast<double>(total) / pairs, 1.0 / variables());
    }
    return std::sqrt(static_cast<double>(std::max(0.0L, cube_ + total)));
}

double ProductCriterion::change(int c, int a, int b) const {
    const std::size_t size = static_cast<std::size_t>(n_);
    const std::int32_t* x = levels_.column(c);
    const int xa = x[a];
    const int xb = x[b];
    const double* rowA = pairs_.data() + static_cast<std::size_t>(a) * size;
    const double* rowB = pairs_.data() + static_cast<std::size_t>(b) * size;
    const detail::TradedFactors exchanged{x, rowA, rowB, perLevel_.data(), n_, a, b, xa, xb};
    const double pairs = kind_ == ProductKind::MaxPro ? kernels_.maxPro(exchanged) : kernels_.discrepancy(exchanged);
    if (kind_ == ProductKind::MaxPro) {
        return pairs;
    }
    // The points' own terms and single terms trade the factors of xa and xb likewise.
    const auto traded = [](double termA, double termB, double fa, double fb) {
        return (fb - fa) * (termA * fb - termB * fa) / (fa * fb);
    };
    const double za = perLevel_[static_cast<std::size_t>(xa)];
    const double zb = perLevel_[static_cast<std::size_t>(xb)];
    const double own = traded(rowA[a], rowB[b], 1.0 + za, 1.0 + zb);
    const double singles = traded(singles_[static_cast<std::size_t>(a)], singles_[static_cast<std::size_t>(b)],
                                  singleFactor(za), singleFactor(zb));
    return (own + 2.0 * pairs) / (static_cast<double>(n_) * n_) - 2.0 / n_ * singles;
}

double ProductCriterion::judge(int c, int a, int b) const {
    return valueOf(total_ + static_cast<long double>(change(c, a, b)));
}

Choice ProductCriterion::best(int c, const std::vector<Pair>& pairs) const {
    Choice chosen{-1, 0.0};
    for (int t = 0; t < static_cast<int>(pairs.size()); ++t) {
        const double value = judge(c, pairs[static_cast<std::size_t>(t)].a - 1, pairs[static_cast<std::size_t>(t)].b - 1);
        if (chosen.index < 0 || value < chosen.value) {
            chosen = {t, value};
        }
    }
    return chosen;
}

void ProductCriterion::exchange(int c, int a, int b) {
    total_ += static_cast<long double>(change(c, a, b));
    // The products of a and b trade one factor: scaled in O(n), not recomputed in O(n m),
    // which each move would pay while judging costs only O(n) per candidate.
    const std::size_t size = static_cast<std::size_t>(n_);
    const std::int32_t* x = levels_.column(c);
    const int xa = x[a];
    const int xb = x[b];
    double* rowA = pairs_.data() + static_cast<std::size_t>(a) * size;
    double* rowB = pairs_.data() + static_cast<std::size_t>(b) * size;
    for (int k = 0; k < n_; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const double ratio = factor(xb, x[k]) / factor(xa, x[k]);
        rowA[k] *= ratio;
        rowB[k] /= ratio;
        pairs_[static_cast<std::size_t>(k) * size + static_cast<std::size_t>(a)] = rowA[k];
        pairs_[static_cast<std::size_t>(k) * size + static_cast<std::size_t>(b)] = rowB[k];
    }
    levels_.exchange(c, a, b);
    if (kind_ == ProductKind::Discrepancy) {
        rowA[a] = product(a, a);
        rowB[b] = product(b, b);
        singles_[static_cast<std::size_t>(a)] = single(a);
        singles_[static_cast<std::size_t>(b)] = single(b);
    }
    value_ = valueOf(total_);
    ++movesSinceSum_;
    ++movesSinceRefresh_;
}

void ProductCriterion::resum() {
    // Scaling leaves a product a few units off after each move of its points: every n m
    // moves (about 2m per product) they are recomputed, which costs O(n) a move.
    if (movesSinceRefresh_ >= n_ * variables()) {
        for (int i = 0; i < n_; ++i) {
            refreshPoint(i);
        }
        movesSinceRefresh_ = 0;
        sumAll();
    } else if (movesSinceSum_ >= n_) {
        sumAll();
    }
}

double ProductCriterion::fullValue(const Levels& levels, ProductKind kind, const std::function<void(int)>& rowStarts) {
    // Every product made afresh and summed as a kept search sums them, in O(n m) memory.
    const ProductCriterion tables(levels, kind, false, TablesOnly{});
    return tables.valueOf(tables.totalOf(
        [&](std::size_t i, std::size_t j) {
            if (j == i + 1 && rowStarts) rowStarts(static_cast<int>(i)); // a row's first pair
            return tables.product(static_cast<int>(i), static_cast<int>(j));
        },
        [&](std::size_t i) { return tables.single(static_cast<int>(i)); }));
}

} // namespace engine
} // namespace olhs
