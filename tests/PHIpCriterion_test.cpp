#include <cmath>
#include <random>
#include <string>
#include <valarray>

#include <gtest/gtest.h>

#include "criterion_access.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/PHIpCriterion.h"
#include "test_support.h"

using olhs_test::dumpText;
using olhs_test::exampleDesign;

namespace {

olhs::detail::Matrix distances(const PHIpCriterion& c) {
    return olhs::detail::PHIpCriterionAccess::distances(c);
}

// Distances are sums of whole numbers, which every update must reproduce exactly.
bool sameDistances(const PHIpCriterion& a, const PHIpCriterion& b) {
    const olhs::detail::Matrix &x = distances(a), &y = distances(b);
    for (std::size_t i = 0; i < x.size(); ++i)
        if (x.size() != y.size() || x[i].size() != y[i].size() || (x[i] != y[i]).max()) return false;
    return true;
}

} // namespace

TEST(PHIpCriterion, ExampleAndSmallDesigns) {
    PHIpCriterion c(exampleDesign());
    // The whole matrix is checked by the console dump below.
    EXPECT_TRUE(distances(c)[0][1] == 3.0 && distances(c)[2][0] == 3.0 && distances(c)[1][2] == 2.0);
    EXPECT_NEAR(c.getPHIp(), 0.5000000000314, 1e-13);
    // A full update follows an exchanged design: rows (1,1), (2,2), (3,3) are 2, 4 and 2 apart.
    LatinHypercube moved = exampleDesign();
    moved.exchangeElements(1, 1, 2);
    c.update(moved);
    EXPECT_TRUE(distances(c)[0][1] == 2.0 && distances(c)[0][2] == 4.0 && distances(c)[2][1] == 2.0);
    EXPECT_NEAR(c.getPHIp(), std::pow(2 * std::pow(2.0, -50) + std::pow(4.0, -50), 1.0 / 50), 1e-15);

    EXPECT_EQ(PHIpCriterion().getPHIp(), 0.0);
    olhs_test::ScopedSource zeros(olhs_test::constantSource(0.0));
    PHIpCriterion single(LatinHypercube(1, 3));
    EXPECT_EQ(single.getPHIp(), 0.0);
    ASSERT_TRUE(distances(single).size() == 1 && distances(single)[0].size() == 1);
    EXPECT_EQ(distances(single)[0][0], 0.0);
    for (int m = 1; m <= 4; ++m) EXPECT_NEAR(PHIpCriterion(LatinHypercube(2, m)).getPHIp(), 1.0 / m, 1e-14);

    EXPECT_EQ(c.normt(std::valarray<double>{1.0, -2.0, 3.0}, 1.0), 6.0);
    EXPECT_NEAR(c.normt(std::valarray<double>{3.0, -4.0}, 2.0), 5.0, 1e-15);
    EXPECT_NEAR(c.normt(std::valarray<double>{-2.0, 2.0}, 3.0), std::cbrt(16.0), 1e-15);
    EXPECT_EQ(c.normt(std::valarray<double>(), 1.0), 0.0);
}

