// Stopping rules of a search: limits, the improvement threshold, the order in which the
// rules are judged, the checked setter and the two dumps. The time rules are driven by
// moving the start of the run into the past, never by waiting.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/StoppingCriteria.h"
#include "test_support.h"

using olhs_test::CaptureErr;
using olhs_test::CaptureOut;
using olhs_test::readFile;
using olhs_test::TempDir;

namespace {

constexpr double noLimit = 1.7e+308;

const char* const kStallIterText = "Maximum number of iterations without improvements.";
const char* const kMaxIterText = "Maximum number of iterations.";
const char* const kTimeText = "Maximum time allowed for the task.";
const char* const kStallTimeText = "Maximum time allowed without improvements for the task.";

const std::string kRefusal =
    "Error with the use of void StoppingCriteria::setRelativeObjectiveConvergence(const double d_RelObjConv)\n"
    "The value must be within 0 and 1\n";

// The dump of a default object that has made no check, as printMembers writes it.
const std::string kDefaultConsoleDump =
    "STOPPING CRITERIA PARAMETERS:\n"
    "Maximum number of iterations: 100\n"
    "Minimum number of iterations: 5\n"
    "Maximum number of iterations without improvements: 10\n"
    "Maximum time allowed for the task:       1.7e+308 [s]\n"
    "Time allowed without improvement :       1.7e+308 [s]\n"
    "Percentage used for check the convergence:               1 %\n"
    "\n"
    "STOPPING CRITERION REACHED:\n"
    "\n"
    "At iteration: 0\n"
    "Total time for the task:              0 [s]\n";

std::string consoleDump(StoppingCriteria& sc) {
    CaptureOut out;
    sc.printMembers();
    return out.take();
}

// The text the dump shows under "STOPPING CRITERION REACHED:".
std::string stopText(StoppingCriteria& sc) {
    const std::string dump = consoleDump(sc);
    const std::string key = "STOPPING CRITERION REACHED:\n";
    const std::size_t from = dump.find(key);
    if (from == std::string::npos) return "<no stop section>";
    const std::size_t begin = from + key.size();
    return dump.substr(begin, dump.find('\n', begin) - begin);
}

long now() { return static_cast<long>(std::time(nullptr)); }

// Whether a single check with f, after setObjectiveRange(range), counts as an improvement.
// With no minimum and a stall limit of 0, the first check stops exactly when it is not one.
bool improves(double range, double f, double relObjConv = 0.01) {
    StoppingCriteria sc(100, 0, 0, noLimit, noLimit, relObjConv);
    sc.setObjectiveRange(range);
    return !sc.isItTimeToStop(f);
}

} // namespace

TEST(StoppingCriteria, ConstructorsSetLimitsAndZeroedCountersAndTimes) {
    StoppingCriteria d;
    EXPECT_EQ(d.getMaxIterations(), 100);
    EXPECT_EQ(d.getMinIterations(), 5);
    EXPECT_EQ(d.getStallIterLimit(), 10);
    EXPECT_EQ(d.getTimeLimit(), 1.7e+308);
    EXPECT_EQ(d.getStallTimeLimit(), 1.7e+308);
    EXPECT_NE(d.getTimeLimit(), std::numeric_limits<double>::max());
    EXPECT_EQ(d.getRelativeObjectiveConvergence(), 0.01);
    EXPECT_EQ(d.getCurrentIteration(), 0);
    EXPECT_EQ(d.getInitialTime(), 0);
    EXPECT_EQ(d.getCurrentTime(), 0);
    EXPECT_EQ(d.getTotalTime(), 0.0);
    EXPECT_EQ(consoleDump(d), kDefaultConsoleDump);

    // The six-argument form stores its values as they come: a stall time limit above the
    // time limit and a fraction above 1 are kept.
    StoppingCriteria s(7, 3, 2, 5.0, 20.0, 1.5);
    EXPECT_EQ(s.getMaxIterations(), 7);
    EXPECT_EQ(s.getMinIterations(), 3);
    EXPECT_EQ(s.getStallIterLimit(), 2);
    EXPECT_EQ(s.getTimeLimit(), 5.0);
    EXPECT_EQ(s.getStallTimeLimit(), 20.0);
    EXPECT_EQ(s.getRelativeObjectiveConvergence(), 1.5);
    EXPECT_EQ(s.getCurrentIteration(), 0);
    EXPECT_EQ(s.getInitialTime(), 0);
    EXPECT_EQ(s.getCurrentTime(), 0);
    EXPECT_EQ(s.getTotalTime(), 0.0);
}

