#include "olhs/classic.h"

#include <cstdio>
#include <string>
#include <utility>

#include "api/pair_distances.h"
#include "api/run_common.h"
#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/power_table.h"
#include "engine/random_stream.h"
#include "engine/sampling.h"
#include "engine/search_state.h"
#include "engine/stopping.h"

namespace olhs {

namespace {

// The classic criterion: phi_p of the city-block distances with p = 50.
constexpr double classicP = 50.0;

// Column 0 in point order, every other column drawn by the pick rule: the classic random
// design, draw for draw.
engine::Levels classicDesign(int n, int m, engine::RandomStream& stream) {
    engine::Levels levels(n, m);
    std::vector<int> column;
    for (int c = 0; c < m; ++c) {
        if (c > 0) engine::pickPermutation(stream, n, n, column);
        for (int i = 0; i < n; ++i) levels.set(i, c, c > 0 ? column[static_cast<std::size_t>(i)] : i + 1);
    }
    return levels;
}

template <class Dist>
ClassicResult search(engine::Levels start, const ClassicLimits& limits, engine::RandomStream& stream,
                     const std::function<bool(const ClassicProgress&)>& progress) {
    const int n = start.points(), m = start.variables();
    const std::vector<int> startLevels = api::rowMajor(start);
    // The search continues from phi_p summed pair after pair, as the classic criterion
    // sums it, not from the fast criterion's own sum.
    const double initial = api::summarisePairs(startLevels, n, m, 1, classicP).phip;
    auto table = std::make_shared<const engine::PowerTable>(classicP, engine::maxMeasure(n, m, 1));
    engine::FastPhip<Dist> current(std::move(start), std::move(table));
    current.setPhip(initial);
    engine::Search<engine::FastSearchState<Dist>> search(
        engine::FastSearchState<Dist>(std::move(current), engine::Levels(), initial), stream, 0.005 * initial);

    engine::StopRules rules;
    rules.maxIterations = limits.maxIterations;
    rules.minIterations = limits.minIterations;
    rules.stallIterations = limits.stallIterations;
    rules.timeLimit = limits.timeLimit;
    rules.convergence = limits.convergence;
    engine::Stopping stopping(rules, initial);

    ClassicResult result;
    for (;;) {
        const double best = search.state().bestPhip();
        const int done = stopping.iterations();
        if (progress && !progress(ClassicProgress{done, best, done % limits.stallIterations == 0})) {
            result.stopReason = ClassicStop::Cancelled;
            break;
        }
        search.outerIteration();
        const engine::StopRule rule = stopping.afterIteration(search.state().bestPhip());
        if (rule != engine::StopRule::None) {
            result.stopReason = rule == engine::StopRule::Time    ? ClassicStop::TimeLimit
                                : rule == engine::StopRule::Stall ? ClassicStop::Stall
                                                                  : ClassicStop::Iterations;
            break;
        }
    }
    result.points = n;
    result.variables = m;
    const auto& state = search.state();
    result.levels = state.improvements() > 0 ? api::rowMajor(state.bestLevels()) : startLevels;
    result.phip = state.bestPhip();
    result.iterations = stopping.iterations();
    result.seconds = stopping.seconds();
    return result;
}

} // namespace

double classicRequiredBytes(int n, int m, bool withReport) {
    // Doubles throughout: n and m are each below 2^31, so their products cannot overflow.
    const double points = n, cells = points * m;
    // Four copies of the levels (start, current, best, result), the pairs' distances in two
    // or four bytes, the table of terms and the rows' kept sums.
    const double distance = engine::FastPhip<std::uint16_t>::fits(n, m) ? 2.0 : 4.0;
    double bytes = cells * 16.0 + points * points * distance + static_cast<double>(engine::maxMeasure(n, m, 1)) * 8.0 +
                   points * 32.0;
    if (withReport) {
        // The classic classes keep their best, initial, current, previous best and trial
        // designs and the caller's start: rows of doubles (and a handle and an allocator's
        // header per row) beside n x n distances each (measured peaks: about seven copies).
        const auto rows = [](double count, double columns) { return count * (columns * 8.0 + 32.0); };
        bytes += 6.0 * (rows(points, m) + rows(points, points));
    }
    return bytes;
}

void checkClassic(int n, int m, const ClassicLimits& limits, bool withReport) {
    api::checkClassicShape(n, m, 2);
    api::checkClassicLimits(limits);
    api::refuseBeyondMemory(n, m, classicRequiredBytes(n, m, withReport), Options());
}

ClassicResult classic(int n, int m, const ClassicLimits& limits, std::uint64_t seed,
                      const std::function<bool(const ClassicProgress&)>& progress) {
    checkClassic(n, m, limits);
    engine::RandomStream stream(seed);
    engine::Levels start = classicDesign(n, m, stream);
    return engine::FastPhip<std::uint16_t>::fits(n, m) ? search<std::uint16_t>(std::move(start), limits, stream, progress)
                                                       : search<std::uint32_t>(std::move(start), limits, stream, progress);
}

std::vector<int> classicRandom(int n, int m, std::uint64_t seed) {
    api::checkClassicShape(n, m, 1);
    engine::RandomStream stream(seed);
    std::vector<int> levels = api::rowMajor(classicDesign(n, m, stream));
    // A single column in point order would be no random design at all.
    if (m == 1) engine::shuffle(stream, levels.data(), n);
    return levels;
}

std::string classicProgressLine(const ClassicProgress& progress) {
    char line[96];
    const int length = std::snprintf(line, sizeof line, "Iteration #: %03d\t\tOptimality criterion = %14.6g\n",
                                     progress.iteration, progress.bestPhip);
    return std::string(line, static_cast<std::size_t>(length));
}

std::string toString(ClassicStop reason) {
    switch (reason) {
    case ClassicStop::Iterations: return "iterations";
    case ClassicStop::Stall: return "stall";
    case ClassicStop::TimeLimit: return "time limit";
    case ClassicStop::Cancelled: return "cancelled";
    }
    return "unknown";
}

} // namespace olhs
