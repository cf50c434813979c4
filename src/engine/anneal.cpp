#include "engine/anneal.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

#include "engine/multistart.h"

namespace olhs {
namespace engine {

namespace {

// 0.02^(1/200): 200 stages cool from 1 to 0.02. A constant, not a pow() call, so that
// every machine cools alike.
constexpr double coolingFactor = 0x1.f61520bbca371p-1;

int paddedLanes(int n) { return (n + kernelLanes - 1) / kernelLanes * kernelLanes; }

std::int32_t measure(const Levels& levels, int exponent, int i, int j) {
    std::int32_t sum = 0;
    for (int c = 0; c < levels.variables(); ++c) {
        const std::int32_t d = levels(i, c) - levels(j, c);
        sum += exponent == 2 ? d * d : std::abs(d);
    }
    return sum;
}

} // namespace

double portableLog(double u) {
    // u = f 2^e with f in [sqrt(1/2), sqrt(2)), read off the bits (u normal and positive).
    std::uint64_t bits;
    std::memcpy(&bits, &u, sizeof bits);
    int e = static_cast<int>(bits >> 52) - 1023;
    bits = (bits & 0x000FFFFFFFFFFFFFu) | 0x3FF0000000000000u;
    double f;
    std::memcpy(&f, &bits, sizeof f);
    if (f >= 1.4142135623730951) {
        f *= 0.5;
        ++e;
    }
    // ln f = 2 atanh(y), |y| < 0.172: eight terms leave an error below 1e-14.
    const double y = (f - 1.0) / (f + 1.0);
    const double y2 = y * y;
    double series = 1.0 / 17.0;
    for (int k = 15; k >= 1; k -= 2) {
        series = series * y2 + 1.0 / k;
    }
    return e * 0.69314718055994531 + 2.0 * y * series;
}

Smallest smallestOf(const Levels& levels, int exponent) {
    Smallest result{std::numeric_limits<std::int64_t>::max(), 0};
    for (int i = 0; i < levels.points(); ++i) {
        for (int j = i + 1; j < levels.points(); ++j) {
            const std::int64_t d = measure(levels, exponent, i, j);
            if (d < result.distance) {
                result = {d, 0};
            }
            result.pairs += d == result.distance;
        }
    }
    return result;
}

AnnealState::AnnealState(const Levels& levels, int exponent, int q, std::int64_t reference)
    : levels_(levels), exponent_(exponent), stride_(paddedLanes(levels.points())),
      reference_(static_cast<double>(std::max<std::int64_t>(reference, 1))), q_(q),
      kernels_(exchangeKernels(exponent)) {
    const int n = points();
    const int m = variables();
    columns_.assign(static_cast<std::size_t>(stride_) * m, 0);
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) {
            columns_[static_cast<std::size_t>(c) * stride_ + i] = levels_(i, c);
        }
    }
    // The smallest distance stays near the reference: count exactly up to eight times it
    // (a scan of the matrix finds it should every pair ever lie beyond).
    const std::int64_t span = n - 1;
    const std::int64_t largest = static_cast<std::int64_t>(m) * (exponent == 2 ? span * span : span);
    cap_ = std::min(largest, 8 * std::max<std::int64_t>(reference, 1));
    d_.assign(static_cast<std::size_t>(n) * stride_, sentinel);
    w_.assign(static_cast<std::size_t>(n) * stride_, 0.0);
    freshA_.assign(static_cast<std::size_t>(stride_), 0.0);
    freshB_.assign(static_cast<std::size_t>(stride_), 0.0);
    histogram_.assign(static_cast<std::size_t>(cap_) + 2, 0);
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            const std::int32_t d = measure(levels_, exponent, i, j);
            d_[index(i, j)] = d_[index(j, i)] = d;
            w_[index(i, j)] = w_[index(j, i)] = weight(d);
            ++histogram_[bin(d)];
        }
    }
    findSmallest(0);
    resum();
}