TEST(StoppingCriteria, DefaultsStopAtTheEleventhCheckForLackOfImprovement) {
    StoppingCriteria sc;
    sc.resetInitialTime();
    for (int check = 1; check <= 10; ++check) {
        EXPECT_FALSE(sc.isItTimeToStop(1.0)) << "check " << check;
        EXPECT_EQ(sc.getCurrentIteration(), check);
    }
    EXPECT_EQ(stopText(sc), "");
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(sc.getCurrentIteration(), 11);
    EXPECT_EQ(stopText(sc), kStallIterText);
    // Once past the minimum, a stop is final and the text stays.
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kStallIterText);
    EXPECT_NE(consoleDump(sc).find("At iteration: 12\n"), std::string::npos);
}

TEST(StoppingCriteria, ImprovementIsStrictlyBelowTheThreshold) {
    // setObjectiveRange(2.0) with 1 % puts the threshold at 1.98.
    EXPECT_FALSE(improves(2.0, 1.98));
    EXPECT_TRUE(improves(2.0, std::nextafter(1.98, 0.0)));
    EXPECT_TRUE(improves(2.0, 1.97));
    EXPECT_FALSE(improves(2.0, 2.0));
    EXPECT_FALSE(improves(2.0, std::nan("")));
    // The fraction is applied to the given value, whatever the fraction.
    EXPECT_FALSE(improves(2.0, 1.5, 0.25));
    EXPECT_TRUE(improves(2.0, std::nextafter(1.5, 0.0), 0.25));
    EXPECT_FALSE(improves(2.0, 2.0, 0.0));
    EXPECT_TRUE(improves(2.0, std::nextafter(2.0, 0.0), 0.0));

    // Before any setObjectiveRange nothing is an improvement, not even a huge decrease.
    StoppingCriteria fresh(100, 0, 0, noLimit, noLimit, 0.01);
    EXPECT_TRUE(fresh.isItTimeToStop(-1.0e300));
    EXPECT_EQ(stopText(fresh), kStallIterText);
}

TEST(StoppingCriteria, AnImprovementMovesTheThresholdBelowTheNewValue) {
    const double next = 1.97 - 0.01 * 1.97; // threshold after the improvement 1.97
    {
        StoppingCriteria sc(100, 0, 1, noLimit, noLimit, 0.01);
        sc.setObjectiveRange(2.0);
        EXPECT_FALSE(sc.isItTimeToStop(1.97));  // improvement: stall count back to 0
        EXPECT_FALSE(sc.isItTimeToStop(next));  // not below the new threshold: stall 1
        EXPECT_TRUE(sc.isItTimeToStop(next));   // stall 2 > 1
        EXPECT_EQ(stopText(sc), kStallIterText);
    }
    {
        StoppingCriteria sc(100, 0, 1, noLimit, noLimit, 0.01);
        sc.setObjectiveRange(2.0);
        EXPECT_FALSE(sc.isItTimeToStop(1.97));
        const double below = std::nextafter(next, 0.0);
        for (int k = 0; k < 5; ++k) {
            // Each value just below the moving threshold is an improvement again.
            EXPECT_FALSE(sc.isItTimeToStop(below * std::pow(0.98, k))) << k;
        }
    }
    {
        // An improvement clears the stall count: two stalls, an improvement, two stalls
        // stay within a limit of 2.
        StoppingCriteria sc(100, 0, 2, noLimit, noLimit, 0.01);
        sc.setObjectiveRange(2.0);
        EXPECT_FALSE(sc.isItTimeToStop(3.0));
        EXPECT_FALSE(sc.isItTimeToStop(3.0));
        EXPECT_FALSE(sc.isItTimeToStop(1.0));
        EXPECT_FALSE(sc.isItTimeToStop(3.0));
        EXPECT_FALSE(sc.isItTimeToStop(3.0));
        EXPECT_TRUE(sc.isItTimeToStop(3.0));
    }
}

