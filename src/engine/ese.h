#ifndef OLHS_ENGINE_ESE_H
#define OLHS_ENGINE_ESE_H

#include <vector>

#include "engine/random_stream.h"
#include "engine/choice.h"
#include "engine/sampling.h"

namespace olhs {
namespace engine {

/// Candidates per inner iteration for n points: ceil(n(n-1)/10), at most 50.
int candidatesPerIteration(int n);
/// Inner iterations per outer iteration for n points.
int innerIterations(int n);
/// Column of the next inner iteration; advances the counter, skipping column 0.
int nextColumn(int& innerCounter, int m);

/// The threshold after an outer iteration, from its acceptance ratio a and improvement
/// ratio b. Exploring iterations scale it by `exploringFactor`, which they first set to
/// 1/0.7 when few moves were accepted and to 0.9 when most were.
double updatedThreshold(double threshold, bool improving, double a, double b, double& exploringFactor);

/// Whether an outer iteration improved: the best value fell by more than 2.5 % of the new
/// best value (false when either is NaN).
inline bool isImproving(double bestBefore, double bestAfter) {
    return (bestBefore - bestAfter) / bestAfter > 0.025;
}

/// Counters of one outer iteration.
struct InnerCounters {
    int innerCounter = 0;
    int accepted = 0;
    int improved = 0;
};

/// The enhanced stochastic evolutionary search: threshold-accepting exchanges of two
/// levels in one column (never column 0), the best of J random pairs per inner iteration.
///
/// The classic turn of columns starts again at every outer iteration, so with fewer inner
/// iterations than columns the last columns never move. With `continuingColumns` the turn
/// runs on across outer iterations instead, and every column has its turn.
///
/// With points held fixed (the first `fixedRows`), pairs are drawn among the other points
/// only, and every column takes part (the turn always runs on): the fixed points tie
/// column 0 down, so holding it still would no longer lose nothing.
///
/// One object owns everything a search changes (its design state, threshold, exploring
/// factor and scratch space) and draws from the stream it is given, so any number of
/// searches can run at once in different threads, each on its own stream.
///
/// State is the criterion's state: points(), variables(), phip(), bestPhip(),
/// best(column, pairs) -> Choice, accept(column, pair) and keepAsBest().
template <class State>
class Search {
public:
    /// A search from the state, drawing from `stream`. The candidates per inner iteration
    /// and the inner iterations per outer one follow the classic rules of the number of
    /// free points unless given.
    Search(State state, RandomStream& stream, double threshold, int candidates = 0, int inner = 0,
           int fixedRows = 0, bool continuingColumns = false)
        : state_(std::move(state)),
          stream_(&stream),
          n_(state_.points()),
          m_(state_.variables()),
          fixed_(fixedRows),
          free_(n_ - fixedRows),
          firstColumn_(fixedRows > 0 || m_ < 2 ? 0 : 1),
          continuing_(fixedRows > 0 || continuingColumns),
          cursor_(firstColumn_),
          J_(candidates > 0 ? candidates : candidatesPerIteration(free_)),
          M_(inner > 0 ? inner : innerIterations(free_ > 2 ? free_ : 2)),
          threshold_(threshold) {}

    State& state() { return state_; }
    const State& state() const { return state_; }
    int candidates() const { return J_; }
    int innerBound() const { return M_; }
    double threshold() const { return threshold_; }
    void setThreshold(double value) { threshold_ = value; }
    double exploringFactor() const { return exploringFactor_; }

    /// Inner iterations until the counter reaches M (at least one), counting acceptances
    /// and improvements of the best design into `counters`.
    void innerLoop(InnerCounters& counters) {
        innerLoop(counters, [] { return false; });
    }

    /// The same, asking `shouldStop` before each inner iteration; false if it stopped the
    /// loop early.
    template <class ShouldStop>
    bool innerLoop(InnerCounters& counters, ShouldStop&& shouldStop) {
        do {
            if (shouldStop()) {
                return false;
            }
            int column = nextColumn(counters.innerCounter, m_);
            if (continuing_) {
                column = cursor_;
                cursor_ = cursor_ + 1 < m_ ? cursor_ + 1 : firstColumn_;
            }
            drawDistinctPairs(*stream_, J_, free_, pairs_);
            if (pairs_.empty()) {
                return true;
            }
            if (fixed_ > 0) {
                for (Pair& pair : pairs_) {
                    pair.a += fixed_;
                    pair.b += fixed_;
                }
            }
            const Choice choice = state_.best(column, pairs_);
            const double delta = choice.value - state_.phip();
            const double r = stream_->next();
            if (threshold_ * r >= delta) {
                state_.accept(column, pairs_[static_cast<std::size_t>(choice.index)]);
                ++counters.accepted;
                if (state_.phip() < state_.bestPhip()) {
                    state_.keepAsBest();
                    ++counters.improved;
                }
            }
        } while (counters.innerCounter < M_);
        return true;
    }

    /// One outer iteration with the search's own exploring factor; true if it improved.
    bool outerIteration() {
        return outerIteration([] { return false; });
    }

    /// The same, asking `shouldStop` before each inner iteration; an outer iteration cut
    /// short leaves the threshold as it was.
    template <class ShouldStop>
    bool outerIteration(ShouldStop&& shouldStop) {
        const double bestBefore = state_.bestPhip();
        InnerCounters counters;
        if (!innerLoop(counters, shouldStop)) {
            return false;
        }
        const bool improving = isImproving(bestBefore, state_.bestPhip());
        threshold_ = updatedThreshold(threshold_, improving, static_cast<double>(counters.accepted) / M_,
                                      static_cast<double>(counters.improved) / M_, exploringFactor_);
        return improving;
    }

private:
    State state_;
    RandomStream* stream_;
    int n_;
    int m_;
    int fixed_;
    int free_;
    int firstColumn_; ///< of the running turn
    bool continuing_;
    int cursor_;
    int J_;
    int M_;
    double threshold_;
    double exploringFactor_ = 1.0 / 0.7;
    std::vector<Pair> pairs_;
};

} // namespace engine
} // namespace olhs

#endif
