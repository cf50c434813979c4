// The entry point: refused arguments, scaled output and its resizing, both overloads,
// reproducibility, and the search it runs in mode 1.
#include <algorithm>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "search_access.h"
#include "test_support.h"

using namespace olhs_test;

namespace {

struct Call {
    std::valarray<double> X;
    std::string out, err;
};

// One call with its console output captured; `withFlag` selects the overload.
Call call(bool withFlag, bool flag, int mode, int m, int n, std::valarray<double> X = {}) {
    Call c{std::move(X), "", ""};
    CaptureErr err;
    CaptureOut out;
    if (withFlag) {
        OptimalLatinHypercubeDOE(flag, mode, m, n, c.X);
    } else {
        OptimalLatinHypercubeDOE(mode, m, n, c.X);
    }
    c.out = out.take();
    c.err = err.take();
    return c;
}

// Runs that are compared start from the same exploring factor (it outlives every call).
void resetExploringFactor() {
    SimpleESEA scratch;
    olhs::detail::SimpleESEAAccess::setThreshold(scratch, 1.0);
    scratch.updateTh(false, 0.0, 0.0);
}

// Element i*m + j is level (k - 1)/(n - 1) of point i in variable j.
std::valarray<double> scaled(LatinHypercube x) {
    const int n = x.getNPoints(), m = x.getNDV();
    std::valarray<double> X(static_cast<std::size_t>(n * m));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < m; ++j) X[static_cast<std::size_t>(i * m + j)] = (x.getElement(i, j) - 1) / (n - 1);
    return X;
}

bool same(const std::valarray<double>& a, const std::valarray<double>& b) {
    return a.size() == b.size() && (a.size() == 0 || (a == b).min());
}

// Every column is a permutation of k/(n - 1), k = 0..n-1, and column 0 reads i/(n - 1).
testing::AssertionResult scaledLatin(const std::valarray<double>& X, int n, int m) {
    if (X.size() != static_cast<std::size_t>(n * m)) return testing::AssertionFailure() << "size " << X.size();
    for (int j = 0; j < m; ++j) {
        std::vector<double> column;
        for (int i = 0; i < n; ++i) {
            column.push_back(X[static_cast<std::size_t>(i * m + j)]);
            if (j == 0 && column[i] != static_cast<double>(i) / (n - 1))
                return testing::AssertionFailure() << "column 0, point " << i << ": " << column[i];
        }
        std::sort(column.begin(), column.end());
        for (int k = 0; k < n; ++k)
            if (column[k] != static_cast<double>(k) / (n - 1))
                return testing::AssertionFailure() << "column " << j << " lacks " << k << "/" << n - 1;
    }
    return testing::AssertionSuccess();
}

} // namespace

TEST(OptimalLatinHypercubeDOE, RefusedArgumentsLeaveAnEmptyOutputAndTwoLines) {
    struct Case {
        int mode, m, n;
        std::string line;
    };
    const std::string first = "Error with the use of void OptimalLatinHypercubeDOE(bool b_flag, int i_mode, int i_m, "
                              "int i_n, std::valarray<double>& va_X)\n";
    for (const Case& c : std::vector<Case>{
             {0, 3, 1, "The number of points must be at least 2 (i_n = 1)"},
             {1, 0, 0, "The number of points must be at least 2 (i_n = 0)"},
             {1, 3, -4, "The number of points must be at least 2 (i_n = -4)"},
             {0, 0, 5, "The number of design variables must be at least 1 (i_m = 0)"},
             {2, -2, 5, "The number of design variables must be at least 1 (i_m = -2)"},
             {1, 0, 5, "The number of design variables must be at least 1 (i_m = 0)"},
             {1, 1, 5, "The optimisation (i_mode = 1) needs at least 2 design variables (i_m = 1)"}}) {
        for (bool withFlag : {true, false}) {
            long draws = 0;
            ScopedSource counting(countingSource(&draws));
            const Call r = call(withFlag, true, c.mode, c.m, c.n, std::valarray<double>(7.0, 12));
            EXPECT_EQ(r.X.size(), 0u) << c.line;
            EXPECT_EQ(r.out, "");
            EXPECT_EQ(r.err, first + c.line + "\n");
            EXPECT_EQ(draws, 0);
        }
    }
}

