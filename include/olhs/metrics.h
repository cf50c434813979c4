#ifndef OLHS_METRICS_H
#define OLHS_METRICS_H

// Measures of any design: ranks of real values, phi_p and the other space-filling and
// correlation measures of integer levels. Independent of how the design was made.

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "olhs/errors.h"
#include "olhs/export.h"
#include "olhs/optimize.h"

namespace olhs {

/// Two equal values in a column of a design to be ranked, whose ranks would be ambiguous.
class OLHS_API TiedValues : public std::invalid_argument {
public:
    /// "column C: rows A and B tie at V", rows and columns counted from 1.
    TiedValues(int column, int firstRow, int secondRow, double value, const std::string& message)
        : std::invalid_argument(message), column_(column), firstRow_(firstRow), secondRow_(secondRow),
          value_(value) {}
    int column() const { return column_; }       ///< from 1
    int firstRow() const { return firstRow_; }   ///< from 1, the smaller
    int secondRow() const { return secondRow_; } ///< from 1
    double value() const { return value_; }

private:
    int column_, firstRow_, secondRow_;
    double value_;
};

/// Ranks 1..n of each column of n points in m variables (values row after row). Throws
/// InvalidOption when n < 2 or m < 1 or a value is not finite ("values: row 7, column 2:
/// ..."), and TiedValues when two values of a column are equal ("column 1: rows 3 and 9
/// tie at 0.5"), rows and columns counted from 1.
OLHS_API std::vector<int> ranks(const double* values, int n, int m);

/// phi_p of integer levels (n x m, row after row): (sum of d^-p over the pairs of points)^(1/p),
/// the terms added in row order (pairs (0,1), (0,2), ..., (1,2), ...) as `term + sum`,
/// each term the pow of the whole distance (Euclidean: of the squared distance, to -p/2).
/// These are the bits Result::phip holds for the levels optimize() returns. The levels
/// may be any integers in [-1000000, 1000000]; throws InvalidOption when one is
/// not, when n < 2, m < 1 or p is outside [1, 200].
OLHS_API double phip(const std::vector<int>& levels, int n, int m, Metric metric = Metric::CityBlock,
                     double p = 50.0);

/// What metrics() measures.
struct Metrics {
    double phipCityBlock = 0.0;         ///< phip(levels, n, m, CityBlock, p)
    double phipEuclidean = 0.0;         ///< phip(levels, n, m, Euclidean, p)
    long long minCityBlock = 0;         ///< smallest city-block distance between two points
    long long minCityBlockPairs = 0;    ///< pairs of points at that distance
    double minEuclidean = 0.0;          ///< smallest Euclidean distance between two points
    long long minEuclideanPairs = 0;    ///< pairs of points at that distance
    /// Largest |Pearson correlation| between two columns; none with one column.
    std::optional<double> maxAbsCorrelation;
    /// Centred L2 discrepancy (Hickernell) of the levels placed at (k - 0.5) / n; its square
    /// is what scipy.stats.qmc.discrepancy(method="CD") gives for those points.
    double centredL2Discrepancy = 0.0;
    /// MaxPro (Joseph, Gul and Ba 2015) of the levels placed at (k - 0.5) / n: n^2 times the
    /// (1/m)-th power of the mean over the pairs of 1 / prod_l (level difference)^2; the
    /// smaller, the further apart the points in every projection. Result::maxPro's bits.
    double maxPro = 0.0;
};

/// Every measure of a Latin design of levels 1..n (n x m, row after row), in O(n m) memory.
/// Throws InvalidOption when n < 2, m < 1, p is outside [1, 200] or a column is
/// not a permutation of 1..n.
OLHS_API Metrics metrics(const std::vector<int>& levels, int n, int m, double p = 50.0);

/// One measure under the name that the command's output and Python's dicts give it.
struct NamedMeasure {
    const char* name;
    double value;
    bool whole; ///< a count or a city-block distance: a whole number
    bool known; ///< false: none (the correlation of a single column)
};

/// The measures of metrics(), in the one order and under the one set of names that every
/// front end uses.
OLHS_API std::vector<NamedMeasure> namedMeasures(const Metrics& metrics);

/// metrics() stopped by its caller.
class OLHS_API MeasuringCancelled : public std::runtime_error {
public:
    MeasuringCancelled() : std::runtime_error("measuring cancelled") {}
};

/// The same, telling `progress` the share of the work done, 0 to 1, every few rows (at
/// least ten times a second on large designs); its returning false stops the measuring
/// with MeasuringCancelled.
OLHS_API Metrics metrics(const std::vector<int>& levels, int n, int m, double p,
                         const std::function<bool(double)>& progress);

} // namespace olhs

#endif