void AnnealState::findSmallest(std::int64_t from) {
    std::int64_t d = from;
    while (d <= cap_ && histogram_[static_cast<std::size_t>(d)] == 0) {
        ++d;
    }
    if (d <= cap_) {
        smallest_ = {d, histogram_[static_cast<std::size_t>(d)]};
        return;
    }
    // Every pair beyond the histogram: count them from the matrix.
    smallest_ = {std::numeric_limits<std::int64_t>::max(), 0};
    for (int i = 0; i < points(); ++i) {
        for (int j = i + 1; j < points(); ++j) {
            const std::int64_t dij = d_[index(i, j)];
            if (dij < smallest_.distance) smallest_ = {dij, 0};
            smallest_.pairs += dij == smallest_.distance;
        }
    }
}

void AnnealState::resum() {
    const int n = points();
    rowEnergy_.assign(static_cast<std::size_t>(n), 0.0);
    energy_ = 0.0;
    for (int i = 0; i < n; ++i) {
        double row = 0.0;
        for (int l = 0; l < n; ++l) {
            row += w_[index(i, l)];
        }
        rowEnergy_[static_cast<std::size_t>(i)] = row;
        energy_ += row;
    }
    energy_ *= 0.5;
}

ExchangeRows AnnealState::rowsFor(int c, int a, int b) const {
    const std::int32_t* x = columns_.data() + static_cast<std::size_t>(c) * stride_;
    return ExchangeRows{&d_[index(a, 0)], &d_[index(b, 0)], x, stride_, a, b};
}

RowMinima AnnealState::minimaAfter(int c, int a, int b) const { return kernels_.minima(rowsFor(c, a, b)); }

double AnnealState::energyLowerBound(int a, int b, const RowMinima& minima) const {
    // The changed pairs weigh rowEnergy(a) + rowEnergy(b) - 2 w(d_ab) now, and after the
    // exchange at least the weights of the closest new pair of each row.
    return (weight(minima.i) + weight(minima.j)) -
           (rowEnergy_[static_cast<std::size_t>(a)] + rowEnergy_[static_cast<std::size_t>(b)] - 2.0 * w_[index(a, b)]);
}

double AnnealState::energyChange(int c, int a, int b) {
    return kernels_.energyChange(rowsFor(c, a, b), Weights{&w_[index(a, 0)], &w_[index(b, 0)], reference_, q_,
                                                           freshA_.data(), freshB_.data()});
}

void AnnealState::exchange(int c, int a, int b, double change) {
    std::int32_t* x = columns_.data() + static_cast<std::size_t>(c) * stride_;
    const std::int32_t xa = x[a];
    const std::int32_t xb = x[b];
    std::int64_t lowest = smallest_.distance;
    double rowA = w_[index(a, b)];
    double rowB = rowA;
    for (int l = 0; l < points(); ++l) {
        if (l == a || l == b) continue;
        const std::int32_t delta =
            exponent_ == 2 ? (xb - xa) * (xb + xa - 2 * x[l]) : std::abs(xb - x[l]) - std::abs(xa - x[l]);
        const std::int32_t oldA = d_[index(a, l)];
        const std::int32_t oldB = d_[index(b, l)];
        const std::int32_t newA = oldA + delta;
        const std::int32_t newB = oldB - delta;
        d_[index(a, l)] = d_[index(l, a)] = newA;
        d_[index(b, l)] = d_[index(l, b)] = newB;
        --histogram_[bin(oldA)];
        --histogram_[bin(oldB)];
        ++histogram_[bin(newA)];
        ++histogram_[bin(newB)];
        lowest = std::min<std::int64_t>(lowest, std::min(newA, newB));
        const double wa = freshA_[static_cast<std::size_t>(l)];
        const double wb = freshB_[static_cast<std::size_t>(l)];
        rowEnergy_[static_cast<std::size_t>(l)] += (wa - w_[index(a, l)]) + (wb - w_[index(b, l)]);
        w_[index(a, l)] = w_[index(l, a)] = wa;
        w_[index(b, l)] = w_[index(l, b)] = wb;
        rowA += wa;
        rowB += wb;
    }
    rowEnergy_[static_cast<std::size_t>(a)] = rowA;
    rowEnergy_[static_cast<std::size_t>(b)] = rowB;
    energy_ += change;
    x[a] = xb;
    x[b] = xa;
    levels_.exchange(c, a, b);
    findSmallest(lowest);
}