TEST(OptimalLatinHypercubeDOE, EveryColumnHoldsTheScaledLevelsOnceAndColumnZeroInOrder) {
    CRand::seed(2024);
    for (int mode : {0, 1, 2, -1}) {
        for (int n : {2, 3, 7, 12}) {
            for (int m : {2, 5}) {
                for (bool flag : {false, true}) {
                    const Call r = call(true, flag, mode, m, n);
                    ASSERT_TRUE(scaledLatin(r.X, n, m)) << "mode " << mode << ", n " << n << ", m " << m;
                    ASSERT_EQ(r.err, "");
                    if (mode != 1) {
                        ASSERT_EQ(r.out, "");
                    }
                }
            }
        }
    }
    // One variable is accepted in every mode but 1, without any draw.
    long draws = 0;
    ScopedSource counting(countingSource(&draws));
    for (int mode : {0, 2, -1}) {
        const Call r = call(false, false, mode, 1, 4);
        EXPECT_TRUE(same(r.X, {0.0, 1.0 / 3.0, 2.0 / 3.0, 1.0}));
        EXPECT_EQ(r.out + r.err, "");
    }
    EXPECT_EQ(draws, 0);
}

TEST(OptimalLatinHypercubeDOE, OutputArrayIsResizedToPointsTimesVariables) {
    std::valarray<double> X(-3.0, 15);
    const double* storage = &X[0];
    OptimalLatinHypercubeDOE(0, 3, 5, X);
    EXPECT_EQ(&X[0], storage); // the right size keeps its storage
    EXPECT_TRUE(scaledLatin(X, 5, 3));
    for (std::size_t size : {0u, 1u, 14u, 16u, 200u}) {
        const Call r = call(false, false, 1, 3, 5, std::valarray<double>(9.0, size));
        EXPECT_TRUE(scaledLatin(r.X, 5, 3)) << size;
    }
}

TEST(OptimalLatinHypercubeDOE, SameSeedSameDesignAndProgressThroughEitherOverload) {
    for (int mode : {0, 1}) {
        const unsigned seeds[] = {8, 8, 9};
        Call r[3];
        for (int k = 0; k < 3; ++k) {
            CRand::seed(seeds[k]);
            resetExploringFactor();
            r[k] = call(k == 1, false, mode, 4, 11);
        }
        EXPECT_TRUE(same(r[0].X, r[1].X)) << mode;
        EXPECT_EQ(r[0].out, r[1].out);
        EXPECT_FALSE(same(r[0].X, r[2].X)) << mode;
    }
    // Successive calls continue the stream.
    CRand::seed(8);
    EXPECT_FALSE(same(call(false, false, 0, 4, 11).X, call(false, false, 0, 4, 11).X));
}

TEST(OptimalLatinHypercubeDOE, ModeZeroIsTheDrawnDesignAndModeOneTheSearchWithItsFixedSettings) {
    // The same stream and exploring factor handed to the classes: at most 2000
    // iterations, a stall limit of 100 and the other limits at their defaults.
    for (unsigned seed : {21u, 22u, 23u, 24u}) {
        const int n = 8 + static_cast<int>(seed % 3) * 6, m = 2 + static_cast<int>(seed % 2) * 3;
        CRand::seed(seed);
        const LatinHypercube drawn(n, m, false);
        CRand::seed(seed);
        EXPECT_TRUE(same(call(false, false, 0, m, n).X, scaled(drawn)));

        CRand::seed(seed);
        resetExploringFactor();
        const Call r = call(false, false, 1, m, n);
        CRand::seed(seed);
        resetExploringFactor();
        OptimalLH start(LatinHypercube(n, m, false));
        start.setPHICflag(1);
        StoppingCriteria criteria;
        criteria.setMaxIterations(2000);
        criteria.setStallIterLimit(100);
        SimpleESEA search(start, criteria);
        CaptureOut out;
        search.run();
        EXPECT_EQ(r.out, out.take()) << seed;
        EXPECT_TRUE(same(r.X, scaled(search.getXbest()))) << seed;
        EXPECT_EQ(r.out.rfind("Iteration #: 000\t\tOptimality criterion = ", 0), 0u);
        EXPECT_NE(r.out.find("\nIteration #: 100\t\t"), std::string::npos);
    }
}
