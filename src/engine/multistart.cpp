#include "engine/multistart.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/construction.h"
#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/power_table.h"
#include "engine/random_stream.h"
#include "engine/search_state.h"

namespace olhs {
namespace engine {

namespace {

std::uint64_t splitmix64(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15u;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
    return x ^ (x >> 31);
}

// What the threads of one run share: the restart to take next, the best value so far for
// the progress reports, and whether to stop.
struct Shared {
    std::atomic<int> next{0};
    std::atomic<bool> stop{false};
    std::atomic<bool> timedOut{false};
    std::atomic<bool> cancelled{false};
    std::mutex reporting;
    double bestSoFar = 0.0;
    bool anyBest = false;
};

struct RestartResult {
    Levels levels;
    double phip = 0.0;
    Smallest smallest;
    long iterations = 0;
    bool ran = false;
    bool optimal = false;
};

// Proposals per anneal when a run has neither a length nor a deadline: 1000 per level of
// the design, fewer for large designs so that an anneal stays near 4e8 lane operations.
long defaultAnnealProposals(int n, int m) {
    return std::max(1L, std::min(1000L * n * m, 400000000L / std::max(n, 1)));
}

// Records the restart's progress and asks the callback whether to go on; false to stop.
bool report(const MultistartPlan& plan, int restart, long iterations, double best, Shared& shared) {
    const std::lock_guard<std::mutex> lock(shared.reporting);
    if (!shared.anyBest || best < shared.bestSoFar) {
        shared.bestSoFar = best;
        shared.anyBest = true;
    }
    // No call once the run is cancelled or out of time, even from a restart that waited
    // for the lock meanwhile.
    if (plan.onIteration && !shared.stop.load() && !plan.onIteration(restart, iterations, shared.bestSoFar)) {
        shared.cancelled = true;
        shared.stop = true;
    }
    return !shared.stop.load();
}

// The design with its points reordered so that column 0 reads as in `start`: the annealer
// moves every column, and a given design's points keep their first level this way
// (reordering points changes no distance).
Levels inRowsOf(const Levels& design, const Levels& start) {
    const int n = design.points();
    std::vector<int> rowOfLevel(static_cast<std::size_t>(n) + 1);
    for (int i = 0; i < n; ++i) rowOfLevel[static_cast<std::size_t>(start(i, 0))] = i;
    Levels reordered(n, design.variables());
    for (int i = 0; i < n; ++i) {
        const int row = rowOfLevel[static_cast<std::size_t>(design(i, 0))];
        for (int c = 0; c < design.variables(); ++c) reordered.set(row, c, design(i, c));
    }
    return reordered;
}

// The stream of restart `restart` of the run the plan is a share of.
RandomStream streamOf(const MultistartPlan& plan, int restart) {
    return RandomStream(derivedSeed(plan.seed, static_cast<std::uint64_t>(plan.firstRestart) + restart));
}

// The plan's start, or a random Latin design drawn from the restart's stream.
Levels startOf(const MultistartPlan& plan, RandomStream& stream) {
    return plan.start.points() > 0 ? plan.start : randomLatin(plan.points, plan.variables, stream);
}

template <class Dist, int Exponent>
RestartResult annealRestart(const MultistartPlan& plan, int restart, const std::shared_ptr<const PowerTable>& table,
                            Shared& shared) {
    const auto began = now(plan.clock);
    RandomStream stream = streamOf(plan, restart);
    Levels start = startOf(plan, stream);
    const long shortest = 400L * plan.points * plan.variables;
    const long standard = defaultAnnealProposals(plan.points, plan.variables);
    const bool fitted = plan.proposalsPerAnneal == 0 && plan.deadline != std::chrono::steady_clock::time_point::max();
    AnnealSettings settings;
    settings.exponent = Exponent;
    settings.q = plan.annealPower;
    settings.maximin = plan.maximin;
    settings.proposalsPerAnneal = plan.proposalsPerAnneal > 0 ? plan.proposalsPerAnneal
                                  : fitted                    ? shortest
                                                              : standard;
    settings.bound = plan.bound;
    Annealer annealer(settings, std::move(start), stream);
    RestartResult result;
    result.ran = true;
    bool finished = false;
    while (!finished && annealer.anneals() < plan.iterations && !shared.stop.load(std::memory_order_relaxed)) {
        if (now(plan.clock) >= plan.deadline) {
            shared.timedOut = true;
            shared.stop = true;
            break;
        }
        finished = !annealer.stage();
        if (fitted && annealer.anneals() == 1 && !annealer.midAnneal()) {
            // The first anneal measured this machine's pace: about four anneals fill the
            // rest of the time, within 400 and 4000 proposals per level of the design.
            const double spent = std::chrono::duration<double>(now(plan.clock) - began).count();
            const double left = std::chrono::duration<double>(plan.deadline - now(plan.clock)).count();
            const double pace = static_cast<double>(annealer.proposals()) / std::max(spent, 1e-6);
            const double wanted = std::min(pace * left / 4.0, 10.0 * shortest);
            annealer.setProposalsPerAnneal(std::max(shortest, static_cast<long>(wanted)));
        }
        if (!report(plan, restart, annealer.anneals(), annealer.bestPhipEstimate(), shared)) break;
    }
    result.levels = plan.start.points() > 0 ? inRowsOf(annealer.best(), plan.start) : annealer.best();
    result.iterations = annealer.anneals();
    result.smallest = annealer.bestSmallest();
    result.optimal = finished;
    result.phip = FastPhip<Dist, Exponent>(result.levels, table, 0).phip();
    return result;
}

// One restart of the evolutionary search under the criterion make(start) returns.
template <class MakeCriterion>
RestartResult searchRestart(const MultistartPlan& plan, int restart, Shared& shared, MakeCriterion&& make) {
    RandomStream stream = streamOf(plan, restart);
    Levels start = startOf(plan, stream);
    auto current = make(start);
    const double value = current.value();
    // The best design so far is the start: a search never returns anything worse.
    Search<SearchStateOf<decltype(current)>> search(SearchStateOf<decltype(current)>(std::move(current), start, value),
                                                    stream, 0.005 * value, 0, plan.innerIterations, plan.fixedRows,
                                                    plan.continuingColumns);
    RestartResult result;
    result.ran = true;
    while (result.iterations < plan.iterations && !shared.stop.load(std::memory_order_relaxed)) {
        bool outOfTime = false;
        search.outerIteration([&] {
            outOfTime = outOfTime || now(plan.clock) >= plan.deadline;
            return outOfTime;
        });
        if (outOfTime) {
            shared.timedOut = true;
            shared.stop = true;
            break;
        }
        ++result.iterations;
        report(plan, restart, result.iterations, search.state().bestPhip(), shared);
    }
    result.levels = search.state().bestLevels();
    result.phip = search.state().bestPhip();
    return result;
}

template <class Dist, int Exponent>
RestartResult runRestart(const MultistartPlan& plan, int restart, const std::shared_ptr<const PowerTable>& table,
                         Shared& shared) {
    return searchRestart(plan, restart, shared, [&](const Levels& start) {
        return FastPhip<Dist, Exponent>(start, table, plan.fixedRows);
    });
}

RestartResult productRestart(const MultistartPlan& plan, int restart, Shared& shared) {
    return searchRestart(plan, restart, shared,
                         [&](const Levels& start) { return ProductCriterion(start, *plan.product); });
}

template <class Dist, int Exponent>
RestartResult restartOf(const MultistartPlan& plan, int restart, const std::shared_ptr<const PowerTable>& table,
                        Shared& shared) {
    return plan.anneal ? annealRestart<Dist, Exponent>(plan, restart, table, shared)
                       : runRestart<Dist, Exponent>(plan, restart, table, shared);
}

bool beats(const MultistartPlan& plan, const RestartResult& a, const RestartResult& b) {
    return betterDesign(plan.maximin, a.smallest, a.phip, b.smallest, b.phip);
}

// Restart `restart` alone, by runRestart(plan, restart, shared).
template <class RunRestart>
MultistartOutcome runAlone(const MultistartPlan& plan, int restart, RunRestart&& runRestart) {
    MultistartPlan alone = plan;
    alone.deadline = std::chrono::steady_clock::time_point::max();
    alone.onIteration = nullptr;
    Shared shared;
    RestartResult result = runRestart(alone, restart, shared);
    MultistartOutcome outcome;
    outcome.levels = std::move(result.levels);
    outcome.phip = result.phip;
    outcome.smallest = result.smallest;
    outcome.iterations = result.iterations;
    outcome.restarts = 1;
    return outcome;
}

// Every restart of the plan, by runRestart(plan, restart, shared), on its threads; the best
// design wins.
template <class RunRestart>
MultistartOutcome runAll(const MultistartPlan& plan, RunRestart&& runRestart) {
    std::vector<RestartResult> results(static_cast<std::size_t>(plan.restarts));
    Shared shared;
    std::exception_ptr failure;
    std::mutex failing;
    auto worker = [&] {
        for (;;) {
            const int restart = shared.next.fetch_add(1);
            // Restart 0 always runs, so that a run stopped at once still has a design.
            if (restart >= plan.restarts || (restart > 0 && shared.stop.load())) {
                return;
            }
            try {
                results[static_cast<std::size_t>(restart)] = runRestart(plan, restart, shared);
            } catch (...) {
                const std::lock_guard<std::mutex> lock(failing);
                failure = std::current_exception();
                shared.stop = true;
            }
        }
    };
    const int threads = std::max(1, std::min(plan.threads, plan.restarts));
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t) {
        pool.emplace_back(worker);
    }
    worker();
    for (std::thread& thread : pool) {
        thread.join();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }

