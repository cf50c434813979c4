// Stopping rules: limits, the improvement threshold, the order in which the rules are
// judged, the checked setter and the two dumps. Time rules are driven by moving the start
// of the run into the past, never by waiting.
#include <cmath>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/StoppingCriteria.h"
#include "test_support.h"

using namespace olhs_test;

namespace {

constexpr double noLimit = 1.7e+308;
const std::string kStallIter = "Maximum number of iterations without improvements.";
const std::string kMaxIter = "Maximum number of iterations.";
const std::string kTime = "Maximum time allowed for the task.";
const std::string kStallTime = "Maximum time allowed without improvements for the task.";

// printMembers of a default object that has made no check.
const std::string kDefaultDump = R"(STOPPING CRITERIA PARAMETERS:
Maximum number of iterations: 100
Minimum number of iterations: 5
Maximum number of iterations without improvements: 10
Maximum time allowed for the task:       1.7e+308 [s]
Time allowed without improvement :       1.7e+308 [s]
Percentage used for check the convergence:               1 %

STOPPING CRITERION REACHED:

At iteration: 0
Total time for the task:              0 [s]
)";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    return text.replace(text.find(from), from.size(), to);
}

std::string consoleDump(StoppingCriteria& sc) {
    CaptureOut out;
    sc.printMembers();
    return out.take();
}

// The line under "STOPPING CRITERION REACHED:" in the dump.
std::string stopText(StoppingCriteria& sc) {
    const std::string dump = consoleDump(sc);
    const std::size_t begin = dump.find("REACHED:\n") + 9;
    return dump.substr(begin, dump.find('\n', begin) - begin);
}

long now() { return static_cast<long>(std::time(nullptr)); }

// Whether one check with f after setObjectiveRange(range) is an improvement: with no
// minimum and a stall limit of 0 the first check stops exactly when it is not.
bool improves(double range, double f, double relObjConv = 0.01) {
    StoppingCriteria sc(100, 0, 0, noLimit, noLimit, relObjConv);
    sc.setObjectiveRange(range);
    return !sc.isItTimeToStop(f);
}

} // namespace

TEST(StoppingCriteria, DefaultsAndTheEleventhCheck) {
    StoppingCriteria d;
    EXPECT_EQ(d.getTimeLimit(), 1.7e+308);
    EXPECT_NE(d.getStallTimeLimit(), std::numeric_limits<double>::max());
    EXPECT_EQ(d.getRelativeObjectiveConvergence(), 0.01);
    EXPECT_EQ(d.getInitialTime(), 0);
    EXPECT_EQ(consoleDump(d), kDefaultDump);
    // The six-argument form stores its values unchecked.
    StoppingCriteria s(7, 3, 2, 5.0, 20.0, 1.5);
    EXPECT_EQ(s.getStallTimeLimit(), 20.0);
    EXPECT_EQ(s.getRelativeObjectiveConvergence(), 1.5);

    d.resetInitialTime();
    for (int check = 1; check <= 10; ++check) EXPECT_FALSE(d.isItTimeToStop(1.0)) << check;
    EXPECT_EQ(stopText(d), "");
    EXPECT_TRUE(d.isItTimeToStop(1.0));
    EXPECT_EQ(d.getCurrentIteration(), 11);
    EXPECT_EQ(stopText(d), kStallIter);
}

TEST(StoppingCriteria, ImprovementIsStrictlyBelowTheThresholdWhichFollowsEachImprovement) {
    EXPECT_FALSE(improves(2.0, 1.98)); // 2.0 - 0.01 * 2.0
    EXPECT_TRUE(improves(2.0, std::nextafter(1.98, 0.0)));
    EXPECT_FALSE(improves(2.0, std::nan("")));
    EXPECT_FALSE(improves(2.0, 1.5, 0.25));
    EXPECT_TRUE(improves(2.0, std::nextafter(1.5, 0.0), 0.25));
    EXPECT_FALSE(improves(2.0, 2.0, 0.0));
    EXPECT_TRUE(improves(2.0, std::nextafter(2.0, 0.0), 0.0));
    // Before any setObjectiveRange nothing improves.
    StoppingCriteria fresh(100, 0, 0, noLimit, noLimit, 0.01);
    EXPECT_TRUE(fresh.isItTimeToStop(-1.0e300));

    const double next = 1.97 - 0.01 * 1.97;
    StoppingCriteria sc(100, 0, 1, noLimit, noLimit, 0.01);
    sc.setObjectiveRange(2.0);
    EXPECT_FALSE(sc.isItTimeToStop(1.97));                      // improvement
    EXPECT_FALSE(sc.isItTimeToStop(std::nextafter(next, 0.0))); // below the moved threshold
    EXPECT_FALSE(sc.isItTimeToStop(next));                      // stall 1
    EXPECT_TRUE(sc.isItTimeToStop(next));                       // stall 2 > 1
    // An improvement clears the stall count: two stalls, an improvement, two stalls.
    StoppingCriteria two(100, 0, 2, noLimit, noLimit, 0.01);
    two.setObjectiveRange(2.0);
    for (double f : {3.0, 3.0, 1.0, 3.0, 3.0}) EXPECT_FALSE(two.isItTimeToStop(f)) << f;
    EXPECT_TRUE(two.isItTimeToStop(3.0));
}

