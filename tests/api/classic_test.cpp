// The classic search as one re-entrant call: the bits of the classic classes, its limits,
// its progress and its refusals.
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/classic.h"

namespace {

using olhs::ClassicLimits;
using olhs::ClassicResult;
using olhs::ClassicStop;

ClassicLimits limits(int maxIterations, int stall, double convergence = 0.01) {
    ClassicLimits l;
    l.maxIterations = maxIterations;
    if (l.minIterations >= maxIterations) l.minIterations = maxIterations - 1;
    l.stallIterations = stall;
    l.convergence = convergence;
    return l;
}

// n, m, seed, limits.
using Case = std::tuple<int, int, std::uint64_t, ClassicLimits>;

class ClassicTest : public testing::TestWithParam<Case> {};

// The classic classes (with their report) are the reference: the same design, value,
// iterations and stop rule, bit for bit, on both widths of distances.
TEST_P(ClassicTest, GivesTheClassicClassesBits) {
    const auto& [n, m, seed, l] = GetParam();
    const std::filesystem::path dir = std::filesystem::path(testing::TempDir()) / "classic_report";
    std::filesystem::create_directories(dir);
    const ClassicResult reference = olhs::classicWithReport(n, m, l, seed, (dir / "r_").string());
    const ClassicResult run = olhs::classic(n, m, l, seed);
    EXPECT_EQ(run.levels, reference.levels);
    EXPECT_EQ(run.phip, reference.phip);
    EXPECT_EQ(run.iterations, reference.iterations);
    EXPECT_EQ(run.stopReason, reference.stopReason);
    EXPECT_TRUE(std::filesystem::exists(dir / "r_FullReport.rpt"));
    std::filesystem::remove_all(dir);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ClassicTest,
                         testing::Values(Case{10, 3, 20261123, ClassicLimits()}, Case{2, 2, 3, ClassicLimits()},
                                         Case{25, 6, 9, limits(2000, 3)}, Case{25, 6, 9, limits(40, 100, 0.0)},
                                         Case{40, 4, 5, limits(2000, 100, 0.5)},
                                         // m (n - 1) past 65535: four-byte distances
                                         Case{700, 100, 2, limits(2, 100)}));

TEST(Classic, RunsAtOnceInManyThreadsWithTheSameBits) {
    const ClassicResult alone = olhs::classic(30, 4, ClassicLimits(), 7);
    std::vector<ClassicResult> runs(3);
    std::vector<std::thread> threads;
    for (auto& r : runs) threads.emplace_back([&r] { r = olhs::classic(30, 4, ClassicLimits(), 7); });
    for (auto& t : threads) t.join();
    for (const auto& r : runs) EXPECT_EQ(r.levels, alone.levels);
}

TEST(Classic, ReportsProgressAndStopsWhenTold) {
    std::vector<std::pair<int, bool>> seen;
    const ClassicResult run = olhs::classic(20, 3, limits(2000, 4), 1, [&](const olhs::ClassicProgress& p) {
        seen.emplace_back(p.iteration, p.lineDue);
        return p.iteration < 6;
    });
    EXPECT_EQ(run.stopReason, ClassicStop::Cancelled);
    EXPECT_EQ(run.iterations, 6);
    ASSERT_EQ(seen.size(), 7u);
    for (const auto& [iteration, due] : seen) EXPECT_EQ(due, iteration % 4 == 0) << iteration;
    EXPECT_EQ(olhs::classicProgressLine({4, 0.25, true}), "Iteration #: 004\t\tOptimality criterion =           0.25\n");
}

TEST(Classic, RandomDesignIsTheSearchsStartAndShufflesASingleColumn) {
    const std::vector<int> start = olhs::classicRandom(10, 3, 5);
    const ClassicResult unsearched = olhs::classic(10, 3, limits(1, 100), 5, [](const olhs::ClassicProgress&) {
        return false;
    });
    EXPECT_EQ(unsearched.levels, start);
    const std::vector<int> single = olhs::classicRandom(10, 1, 5);
    EXPECT_NE(single, std::vector<int>({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(single, olhs::classicRandom(10, 1, 5));
}

TEST(Classic, RefusesSettingsNamingTheField) {
    const auto field = [](int n, int m, const ClassicLimits& l) {
        try {
            olhs::classic(n, m, l, 1);
        } catch (const olhs::InvalidOption& e) {
            return e.option() + " | " + e.reason();
        }
        return std::string("(accepted)");
    };
    ClassicLimits l;
    EXPECT_EQ(field(1, 2, l), "n | the number of points must be at least 2 (got 1)");
    EXPECT_EQ(field(5, 1, l), "m | the search needs at least 2 variables (got 1)");
    l.maxIterations = 5;
    EXPECT_EQ(field(5, 2, l), "maxIterations | must be greater than minIterations (5) (got 5)");
    l = ClassicLimits();
    l.convergence = 1.5;
    EXPECT_EQ(field(5, 2, l), "convergence | must lie in [0, 1] (got 1.5)");
    l = ClassicLimits();
    l.timeLimit = -0.25;
    EXPECT_EQ(field(5, 2, l), "timeLimit | must be 0 seconds or more (got -0.25)");
}

} // namespace
