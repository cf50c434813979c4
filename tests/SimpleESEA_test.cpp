// The evolutionary search: derived parameters, the column rule, the threshold update,
// acceptance, progress lines, runs and dumps, and a step-by-step walk through the
// documented algorithm that the search must match bit for bit.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/CombinatorialAnalysis.h"
#include "olhs/OptimalLH.h"
#include "olhs/PHIpCriterion.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "search_access.h"
#include "test_support.h"

using namespace olhs_test;
using olhs::detail::SimpleESEAAccess;

namespace {

using Levels = std::vector<std::valarray<double> >;

constexpr double noLimit = 1.7e+308;
const std::string RULE = std::string(80, '=') + "\n";

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// A design's levels, row by row, in a form that compares and prints.
std::vector<std::vector<double> > rows(const Levels& levels) {
    std::vector<std::vector<double> > out;
    for (const auto& row : levels) out.emplace_back(std::begin(row), std::end(row));
    return out;
}
std::vector<std::vector<double> > rows(OptimalLH x) { return rows(x.getLH()); }

std::string progressLine(int count, double value) {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, "Iteration #: %03d\t\tOptimality criterion = %14.6g\n", count, value);
    return buffer;
}

// The exploring factor lives for the whole process: a = 0 selects 1/0.7, a = 0.9 selects 0.9.
void setExploringFactor(double a) {
    SimpleESEA scratch;
    SimpleESEAAccess::setThreshold(scratch, 1.0);
    scratch.updateTh(false, a, 0.0);
}

// A design drawn from a source of zeros: every column reads 1..n.
OptimalLH diagonalDesign(int n, int m, int flag = 1) {
    ScopedSource zeros(constantSource(0.0));
    return OptimalLH(n, m, flag);
}

template <class T>
std::string dumpOf(T& object) {
    CaptureOut out;
    object.printMembers();
    return out.take();
}

std::string run(SimpleESEA& s) {
    CaptureOut out;
    s.run();
    return out.take();
}

// The search as documented, with the public classes alone: candidate copies exchanged
// under the design's own flag, the first of equal candidates kept, acceptance when
// Th r >= delta, a full re-sum of an accepted move under flag 1, and the threshold rules
// with an exploring factor that starts at `factor`.
struct Walk {
    OptimalLH best;
    double threshold;
    std::string progress;
    int iterations;
};

Walk referenceWalk(OptimalLH start, StoppingCriteria sc, double factor) {
    const int n = start.getNPoints(), m = start.getNDV();
    const int J = std::min(50, (n * (n - 1) + 9) / 10);
    const int M = n <= 22 ? (20 + n - 2) / (n - 1) : static_cast<int>(2.0 * n / 50 + 0.5);
    double th = 0.005 * start.getOptCrt();
    OptimalLH best = start, current = start;
    CombinatorialAnalysis<int> sampler;
    CRand acceptance;
    std::string progress;
    sc.setObjectiveRange(start.getOptCrt());
    sc.resetInitialTime();
    do {
        const double bestBefore = best.getOptCrt();
        int counter = 0, accepted = 0, improved = 0;
        if (sc.getCurrentIteration() % sc.getStallIterLimit() == 0)
            progress += progressLine(sc.getCurrentIteration(), best.getOptCrt());
        do {
            int column = ++counter % m;
            if (column == 0) column = 1, ++counter;
            const auto pairs = sampler.getVectorOfRandomCombination(J, n, 2);
            OptimalLH trial;
            for (int t = 0; t < J; ++t) {
                OptimalLH candidate = current;
                candidate.exchangeElements(column, pairs[t][0] - 1, pairs[t][1] - 1);
                if (t == 0 || candidate.getOptCrt() < trial.getOptCrt()) trial = candidate;
            }
            if (th * acceptance.Random() >= trial.getOptCrt() - current.getOptCrt()) {
                current = trial;
                ++accepted;
                if (current.getPHICflag() == 1) {
                    current.setPHICflag(2);
                    current.exchangeElements(1, 1, 1);
                    current.setPHICflag(1);
                }
                if (current.getOptCrt() < best.getOptCrt()) best = current, ++improved;
            }
        } while (counter < M);
        const double a = static_cast<double>(accepted) / M, b = static_cast<double>(improved) / M;
        if ((bestBefore - best.getOptCrt()) / best.getOptCrt() > 0.025) {
            if (a > 0.1 && a > b) th *= 0.8;
            else if (!(a > 0.1 && a == b)) th *= 1.25;
        } else {
            if (a < 0.1) factor = 1.0 / 0.7;
            else if (a > 0.8) factor = 0.9;
            th *= factor;
        }
    } while (!sc.isItTimeToStop(best.getOptCrt()));
    return {best, th, progress, sc.getCurrentIteration()};
}

} // namespace