TEST(StoppingCriteria, MaximumIterationsIsAnEqualityTestJudgedAfterTheMinimum) {
    StoppingCriteria sc(7, 5, 1000, noLimit, noLimit, 0.01);
    for (int check = 1; check <= 6; ++check) EXPECT_FALSE(sc.isItTimeToStop(1.0)) << check;
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kMaxIter);
    // Past the maximum no rule holds, yet the stop stands ...
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kMaxIter);
    // ... until a check within the minimum clears it; the text stays.
    sc.setMinIterations(100);
    EXPECT_FALSE(sc.isItTimeToStop(1.0));
    sc.setMinIterations(0);
    EXPECT_FALSE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kMaxIter);

    // A maximum at or below the minimum never fires.
    for (int max : {5, 3, 0, -1}) {
        StoppingCriteria low(max, 5, 1000, noLimit, noLimit, 0.01);
        for (int check = 1; check <= 60; ++check) ASSERT_FALSE(low.isItTimeToStop(1.0)) << max << " " << check;
        EXPECT_EQ(stopText(low), "");
    }
    // The minimum keeps every check false even when a rule holds.
    StoppingCriteria min(3, 5, 0, noLimit, noLimit, 0.01);
    for (int check = 1; check <= 5; ++check) EXPECT_FALSE(min.isItTimeToStop(1.0)) << check;
    EXPECT_TRUE(min.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(min), kStallIter);
}

TEST(StoppingCriteria, WhenSeveralRulesHoldTheLastInOrderGivesTheText) {
    struct Case {
        int max, stall;
        double time, stallTime;
        std::string text;
    };
    // The start lies 100 s back, so every time limit below 100 s is exceeded at once.
    for (const Case& c : std::vector<Case>{{1, 1000, noLimit, noLimit, kMaxIter},
                                           {1, 1000, 10.0, noLimit, kTime},
                                           {1, 0, 10.0, noLimit, kStallIter},
                                           {1, 0, 10.0, 10.0, kStallTime},
                                           {1, 0, noLimit, noLimit, kStallIter},
                                           {1, 1000, noLimit, 10.0, kStallTime},
                                           {100, 1000, 10.0, noLimit, kTime},
                                           {100, 1000, 10.0, 10.0, kStallTime}}) {
        StoppingCriteria sc(c.max, 0, c.stall, c.time, c.stallTime, 0.01);
        sc.setInitialTime(now() - 100);
        EXPECT_TRUE(sc.isItTimeToStop(1.0)) << c.text;
        EXPECT_EQ(stopText(sc), c.text);
    }
}

TEST(StoppingCriteria, TimeLimitsAreStrict) {
    // The limit is set to the elapsed time read just before the check; an attempt during
    // which the clock moved to the next second proves nothing and is made again.
    for (bool stallRule : {false, true}) {
        bool judged = false;
        for (int attempt = 0; attempt < 1000 && !judged; ++attempt) {
            StoppingCriteria sc(100, 0, 1000, noLimit, noLimit, 0.01);
            sc.setInitialTime(now() - 50);
            const long before = now();
            const double elapsed = static_cast<double>(before - sc.getInitialTime());
            stallRule ? sc.setStallTimeLimit(elapsed) : sc.setTimeLimit(elapsed);
            const bool stop = sc.isItTimeToStop(1.0);
            if (sc.getCurrentTime() != before) continue;
            judged = true;
            EXPECT_FALSE(stop) << stallRule;
        }
        EXPECT_TRUE(judged);
    }
}

TEST(StoppingCriteria, TimeLimitSetterLowersTheStallTimeLimitOnly) {
    StoppingCriteria sc;
    sc.setTimeLimit(5);
    EXPECT_EQ(sc.getStallTimeLimit(), 5.0);
    sc.setTimeLimit(10);
    EXPECT_EQ(sc.getTimeLimit(), 10.0);
    EXPECT_EQ(sc.getStallTimeLimit(), 5.0);
    sc.setStallTimeLimit(20);
    EXPECT_EQ(sc.getStallTimeLimit(), 20.0);
    EXPECT_EQ(sc.getTimeLimit(), 10.0);
}

