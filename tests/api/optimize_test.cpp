// The optimiser's interface: option checks, restarts and threads, the tie rule, placement
// and row order, cancellation and the time budget, and both metrics.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <utility>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "engine/multistart.h"
#include "olhs/existing.h"
#include "olhs/metrics.h"
#include "olhs/optimize.h"

namespace {

using olhs::Options;
using olhs::Result;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

testing::AssertionResult isLatin(const Result& r) {
    for (int c = 0; c < r.variables; ++c) {
        std::vector<int> seen(static_cast<std::size_t>(r.points) + 1, 0);
        for (int i = 0; i < r.points; ++i) {
            const int level = r.levels[static_cast<std::size_t>(i) * r.variables + c];
            if (level < 1 || level > r.points || seen[static_cast<std::size_t>(level)]++)
                return testing::AssertionFailure() << "column " << c << " repeats or leaves 1.." << r.points;
        }
    }
    return testing::AssertionSuccess();
}

// phi_p straight from the definition, in the result's point order.
double definitionPhip(const Result& r, double p, bool euclidean) {
    double sum = 0.0;
    for (int i = 0; i < r.points; ++i)
        for (int j = i + 1; j < r.points; ++j) {
            double s = 0.0;
            for (int c = 0; c < r.variables; ++c) {
                const double d = r.levels[static_cast<std::size_t>(i) * r.variables + c] -
                                 r.levels[static_cast<std::size_t>(j) * r.variables + c];
                s += euclidean ? d * d : std::fabs(d);
            }
            sum += std::pow(euclidean ? std::sqrt(s) : s, -p);
        }
    return std::pow(sum, 1.0 / p);
}

Options quick(std::uint64_t seed = 1) {
    Options o;
    o.seed = seed;
    o.iterations = 20;
    return o;
}

TEST(Optimize, RefusesBadOptionsNamingThemAndTheirRange) {
    struct Case {
        int n, m;
        Options options;
        const char* named;
    };
    std::vector<Case> cases;
    auto with = [](auto change) {
        Options o;
        change(o);
        return o;
    };
    cases.push_back({1, 3, Options(), "n: "});
    cases.push_back({5, 0, Options(), "m: "});
    cases.push_back({5, 2, with([](Options& o) { o.restarts = 0; }), "restarts: "});
    cases.push_back({5, 2, with([](Options& o) { o.threads = -1; }), "threads: "});
    cases.push_back({5, 2, with([](Options& o) { o.iterations = -1; }), "iterations: "});
    cases.push_back({5, 2, with([](Options& o) { o.timeBudget = -1.0; }), "timeBudget: "});
    cases.push_back({5, 2, with([](Options& o) { o.timeBudget = std::nan(""); }), "timeBudget: "});
    cases.push_back({5, 2, with([](Options& o) { o.timeBudget = INFINITY; }), "timeBudget: "});
    cases.push_back({5, 2, with([](Options& o) { o.timeBudget = 1e300; }), "timeBudget: "});
    cases.push_back({5, 2, with([](Options& o) { o.p = 0.5; }), "p: "});
    cases.push_back({5, 2, with([](Options& o) { o.p = std::nan(""); }), "p: "});
    cases.push_back({5000, 10, with([](Options& o) { o.metric = olhs::Metric::Euclidean, o.start = olhs::Start::Random; }), "metric: "});
    cases.push_back({5, 2, with([](Options& o) { o.placement = static_cast<olhs::Placement>(7); }), "placement: "});
    for (const Case& c : cases) {
        try {
            olhs::optimize(c.n, c.m, c.options);
            ADD_FAILURE() << c.named << "was accepted";
        } catch (const std::invalid_argument& e) {
            const std::string message = e.what();
            EXPECT_EQ(message.rfind(c.named, 0), 0u) << message;
            EXPECT_NE(message.find("(got "), std::string::npos) << message;
        }
    }
    Options budgetOnly;
    budgetOnly.iterations = 0;
    budgetOnly.timeBudget = 0.01;
    EXPECT_NO_THROW(olhs::optimize(5, 2, budgetOnly));
}

TEST(Optimize, IterationsDefaultToFewerForLargerDesigns) {
    const Result small = olhs::optimize(20, 2), large = olhs::optimize(400, 2);
    EXPECT_EQ(small.iterations, 2 * 400);
    EXPECT_EQ(large.iterations, 2 * olhs::automaticIterations(400));
    EXPECT_LT(olhs::automaticIterations(400), 400);
    EXPECT_GE(olhs::automaticIterations(1000000), 50);
}

// The evolutionary search (city-block phi_p) and the annealer (maximin, Euclidean phi_p).
class SearchTest : public testing::TestWithParam<std::pair<olhs::Criterion, olhs::Metric>> {
protected:
    Options options(std::uint64_t seed) const {
        Options o = quick(seed);
        o.criterion = GetParam().first;
        o.metric = GetParam().second;
        if (o.iterations > 0 && (o.criterion == olhs::Criterion::Maximin || o.metric == olhs::Metric::Euclidean))
            o.iterations = 2; // anneals
        return o;
    }
};

TEST_P(SearchTest, SameBitsWhateverTheNumberOfThreads) {
    Options o = options(7);
    o.restarts = 5;
    o.threads = 1;
    const Result one = olhs::optimize(40, 4, o);
    EXPECT_TRUE(isLatin(one));
    for (int threads : {2, 8}) {
        o.threads = threads;
        const Result many = olhs::optimize(40, 4, o);
        EXPECT_EQ(one.levels, many.levels) << threads << " threads";
        EXPECT_TRUE(sameBits(one.phip, many.phip)) << threads << " threads";
        EXPECT_EQ(many.restarts, 5);
        EXPECT_EQ(many.iterations, 5 * o.iterations);
        EXPECT_EQ(many.stopReason, olhs::StopReason::Iterations);
    }
    EXPECT_NE(olhs::optimize(40, 4, options(8)).levels, one.levels); // another seed, another design
}

// Shares of a run, made apart and reduced by the documented rule, give the run's design.
TEST_P(SearchTest, SharesOfARunReduceToTheWholeRun) {
    Options o = options(11);
    o.restarts = 6;
    const Result whole = olhs::optimize(30, 4, o);
    const bool maximin = o.criterion == olhs::Criterion::Maximin;
    const auto key = [&](const Result& r) {
        const double smallest = o.metric == olhs::Metric::Euclidean ? r.minEuclidean : r.minCityBlock;
        return std::make_tuple(maximin ? -smallest : 0.0, maximin ? r.pairsAtSmallest : 0L, r.searchValue,
                               r.bestRestart);
    };
    o.restarts = 2;
    Result best;
    for (int first : {4, 0, 2}) {
        o.firstRestart = first;
        const Result share = olhs::optimize(30, 4, o);
        EXPECT_GE(share.bestRestart, first);
        EXPECT_LT(share.bestRestart, first + 2);
        if (best.levels.empty() || key(share) < key(best)) best = share;
    }
    EXPECT_EQ(best.levels, whole.levels);
    EXPECT_EQ(best.bestRestart, whole.bestRestart);
    EXPECT_TRUE(sameBits(best.phip, whole.phip));
}

// The bits of each search, so that a change of seeding, defaults or moves shows.
TEST_P(SearchTest, PinnedBits) {
    std::uint64_t hash = 14695981039346656037ull;
    for (int level : olhs::optimize(12, 3, options(3)).levels) hash = (hash ^ static_cast<std::uint64_t>(level)) * 1099511628211ull;
    const std::map<std::pair<olhs::Criterion, olhs::Metric>, std::uint64_t> expected = {
        {{olhs::Criterion::Phip, olhs::Metric::CityBlock}, 6779052134245973165u},
        {{olhs::Criterion::Phip, olhs::Metric::Euclidean}, 5421543320657253023u},
        {{olhs::Criterion::Maximin, olhs::Metric::Euclidean}, 5421543320657253023u}, // the same design at this size
        {{olhs::Criterion::Maximin, olhs::Metric::CityBlock}, 4834700559237892773u},
        {{olhs::Criterion::MaxPro, olhs::Metric::CityBlock}, 13594887564177314265u},
        {{olhs::Criterion::Discrepancy, olhs::Metric::CityBlock}, 15408833255465338271u}};
    EXPECT_EQ(hash, expected.at(GetParam()));
}

std::string searchName(std::pair<olhs::Criterion, olhs::Metric> search) {
    const char* const names[] = {"Phip", "Maximin", "MaxPro", "Discrepancy"};
    return std::string(names[static_cast<int>(search.first)]) +
           (search.second == olhs::Metric::Euclidean ? "Euclidean" : "CityBlock");
}

INSTANTIATE_TEST_SUITE_P(Searches, SearchTest,
                         testing::Values(std::make_pair(olhs::Criterion::Phip, olhs::Metric::CityBlock),
                                         std::make_pair(olhs::Criterion::Phip, olhs::Metric::Euclidean),
                                         std::make_pair(olhs::Criterion::Maximin, olhs::Metric::Euclidean),
                                         std::make_pair(olhs::Criterion::Maximin, olhs::Metric::CityBlock),
                                         std::make_pair(olhs::Criterion::MaxPro, olhs::Metric::CityBlock),
                                         std::make_pair(olhs::Criterion::Discrepancy, olhs::Metric::CityBlock)),
                         [](const auto& info) { return searchName(info.param); });

// MaxPro and the discrepancy: the search lowers its criterion well below a random design's,
// and the result reports the measures metrics() gives, to the bit.
TEST(Optimize, ProductCriteriaLowerTheirMeasureAndReportIt) {
    for (const olhs::Criterion criterion : {olhs::Criterion::MaxPro, olhs::Criterion::Discrepancy}) {
        Options o = quick(5);
        o.criterion = criterion;
        const Result searched = olhs::optimize(30, 4, o);
        o.iterations = 1;
        o.restarts = 1;
        const Result barely = olhs::optimize(30, 4, o);
        const olhs::Metrics measured = olhs::metrics(searched.levels, 30, 4);
        EXPECT_TRUE(isLatin(searched));
        if (criterion == olhs::Criterion::MaxPro) {
            EXPECT_TRUE(sameBits(searched.maxPro, measured.maxPro));
            EXPECT_LT(searched.maxPro, 0.8 * barely.maxPro);
        } else {
            EXPECT_NEAR(searched.discrepancy, measured.centredL2Discrepancy, 1e-12 * measured.centredL2Discrepancy);
            EXPECT_LT(searched.discrepancy, 0.8 * barely.discrepancy);
        }
    }
}

TEST(Optimize, LargeDesignsAreTheLatticeUnlessTimeIsGiven) {
    Options o;
    EXPECT_TRUE(olhs::searches(500, 10, o));
    EXPECT_FALSE(olhs::searches(3000, 10, o));
    const Result built = olhs::optimize(3000, 4, o);
    EXPECT_TRUE(isLatin(built));
    EXPECT_EQ(built.stopReason, olhs::StopReason::Constructed);
    EXPECT_EQ(built.iterations, 0);
    o.start = olhs::Start::Random;
    EXPECT_TRUE(olhs::searches(3000, 10, o));
    // A search from the lattice keeps the best design it meets, the lattice first.
    o.start = olhs::Start::Lattice;
    o.iterations = 3;
    const Result searched = olhs::optimize(1200, 4, o);
    EXPECT_TRUE(isLatin(searched));
    EXPECT_LE(searched.phip, olhs::optimize(1200, 4, Options()).phip);
    EXPECT_EQ(searched.iterations, 2 * 3);
    o.timeBudget = 0.5;
    o.iterations = 0;
    o.start = olhs::Start::Auto;
    EXPECT_TRUE(olhs::searches(3000, 10, o));
}

// Building and measuring a large design report ten times a second, and stopping either
// leaves a Latin design with proven bounds in place of measures.
TEST(Optimize, LargeDesignsReportWhileBuiltOrMeasuredAndStopWhenAsked) {
    Options o;
    std::vector<olhs::Progress> reports;
    o.progress = [&](const olhs::Progress& p) {
        reports.push_back(p);
        return false;
    };
    const Result stopped = olhs::optimize(20000, 10, o);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_NE(reports[0].phase, olhs::Phase::Searching);
    EXPECT_GE(reports[0].fractionDone, 0.0);
    EXPECT_LE(reports[0].fractionDone, 1.0);
    EXPECT_EQ(stopped.stopReason, olhs::StopReason::Cancelled);
    EXPECT_TRUE(isLatin(stopped));
    EXPECT_FALSE(stopped.exact);
    EXPECT_GT(stopped.minCityBlock, 10.0);
}

// A run that cannot fit is refused before it allocates, naming the memory; one that fits
// the limit runs.
TEST(Optimize, RunsThatCannotFitAreRefusedUpFront) {
    try {
        olhs::optimize(1 << 30, 2);
        FAIL() << "not refused";
    } catch (const olhs::NotEnoughMemory& e) {
        EXPECT_GT(e.neededBytes(), e.availableBytes());
        EXPECT_NE(std::string(e.what()).find("GiB of memory"), std::string::npos) << e.what();
    }
    Options o = quick();
    o.memoryLimit = 0.5 * olhs::requiredBytes(300, 5, o);
    EXPECT_THROW(olhs::optimize(300, 5, o), olhs::NotEnoughMemory);
    EXPECT_THROW(olhs::improve(olhs::optimize(300, 5, quick()).levels, 300, 5, o), olhs::NotEnoughMemory);
    o.memoryLimit = 2.0 * olhs::requiredBytes(300, 5, o);
    EXPECT_NO_THROW(olhs::optimize(300, 5, o));
    // The lattice alone of 200000 x 10 is linear in n m.
    EXPECT_LT(olhs::requiredBytes(200000, 10, Options()), 2e8);
}

TEST(Optimize, MaximinStopsAtAProvenBound) {
    Options o;
    o.criterion = olhs::Criterion::Maximin;
    // 2n + 1 prime: a construction every pair of which is n (n + 1) / 3 apart.
    const Result built = olhs::optimize(9, 9, o);
    EXPECT_TRUE(isLatin(built));
    EXPECT_EQ(built.minCityBlock, 30.0);
    EXPECT_EQ(built.pairsAtSmallest, 36);
    EXPECT_EQ(built.stopReason, olhs::StopReason::Optimal);
    EXPECT_EQ(olhs::toString(built.stopReason), "proven optimal");
    // 7 x 4 reaches floor(4 (7 + 1) / 3) = 10 by search, and stops there.
    o.timeBudget = 60.0;
    const Result searched = olhs::optimize(7, 4, o);
    EXPECT_EQ(searched.minCityBlock, 10.0);
    EXPECT_EQ(searched.stopReason, olhs::StopReason::Optimal);
}

TEST(Optimize, BestRestartWinsTiesGoToTheFirst) {
    olhs::engine::MultistartPlan plan;
    plan.variables = 2;
    plan.restarts = 12;
    plan.threads = 3;
    plan.iterations = 15;
    // 4 x 2 has few designs, so restarts tie at the best value; 30 x 3 has none.
    for (int n : {4, 30}) {
        plan.points = n;
        plan.variables = n == 4 ? 2 : 3;
        const auto all = olhs::engine::runMultistart(plan);
        int first = -1;
        double best = 0.0;
        for (int r = 0; r < plan.restarts; ++r) {
            const auto alone = olhs::engine::runOneRestart(plan, r);
            if (first < 0 || alone.phip < best) first = r, best = alone.phip;
        }
        EXPECT_TRUE(sameBits(all.phip, best)) << n;
        EXPECT_TRUE(all.levels == olhs::engine::runOneRestart(plan, first).levels) << n << ": restart " << first;
        // Each restart has a stream of its own: restart 1 is not restart 0 again.
        EXPECT_FALSE(olhs::engine::runOneRestart(plan, 0).levels == olhs::engine::runOneRestart(plan, 1).levels);
    }
}

TEST(Optimize, PlacementAndPointOrder) {
    const int n = 30, m = 4;
    Options o = quick(3);
    const Result centered = olhs::optimize(n, m, o);
    ASSERT_TRUE(isLatin(centered));
    // The points come in a shuffled order, not sorted by any variable.
    for (int c = 0; c < m; ++c) {
        bool sorted = true;
        for (int i = 1; i < n; ++i) sorted &= centered.levels[i * m + c] > centered.levels[(i - 1) * m + c];
        EXPECT_FALSE(sorted) << "variable " << c;
    }
    // The order changes no distance: the value in this order is the search's value.
    EXPECT_NEAR(definitionPhip(centered, 50.0, false), centered.phip, 1e-12 * centered.phip);
    o.placement = olhs::Placement::Grid;
    const Result grid = olhs::optimize(n, m, o);
    o.placement = olhs::Placement::Jittered;
    const Result jittered = olhs::optimize(n, m, o);
    EXPECT_EQ(grid.levels, centered.levels);
    EXPECT_EQ(jittered.levels, centered.levels);
    for (std::size_t k = 0; k < centered.levels.size(); ++k) {
        const int level = centered.levels[k];
        EXPECT_EQ(centered.design[k], (level - 0.5) / n);
        EXPECT_EQ(grid.design[k], (level - 1) / static_cast<double>(n - 1));
        EXPECT_GE(jittered.design[k], (level - 1.0) / n);
        EXPECT_LT(jittered.design[k], static_cast<double>(level) / n);
    }
    EXPECT_NE(jittered.design, olhs::optimize(n, m, [] { Options x = quick(4); x.placement = olhs::Placement::Jittered; return x; }()).design);
}

TEST(Optimize, CancellingAndTheTimeBudgetStopTheRun) {
    Options o;
    o.iterations = 100000;
    int calls = 0;
    o.progress = [&calls](const olhs::Progress& p) {
        EXPECT_GE(p.restart, 0);
        EXPECT_GT(p.iteration, 0);
        EXPECT_GT(p.bestPhip, 0.0);
        return ++calls < 3;
    };
    const Result cancelled = olhs::optimize(50, 5, o);
    EXPECT_EQ(cancelled.stopReason, olhs::StopReason::Cancelled);
    EXPECT_EQ(calls, 3);
    EXPECT_LT(cancelled.iterations, 10);
    EXPECT_TRUE(isLatin(cancelled));

    Options timed;
    timed.iterations = 0;
    timed.timeBudget = 0.05;
    const Result budget = olhs::optimize(60, 4, timed);
    EXPECT_EQ(budget.stopReason, olhs::StopReason::TimeBudget);
    EXPECT_TRUE(isLatin(budget));
    EXPECT_EQ(olhs::toString(budget.stopReason), "time budget");
}

TEST(Optimize, MetricsOfTheDesign) {
    for (bool euclidean : {false, true}) {
        Options o = quick(5);
        o.metric = euclidean ? olhs::Metric::Euclidean : olhs::Metric::CityBlock;
        o.p = 20.0;
        const Result r = olhs::optimize(25, 3, o);
        ASSERT_TRUE(isLatin(r));
        EXPECT_NEAR(definitionPhip(r, 20.0, euclidean), r.phip, 1e-12 * r.phip) << euclidean;
        double cityBlock = INFINITY, squared = INFINITY;
        for (int i = 0; i < r.points; ++i)
            for (int j = i + 1; j < r.points; ++j) {
                double d1 = 0, d2 = 0;
                for (int c = 0; c < 3; ++c) {
                    const double d = r.levels[i * 3 + c] - r.levels[j * 3 + c];
                    d1 += std::fabs(d), d2 += d * d;
                }
                cityBlock = std::min(cityBlock, d1), squared = std::min(squared, d2);
            }
        EXPECT_EQ(r.minCityBlock, cityBlock);
        EXPECT_EQ(r.minEuclidean, std::sqrt(squared));
    }
    // One variable: nothing to optimise, a column of 1..n in random order.
    const Result single = olhs::optimize(9, 1, quick(6));
    EXPECT_TRUE(isLatin(single));
    EXPECT_EQ(single.minCityBlock, 1.0);
    EXPECT_NEAR(definitionPhip(single, 50.0, false), single.phip, 1e-12 * single.phip);
}

} // namespace