TEST(StoppingCriteria, MaximumIterationsIsAnEqualityTest) {
    {
        StoppingCriteria sc(7, 5, 1000, noLimit, noLimit, 0.01);
        for (int check = 1; check <= 6; ++check) EXPECT_FALSE(sc.isItTimeToStop(1.0)) << check;
        EXPECT_TRUE(sc.isItTimeToStop(1.0));
        EXPECT_EQ(stopText(sc), kMaxIterText);
        EXPECT_TRUE(sc.isItTimeToStop(1.0));
        EXPECT_EQ(stopText(sc), kMaxIterText);
    }
    // At or below the minimum the counter passes the maximum while checks still answer
    // false, and the rule never fires afterwards.
    for (int max : {5, 3, 0, -1}) {
        StoppingCriteria sc(max, 5, 1000, noLimit, noLimit, 0.01);
        for (int check = 1; check <= 60; ++check) {
            ASSERT_FALSE(sc.isItTimeToStop(1.0)) << "max " << max << ", check " << check;
        }
        EXPECT_EQ(stopText(sc), "");
    }
    // The minimum keeps every check false, even when a rule already holds.
    StoppingCriteria sc(3, 5, 0, noLimit, noLimit, 0.01);
    for (int check = 1; check <= 5; ++check) EXPECT_FALSE(sc.isItTimeToStop(1.0)) << check;
    EXPECT_EQ(stopText(sc), "");
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kStallIterText);
}

TEST(StoppingCriteria, AStopStandsUntilACheckWithinTheMinimum) {
    StoppingCriteria sc(100, 0, 0, noLimit, noLimit, 0.01);
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    // No rule holds any more, and the answer stays.
    sc.setStallIterLimit(1000);
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kStallIterText);
    // A check within the minimum answers false and clears the stop, but keeps the text.
    sc.setMinIterations(10);
    EXPECT_FALSE(sc.isItTimeToStop(1.0));
    sc.setMinIterations(0);
    EXPECT_FALSE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kStallIterText);
}

TEST(StoppingCriteria, TimeLimitsAreStrict) {
    // A check whose elapsed time equals the limit does not stop. The limit is set to the
    // elapsed time read just before the check; an attempt during which the clock moved on
    // to the next second proves nothing and is made again on a fresh object.
    for (bool stallRule : {false, true}) {
        bool judged = false;
        for (int attempt = 0; attempt < 1000 && !judged; ++attempt) {
            StoppingCriteria sc(100, 0, 1000, noLimit, noLimit, 0.01);
            const long start = now() - 50;
            sc.setInitialTime(start);
            const long before = now();
            const double elapsed = std::difftime(static_cast<std::time_t>(before), static_cast<std::time_t>(start));
            if (stallRule) {
                sc.setStallTimeLimit(elapsed);
            } else {
                sc.setTimeLimit(elapsed);
            }
            const bool stop = sc.isItTimeToStop(1.0);
            if (sc.getCurrentTime() != before) continue;
            judged = true;
            EXPECT_FALSE(stop) << (stallRule ? "stall time" : "time");
        }
        EXPECT_TRUE(judged);
    }
}

TEST(StoppingCriteria, WhenSeveralRulesHoldTheLastInOrderGivesTheText) {
    struct Case {
        int maxIterations;
        int stallIterLimit;
        double timeLimit;
        double stallTimeLimit;
        const char* text;
    };
    // The start lies 100 s in the past, so every time limit below 100 s is exceeded at
    // the first check; every check is without improvement.
    const std::vector<Case> cases = {
        {1, 1000, noLimit, noLimit, kMaxIterText},
        {1, 1000, 10.0, noLimit, kTimeText},
        {1, 0, 10.0, noLimit, kStallIterText},
        {1, 0, 10.0, 10.0, kStallTimeText},
        {1, 0, noLimit, noLimit, kStallIterText},
        {1, 1000, noLimit, 10.0, kStallTimeText},
        {100, 1000, 10.0, noLimit, kTimeText},
        {100, 0, 10.0, noLimit, kStallIterText},
        {100, 1000, 10.0, 10.0, kStallTimeText},
    };
    for (const Case& c : cases) {
        StoppingCriteria sc(c.maxIterations, 0, c.stallIterLimit, c.timeLimit, c.stallTimeLimit, 0.01);
        sc.setInitialTime(now() - 100);
        EXPECT_TRUE(sc.isItTimeToStop(1.0)) << c.text;
        EXPECT_EQ(stopText(sc), c.text);
    }
    // The check that reaches the maximum also finds the stall count above its limit.
    StoppingCriteria sc(7, 6, 5, noLimit, noLimit, 0.01);
    for (int check = 1; check <= 6; ++check) EXPECT_FALSE(sc.isItTimeToStop(1.0)) << check;
    EXPECT_TRUE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kStallIterText);
}

