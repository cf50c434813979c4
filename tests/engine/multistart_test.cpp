// The deadline rule on a clock the test decides: a run stops where its time says, the same
// way every time, whatever the machine's speed.
#include <atomic>
#include <chrono>
#include <memory>

#include <gtest/gtest.h>

#include "engine/multistart.h"

namespace {

using namespace olhs::engine;
using Clock = std::chrono::steady_clock;

// A clock that moves one millisecond each time it is read.
struct TickingClock {
    std::shared_ptr<std::atomic<long>> reads = std::make_shared<std::atomic<long>>(0);
    Clock::time_point operator()() const { return Clock::time_point{} + std::chrono::milliseconds(reads->fetch_add(1)); }
};

MultistartPlan timedPlan(bool anneal, long milliseconds) {
    MultistartPlan plan;
    plan.points = 30, plan.variables = 4, plan.restarts = 1, plan.iterations = 1000000;
    plan.exponent = anneal ? 2 : 1, plan.anneal = anneal, plan.maximin = anneal;
    plan.clock = TickingClock();
    plan.deadline = Clock::time_point{} + std::chrono::milliseconds(milliseconds);
    return plan;
}

class DeadlineTest : public testing::TestWithParam<bool> {};

TEST_P(DeadlineTest, StopsWhereTheClockSaysAndRepeats) {
    const MultistartOutcome first = runMultistart(timedPlan(GetParam(), 40));
    const MultistartOutcome again = runMultistart(timedPlan(GetParam(), 40));
    EXPECT_TRUE(first.timedOut && first.iterations < 1000000);
    EXPECT_EQ(first.iterations, again.iterations);
    EXPECT_TRUE(first.levels == again.levels);
    // More time, more work.
    EXPECT_GT(runMultistart(timedPlan(GetParam(), 400)).iterations, first.iterations);
    // No deadline: the count of iterations stops it.
    MultistartPlan untimed = timedPlan(GetParam(), 0);
    untimed.deadline = Clock::time_point::max();
    untimed.iterations = 2;
    const MultistartOutcome counted = runMultistart(untimed);
    EXPECT_TRUE(!counted.timedOut && counted.iterations == 2);
}

INSTANTIATE_TEST_SUITE_P(Searches, DeadlineTest, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& info) { return info.param ? "Annealer" : "Evolutionary"; });

} // namespace
