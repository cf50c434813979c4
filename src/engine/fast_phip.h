#ifndef OLHS_ENGINE_FAST_PHIP_H
#define OLHS_ENGINE_FAST_PHIP_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/levels.h"
#include "engine/power_table.h"
#include "engine/choice.h"
#include "engine/city_block_bounds.h"
#include "engine/exact_sum.h"
#include "engine/fast_phip_squared.h"
#include "engine/sampling.h"

namespace olhs {
namespace engine {

/// |d| for city-block distances, d^2 for squared Euclidean ones: a pair's share of one
/// variable in the integer measure the criterion keeps.
template <int Exponent>
inline std::int32_t lift(std::int32_t d) {
    static_assert(Exponent == 1 || Exponent == 2, "city-block or squared Euclidean");
    return Exponent == 1 ? (d < 0 ? -d : d) : d * d;
}

/// Largest measure two points of a Latin design of n points in m variables can have:
/// m (n - 1) city-block, m (n - 1)^2 squared Euclidean.
inline std::int64_t maxMeasure(int n, int m, int exponent) {
    const std::int64_t span = n > 0 ? n - 1 : 0;
    return static_cast<std::int64_t>(m) * (exponent == 1 ? span : span * span);
}

/// phi_p of a design held as whole-number levels, with every pair's measure kept as an
/// integer of type Dist: the city-block distance (Exponent 1; 16 bits where m (n - 1)
/// allows) or the squared Euclidean distance (Exponent 2). The table gives each measure's
/// term: d^-p, or s^(-p/2) for a squared distance s.
///
/// Every value it produces has the bits of the straightforward double computation: the
/// full sum in pair order, the incremental value of an exchange (new terms added to
/// phi_p^p, old ones taken away) and the re-sum after a move. The speed comes from integer
/// distances, tabulated terms, candidates judged side by side, and an exact re-sum.
template <class Dist, int Exponent = 1>
class FastPhip {
public:
    /// The criterion of the design, computed in full. With fixedRows > 0 the pairs of two
    /// of the first fixedRows points are left out of phi_p (their distances read as the
    /// table's zero slot): only exchanges among the other points may then be made, and
    /// those pairs, which none of them changes, may even coincide.
    FastPhip(Levels levels, std::shared_ptr<const PowerTable> table, int fixedRows = 0);

    /// Whether the distances of a design of n points in m variables, and the table's zero
    /// slot one past the largest, fit this type.
    static bool fits(int n, int m);

    int points() const { return levels_.points(); }
    int variables() const { return levels_.variables(); }
    const Levels& levels() const { return levels_; }
    /// Distance between points i and j (the zero slot between two fixed points).
    Dist distance(int i, int j) const { return d_[static_cast<std::size_t>(i) * points() + j]; }
    /// The current phi_p value.
    double phip() const { return phip_; }
    /// The same, by the name every criterion of a search has.
    double value() const { return phip_; }
    /// Replaces the value (a design may carry one that drifted from its distances).
    void setPhip(double value) { phip_ = value; }

    /// The value the incremental update would give for exchanging points a and b in
    /// column c, with nothing changed.
    double judge(int c, int a, int b) const;
    /// The best of the exchanges of the listed pairs (numbered from 1) in column c, the
    /// first among equals, as judging them one by one with a strict comparison gives. It
    /// may recount cached row sums: one object serves one thread at a time.
    Choice best(int c, const std::vector<Pair>& pairs) const;
    /// Exchanges the levels of points a and b in column c and updates the distances;
    /// phi_p keeps its value until resum().
    void exchange(int c, int a, int b);
    /// phi_p from the whole distance matrix, summed in pair order.
    void resum();

    /// For tests and benchmarks: which version bounds city-block candidates before the
    /// exact sums (null: every candidate summed exactly). best() chooses the same either way.
    void setCityBlockBounds(const detail::CityBlockRoughPath<Dist>& path);

private:
    void judgeFour(int c, const Pair* pairs, double* sums) const;
    Choice bestBounded(int c, const std::vector<Pair>& pairs, double powered) const;
    /// Bases (phi^p + added) - removed of the listed candidates, as judging them gives.
    void settle(int c, const std::vector<Pair>& pairs, const std::vector<int>& which, double powered,
                std::vector<double>& base) const;
    void exactSquared(int c, int a, int b, double& added, double& removed) const;
    double incremental(double added, double removed) const;
    /// Recounts row k's share of the sum and its error bound.
    void sumRow(int k) const;

    /// Row i of 32-bit distances (null for narrower ones).
    const std::uint32_t* row32(int i) const;

    Levels levels_;
    std::vector<Dist> d_;
    std::shared_ptr<const PowerTable> table_;
    ExactRowSums<Dist> sums_;
    double phip_ = 0.0;
    /// Squared distances with whole-power terms: the term of every pair, row after row, and
    /// the kernel that computes the terms of an exchange.
    std::vector<double> w_;
    std::vector<double> scratch_;
    ExactRowSums<double> termSums_;
    detail::ExchangedTerms exchangedTerms_ = nullptr;
    detail::ExchangeRoughSums roughSums_ = nullptr;

    /// City-block distances with whole-power terms d^-q: how candidates are bounded.
    detail::CityBlockRoughSums<Dist> cityBlockBounds_ = nullptr;
    /// How far the bounds' reciprocals may be from the quotients.
    double reciprocalError_ = 0.0;
    /// With those bounds, per point k the sum of the terms of its pairs, kept through
    /// exchanges, and a bound on that sum's distance from the exact one.
    mutable std::vector<double> rowTerms_;
    mutable std::vector<double> rowError_;
    /// q of the terms bestBounded() bounds: 0 where every candidate is summed exactly.
    int roughPower_ = 0;
};

extern template class FastPhip<std::uint16_t, 1>;
extern template class FastPhip<std::uint32_t, 1>;
extern template class FastPhip<std::uint32_t, 2>;

} // namespace engine
} // namespace olhs

#endif
