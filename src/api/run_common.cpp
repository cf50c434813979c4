#include "api/run_common.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <thread>

#include <unistd.h>
#if defined(__linux__)
#include <sys/sysinfo.h>
#endif

#include "api/pair_distances.h"
#include "engine/construction.h"
#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/product_criterion.h"

namespace olhs {
namespace api {

namespace {

// Terms of squared Euclidean distances are tabulated; beyond this many the table would
// not be worth its memory.
constexpr std::int64_t euclideanTableLimit = std::int64_t{1} << 24;

// More threads than any machine of ours has cores only cost memory (a design per thread).
constexpr int maxThreads = 1024;

// Points from which Start::Auto starts from the lattice, and takes it alone.
constexpr int latticeFrom = 100;
constexpr int latticeAloneFrom = 2000;

// The largest design a time budget searches from its lattice: the search's n x n distances
// (two bytes a pair, a copy per thread) stay within a few hundred megabytes.
constexpr int searchableFromLattice = 10000;

} // namespace

void refuse(const std::string& option, const std::string& range, const std::string& given) {
    throw InvalidOption(option, range, given);
}

std::string text(double value) {
    char buffer[32]; // the longest shortest form, "-2.2250738585072014e-308", is 24
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

std::string cell(int row, int column) {
    return "row " + std::to_string(row + 1) + ", column " + std::to_string(column + 1);
}

void checkSize(const std::string& option, std::size_t size, int n, int m) {
    const std::size_t expected = static_cast<std::size_t>(n) * static_cast<std::size_t>(m);
    if (size != expected) refuse(option, "must hold n m = " + std::to_string(expected) + " values", std::to_string(size));
}

void checkLatin(const std::string& option, const std::vector<int>& levels, int n, int m) {
    checkSize(option, levels.size(), n, m);
    const engine::LatinFault fault = engine::findLatinFault(
        n, m, [&](int i, int c) { return levels[static_cast<std::size_t>(i) * m + c]; });
    if (!fault.found()) return;
    if (fault.firstRow < 0)
        refuse(option, cell(fault.row, fault.column) + ": levels must lie in 1.." + std::to_string(n),
               std::to_string(fault.level));
    refuse(option,
           "column " + std::to_string(fault.column + 1) + " must be a permutation of 1.." + std::to_string(n) +
               ": rows " + std::to_string(fault.firstRow + 1) + " and " + std::to_string(fault.row + 1) + " both hold",
           std::to_string(fault.level));
}

std::vector<int> rowMajor(const engine::Levels& levels) {
    const int n = levels.points(), m = levels.variables();
    std::vector<int> out(static_cast<std::size_t>(n) * static_cast<std::size_t>(m));
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < m; ++c) out[static_cast<std::size_t>(i) * m + c] = levels(i, c);
    return out;
}

void checkClassicShape(int n, int m, int fewestVariables) {
    if (n < 2) refuse("n", "the number of points must be at least 2", std::to_string(n));
    if (m < fewestVariables)
        refuse("m", fewestVariables == 2 ? "the search needs at least 2 variables" : "the number of variables must be at least 1",
               std::to_string(m));
}

void checkClassicLimits(const ClassicLimits& l) {
    if (l.minIterations < 0) refuse("minIterations", "must be at least 0", std::to_string(l.minIterations));
    // The iteration limit is tested for equality once the minimum has passed, so a limit
    // at or below the minimum would never stop the search.
    if (l.maxIterations <= l.minIterations)
        refuse("maxIterations", "must be greater than minIterations (" + std::to_string(l.minIterations) + ")",
               std::to_string(l.maxIterations));
    if (l.stallIterations < 1) refuse("stallIterations", "must be at least 1", std::to_string(l.stallIterations));
    if (!(l.timeLimit >= 0.0)) refuse("timeLimit", "must be 0 seconds or more", text(l.timeLimit));
    if (!(l.convergence >= 0.0 && l.convergence <= 1.0)) refuse("convergence", "must lie in [0, 1]", text(l.convergence));
}

StartPlan startFor(int n, int m, const Options& options) {
    StartPlan plan;
    switch (options.start) {
    case Start::Random:
        return plan;
    case Start::Lattice:
        plan.lattice = true;
        return plan;
    case Start::Auto:
        break;
    }
    // The lattice is chosen for distances, not for projections or uniformity.
    if (productCriterion(options.criterion)) return plan;
    // A proven-optimal construction beats any lattice; the run builds it.
    const bool constructed = options.criterion == Criterion::Maximin && options.metric == Metric::CityBlock &&
                             engine::hasProvenOptimalCityBlock(n, m);
    // Measured on 2 cores, seed 1 (bench/large_designs.py): from 100 points on, the default
    // search ends better from the lattice than from random designs, in the smallest distance
    // and in phi_p (100 x 10: 237 against 235; 500 x 5: 279 against 252; 1500 x 20: 6014
    // against 5795), in the same time; below, it is a tie. From 2000 points the search no
    // longer fits the default's time, and the lattice is the design (2000 x 10: 2783 in
    // 0.04 s; the search from it reaches 2813 in 0.8 s); a time budget then searches from
    // it, up to the size whose distances a search can hold.
    plan.lattice = n >= latticeFrom && !constructed;
    plan.searched = n < latticeAloneFrom || (options.timeBudget > 0.0 && n <= searchableFromLattice);
    return plan;
}

bool productCriterion(Criterion criterion) {
    return criterion == Criterion::MaxPro || criterion == Criterion::Discrepancy;
}

bool annealsFor(int n, int m, const Options& options) {
    if (options.criterion == Criterion::Maximin) return true;
    if (productCriterion(options.criterion)) return false;
    // Measured on 2 cores: for Euclidean phi_p the annealer reaches larger smallest
    // distances than the evolutionary search within the optimiser's targets up to 200 x 10;
    // beyond n^2 m = 4e5 an anneal takes seconds where the evolutionary search takes a
    // fraction of one, unless a time budget pays for it.
    const bool wholePower = options.p == 2.0 * std::floor(options.p / 2.0);
    const bool affordable = options.timeBudget > 0.0 || static_cast<double>(n) * n * m <= 4e5;
    return options.metric == Metric::Euclidean && wholePower && affordable;
}

void checkOptions(int n, int m, const Options& o) {
    if (n < 2) refuse("n", "the number of points must be at least 2", std::to_string(n));
    if (m < 1) refuse("m", "the number of variables must be at least 1", std::to_string(m));
    if (o.restarts < 1) refuse("restarts", "must be at least 1", std::to_string(o.restarts));
    if (o.firstRestart < 0 || o.firstRestart > std::numeric_limits<int>::max() - o.restarts)
        refuse("firstRestart", "must be at least 0, with firstRestart + restarts at most 2147483647",
               std::to_string(o.firstRestart));
    if (o.threads < 0 || o.threads > maxThreads)
        refuse("threads", "must lie in [0, 1024], 0 for all cores", std::to_string(o.threads));
    if (o.iterations < 0) refuse("iterations", "must be 0 (automatic, or until the time budget) or more",
                                 std::to_string(o.iterations));
    if (!(o.timeBudget >= 0.0 && o.timeBudget <= 1e9))
        refuse("timeBudget", "must lie in [0, 1e9] seconds, 0 for none", text(o.timeBudget));
    if (!(o.p >= 1.0 && o.p <= 200.0)) refuse("p", "must lie in [1, 200]", text(o.p));
    if (o.placement != Placement::Centered && o.placement != Placement::Grid && o.placement != Placement::Jittered)
        refuse("placement", "must be centered, grid or jittered", std::to_string(static_cast<int>(o.placement)));
    if (o.start != Start::Auto && o.start != Start::Random && o.start != Start::Lattice)
        refuse("start", "must be auto, random or lattice", std::to_string(static_cast<int>(o.start)));
    if (o.criterion != Criterion::Phip && o.criterion != Criterion::Maximin && !productCriterion(o.criterion))
        refuse("criterion", "must be phip, maximin, maxpro or discrepancy", std::to_string(static_cast<int>(o.criterion)));
    if (o.metric != Metric::CityBlock && o.metric != Metric::Euclidean)
        refuse("metric", "must be cityblock or euclidean", std::to_string(static_cast<int>(o.metric)));
    const StartPlan start = startFor(n, m, o);
    if (o.metric == Metric::Euclidean && engine::maxMeasure(n, m, 2) > euclideanTableLimit &&
        (!start.lattice || start.searched) && !productCriterion(o.criterion))
        refuse("metric", "a search with euclidean takes designs with m (n - 1)^2 up to " +
                             std::to_string(euclideanTableLimit) + "; use cityblock, or the lattice alone (start auto without a time budget) for this size",
               std::to_string(engine::maxMeasure(n, m, 2)));
}

engine::MultistartPlan planFor(int n, int m, int freePoints, const Options& options, Clock::time_point started) {
    engine::MultistartPlan plan;
    plan.points = n;
    plan.variables = m;
    plan.exponent = options.metric == Metric::Euclidean ? 2 : 1;
    plan.p = options.p;
    plan.seed = options.seed;
    plan.restarts = options.restarts;
    plan.firstRestart = options.firstRestart;
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    plan.threads = options.threads == 0 ? static_cast<int>(cores) : options.threads;
    // A run that searches until its time budget is spent does so on every thread: fewer
    // restarts than threads would leave some idle.
    if (options.timeBudget > 0.0 && options.iterations == 0) plan.restarts = std::max(plan.restarts, plan.threads);
    plan.iterations = options.iterations > 0    ? options.iterations
                      : options.timeBudget > 0.0 ? std::numeric_limits<long>::max()
                                                 : automaticIterations(n, m, options);
    if (options.timeBudget > 0.0) {
        plan.deadline = started + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(options.timeBudget));
    }
    if (options.progress) {
        plan.onIteration = [&options, started](int restart, long iteration, double best) {
            const double elapsed = std::chrono::duration<double>(Clock::now() - started).count();
            return options.progress(Progress{restart, iteration, best, elapsed});
        };
    }
    // At least ten inner iterations per outer one: the threshold control reads acceptance
    // ratios against 0.1 and 0.8, which the classic count (one slot from 21 to 37 points)
    // cannot resolve. Measured: 25 x 4 goes from phi_p 0.0567 to 0.0484 at equal restarts.
    plan.innerIterations = std::max(engine::innerIterations(std::max(freePoints, 2)), minimumInnerIterations);
    plan.continuingColumns = true;
    if (annealsFor(n, m, options)) {
        plan.anneal = true;
        plan.annealPower = static_cast<int>(options.p) / plan.exponent;
    }
    if (options.criterion == Criterion::MaxPro) plan.product = engine::ProductKind::MaxPro;
    if (options.criterion == Criterion::Discrepancy) plan.product = engine::ProductKind::Discrepancy;
    if (options.criterion == Criterion::Maximin) {
        plan.anneal = true;
        plan.maximin = true;
        // The energy's power on the integer measure: 25 on squared distances (phi_50 of
        // the distances themselves), 50 on city-block ones.
        plan.annealPower = plan.exponent == 2 ? 25 : 50;
        plan.bound = engine::maximinUpperBound(n, m, plan.exponent);
    }
    return plan;
}

StopReason stopReasonOf(const engine::MultistartOutcome& outcome) {
    return outcome.cancelled ? StopReason::Cancelled
           : outcome.constructed ? StopReason::Constructed
           : outcome.optimal ? StopReason::Optimal
           : outcome.timedOut ? StopReason::TimeBudget
                              : StopReason::Iterations;
}

namespace {

// The machine's memory and swap: what a run may hold before the kernel kills its process.
double machineBytes() {
#if defined(__linux__)
    struct sysinfo info {};
    if (sysinfo(&info) == 0) {
        return (static_cast<double>(info.totalram) + static_cast<double>(info.totalswap)) * info.mem_unit;
    }
#endif
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGE_SIZE);
    return pages > 0 && pageSize > 0 ? static_cast<double>(pages) * static_cast<double>(pageSize) : 0.0;
}

std::string gibibytes(double bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f GiB", bytes / (1024.0 * 1024.0 * 1024.0));
    return text;
}

} // namespace

} // namespace api

