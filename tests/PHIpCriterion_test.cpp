#include <cmath>
#include <random>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "criterion_access.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/PHIpCriterion.h"
#include "test_support.h"

using olhs::detail::PHIpCriterionAccess;
using olhs_test::CaptureOut;
using olhs_test::exampleDesign;
using olhs_test::w14;

namespace {

const olhs::detail::Matrix& distances(const PHIpCriterion& c) { return PHIpCriterionAccess::distances(c); }

// Distances are sums of whole numbers, so the incremental update must reproduce them;
// the tolerance only allows for rounding.
testing::AssertionResult sameDistances(const PHIpCriterion& got, const PHIpCriterion& want, int n) {
    const auto& a = distances(got);
    const auto& b = distances(want);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            if (std::fabs(a[i][j] - b[i][j]) > 1e-9)
                return testing::AssertionFailure()
                       << "D[" << i << "][" << j << "] = " << a[i][j] << ", expected " << b[i][j];
    return testing::AssertionSuccess();
}

const std::string exampleHeader = "PHIp criterion =            0.5\np =             50\nt =              1\n\n";

} // namespace

TEST(PHIpCriterion, ThreePointExample) {
    PHIpCriterion c(exampleDesign());
    const auto& D = distances(c);
    ASSERT_EQ(D.size(), 3u);
    const double expected[3][3] = {{0, 3, 3}, {3, 0, 2}, {3, 2, 0}};
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(D[i].size(), 3u);
        for (int j = 0; j < 3; ++j) EXPECT_EQ(D[i][j], expected[i][j]) << i << ", " << j;
    }
    EXPECT_NEAR(c.getPHIp(), 0.5000000000314, 1e-13);
    EXPECT_NE(c.getPHIp(), 0.5);

    // A full update on the same design changes nothing; on an exchanged one it follows it.
    c.update(exampleDesign());
    EXPECT_NEAR(c.getPHIp(), 0.5000000000314, 1e-13);
    LatinHypercube moved = exampleDesign();
    moved.exchangeElements(1, 1, 2); // rows (1,1), (2,2), (3,3): distances 2, 4, 2
    c.update(moved);
    EXPECT_EQ(distances(c)[0][1], 2.0);
    EXPECT_EQ(distances(c)[0][2], 4.0);
    EXPECT_EQ(distances(c)[2][1], 2.0);
    EXPECT_NEAR(c.getPHIp(), std::pow(2 * std::pow(2.0, -50) + std::pow(4.0, -50), 1.0 / 50), 1e-15);
}

TEST(PHIpCriterion, SmallAndEmptyCriteria) {
    PHIpCriterion empty;
    EXPECT_EQ(empty.getPHIp(), 0.0);

    olhs_test::ScopedSource source(olhs_test::constantSource(0.0));
    PHIpCriterion single(LatinHypercube(1, 3));
    EXPECT_EQ(single.getPHIp(), 0.0);
    ASSERT_EQ(distances(single).size(), 1u);
    ASSERT_EQ(distances(single)[0].size(), 1u);
    EXPECT_EQ(distances(single)[0][0], 0.0);

    // Two points of a Latin hypercube in m variables are m apart.
    for (int m = 1; m <= 4; ++m) {
        PHIpCriterion pair(LatinHypercube(2, m));
        EXPECT_NEAR(pair.getPHIp(), 1.0 / m, 1e-14) << "m = " << m;
    }
}

TEST(PHIpCriterion, Norm) {
    PHIpCriterion c;
    EXPECT_EQ(c.normt(std::valarray<double>{1.0, -2.0, 3.0}, 1.0), 6.0);
    EXPECT_NEAR(c.normt(std::valarray<double>{3.0, -4.0}, 2.0), 5.0, 1e-15);
    EXPECT_NEAR(c.normt(std::valarray<double>{-2.0, 2.0}, 3.0), std::cbrt(16.0), 1e-15);
    EXPECT_EQ(c.normt(std::valarray<double>(), 1.0), 0.0);
}

