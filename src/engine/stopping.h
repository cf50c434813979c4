#ifndef OLHS_ENGINE_STOPPING_H
#define OLHS_ENGINE_STOPPING_H

#include <chrono>
#include <functional>
#include <limits>

namespace olhs {
namespace engine {

/// The clock a search's time rules read; empty means the steady clock. Tests give one
/// that ticks as they decide.
using Clock = std::function<std::chrono::steady_clock::time_point()>;

/// The clock's time now.
inline std::chrono::steady_clock::time_point now(const Clock& clock) {
    return clock ? clock() : std::chrono::steady_clock::now();
}

/// The rules that end a run of outer iterations.
struct StopRules {
    int maxIterations = 100;
    int minIterations = 5;   ///< no rule ends the run before this many iterations
    int stallIterations = 10; ///< more iterations than this without improvement end it
    double timeLimit = std::numeric_limits<double>::infinity(); ///< seconds
    /// An iteration improves when its best value falls below the last improving one by
    /// more than this share of it.
    double convergence = 0.01;
};

/// Which rule ended the run.
enum class StopRule { None, Iterations, Time, Stall };

/// Counts a run's outer iterations against its rules, one predicate per rule.
class Stopping {
public:
    Stopping(const StopRules& rules, double initialValue, Clock clock = {});

    /// Counts an iteration whose best value is `best`: the rule that ends the run here, or
    /// None. When several hold, the time limit is named first, then the stall.
    StopRule afterIteration(double best);

    int iterations() const { return iterations_; }
    double seconds() const;

private:
    bool iterationLimitReached() const { return iterations_ == rules_.maxIterations; }
    bool timeLimitReached() const { return seconds() > rules_.timeLimit; }
    bool stalled() const { return stall_ > rules_.stallIterations; }

    StopRules rules_;
    Clock clock_;
    std::chrono::steady_clock::time_point started_;
    double improvingBelow_;
    int iterations_ = 0;
    int stall_ = 0;
};

} // namespace engine
} // namespace olhs

#endif
