// Existing designs: improve() from a start design, augment() of a finished one. Their
// refusals and their exact bits are in optimize_test.cpp.
#include <cmath>
#include <set>
#include <tuple>

#include "api/api_support.h"
#include "olhs/existing.h"
#include "olhs/metrics.h"

namespace {

using namespace olhs_api_test;
using olhs::AugmentResult;
using olhs::Options;
using olhs::Result;

// Strata of a result's values computed from the values themselves.
std::vector<int> strataOf(const AugmentResult& r, const std::vector<double>& lower, const std::vector<double>& upper) {
    std::vector<int> strata(r.design.size());
    for (std::size_t k = 0; k < r.design.size(); ++k) {
        const std::size_t c = k % static_cast<std::size_t>(r.variables);
        const double lo = lower.empty() ? 0.0 : lower[c], hi = upper.empty() ? 1.0 : upper[c];
        strata[k] = std::min(r.points - 1, static_cast<int>((r.design[k] - lo) / (hi - lo) * r.points)) + 1;
    }
    return strata;
}

// Never worse than the start (better from a random one), Latin, the points in their order with
// variable 0 kept, phi_p the bits of phip(). From the diagonal at 40 x 16 every column moves:
// ten inner iterations per outer one would never reach the last if each outer one began anew.
TEST(Improve, NeverWorseThanItsStartAndKeepsItsShape) {
    std::mt19937_64 rng(3);
    using olhs::Metric;
    for (auto [n, m, metric] : {std::tuple<int, int, Metric>{2, 2, Metric::CityBlock}, {12, 3, Metric::Euclidean},
                                {30, 4, Metric::CityBlock}, {20, 1, Metric::Euclidean}, {40, 16, Metric::CityBlock}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << m);
        std::vector<int> start = randomLatin(n, m, rng);
        if (m == 16) for (std::size_t k = 0; k < start.size(); ++k) start[k] = static_cast<int>(k / m) + 1;
        Options o = quick(7);
        o.metric = metric;
        if (metric == Metric::Euclidean) o.iterations = 2; // anneals
        const Result r = olhs::improve(start, n, m, o);
        const double before = olhs::phip(start, n, m, metric);
        EXPECT_TRUE(m >= 2 && n >= 12 ? r.phip < before : r.phip <= before) << r.phip << " from " << before;
        EXPECT_TRUE(sameBits(r.phip, olhs::phip(r.levels, n, m, metric)));
        EXPECT_TRUE(isLatin(r.levels, n, m));
        std::vector<int> moved(static_cast<std::size_t>(m), 0);
        for (std::size_t k = 0; k < r.levels.size(); ++k) {
            moved[k % m] += r.levels[k] != start[k];
            ASSERT_EQ(r.design[k], (r.levels[k] - 0.5) / n);
        }
        EXPECT_EQ(moved[0], 0);
        EXPECT_TRUE(m != 16 || std::count(moved.begin(), moved.end(), 0) == 1);
    }
}

// Both searches of existing designs: the same bits on 1, 2 or 8 threads.
TEST(Existing, SameBitsWhateverTheThreads) {
    std::mt19937_64 rng(4);
    const std::vector<int> start = randomLatin(40, 5, rng);
    std::vector<double> values(30 * 3);
    for (double& v : values) v = std::uniform_real_distribution<double>(0.0, 1.0)(rng);
    const auto run = [&](int threads) {
        const Options o = quick(11, [&](Options& x) { x.restarts = 5, x.threads = threads; });
        const Result r = olhs::improve(start, 40, 5, o);
        const AugmentResult a = olhs::augment(values, 30, 3, 20, o);
        return std::make_tuple(r.levels, r.phip, a.strata, a.design);
    };
    const auto one = run(1);
    EXPECT_TRUE(run(2) == one && run(8) == one);
}

// Given values in distinct strata (of a box or the unit cube) stay to the bit, every stratum holds
// one point, new values sit in the middle of theirs (jittered: anywhere in it), phi_p of the strata.
TEST(Augment, OriginalsUnchangedAndEveryStratumHeldOnce) {
    const std::vector<double> lower = {10.0, -1.0}, upper = {20.0, 1.0};
    for (auto [n, m, k] : {std::tuple<int, int, int>{10, 3, 5}, {7, 2, 1}, {1, 3, 4}, {12, 1, 6}, {3, 2, 3}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << m << " + " << k);
        const bool boxed = n == 3; // the box's edges themselves
        std::vector<double> values(static_cast<std::size_t>(n) * m, 0.3);
        if (boxed) values = {10.0, 1.0, 20.0, -1.0, 15.0, 0.0};
        else if (n >= 2) values = olhs::optimize(n, m, quick(3)).design; // cells 1/n >= 1/(n + k) apart
        for (auto placement : {olhs::Placement::Centered, olhs::Placement::Jittered}) {
            const Options o = quick(9, [&](Options& x) { x.placement = placement; });
            const AugmentResult r = boxed ? olhs::augment(values, n, m, k, o, lower, upper) : olhs::augment(values, n, m, k, o);
            ASSERT_EQ(r.design.size(), static_cast<std::size_t>(n + k) * m);
            EXPECT_EQ(std::memcmp(r.design.data(), values.data(), values.size() * sizeof(double)), 0);
            EXPECT_EQ(std::make_tuple(r.points, r.doubled, r.doubledStrata), std::make_tuple(n + k, 0LL, std::vector<int>(m, 0)));
            EXPECT_EQ(boxed ? strataOf(r, lower, upper) : strataOf(r, {}, {}), r.strata);
            EXPECT_TRUE(isLatin(r.strata, n + k, m));
            for (std::size_t at = values.size(); at < r.design.size() && placement == olhs::Placement::Centered && !boxed; ++at)
                EXPECT_EQ(r.design[at], (r.strata[at] - 0.5) / (n + k));
            EXPECT_TRUE(sameBits(r.phip, olhs::phip(r.strata, n + k, m)));
        }
    }
}

// (The command's tests hold the doubled strata of a box to a hand-worked case.)
TEST(Augment, DoubledStrataWhenTheOriginalsShareThem) {
    // Five points in two strata of seven: three doubled, and the two new points spread
    // over the five empty ones by rank (3 and 5 of 2..6).
    const AugmentResult c = olhs::augment({0.0, 0.01, 0.02, 0.03, 0.99}, 5, 1, 2, quick());
    EXPECT_EQ(c.doubled, 3);
    EXPECT_EQ(std::set<int>(c.strata.begin() + 5, c.strata.end()), (std::set<int>{3, 5}));
    // Two originals in one place make phi_p infinite, and the new points are still placed:
    // in each variable one stratum twice, one empty.
    const AugmentResult twins = olhs::augment({0.5, 0.5, 0.5, 0.5}, 2, 2, 3, quick());
    EXPECT_TRUE(std::isinf(twins.phip));
    EXPECT_EQ(twins.doubledStrata, (std::vector<int>{1, 1}));
    const std::vector<int>& s = twins.strata; // the twins hold stratum 3 of 5
    EXPECT_TRUE(std::set<int>({3, s[4], s[6], s[8]}).size() == 4 && std::set<int>({3, s[5], s[7], s[9]}).size() == 4);
}

} // namespace
