#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "criterion_access.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/PHIpCriterion.h"
#include "optimal_access.h"
#include "test_support.h"

using olhs::detail::PHIpCriterionAccess;
using olhs_test::dumpText;
using olhs_test::exampleDesign;
using olhs_test::readFile;

namespace {

PHIpCriterion& criterion(OptimalLH& x) { return olhs::detail::OptimalLHAccess::criterion(x); }

// x holds the levels of `design` and the criterion `c`: the same distances (whole numbers,
// exact under every update) and phi_p within `tolerance`, relative (0: the same value).
testing::AssertionResult sameState(OptimalLH& x, LatinHypercube design, PHIpCriterion c, double tolerance = 0.0) {
    const olhs::detail::Matrix& d = PHIpCriterionAccess::distances(criterion(x));
    const olhs::detail::Matrix& e = PHIpCriterionAccess::distances(c);
    const olhs::detail::Matrix levels = x.getLH(), expected = design.getLH();
    for (int i = 0; i < design.getNPoints(); ++i)
        if ((levels[i] != expected[i]).max() || (d[i] != e[i]).max())
            return testing::AssertionFailure() << "row " << i << " of the levels or of the distances differs";
    if (!(std::fabs(x.getOptCrt() - c.getPHIp()) <= tolerance * c.getPHIp()))
        return testing::AssertionFailure() << "phi_p " << x.getOptCrt() << " vs " << c.getPHIp();
    return testing::AssertionSuccess();
}

} // namespace

TEST(OptimalLH, ConstructorsCarryTheDesignItsCriterionAndTheFlag) {
    OptimalLH empty;
    EXPECT_TRUE(empty.getOptCrt() == 0.0 && empty.getPHIp() == 0.0 && empty.getPHICflag() == 0);
    OptimalLH example(exampleDesign());
    EXPECT_NEAR(example.getOptCrt(), 0.5000000000314, 1e-13);
    EXPECT_EQ(example.getPHIp(), example.getOptCrt());

    CRand::seed(8);
    OptimalLH plain(12, 4), withBool(12, 4, false), withFlag(12, 4, 1), withBoth(12, 4, 2, true);
    OptimalLH wrapped(exampleDesign(), 2);
    const std::pair<OptimalLH*, int> flags[] = {{&example, 0}, {&plain, 0},    {&withBool, 0},
                                                {&withFlag, 1}, {&withBoth, 2}, {&wrapped, 2}};
    for (auto [x, flag] : flags) {
        EXPECT_EQ(x->getPHICflag(), flag);
        EXPECT_TRUE(olhs_test::isLatin(x->getLH(), x->getNPoints(), x->getNDV()));
        EXPECT_TRUE(sameState(*x, *x, PHIpCriterion(*x)));
    }

    long draws = 0;
    olhs_test::ScopedSource source(olhs_test::countingSource(&draws, 0.4));
    OptimalLH drawn(7, 3, 1);
    EXPECT_EQ(draws, 14);
    OptimalLH fromDesign(static_cast<LatinHypercube&>(drawn), 1), copied(drawn), oneColumn(5, 1);
    EXPECT_EQ(draws, 14) << "copies and single columns draw nothing";
}

TEST(OptimalLH, ExchangesKeepTheCriterionAsTheFlagSays) {
    // Flag 0 exchanges, then recomputes in full; flags 1 and 2 run the criterion's update in
    // that mode on the design before the exchange; any other flag does nothing.
    CRand::seed(404);
    std::mt19937 pick(5);
    for (int flag : {0, 1, 2, 3, -1}) {
        for (int n : {2, 5, 11}) {
            LatinHypercube design(n, 3);
            PHIpCriterion expected(design);
            OptimalLH x(design, flag);
            for (int step = 0; step < 30; ++step) {
                const int c = static_cast<int>(pick() % 3), a = static_cast<int>(pick() % n);
                const int b = static_cast<int>(pick() % n);
                x.exchangeElements(c, a, b);
                if (flag == 1 || flag == 2) expected.update(design, c, a, b, flag);
                if (flag >= 0 && flag <= 2) design.exchangeElements(c, a, b);
                if (flag == 0) expected.update(design);
                ASSERT_TRUE(sameState(x, design, expected)) << "flag " << flag << ", n = " << n << ", step " << step;
            }
        }
    }
}

