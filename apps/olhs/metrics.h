// Space-filling and correlation measures of a finished design, all on its levels 1..n.
#ifndef OLHS_CLI_METRICS_H
#define OLHS_CLI_METRICS_H

#include <cstdio>
#include <optional>

#include "design.h"

namespace olhs_cli {

struct Metrics {
    /// The library's criterion (p = 50, city-block distances), to the bit.
    double phiP = 0.0;
    long long minCityBlock = 0;  ///< smallest sum of |level differences| over pairs of points
    double minEuclidean = 0.0;   ///< smallest Euclidean distance between two points
    /// Largest |Pearson correlation| between two columns; none with a single column.
    std::optional<double> maxAbsCorrelation;
};

/// Every measure in one pass over the pairs of points, with O(n m) memory.
Metrics computeMetrics(const Design& design);

/// "name: value" lines, one per measure, with the names used in the JSON output.
void printMetrics(std::FILE* out, const Metrics& metrics);

} // namespace olhs_cli

#endif
