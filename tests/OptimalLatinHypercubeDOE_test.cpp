// The entry point: scaled output, its layout and resizing, both overloads, the search in
// mode 1, and the arguments it refuses.
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/PHIpCriterion.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "search_access.h"
#include "test_support.h"

using olhs_test::CaptureErr;
using olhs_test::CaptureOut;
using olhs_test::constantSource;
using olhs_test::countingSource;
using olhs_test::isLatin;
using olhs_test::ScopedSource;

namespace {

using Levels = std::vector<std::valarray<double> >;

const std::string kFirstErrorLine =
    "Error with the use of void OptimalLatinHypercubeDOE(bool b_flag, int i_mode, int i_m, int i_n, "
    "std::valarray<double>& va_X)\n";

struct Call {
    std::valarray<double> X;
    std::string out;
    std::string err;
};

// One call with its console output captured; `withFlag` selects the overload.
Call call(bool withFlag, bool flag, int mode, int m, int n, std::valarray<double> X = {}) {
    Call c;
    c.X = X;
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

// The exploring factor of the search outlives every call; runs that are compared with
// each other start from the same factor.
void resetExploringFactor() {
    SimpleESEA scratch;
    olhs::detail::SimpleESEAAccess::setThreshold(scratch, 1.0);
    scratch.updateTh(false, 0.0, 0.0);
}

std::function<double()> twisterSource(unsigned seed) {
    auto engine = std::make_shared<std::mt19937_64>(seed);
    return [engine]() { return std::generate_canonical<double, 53>(*engine); };
}

// Output values back to levels: value (n - 1) + 1, to the nearest integer.
Levels toLevels(const std::valarray<double>& X, int n, int m) {
    Levels rows(static_cast<std::size_t>(n), std::valarray<double>(static_cast<std::size_t>(m)));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < m; ++j) rows[i][j] = std::round(X[static_cast<std::size_t>(i * m + j)] * (n - 1) + 1);
    return rows;
}

// A design holding the given levels (column 0 must read 1..n), built by exchanges.
LatinHypercube designOf(const Levels& rows) {
    const int n = static_cast<int>(rows.size());
    const int m = static_cast<int>(rows[0].size());
    LatinHypercube x;
    {
        ScopedSource zeros(constantSource(0.0));
        x = LatinHypercube(n, m);
    }
    for (int j = 1; j < m; ++j) {
        for (int i = 0; i < n; ++i) {
            int k = i;
            while (x.getElement(k, j) != rows[i][j]) ++k;
            x.exchangeElements(j, i, k);
        }
    }
    return x;
}

bool sameLevels(const Levels& a, const Levels& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        for (std::size_t j = 0; j < a[i].size(); ++j)
            if (a[i][j] != b[i][j]) return false;
    return true;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = text.find('\n', from);
        out.push_back(text.substr(from, end - from));
        if (end == std::string::npos) break;
        from = end + 1;
    }
    return out;
}