double availableBytes(const Options& options) {
    return options.memoryLimit > 0.0 ? options.memoryLimit : api::machineBytes();
}

namespace api {

void checkMemory(int n, int m, const Options& options, bool searched) {
    refuseBeyondMemory(n, m, requiredBytes(n, m, options, searched), options);
}

void refuseBeyondMemory(int n, int m, double needed, const Options& options) {
    const double available = availableBytes(options);
    if (available > 0.0 && needed > available) {
        throw NotEnoughMemory(needed, available,
                              "a design of " + std::to_string(n) + " points in " + std::to_string(m) +
                                  " variables needs at least " + gibibytes(needed) + " of memory, more than the " +
                                  gibibytes(available) +
                                  (options.memoryLimit > 0.0 ? " of the memory limit" : " this machine has") +
                                  "; ask for fewer points");
    }
}

engine::Levels levelsFrom(const std::vector<int>& rowMajor, int n, int m) {
    engine::Levels levels(n, m);
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < m; ++c) levels.set(i, c, rowMajor[static_cast<std::size_t>(i) * m + c]);
    return levels;
}

PhaseReports::PhaseReports(const Options& options, Phase phase, Clock::time_point started)
    : options_(options), phase_(phase), started_(started), lastReport_(Clock::now()) {}

bool PhaseReports::operator()(double fractionDone) {
    const Clock::time_point now = Clock::now();
    if (options_.timeBudget > 0.0 && std::chrono::duration<double>(now - started_).count() >= options_.timeBudget) {
        timedOut_ = true;
        return false;
    }
    if (options_.progress && now - lastReport_ >= std::chrono::milliseconds(100)) {
        lastReport_ = now;
        const double elapsed = std::chrono::duration<double>(now - started_).count();
        Progress report{0, 0, std::numeric_limits<double>::quiet_NaN(), elapsed};
        report.phase = phase_;
        report.fractionDone = fractionDone;
        cancelled_ = !options_.progress(report);
    }
    return !cancelled_;
}

