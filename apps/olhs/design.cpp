#include "design.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

#include "number_text.h"
#include "olhs/classic.h"
#include "olhs/optimize.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

std::string whyStopped(const olhs::ClassicResult& run, const olhs::ClassicLimits& limits) {
    switch (run.stopReason) {
    case olhs::ClassicStop::TimeLimit:
        return "the time limit (--time-limit " + shortestText(limits.timeLimit) + " s) was reached";
    case olhs::ClassicStop::Iterations:
        return "the iteration limit (--max-iterations " + std::to_string(limits.maxIterations) + ") was reached";
    case olhs::ClassicStop::Stall:
        return "more than " + std::to_string(limits.stallIterations) +
               " iterations passed without improvement (--stall-iterations)";
    case olhs::ClassicStop::Cancelled: break;
    }
    return "the search was cancelled";
}

// The classic search, its progress lines on standard error. With --report the classic
// classes run it and write the report (their lines go wherever stdout points).
olhs::ClassicResult classicSearch(const Options& options) {
    if (options.reportPrefix) {
        return olhs::classicWithReport(options.n, options.m, options.limits, options.seed, *options.reportPrefix);
    }
    return olhs::classic(options.n, options.m, options.limits, options.seed,
                         [&options](const olhs::ClassicProgress& progress) {
                             if (progress.lineDue && !options.quiet) {
                                 std::fputs(olhs::classicProgressLine(progress).c_str(), stderr);
                             }
                             return true;
                         });
}

// Levels placed as the entry point places them: the level minus one over the double n - 1.
std::vector<double> gridValues(const std::vector<int>& levels, int n) {
    std::vector<double> unit(levels.size());
    const double divisor = n - 1;
    for (std::size_t k = 0; k < levels.size(); ++k) unit[k] = (levels[k] - 1) / divisor;
    return unit;
}

Design optimised(const Options& options, const ProgressCallback& progress) {
    const OptimiserSettings& s = options.optimiser;
    const olhs::Options settings = libraryOptions(options, progress);
    olhs::Result run = olhs::optimize(options.n, options.m, settings);
    Design result;
    result.n = options.n;
    result.m = options.m;
    result.unit = std::move(run.design);
    result.levels = std::move(run.levels);
    if (s.placement != olhs::Placement::Grid) {
        result.firstPlace = 0.5 / options.n;
        result.lastPlace = (options.n - 0.5) / options.n;
    }
    OptimiserOutcome& outcome = result.optimised.emplace();
    outcome.phip = run.phip;
    outcome.iterations = run.iterations;
    outcome.restarts = run.restarts;
    outcome.stopReason = olhs::toString(run.stopReason);
    outcome.seconds = run.seconds;
    outcome.minCityBlock = run.minCityBlock;
    outcome.minEuclidean = run.minEuclidean;
    outcome.exact = run.exact;
    if (s.criterion == olhs::Criterion::Maximin) {
        result.optimised->smallest = s.metric == olhs::Metric::Euclidean ? run.minEuclidean : run.minCityBlock;
        result.optimised->pairsAtSmallest = run.pairsAtSmallest;
    }
    if (s.criterion == olhs::Criterion::MaxPro) result.optimised->maxPro = run.maxPro;
    if (s.criterion == olhs::Criterion::Discrepancy) result.optimised->discrepancy = run.discrepancy;
    return result;
}

Design classicDesign(const Options& options) {
    Design result;
    result.n = options.n;
    result.m = options.m;
    if (options.random) {
        result.levels = olhs::classicRandom(options.n, options.m, options.seed);
    } else {
        olhs::ClassicResult run = classicSearch(options);
        result.stop = SearchStop{whyStopped(run, options.limits), run.iterations, run.seconds};
        result.levels = std::move(run.levels);
    }
    result.unit = gridValues(result.levels, result.n);
    return result;
}

} // namespace

olhs::Options libraryOptions(const Options& options, const ProgressCallback& progress) {
    const OptimiserSettings& s = options.optimiser;
    olhs::Options settings;
    settings.seed = options.seed;
    settings.restarts = s.restarts;
    settings.threads = s.threads;
    settings.iterations = s.iterations;
    settings.timeBudget = s.timeBudget;
    settings.metric = s.metric;
    settings.criterion = s.criterion;
    settings.start = s.start;
    settings.p = s.p;
    settings.placement = s.placement;
    settings.progress = progress;
    return settings;
}

Design makeDesign(const Options& options, const ProgressCallback& progress) {
    try {
        return options.method == Method::Optimiser ? optimised(options, progress) : classicDesign(options);
    } catch (const olhs::InvalidOption& refusal) {
        refuseFromLibrary(refusal);
    }
}

} // namespace olhs_cli
