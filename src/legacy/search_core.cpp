#include "search_core.h"

#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "criterion_access.h"
#include "design_access.h"
#include "engine/fast_phip.h"
#include "engine/search_state.h"
#include "optimal_access.h"

namespace olhs {
namespace detail {

namespace {

using engine::Choice;
using engine::FastPhip;
using engine::FastSearchState;
using engine::InnerCounters;
using engine::Levels;
using engine::Pair;
using engine::RandomStream;
using engine::Search;

PHIpCriterion& criterionOf(const OptimalLH& x) { return OptimalLHAccess::criterion(const_cast<OptimalLH&>(x)); }

// The design's levels, if they are whole numbers that make a Latin hypercube of its size.
bool latinLevels(const OptimalLH& x, Levels& out) {
    const Matrix& rows = LatinHypercubeAccess::levels(x);
    const int n = LatinHypercubeAccess::points(x);
    const int m = LatinHypercubeAccess::variables(x);
    if (n < 2 || m < 2 || static_cast<int>(rows.size()) < n) {
        return false;
    }
    Levels levels(n, m);
    for (int i = 0; i < n; ++i) {
        if (static_cast<int>(rows[i].size()) < m) {
            return false;
        }
        for (int c = 0; c < m; ++c) {
            const double v = rows[i][c];
            if (!(v >= 1.0 && v <= n) || v != std::floor(v)) {
                return false;
            }
            levels.set(i, c, static_cast<std::int32_t>(v));
        }
    }
    if (!engine::isLatin(levels)) {
        return false;
    }
    out = std::move(levels);
    return true;
}

// The packed upper triangle of the city-block distances of a design. Sums of whole
// numbers far below 2^53 are exact in doubles, so they are summed in place.
std::vector<double> packedDistances(const Levels& levels) {
    const int n = levels.points();
    std::vector<double> sums(static_cast<std::size_t>(n) * (n - 1) / 2, 0.0);
    for (int c = 0; c < levels.variables(); ++c) {
        const std::int32_t* x = levels.column(c);
        double* out = sums.data();
        for (int i = 0; i < n; ++i) {
            const std::int32_t xi = x[i];
            for (int j = i + 1; j < n; ++j) {
                *out++ += std::abs(xi - x[j]);
            }
        }
    }
    return sums;
}

// The legacy design whose levels these are, carrying the given value and distances.
OptimalLH designOf(const Levels& levels, const OptimalLH& like, double phip) {
    const int n = levels.points();
    const int m = levels.variables();
    Matrix rows(static_cast<std::size_t>(n), std::valarray<double>(static_cast<std::size_t>(m)));
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < m; ++c) {
            rows[i][c] = levels(i, c);
        }
    }
    OptimalLH design;
    LatinHypercubeAccess::assign(design, n, m, std::move(rows));
    design.setPHICflag(const_cast<OptimalLH&>(like).getPHICflag());
    const PHIpCriterion& model = criterionOf(like);
    PHIpCriterionAccess::assign(OptimalLHAccess::criterion(design), n, phip, packedDistances(levels),
                                PHIpCriterionAccess::sharedTerms(model));
    return design;
}

template <class Dist>
class FastCore final : public SearchCore {
public:
    FastCore(FastPhip<Dist> current, double phip, const OptimalLH& best, RandomStream& stream)
        : search_(FastSearchState<Dist>(std::move(current), Levels(), const_cast<OptimalLH&>(best).getOptCrt()),
                  stream, 0.0),
          originalBest_(best),
          like_(best) {
        search_.state().setCurrentPhip(phip);
    }
    std::unique_ptr<SearchCore> clone() const override { return std::make_unique<FastCore>(*this); }
    void innerLoop(InnerCounters& counters, double threshold) override {
        search_.setThreshold(threshold);
        search_.innerLoop(counters);
    }
    double bestPhip() const override { return search_.state().bestPhip(); }
    long improvements() const override { return search_.state().improvements(); }
    OptimalLH bestDesign() const override {
        if (improvements() == 0) {
            return originalBest_;
        }
        return designOf(search_.state().bestLevels(), like_, bestPhip());
    }
    void setLike(const OptimalLH& initial) { like_ = initial; }

private:
    Search<FastSearchState<Dist> > search_;
    OptimalLH originalBest_;
    OptimalLH like_;
};

// The search on design objects, for every case the fast criterion does not cover.
class ReferenceState {
public:
    ReferenceState(const OptimalLH& initial, const OptimalLH& best)
        : current_(initial), best_(best), mode_(current_.getPHICflag()) {}

    int points() const { return LatinHypercubeAccess::points(current_); }
    int variables() const { return LatinHypercubeAccess::variables(current_); }
    double phip() const { return PHIpCriterionAccess::value(criterionOf(current_)); }
    double bestPhip() const { return PHIpCriterionAccess::value(criterionOf(best_)); }
    long improvements() const { return improvements_; }
    const OptimalLH& bestDesign() const { return best_; }

