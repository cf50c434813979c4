#ifndef OLHS_ENGINE_ANNEAL_H
#define OLHS_ENGINE_ANNEAL_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "engine/exchange_kernel.h"
#include "engine/levels.h"
#include "engine/random_stream.h"

namespace olhs {
namespace engine {

/// ln(u) from +, -, * and / alone, so that every machine gives the same bits (a library
/// log may round differently where it uses fused multiply-adds). Accurate to about 1e-14
/// relative; u > 0.
double portableLog(double u);

/// How a design ranks under the maximin criterion: the smallest distance (larger is
/// better), then how many pairs sit at it (fewer is better).
struct Smallest {
    std::int64_t distance = 0;
    std::int64_t pairs = 0;
};

/// True if `a` is a strictly better maximin value than `b`.
inline bool better(const Smallest& a, const Smallest& b) {
    return a.distance > b.distance || (a.distance == b.distance && a.pairs < b.pairs);
}

/// Smallest distance and the pairs at it, from the levels, by the plain loop.
Smallest smallestOf(const Levels& levels, int exponent);

/// A design under annealing: the levels, every pair's distance as an integer (squared
/// Euclidean or city-block) and its weight w(d) = (d*/d)^q, a histogram of the distances
/// for the exact smallest one, and the energy E = sum of the weights, with per-row sums.
///
/// d* is a reference distance (the best smallest distance so far), so a pair at d* weighs
/// 1 and temperatures mean the same at every size. With q = p / exponent the energy is
/// phi_p^p times d*^q, so minimising it minimises phi_p. The weights are computed, not
/// looked up: a table over every distance would not stay in cache.
class AnnealState {
public:
    /// The design, its distances under `exponent` (1 city-block, 2 squared Euclidean) and
    /// its energy with weights (reference / d)^q.
    AnnealState(const Levels& levels, int exponent, int q, std::int64_t reference);

    int points() const { return levels_.points(); }
    int variables() const { return levels_.variables(); }
    const Levels& levels() const { return levels_; }
    std::int32_t distance(int i, int j) const { return d_[index(i, j)]; }
    Smallest smallest() const { return smallest_; }
    double energy() const { return energy_; }
    double weight(std::int32_t d) const { return pairWeight(d, reference_, q_); }

    /// The smallest new distances of rows a and b after exchanging their levels in column c.
    RowMinima minimaAfter(int c, int a, int b) const;
    /// A lower bound of energyChange() from those minima.
    double energyLowerBound(int a, int b, const RowMinima& minima) const;
    /// The change of energy that exchange would make, summed lane by lane.
    double energyChange(int c, int a, int b);
    /// Makes the exchange, with `change` its energyChange(), the last one judged.
    void exchange(int c, int a, int b, double change);
    /// Sums the energies again from the distances, which removes the drift of the
    /// incremental updates.
    void resum();

private:
    std::size_t index(int i, int j) const { return static_cast<std::size_t>(i) * stride_ + j; }
    std::size_t bin(std::int64_t d) const { return static_cast<std::size_t>(std::min<std::int64_t>(d, cap_ + 1)); }
    void findSmallest(std::int64_t from);
    ExchangeRows rowsFor(int c, int a, int b) const;