TEST(PHIpCriterion, IncrementalUpdatesMatchTheFullComputation) {
    std::mt19937 pick(17);
    CRand::seed(2718);
    int checked = 0;
    for (int n : {2, 3, 4, 7, 15, 30}) {
        for (int m : {1, 2, 3, 5}) {
            LatinHypercube design(n, m);
            // Each criterion follows the design through every exchange in one mode. The
            // value of a long chain of mode-1 updates drifts (the old terms it subtracts can
            // dwarf what is left), so mode 1's value is judged one step at a time.
            PHIpCriterion incremental(design);   // mode 1
            PHIpCriterion resummed(design);      // mode 2
            PHIpCriterion distancesOnly(design); // modes 0, 3 and -1: phi_p must not move
            PHIpCriterion matrixOnly(design);    // updateDmatrix alone
            const double initial = distancesOnly.getPHIp();
            for (int step = 0; step < 40; ++step) {
                const int c = static_cast<int>(pick() % m);
                const int a = static_cast<int>(pick() % n);
                const int b = static_cast<int>(pick() % n);
                PHIpCriterion single(design); // one mode-1 step from exact values
                const double oldPhi = single.getPHIp();
                single.update(design, c, a, b, 1);
                incremental.update(design, c, a, b, 1);
                resummed.update(design, c, a, b, 2);
                distancesOnly.update(design, c, a, b, step % 3 == 0 ? 0 : (step % 3 == 1 ? 3 : -1));
                matrixOnly.updateDmatrix(design, c, a, b);
                design.exchangeElements(c, a, b);

                PHIpCriterion full(design);
                const double phi = full.getPHIp();
                SCOPED_TRACE(testing::Message() << "n = " << n << ", m = " << m << ", step " << step
                                                << ", exchange (" << c << ", " << a << ", " << b << ")");
                ASSERT_TRUE(sameDistances(incremental, full, n));
                ASSERT_TRUE(sameDistances(resummed, full, n));
                ASSERT_TRUE(sameDistances(distancesOnly, full, n));
                ASSERT_TRUE(sameDistances(matrixOnly, full, n));
                ASSERT_TRUE(sameDistances(single, full, n));
                EXPECT_NEAR(resummed.getPHIp(), phi, 1e-13 * phi);
                if (std::pow(oldPhi / phi, 50.0) < 1e12) {
                    EXPECT_NEAR(single.getPHIp(), phi, olhs_test::incrementalTolerance(oldPhi, phi, n));
                    ++checked;
                }
                EXPECT_EQ(distancesOnly.getPHIp(), initial);
                EXPECT_EQ(matrixOnly.getPHIp(), initial);
            }
        }
    }
    EXPECT_GT(checked, 800);
}

TEST(PHIpCriterion, SelfExchangeUnderModeTwoResumsFromTheDistances) {
    CRand::seed(31);
    LatinHypercube design(9, 3);
    PHIpCriterion c(design);
    // Leave phi_p stale: the distances follow an exchange, the value does not.
    c.update(design, 2, 0, 8, 0);
    design.exchangeElements(2, 0, 8);
    const double exact = PHIpCriterion(design).getPHIp();
    ASSERT_NE(c.getPHIp(), exact);
    const auto before = distances(c);

    PHIpCriterion stale = c;
    stale.update(design, 1, 4, 4, 1);
    EXPECT_NEAR(stale.getPHIp(), c.getPHIp(), 1e-12) << "mode 1 only corrects, it does not re-sum";

    c.update(design, 1, 4, 4, 2);
    EXPECT_NEAR(c.getPHIp(), exact, 1e-14);
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j) EXPECT_EQ(distances(c)[i][j], before[i][j]);
}

TEST(PHIpCriterion, CopiesOwnTheirDistances) {
    LatinHypercube design = exampleDesign();
    PHIpCriterion original(design);
    PHIpCriterion copy = original;
    copy.update(design, 1, 1, 2, 2);
    EXPECT_EQ(distances(original)[0][1], 3.0);
    EXPECT_EQ(distances(copy)[0][1], 2.0);
    EXPECT_NEAR(original.getPHIp(), 0.5000000000314, 1e-13);
    EXPECT_NE(copy.getPHIp(), original.getPHIp());
}

TEST(PHIpCriterion, ConsoleDumps) {
    PHIpCriterion c(exampleDesign());
    const std::string matrix = "* * * * * D matrix * * * * *\n" + w14("0") + "\t" + w14("3") + "\t" + w14("3") +
                               "\t\n" + w14("3") + "\t" + w14("0") + "\t" + w14("2") + "\t\n" + w14("3") + "\t" +
                               w14("2") + "\t" + w14("0") + "\t\n";
    {
        CaptureOut out;
        c.printMembers();
        EXPECT_EQ(out.take(), exampleHeader + matrix);
    }
    {
        CaptureOut out;
        c.printMembers(0);
        EXPECT_EQ(out.take(), exampleHeader + matrix);
    }
    {
        CaptureOut out;
        c.printMembers(1);
        std::string expected = exampleHeader;
        const char* values[3][3] = {{"0", "3", "3"}, {"3", "0", "2"}, {"3", "2", "0"}};
        for (int col = 0; col < 3; ++col) {
            for (int row = 0; row < 3; ++row)
                expected += "D[" + std::to_string(row) + "," + std::to_string(col) + "] = " + w14(values[row][col]) + "\n";
            expected += "\n";
        }
        EXPECT_EQ(out.take(), expected);
    }
    for (int mode : {2, 5, -1}) {
        CaptureOut out;
        c.printMembers(mode);
        EXPECT_EQ(out.take(), exampleHeader) << "mode " << mode;
    }
    {
        PHIpCriterion empty;
        CaptureOut out;
        empty.printMembers();
        EXPECT_EQ(out.take(), "PHIp criterion =              0\np =             50\nt =              1\n\n"
                              "* * * * * D matrix * * * * *\n");
    }
}
