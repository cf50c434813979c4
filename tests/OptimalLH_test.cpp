#include <cmath>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "criterion_access.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/PHIpCriterion.h"
#include "optimal_access.h"
#include "test_support.h"

using olhs::detail::OptimalLHAccess;
using olhs::detail::PHIpCriterionAccess;
using olhs_test::CaptureErr;
using olhs_test::CaptureOut;
using olhs_test::countingSource;
using olhs_test::exampleDesign;
using olhs_test::isLatin;
using olhs_test::readFile;
using olhs_test::ScopedSource;
using olhs_test::TempDir;
using olhs_test::w14;

namespace {

const olhs::detail::Matrix& distances(OptimalLH& x) {
    return PHIpCriterionAccess::distances(OptimalLHAccess::criterion(x));
}

testing::AssertionResult sameState(OptimalLH& got, OptimalLH& want, double phiTolerance) {
    const int n = want.getNPoints();
    const int m = want.getNDV();
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < m; ++j)
            if (got.getElement(i, j) != want.getElement(i, j))
                return testing::AssertionFailure() << "level (" << i << ", " << j << ") differs";
        for (int j = 0; j < n; ++j)
            if (std::fabs(distances(got)[i][j] - distances(want)[i][j]) > 1e-9)
                return testing::AssertionFailure() << "D[" << i << "][" << j << "] differs";
    }
    if (std::fabs(got.getOptCrt() - want.getOptCrt()) > phiTolerance * want.getOptCrt())
        return testing::AssertionFailure() << "phi_p " << got.getOptCrt() << " vs " << want.getOptCrt();
    return testing::AssertionSuccess();
}

const std::string separator(80, '=');
const std::string designHeader = "Number of points (runs) = 3\nNumber of design variables (factors) = 2\n\n";
const std::string designMatrix = "* * * * * LH * * * * *\n" + w14("1") + "\t" + w14("1") + "\t\n" + w14("2") +
                                 "\t" + w14("3") + "\t\n" + w14("3") + "\t" + w14("2") + "\t\n";
const std::string criterionHeader = "PHIp criterion =            0.5\np =             50\nt =              1\n\n";

} // namespace

TEST(OptimalLH, ConstructorsCarryTheDesignItsCriterionAndTheFlag) {
    OptimalLH empty;
    EXPECT_EQ(empty.getOptCrt(), 0.0);
    EXPECT_EQ(empty.getPHIp(), 0.0);
    EXPECT_EQ(empty.getPHICflag(), 0);
    EXPECT_EQ(empty.size(), (std::vector<int>{0, 0}));

    OptimalLH example(exampleDesign());
    EXPECT_NEAR(example.getOptCrt(), 0.5000000000314, 1e-13);
    EXPECT_EQ(example.getPHIp(), example.getOptCrt());
    EXPECT_EQ(example.getPHICflag(), 0);
    EXPECT_EQ(OptimalLH(exampleDesign(), 2).getPHICflag(), 2);

    CRand::seed(8);
    OptimalLH plain(12, 4);
    OptimalLH withBool(12, 4, false);
    OptimalLH withFlag(12, 4, 1);
    OptimalLH withBoth(12, 4, 2, true);
    EXPECT_EQ(plain.getPHICflag(), 0);
    EXPECT_EQ(withBool.getPHICflag(), 0);
    EXPECT_EQ(withFlag.getPHICflag(), 1);
    EXPECT_EQ(withBoth.getPHICflag(), 2);
    for (OptimalLH* x : {&plain, &withBool, &withFlag, &withBoth}) {
        EXPECT_TRUE(isLatin(x->getLH(), 12, 4));
        EXPECT_EQ(x->getOptCrt(), PHIpCriterion(*x).getPHIp());
    }

    long draws = 0;
    ScopedSource source(countingSource(&draws, 0.4));
    OptimalLH drawn(7, 3, 1);
    EXPECT_EQ(draws, 14);
    draws = 0;
    OptimalLH wrapped(static_cast<LatinHypercube&>(drawn), 1);
    OptimalLH copied(drawn);
    OptimalLH fromOne(5, 1);
    EXPECT_EQ(draws, 0);
}