TEST(StoppingCriteria, TimeLimitSetterLowersTheStallTimeLimitOnly) {
    StoppingCriteria sc;
    sc.setTimeLimit(5);
    EXPECT_EQ(sc.getTimeLimit(), 5.0);
    EXPECT_EQ(sc.getStallTimeLimit(), 5.0);
    sc.setTimeLimit(10);
    EXPECT_EQ(sc.getTimeLimit(), 10.0);
    EXPECT_EQ(sc.getStallTimeLimit(), 5.0);
    sc.setStallTimeLimit(20);
    EXPECT_EQ(sc.getStallTimeLimit(), 20.0);
    EXPECT_EQ(sc.getTimeLimit(), 10.0);
    sc.setTimeLimit(20);
    EXPECT_EQ(sc.getStallTimeLimit(), 20.0);

    sc.setMaxIterations(42);
    sc.setMinIterations(-3);
    sc.setStallIterLimit(0);
    EXPECT_EQ(sc.getMaxIterations(), 42);
    EXPECT_EQ(sc.getMinIterations(), -3);
    EXPECT_EQ(sc.getStallIterLimit(), 0);
}

TEST(StoppingCriteria, StallTimeCountsFromTheStartAndIsNotClearedByImprovements) {
    const long start = now() - 10;
    {
        // A check without improvement, more than 3 s after the start, records the time;
        // from then on every check past the minimum stops, improving ones included.
        StoppingCriteria sc(100, 5, 1000, noLimit, 3.0, 0.01);
        sc.setInitialTime(start);
        EXPECT_EQ(sc.getInitialTime(), start);
        sc.setObjectiveRange(100.0);
        EXPECT_FALSE(sc.isItTimeToStop(200.0));
        double f = 50.0;
        for (int check = 2; check <= 5; ++check, f /= 2) EXPECT_FALSE(sc.isItTimeToStop(f)) << check;
        EXPECT_TRUE(sc.isItTimeToStop(f / 2));
        EXPECT_EQ(stopText(sc), kStallTimeText);
        EXPECT_GE(sc.getCurrentTime(), start + 10);
        EXPECT_EQ(sc.getTotalTime(), std::difftime(sc.getCurrentTime(), sc.getInitialTime()));
    }
    {
        // Without any stalled check the stall time stays 0 and the run goes on.
        StoppingCriteria sc(1000, 5, 1000, noLimit, 3.0, 0.01);
        sc.setInitialTime(start);
        sc.setObjectiveRange(100.0);
        double f = 50.0;
        for (int check = 1; check <= 30; ++check, f /= 2) ASSERT_FALSE(sc.isItTimeToStop(f)) << check;
        EXPECT_EQ(stopText(sc), "");
    }
    {
        // The task's time limit ends even an improving run once past the minimum.
        StoppingCriteria sc(1000, 2, 1000, 3.0, noLimit, 0.01);
        sc.setInitialTime(start);
        sc.setObjectiveRange(100.0);
        EXPECT_FALSE(sc.isItTimeToStop(50.0));
        EXPECT_FALSE(sc.isItTimeToStop(25.0));
        EXPECT_TRUE(sc.isItTimeToStop(12.0));
        EXPECT_EQ(stopText(sc), kTimeText);
    }
    {
        // Restarting the clock: a check right after it is well within a 100 s limit.
        StoppingCriteria sc(1000, 0, 1000, 100.0, 100.0, 0.01);
        sc.setInitialTime(start);
        sc.resetInitialTime();
        EXPECT_GE(sc.getInitialTime(), start + 10);
        EXPECT_FALSE(sc.isItTimeToStop(1.0));
    }
}