TEST(PHIpCriterion, ExchangeUpdatesMatchTheFullComputation) {
    std::mt19937 pick(17);
    CRand::seed(2718);
    int checked = 0;
    for (int n : {2, 3, 4, 7, 15, 30}) {
        for (int m : {1, 2, 3, 5}) {
            LatinHypercube design(n, m);
            // Each criterion follows the design through every exchange. A long chain of mode-1
            // updates drifts (the old terms it takes away can dwarf what is left), so mode 1's
            // value is judged one step at a time, from exact values.
            PHIpCriterion resummed(design);      // mode 2
            PHIpCriterion distancesOnly(design); // modes 0, 3 and -1: phi_p must not move
            PHIpCriterion matrixOnly(design);    // updateDmatrix alone
            const double initial = distancesOnly.getPHIp();
            for (int step = 0; step < 40; ++step) {
                const int c = static_cast<int>(pick() % m), a = static_cast<int>(pick() % n);
                const int b = static_cast<int>(pick() % n);
                PHIpCriterion incremental(design);
                const double oldPhi = incremental.getPHIp();
                incremental.update(design, c, a, b, 1);
                resummed.update(design, c, a, b, 2);
                distancesOnly.update(design, c, a, b, step % 3 == 0 ? 0 : (step % 3 == 1 ? 3 : -1));
                matrixOnly.updateDmatrix(design, c, a, b);
                design.exchangeElements(c, a, b);

                PHIpCriterion full(design);
                const double phi = full.getPHIp();
                SCOPED_TRACE(testing::Message() << "n = " << n << ", m = " << m << ", step " << step << ", exchange ("
                                                << c << ", " << a << ", " << b << ")");
                for (PHIpCriterion* x : {&incremental, &resummed, &distancesOnly, &matrixOnly})
                    ASSERT_TRUE(sameDistances(*x, full));
                EXPECT_NEAR(resummed.getPHIp(), phi, 1e-13 * phi);
                if (std::pow(oldPhi / phi, 50.0) < 1e12) {
                    EXPECT_NEAR(incremental.getPHIp(), phi, olhs_test::incrementalTolerance(oldPhi, phi, n));
                    ++checked;
                }
                EXPECT_EQ(distancesOnly.getPHIp(), initial);
                EXPECT_EQ(matrixOnly.getPHIp(), initial);
            }
        }
    }
    EXPECT_GT(checked, 800);
}

TEST(PHIpCriterion, KernelsFollowTheNormForOtherExponentsToo) {
    // Every criterion has t = 1, but the distance kernels are written for any t.
    const std::valarray<double> a{1, 4}, b{5, 2}, k{3, 7}, aAfter{1, 2}, bAfter{5, 4};
    for (double t : {1.0, 2.0, 3.0}) {
        EXPECT_NEAR(olhs::detail::distance(a, k, 2, t), PHIpCriterion().normt(a - k, t), 1e-12) << "t = " << t;
        double newA = 0.0, newB = 0.0;
        olhs::detail::exchangedDistances(a[1], b[1], k[1], olhs::detail::distance(a, k, 2, t),
                                         olhs::detail::distance(b, k, 2, t), t, newA, newB);
        EXPECT_NEAR(newA, PHIpCriterion().normt(aAfter - k, t), 1e-12) << "t = " << t;
        EXPECT_NEAR(newB, PHIpCriterion().normt(bAfter - k, t), 1e-12) << "t = " << t;
    }
}

TEST(PHIpCriterion, ConsoleDumps) {
    PHIpCriterion c(exampleDesign());
    const std::string header = dumpText("PHIp criterion = <0.5>\np = <50>\nt = <1>\n\n");
    const std::string matrix = dumpText(R"(* * * * * D matrix * * * * *
<0>\t<3>\t<3>\t
<3>\t<0>\t<2>\t
<3>\t<2>\t<0>\t
)");
    const std::string entries = dumpText("D[0,0] = <0>\nD[1,0] = <3>\nD[2,0] = <3>\n\n"
                                          "D[0,1] = <3>\nD[1,1] = <0>\nD[2,1] = <2>\n\n"
                                          "D[0,2] = <3>\nD[1,2] = <2>\nD[2,2] = <0>\n\n");
    const std::pair<int, std::string> cases[] = {{-1, header + matrix}, {0, header + matrix}, {1, header + entries},
                                                  {2, header},          {5, header},          {-3, header}};
    for (const auto& [mode, expected] : cases) {
        olhs_test::CaptureOut out;
        mode == -1 ? c.printMembers() : c.printMembers(mode);
        EXPECT_EQ(out.take(), expected) << "mode " << mode;
    }
    PHIpCriterion empty;
    olhs_test::CaptureOut out;
    empty.printMembers();
    EXPECT_EQ(out.take(), dumpText("PHIp criterion = <0>\np = <50>\nt = <1>\n\n* * * * * D matrix * * * * *\n"));
}
