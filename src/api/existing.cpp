#include "olhs/existing.h"

#include "olhs/metrics.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include "api/run_common.h"
#include "engine/levels.h"
#include "engine/multistart.h"
#include "engine/random_stream.h"

namespace olhs {

namespace {

using api::Clock;
using api::levelsFrom;
using api::refuse;

constexpr int maxAugmentedPoints = 1000000;

struct Box {
    std::vector<double> low, high;
};

Box boxOf(int m, const std::vector<double>& lower, const std::vector<double>& upper) {
    if (lower.empty() && upper.empty()) {
        return Box{std::vector<double>(static_cast<std::size_t>(m), 0.0),
                   std::vector<double>(static_cast<std::size_t>(m), 1.0)};
    }
    if (lower.size() != static_cast<std::size_t>(m))
        refuse("lower", "must hold one bound per variable (m = " + std::to_string(m) + "), or both bounds none",
               std::to_string(lower.size()));
    if (upper.size() != static_cast<std::size_t>(m))
        refuse("upper", "must hold one bound per variable (m = " + std::to_string(m) + "), or both bounds none",
               std::to_string(upper.size()));
    for (int c = 0; c < m; ++c) {
        const double lo = lower[static_cast<std::size_t>(c)], hi = upper[static_cast<std::size_t>(c)];
        if (!std::isfinite(lo)) refuse("lower", "variable " + std::to_string(c + 1) + ": must be finite", api::text(lo));
        if (!std::isfinite(hi)) refuse("upper", "variable " + std::to_string(c + 1) + ": must be finite", api::text(hi));
        // The width scales every value into [0, 1]; an infinite one would put them all at 0.
        if (!(lo < hi) || !std::isfinite(hi - lo))
            refuse("upper", "variable " + std::to_string(c + 1) + ": must exceed lower by a finite width",
                   api::text(lo) + ", " + api::text(hi));
    }
    return Box{lower, upper};
}

// Stratum 0..N-1 of a value in [lo, hi]; fl(x - lo) <= fl(hi - lo), so u never passes 1.
int stratumOf(double x, double lo, double hi, int N) {
    const double u = (x - lo) / (hi - lo);
    return std::min(N - 1, static_cast<int>(u * N));
}

} // namespace

Result improve(const std::vector<int>& startLevels, int n, int m, const Options& options) {
    api::checkOptions(n, m, options);
    api::checkMemory(n, m, options, true);
    api::checkLatin("startLevels", startLevels, n, m);
    const Clock::time_point started = Clock::now();

    engine::MultistartPlan plan = api::planFor(n, m, n, options, started);
    plan.start = levelsFrom(startLevels, n, m);
    const engine::MultistartOutcome outcome = engine::runMultistart(plan);

    return api::finishedResult(api::rowMajor(outcome.levels), n, m, options, outcome, started);
}

AugmentResult augment(const std::vector<double>& values, int n, int m, int k, const Options& options,
                      const std::vector<double>& lower, const std::vector<double>& upper) {
    if (n < 1) refuse("n", "the design must hold at least 1 point", std::to_string(n));
    if (m < 1) refuse("m", "the number of variables must be at least 1", std::to_string(m));
    if (k < 1) refuse("k", "at least 1 point must be added", std::to_string(k));
    // phip() takes levels up to a million; a search over more points would need their
    // squared number of distances in memory.
    if (k > maxAugmentedPoints - n)
        refuse("k", "n + k must not exceed " + std::to_string(maxAugmentedPoints), std::to_string(k));
    const int N = n + k;
    api::checkOptions(N, m, options);
    api::checkMemory(N, m, options, true);
    if (options.placement == Placement::Grid)
        refuse("placement", "grid puts levels on the edges of their strata; use centered or jittered", "grid");
    if (options.criterion != Criterion::Phip)
        refuse("criterion", "augment minimises phi_p with the original points held still; use phip",
               options.criterion == Criterion::Maximin ? "maximin"
               : options.criterion == Criterion::MaxPro ? "maxpro"
                                                        : "discrepancy");
    api::checkSize("values", values.size(), n, m);
    const Box box = boxOf(m, lower, upper);
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < m; ++c) {
            const double x = values[static_cast<std::size_t>(i) * m + c];
            const double lo = box.low[static_cast<std::size_t>(c)], hi = box.high[static_cast<std::size_t>(c)];
            if (!std::isfinite(x)) refuse("values", api::cell(i, c) + ": must be a finite number", api::text(x));
            if (!(x >= lo && x <= hi))
                refuse("values", api::cell(i, c) + ": must lie in [" + api::text(lo) + ", " + api::text(hi) + "]",
                       api::text(x));
        }
    }
    const Clock::time_point started = Clock::now();

    AugmentResult result;
    result.points = N;
    result.variables = m;
    result.added = k;
    result.doubledStrata.assign(static_cast<std::size_t>(m), 0);

    // Given points first, at their strata; each variable's new strata dealt to the new
    // points in a seeded random order.
    engine::Levels start(N, m);
    engine::RandomStream deal(engine::derivedSeed(options.seed, api::dealUse));
    std::vector<char> held(static_cast<std::size_t>(N));
    std::vector<int> empty, chosen(static_cast<std::size_t>(k));
    for (int c = 0; c < m; ++c) {
        std::fill(held.begin(), held.end(), 0);
        const double lo = box.low[static_cast<std::size_t>(c)], hi = box.high[static_cast<std::size_t>(c)];
        for (int i = 0; i < n; ++i) {
            const int s = stratumOf(values[static_cast<std::size_t>(i) * m + c], lo, hi, N);
            start.set(i, c, s + 1);
            held[static_cast<std::size_t>(s)] = 1;
        }
        empty.clear();
        for (int s = 0; s < N; ++s)
            if (!held[static_cast<std::size_t>(s)]) empty.push_back(s);
        const std::int64_t E = static_cast<std::int64_t>(empty.size());
        result.doubledStrata[static_cast<std::size_t>(c)] = static_cast<int>(E - k);
        result.doubled += E - k;
        // The middles of k equal shares of the empty strata, by rank: distinct as E >= k.
        for (std::int64_t t = 0; t < k; ++t) chosen[static_cast<std::size_t>(t)] = empty[static_cast<std::size_t>((2 * t + 1) * E / (2 * k))];
        for (int t = k - 1; t > 0; --t) {
            const int j = std::min(t, static_cast<int>(deal.next() * (t + 1)));
            std::swap(chosen[static_cast<std::size_t>(t)], chosen[static_cast<std::size_t>(j)]);
        }
        for (int t = 0; t < k; ++t) start.set(n + t, c, chosen[static_cast<std::size_t>(t)] + 1);
    }

    engine::MultistartPlan plan = api::planFor(N, m, k, options, started);
    // The annealer moves every point; points held still need the evolutionary search,
    // with its iterations.
    if (plan.anneal && options.iterations == 0 && options.timeBudget == 0.0) plan.iterations = automaticIterations(N);
    plan.anneal = false;
    plan.start = std::move(start);
    plan.fixedRows = n;
    const engine::MultistartOutcome outcome = engine::runMultistart(plan);

    result.iterations = outcome.iterations;
    result.restarts = outcome.restarts;
    result.stopReason = api::stopReasonOf(outcome);
    result.strata = api::rowMajor(outcome.levels);
    result.phip = phip(result.strata, N, m, options.metric, options.p);
    result.design.resize(static_cast<std::size_t>(N) * m);
    std::copy(values.begin(), values.end(), result.design.begin());
    engine::RandomStream jitter(engine::derivedSeed(options.seed, api::jitterUse));
    for (int i = n; i < N; ++i) {
        for (int c = 0; c < m; ++c) {
            const std::size_t at = static_cast<std::size_t>(i) * m + c;
            const double lo = box.low[static_cast<std::size_t>(c)], hi = box.high[static_cast<std::size_t>(c)];
            const int level = result.strata[at];
            const double u = api::place(level, N, options.placement, jitter);
            double x = (1.0 - u) * lo + u * hi;
            // A jitter within an ulp of the stratum's top may round into the next one.
            if (stratumOf(x, lo, hi, N) != level - 1) {
                const double middle = (level - 0.5) / N;
                x = (1.0 - middle) * lo + middle * hi;
            }
            result.design[at] = x;
        }
    }
    result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
    return result;
}

} // namespace olhs
