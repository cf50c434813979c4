#ifndef OLHS_OPTIMIZE_H
#define OLHS_OPTIMIZE_H

// The optimiser: optimal Latin hypercubes from independent restarts of the evolutionary
// search or of simulated annealing on all cores. Separate from the classes of olhs.h,
// which keep their own interface.

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "olhs/errors.h"
#include "olhs/export.h"

namespace olhs {

/// Distance between points in the phi_p criterion.
enum class Metric { CityBlock, Euclidean };

/// What makes one design better than another.
enum class Criterion {
    Phip,    ///< the smaller phi_p of the distances (exponent Options::p), the default
    Maximin, ///< the larger smallest distance, then fewer pairs at it, then the smaller phi_p
    /// the smaller MaxPro (Joseph, Gul and Ba 2015) of the levels at (k - 0.5) / n: points
    /// apart in every projection onto a subset of the variables
    MaxPro,
    /// the smaller centred L2 discrepancy of the levels at (k - 0.5) / n: points that fill
    /// the cube evenly
    Discrepancy
};

/// What the restarts start from.
enum class Start {
    Auto,    ///< by size: random designs while a search improves on a lattice in its time,
             ///< then the lattice alone (with a time budget: the lattice, then a search from it)
    Random,  ///< a random Latin design per restart
    Lattice  ///< the best rank-1 lattice (Korobov) design for the metric, searched from
};

/// Where level k of n lands in [0, 1].
enum class Placement {
    Centered, ///< (k - 0.5) / n, the middle of its cell
    Grid,     ///< (k - 1) / (n - 1), as OptimalLatinHypercubeDOE places it
    Jittered  ///< uniform within its cell [(k - 1) / n, k / n), seeded
};

/// Why the optimiser stopped.
enum class StopReason {
    Iterations, ///< every restart ran its iterations
    TimeBudget, ///< the time budget ran out
    Cancelled,  ///< the progress callback returned false
    Optimal,    ///< the smallest distance reached a proven bound: no Latin design does better
    Constructed ///< the design is the lattice construction; no search ran (Start::Auto, large n)
};

/// What a run is busy with when it reports progress.
enum class Phase {
    Searching,       ///< restarts of the search
    BuildingLattice, ///< choosing the lattice design (large designs)
    Measuring        ///< measuring every pair of the finished design (large designs)
};

/// What the progress callback is told: after each outer iteration of a restart, and at
/// least ten times a second while a large design is built or measured.
struct Progress {
    int restart;           ///< restart that reports, from 0
    long iteration;        ///< its outer iterations so far
    double bestPhip;       ///< best phi_p of all restarts so far (NaN before any is known)
    double elapsedSeconds; ///< since optimize() began
    Phase phase = Phase::Searching;
    /// Share of a lattice's candidates tried, or of the pairs measured, from 0 to 1 (0
    /// while searching).
    double fractionDone = 0.0;
};

/// Settings of optimize(); every field has a default. The defaults were measured on a
/// 2-core machine to beat the best other tools' phi_p at 12 x 4 to 500 x 20 in a tenth of
/// their time.
struct Options {
    std::uint64_t seed = 1;          ///< the same seed and settings give the same design
    /// Independent searches; the best design wins. A run until the time budget (iterations
    /// 0) makes at least one per thread.
    int restarts = 2;
    /// The number of the first restart: a run makes restarts firstRestart ..
    /// firstRestart + restarts - 1 of its seed, each on the stream the whole run would give
    /// it, so that shares of a run made apart (on a cluster) reduce to the same design: the
    /// best Result::searchValue (maximin: the smallest distance, then its pairs, first), the
    /// lowest Result::bestRestart among equals.
    int firstRestart = 0;
    int threads = 0;                 ///< 0: all cores; at most 1024
    /// Outer iterations per restart (anneals where the search anneals: the maximin
    /// criterion, Euclidean phi_p with an even p); 0: until the time budget if one is set,
    /// else automaticIterations(n, m, options).
    long iterations = 0;
    double timeBudget = 0.0;         ///< seconds for the whole run (steady clock); 0: none
    Metric metric = Metric::CityBlock;
    Criterion criterion = Criterion::Phip;
    Start start = Start::Auto;
    double p = 50.0;                 ///< exponent of phi_p
    Placement placement = Placement::Centered;
    /// Called from the worker threads, one call at a time; returning false cancels.
    std::function<bool(const Progress&)> progress;
    /// Bytes a run may hold at its peak; 0: the machine's memory and swap. A run that
    /// needs more is refused before it allocates (NotEnoughMemory).
    double memoryLimit = 0.0;
};

/// A run refused because it would need more memory than the machine has (or than
/// Options::memoryLimit allows): thrown before anything large is allocated, so that a host
/// process is never driven into swapping or the out-of-memory killer.
class OLHS_API NotEnoughMemory : public std::runtime_error {
public:
    NotEnoughMemory(double neededBytes, double availableBytes, const std::string& message)
        : std::runtime_error(message), needed_(neededBytes), available_(availableBytes) {}
    double neededBytes() const { return needed_; }       ///< a lower estimate
    double availableBytes() const { return available_; } ///< the limit it exceeds

private:
    double needed_, available_;
};

/// The design and what is known of it.
struct Result {
    int points = 0;                 ///< n
    int variables = 0;              ///< m
    std::vector<int> levels;        ///< n x m, row after row, each column a permutation of 1..n
    std::vector<double> design;     ///< the levels placed in [0, 1], row after row
    double phip = 0.0;              ///< phi_p of the levels under the chosen metric and p
    double minCityBlock = 0.0;      ///< smallest city-block distance between two points (levels)
    double minEuclidean = 0.0;      ///< smallest Euclidean distance between two points (levels)
    long pairsAtSmallest = 0;       ///< pairs at the smallest distance of the chosen metric
    /// Under Criterion::MaxPro and Criterion::Discrepancy: the design's MaxPro and centred
    /// L2 discrepancy (levels at (k - 0.5) / n, whatever the placement); 0 otherwise.
    double maxPro = 0.0;
    double discrepancy = 0.0;
    /// False for a lattice too large to measure in the run's time (over 1e11 pair
    /// coordinates): then minCityBlock and minEuclidean are proven lower bounds, phip a
    /// proven upper bound, and pairsAtSmallest 0.
    bool exact = true;
    long iterations = 0;            ///< outer iterations run, over all restarts
    int restarts = 0;               ///< restarts that ran
    int bestRestart = 0;            ///< the number of the restart that made the design
    /// The value the restarts were compared by, as the search kept it: phi_p (under
    /// Criterion::Maximin after the smallest distance and its pairs), MaxPro or the
    /// discrepancy. It may differ from phip in the last bits, which is summed again.
    double searchValue = 0.0;
    StopReason stopReason = StopReason::Iterations;
    double seconds = 0.0;           ///< wall time of the run
};

/// An optimal Latin hypercube of n points in m variables. Throws InvalidOption
/// naming the option and its accepted range when a setting is out of range. With a fixed
/// number of restarts and no time budget the result is the same bits for any number of
/// threads; with a time budget it depends on how far each restart got.
OLHS_API Result optimize(int n, int m, const Options& options = Options());

/// The checks optimize(n, m, options) makes before it starts: throws the InvalidOption it
/// would throw, and nothing for settings it accepts. For front ends that split a run.
OLHS_API void checkOptions(int n, int m, const Options& options);

/// The outer iterations per restart that Options::iterations = 0 means without a time
/// budget, for designs of n points.
OLHS_API long automaticIterations(int n);

/// The iterations per restart that Options::iterations = 0 means without a time budget for
/// designs of n points in m variables under the options' criterion and metric (anneals,
/// where the search anneals).
OLHS_API long automaticIterations(int n, int m, const Options& options);

/// A lower estimate of the bytes optimize(n, m, options) holds at its peak (with
/// `searched`, of a search whatever the start: improve() and augment()).
OLHS_API double requiredBytes(int n, int m, const Options& options, bool searched = false);

/// The bytes a run may hold: Options::memoryLimit, else the machine's memory and swap (0
/// where neither is known).
OLHS_API double availableBytes(const Options& options = Options());

/// Whether optimize(n, m, options) runs a search (false: it hands back the lattice
/// construction alone, in memory linear in n m).
OLHS_API bool searches(int n, int m, const Options& options);

/// Name of a stop reason, for messages: "iterations", "time budget", "cancelled",
/// "proven optimal", "constructed".
OLHS_API std::string toString(StopReason reason);

} // namespace olhs

#endif
