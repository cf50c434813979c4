#include "engine/stopping.h"

#include <utility>

namespace olhs {
namespace engine {

namespace {

double improvingBelow(double value, double convergence) { return value - convergence * value; }

} // namespace

Stopping::Stopping(const StopRules& rules, double initialValue, Clock clock)
    : rules_(rules),
      clock_(std::move(clock)),
      started_(now(clock_)),
      improvingBelow_(improvingBelow(initialValue, rules.convergence)) {}

double Stopping::seconds() const { return std::chrono::duration<double>(now(clock_) - started_).count(); }

StopRule Stopping::afterIteration(double best) {
    ++iterations_;
    if (best < improvingBelow_) {
        stall_ = 0;
        improvingBelow_ = improvingBelow(best, rules_.convergence);
    } else {
        ++stall_;
    }
    if (iterations_ <= rules_.minIterations) {
        return StopRule::None;
    }
    if (timeLimitReached()) {
        return StopRule::Time;
    }
    if (stalled()) {
        return StopRule::Stall;
    }
    return iterationLimitReached() ? StopRule::Iterations : StopRule::None;
}

} // namespace engine
} // namespace olhs
