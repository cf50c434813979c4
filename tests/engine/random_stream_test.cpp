// The engine's Mersenne Twister against the standard library's, and the stream built on it.
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "engine/random_stream.h"
#include "olhs/CRand.h"

using olhs::engine::Mt19937_64;
using olhs::engine::RandomStream;

namespace {

// Seeds with awkward bit patterns, then arbitrary ones.
std::vector<std::uint64_t> testSeeds(int arbitrary) {
    std::vector<std::uint64_t> seeds = {0u, 1u, 5489u, ~std::uint64_t{0}, std::uint64_t{1} << 63, 0x5555555555555555u};
    std::mt19937_64 source(99);
    for (int i = 0; i < arbitrary; ++i) seeds.push_back(source());
    return seeds;
}

double legacyDraw(std::mt19937_64& reference) { return static_cast<double>(reference() >> 11) * 0x1.0p-53; }

} // namespace

TEST(Mt19937_64, FollowsTheStandardEngineThroughDrawsDiscardsAndReseeds) {
    Mt19937_64 fast;
    std::mt19937_64 reference;
    for (int i = 0; i < 200000; ++i) ASSERT_EQ(fast(), reference()) << "default seed, output " << i;
    // Every count from every position within a block, block edges and long skips included.
    const std::uint64_t counts[] = {0, 1, 2, 155, 156, 311, 312, 313, 623, 624, 625, 20000};
    for (int start = 0; start <= 312; ++start)
        for (std::uint64_t count : counts) {
            fast.seed(start);
            reference.seed(start);
            for (int i = 0; i < start; ++i) fast(), reference();
            fast.discard(count);
            reference.discard(count);
            for (int i = 0; i < 320; ++i) ASSERT_EQ(fast(), reference()) << start << " then discard " << count;
        }
    // Mixed runs of draws and discards.
    std::mt19937_64 pattern(4);
    for (std::uint64_t seed : testSeeds(150)) {
        fast.seed(seed);
        reference.seed(seed);
        for (int step = 0; step < 100; ++step) {
            const std::uint64_t count = pattern() % 4 == 0 ? counts[pattern() % 12] : pattern() % 700;
            if (pattern() % 2 == 0) {
                fast.discard(count);
                reference.discard(count);
            } else {
                for (std::uint64_t i = 0; i < count; ++i) ASSERT_EQ(fast(), reference());
            }
            ASSERT_EQ(fast(), reference()) << "seed " << seed << ", step " << step << ", count " << count;
        }
    }
}

// The vector refreshes against the portable one, each where the processor has it: the
// test's name says which ran.
class WideRefresh : public testing::TestWithParam<std::string> {};

TEST_P(WideRefresh, GivesThePortableWords) {
    using namespace olhs::engine::detail;
    const bool widest = GetParam() == "avx512";
    if (!(widest ? hasWidestRefresh() : hasWideRefresh())) GTEST_SKIP() << "not on this processor";
    std::mt19937_64 words(9);
    for (int round = 0; round < 200; ++round) {
        std::uint64_t portable[312], wide[312];
        for (std::uint64_t& w : portable) w = round == 0 ? 0 : round == 1 ? ~std::uint64_t{0} : words();
        std::copy(std::begin(portable), std::end(portable), wide);
        for (int refresh = 0; refresh < 3; ++refresh) {
            refreshWords(portable);
            (widest ? refreshWidest : refreshWide)(wide);
            ASSERT_TRUE(std::equal(std::begin(portable), std::end(portable), wide)) << "round " << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, WideRefresh, testing::Values("avx2", "avx512"),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

TEST(RandomStream, DrawsTheLegacyFormulaOrTheHostAndHandsTheGeneratorBack) {
    EXPECT_EQ(RandomStream::defaultSeed, CRand::defaultSeed);
    std::mt19937_64 pattern(5);
    for (std::uint64_t seed : testSeeds(100)) {
        RandomStream stream(seed);
        std::mt19937_64 reference(seed);
        for (int step = 0; step < 40; ++step) {
            const std::uint64_t count = pattern() % 1000;
            stream.skip(count);
            reference.discard(count);
            ASSERT_EQ(stream.next(), legacyDraw(reference)) << "seed " << seed << ", skip " << count;
        }
    }
    // A host sees every draw, skipped ones included, in order; the generator waits
    // underneath, and seeding under a host reseeds it and keeps the host.
    long made = 0;
    auto host = [&made] { return static_cast<double>(made++); }; // the call's number
    RandomStream stream;
    std::mt19937_64 reference(CRand::defaultSeed);
    for (int i = 0; i < 100; ++i) ASSERT_EQ(stream.next(), legacyDraw(reference));
    stream.setHost(host);
    for (long count : {0, 1, 311, 312, 313, 5000}) {
        const long before = made;
        stream.skip(static_cast<std::uint64_t>(count));
        EXPECT_EQ(stream.next(), static_cast<double>(before + count)) << "one call per draw, skip " << count;
    }
    stream.setHost(std::function<double()>());
    for (int i = 0; i < 300; ++i) ASSERT_EQ(stream.next(), legacyDraw(reference)) << "resumed, draw " << i;
    stream.setHost(host);
    stream.seed(11);
    const double expected = static_cast<double>(made);
    EXPECT_EQ(stream.next(), expected);
    stream.setHost(nullptr);
    reference.seed(11);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(stream.next(), legacyDraw(reference)) << "seeded under host, " << i;
    RandomStream hosted(std::function<double()>([] { return 0.75; }));
    EXPECT_EQ(hosted.next(), 0.75);
    hosted.setHost(nullptr);
    reference.seed(CRand::defaultSeed);
    EXPECT_EQ(hosted.next(), legacyDraw(reference)) << "a hosted stream's generator starts at the default seed";
}
