#include "design.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <valarray>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"

namespace olhs_cli {

namespace {

// Mirrors the entry point step for step (design, OptimalLH with the incremental update,
// stopping criteria, search, best design), so that the default limits give the very same
// design; only the limits and the report differ.
LatinHypercube searchWithLimits(const Options& options) {
    LatinHypercube design(options.n, options.m, false);
    OptimalLH start(design);
    start.setPHICflag(1);

    StoppingCriteria criteria;
    criteria.setMaxIterations(options.limits.maxIterations);
    criteria.setStallIterLimit(options.limits.stallIterations);
    criteria.setMinIterations(options.limits.minIterations);
    if (options.limits.timeLimit) {
        criteria.setTimeLimit(*options.limits.timeLimit);
    }
    criteria.setRelativeObjectiveConvergence(options.limits.convergence);

    SimpleESEA search(start, criteria);
    if (options.reportPrefix) {
        search.setFileName(*options.reportPrefix);
    }
    search.run();
    if (options.reportPrefix) {
        search.fprintfReport(3);
    }
    return search.getXbest();
}

// Scales exactly as the entry point does: the level minus one over the double n - 1.
std::vector<double> unitValues(LatinHypercube& design) {
    const int n = design.getNPoints();
    const int m = design.getNDV();
    const double divisor = n - 1;
    std::vector<double> unit(static_cast<std::size_t>(n) * static_cast<std::size_t>(m));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < m; ++j) {
            unit[static_cast<std::size_t>(i) * m + j] = (design.getElement(i, j) - 1) / divisor;
        }
    }
    return unit;
}

// k / (n - 1) times n - 1 lands within rounding of k, so rounding recovers the level.
std::vector<int> levelsOf(const std::vector<double>& unit, int n) {
    std::vector<int> levels(unit.size());
    const double divisor = n - 1;
    for (std::size_t k = 0; k < unit.size(); ++k) {
        levels[k] = static_cast<int>(std::lround(unit[k] * divisor)) + 1;
    }
    return levels;
}

// The library keeps the first column in point order; with a single column that would be
// the whole design, so its levels are shuffled (Fisher-Yates) with draws from the same
// seeded stream, after the design's own.
void shuffleSingleColumn(std::vector<double>& unit) {
    CRand draw(false);
    for (std::size_t i = unit.size() - 1; i > 0; --i) {
        const std::size_t j = std::min(i, static_cast<std::size_t>(draw.Random() * static_cast<double>(i + 1)));
        std::swap(unit[i], unit[j]);
    }
}

} // namespace

Design makeDesign(const Options& options) {
    CRand::seed(options.seed);

    Design result;
    result.n = options.n;
    result.m = options.m;
    if (options.customSearch) {
        LatinHypercube best = searchWithLimits(options);
        result.unit = unitValues(best);
    } else {
        std::valarray<double> values;
        OptimalLatinHypercubeDOE(options.random ? 0 : 1, options.m, options.n, values);
        result.unit.assign(std::begin(values), std::end(values));
    }
    if (result.m == 1) {
        shuffleSingleColumn(result.unit);
    }
    result.levels = levelsOf(result.unit, result.n);
    return result;
}

} // namespace olhs_cli