TEST(OptimalLH, FlagsZeroOneAndTwoAgreeOtherFlagsIgnoreExchanges) {
    CRand::seed(404);
    std::mt19937 pick(5);
    for (int n : {2, 5, 11, 24}) {
        const LatinHypercube start(n, 3);
        OptimalLH full(start, 0);
        OptimalLH incremental(start, 1);
        OptimalLH resummed(start, 2);
        OptimalLH frozen(start, 3);
        OptimalLH negative(start, -1);
        const double initial = frozen.getOptCrt();
        for (int step = 0; step < 60; ++step) {
            const int c = static_cast<int>(pick() % 3);
            const int a = static_cast<int>(pick() % n);
            const int b = static_cast<int>(pick() % n);
            const double oldPhi = full.getOptCrt();
            for (OptimalLH* x : {&full, &incremental, &resummed, &frozen, &negative}) x->exchangeElements(c, a, b);
            SCOPED_TRACE(testing::Message() << "n = " << n << ", step " << step);
            OptimalLH fresh(static_cast<LatinHypercube&>(full));
            ASSERT_TRUE(isLatin(full.getLH(), n, 3));
            ASSERT_TRUE(sameState(full, fresh, 0.0));
            ASSERT_TRUE(sameState(resummed, fresh, 1e-13));
            const double phi = fresh.getOptCrt();
            if (std::pow(oldPhi / phi, 50.0) < 1e12) {
                ASSERT_TRUE(sameState(incremental, fresh, olhs_test::incrementalTolerance(oldPhi, phi, n) / phi));
            }
            // Each flag-1 step starts from exact values: a chain of them drifts.
            incremental = fresh;
            incremental.setPHICflag(1);
        }
        for (OptimalLH* x : {&frozen, &negative}) {
            OptimalLH untouched(start);
            EXPECT_TRUE(sameState(*x, untouched, 0.0));
            EXPECT_EQ(x->getOptCrt(), initial);
        }
    }
}

TEST(OptimalLH, ExchangeRoundTripsRestoreDesignAndCriterion) {
    CRand::seed(12);
    for (int flag : {0, 1, 2}) {
        OptimalLH x(10, 4, flag);
        OptimalLH before(x);
        x.exchangeElements(2, 3, 7);
        EXPECT_NE(x.getElement(3, 2), before.getElement(3, 2));
        x.exchangeElements(2, 3, 7);
        EXPECT_TRUE(sameState(x, before, 1e-12)) << "flag " << flag;
        x.exchangeElements(1, 6, 6);
        EXPECT_TRUE(sameState(x, before, 1e-12)) << "self-exchange, flag " << flag;
    }
}

TEST(OptimalLH, SelfExchangeUnderFlagTwoResumsPhiP) {
    CRand::seed(21);
    OptimalLH x(9, 3);
    const double exact = x.getOptCrt();
    // Spoil the stored value; the distances stay right.
    PHIpCriterionAccess::state(OptimalLHAccess::criterion(x)).phip = 7.25;

    x.setPHICflag(3);
    x.exchangeElements(1, 2, 2);
    EXPECT_EQ(x.getOptCrt(), 7.25);
    x.setPHICflag(1);
    x.exchangeElements(1, 2, 2);
    EXPECT_NEAR(x.getOptCrt(), 7.25, 1e-12) << "a self-exchange under flag 1 corrects nothing";
    x.setPHICflag(2);
    x.exchangeElements(1, 2, 2);
    EXPECT_NEAR(x.getOptCrt(), exact, 1e-14 * exact);

    PHIpCriterionAccess::state(OptimalLHAccess::criterion(x)).phip = 7.25;
    x.setPHICflag(0);
    x.exchangeElements(0, 4, 4);
    EXPECT_EQ(x.getOptCrt(), exact);
}

TEST(OptimalLH, CopiesAreIndependent) {
    CRand::seed(6);
    OptimalLH original(8, 3, 1);
    OptimalLH reference(original);
    OptimalLH copy(original);
    OptimalLH assigned;
    assigned = original;
    copy.exchangeElements(1, 0, 7);
    copy.setPHICflag(2);
    assigned.setPHICflag(0);
    assigned.exchangeElements(2, 1, 2);
    EXPECT_TRUE(sameState(original, reference, 0.0));
    EXPECT_EQ(original.getPHICflag(), 1);
    EXPECT_FALSE(sameState(copy, reference, 0.0));

    original.exchangeElements(2, 3, 4);
    OptimalLH copyReference(reference);
    copyReference.exchangeElements(1, 0, 7);
    EXPECT_TRUE(sameState(copy, copyReference, 0.0));
}

