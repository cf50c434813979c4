#ifndef OLHS_ENGINE_MULTISTART_H
#define OLHS_ENGINE_MULTISTART_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "engine/anneal.h"
#include "engine/levels.h"
#include "engine/product_criterion.h"
#include "engine/random_stream.h"
#include "engine/stopping.h"

namespace olhs {
namespace engine {

/// The seed of the stream of one use (a restart, the row order, the jitter) of a run's
/// seed: splitmix64 of both, so that neighbouring seeds and uses give unrelated streams.
std::uint64_t derivedSeed(std::uint64_t seed, std::uint64_t use);

/// A random Latin design: variable 0 holds 1..n in point order (the search never moves
/// it, and the point order is shuffled afterwards), the others are uniform permutations
/// (n - 1 draws each).
Levels randomLatin(int n, int m, RandomStream& stream);

/// Whether design a beats design b: by phi_p, or under the maximin criterion by the
/// smallest distance (larger), the pairs at it (fewer), then phi_p. Equals do not beat.
inline bool betterDesign(bool maximin, const Smallest& a, double phipA, const Smallest& b, double phipB) {
    if (maximin) {
        if (better(a, b)) return true;
        if (better(b, a)) return false;
    }
    return phipA < phipB;
}

/// What a multistart run is asked to do.
struct MultistartPlan {
    int points = 0;
    int variables = 0;
    int exponent = 1;     ///< 1 city-block, 2 Euclidean
    double p = 50.0;
    std::uint64_t seed = 1;
    int restarts = 1;
    /// The restarts run are firstRestart .. firstRestart + restarts - 1 of the seed: shares
    /// of one run on several machines, each on the streams the whole run would use.
    int firstRestart = 0;
    int threads = 1;
    long iterations = 1;  ///< outer iterations per restart
    int innerIterations = 0; ///< per outer iteration; 0: the classic rule of n
    /// The design every restart starts from; none (0 points): a random Latin design each.
    Levels start;
    /// Points of `start` no exchange moves (the first ones); their pairs among themselves
    /// are left out of phi_p. 0: all points are free and column 0 is held still.
    int fixedRows = 0;
    /// The turn of columns runs on across outer iterations (see Search), so that designs
    /// with more columns than inner iterations move them all.
    bool continuingColumns = false;
    /// Anneal instead of the evolutionary search; `iterations` then counts anneals.
    bool anneal = false;
    /// Best design by the smallest distance, then the pairs at it, then phi_p (else by
    /// phi_p).
    bool maximin = false;
    /// Search a product criterion instead of phi_p (the evolutionary search; exponent and
    /// p then play no part).
    std::optional<ProductKind> product;
    /// The power of the annealer's weights on the integer measure: p / exponent for
    /// phi_p, a whole number.
    int annealPower = 25;
    /// Proposals per anneal; 0: fitted to the deadline where there is one.
    long proposalsPerAnneal = 0;
    /// A smallest distance no design can exceed (0: none); a restart that reaches it stops.
    std::int64_t bound = 0;
    /// When to stop whatever the iterations; time_point::max(): never.
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
    /// The clock the deadline is read on, called from every restart's thread.
    Clock clock;
    /// After each outer iteration (restart, its iterations, best phi_p of all so far);
    /// called one at a time; returning false cancels the run.
    std::function<bool(int, long, double)> onIteration;
};

/// The best design of a multistart run.
struct MultistartOutcome {
    Levels levels;
    double phip = 0.0;    ///< of the pairs not both fixed
    Smallest smallest;    ///< its smallest distance and the pairs at it (annealing only)
    long iterations = 0;  ///< over all restarts
    int restarts = 0;     ///< restarts that ran
    int bestRestart = 0;  ///< the winner's number, from the plan's first
    bool timedOut = false;
    bool cancelled = false;
    bool optimal = false; ///< its smallest distance is the plan's bound
    bool constructed = false; ///< built, not searched
    /// For a constructed design: proven lower bounds of its smallest city-block and squared
    /// Euclidean distances (0: none known).
    std::int64_t lowerCityBlock = 0;
    std::int64_t lowerSquared = 0;
    /// Whether its pairs are to be measured (false where that would take far longer than
    /// the rest of the run; the bounds then stand for the measures).
    bool measure = true;
};

/// Runs the restarts on up to `threads` threads, each restart on its own stream derived
/// from (seed, restart); the best design wins, ties to the lowest restart. Without a
/// deadline or a cancellation the outcome does not depend on the number of threads.
MultistartOutcome runMultistart(const MultistartPlan& plan);

/// Restart `restart` of the plan alone, as runMultistart runs it (no deadline, no calls).
MultistartOutcome runOneRestart(const MultistartPlan& plan, int restart);

} // namespace engine
} // namespace olhs

#endif