TEST(OptimalLH, RoundTripsRestoreAndSelfExchangeUnderFlagTwoResums) {
    CRand::seed(12);
    for (int flag : {0, 1, 2}) {
        OptimalLH x(10, 4, flag);
        OptimalLH before(x);
        x.exchangeElements(2, 3, 7);
        EXPECT_NE(x.getElement(3, 2), before.getElement(3, 2));
        x.exchangeElements(2, 3, 7);
        EXPECT_TRUE(sameState(x, before, criterion(before), 1e-12)) << "flag " << flag;
        x.exchangeElements(1, 6, 6);
        EXPECT_TRUE(sameState(x, before, criterion(before), 1e-12)) << "self-exchange, flag " << flag;
    }

    OptimalLH x(9, 3);
    OptimalLH exact(x);
    // Spoil the stored value; the distances stay right.
    const std::pair<int, double> steps[] = {{3, 7.25}, {1, 7.25}, {2, exact.getOptCrt()}};
    PHIpCriterionAccess::state(criterion(x)).phip = 7.25;
    for (auto [flag, expected] : steps) {
        x.setPHICflag(flag);
        x.exchangeElements(1, 2, 2);
        EXPECT_NEAR(x.getOptCrt(), expected, 1e-14 * expected) << "flag " << flag;
    }
    EXPECT_TRUE(sameState(x, exact, criterion(exact), 1e-14));
}

TEST(OptimalLH, CopiesAreIndependent) {
    CRand::seed(6);
    OptimalLH original(8, 3, 1), reference(original), copy(original), assigned;
    assigned = original;
    copy.exchangeElements(1, 0, 7);
    copy.setPHICflag(2);
    assigned.setPHICflag(0);
    assigned.exchangeElements(2, 1, 2);
    EXPECT_TRUE(sameState(original, reference, criterion(reference)));
    EXPECT_EQ(original.getPHICflag(), 1);
    OptimalLH snapshot(copy);
    original.exchangeElements(2, 3, 4);
    EXPECT_TRUE(sameState(copy, snapshot, criterion(snapshot)));
    EXPECT_FALSE(sameState(copy, reference, criterion(reference)));
}

TEST(OptimalLH, ConsoleDumpFramesTheDumpsOfTheDesignAndTheCriterion) {
    OptimalLH x(exampleDesign());
    LatinHypercube design(x);
    const std::string rule = std::string(80, '=') + "\n";
    const auto printed = [](int mode, auto& object) {
        olhs_test::CaptureOut out;
        mode == -1 ? object.printMembers() : object.printMembers(mode);
        return out.take();
    };
    for (int mode : {-1, 0, 1, 5})
        EXPECT_EQ(printed(mode, x), rule + printed(mode, design) + "\n" + printed(mode, criterion(x)) + rule)
            << "mode " << mode;
    // Under a mode neither dump knows, the design prints its matrix and the criterion its
    // header lines only.
    EXPECT_EQ(printed(5, x), rule + "Number of points (runs) = 3\nNumber of design variables (factors) = 2\n\n" +
                                 dumpText("* * * * * LH * * * * *\n<1>\\t<1>\\t\n<2>\\t<3>\\t\n<3>\\t<2>\\t\n\n"
                                          "PHIp criterion = <0.5>\np = <50>\nt = <1>\n\n") + rule);
}

TEST(OptimalLH, FileDumps) {
    olhs_test::TempDir dir;
    OptimalLH x(exampleDesign());
    const std::string name = dir.file("optimal.txt");
    std::ofstream(name) << "stale text\nmore stale text\n";
    x.fprintfReport(name, 0);
    EXPECT_EQ(readFile(name), dumpText("<1>\\t<1>\\t\n<2>\\t<3>\\t\n<3>\\t<2>\\t\n\nOptimatily Criterion = <0.5>\n"));
    x.fprintfReport(name, 1);
    EXPECT_EQ(readFile(name), dumpText("2\n3\n<1>\n<2>\n<3>\n<1>\n<3>\n<2>\n"));
    x.fprintfReport(name, 5);
    EXPECT_TRUE(std::filesystem::exists(name) && readFile(name).empty());
    // Both parts follow the design after an exchange.
    x.exchangeElements(1, 1, 2);
    x.fprintfReport(name, 0);
    EXPECT_EQ(readFile(name),
              dumpText("<1>\\t<1>\\t\n<2>\\t<2>\\t\n<3>\\t<3>\\t\n\nOptimatily Criterion = <0.50698>\n"));

    const std::string missing = dir.file("absent/optimal.txt");
    for (int format : {0, 1})
        EXPECT_TRUE(olhs_test::reportsUnopenable(missing, [&] { x.fprintfReport(missing, format); }));
}