// Every column is a permutation of k/(n - 1), k = 0..n-1, and column 0 reads i/(n - 1).
testing::AssertionResult scaledLatin(const std::valarray<double>& X, int n, int m) {
    if (X.size() != static_cast<std::size_t>(n * m))
        return testing::AssertionFailure() << "size " << X.size() << ", expected " << n * m;
    for (int j = 0; j < m; ++j) {
        std::vector<double> column;
        for (int i = 0; i < n; ++i) column.push_back(X[static_cast<std::size_t>(i * m + j)]);
        if (j == 0) {
            for (int i = 0; i < n; ++i)
                if (column[i] != static_cast<double>(i) / (n - 1))
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
        const char* mentions;
    };
    const std::vector<Case> cases = {
        {0, 3, 1, "i_n = 1"},  {0, 3, 0, "i_n = 0"},  {1, 3, -4, "i_n = -4"}, {0, 0, 5, "i_m = 0"},
        {2, -2, 5, "i_m = -2"}, {1, 1, 5, "i_m = 1"}, {1, 0, 5, "i_m = 0"},
    };
    for (const Case& c : cases) {
        for (bool withFlag : {true, false}) {
            long draws = 0;
            ScopedSource counting(countingSource(&draws));
            const Call r = call(withFlag, true, c.mode, c.m, c.n, std::valarray<double>(7.0, 12));
            const std::string where = "mode " + std::to_string(c.mode) + ", m " + std::to_string(c.m) + ", n " +
                                      std::to_string(c.n);
            EXPECT_EQ(r.X.size(), 0u) << where;
            EXPECT_EQ(r.out, "") << where;
            EXPECT_EQ(draws, 0) << where;
            const std::vector<std::string> l = lines(r.err);
            ASSERT_EQ(l.size(), 2u) << where << ": " << r.err;
            EXPECT_EQ(l[0] + "\n", kFirstErrorLine) << where;
            EXPECT_NE(l[1].find(c.mentions), std::string::npos) << where << ": " << l[1];
            EXPECT_EQ(r.err.back(), '\n');
        }
    }
}

TEST(OptimalLatinHypercubeDOE, OneVariableIsAcceptedWithoutSearch) {
    for (int mode : {0, 2, -1}) {
        long draws = 0;
        ScopedSource counting(countingSource(&draws));
        const Call r = call(false, false, mode, 1, 4);
        EXPECT_EQ(r.err, "");
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(draws, 0);
        ASSERT_EQ(r.X.size(), 4u);
        EXPECT_EQ(r.X[0], 0.0);
        EXPECT_EQ(r.X[1], 1.0 / 3.0);
        EXPECT_EQ(r.X[2], 2.0 / 3.0);
        EXPECT_EQ(r.X[3], 1.0);
    }
}

TEST(OptimalLatinHypercubeDOE, EveryColumnHoldsTheScaledLevelsOnce) {
    CRand::seed(2024);
    for (int mode : {0, 1, 2, -1, 7}) {
        for (int n : {2, 3, 7, 12}) {
            for (int m : {2, 3, 5}) {
                for (bool flag : {false, true}) {
                    const Call r = call(true, flag, mode, m, n);
                    ASSERT_TRUE(scaledLatin(r.X, n, m)) << "mode " << mode << ", n " << n << ", m " << m;
                    ASSERT_EQ(r.err, "");
                    ASSERT_TRUE(isLatin(toLevels(r.X, n, m), n, m));
                    if (mode != 1) {
                        ASSERT_EQ(r.out, "");
                    }
                }
            }
        }
    }
    // A larger design without search, and two points: only 0 and 1.
    const Call big = call(false, false, 0, 6, 50);
    EXPECT_TRUE(scaledLatin(big.X, 50, 6));
    for (int mode : {0, 1}) {
        const Call two = call(false, false, mode, 4, 2);
        ASSERT_TRUE(scaledLatin(two.X, 2, 4));
        for (double v : two.X) EXPECT_TRUE(v == 0.0 || v == 1.0) << v;
        EXPECT_EQ(two.X[0], 0.0);
        EXPECT_EQ(two.X[4], 1.0);
    }
}

TEST(OptimalLatinHypercubeDOE, OutputArrayIsResizedToPointsTimesVariables) {
    {
        std::valarray<double> X(-3.0, 15);
        const double* storage = &X[0];
        OptimalLatinHypercubeDOE(0, 3, 5, X);
        EXPECT_EQ(&X[0], storage); // the right size keeps its storage
        EXPECT_TRUE(scaledLatin(X, 5, 3));
    }
    for (std::size_t size : {0u, 1u, 14u, 16u, 200u}) {
        std::valarray<double> X(9.0, size);
        {
            CaptureOut quiet;
            OptimalLatinHypercubeDOE(1, 3, 5, X);
        }
        EXPECT_EQ(X.size(), 15u) << size;
        EXPECT_TRUE(scaledLatin(X, 5, 3)) << size;
    }
}

TEST(OptimalLatinHypercubeDOE, OverloadWithoutFlagIsTheFlagFalse) {
    for (int mode : {0, 1}) {
        Call withFlag;
        Call without;
        {
            ScopedSource host(twisterSource(31));
            resetExploringFactor();
            withFlag = call(true, false, mode, 3, 9);
        }
        {
            ScopedSource host(twisterSource(31));
            resetExploringFactor();
            without = call(false, false, mode, 3, 9);
        }
        ASSERT_EQ(withFlag.X.size(), without.X.size());
        for (std::size_t k = 0; k < without.X.size(); ++k) EXPECT_EQ(withFlag.X[k], without.X[k]) << k;
        EXPECT_EQ(withFlag.out, without.out);
        EXPECT_EQ(withFlag.err, without.err);
    }
}

TEST(OptimalLatinHypercubeDOE, SameSeedSameDesignAndProgress) {
    for (int mode : {0, 1}) {
        CRand::seed(8);
        resetExploringFactor();
        const Call a = call(false, false, mode, 4, 11);
        CRand::seed(8);
        resetExploringFactor();
        const Call b = call(false, false, mode, 4, 11);
        CRand::seed(9);
        resetExploringFactor();
        const Call c = call(false, false, mode, 4, 11);
        ASSERT_TRUE(scaledLatin(a.X, 11, 4));
        EXPECT_TRUE((a.X == b.X).min()) << "mode " << mode;
        EXPECT_EQ(a.out, b.out);
        EXPECT_FALSE((a.X == c.X).min()) << "mode " << mode;
    }
    // Successive calls continue the stream: two calls in a row differ.
    CRand::seed(8);
    const Call first = call(false, false, 0, 4, 11);
    const Call second = call(false, false, 0, 4, 11);
    EXPECT_FALSE((first.X == second.X).min());
}

TEST(OptimalLatinHypercubeDOE, ModeOneReturnsNoWorseThanTheDrawnDesign) {
    bool someGain = false;
    for (unsigned seed : {3u, 4u, 5u}) {
        for (int n : {6, 10, 20}) {
            for (int m : {2, 4}) {
                // The design the call draws first, drawn here from the same stream state.
                CRand::seed(seed);
                LatinHypercube drawn(n, m, false);
                const Levels drawnLevels = drawn.getLH();
                const double f0 = PHIpCriterion(drawn).getPHIp();

                CRand::seed(seed);
                const Call zero = call(false, false, 0, m, n);
                EXPECT_TRUE(sameLevels(toLevels(zero.X, n, m), drawnLevels)) << "mode 0 returns the drawn design";

                CRand::seed(seed);
                const Call one = call(false, false, 1, m, n);
                ASSERT_TRUE(scaledLatin(one.X, n, m));
                const double f = PHIpCriterion(designOf(toLevels(one.X, n, m))).getPHIp();
                EXPECT_LE(f, f0) << "seed " << seed << ", n " << n << ", m " << m;
                someGain = someGain || f < f0;

                // Progress: starts at count 000 with the drawn design's value, then
                // a line every 100 iterations; the stall limit of 100 alone makes a run last
                // at least 101 iterations, so there are at least two.
                const std::vector<std::string> l = lines(one.out);
                ASSERT_GE(l.size(), 2u) << one.out;
                char first[128];
                std::snprintf(first, sizeof first, "Iteration #: 000\t\tOptimality criterion = %14.6g", f0);
                EXPECT_EQ(l[0], first);
                for (std::size_t k = 1; k < l.size(); ++k) {
                    char prefix[64];
                    std::snprintf(prefix, sizeof prefix, "Iteration #: %03d\t\tOptimality criterion = ",
                                  static_cast<int>(100 * k));
                    EXPECT_EQ(l[k].rfind(prefix, 0), 0u) << l[k];
                }
                EXPECT_EQ(one.err, "");
            }
        }
    }
    EXPECT_TRUE(someGain);
}

TEST(OptimalLatinHypercubeDOE, ModeOneIsTheSearchWithItsFixedSettings) {
    // The same stream and exploring factor given to the classes by hand, with at most
    // 2000 iterations, a stall limit of 100 and the other limits at their defaults.
    for (unsigned seed : {21u, 22u, 23u, 24u, 25u, 26u}) {
        const int n = 8 + static_cast<int>(seed % 3) * 6;
        const int m = 2 + static_cast<int>(seed % 2) * 3;
        CRand::seed(seed);
        resetExploringFactor();
        const Call r = call(false, false, 1, m, n);

        CRand::seed(seed);
        resetExploringFactor();
        std::string progress;
        Levels best;
        {
            LatinHypercube drawn(n, m, false);
            OptimalLH start(drawn);
            start.setPHICflag(1);
            StoppingCriteria criteria;
            criteria.setMaxIterations(2000);
            criteria.setStallIterLimit(100);
            SimpleESEA search(start, criteria);
            CaptureOut out;
            search.run();
            progress = out.take();
            best = search.getXbest().getLH();
        }
        EXPECT_EQ(r.out, progress) << "seed " << seed;
        EXPECT_TRUE(sameLevels(toLevels(r.X, n, m), best)) << "seed " << seed << ", n " << n << ", m " << m;
    }
}
