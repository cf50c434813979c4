// The annealer's state against a plain recomputation after many random exchanges, every
// exchange kernel against the portable one, and the maximin order on hand-made designs.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "engine/anneal.h"
#include "engine/multistart.h"

namespace {

using namespace olhs::engine;

struct Size {
    int n, m, exponent;
};

class AnnealStateTest : public testing::TestWithParam<Size> {};

// After many exchanges the incremental distances, smallest distance and pairs at it equal
// those of the design built afresh.
TEST_P(AnnealStateTest, ExchangesMatchARecomputation) {
    const Size s = GetParam();
    RandomStream stream(s.n * 100 + s.m);
    AnnealState state(randomLatin(s.n, s.m, stream), s.exponent, s.exponent == 2 ? 25 : 50,
                      smallestOf(randomLatin(s.n, s.m, stream), s.exponent).distance);
    for (int k = 0; k < 400; ++k) {
        const int c = static_cast<int>(stream.next() * s.m);
        const int a = static_cast<int>(stream.next() * s.n);
        const int b = (a + 1 + static_cast<int>(stream.next() * (s.n - 1))) % s.n;
        state.minimaAfter(c, a, b);
        state.exchange(c, a, b, state.energyChange(c, a, b));
        if (k % 100 == 99) state.resum();
    }
    AnnealState fresh(state.levels(), s.exponent, s.exponent == 2 ? 25 : 50, 0);
    const Smallest expected = smallestOf(state.levels(), s.exponent);
    EXPECT_TRUE(state.smallest().distance == expected.distance && state.smallest().pairs == expected.pairs);
    for (int i = 0; i < s.n; ++i)
        for (int j = 0; j < s.n; ++j) ASSERT_TRUE(i == j || state.distance(i, j) == fresh.distance(i, j)) << i << ", " << j;
}

// Every kernel this processor runs gives the portable kernel's minima and energy change to
// the bit, on random designs, with the exchanged points anywhere (first, last, padding
// boundary) and distances near the weights' masking limit.
TEST_P(AnnealStateTest, KernelsGiveThePortableBits) {
    const Size s = GetParam();
    ExchangeKernels kernels[3];
    const int count = availableExchangeKernels(s.exponent, kernels);
    const ExchangeKernels& portable = kernels[count - 1];
    std::string ran; // which paths ran, in the test's record
    for (int k = 0; k < count; ++k) ran += std::string(kernels[k].name) + " ";
    RecordProperty("kernels", ran);
    RandomStream stream(s.n + 7);
    const Levels levels = randomLatin(s.n, s.m, stream);
    const int lanes = (s.n + kernelLanes - 1) / kernelLanes * kernelLanes;
    std::vector<std::int32_t> di(lanes, ExchangeRows::padding), dj(lanes, ExchangeRows::padding), x(lanes, 0);
    std::vector<double> wi(lanes, 0.0), wj(lanes, 0.0), fresh(4 * lanes);
    const auto measure = [&](int i, int l) {
        std::int32_t d = 0;
        for (int v = 0; v < s.m; ++v) d += s.exponent == 2 ? (levels(i, v) - levels(l, v)) * (levels(i, v) - levels(l, v))
                                                          : std::abs(levels(i, v) - levels(l, v));
        return d;
    };
    for (int trial = 0; trial < 300; ++trial) {
        const int c = static_cast<int>(stream.next() * s.m);
        const int i = trial % 3 == 0 ? 0 : static_cast<int>(stream.next() * s.n);
        const int j = trial % 3 == 1 ? s.n - 1 : (i + 1 + static_cast<int>(stream.next() * (s.n - 1))) % s.n;
        if (i == j) continue;
        for (int l = 0; l < s.n; ++l) {
            x[l] = levels(l, c);
            di[l] = l == i ? ExchangeRows::padding : measure(i, l);
            dj[l] = l == j ? ExchangeRows::padding : measure(j, l);
            wi[l] = pairWeight(di[l], 700.0, 25);
            wj[l] = pairWeight(dj[l], 700.0, 25);
        }
        const ExchangeRows rows{di.data(), dj.data(), x.data(), lanes, i, j};
        const RowMinima expected = portable.minima(rows);
        const double expectedChange =
            portable.energyChange(rows, Weights{wi.data(), wj.data(), 700.0, 25, fresh.data(), fresh.data() + lanes});
        for (int k = 0; k + 1 < count; ++k) {
            const RowMinima got = kernels[k].minima(rows);
            EXPECT_TRUE(got.i == expected.i && got.j == expected.j) << kernels[k].name << ", trial " << trial;
            const double change = kernels[k].energyChange(
                rows, Weights{wi.data(), wj.data(), 700.0, 25, fresh.data() + 2 * lanes, fresh.data() + 3 * lanes});
            EXPECT_EQ(std::memcmp(&change, &expectedChange, sizeof change), 0)
                << kernels[k].name << ": " << change << " against " << expectedChange;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, AnnealStateTest,
                         testing::Values(Size{3, 2, 2}, Size{16, 3, 1}, Size{17, 4, 2}, Size{40, 5, 1},
                                         Size{61, 7, 2}, Size{100, 10, 2}),
                         [](const auto& info) {
                             return std::to_string(info.param.n) + "x" + std::to_string(info.param.m) +
                                    (info.param.exponent == 2 ? "Euclidean" : "CityBlock");
                         });

Levels design(const std::vector<std::vector<int>>& rows) {
    Levels levels(static_cast<int>(rows.size()), static_cast<int>(rows[0].size()));
    for (std::size_t i = 0; i < rows.size(); ++i)
        for (std::size_t v = 0; v < rows[i].size(); ++v) levels.set(static_cast<int>(i), static_cast<int>(v), rows[i][v]);
    return levels;
}

TEST(MaximinOrder, SmallestDistanceThenPairsAtItThenPhip) {
    const Smallest spread = smallestOf(design({{1, 2}, {2, 4}, {3, 1}, {4, 3}}), 2);
    const Smallest lonePair = smallestOf(design({{1, 1}, {2, 3}, {3, 4}, {4, 2}}), 2);
    const Smallest diagonal = smallestOf(design({{1, 1}, {2, 2}, {3, 3}, {4, 4}}), 2);
    EXPECT_TRUE(spread.distance == 5 && spread.pairs == 4);
    EXPECT_TRUE(lonePair.distance == 2 && lonePair.pairs == 1);
    EXPECT_TRUE(diagonal.distance == 2 && diagonal.pairs == 3);
    EXPECT_EQ(smallestOf(design({{1, 1}, {2, 2}, {3, 3}, {4, 4}}), 1).distance, 2);

    EXPECT_TRUE(betterDesign(true, spread, 9.0, lonePair, 1.0));   // farther, however many pairs
    EXPECT_TRUE(betterDesign(true, lonePair, 9.0, diagonal, 1.0)); // fewer pairs at it
    EXPECT_FALSE(betterDesign(true, diagonal, 1.0, lonePair, 9.0));
    EXPECT_TRUE(betterDesign(true, diagonal, 1.0, diagonal, 2.0)); // then phi_p
    EXPECT_FALSE(betterDesign(true, diagonal, 1.0, diagonal, 1.0)); // ties to the earlier one
    EXPECT_TRUE(betterDesign(false, diagonal, 1.0, spread, 2.0));  // phi_p alone
}

TEST(PortableLog, AgreesWithTheLibraryLog) {
    for (double u : {0x1p-53, 1e-300, 0.1, 0.5, 0.7071067811865476, 0.75, 0.999999, 1.0})
        EXPECT_NEAR(portableLog(u), std::log(u), 1e-13 * std::fabs(std::log(u)) + 1e-16) << u;
}

} // namespace