    Choice best(int column, const std::vector<Pair>& pairs) {
        const int count = static_cast<int>(pairs.size());
        Choice chosen{0, 0.0};
        if (mode_ == 1) {
            // Judged from the current distances: the same operations as the exchange.
            PHIpCriterion& c = OptimalLHAccess::criterion(current_);
            const PackedDistances D = PHIpCriterionAccess::view(c);
            const engine::PowerTable& terms = PHIpCriterionAccess::terms(c);
            const Matrix& levels = LatinHypercubeAccess::levels(current_);
            for (int t = 0; t < count; ++t) {
                const double value =
                    phipAfterExchange(D, PHIpCriterionAccess::value(c), PHIpCriterionAccess::normExponent(c),
                                      PHIpCriterionAccess::points(c), terms, levels, column, pairs[t].a - 1,
                                      pairs[t].b - 1);
                if (t == 0 || value < chosen.value) {
                    chosen = {t, value};
                }
            }
            return chosen;
        }
        candidates_.resize(pairs.size());
        for (int t = 0; t < count; ++t) {
            candidates_[t] = current_;
            candidates_[t].exchangeElements(column, pairs[t].a - 1, pairs[t].b - 1);
        }
        tried_ = candidates_[0];
        for (int t = 0; t < count; ++t) {
            if (candidates_[t].getOptCrt() < tried_.getOptCrt()) {
                tried_ = candidates_[t];
                chosen.index = t;
            }
        }
        chosen.value = tried_.getOptCrt();
        return chosen;
    }

    void accept(int column, const Pair& pair) {
        if (mode_ != 1) {
            current_ = tried_;
            return;
        }
        current_.exchangeElements(column, pair.a - 1, pair.b - 1);
        // A self-exchange under the re-summing flag clears the incremental drift.
        current_.setPHICflag(2);
        current_.exchangeElements(1, 1, 1);
        current_.setPHICflag(1);
    }

    void keepAsBest() {
        best_ = current_;
        ++improvements_;
    }

private:
    OptimalLH current_;
    OptimalLH best_;
    OptimalLH tried_;
    std::vector<OptimalLH> candidates_;
    int mode_;
    long improvements_ = 0;
};

class ReferenceCore final : public SearchCore {
public:
    ReferenceCore(const OptimalLH& initial, const OptimalLH& best, RandomStream& stream)
        : search_(ReferenceState(initial, best), stream, 0.0) {}
    std::unique_ptr<SearchCore> clone() const override { return std::make_unique<ReferenceCore>(*this); }
    void innerLoop(InnerCounters& counters, double threshold) override {
        search_.setThreshold(threshold);
        search_.innerLoop(counters);
    }
    double bestPhip() const override { return search_.state().bestPhip(); }
    long improvements() const override { return search_.state().improvements(); }
    OptimalLH bestDesign() const override { return search_.state().bestDesign(); }

private:
    Search<ReferenceState> search_;
};

template <class Dist>
std::unique_ptr<SearchCore> fastCore(Levels levels, const OptimalLH& initial, const OptimalLH& best,
                                     RandomStream& stream) {
    const PHIpCriterion& c = criterionOf(initial);
    FastPhip<Dist> current(std::move(levels), PHIpCriterionAccess::sharedTerms(c));
    // Only a criterion that holds exactly these distances may be replaced by the fast one.
    const PackedDistances held = PHIpCriterionAccess::view(c);
    const int n = current.points();
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            if (held(i, j) != static_cast<double>(current.distance(i, j))) {
                return nullptr;
            }
        }
    }
    auto core = std::make_unique<FastCore<Dist> >(std::move(current), PHIpCriterionAccess::value(c), best, stream);
    core->setLike(initial);
    return core;
}

} // namespace

std::unique_ptr<SearchCore> makeSearchCore(const OptimalLH& initial, const OptimalLH& best, RandomStream& stream) {
    const PHIpCriterion& c = criterionOf(initial);
    Levels levels;
    const bool fastCriterion = const_cast<OptimalLH&>(initial).getPHICflag() == 1 &&
                               PHIpCriterionAccess::normExponent(c) == 1.0 &&
                               PHIpCriterionAccess::sharedTerms(c) != nullptr &&
                               PHIpCriterionAccess::points(c) == LatinHypercubeAccess::points(initial) &&
                               latinLevels(initial, levels);
    std::unique_ptr<SearchCore> core;
    if (fastCriterion) {
        const int n = levels.points(), m = levels.variables();
        const bool tableCovers = PHIpCriterionAccess::sharedTerms(c)->maxDistance() >= engine::maxMeasure(n, m, 1);
        if (tableCovers) {
            core = FastPhip<std::uint16_t>::fits(n, m) ? fastCore<std::uint16_t>(std::move(levels), initial, best, stream)
                                                       : fastCore<std::uint32_t>(std::move(levels), initial, best, stream);
        }
    }
    if (!core) {
        core = std::make_unique<ReferenceCore>(initial, best, stream);
    }
    return core;
}

} // namespace detail
} // namespace olhs
