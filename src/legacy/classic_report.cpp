// The classic search with its report files, which only the classic classes write.
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "olhs/classic.h"
#include "search_access.h"

namespace olhs {

namespace {

// The classic classes' "no limit".
constexpr double noLimit = 1.7e308;

ClassicStop stopOf(const StoppingCriteria& criteria, double seconds, const ClassicLimits& limits) {
    // A run past the time limit names it, even when another rule held at the same time.
    if (seconds > limits.timeLimit) return ClassicStop::TimeLimit;
    const std::string& rule = detail::StoppingCriteriaAccess::stopText(criteria);
    if (rule == "Maximum number of iterations.") return ClassicStop::Iterations;
    return rule == "Maximum time allowed for the task." ? ClassicStop::TimeLimit : ClassicStop::Stall;
}

} // namespace

std::vector<std::string> classicReportFiles(const std::string& prefix) {
    // "Inital" is the classic classes' own spelling.
    return {prefix + "Inital_0.rpt", prefix + "Optimal_0.rpt", prefix + "Inital_1.rpt", prefix + "Optimal_1.rpt",
            prefix + "FullReport.rpt"};
}

ClassicResult classicWithReport(int n, int m, const ClassicLimits& limits, std::uint64_t seed,
                                const std::string& reportPrefix) {
    checkClassic(n, m, limits, true);
    // The first search of a fresh process: the shared stream from the seed, and the
    // exploring factor every search continues back at its first value (an update at an
    // acceptance ratio below 0.1 selects it).
    CRand::seed(seed);
    SimpleESEA().updateTh(false, 0.0, 0.0);

    LatinHypercube design(n, m, false);
    OptimalLH start(design);
    start.setPHICflag(1);
    StoppingCriteria criteria;
    criteria.setMaxIterations(limits.maxIterations);
    criteria.setStallIterLimit(limits.stallIterations);
    criteria.setMinIterations(limits.minIterations);
    if (limits.timeLimit < noLimit) {
        criteria.setTimeLimit(limits.timeLimit);
        // setTimeLimit also lowers the limit on time without improvement, a rule nobody
        // asked for here.
        criteria.setStallTimeLimit(noLimit);
    }
    criteria.setRelativeObjectiveConvergence(limits.convergence);

    SimpleESEA search(start, criteria);
    search.setFileName(reportPrefix);
    const auto started = std::chrono::steady_clock::now();
    search.run();
    ClassicResult result;
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    search.fprintfReport(3);

    OptimalLH best = search.getXbest();
    result.points = n;
    result.variables = m;
    result.levels.resize(static_cast<std::size_t>(n) * static_cast<std::size_t>(m));
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < m; ++c)
            result.levels[static_cast<std::size_t>(i) * m + c] = static_cast<int>(best.getElement(i, c));
    result.phip = best.getOptCrt();
    StoppingCriteria& used = detail::SimpleESEAAccess::stopping(search);
    result.iterations = used.getCurrentIteration();
    result.stopReason = stopOf(used, used.getTotalTime(), limits);
    return result;
}

} // namespace olhs
