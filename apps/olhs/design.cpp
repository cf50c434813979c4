#include "design.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <valarray>

#include <unistd.h>

#include "number_text.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "olhs/optimize.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

// The library's "no limit".
constexpr double noLimit = 1.7e308;

// The search's stop rule and iteration count are only written to its full report: read
// them back from there. Empty texts and 0 when the report cannot be read.
struct ReportedStop {
    std::string rule;
    int iterations = 0;
    double totalSeconds = 0.0;
};

ReportedStop readStop(const std::string& reportPath) {
    ReportedStop stop;
    std::ifstream in(reportPath);
    std::string line;
    while (std::getline(in, line)) {
        if (line == "STOPPING CRITERION REACHED:") {
            std::getline(in, stop.rule);
        } else if (line.rfind("At iteration: ", 0) == 0) {
            stop.iterations = std::atoi(line.c_str() + 14);
        } else if (line.rfind("Total time for the task: ", 0) == 0) {
            stop.totalSeconds = std::atof(line.c_str() + 25);
        }
    }
    return stop;
}

// The full report of a search, either the one the user asked for or one in a private
// temporary directory that is removed again.
ReportedStop stopOf(SimpleESEA& search, const Options& options) {
    if (options.reportPrefix) {
        return readStop(*options.reportPrefix + "FullReport.rpt");
    }
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/olhs.XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (mkdtemp(name.data()) == nullptr) {
        return {};
    }
    const std::string directory(name.data());
    search.setFileName(directory + "/");
    search.fprintfReport(2);
    const std::string path = directory + "/FullReport.rpt";
    ReportedStop stop = readStop(path);
    std::remove(path.c_str());
    rmdir(directory.c_str());
    return stop;
}

std::string whyStopped(const ReportedStop& stop, const SearchLimits& limits) {
    // A run past the time limit names it, even when another rule held at the same time.
    if (limits.timeLimit && stop.totalSeconds > *limits.timeLimit) {
        return "the time limit (--time-limit " + shortestText(*limits.timeLimit) + " s) was reached";
    }
    if (stop.rule == "Maximum number of iterations.") {
        return "the iteration limit (--max-iterations " + std::to_string(limits.maxIterations) + ") was reached";
    }
    if (stop.rule == "Maximum number of iterations without improvements.") {
        return "more than " + std::to_string(limits.stallIterations) +
               " iterations passed without improvement (--stall-iterations)";
    }
    if (stop.rule == "Maximum time allowed for the task.") {
        return "the time limit was reached";
    }
    return stop.rule.empty() ? "a stopping rule held" : stop.rule;
}

// Mirrors the entry point step for step (design, OptimalLH with the incremental update,
// stopping criteria, search, best design), so that the default limits give the very same
// design; only the limits and the report differ.
LatinHypercube searchWithLimits(const Options& options, SearchStop& stop) {
    LatinHypercube design(options.n, options.m, false);
    OptimalLH start(design);
    start.setPHICflag(1);

    StoppingCriteria criteria;
    criteria.setMaxIterations(options.limits.maxIterations);
    criteria.setStallIterLimit(options.limits.stallIterations);
    criteria.setMinIterations(options.limits.minIterations);
    if (options.limits.timeLimit) {
        criteria.setTimeLimit(*options.limits.timeLimit);
        // setTimeLimit also lowers the limit on time without improvement, a rule the user
        // never asked for and whose text would then name the stop: stopping at the same
        // iteration, the time limit is the reason.
        criteria.setStallTimeLimit(noLimit);
    }
    criteria.setRelativeObjectiveConvergence(options.limits.convergence);

    SimpleESEA search(start, criteria);
    if (options.reportPrefix) {
        search.setFileName(*options.reportPrefix);
    }
    const auto started = std::chrono::steady_clock::now();
    search.run();
    stop.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (options.reportPrefix) {
        search.fprintfReport(3);
    }
    const ReportedStop reported = stopOf(search, options);
    stop.iterations = reported.iterations;
    stop.reason = whyStopped(reported, options.limits);
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

// The library names its fields; the user knows the command's options.
std::string optionOfField(const std::string& field) {
    const std::pair<const char*, const char*> names[] = {
        {"n", "-n"},           {"m", "-m"},   {"restarts", "--restarts"}, {"threads", "--threads"},
        {"iterations", "--iterations"}, {"timeBudget", "--time-budget"}, {"p", "-p"},
        {"metric", "--metric"}, {"criterion", "--criterion"}, {"start", "--start"}, {"placement", "--placement"}};
    for (const auto& [library, command] : names) {
        if (field == library) {
            return command;
        }
    }
    return field;
}

Design optimised(const Options& options, const ProgressCallback& progress) {
    const OptimiserSettings& s = options.optimiser;
    const olhs::Options settings = libraryOptions(options, progress);
    olhs::Result run;
    try {
        run = olhs::optimize(options.n, options.m, settings);
    } catch (const std::invalid_argument& e) {
        const std::string message = e.what();
        const std::size_t colon = message.find(": ");
        if (colon == std::string::npos) {
            throw UsageError(message);
        }
        throw UsageError(optionOfField(message.substr(0, colon)), message.substr(colon + 2));
    }
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
    if (options.method == Method::Optimiser) {
        return optimised(options, progress);
    }
    CRand::seed(options.seed);

    Design result;
    result.n = options.n;
    result.m = options.m;
    if (!options.random) {
        SearchStop stop;
        LatinHypercube best = searchWithLimits(options, stop);
        result.unit = unitValues(best);
        result.stop = stop;
    } else {
        std::valarray<double> values;
        OptimalLatinHypercubeDOE(0, options.m, options.n, values);
        result.unit.assign(std::begin(values), std::end(values));
    }
    if (result.m == 1) {
        shuffleSingleColumn(result.unit);
    }
    result.levels = levelsOf(result.unit, result.n);
    return result;
}

} // namespace olhs_cli