Result finishedResult(std::vector<int> levels, int n, int m, const Options& options,
                      const engine::MultistartOutcome& outcome, Clock::time_point started) {
    Result result;
    result.points = n;
    result.variables = m;
    result.iterations = outcome.iterations;
    result.restarts = outcome.restarts;
    result.bestRestart = outcome.bestRestart;
    result.searchValue = outcome.phip;
    result.stopReason = stopReasonOf(outcome);
    PairSummary pairs;
    pairs.complete = false;
    // A design with proven bounds may stop being measured, or not start where the run was
    // already stopped; any other is measured whole.
    const bool stoppable = outcome.lowerCityBlock > 0;
    if (outcome.measure && !(stoppable && (outcome.cancelled || outcome.timedOut))) {
        PhaseReports reports(options, Phase::Measuring, started);
        pairs = summarisePairs(levels, n, m, options.metric == Metric::Euclidean ? 2 : 1, options.p,
                               [&](double done) { return reports(done) || !stoppable; });
        if (!pairs.complete) {
            result.stopReason = reports.cancelled() ? StopReason::Cancelled : StopReason::TimeBudget;
        }
    }
    result.levels = std::move(levels);
    engine::RandomStream jitter(engine::derivedSeed(options.seed, jitterUse));
    result.design.resize(result.levels.size());
    for (std::size_t k = 0; k < result.levels.size(); ++k) {
        result.design[k] = place(result.levels[k], n, options.placement, jitter);
    }
    if (!pairs.complete) {
        // Bounds only: phi_p is at most all C(n, 2) pairs at the smallest distance's bound.
        result.exact = false;
        result.minCityBlock = static_cast<double>(outcome.lowerCityBlock);
        result.minEuclidean = std::nextafter(std::sqrt(static_cast<double>(outcome.lowerSquared)), 0.0);
        const double smallest = options.metric == Metric::Euclidean ? result.minEuclidean : result.minCityBlock;
        const double pairs = 0.5 * n * (n - 1.0);
        result.phip = std::nextafter(std::pow(pairs, 1.0 / options.p) / smallest, HUGE_VAL) * (1.0 + 1e-12);
    } else {
        if (productCriterion(options.criterion)) {
            const engine::Levels levelsOf = levelsFrom(result.levels, n, m);
            result.maxPro = engine::ProductCriterion::fullValue(levelsOf, engine::ProductKind::MaxPro);
            result.discrepancy = engine::ProductCriterion::fullValue(levelsOf, engine::ProductKind::Discrepancy);
        }
        result.phip = pairs.phip;
        result.minCityBlock = static_cast<double>(pairs.minCityBlock);
        result.minEuclidean = std::sqrt(static_cast<double>(pairs.minSquared));
        result.pairsAtSmallest = options.metric == Metric::Euclidean ? pairs.atMinSquared : pairs.atMinCityBlock;
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
    return result;
}

double place(int level, int n, Placement placement, engine::RandomStream& jitter) {
    switch (placement) {
    case Placement::Grid:
        return (level - 1) / static_cast<double>(n - 1);
    case Placement::Jittered:
        return (level - 1 + jitter.next()) / n;
    case Placement::Centered:
        break;
    }
    return (level - 0.5) / n;
}

} // namespace api
} // namespace olhs
