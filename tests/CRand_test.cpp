#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "test_support.h"

using olhs_test::ScopedSource;

namespace {

// What the built-in stream must give for one output of the 64-bit Mersenne Twister: its
// top 53 bits scaled by 2^-53.
double expectedDraw(std::mt19937_64& engine) { return static_cast<double>(engine() >> 11) * 0x1.0p-53; }

} // namespace

TEST(CRand, BuiltInStreamIsTheMersenneTwisterFromEachSeed) {
    CRand generator;
    for (std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{1}, CRand::defaultSeed, ~std::uint64_t{0}}) {
        for (int again = 0; again < 2; ++again) { // seeding again restarts the same stream
            CRand::seed(seed);
            std::mt19937_64 reference(seed);
            for (int i = 0; i < 500; ++i) ASSERT_EQ(generator.Random(), expectedDraw(reference)) << seed << ", " << i;
        }
    }
}

TEST(CRand, HandlesShareOneStreamThatOnlyAHostSourceReplaces) {
    CRand::seed(7);
    std::mt19937_64 reference(7);
    CRand a(true), b(false);
    EXPECT_EQ(a.Random(), expectedDraw(reference));
    EXPECT_EQ(b.Random(), expectedDraw(reference));
    // Constructing with either flag, copying or assigning mid-stream neither restarts,
    // rewinds nor advances it.
    CRand c(a), d(true), e(false);
    b = a;
    std::vector<CRand> many(10, e);
    for (CRand* x : {&a, &b, &c, &d, &e, &many[9]}) EXPECT_EQ(x->Random(), expectedDraw(reference));

    CRand::setSource(olhs_test::sequenceSource({0.25, 1.0, 0.0}));
    for (double expected : {0.25, 1.0, 0.0, 0.25}) EXPECT_EQ(CRand(false).Random(), expected);
    // An empty source resumes the built-in stream: the host's draws took nothing from it.
    CRand::setSource(std::function<double()>());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(a.Random(), expectedDraw(reference)) << "draw " << i;
    // Seeding while a host source is installed restarts the built-in stream underneath.
    {
        ScopedSource host(olhs_test::constantSource(0.5));
        CRand::seed(5);
        EXPECT_EQ(a.Random(), 0.5);
    }
    std::mt19937_64 restarted(5);
    EXPECT_EQ(a.Random(), expectedDraw(restarted));
}
