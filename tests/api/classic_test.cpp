// The classic search as one re-entrant call: the bits of the classic classes, its limits and
// its progress. Its refusals are in the one table of optimize_test.cpp.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/classic.h"
#include "test_support.h"

namespace olhs {
// Test names show the limits, not the struct's bytes.
void PrintTo(const ClassicLimits& l, std::ostream* out) {
    *out << l.maxIterations << '/' << l.stallIterations << '/' << l.minIterations << '/' << l.convergence;
}
} // namespace olhs

namespace {

using olhs::ClassicLimits;
using olhs::ClassicResult;

ClassicLimits limits(int maxIterations, int stall, double convergence = 0.01) {
    ClassicLimits l;
    l.maxIterations = maxIterations, l.minIterations = std::min(l.minIterations, maxIterations - 1);
    l.stallIterations = stall, l.convergence = convergence;
    return l;
}

using Case = std::tuple<int, int, std::uint64_t, ClassicLimits>; // n, m, seed, limits
class ClassicTest : public testing::TestWithParam<Case> {};

// The classic classes (with their report) are the reference: the same design, value,
// iterations and stop rule, bit for bit, on both widths of distances.
TEST_P(ClassicTest, GivesTheClassicClassesBits) {
    const auto& [n, m, seed, l] = GetParam();
    const olhs_test::TempDir dir;
    const ClassicResult reference = olhs::classicWithReport(n, m, l, seed, dir.file("r_"));
    const ClassicResult run = olhs::classic(n, m, l, seed);
    EXPECT_EQ(std::tie(run.levels, run.phip, run.iterations, run.stopReason),
              std::tie(reference.levels, reference.phip, reference.iterations, reference.stopReason));
    EXPECT_TRUE(std::filesystem::exists(dir.path() / "r_FullReport.rpt"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, ClassicTest,
                         testing::Values(Case{10, 3, 20261123, ClassicLimits()}, Case{2, 2, 3, ClassicLimits()},
                                         Case{25, 6, 9, limits(2000, 3)}, Case{25, 6, 9, limits(40, 100, 0.0)},
                                         Case{40, 4, 5, limits(2000, 100, 0.5)},
                                         Case{700, 100, 2, limits(2, 100)})); // m (n - 1) past 65535: four-byte distances

TEST(Classic, RefusesBeforeAllocatingMoreThanTheMachineHas) {
    EXPECT_THROW(olhs::classic(1 << 22, 2, ClassicLimits(), 1), olhs::NotEnoughMemory);
    EXPECT_THROW(olhs::classicWithReport(1 << 20, 2, ClassicLimits(), 1, "unused_"), olhs::NotEnoughMemory);
    EXPECT_LT(olhs::classicRequiredBytes(1000, 10), olhs::classicRequiredBytes(1000, 10, true));
}

TEST(Classic, RunsAtOnceInManyThreadsWithTheSameBits) {
    const ClassicResult alone = olhs::classic(30, 4, ClassicLimits(), 7);
    std::vector<ClassicResult> runs(3);
    std::vector<std::thread> threads;
    for (auto& r : runs) threads.emplace_back([&r] { r = olhs::classic(30, 4, ClassicLimits(), 7); });
    for (auto& t : threads) t.join();
    for (const auto& r : runs) EXPECT_EQ(r.levels, alone.levels);
}

// Progress before each iteration, a line due every stallIterations; false stops the search,
// and before the first iteration leaves the random start, column 0 in point order unless it
// is the only one.
TEST(Classic, ReportsProgressAndStopsWhenTold) {
    std::vector<std::pair<int, bool>> seen;
    const ClassicResult run = olhs::classic(20, 3, limits(2000, 4), 1, [&](const olhs::ClassicProgress& p) {
        seen.emplace_back(p.iteration, p.lineDue);
        return p.iteration < 6;
    });
    EXPECT_EQ(std::make_tuple(run.stopReason, run.iterations, seen.size()), std::make_tuple(olhs::ClassicStop::Cancelled, 6, 7u));
    for (const auto& [iteration, due] : seen) EXPECT_EQ(due, iteration % 4 == 0) << iteration;
    EXPECT_EQ(olhs::classicProgressLine({4, 0.25, true}), "Iteration #: 004\t\tOptimality criterion =           0.25\n");
    const auto stopAtOnce = [](const olhs::ClassicProgress&) { return false; };
    EXPECT_EQ(olhs::classic(10, 3, limits(1, 100), 5, stopAtOnce).levels, olhs::classicRandom(10, 3, 5));
    EXPECT_EQ(olhs::classicRandom(10, 3, 5)[3], 2);
    EXPECT_NE(olhs::classicRandom(10, 1, 5), std::vector<int>({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

} // namespace
