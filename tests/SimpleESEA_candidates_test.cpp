// The search judges candidates without copying the design when the incremental flag is
// set. That shortcut must choose the same candidate with the same value, bit for bit, as
// judging real copies; and the table of powers it reads must hold exactly what pow returns.
#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

#include "criterion_access.h"
#include "olhs/olhs.h"
#include "optimal_access.h"
#include "phip_kernels.h"
#include "search_access.h"

namespace {

using namespace olhs::detail;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const Matrix& distances(OptimalLH& x) { return PHIpCriterionAccess::distances(OptimalLHAccess::criterion(x)); }

TEST(SearchCandidates, InPlaceJudgementMatchesCopiesBitForBit) {
    CRand::seed(11);
    CombinatorialAnalysis<int> sampler;
    for (int n : {2, 3, 5, 9, 17, 40}) {
        for (int m : {2, 3, 6}) {
            OptimalLH current(n, m, 1);
            // Walk the design through accepted moves, so the criterion carries the rounding of
            // earlier incremental updates as it does inside a search.
            for (int step = 0; step < 6; ++step) {
                const int column = 1 + step % (m - 1);
                const Pairs pairs = sampler.getVectorOfRandomCombination(candidatesPerIteration(n), n, 2);
                std::vector<OptimalLH> scratch;
                OptimalLH bestCopy;
                const auto byCopies = bestCandidateByCopies(current, column, pairs, scratch, bestCopy);
                const auto inPlace = bestCandidateInPlace(current, column, pairs);
                SCOPED_TRACE(testing::Message() << "n = " << n << ", m = " << m << ", step " << step);
                ASSERT_EQ(byCopies.index, inPlace.index);
                ASSERT_TRUE(sameBits(byCopies.value, inPlace.value)) << byCopies.value << " vs " << inPlace.value;
                // Making the chosen exchange on the design itself gives the copy's state.
                current.exchangeElements(column, pairs[inPlace.index][0] - 1, pairs[inPlace.index][1] - 1);
                ASSERT_TRUE(sameBits(current.getOptCrt(), bestCopy.getOptCrt()));
                for (int i = 0; i < n; ++i) {
                    for (int j = 0; j < m; ++j) ASSERT_EQ(current.getElement(i, j), bestCopy.getElement(i, j));
                    for (int j = 0; j < n; ++j)
                        ASSERT_TRUE(sameBits(distances(current)[i][j], distances(bestCopy)[i][j]));
                }
            }
        }
    }
}

TEST(SearchCandidates, FirstOfEqualCandidatesWins) {
    // Rows (1,1), (2,2), (3,3): exchanging 1-2 or 2-3 in column 1 gives mirror-image designs
    // with equal criteria, and the first pair in the list must win.
    CRand::setSource([] { return 0.0; });
    OptimalLH current(3, 2, 1);
    CRand::setSource(nullptr);
    for (const Pairs& pairs : {Pairs{{1, 2}, {1, 3}, {2, 3}}, Pairs{{2, 3}, {1, 3}, {1, 2}}}) {
        std::vector<OptimalLH> scratch;
        OptimalLH bestCopy;
        EXPECT_EQ(bestCandidateInPlace(current, 1, pairs).index, 0);
        EXPECT_EQ(bestCandidateByCopies(current, 1, pairs, scratch, bestCopy).index, 0);
    }
}

TEST(PowerTable, ReturnsExactlyWhatPowReturns) {
    // Interleaved exponents, each with its own table grown out of order, values past the
    // table, fractions, negatives and zero.
    const InversePowers p50(50.0), p2(2.0);
    for (double d : {3.0, 1.0, 200.0, 2.0, 4096.0, 0.5, 2.25, 131072.0, 131073.0, 1e9, -1.0, -3.0, 0.0}) {
        EXPECT_TRUE(sameBits(p50(d), std::pow(d, -50.0))) << "d = " << d;
        EXPECT_TRUE(sameBits(p2(d), std::pow(d, -2.0))) << "d = " << d;
        EXPECT_TRUE(sameBits(InversePowers(3.5)(d), std::pow(d, -3.5))) << "d = " << d;
    }
    for (int d = 0; d < 5000; ++d) {
        ASSERT_TRUE(sameBits(p50(d), std::pow(static_cast<double>(d), -50.0))) << "d = " << d;
        ASSERT_TRUE(sameBits(p2(d), std::pow(static_cast<double>(d), -2.0))) << "d = " << d;
    }
    EXPECT_EQ(p50(0.0), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(p50(std::nan(""))));
}

} // namespace
