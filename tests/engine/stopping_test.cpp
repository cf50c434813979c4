// The rules that end a run of outer iterations, on a clock the test decides.
#include <chrono>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "engine/stopping.h"

namespace {

using olhs::engine::StopRule;
using olhs::engine::StopRules;
using olhs::engine::Stopping;

// A clock that advances one second at every read.
olhs::engine::Clock ticking() {
    auto reads = std::make_shared<int>(0);
    return [reads] { return std::chrono::steady_clock::time_point(std::chrono::seconds(++*reads)); };
}

// Iterations until the rules end a run whose best values are `values` (then constant).
std::pair<int, StopRule> run(const StopRules& rules, const std::vector<double>& values, olhs::engine::Clock clock = {}) {
    Stopping stopping(rules, 100.0, std::move(clock));
    for (int k = 0;; ++k) {
        const double best = k < static_cast<int>(values.size()) ? values[static_cast<std::size_t>(k)] : values.back();
        const StopRule rule = stopping.afterIteration(best);
        if (rule != StopRule::None) return {stopping.iterations(), rule};
    }
}

TEST(Stopping, EachRuleEndsTheRunWhereItHolds) {
    StopRules rules;
    rules.maxIterations = 8;
    rules.minIterations = 2;
    rules.stallIterations = 3;
    // Improving by more than 1 % every time: the iteration limit.
    EXPECT_EQ(run(rules, {90, 80, 70, 60, 50, 40, 30, 20, 10}), std::make_pair(8, StopRule::Iterations));
    // An improvement of 1 % or less does not count: the fourth iteration without one stalls.
    EXPECT_EQ(run(rules, {99.5}), std::make_pair(4, StopRule::Stall));
    EXPECT_EQ(run(rules, {90, 89.5}), std::make_pair(5, StopRule::Stall));
    // No rule before the minimum, even one that held earlier.
    rules.minIterations = 6;
    EXPECT_EQ(run(rules, {100}), std::make_pair(7, StopRule::Stall));
}

TEST(Stopping, TheTimeLimitReadsTheGivenClockAndComesFirst) {
    StopRules rules;
    rules.minIterations = 0;
    rules.stallIterations = 1;
    rules.timeLimit = 2.5;
    // The start and each iteration read the clock once: 3 s at the third.
    EXPECT_EQ(run(rules, {90, 80, 70, 60}, ticking()), std::make_pair(3, StopRule::Time));
    EXPECT_EQ(run(rules, {100}, ticking()), std::make_pair(2, StopRule::Stall));
    // Stalled and out of time at once: the time limit is named.
    rules.timeLimit = 1.5;
    EXPECT_EQ(run(rules, {100}, ticking()), std::make_pair(2, StopRule::Time));
}

} // namespace