TEST(SimpleESEA, ParametersFollowTheNumberOfPoints) {
    CRand::seed(99);
    SimpleESEA reused; // setInitialPoint derives everything again each time
    // (n, J, M)
    for (const auto& r : {std::vector<int>{2, 1, 20}, {3, 1, 10}, {4, 2, 7}, {5, 2, 5}, {7, 5, 4}, {10, 9, 3},
                          {11, 11, 2}, {20, 38, 2}, {21, 42, 1}, {22, 47, 1}, {23, 50, 1}, {37, 50, 1}, {38, 50, 2},
                          {62, 50, 2}, {63, 50, 3}}) {
        OptimalLH x(r[0], 3, 1);
        SimpleESEA built(x, StoppingCriteria());
        reused.setInitialPoint(x);
        for (const SimpleESEA* s : {&built, &reused}) {
            EXPECT_EQ(SimpleESEAAccess::J(*s), r[1]) << r[0];
            EXPECT_EQ(SimpleESEAAccess::M(*s), r[2]) << r[0];
            EXPECT_EQ(SimpleESEAAccess::threshold(*s), 0.005 * x.getOptCrt()) << r[0];
        }
    }
    for (int n = 2; n <= 400; ++n) ASSERT_LE(olhs::detail::candidatesPerIteration(n), n * (n - 1) / 2) << n;
}

TEST(SimpleESEA, ColumnsOfOneOuterIterationSkipColumnZero) {
    const auto columns = [](int M, int m) {
        std::vector<int> out;
        int counter = 0;
        do out.push_back(olhs::detail::nextColumn(counter, m));
        while (counter < M);
        return out;
    };
    for (int m = 2; m <= 7; ++m) EXPECT_EQ(columns(1, m), std::vector<int>{1}) << m;
    EXPECT_EQ(columns(2, 5), (std::vector<int>{1, 2}));
    EXPECT_EQ(columns(3, 3), (std::vector<int>{1, 2, 1}));
    EXPECT_EQ(columns(4, 4), (std::vector<int>{1, 2, 3, 1}));
    EXPECT_EQ(columns(7, 3), (std::vector<int>{1, 2, 1, 2, 1}));
    EXPECT_EQ(columns(20, 2), std::vector<int>(11, 1));
}

TEST(SimpleESEA, ThresholdUpdateWhenImproving) {
    SimpleESEA s;
    // (acceptance ratio a, improvement ratio b, factor applied)
    for (const auto& c : {std::vector<double>{0.1, 0.0, 1.25}, {0.5, 0.5, 1.0}, {0.5, 0.25, 0.8}, {0.05, 0.0, 1.25},
                          {0.1, 0.1, 1.25}, {0.3, 0.4, 1.25}, {1.0, 0.0, 0.8}}) {
        SimpleESEAAccess::setThreshold(s, 2.0);
        s.updateTh(true, c[0], c[1]);
        EXPECT_EQ(SimpleESEAAccess::threshold(s), c[2] * 2.0) << "a = " << c[0] << ", b = " << c[1];
    }
}

TEST(SimpleESEA, MovesOfEqualValueAreAcceptedButNeverBecomeTheBest) {
    // In a 2-point design every exchange keeps phi_p. M = 20 while m = 2 makes 11 inner
    // iterations and m = 3 makes 14: ratios against M between 10 % and 80 % keep the
    // preset factor, whereas no acceptance would select 1/0.7 and counting against the
    // inner iterations run would select 0.9. Under flag 0 delta is exactly 0, so even a
    // draw of 0 accepts.
    struct Case {
        int m, flag;
        double draw, preset;
    };
    for (const Case& c : {Case{2, 1, 0.5, 0.9}, Case{2, 1, 0.5, 0.0}, Case{2, 0, 0.0, 0.9}, Case{3, 1, 0.5, 0.9}}) {
        const OptimalLH start = diagonalDesign(2, c.m, c.flag);
        SimpleESEA s(start, StoppingCriteria(1, 0, 1000, noLimit, noLimit, 0.01));
        const double th0 = SimpleESEAAccess::threshold(s);
        setExploringFactor(c.preset);
        {
            ScopedSource draws(constantSource(c.draw));
            run(s);
        }
        const std::string where = "m " + std::to_string(c.m) + ", flag " + std::to_string(c.flag);
        EXPECT_DOUBLE_EQ(SimpleESEAAccess::threshold(s), (c.preset == 0.9 ? 0.9 : 1.0 / 0.7) * th0) << where;
        EXPECT_EQ(rows(s.getXbest()), rows(start)) << where;
    }
}