TEST(OptimalLH, ConsoleDumps) {
    OptimalLH x(exampleDesign());
    const std::string dMatrix = "* * * * * D matrix * * * * *\n" + w14("0") + "\t" + w14("3") + "\t" + w14("3") +
                                "\t\n" + w14("3") + "\t" + w14("0") + "\t" + w14("2") + "\t\n" + w14("3") + "\t" +
                                w14("2") + "\t" + w14("0") + "\t\n";
    const std::string matrixDump = separator + "\n" + designHeader + designMatrix + "\n" + criterionHeader +
                                   dMatrix + separator + "\n";
    {
        CaptureOut out;
        x.printMembers();
        EXPECT_EQ(out.take(), matrixDump);
    }
    {
        CaptureOut out;
        x.printMembers(0);
        EXPECT_EQ(out.take(), matrixDump);
    }
    {
        CaptureOut out;
        x.printMembers(1);
        const std::string levels = "LH[0,0] = " + w14("1") + "\nLH[1,0] = " + w14("2") + "\nLH[2,0] = " + w14("3") +
                                   "\n\nLH[0,1] = " + w14("1") + "\nLH[1,1] = " + w14("3") + "\nLH[2,1] = " +
                                   w14("2") + "\n\n";
        const std::string entries = "D[0,0] = " + w14("0") + "\nD[1,0] = " + w14("3") + "\nD[2,0] = " + w14("3") +
                                    "\n\nD[0,1] = " + w14("3") + "\nD[1,1] = " + w14("0") + "\nD[2,1] = " +
                                    w14("2") + "\n\nD[0,2] = " + w14("3") + "\nD[1,2] = " + w14("2") +
                                    "\nD[2,2] = " + w14("0") + "\n\n";
        EXPECT_EQ(out.take(), separator + "\n" + designHeader + levels + "\n" + criterionHeader + entries +
                                  separator + "\n");
    }
    {
        CaptureOut out;
        x.printMembers(5);
        EXPECT_EQ(out.take(), separator + "\n" + designHeader + designMatrix + "\n" + criterionHeader + separator +
                                  "\n");
    }
}

TEST(OptimalLH, FileDumps) {
    TempDir dir;
    OptimalLH x(exampleDesign());
    const std::string matrixLines = w14("1") + "\t" + w14("1") + "\t\n" + w14("2") + "\t" + w14("3") + "\t\n" +
                                    w14("3") + "\t" + w14("2") + "\t\n";

    const std::string name = dir.file("optimal.txt");
    {
        std::ofstream(name) << "stale text\nmore stale text\n";
    }
    x.fprintfReport(name, 0);
    EXPECT_EQ(readFile(name), matrixLines + "\nOptimatily Criterion =            0.5\n");

    x.fprintfReport(name, 1);
    EXPECT_EQ(readFile(name), "2\n3\n" + w14("1") + "\n" + w14("2") + "\n" + w14("3") + "\n" + w14("1") + "\n" +
                                  w14("3") + "\n" + w14("2") + "\n");

    x.fprintfReport(name, 5);
    EXPECT_TRUE(std::filesystem::exists(name));
    EXPECT_EQ(readFile(name), "");

    // Both parts follow the design after an exchange: rows (1,1), (2,2), (3,3) are 2, 4
    // and 2 apart.
    x.exchangeElements(1, 1, 2);
    x.fprintfReport(name, 0);
    EXPECT_EQ(readFile(name), w14("1") + "\t" + w14("1") + "\t\n" + w14("2") + "\t" + w14("2") + "\t\n" +
                                  w14("3") + "\t" + w14("3") + "\t\n\nOptimatily Criterion =        0.50698\n");

    const std::string missing = dir.file("absent/optimal.txt");
    for (int format : {0, 1}) {
        CaptureErr err;
        x.fprintfReport(missing, format);
        const std::string message = err.take();
        EXPECT_NE(message.find(missing), std::string::npos) << message;
        ASSERT_FALSE(message.empty());
        EXPECT_EQ(message.find('\n'), message.size() - 1) << "one line: " << message;
        EXPECT_FALSE(std::filesystem::exists(missing));
    }
}
