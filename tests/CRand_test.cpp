#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "test_support.h"

using olhs_test::ScopedSource;

namespace {

// The value the built-in stream must give for one output of the 64-bit Mersenne Twister:
// its top 53 bits scaled by 2^-53.
double expectedDraw(std::mt19937_64& engine) { return static_cast<double>(engine() >> 11) * 0x1.0p-53; }

} // namespace

TEST(CRand, BuiltInStreamIsTheMersenneTwisterScaledTo53Bits) {
    for (std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{CRand::defaultSeed},
                               std::uint64_t{0xFFFFFFFFFFFFFFFFull}}) {
        CRand::seed(seed);
        std::mt19937_64 reference(seed);
        CRand generator;
        for (int i = 0; i < 1000; ++i) {
            const double r = generator.Random();
            ASSERT_EQ(r, expectedDraw(reference)) << "seed " << seed << ", draw " << i;
            ASSERT_GE(r, 0.0);
            ASSERT_LT(r, 1.0);
        }
    }
}

TEST(CRand, SeedingRestartsTheStreamReproducibly) {
    CRand generator;
    CRand::seed(42);
    std::vector<double> first;
    for (int i = 0; i < 50; ++i) first.push_back(generator.Random());
    CRand::seed(42);
    std::vector<double> second;
    for (int i = 0; i < 50; ++i) second.push_back(generator.Random());
    EXPECT_EQ(first, second);

    CRand::seed(43);
    std::vector<double> other;
    for (int i = 0; i < 50; ++i) other.push_back(generator.Random());
    EXPECT_NE(first, other);
}

TEST(CRand, EveryHandleContinuesTheOneSharedStream) {
    CRand::seed(7);
    std::mt19937_64 reference(7);
    CRand a(true);
    CRand b(false);
    EXPECT_EQ(a.Random(), expectedDraw(reference));
    EXPECT_EQ(b.Random(), expectedDraw(reference));
    CRand c(a);
    EXPECT_EQ(c.Random(), expectedDraw(reference));
    // Constructing a handle with either flag, mid-stream, neither restarts nor rewinds it.
    CRand d(true);
    CRand e(false);
    EXPECT_EQ(d.Random(), expectedDraw(reference));
    EXPECT_EQ(e.Random(), expectedDraw(reference));
    b = a;
    EXPECT_EQ(b.Random(), expectedDraw(reference));
}

TEST(CRand, ConstructingCopyingAndAssigningNeverDraw) {
    long draws = 0;
    ScopedSource source(olhs_test::countingSource(&draws));
    CRand a(true);
    CRand b(false);
    CRand c;
    CRand d(a);
    c = b;
    d = CRand(false);
    std::vector<CRand> many(10, a);
    EXPECT_EQ(draws, 0);
    a.Random();
    EXPECT_EQ(draws, 1);
}

TEST(CRand, HostSourceReplacesTheStreamAndEmptyFunctionResumesIt) {
    CRand generator;
    CRand::seed(99);
    std::mt19937_64 reference(99);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(generator.Random(), expectedDraw(reference));

    CRand::setSource(olhs_test::sequenceSource({0.25, 1.0, 0.0}));
    EXPECT_EQ(generator.Random(), 0.25);
    EXPECT_EQ(CRand(false).Random(), 1.0);
    EXPECT_EQ(generator.Random(), 0.0);
    EXPECT_EQ(generator.Random(), 0.25);

    // Back to the built-in stream: the host's draws took nothing from it.
    CRand::setSource(std::function<double()>());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(generator.Random(), expectedDraw(reference)) << "draw " << i;

    // Seeding while a host source is installed restarts the built-in stream underneath.
    {
        ScopedSource host(olhs_test::constantSource(0.5));
        CRand::seed(5);
        EXPECT_EQ(generator.Random(), 0.5);
    }
    std::mt19937_64 restarted(5);
    EXPECT_EQ(generator.Random(), expectedDraw(restarted));
}
