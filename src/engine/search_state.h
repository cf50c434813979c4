#ifndef OLHS_ENGINE_SEARCH_STATE_H
#define OLHS_ENGINE_SEARCH_STATE_H

#include <utility>
#include <vector>

#include "engine/fast_phip.h"
#include "engine/levels.h"
#include "engine/sampling.h"

namespace olhs {
namespace engine {

/// What a search changes under a criterion (FastPhip, ProductCriterion: points(),
/// variables(), value(), levels(), best(), exchange(), resum()): the current design, and
/// the best one as levels and value. The best design's levels are brought up to date by
/// replaying the exchanges accepted since it was last kept, not by copying the current
/// design each time. The search's interface names the value phip, the criterion it began
/// with; any criterion where smaller is better serves.
template <class Criterion>
class SearchStateOf {
public:
    SearchStateOf(Criterion current, Levels bestLevels, double bestPhip)
        : current_(std::move(current)), bestLevels_(std::move(bestLevels)), bestPhip_(bestPhip) {}

    int points() const { return current_.points(); }
    int variables() const { return current_.variables(); }
    double phip() const { return current_.value(); }
    double bestPhip() const { return bestPhip_; }
    /// Replaces the current value (a design may carry one that drifted from its distances).
    void setCurrentPhip(double value) { current_.setPhip(value); }
    const Criterion& current() const { return current_; }

    Choice best(int column, const std::vector<Pair>& pairs) const { return current_.best(column, pairs); }

    /// Moves to the exchange and re-sums phi_p from the distances, which clears the
    /// rounding drift of incremental values.
    void accept(int column, const Pair& pair) {
        current_.exchange(column, pair.a - 1, pair.b - 1);
        current_.resum();
        if (bestFollowsCurrent_) {
            pending_.push_back(Exchange{column, pair.a - 1, pair.b - 1});
            // Past one exchange per level a copy is cheaper than the replay.
            if (pending_.size() > static_cast<std::size_t>(points()) * variables()) {
                bestFollowsCurrent_ = false;
                pending_.clear();
            }
        }
    }

    void keepAsBest() {
        if (bestFollowsCurrent_) {
            for (const Exchange& e : pending_) {
                bestLevels_.exchange(e.column, e.a, e.b);
            }
        } else {
            bestLevels_ = current_.levels();
            bestFollowsCurrent_ = true;
        }
        pending_.clear();
        bestPhip_ = current_.value();
        ++improvements_;
    }

    /// The best design's levels.
    const Levels& bestLevels() const { return bestLevels_; }
    /// How often keepAsBest() ran.
    long improvements() const { return improvements_; }

private:
    struct Exchange {
        int column;
        int a;
        int b;
    };

    Criterion current_;
    Levels bestLevels_;
    double bestPhip_;
    bool bestFollowsCurrent_ = false;
    std::vector<Exchange> pending_;
    long improvements_ = 0;
};

/// The state of a search under phi_p.
template <class Dist, int Exponent = 1>
using FastSearchState = SearchStateOf<FastPhip<Dist, Exponent>>;

} // namespace engine
} // namespace olhs

#endif