    Levels levels_;
    int exponent_;
    int stride_;
    static constexpr std::int32_t sentinel = ExchangeRows::padding;
    std::vector<std::int32_t> d_;           ///< n x stride, diagonal and padding at the sentinel
    std::vector<std::int32_t> columns_;     ///< the levels, each column padded to the stride with 0
    std::vector<double> w_;                 ///< n x stride weights, 0 on the diagonal and padding
    std::vector<double> freshA_;            ///< new weights of the rows of the last energyChange()
    std::vector<double> freshB_;
    double reference_;
    int q_;
    std::int64_t cap_;                      ///< the histogram's last exact bin
    std::vector<std::int32_t> histogram_;   ///< pairs at each distance up to cap_; one more bin holds the rest
    Smallest smallest_;
    std::vector<double> rowEnergy_;
    double energy_ = 0.0;
    ExchangeKernels kernels_;
};

/// Settings of an annealing restart.
struct AnnealSettings {
    int exponent = 2;       ///< 1 city-block, 2 squared Euclidean
    int q = 25;             ///< the power of the energy's weights
    bool maximin = true;    ///< best by (smallest, pairs at it, energy); else by energy alone
    long proposalsPerAnneal = 0;
    /// Anneals of one chain without a better design before a new chain starts from a random
    /// design (the restart keeps its best).
    int patience = 8;
    /// The smallest distance no design can exceed: reaching it ends the restart.
    std::int64_t bound = 0;
};

/// Simulated annealing of Latin designs (after Morris and Mitchell 1995): uniform random
/// exchanges of two levels in one column, Metropolis acceptance, geometric cooling from
/// T = 1 to 0.02 in 200 stages, each anneal started from the chain's best design.
///
/// A proposal first takes the closest new pair of each of the two rows (a vector pass): the
/// new energy of the rows is at least their weights, so when that already fails the test
/// the exact change is never summed (about four proposals in five at 100 x 10).
///
/// A new chain (the first, and one after `patience` anneals without a better design)
/// starts with a descent that accepts only lower energies, which brings a random design's
/// closest pairs to the scale the anneals' weights assume.
class Annealer {
public:
    Annealer(const AnnealSettings& settings, Levels start, RandomStream& stream);

    /// One stage of the current anneal (its proposals / 200 proposals), or as many
    /// proposals of a new chain's descent; a new anneal, and where the chain has stalled a
    /// new chain, begins when one ends. False when the bound is reached (nothing better
    /// exists).
    bool stage();

    /// The best design of the restart so far.
    const Levels& best();
    Smallest bestSmallest() const { return bestSmallest_; }
    /// phi_p of the best design on the integer measure, as its energy gives it.
    double bestPhipEstimate() const;
    long anneals() const { return anneals_; }
    long proposals() const { return proposals_; }
    /// Whether an anneal is under way (false between two).
    bool midAnneal() const { return stage_ > 0; }
    /// Sets the length of the anneals from the next one on.
    void setProposalsPerAnneal(long proposals) { settings_.proposalsPerAnneal = proposals; }

    /// Stages per anneal.
    static constexpr int stages = 200;

private:
    /// An exchange of the levels of points a and b in one column.
    struct Exchange {
        int column;
        int a;
        int b;
    };

    Exchange drawExchange(int n, int m);
    /// Makes the exchange if its energy change is below the threshold; whether it did.
    bool tryExchange(const Exchange& move, double threshold);
    double energyKey(double energy) const;
    bool chainImprovedBy(const Smallest& value, double energy) const;
    bool reachedBound() const;
    void startChain(const Levels& start);
    void descend(long proposals);
    void beginAnneal();
    void keepChainBest();
    void foldChainIntoBest();

    AnnealSettings settings_;
    RandomStream* stream_;
    AnnealState state_;
    Levels best_;
    Smallest bestSmallest_;
    std::int64_t reference_;  ///< d* of the current anneal
    double bestKey_ = 0.0;    ///< energyKey() of the best design
    Levels chainBest_;        ///< the best design of the current chain, where anneals start
    Smallest chainSmallest_;
    double chainEnergy_;      ///< under the current anneal's weights
    std::vector<Exchange> journal_; ///< exchanges since chainBest_ was last brought up to date
    bool journalling_ = true;
    int stalled_ = 0;         ///< anneals of the chain without a better design
    bool chainImproved_ = false;
    bool descending_ = false;      ///< a new chain's descent is under way
    std::int64_t descentReference_ = 1;
    long idle_ = 0;                ///< descent proposals since the last move
    long descentLeft_ = 0;
    int stage_ = 0;
    double temperature_ = 1.0;
    long anneals_ = 0;
    long proposals_ = 0;
    long acceptedSinceResum_ = 0;
};

} // namespace engine
} // namespace olhs

#endif
