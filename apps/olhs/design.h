// Making the design: one library call per way of making it (the optimiser, the classic
// search with the user's limits, or its random design), placed in [0, 1].
#ifndef OLHS_CLI_DESIGN_H
#define OLHS_CLI_DESIGN_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "options.h"

namespace olhs_cli {

/// Why and when the search stopped.
struct SearchStop {
    std::string reason;  ///< in the command's words, naming the option
    int iterations = 0;  ///< outer iterations run
    double seconds = 0.0;
};

/// What the optimiser reports of its run.
struct OptimiserOutcome {
    double phip = 0.0;
    long iterations = 0;
    int restarts = 0;
    std::string stopReason; ///< "iterations", "time budget", "cancelled" or "proven optimal"
    double seconds = 0.0;
    /// Under the maximin criterion: the smallest distance (by the metric, on the levels)
    /// and the pairs at it, which the summary leads with.
    std::optional<double> smallest;
    long pairsAtSmallest = 0;
    double minCityBlock = 0.0; ///< smallest distances of the design's levels
    double minEuclidean = 0.0;
    bool exact = true;         ///< false: the distances are lower bounds, phi_p an upper one
    /// Under the MaxPro or the discrepancy criterion: the design's MaxPro, or its centred
    /// L2 discrepancy (levels at (k - 0.5) / n), which the summary leads with.
    std::optional<double> maxPro;
    std::optional<double> discrepancy;
};

/// n points in m variables, point-major: element i*m + j is variable j of point i.
struct Design {
    int n = 0;
    int m = 0;
    /// Values in [0, 1]: (level - 1) / (n - 1), or as the optimiser's placement puts them.
    std::vector<double> unit;
    /// Where levels 1 and n sit in [0, 1] (a jittered level: the middle of its cell).
    double firstPlace = 0.0;
    double lastPlace = 1.0;
    /// The same design as levels 1..n.
    std::vector<int> levels;
    /// Set after a classic search.
    std::optional<SearchStop> stop;
    /// Set after the optimiser.
    std::optional<OptimiserOutcome> optimised;
};

using ProgressCallback = std::function<bool(const olhs::Progress&)>;

/// Makes the design the options ask for; with --report the report files are written as
/// well. The classic search's progress lines go to standard error (with --report, wherever
/// stdout points); the optimiser calls `progress` instead. Settings the library refuses
/// throw UsageError naming the command's option.
Design makeDesign(const Options& options, const ProgressCallback& progress = {});

/// The library's settings of the optimiser for these options.
olhs::Options libraryOptions(const Options& options, const ProgressCallback& progress = {});

} // namespace olhs_cli

#endif
