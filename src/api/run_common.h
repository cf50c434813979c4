// What optimize(), improve() and augment() share: the checks of their options, the plan of
// a multistart run made from them, and where a level lands in [0, 1].
#ifndef OLHS_SRC_API_RUN_COMMON_H
#define OLHS_SRC_API_RUN_COMMON_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "olhs/classic.h"
#include "olhs/errors.h"
#include "olhs/optimize.h"

#include "engine/levels.h"
#include "engine/multistart.h"
#include "engine/random_stream.h"

namespace olhs {
namespace api {

using Clock = std::chrono::steady_clock;

/// Streams of a run besides its restarts', far from any restart number.
constexpr std::uint64_t rowOrderUse = std::uint64_t{1} << 63;
/// The stream of jittered placements.
constexpr std::uint64_t jitterUse = rowOrderUse + 1;
/// The stream that deals the new points of augment() their strata.
constexpr std::uint64_t dealUse = rowOrderUse + 2;

/// At least this many inner iterations per outer one.
constexpr int minimumInnerIterations = 10;

/// Throws InvalidOption "option: range (got given)".
[[noreturn]] void refuse(const std::string& option, const std::string& range, const std::string& given);

/// A number for messages, in its shortest form.
std::string text(double value);

/// "row R, column C" of a design, both counted from 1, as every message names a cell.
std::string cell(int row, int column);
/// Refuses, under `option`, a list that is not n m values long.
void checkSize(const std::string& option, std::size_t size, int n, int m);
/// Refuses, under `option`, levels (n x m, row after row) that are not a Latin design:
/// the first level outside 1..n, or the first repeated in its column.
void checkLatin(const std::string& option, const std::vector<int>& levels, int n, int m);
/// The levels row after row.
std::vector<int> rowMajor(const engine::Levels& levels);

/// Refuses a classic design's shape: n at least 2, m at least `fewestVariables`.
void checkClassicShape(int n, int m, int fewestVariables);
/// Refuses classic limits out of range.
void checkClassicLimits(const ClassicLimits& limits);

/// Where the restarts of a run start: from a lattice design or random ones, and whether a
/// lattice is searched from or handed back as it is.
struct StartPlan {
    bool lattice = false;
    bool searched = true;
};

/// The start of a run of n points in m variables under the options (Start::Auto decided).
StartPlan startFor(int n, int m, const Options& options);

/// NotEnoughMemory where requiredBytes(n, m, options, searched) passes the options' memory
/// limit, or the machine's memory and swap.
void checkMemory(int n, int m, const Options& options, bool searched);
/// NotEnoughMemory where `needed` bytes pass the options' limit or the machine's memory.
void refuseBeyondMemory(int n, int m, double needed, const Options& options);

/// Point-major values into the engine's column-major levels.
engine::Levels levelsFrom(const std::vector<int>& rowMajor, int n, int m);

/// Whether the criterion is judged by products over the variables (MaxPro, discrepancy).
bool productCriterion(Criterion criterion);

/// Whether the options' search is the annealer (the maximin criterion; phi_p of Euclidean
/// distances with a whole p / 2) rather than the evolutionary search.
bool annealsFor(int n, int m, const Options& options);

/// Refuses sizes and options out of range, naming the field.
void checkOptions(int n, int m, const Options& options);

/// The plan of a run of n points in m variables with these options, begun at `started`;
/// `options` must outlive the run (the progress callback refers to it). The inner
/// iterations follow `freePoints`, the points the search may move.
engine::MultistartPlan planFor(int n, int m, int freePoints, const Options& options, Clock::time_point started);

/// Why a run stopped.
StopReason stopReasonOf(const engine::MultistartOutcome& outcome);

/// Reports of a long step that is not a search (building a lattice, measuring a design):
/// called with the share done as often as the step likes, it passes one report in a tenth
/// of a second to the options' callback, and answers false once the callback cancels or
/// the time budget is spent.
class PhaseReports {
public:
    PhaseReports(const Options& options, Phase phase, Clock::time_point started);
    bool operator()(double fractionDone);
    bool cancelled() const { return cancelled_; }
    bool timedOut() const { return timedOut_; }

private:
    const Options& options_;
    Phase phase_;
    Clock::time_point started_;
    Clock::time_point lastReport_;
    bool cancelled_ = false;
    bool timedOut_ = false;
};

/// Where level `level` of n lands in [0, 1] under the placement.
double place(int level, int n, Placement placement, engine::RandomStream& jitter);

/// The result of a run that ended in `outcome` and hands back `levels` (n x m, row after
/// row): the levels placed in [0, 1], and phi_p summed in the order of these rows, so that
/// phip() of the levels gives the same bits.
Result finishedResult(std::vector<int> levels, int n, int m, const Options& options,
                      const engine::MultistartOutcome& outcome, Clock::time_point started);

} // namespace api
} // namespace olhs

#endif
