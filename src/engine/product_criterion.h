#ifndef OLHS_ENGINE_PRODUCT_CRITERION_H
#define OLHS_ENGINE_PRODUCT_CRITERION_H

#include <functional>
#include <vector>

#include "engine/choice.h"
#include "engine/levels.h"
#include "engine/product_kernel.h"
#include "engine/sampling.h"

namespace olhs {
namespace engine {

/// Criteria whose pair terms are products over the variables.
enum class ProductKind {
    /// MaxPro (Joseph, Gul and Ba 2015): n^2 (sum over pairs of 1 / prod_l (x_il - x_jl)^2
    /// / C(n, 2))^(1/m) for the levels placed at (k - 0.5) / n; it keeps points apart in
    /// every projection.
    MaxPro,
    /// The centred L2 discrepancy (Hickernell) of the levels placed at (k - 0.5) / n.
    Discrepancy
};

/// A product criterion of a design held as whole-number levels, judged exchange by
/// exchange in O(n): every pair's product is kept, and an exchange in one column changes
/// one factor of the pairs of its two points. A move scales those products by the traded
/// factor; the total is re-summed from them every n moves and every product recomputed
/// from the levels every n m moves, so the incremental value never drifts far from the
/// full computation.
class ProductCriterion {
public:
    /// With `wide` false, exchanges are judged by the portable loop on any processor (every
    /// path gives the same bits).
    ProductCriterion(Levels levels, ProductKind kind, bool wide = true);

    int points() const { return levels_.points(); }
    int variables() const { return levels_.variables(); }
    const Levels& levels() const { return levels_; }
    /// The criterion's current value (smaller is better).
    double value() const { return value_; }

    /// The value after exchanging points a and b in column c, with nothing changed.
    double judge(int c, int a, int b) const;
    /// The best of the exchanges of the listed pairs (numbered from 1) in column c, the
    /// first among equals.
    Choice best(int c, const std::vector<Pair>& pairs) const;
    /// Exchanges the levels of points a and b in column c.
    void exchange(int c, int a, int b);
    /// Re-sums the total from the kept products where n moves have passed since the last
    /// time, recomputing the products where n m have; a no-op otherwise.
    void resum();

    /// The criterion of a design computed from scratch, pair by pair, in O(n m) memory;
    /// `rowStarts`, if given, is told each point whose pairs with later ones come next.
    static double fullValue(const Levels& levels, ProductKind kind, const std::function<void(int)>& rowStarts = {});

private:
    struct TablesOnly {};
    /// The factors' tables, no kept products.
    ProductCriterion(Levels levels, ProductKind kind, bool wide, TablesOnly);
    /// The total from pair(i, j) and single(i), summed in row order.
    template <class Pairs, class Singles>
    long double totalOf(Pairs&& pair, Singles&& single) const;
    /// The criterion's value from its total (see total_).
    double valueOf(long double total) const;
    /// What exchanging a and b in column c adds to the total.
    double change(int c, int a, int b) const;
    /// One variable's factor of the pair of levels u and v.
    double factor(int u, int v) const;
    /// The product of pair (i, j) (i == j: the point's own term of the discrepancy).
    double product(int i, int j) const;
    /// The discrepancy's term of point i alone.
    double single(int i) const;
    /// Recomputes the kept products of point i.
    void refreshPoint(int i);
    void sumAll();

    Levels levels_;
    ProductKind kind_;
    int n_;
    /// Per level k: |(k - 0.5) / n - 0.5| (discrepancy) or, per whole difference d, 1 / d^2
    /// (MaxPro).
    std::vector<double> perLevel_;
    /// The discrepancy's factor of levels u and v is (ownPart_[u] + otherPart_[v]) -
    /// stepPart_[|u - v|].
    std::vector<double> ownPart_, otherPart_, stepPart_;
    std::vector<double> pairs_;  ///< n x n kept products (symmetric; the diagonal: own terms)
    std::vector<double> singles_; ///< the discrepancy's term of each point
    /// MaxPro: the sum of the products over the pairs. Discrepancy: its square less
    /// (13/12)^m, -2/n sum of the single terms + 1/n^2 sum over all ordered pairs. In
    /// extended precision, where the moves' changes, far smaller, are added exactly enough.
    long double total_ = 0.0L;
    long double cube_ = 1.0L; ///< (13/12)^m, the first term of the discrepancy's square
    double value_ = 0.0;
    int movesSinceSum_ = 0;
    int movesSinceRefresh_ = 0;
    detail::TradedKernels kernels_;
};

} // namespace engine
} // namespace olhs

#endif