TEST(SimpleESEA, ProgressLineEveryStallLimitIterations) {
    struct Case {
        int max, min, stall;
        std::vector<int> counts;
    };
    // Nothing ever improves a 2-point design, so the stall rule ends each run.
    for (const Case& c : {Case{2000, 5, 100, {0, 100}}, Case{5000, 5, 1000, {0, 1000}}, Case{4, 0, 1, {0, 1}}}) {
        SimpleESEA s(diagonalDesign(2, 2), StoppingCriteria(c.max, c.min, c.stall, noLimit, noLimit, 0.01));
        std::string expected;
        for (int count : c.counts) expected += progressLine(count, 0.5);
        EXPECT_EQ(run(s), expected);
        EXPECT_NE(dumpOf(s).find("REACHED:\nMaximum number of iterations without improvements.\nAt iteration: " +
                                 std::to_string(c.stall + 1) + "\n"),
                  std::string::npos);
    }
    EXPECT_EQ(progressLine(0, 0.5), "Iteration #: 000\t\tOptimality criterion =            0.5\n");
}

TEST(SimpleESEA, RunWithoutAnInitialPointRefusesToSearch) {
    SimpleESEA s;
    long draws = 0;
    ScopedSource counting(countingSource(&draws));
    CaptureErr e;
    EXPECT_EQ(run(s), "");
    const std::string err = e.take();
    EXPECT_EQ(err.rfind("Error with the use of ", 0), 0u) << err;
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 2) << err;
    EXPECT_EQ(draws, 0);
    EXPECT_EQ(s.getXbest().getNPoints(), 0);
}

TEST(SimpleESEA, WhenNothingImprovesTheBestIsTheInitialPoint) {
    // Rows (1,2), (2,1), (3,3). Zeros always propose points 1 and 2, whose exchange gives
    // the worse (1,1), (2,2), (3,3); with Th = 0 nothing is accepted.
    OptimalLH start = diagonalDesign(3, 2);
    start.exchangeElements(1, 0, 1);
    SimpleESEA s(start, StoppingCriteria(20, 0, 1000, noLimit, noLimit, 0.01));
    SimpleESEAAccess::setThreshold(s, 0.0);
    ScopedSource zeros(constantSource(0.0));
    EXPECT_EQ(run(s), progressLine(0, start.getOptCrt()));
    EXPECT_EQ(rows(s.getXbest()), rows(start));
    EXPECT_TRUE(sameBits(s.getXbest().getOptCrt(), start.getOptCrt()));
}

TEST(SimpleESEA, ASecondRunStartsFromTheInitialPointKeepsTheBestAndContinuesTheCount) {
    // Rows (1,1), (2,2), (3,3), zeros for every draw (r = 0): the first inner iteration
    // reaches the better (1,2), (2,1), (3,3) and every later one would undo it. One
    // accepted move in M = 10 keeps the factor 0.9; none would select 1/0.7.
    const OptimalLH start = diagonalDesign(3, 2);
    OptimalLH better = start;
    better.exchangeElements(1, 0, 1);
    SimpleESEA s(start, StoppingCriteria(1, 0, 1000, noLimit, noLimit, 0.01));
    SimpleESEAAccess::setThreshold(s, 1.0);
    ScopedSource zeros(constantSource(0.0));
    for (int round = 1; round <= 2; ++round) {
        setExploringFactor(0.9);
        const double before = SimpleESEAAccess::threshold(s);
        run(s);
        EXPECT_DOUBLE_EQ(SimpleESEAAccess::threshold(s), 0.9 * before) << round;
        EXPECT_EQ(rows(s.getXbest()), rows(better)) << round;
    }
    EXPECT_NE(dumpOf(s).find("At iteration: 2\n"), std::string::npos);
}

