#ifndef OLHS_CLASSIC_H
#define OLHS_CLASSIC_H

// The classic search of OptimalLatinHypercubeDOE as one re-entrant call: its own random
// stream and its own threshold state, so any number may run at once and each gives the
// design of a program's first entry-point call with that seed.

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "olhs/errors.h"
#include "olhs/optimize.h"
#include "olhs/export.h"

namespace olhs {

/// When the classic search stops; the defaults are the entry point's.
struct ClassicLimits {
    int maxIterations = 2000;
    int stallIterations = 100;  ///< more outer iterations than this without improvement stop it
    int minIterations = 5;      ///< no rule stops it before this many
    double timeLimit = std::numeric_limits<double>::infinity(); ///< seconds (steady clock)
    /// An iteration improves when phi_p falls more than this share below the last
    /// improving value; in [0, 1].
    double convergence = 0.01;
};

/// Why the classic search stopped.
enum class ClassicStop { Iterations, Stall, TimeLimit, Cancelled };

/// What the progress callback is told before each outer iteration.
struct ClassicProgress {
    int iteration;     ///< outer iterations done
    double bestPhip;   ///< best phi_p so far
    /// Whether the classic search prints its progress line here (every stallIterations
    /// iterations); classicProgressLine() is that line.
    bool lineDue;
};

/// The design and how the search ended.
struct ClassicResult {
    int points = 0;
    int variables = 0;
    std::vector<int> levels;    ///< n x m, row after row; column 0 is 1..n in order
    double phip = 0.0;          ///< phi_p (p = 50, city block) as the search kept it
    ClassicStop stopReason = ClassicStop::Iterations;
    int iterations = 0;         ///< outer iterations run
    double seconds = 0.0;
};

/// The classic search's design of n points in m variables (at least 2 each) from `seed`:
/// the entry point's random design, improved until a limit holds. The same seed gives the
/// same bits as `CRand::seed(seed)` followed by the entry point in a fresh process.
/// `progress` returning false stops the search with the best design so far. Throws
/// InvalidOption for settings out of range.
OLHS_API ClassicResult classic(int n, int m, const ClassicLimits& limits, std::uint64_t seed,
                               const std::function<bool(const ClassicProgress&)>& progress = {});

/// A lower estimate of the bytes classic() holds at its peak (with `withReport`, of
/// classicWithReport(), whose classes keep several copies of the design and of its n x n
/// distances as doubles). Both refuse with NotEnoughMemory (optimize.h) a run whose
/// estimate passes the machine's memory and swap, before they allocate.
OLHS_API double classicRequiredBytes(int n, int m, bool withReport = false);

/// The checks classic() (with `withReport`, classicWithReport()) makes before it starts:
/// throws the InvalidOption or NotEnoughMemory it would throw.
OLHS_API void checkClassic(int n, int m, const ClassicLimits& limits, bool withReport = false);

/// classic() run by the classic classes themselves, which also write their report files
/// (`reportPrefix` followed by the files' names) and print their progress lines on
/// standard output. They hold the process's shared random stream and exploring factor:
/// one call at a time. The time limit is counted in whole seconds of calendar time.
OLHS_API ClassicResult classicWithReport(int n, int m, const ClassicLimits& limits, std::uint64_t seed,
                                         const std::string& reportPrefix);

/// The report files classicWithReport() writes for `reportPrefix`: the initial and the
/// optimal design in both layouts, then the full report.
OLHS_API std::vector<std::string> classicReportFiles(const std::string& reportPrefix);

/// The classic random design the search starts from (n at least 2, m at least 1), levels
/// row after row; column 0 in point order, unless it is the only column, which is then
/// shuffled with the next draws of the stream.
OLHS_API std::vector<int> classicRandom(int n, int m, std::uint64_t seed);

/// The classic search's progress line, newline included.
OLHS_API std::string classicProgressLine(const ClassicProgress& progress);

/// Name of a stop reason, for messages: "iterations", "stall", "time limit", "cancelled".
OLHS_API std::string toString(ClassicStop reason);

} // namespace olhs

#endif
