#ifndef OLHS_EXISTING_H
#define OLHS_EXISTING_H

// Designs that already exist: improving a Latin design from where it stands, and adding
// points to a finished design so that the whole stays as Latin as its points allow.

#include <vector>

#include "olhs/errors.h"
#include "olhs/export.h"
#include "olhs/optimize.h"

namespace olhs {

/// The optimiser started from a given Latin design instead of random ones: every restart
/// starts from `startLevels` (n x m, row after row, each column a permutation of 1..n) on
/// its own stream derived from (seed, restart), and keeps the start until it finds a design
/// with a smaller phi_p, so the result is never worse than the start. The points keep
/// their order and variable 0 keeps its levels (exchanges in the others reach every
/// design up to the order of the points). Throws InvalidOption naming
/// `startLevels` or the option at fault; the same seed and settings give the same bits for
/// any number of threads, as optimize() does.
OLHS_API Result improve(const std::vector<int>& startLevels, int n, int m, const Options& options = Options());

/// A design of n + k points: n given, k added.
struct AugmentResult {
    int points = 0;                 ///< n + k
    int variables = 0;              ///< m
    int added = 0;                  ///< k
    /// (n + k) x m, row after row: the n given points first, their values unchanged to the
    /// bit, then the k new ones, in the box of the call.
    std::vector<double> design;
    /// The stratum of every value, 1..n + k, row after row.
    std::vector<int> strata;
    /// For each variable, the points beyond the first in a stratum they share: as many
    /// strata stay empty. 0 unless given points share a stratum.
    std::vector<int> doubledStrata;
    long long doubled = 0;          ///< the sum of doubledStrata
    /// phi_p of the strata of all n + k points under the chosen metric and p; infinite when
    /// two given points share their stratum in every variable.
    double phip = 0.0;
    long iterations = 0;            ///< outer iterations run, over all restarts
    int restarts = 0;               ///< restarts that ran
    StopReason stopReason = StopReason::Iterations;
    double seconds = 0.0;           ///< wall time of the run
};

/// Adds k points to the n points `values` (n x m, row after row) that lie in the box
/// [lower[j], upper[j]] of each variable j (empty lower and upper: the unit box). Each
/// variable is cut into n + k equal strata; the new points take strata that no given point
/// holds, each a different one, so every stratum holds one point whenever the given points
/// hold different strata. Where they share strata, more strata are empty than points are
/// added: the new points take empty strata spread evenly through them (by rank), and the
/// shared ones are counted in doubledStrata. The optimiser then exchanges strata among the
/// new points only, in every variable, minimising phi_p of the whole design on stratum
/// numbers. New values sit in the middle of their stratum, or uniformly within it with
/// Placement::Jittered; Placement::Grid is refused. Throws InvalidOption naming
/// the argument at fault: n, m or k below 1, a value that is not finite or lies outside
/// its box, bounds that are not finite or not increasing.
OLHS_API AugmentResult augment(const std::vector<double>& values, int n, int m, int k,
                               const Options& options = Options(), const std::vector<double>& lower = {},
                               const std::vector<double>& upper = {});

} // namespace olhs

#endif
