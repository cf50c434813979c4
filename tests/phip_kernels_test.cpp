#include <cmath>
#include <limits>
#include <random>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "design_access.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "phip_kernels.h"
#include "test_support.h"

using namespace olhs::detail;

namespace {

// A criterion's state held by the test itself.
struct State {
    Matrix D;
    double phip = 0.0;
    double p = 50.0;
    double t = 1.0;
    int n = 0;

    explicit State(int points) : D(points, std::valarray<double>(0.0, points)), n(points) {}
    PhipState view() { return PhipState{D, phip, p, t, n}; }
};

Matrix exampleLevels() { return {{1, 1}, {2, 3}, {3, 2}}; }

} // namespace

TEST(PhipKernels, InversePowersAreThePowCallsTheyReplace) {
    // Interleaved exponents, a table grown out of order, values past the table, fractions,
    // zero and the exponents' own tables living side by side.
    const InversePowers p50(50.0);
    const InversePowers p2(2.0);
    for (double d : {3.0, 1.0, 200.0, 2.0, 7.0, 199.0, 4096.0, 0.5, 2.5, 131072.0, 131073.0, 1e7}) {
        EXPECT_EQ(p50(d), std::pow(d, -50.0)) << "d = " << d;
        EXPECT_EQ(p2(d), std::pow(d, -2.0)) << "d = " << d;
        EXPECT_EQ(inversePower(d, 50.0), std::pow(d, -50.0)) << "d = " << d;
        EXPECT_EQ(InversePowers(3.5)(d), std::pow(d, -3.5)) << "d = " << d;
    }
    for (int d = 0; d < 600; ++d) {
        ASSERT_EQ(p50(d), std::pow(static_cast<double>(d), -50.0)) << "d = " << d;
        ASSERT_EQ(p2(d), std::pow(static_cast<double>(d), -2.0)) << "d = " << d;
    }
    EXPECT_EQ(p50(0.0), std::numeric_limits<double>::infinity());
}

TEST(PhipKernels, DistancesAndTheirUpdateUnderAnyExponent) {
    const std::valarray<double> x{1, 2, 99};
    const std::valarray<double> y{3, 5, -1};
    EXPECT_EQ(distance(x, y, 2, 1.0), 5.0) << "only the first m variables count";
    EXPECT_NEAR(distance(x, y, 2, 2.0), std::sqrt(13.0), 1e-15);
    EXPECT_EQ(distance(x, y, 0, 1.0), 0.0);
    EXPECT_EQ(powT(7.0, 1.0), 7.0);
    EXPECT_EQ(rootT(7.0, 1.0), 7.0);
    EXPECT_NEAR(powT(3.0, 2.0), 9.0, 1e-15);
    EXPECT_NEAR(rootT(9.0, 2.0), 3.0, 1e-15);

    // Points a, b and k in two variables; a and b exchange their levels in column 1.
    for (double t : {1.0, 2.0, 3.0}) {
        const std::valarray<double> a{1, 4}, b{5, 2}, k{3, 7};
        const std::valarray<double> a2{1, 2}, b2{5, 4};
        double newA = 0.0, newB = 0.0;
        exchangedDistances(a[1], b[1], k[1], distance(a, k, 2, t), distance(b, k, 2, t), t, newA, newB);
        EXPECT_NEAR(newA, distance(a2, k, 2, t), 1e-12) << "t = " << t;
        EXPECT_NEAR(newB, distance(b2, k, 2, t), 1e-12) << "t = " << t;
    }
}

TEST(PhipKernels, FullComputationAndResumOfTheExample) {
    State s(3);
    computeAll(s.view(), exampleLevels(), 2);
    const double expected[3][3] = {{0, 3, 3}, {3, 0, 2}, {3, 2, 0}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(s.D[i][j], expected[i][j]);
    EXPECT_NEAR(s.phip, 0.5000000000314, 1e-13);
    EXPECT_DOUBLE_EQ(resummedPhip(s.D, 3, 50.0), s.phip);
    EXPECT_EQ(resummedPhip(s.D, 1, 50.0), 0.0);

    // m limits the variables read.
    State first(3);
    computeAll(first.view(), exampleLevels(), 1);
    EXPECT_EQ(first.D[0][2], 2.0);
    EXPECT_EQ(first.D[1][2], 1.0);
}

TEST(PhipKernels, ExchangeUpdatesAgreeWithEachOtherAndWithTheFullComputation) {
    CRand::seed(90);
    std::mt19937 pick(3);
    for (int n : {2, 3, 6, 20}) {
        LatinHypercube design(n, 4);
        Matrix levels = LatinHypercubeAccess::levels(design);
        State s(n);
        computeAll(s.view(), levels, 4);
        for (int step = 0; step < 30; ++step) {
            const int c = static_cast<int>(pick() % 4);
            const int a = static_cast<int>(pick() % n);
            const int b = static_cast<int>(pick() % n);
            SCOPED_TRACE(testing::Message() << "n = " << n << ", step " << step);

            // The prediction changes nothing and gives the bits mode 1 then stores.
            const Matrix before = s.D;
            const double phipBefore = s.phip;
            const double predicted = phipAfterExchange(s.D, s.phip, s.p, s.t, n, levels, c, a, b);
            ASSERT_EQ(s.phip, phipBefore);
            for (int i = 0; i < n; ++i)
                for (int j = 0; j < n; ++j) ASSERT_EQ(s.D[i][j], before[i][j]);

            State plain = s;
            std::vector<double> oldA(n, -1.0), oldB(n, -1.0);
            updateDistances(plain.view(), levels, c, a, b, oldA.data(), oldB.data());
            EXPECT_EQ(plain.phip, phipBefore);

            updateForExchange(s.view(), levels, c, a, b, 1);
            EXPECT_EQ(s.phip, predicted);
            std::swap(levels[a][c], levels[b][c]);

            State full(n);
            computeAll(full.view(), levels, 4);
            for (int i = 0; i < n; ++i) {
                if (i != a && i != b) {
                    EXPECT_EQ(oldA[i], before[a][i]);
                    EXPECT_EQ(oldB[i], before[b][i]);
                }
                for (int j = 0; j < n; ++j) {
                    ASSERT_EQ(s.D[i][j], full.D[i][j]) << i << ", " << j;
                    ASSERT_EQ(plain.D[i][j], full.D[i][j]) << i << ", " << j;
                }
            }
            if (std::pow(phipBefore / full.phip, 50.0) < 1e12) {
                EXPECT_NEAR(s.phip, full.phip, olhs_test::incrementalTolerance(phipBefore, full.phip, n));
            }
            EXPECT_DOUBLE_EQ(resummedPhip(s.D, n, 50.0), full.phip);

            // The next step starts from exact values: a chain of mode-1 updates drifts.
            s.D = full.D;
            s.phip = full.phip;
        }
    }
}