TEST(StoppingCriteria, RelativeConvergenceSetterAcceptsTheClosedUnitInterval) {
    StoppingCriteria sc;
    for (double ok : {0.0, 1.0, 0.5}) {
        CaptureErr err;
        sc.setRelativeObjectiveConvergence(ok);
        EXPECT_EQ(err.take(), "");
        EXPECT_EQ(sc.getRelativeObjectiveConvergence(), ok);
    }
    sc.setRelativeObjectiveConvergence(0.25);
    for (double bad : {1.5, -0.1, std::nan(""), std::numeric_limits<double>::infinity()}) {
        CaptureErr err;
        sc.setRelativeObjectiveConvergence(bad);
        EXPECT_EQ(err.take(), kRefusal) << bad;
        EXPECT_EQ(sc.getRelativeObjectiveConvergence(), 0.25) << bad;
    }
    // The kept value still governs the threshold: 2.0 - 0.25 * 2.0 = 1.5.
    sc.setMinIterations(0);
    sc.setStallIterLimit(0);
    sc.setObjectiveRange(2.0);
    StoppingCriteria below = sc;
    EXPECT_FALSE(below.isItTimeToStop(std::nextafter(1.5, 0.0)));
    StoppingCriteria at = sc;
    EXPECT_TRUE(at.isItTimeToStop(1.5));
}

TEST(StoppingCriteria, CopiesCarryCountersAndGoOnIndependently) {
    StoppingCriteria original(100, 0, 3, noLimit, noLimit, 0.01);
    original.isItTimeToStop(1.0);
    original.isItTimeToStop(1.0);
    StoppingCriteria copy = original;
    EXPECT_EQ(copy.getCurrentIteration(), 2);
    EXPECT_FALSE(copy.isItTimeToStop(1.0));
    EXPECT_TRUE(copy.isItTimeToStop(1.0)); // stall count 4 > 3, carried over from the original
    EXPECT_EQ(original.getCurrentIteration(), 2);
    EXPECT_EQ(stopText(original), "");
    EXPECT_EQ(stopText(copy), kStallIterText);
}

TEST(StoppingCriteria, DumpsShowLimitsStopTextAndTheirOwnPercentageLine) {
    StoppingCriteria sc(3, 0, 1000, 5.5, 2.25, 0.125);
    sc.setInitialTime(0);
    EXPECT_EQ(consoleDump(sc),
              "STOPPING CRITERIA PARAMETERS:\n"
              "Maximum number of iterations: 3\n"
              "Minimum number of iterations: 0\n"
              "Maximum number of iterations without improvements: 1000\n"
              "Maximum time allowed for the task:            5.5 [s]\n"
              "Time allowed without improvement :           2.25 [s]\n"
              "Percentage used for check the convergence:            12.5 %\n"
              "\n"
              "STOPPING CRITERION REACHED:\n"
              "\n"
              "At iteration: 0\n"
              "Total time for the task:              0 [s]\n");

    TempDir dir;
    const std::string path = dir.file("criteria.txt");
    {
        std::FILE* f = std::fopen(path.c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("HEAD\n", f);
        std::fclose(f);
    }
    StoppingCriteria d;
    d.fprintfReport(path);
    const std::string fileDump =
        "STOPPING CRITERIA PARAMETERS:\n"
        "Maximum number of iterations: 100\n"
        "Minimum number of iterations: 5\n"
        "Maximum number of iterations without improvements: 10\n"
        "Maximum time allowed for the task:       1.7e+308 [s]\n"
        "Time allowed without improvement :       1.7e+308 [s]\n"
        "Percentage used for check the convergence:              1%\n"
        "\n"
        "STOPPING CRITERION REACHED:\n"
        "\n"
        "At iteration: 0\n"
        "Total time for the task:              0 [s]\n";
    // The file dump adds to the end of what is there.
    EXPECT_EQ(readFile(path), "HEAD\n" + fileDump);
    d.fprintfReport(path);
    EXPECT_EQ(readFile(path), "HEAD\n" + fileDump + fileDump);

    // A missing file is created.
    const std::string fresh = dir.file("fresh.txt");
    d.fprintfReport(fresh);
    EXPECT_EQ(readFile(fresh), fileDump);

    // After a stop the dump carries the text and the iteration of the stop.
    sc.setInitialTime(now());
    for (int i = 0; i < 3; ++i) sc.isItTimeToStop(1.0);
    const std::string dump = consoleDump(sc);
    EXPECT_NE(dump.find("STOPPING CRITERION REACHED:\nMaximum number of iterations.\nAt iteration: 3\n"),
              std::string::npos)
        << dump;
}

TEST(StoppingCriteria, FileDumpThatCannotBeOpenedIsSkippedWithOneMessage) {
    TempDir dir;
    const std::string path = (dir.path() / "missing" / "criteria.txt").string();
    StoppingCriteria sc;
    CaptureErr err;
    sc.fprintfReport(path);
    const std::string text = err.take();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_NE(text.find(path), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(path));
}