    MultistartOutcome outcome;
    int best = -1;
    for (int r = 0; r < plan.restarts; ++r) {
        const RestartResult& result = results[static_cast<std::size_t>(r)];
        if (!result.ran) {
            continue;
        }
        ++outcome.restarts;
        outcome.iterations += result.iterations;
        if (best < 0 || beats(plan, result, results[static_cast<std::size_t>(best)])) {
            best = r;
        }
    }
    outcome.levels = std::move(results[static_cast<std::size_t>(best)].levels);
    outcome.phip = results[static_cast<std::size_t>(best)].phip;
    outcome.smallest = results[static_cast<std::size_t>(best)].smallest;
    outcome.optimal = results[static_cast<std::size_t>(best)].optimal;
    outcome.bestRestart = plan.firstRestart + best;
    outcome.timedOut = shared.timedOut;
    outcome.cancelled = shared.cancelled;
    return outcome;
}

// run(runRestart) with the way to run one restart of the plan's criterion: phi_p of
// distances held in the narrowest type that fits, or a product criterion.
template <class Run>
MultistartOutcome withRestarts(const MultistartPlan& plan, Run&& run) {
    if (plan.product) {
        return run([](const MultistartPlan& p, int restart, Shared& shared) { return productRestart(p, restart, shared); });
    }
    const auto phipRestarts = [&](auto dist, auto exponent) {
        using Dist = decltype(dist);
        constexpr int Exponent = decltype(exponent)::value;
        const auto table = std::make_shared<const PowerTable>(plan.p, maxMeasure(plan.points, plan.variables, Exponent),
                                                              Exponent);
        return run([table](const MultistartPlan& p, int restart, Shared& shared) {
            return restartOf<Dist, Exponent>(p, restart, table, shared);
        });
    };
    if (plan.exponent == 2) {
        return phipRestarts(std::uint32_t{}, std::integral_constant<int, 2>{});
    }
    return FastPhip<std::uint16_t, 1>::fits(plan.points, plan.variables)
               ? phipRestarts(std::uint16_t{}, std::integral_constant<int, 1>{})
               : phipRestarts(std::uint32_t{}, std::integral_constant<int, 1>{});
}

} // namespace

std::uint64_t derivedSeed(std::uint64_t seed, std::uint64_t use) { return splitmix64(splitmix64(seed) ^ use); }

Levels randomLatin(int n, int m, RandomStream& stream) {
    Levels levels(n, m);
    std::vector<std::int32_t> column(static_cast<std::size_t>(n));
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) {
            column[static_cast<std::size_t>(i)] = i + 1;
        }
        if (c > 0) shuffle(stream, column.data(), n);
        for (int i = 0; i < n; ++i) {
            levels.set(i, c, column[static_cast<std::size_t>(i)]);
        }
    }
    return levels;
}

MultistartOutcome runMultistart(const MultistartPlan& plan) {
    if (plan.variables < 2 || plan.points - plan.fixedRows < 2) {
        // One variable (or one free point) leaves nothing to exchange: every order is as
        // good. The value is left to the caller.
        MultistartOutcome outcome;
        RandomStream stream = streamOf(plan, 0);
        outcome.levels = startOf(plan, stream);
        outcome.restarts = 1;
        return outcome;
    }
    if (plan.maximin && plan.exponent == 1 && plan.start.points() == 0) {
        // Where a construction is proven optimal, no search can do better.
        Levels built = provenOptimalCityBlock(plan.points, plan.variables);
        if (built.points() > 0) {
            MultistartOutcome outcome;
            outcome.smallest = smallestOf(built, 1);
            outcome.levels = std::move(built);
            outcome.optimal = true;
            return outcome;
        }
    }
    return withRestarts(plan, [&](auto&& runRestart) { return runAll(plan, runRestart); });
}

MultistartOutcome runOneRestart(const MultistartPlan& plan, int restart) {
    return withRestarts(plan, [&](auto&& runRestart) { return runAlone(plan, restart, runRestart); });
}

} // namespace engine
} // namespace olhs
