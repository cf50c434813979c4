#include "olhs/optimize.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <thread>
#include <utility>

#include "olhs/metrics.h"

#include "api/run_common.h"
#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/lattice.h"
#include "engine/multistart.h"
#include "engine/random_stream.h"

namespace olhs {

using api::Clock;

// 400 outer iterations per restart up to 150 points; then fewer, as each costs more and
// larger designs settle sooner: 60000 / n, at least 50. Measured on 2 cores, seeds 1 and 2:
// 200 x 10 reaches phi_p 0.00268 in 0.09 s, 500 x 20 0.00050 in 0.13 s.
long automaticIterations(int n) { return std::max(50L, std::min(400L, 60000L / std::max(n, 1))); }

long automaticIterations(int n, int m, const Options& options) {
    // Measured on 2 cores, seeds 1 and 2 (bench/criteria.py): the discrepancy settles
    // sooner than phi_p; 60 outer iterations up to 416 points, then 25000 / n, pass scipy's
    // random-cd at 12 x 4 to 500 x 20 in a tenth of its time.
    if (options.criterion == Criterion::Discrepancy) return std::max(25L, std::min(60L, 25000L / std::max(n, 1)));
    if (!api::annealsFor(n, m, options)) return automaticIterations(n);
    // Measured on 2 cores: four anneals where they are cheap, fewer as each grows with
    // n^2 m, down to one from 200 x 10 on.
    const double work = static_cast<double>(n) * n * m;
    return std::max(1L, std::min(4L, static_cast<long>(200000.0 / work)));
}

void checkOptions(int n, int m, const Options& options) { api::checkOptions(n, m, options); }

double requiredBytes(int n, int m, const Options& options, bool searched) {
    // Doubles throughout: n and m are each below 2^31, so their products cannot overflow.
    const double points = n, cells = static_cast<double>(n) * m;
    // The result's levels and design, the engine's levels, the row order and the summary's
    // columns; a lattice's construction holds one more column-sized count per level.
    double bytes = cells * 40.0 + points * 16.0;
    if (!searched && !searches(n, m, options)) return bytes;
    // Each restart that runs at once keeps a number per pair: a 16-bit distance (phi_p of
    // city-block distances, the least), a distance and a weight (the annealer, the
    // Euclidean search: 12 bytes) or a product (MaxPro, the discrepancy: 8), and a few
    // copies of the levels; phi_p's table has a term per possible distance.
    const bool products = api::productCriterion(options.criterion);
    const bool wide = options.metric == Metric::Euclidean || api::annealsFor(n, m, options);
    const double perPair = products ? 8.0 : wide ? 12.0 : 2.0;
    const double cores = std::max(1u, std::thread::hardware_concurrency());
    const double running = std::min<double>(options.threads == 0 ? cores : options.threads, options.restarts);
    bytes += running * (points * points * perPair + 16.0 * cells + 64.0 * points);
    if (!products) {
        const double span = points - 1.0;
        bytes += 8.0 * (options.metric == Metric::Euclidean ? m * span * span : m * span);
    }
    return bytes;
}

bool searches(int n, int m, const Options& options) {
    const api::StartPlan start = api::startFor(n, m, options);
    return !start.lattice || start.searched;
}

std::string toString(StopReason reason) {
    switch (reason) {
    case StopReason::TimeBudget:
        return "time budget";
    case StopReason::Cancelled:
        return "cancelled";
    case StopReason::Optimal:
        return "proven optimal";
    case StopReason::Constructed:
        return "constructed";
    case StopReason::Iterations:
        break;
    }
    return "iterations";
}

Result optimize(int n, int m, const Options& options) {
    api::checkOptions(n, m, options);
    api::checkMemory(n, m, options, false);
    const Clock::time_point started = Clock::now();

    engine::MultistartPlan plan = api::planFor(n, m, n, options, started);
    engine::MultistartOutcome outcome;
    const api::StartPlan start = api::startFor(n, m, options);
    if (start.lattice) {
        api::PhaseReports reports(options, Phase::BuildingLattice, started);
        engine::LatticeDesign lattice = engine::latticeDesign(n, m, plan.exponent, std::ref(reports));
        if (start.searched && lattice.complete) {
            plan.start = std::move(lattice.levels);
        } else {
            const engine::DistanceBounds bounds = engine::smallestBounds(lattice, n, m, plan.exponent);
            // Two points of a Latin design differ by at least 1 in every variable.
            outcome.lowerCityBlock = std::max<std::int64_t>(bounds.cityBlock, m);
            outcome.lowerSquared = std::max<std::int64_t>(bounds.squared, m);
            // Measuring every pair of a design this large would take far longer than
            // building it (100000 x 10, 5e10 pair coordinates: 22 s on 2 cores).
            outcome.measure = 0.5 * n * (n - 1.0) * m <= 1e11;
            outcome.levels = std::move(lattice.levels);
            outcome.constructed = true;
            outcome.cancelled = reports.cancelled();
            outcome.timedOut = reports.timedOut();
        }
    }
    if (!outcome.constructed) outcome = engine::runMultistart(plan);

    // Points in a seeded random order: the search keeps variable 0 in point order, and a
    // reordering of the points changes no distance.
    std::vector<int> order(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) order[static_cast<std::size_t>(i)] = i;
    engine::RandomStream rows(engine::derivedSeed(options.seed, api::rowOrderUse));
    engine::shuffle(rows, order.data(), n);
    std::vector<int> levels(static_cast<std::size_t>(n) * m);
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < m; ++c) {
            levels[static_cast<std::size_t>(i) * m + c] = outcome.levels(order[static_cast<std::size_t>(i)], c);
        }
    }
    return api::finishedResult(std::move(levels), n, m, options, outcome, started);
}

} // namespace olhs
