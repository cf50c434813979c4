// The search judges candidates without copying the design when the incremental flag is
// set. That shortcut must choose the same candidate with the same value, bit for bit, as
// judging real copies, and the power table must return exactly what pow returns.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "criterion_access.h"
#include "olhs/olhs.h"
#include "optimal_access.h"
#include "phip_kernels.h"
#include "search_access.h"

namespace {

using olhs::detail::Pairs;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(SearchCandidates, InPlaceJudgementMatchesCopiesBitForBit) {
    CRand::seed(11);
    CombinatorialAnalysis<int> sampler;
    for (int n : {2, 3, 5, 9, 17, 40}) {
        for (int m : {2, 3, 6}) {
            OptimalLH current(n, m, 1);
            // Walk the design through a few accepted moves so the criterion carries the
            // rounding of earlier incremental updates, as it does inside a search.
            for (int step = 0; step < 6; ++step) {
                const int column = 1 + step % (m - 1);
                const int J = olhs::detail::candidatesPerIteration(n);
                const Pairs pairs = sampler.getVectorOfRandomCombination(J, n, 2);

                std::vector<OptimalLH> scratch;
                OptimalLH bestCopy;
                const auto byCopies = olhs::detail::bestCandidateByCopies(current, column, pairs, scratch, bestCopy);
                const auto inPlace = olhs::detail::bestCandidateInPlace(current, column, pairs);

                ASSERT_EQ(byCopies.index, inPlace.index) << "n=" << n << " m=" << m << " step=" << step;
                ASSERT_TRUE(sameBits(byCopies.value, inPlace.value)) << byCopies.value << " vs " << inPlace.value;

                // Making the chosen exchange on the design itself gives the copy's state.
                current.exchangeElements(column, pairs[inPlace.index][0] - 1, pairs[inPlace.index][1] - 1);
                ASSERT_TRUE(sameBits(current.getOptCrt(), bestCopy.getOptCrt()));
                ASSERT_EQ(current.getLH().size(), bestCopy.getLH().size());
                for (int i = 0; i < n; ++i) {
                    for (int j = 0; j < m; ++j) {
                        ASSERT_EQ(current.getElement(i, j), bestCopy.getElement(i, j));
                    }
                }
                const auto& d1 = olhs::detail::PHIpCriterionAccess::distances(
                    olhs::detail::OptimalLHAccess::criterion(current));
                const auto& d2 = olhs::detail::PHIpCriterionAccess::distances(
                    olhs::detail::OptimalLHAccess::criterion(bestCopy));
                for (int i = 0; i < n; ++i) {
                    for (int j = 0; j < n; ++j) {
                        ASSERT_TRUE(sameBits(d1[i][j], d2[i][j]));
                    }
                }
            }
        }
    }
}

TEST(SearchCandidates, FirstOfEqualCandidatesWins) {
    // n = 3, m = 2 with rows (1,1), (2,2), (3,3): exchanging 1-2 or 2-3 in column 1 gives
    // mirror-image designs with equal criteria; the first pair in the list must win.
    CRand::setSource([] { return 0.0; });
    OptimalLH current(3, 2, 1);
    CRand::setSource(nullptr);
    const Pairs pairs = {{1, 2}, {1, 3}, {2, 3}};
    const auto best = olhs::detail::bestCandidateInPlace(current, 1, pairs);
    std::vector<OptimalLH> scratch;
    OptimalLH bestCopy;
    const auto byCopies = olhs::detail::bestCandidateByCopies(current, 1, pairs, scratch, bestCopy);
    EXPECT_EQ(best.index, byCopies.index);
    EXPECT_NE(best.index, 2) << "pair (2,3) ties with an earlier pair and must lose";
}

TEST(PowerTable, ReturnsExactlyWhatPowReturns) {
    const olhs::detail::InversePowers term(50.0);
    for (int d = 0; d < 5000; ++d) {
        ASSERT_TRUE(sameBits(term(d), std::pow(static_cast<double>(d), -50.0))) << d;
    }
    for (double d : {0.5, 2.25, 1e6 + 0.5, 3e5, 1e9, -1.0, -3.0}) {
        EXPECT_TRUE(sameBits(term(d), std::pow(d, -50.0))) << d;
    }
    EXPECT_TRUE(std::isnan(term(std::nan(""))));
    // Another exponent gets its own values.
    const olhs::detail::InversePowers other(2.0);
    EXPECT_EQ(other(4.0), 1.0 / 16.0);
    EXPECT_TRUE(sameBits(olhs::detail::inversePower(7.0, 50.0), std::pow(7.0, -50.0)));
}

} // namespace
