// The optimiser: every refusal of the modern API, threads and shares, how runs stop, the tie
// rule and the pinned bits of the searches (the command's tests check placement end to end).
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include "api/api_support.h"
#include "engine/multistart.h"
#include "olhs/classic.h"
#include "olhs/existing.h"
#include "olhs/metrics.h"

namespace {

using namespace olhs_api_test;
using olhs::Options;
using olhs::Result;
using olhs::StopReason;
using C = olhs::Criterion;
constexpr olhs::Metric cityBlock = olhs::Metric::CityBlock, euclidean = olhs::Metric::Euclidean;

// The one table of refusals of the modern API: what() names the setting as the library
// spells it, what it accepts and what it got, cells counted from 1.
TEST(Refusals, NameTheSettingWhatItAcceptsAndWhatItGot) {
    const std::vector<double> unit = {0.5, 0.5}, tie = {1.0, 5.0, 2.0, 6.0, 1.0, 7.0};
    // optimize(5, 2), or augment() of one point, with one setting changed.
    const auto with = [&](void (*change)(Options&), bool augment = false) {
        return [=] {
            augment ? void(olhs::augment(unit, 1, 2, 1, quick(1, change))) : void(olhs::optimize(5, 2, quick(1, change)));
        };
    };
    const auto limits = [](void (*change)(olhs::ClassicLimits&)) {
        return [change] { olhs::ClassicLimits l; change(l); olhs::classic(5, 2, l, 1); };
    };
    const std::vector<std::pair<std::function<void()>, std::string>> cases = {
        {[] { olhs::optimize(1, 3); }, "n: the number of points must be at least 2 (got 1)"},
        {[] { olhs::optimize(5, 0); }, "m: the number of variables must be at least 1 (got 0)"},
        {with([](Options& o) { o.restarts = 0; }), "restarts: must be at least 1 (got 0)"},
        {with([](Options& o) { o.firstRestart = -1; }),
         "firstRestart: must be at least 0, with firstRestart + restarts at most 2147483647 (got -1)"},
        {with([](Options& o) { o.threads = 1025; }), "threads: must lie in [0, 1024], 0 for all cores (got 1025)"},
        {with([](Options& o) { o.timeBudget = NAN; }), "timeBudget: must lie in [0, 1e9] seconds, 0 for none (got nan)"},
        {with([](Options& o) { o.p = 0.5; }), "p: must lie in [1, 200] (got 0.5)"},
        {with([](Options& o) { o.metric = olhs::Metric(5); }), "metric: must be cityblock or euclidean (got 5)"},
        {[] { olhs::optimize(5000, 10, quick(1, [](Options& o) { o.metric = euclidean, o.start = olhs::Start::Random; })); },
         "metric: a search with euclidean takes designs with m (n - 1)^2 up to 16777216; use cityblock, or the lattice "
         "alone (start auto without a time budget) for this size (got 249900010)"},
        {[] { olhs::improve({1, 2, 2, 1, 4, 3}, 3, 2); }, "startLevels: row 3, column 1: levels must lie in 1..3 (got 4)"},
        {[] { olhs::improve({1, 2, 2, 2, 3, 3}, 3, 2); },
         "startLevels: column 2 must be a permutation of 1..3: rows 1 and 2 both hold (got 2)"},
        {[] { olhs::augment({10.0, 0.5}, 1, 2, 1); }, "values: row 1, column 1: must lie in [0, 1] (got 10)"},
        {[] { olhs::augment({0.5, NAN}, 1, 2, 1); }, "values: row 1, column 2: must be a finite number (got nan)"},
        {[&] { olhs::augment(unit, 1, 2, 0); }, "k: at least 1 point must be added (got 0)"},
        {[&] { olhs::augment(unit, 1, 2, 1, quick(), {0.0}, {1.0, 1.0}); },
         "lower: must hold one bound per variable (m = 2), or both bounds none (got 1)"},
        {[&] { olhs::augment(unit, 1, 2, 1, quick(), {0.0, 1.0}, {1.0, 1.0}); },
         "upper: variable 2: must exceed lower by a finite width (got 1, 1)"},
        {with([](Options& o) { o.placement = olhs::Placement::Grid; }, true),
         "placement: grid puts levels on the edges of their strata; use centered or jittered (got grid)"},
        {[&] { olhs::ranks(tie.data(), 3, 2); }, "column 1: rows 1 and 3 tie at 1"},
        {[] { olhs::ranks(std::vector<double>{0.0, -0.0}.data(), 2, 1); }, "column 1: rows 1 and 2 tie at 0"},
        {[&] { olhs::ranks(tie.data(), 1, 2); }, "n: a design needs at least 2 points (got 1)"},
        {[] { olhs::phip({1, 2, 3}, 2, 2); }, "levels: must hold n m = 4 values (got 3)"},
        {[] { olhs::phip({1, 2000000}, 2, 1); }, "levels: must lie in [-1000000, 1000000] (got 2000000)"},
        {[] { olhs::classic(5, 1, {}, 1); }, "m: the search needs at least 2 variables (got 1)"},
        {limits([](auto& l) { l.maxIterations = 5; }), "maxIterations: must be greater than minIterations (5) (got 5)"},
    };
    for (std::size_t k = 0; k < cases.size(); ++k) {
        std::string message = "(accepted)";
        try {
            cases[k].first();
        } catch (const std::invalid_argument& e) {
            message = e.what();
        }
        EXPECT_EQ(message, cases[k].second) << "case " << k;
    }
    // A run that cannot fit is refused before it allocates (Python's tests read the message);
    // one within its memory limit runs.
    EXPECT_THROW(olhs::optimize(1 << 30, 2), olhs::NotEnoughMemory);
    Options o = quick(1, [](Options& x) { x.memoryLimit = 0.5 * olhs::requiredBytes(300, 5, x); });
    EXPECT_THROW(olhs::improve(olhs::optimize(300, 5, quick()).levels, 300, 5, o), olhs::NotEnoughMemory);
    o.memoryLimit *= 4;
    EXPECT_NO_THROW(olhs::optimize(300, 5, o));
}

// Every search: the same bits on 1, 2 or 8 threads; shares made apart (on a cluster), reduced by
// the documented rule, give the whole run; the result holds its design's measures.
using Search = std::pair<olhs::Criterion, olhs::Metric>;
class SearchTest : public testing::TestWithParam<Search> {};

TEST_P(SearchTest, SameBitsForAnyThreadsAndFromSharesOfTheRun) {
    Options o = quick(11);
    std::tie(o.criterion, o.metric) = GetParam();
    const bool maximin = o.criterion == C::Maximin, byEuclidean = o.metric == euclidean;
    o.iterations = maximin || byEuclidean ? 1 : 20; // anneals
    o.restarts = 6;
    o.threads = 1;
    const Result whole = olhs::optimize(20, 4, o);
    EXPECT_TRUE(isLatin(whole));
    EXPECT_EQ(std::make_tuple(whole.restarts, whole.iterations, whole.stopReason),
              std::make_tuple(6, 6 * o.iterations, StopReason::Iterations));
    const olhs::Metrics measured = olhs::metrics(whole.levels, 20, 4);
    EXPECT_TRUE(sameBits(whole.phip, olhs::phip(whole.levels, 20, 4, o.metric)));
    EXPECT_TRUE(measured.minCityBlock == whole.minCityBlock && measured.minEuclidean == whole.minEuclidean);
    EXPECT_TRUE(o.criterion != C::MaxPro || sameBits(whole.maxPro, measured.maxPro));
    EXPECT_TRUE(o.criterion != C::Discrepancy ||
                std::fabs(whole.discrepancy / measured.centredL2Discrepancy - 1) < 1e-12);
    for (int threads : {2, 8}) {
        o.threads = threads;
        const Result many = olhs::optimize(20, 4, o);
        EXPECT_TRUE(many.levels == whole.levels && sameBits(many.phip, whole.phip)) << threads << " threads";
    }
    const auto key = [&](const Result& r) {
        const double smallest = byEuclidean ? r.minEuclidean : r.minCityBlock;
        return std::make_tuple(maximin ? -smallest : 0.0, maximin ? r.pairsAtSmallest : 0L, r.searchValue, r.bestRestart);
    };
    o.restarts = 2;
    Result best;
    for (int first : {4, 0, 2}) {
        o.firstRestart = first;
        const Result share = olhs::optimize(20, 4, o);
        EXPECT_TRUE(share.bestRestart == first || share.bestRestart == first + 1) << share.bestRestart;
        if (best.levels.empty() || key(share) < key(best)) best = share;
    }
    EXPECT_TRUE(best.levels == whole.levels && best.bestRestart == whole.bestRestart && sameBits(best.phip, whole.phip));
}

const Search allSearches[] = {{C::Phip, cityBlock},    {C::Phip, euclidean},   {C::Maximin, euclidean},
                              {C::Maximin, cityBlock}, {C::MaxPro, cityBlock}, {C::Discrepancy, cityBlock}};
std::string searchName(const testing::TestParamInfo<Search>& info) {
    const char* const names[] = {"Phip", "Maximin", "MaxPro", "Discrepancy"};
    return names[static_cast<int>(info.param.first)] + std::string(info.param.second == euclidean ? "Euclidean" : "");
}
INSTANTIATE_TEST_SUITE_P(Searches, SearchTest, testing::ValuesIn(allSearches), searchName);

// Each way a run stops. Large designs are the lattice alone unless a search is asked for or
// time is given; a search from the lattice keeps the best design it meets, the lattice
// first. Maximin stops at a proven bound. Progress returning false cancels a search, or
// the building and measuring of a large design (then proven bounds stand in for measures).
TEST(Optimize, EachWayARunStops) {
    EXPECT_TRUE(olhs::searches(500, 10, Options()) && !olhs::searches(3000, 10, Options()));
    EXPECT_TRUE(olhs::searches(3000, 10, quick(1, [](Options& x) { x.start = olhs::Start::Random; })));
    EXPECT_TRUE(olhs::searches(3000, 10, quick(1, [](Options& x) { x.iterations = 0, x.timeBudget = 0.5; })));
    const Result built = olhs::optimize(2000, 3);
    EXPECT_EQ(std::make_tuple(built.stopReason, built.iterations), std::make_tuple(StopReason::Constructed, 0L));
    const Result searched =
        olhs::optimize(2000, 3, quick(1, [](Options& x) { x.start = olhs::Start::Lattice, x.iterations = x.restarts = 1; }));
    EXPECT_TRUE(isLatin(built) && isLatin(searched) && searched.phip <= built.phip);

    // 2n + 1 prime: a construction every pair of which is n (n + 1) / 3 apart; 7 x 4 reaches
    // floor(4 (7 + 1) / 3) = 10 by search.
    const Result proven = olhs::optimize(9, 9, quick(1, [](Options& o) { o.criterion = C::Maximin; }));
    EXPECT_EQ(std::make_tuple(proven.minCityBlock, proven.pairsAtSmallest, olhs::toString(proven.stopReason)),
              std::make_tuple(30.0, 36L, std::string("proven optimal")));
    const Result reached =
        olhs::optimize(7, 4, quick(1, [](Options& o) { o.criterion = C::Maximin, o.iterations = 0, o.timeBudget = 60; }));
    EXPECT_EQ(std::make_tuple(reached.minCityBlock, reached.stopReason), std::make_tuple(10.0, StopReason::Optimal));

    int calls = 0; // a report out of range stops the run early, and the count fails
    const Result cancelled = olhs::optimize(50, 5, quick(1, [&](Options& o) {
        o.iterations = 100000;
        o.progress = [&](const olhs::Progress& p) { return p.restart >= 0 && p.iteration > 0 && p.bestPhip > 0 && ++calls < 3; };
    }));
    EXPECT_EQ(std::make_tuple(cancelled.stopReason, calls), std::make_tuple(StopReason::Cancelled, 3));
    EXPECT_LT(cancelled.iterations, 10);
    const Result budget = olhs::optimize(60, 4, quick(1, [](Options& o) { o.iterations = 0, o.timeBudget = 0.05; }));
    EXPECT_EQ(olhs::toString(budget.stopReason), "time budget");
    std::vector<olhs::Progress> reports;
    const Result stopped = olhs::optimize(20000, 10, quick(1, [&](Options& o) {
        o.iterations = 0;
        o.progress = [&](const olhs::Progress& p) { return reports.push_back(p), false; };
    }));
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_TRUE(reports[0].phase != olhs::Phase::Searching && reports[0].fractionDone >= 0 && reports[0].fractionDone <= 1);
    EXPECT_EQ(std::make_tuple(stopped.stopReason, stopped.exact), std::make_tuple(StopReason::Cancelled, false));
    EXPECT_TRUE(stopped.minCityBlock > 10 && isLatin(proven) && isLatin(cancelled) && isLatin(budget) && isLatin(stopped));
}

// The best restart wins, the first among equals: 4 x 2 has few designs, so restarts tie; 30 x 3 has none.
TEST(Optimize, BestRestartWinsTiesGoToTheFirst) {
    olhs::engine::MultistartPlan plan;
    plan.restarts = 12;
    plan.threads = 3;
    plan.iterations = 15;
    for (int n : {4, 30}) {
        plan.points = n;
        plan.variables = n == 4 ? 2 : 3;
        const auto all = olhs::engine::runMultistart(plan);
        int first = 0;
        for (int r = 1; r < plan.restarts; ++r)
            if (olhs::engine::runOneRestart(plan, r).phip < olhs::engine::runOneRestart(plan, first).phip) first = r;
        EXPECT_TRUE(sameBits(all.phip, olhs::engine::runOneRestart(plan, first).phip)) << n;
        EXPECT_TRUE(all.levels == olhs::engine::runOneRestart(plan, first).levels) << n << ": restart " << first;
        EXPECT_FALSE(olhs::engine::runOneRestart(plan, 0).levels == olhs::engine::runOneRestart(plan, 1).levels);
    }
}

// The exact bits of optimize(), improve() and augment(), most at their default iterations and
// restarts: a change of the seeding, the defaults or a move shows even when every design stays
// good. Regenerate (only for an intended change): OLHS_GOLDEN_PRINT=1 optimize_test --gtest_filter='*GoldenPins*'
enum class Call { Optimize, Improve, Augment };

struct Pin {
    const char* name;
    Call call;
    int n, m, k;           // k: the points augment() adds
    olhs::Options options; // iterations 0: the automatic count
    std::uint64_t levelsHash, phipBits;
};

Options seeded(std::uint64_t seed, C criterion = C::Phip, olhs::Metric metric = cityBlock, long iterations = 0) {
    return quick(seed, [&](Options& o) { o.criterion = criterion, o.metric = metric, o.iterations = iterations; });
}

const Pin pins[] = {
    {"OptimizeDefaults12x4", Call::Optimize, 12, 4, 0, seeded(1), 0x28b71a111d92a371ull, 0x3fb4a174eeea1e41ull},
    {"OptimizeMaximin30x5", Call::Optimize, 30, 5, 0, seeded(7, C::Maximin), 0x98fa9df29defb5daull, 0x3f9e7b095e9c1792ull},
    {"OptimizeMaximinEuclidean16x3", Call::Optimize, 16, 3, 0, seeded(2, C::Maximin, euclidean), 0xc515cc5fd302befdull,
     0x3fc33bbc28e7c32dull},
    {"OptimizeEuclidean50x3", Call::Optimize, 50, 3, 0, seeded(3, C::Phip, euclidean), 0x76a0be4ea0c142baull,
     0x3fb2e3f7cb3350b5ull},
    {"OptimizeMaxPro20x4", Call::Optimize, 20, 4, 0, seeded(5, C::MaxPro, cityBlock, 40), 0x149766f4e26c2d31ull,
     0x3fb24f0d5c110593ull},
    {"OptimizeDiscrepancy20x3", Call::Optimize, 20, 3, 0, seeded(2, C::Discrepancy), 0xe25d9bdbad585bcbull,
     0x3fc24943019fc498ull},
    {"ImproveStrided23x3", Call::Improve, 23, 3, 0, seeded(4), 0x92e2d5a9f52ffa1full, 0x3fb48f0a1c36661eull},
    {"AugmentStrided11x3By6", Call::Augment, 11, 3, 6, seeded(9), 0x9f34f1eae6e0d0ceull, 0x3fc07336f2cbbf41ull},
};

class GoldenPins : public testing::TestWithParam<Pin> {};

TEST_P(GoldenPins, SameBitsAsRecorded) {
    const Pin& pin = GetParam();
    // A start without randomness: column c holds i (2c + 1) mod n + 1, n prime; augment()
    // is given its values inside their cells, no two sharing a stratum of n + k.
    std::vector<int> start(static_cast<std::size_t>(pin.n) * pin.m), levels;
    for (std::size_t at = 0; at < start.size(); ++at)
        start[at] = static_cast<int>(at / pin.m * (2 * (at % pin.m) + 1) % pin.n) + 1;
    double phip = 0.0;
    if (pin.call == Call::Augment) {
        std::vector<double> values;
        for (int level : start) values.push_back((level - 0.3) / pin.n);
        const olhs::AugmentResult r = olhs::augment(values, pin.n, pin.m, pin.k, pin.options);
        levels = r.strata, phip = r.phip;
    } else {
        const olhs::Result r = pin.call == Call::Improve ? olhs::improve(start, pin.n, pin.m, pin.options)
                                                         : olhs::optimize(pin.n, pin.m, pin.options);
        levels = r.levels, phip = r.phip;
    }
    std::uint64_t hash = 14695981039346656037ull, bits; // FNV-1a over the levels (augment: the strata)
    for (int v : levels) hash = (hash ^ static_cast<std::uint32_t>(v)) * 1099511628211ull;
    std::memcpy(&bits, &phip, sizeof bits);
    if (std::getenv("OLHS_GOLDEN_PRINT")) {
        std::printf("%s 0x%016llxull, 0x%016llxull\n", pin.name, static_cast<unsigned long long>(hash),
                    static_cast<unsigned long long>(bits));
        return;
    }
    EXPECT_EQ(hash, pin.levelsHash);
    EXPECT_EQ(bits, pin.phipBits) << phip;
}

INSTANTIATE_TEST_SUITE_P(Runs, GoldenPins, testing::ValuesIn(pins),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
