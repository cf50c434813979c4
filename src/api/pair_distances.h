// Distances between the points of a design of integer levels, one point against all later
// ones at a time, in the order phi_p adds its terms.
#ifndef OLHS_SRC_API_PAIR_DISTANCES_H
#define OLHS_SRC_API_PAIR_DISTANCES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace olhs {
namespace api {

/// The distances of point i to every later point, city-block and squared, into city[j] and
/// squared[j] for j > i; `byColumn` holds the levels column after column. A variable at a
/// time over contiguous columns, so the loops vectorise.
void rowDistances(const std::vector<std::int64_t>& byColumn, std::size_t rows, std::size_t columns, std::size_t i,
                  std::int64_t* city, std::int64_t* squared);

/// The levels (n x m, row after row) column after column, as rowDistances() reads them.
inline std::vector<std::int64_t> levelsByColumn(const std::vector<int>& levels, int n, int m) {
    const std::size_t rows = static_cast<std::size_t>(n), columns = static_cast<std::size_t>(m);
    std::vector<std::int64_t> byColumn(rows * columns);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t c = 0; c < columns; ++c) byColumn[c * rows + i] = levels[i * columns + c];
    return byColumn;
}

/// Calls visit(i, j, cityBlock, squaredEuclidean) for every pair i < j of the n points of
/// `levels` (n x m, row after row), i ascending, then j ascending; O(n m) memory.
template <class Visit>
void forEachPair(const std::vector<int>& levels, int n, int m, Visit&& visit,
                 const std::function<void(std::size_t)>& rowStarts = {}) {
    const std::size_t rows = static_cast<std::size_t>(n);
    const std::vector<std::int64_t> byColumn = levelsByColumn(levels, n, m);
    std::vector<std::int64_t> cityBlock(rows), squared(rows);
    for (std::size_t i = 0; i + 1 < rows; ++i) {
        if (rowStarts) rowStarts(i);
        rowDistances(byColumn, rows, static_cast<std::size_t>(m), i, cityBlock.data(), squared.data());
        for (std::size_t j = i + 1; j < rows; ++j) visit(i, j, cityBlock[j], squared[j]);
    }
}

/// The sum `sum = d^power + sum` over distances d in the order they come, each term by the
/// same pow call, with the bits of that plain loop. Terms are tabulated as first met, and a
/// term too small to change the sum is not computed at all: once the sum is s, any
/// distance at or beyond absorbedFrom_ gives a term below a quarter of the gap from s to
/// the next double, which rounding to nearest drops.
class OrderedPowerSum {
public:
    /// Terms d^power (power < 0), a table for d up to `largest` (at most 2^20 slots).
    OrderedPowerSum(double power, std::int64_t largest);
    void add(std::int64_t d) {
        if (d >= absorbedFrom_) return;
        sum_ = term(d) + sum_;
        if (sum_ >= nextBinade_) updateAbsorption();
    }
    double sum() const { return sum_; }

private:
    double term(std::int64_t d) {
        if (d < 0 || static_cast<std::uint64_t>(d) >= table_.size()) return compute(d);
        double& value = table_[static_cast<std::size_t>(d)];
        if (value < 0.0) value = compute(d);
        return value;
    }
    double compute(std::int64_t d) const;
    void updateAbsorption();

    double power_;
    std::vector<double> table_; ///< -1 where not yet computed
    double sum_ = 0.0;
    double nextBinade_ = 0.0;   ///< the absorption bound holds while the sum stays below
    std::int64_t absorbedFrom_;
};

/// phi_p of integer levels with the smallest distances, from one pass over the pairs.
struct PairSummary {
    double phip = 0.0;
    std::int64_t minCityBlock = 0;
    std::int64_t minSquared = 0; ///< smallest squared Euclidean distance
    std::int64_t atMinCityBlock = 0; ///< pairs at the smallest city-block distance
    std::int64_t atMinSquared = 0;   ///< pairs at the smallest squared Euclidean distance
    bool complete = true;            ///< false: stopped early, the other fields unknown
};

/// phi_p of `levels` (n x m, row after row) under the metric (exponent 1 city-block, 2
/// Euclidean) and p, its terms added in row order, with the smallest distances. Past four
/// million pairs a second thread computes half of the distances; memory stays O(n m).
/// `keepGoing`, if given, is told the share of pairs measured now and then (on large
/// designs, several times a second); returning false stops the measuring.
PairSummary summarisePairs(const std::vector<int>& levels, int n, int m, int exponent, double p,
                           const std::function<bool(double)>& keepGoing = {});

} // namespace api
} // namespace olhs

#endif