Annealer::Annealer(const AnnealSettings& settings, Levels start, RandomStream& stream)
    : settings_(settings), stream_(&stream),
      state_(start, settings.exponent, settings.q, std::max<std::int64_t>(smallestOf(start, settings.exponent).distance, 1)),
      best_(start), bestSmallest_(state_.smallest()), reference_(std::max<std::int64_t>(bestSmallest_.distance, 1)),
      chainBest_(start), chainSmallest_(bestSmallest_), chainEnergy_(state_.energy()) {
    bestKey_ = energyKey(chainEnergy_);
    startChain(start);
}

double Annealer::energyKey(double energy) const {
    // ln(E / d*^q): the energy on a scale that does not depend on the anneal's reference.
    return portableLog(energy) - settings_.q * portableLog(static_cast<double>(reference_));
}

double Annealer::bestPhipEstimate() const {
    // phi_p on the integer measure is (sum d^-q)^(1/q) = exp(key / q).
    return std::exp(bestKey_ / settings_.q);
}

bool Annealer::chainImprovedBy(const Smallest& value, double energy) const {
    if (!settings_.maximin) return energy < chainEnergy_;
    return better(value, chainSmallest_) ||
           (value.distance == chainSmallest_.distance && value.pairs == chainSmallest_.pairs && energy < chainEnergy_);
}

Annealer::Exchange Annealer::drawExchange(int n, int m) {
    // One draw picks the column and both points, each from the fraction the previous pick
    // leaves: a design's m n^2 choices stay far below the draw's 2^53 values. Column 0
    // takes part: exchanging it moves two points' other levels at once, and without it
    // the anneals measured far worse (50 x 5 in 4 s: 815 against 852). Column 0
    // stays as it is, so that points keep their first level (an exchange there is the
    // exchange of all other columns).
    double u = stream_->next() * m;
    const int c = std::min(m - 1, static_cast<int>(u));
    u = (u - c) * n;
    const int a = std::min(n - 1, static_cast<int>(u));
    u = (u - a) * (n - 1);
    const int b = std::min(n - 2, static_cast<int>(u));
    return {c, a, b + (b >= a)};
}

void Annealer::startChain(const Levels& start) {
    // A random design's closest pairs are far closer than an annealed one's, so anneals
    // weighted by them would wander at random; a descent first gives the weights their
    // scale. It stops after 20 n m proposals in a row make no move, or after as many
    // proposals as an anneal (large designs keep finding small gains for long). It runs in
    // stages too, so that a run can stop in the middle of it.
    descentReference_ = std::max<std::int64_t>(smallestOf(start, settings_.exponent).distance, 1);
    state_ = AnnealState(start, settings_.exponent, settings_.q, descentReference_);
    descending_ = true;
    idle_ = 0;
    descentLeft_ = std::max(20L * start.points() * start.variables(), settings_.proposalsPerAnneal);
}

void Annealer::descend(long proposals) {
    const int n = state_.points();
    const int m = state_.variables();
    const long patience = 20L * n * m;
    for (long k = 0; k < proposals; ++k, ++proposals_) {
        if (idle_ >= patience || descentLeft_ <= 0) {
            descending_ = false;
            chainBest_ = state_.levels();
            chainSmallest_ = state_.smallest();
            reference_ = descentReference_;
            chainEnergy_ = state_.energy();
            foldChainIntoBest();
            return;
        }
        --descentLeft_;
        ++idle_;
        if (tryExchange(drawExchange(n, m), 0.0)) idle_ = 0;
    }
}