TEST(SimpleESEA, SearchKeepsTheLatinPropertyAndColumnZeroAndNeverWorsens) {
    bool someGain = false;
    for (unsigned seed : {1u, 2u, 3u}) {
        for (int n : {5, 14}) {
            for (int m : {2, 5}) {
                CRand::seed(seed * 100 + n * 10 + m);
                OptimalLH start(n, m, 1);
                SimpleESEA s(start, StoppingCriteria(40, 5, 10, noLimit, noLimit, 0.01));
                run(s);
                OptimalLH best = s.getXbest();
                const Levels levels = best.getLH();
                ASSERT_TRUE(isLatin(levels, n, m)) << n << " " << m;
                for (int i = 0; i < n; ++i) ASSERT_EQ(levels[i][0], i + 1.0);
                ASSERT_LE(best.getOptCrt(), start.getOptCrt());
                const double full = PHIpCriterion(best).getPHIp();
                ASSERT_NEAR(best.getOptCrt(), full, 1e-9 * full);
                someGain = someGain || best.getOptCrt() < start.getOptCrt();
            }
        }
    }
    EXPECT_TRUE(someGain);
}

TEST(SimpleESEA, SearchFollowsTheDocumentedStepsBitForBit) {
    struct Case {
        int n, m, flag;
    };
    unsigned seed = 0;
    for (const Case& c : {Case{5, 2, 1}, Case{8, 3, 1}, Case{12, 4, 1}, Case{6, 3, 0}, Case{11, 2, 0}, Case{20, 3, 1},
                          Case{14, 8, 1}, Case{18, 10, 1}, Case{16, 6, 0}}) {
        CRand::seed(++seed);
        OptimalLH start(c.n, c.m, c.flag);
        const StoppingCriteria criteria(60, 5, 8, noLimit, noLimit, 0.01);
        SimpleESEA s(start, criteria);
        setExploringFactor(0.0);
        CRand::seed(1000 + seed);
        const std::string progress = run(s);
        CRand::seed(1000 + seed);
        Walk walk = referenceWalk(start, criteria, 1.0 / 0.7);

        const std::string where = "n " + std::to_string(c.n) + ", m " + std::to_string(c.m);
        EXPECT_EQ(progress, walk.progress) << where;
        OptimalLH best = s.getXbest();
        EXPECT_EQ(rows(best), rows(walk.best)) << where;
        EXPECT_TRUE(sameBits(best.getOptCrt(), walk.best.getOptCrt())) << where;
        EXPECT_TRUE(sameBits(SimpleESEAAccess::threshold(s), walk.threshold)) << where;
        EXPECT_NE(dumpOf(s).find("At iteration: " + std::to_string(walk.iterations) + "\n"), std::string::npos);
    }
}

TEST(SimpleESEA, ConsoleDumpAndReportFiles) {
    OptimalLH start(exampleDesign(), 1);
    StoppingCriteria criteria(3, 0, 1000, noLimit, noLimit, 0.05);
    SimpleESEA s(start, criteria);
    SimpleESEAAccess::setThreshold(s, 1234.75); // the line shows the whole part
    const std::string design = dumpOf(start);
    EXPECT_EQ(dumpOf(s), RULE + "                        ENHANCED STOCHASTIC EVOLUTIONARY ALGORITHM\n" + RULE +
                              "\nALGORITHM PARAMETERS\n\nNumber of Points (n) = 3\nNumber of DV     (m) = 2\nJ = 1\n"
                              "M = 10\n\nTh0 = 0\nTh  = 1234\n\n" + dumpOf(criteria) + "\n\n" + RULE +
                              "                             INITIAL LATIN HYPERCUBE\n" + design + "\n" + RULE +
                              "                             OPTIMAL LATIN HYPERCUBE\n" + design);

    // The report holds default criteria before a run and the run's afterwards.
    TempDir dir;
    s.setFileName(dir.path().string() + "/");
    s.fprintfReport(2);
    EXPECT_NE(readFile(dir.file("FullReport.rpt")).find("Maximum number of iterations: 100\n"), std::string::npos);
    run(s);
    s.fprintfReport(); // the default writes the per-design files in the matrix format
    s.fprintfReport(2);
    EXPECT_NE(readFile(dir.file("FullReport.rpt")).find("REACHED:\nMaximum number of iterations.\nAt iteration: 3\n"),
              std::string::npos);
    EXPECT_EQ(readFile(dir.file("Inital_0.rpt")).rfind(w14("1") + "\t" + w14("1") + "\t\n" + w14("2"), 0), 0u);
    EXPECT_TRUE(std::filesystem::exists(dir.file("Optimal_0.rpt")));
    EXPECT_FALSE(std::filesystem::exists(dir.file("Inital_1.rpt")));
}
