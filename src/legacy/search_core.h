#ifndef OLHS_SRC_SEARCH_CORE_H
#define OLHS_SRC_SEARCH_CORE_H

#include <memory>

#include "engine/ese.h"
#include "engine/random_stream.h"
#include "olhs/OptimalLH.h"

namespace olhs {
namespace detail {

/// The engine search behind a SimpleESEA: its current and best designs, moved by the
/// inner loops the SimpleESEA asks for. Designs under the incremental flag whose
/// distances match their levels run on the fast integer criterion; any other design (other
/// flags, or distances a host made stale) runs on copies of the design objects, with the
/// same arithmetic the design's own exchanges use.
class SearchCore {
public:
    virtual ~SearchCore() = default;
    virtual std::unique_ptr<SearchCore> clone() const = 0;
    /// Inner iterations at the given threshold until the counter reaches M.
    virtual void innerLoop(engine::InnerCounters& counters, double threshold) = 0;
    /// The best value so far.
    virtual double bestPhip() const = 0;
    /// How often the best design improved.
    virtual long improvements() const = 0;
    /// The best design as a design object.
    virtual OptimalLH bestDesign() const = 0;
};

/// A search that starts from `initial` with `best` as the best design so far, drawing from
/// `stream`.
std::unique_ptr<SearchCore> makeSearchCore(const OptimalLH& initial, const OptimalLH& best,
                                           engine::RandomStream& stream);

} // namespace detail
} // namespace olhs

#endif