TEST(StoppingCriteria, StallTimeIsRecordedByStalledChecksOnly) {
    const long start = now() - 10;
    // A stalled check more than 3 s after the start records the time; from then on every
    // check past the minimum stops, improving ones included.
    StoppingCriteria sc(100, 5, 1000, noLimit, 3.0, 0.01);
    sc.setInitialTime(start);
    sc.setObjectiveRange(100.0);
    EXPECT_FALSE(sc.isItTimeToStop(200.0));
    double f = 50.0;
    for (int check = 2; check <= 5; ++check, f /= 2) EXPECT_FALSE(sc.isItTimeToStop(f)) << check;
    EXPECT_TRUE(sc.isItTimeToStop(f));
    EXPECT_EQ(stopText(sc), kStallTime);
    EXPECT_EQ(sc.getTotalTime(), static_cast<double>(sc.getCurrentTime() - start));

    // Without a stalled check the stall time stays 0 and an improving run goes on ...
    StoppingCriteria improving(1000, 5, 1000, noLimit, 3.0, 0.01);
    improving.setInitialTime(start);
    improving.setObjectiveRange(100.0);
    f = 50.0;
    for (int check = 1; check <= 30; ++check, f /= 2) ASSERT_FALSE(improving.isItTimeToStop(f)) << check;
    // ... but the task's time limit ends it.
    improving.setTimeLimit(3.0);
    EXPECT_TRUE(improving.isItTimeToStop(f));
    EXPECT_EQ(stopText(improving), kTime);

    // Restarting the clock puts the start back to now.
    StoppingCriteria restarted(1000, 0, 1000, 100.0, 100.0, 0.01);
    restarted.setInitialTime(start - 1000);
    restarted.resetInitialTime();
    EXPECT_GE(restarted.getInitialTime(), start + 10);
    EXPECT_FALSE(restarted.isItTimeToStop(1.0));
}

TEST(StoppingCriteria, RelativeConvergenceSetterRefusesValuesOutsideZeroToOne) {
    StoppingCriteria sc(100, 0, 0, noLimit, noLimit, 0.01);
    for (double ok : {0.0, 1.0, 0.25}) {
        CaptureErr err;
        sc.setRelativeObjectiveConvergence(ok);
        EXPECT_EQ(err.take(), "");
        EXPECT_EQ(sc.getRelativeObjectiveConvergence(), ok);
    }
    for (double bad : {1.5, -0.1, std::nan(""), std::numeric_limits<double>::infinity()}) {
        CaptureErr err;
        sc.setRelativeObjectiveConvergence(bad);
        EXPECT_EQ(err.take(),
                  "Error with the use of void StoppingCriteria::setRelativeObjectiveConvergence(const double "
                  "d_RelObjConv)\nThe value must be within 0 and 1\n")
            << bad;
    }
    // The kept 0.25 governs the threshold: 2.0 - 0.25 * 2.0 = 1.5.
    sc.setObjectiveRange(2.0);
    StoppingCriteria at = sc;
    EXPECT_FALSE(sc.isItTimeToStop(std::nextafter(1.5, 0.0)));
    EXPECT_TRUE(at.isItTimeToStop(1.5));
}

TEST(StoppingCriteria, ConsoleAndFileDumpsDifferInThePercentageLineOnly) {
    StoppingCriteria sc(3, 0, 1000, 5.5, 2.25, 0.125);
    EXPECT_EQ(consoleDump(sc), R"(STOPPING CRITERIA PARAMETERS:
Maximum number of iterations: 3
Minimum number of iterations: 0
Maximum number of iterations without improvements: 1000
Maximum time allowed for the task:            5.5 [s]
Time allowed without improvement :           2.25 [s]
Percentage used for check the convergence:            12.5 %

STOPPING CRITERION REACHED:

At iteration: 0
Total time for the task:              0 [s]
)");
    sc.resetInitialTime();
    for (int i = 0; i < 3; ++i) sc.isItTimeToStop(1.0);
    EXPECT_NE(consoleDump(sc).find("REACHED:\n" + kMaxIter + "\nAt iteration: 3\n"), std::string::npos);

    // The file dump adds to the end of what is there, creating the file if need be.
    const std::string fileDump = replaced(kDefaultDump, "               1 %", "              1%");
    TempDir dir;
    const std::string path = dir.file("criteria.txt");
    StoppingCriteria d;
    d.fprintfReport(path);
    d.fprintfReport(path);
    EXPECT_EQ(readFile(path), fileDump + fileDump);

    // A file that cannot be opened is skipped with one message naming it.
    const std::string missing = dir.file("missing/criteria.txt");
    CaptureErr err;
    d.fprintfReport(missing);
    const std::string text = err.take();
    EXPECT_EQ(text.find('\n'), text.size() - 1) << text;
    EXPECT_NE(text.find(missing), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(missing));
}