bool Annealer::tryExchange(const Exchange& move, double threshold) {
    const auto [c, a, b] = move;
    if (state_.energyLowerBound(a, b, state_.minimaAfter(c, a, b)) >= threshold) return false;
    const double change = state_.energyChange(c, a, b);
    if (!(change < threshold)) return false;
    state_.exchange(c, a, b, change);
    if (++acceptedSinceResum_ >= 4L * state_.points()) {
        // The per-row sums drift with every update; the cheap test relies on them.
        state_.resum();
        acceptedSinceResum_ = 0;
    }
    return true;
}

void Annealer::beginAnneal() {
    reference_ = std::max<std::int64_t>(chainSmallest_.distance, 1);
    state_ = AnnealState(chainBest_, settings_.exponent, settings_.q, reference_);
    chainEnergy_ = state_.energy();
    journal_.clear();
    journalling_ = true;
    stage_ = 0;
    temperature_ = 1.0;
    acceptedSinceResum_ = 0;
    chainImproved_ = false;
}

void Annealer::keepChainBest() {
    // Replaying the exchanges since the last copy costs less than copying the levels, until
    // the journal grows as long as the design.
    if (journalling_) {
        for (const Exchange& move : journal_) {
            chainBest_.exchange(move.column, move.a, move.b);
        }
    } else {
        chainBest_ = state_.levels();
    }
    journal_.clear();
    journalling_ = true;
    chainSmallest_ = state_.smallest();
    chainEnergy_ = state_.energy();
    chainImproved_ = true;
}

void Annealer::foldChainIntoBest() {
    const double key = energyKey(chainEnergy_);
    const bool improves = settings_.maximin
                              ? better(chainSmallest_, bestSmallest_) ||
                                    (chainSmallest_.distance == bestSmallest_.distance &&
                                     chainSmallest_.pairs == bestSmallest_.pairs && key < bestKey_)
                              : key < bestKey_;
    if (improves) {
        best_ = chainBest_;
        bestSmallest_ = chainSmallest_;
        bestKey_ = key;
    }
}

bool Annealer::reachedBound() const { return settings_.bound > 0 && bestSmallest_.distance >= settings_.bound; }

bool Annealer::stage() {
    if (reachedBound()) return false;
    const long proposals = std::max(1L, settings_.proposalsPerAnneal / stages);
    if (descending_) {
        descend(proposals);
        return !reachedBound();
    }
    if (stage_ == 0) beginAnneal();
    const int n = state_.points();
    const int m = state_.variables();
    for (long k = 0; k < proposals; ++k) {
        const Exchange move = drawExchange(n, m);
        const double u = stream_->next();
        const double threshold = u > 0.0 ? -temperature_ * portableLog(u) : std::numeric_limits<double>::infinity();
        if (!tryExchange(move, threshold)) continue;
        if (journalling_) {
            journal_.push_back(move);
            if (journal_.size() > static_cast<std::size_t>(n) * m) journalling_ = false;
        }
        if (chainImprovedBy(state_.smallest(), state_.energy())) keepChainBest();
    }
    proposals_ += proposals;
    temperature_ *= coolingFactor;
    if (++stage_ == stages) {
        stage_ = 0;
        ++anneals_;
        foldChainIntoBest();
        stalled_ = chainImproved_ ? 0 : stalled_ + 1;
        if (stalled_ >= settings_.patience) {
            // The chain keeps returning to one design: start another from a random one.
            startChain(randomLatin(n, m, *stream_));
            stalled_ = 0;
        }
    }
    return !reachedBound();
}

const Levels& Annealer::best() {
    // Between anneals the chain was folded in when its anneal ended (and may since have
    // been replaced by a random one).
    if (midAnneal()) foldChainIntoBest();
    return best_;
}

} // namespace engine
} // namespace olhs
