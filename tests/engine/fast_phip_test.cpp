// The fast criterion against the reference arithmetic, bit for bit: full computation,
// candidate judgement, the choice among candidates, moves and re-sums, and whole searches.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/search_state.h"
#include "phip_kernels.h"

namespace {

using namespace olhs::engine;
using olhs::detail::Matrix;

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

Levels randomLatin(int n, int m, std::mt19937_64& rng) {
    Levels levels(n, m);
    std::vector<int> column(static_cast<std::size_t>(n));
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) column[i] = i + 1;
        if (c > 0) std::shuffle(column.begin(), column.end(), rng);
        for (int i = 0; i < n; ++i) levels.set(i, c, column[i]);
    }
    return levels;
}

Matrix rowsOf(const Levels& levels) {
    Matrix rows(static_cast<std::size_t>(levels.points()), std::valarray<double>(levels.variables()));
    for (int i = 0; i < levels.points(); ++i)
        for (int c = 0; c < levels.variables(); ++c) rows[i][c] = levels(i, c);
    return rows;
}

std::shared_ptr<const PowerTable> tableFor(int n, int m, double p = 50.0) {
    return std::make_shared<const PowerTable>(p, maxCityBlockDistance(n, m));
}

/// The reference criterion: a full double matrix moved by the plain kernels.
struct Reference {
    Matrix rows, D;
    double phip = 0.0;
    std::shared_ptr<const PowerTable> terms;
    Reference(const Levels& levels, std::shared_ptr<const PowerTable> table)
        : rows(rowsOf(levels)), D(rows.size(), std::valarray<double>(0.0, rows.size())), terms(std::move(table)) {
        olhs::detail::computeAll(state(), rows, static_cast<int>(rows[0].size()));
    }
    olhs::detail::PhipState<Matrix&> state() {
        return {D, phip, terms->p(), 1.0, static_cast<int>(rows.size()), *terms};
    }
    double judge(int c, int a, int b) const {
        return olhs::detail::phipAfterExchange(D, phip, 1.0, static_cast<int>(rows.size()), *terms, rows, c, a, b);
    }
    Choice best(int c, const std::vector<Pair>& pairs) const {
        Choice chosen{0, judge(c, pairs[0].a - 1, pairs[0].b - 1)};
        for (int t = 0; t < static_cast<int>(pairs.size()); ++t) {
            const double value = judge(c, pairs[t].a - 1, pairs[t].b - 1);
            if (value < chosen.value) chosen = {t, value};
        }
        return chosen;
    }
    void accept(int c, int a, int b) {
        olhs::detail::updateForExchange(state(), rows, c, a, b, 1);
        std::swap(rows[a][c], rows[b][c]);
        phip = olhs::detail::resummedPhip(D, static_cast<int>(rows.size()), *terms);
    }
};

template <class Dist>
testing::AssertionResult sameState(const FastPhip<Dist>& fast, const Reference& ref) {
    const int n = fast.points();
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < fast.variables(); ++c)
            if (fast.levels()(i, c) != ref.rows[i][c]) return testing::AssertionFailure() << "level " << i << "," << c;
        for (int j = 0; j < n; ++j)
            if (static_cast<double>(fast.distance(i, j)) != ref.D[i][j])
                return testing::AssertionFailure() << "distance " << i << "," << j;
    }
    if (!sameBits(fast.phip(), ref.phip)) return testing::AssertionFailure() << fast.phip() << " vs " << ref.phip;
    return testing::AssertionSuccess();
}

// Walks a design through accepted moves, checking every candidate value, every choice and
// every state on the way against the reference.
// With `worse`, every other move is the first candidate instead of the best, as threshold
// acceptance allows: designs then reach pairs far closer than the current smallest.
template <class Dist>
void walk(Levels start, int steps, RandomStream& stream, double p = 50.0, int boundingPath = 0, bool worse = false) {
    const int n = start.points(), m = start.variables();
    const auto table = tableFor(n, m, p);
    FastPhip<Dist> fast(start, table);
    detail::CityBlockRoughPath<Dist> paths[3];
    const int available = detail::availableCityBlockRoughSums(paths);
    fast.setCityBlockBounds(paths[std::min(boundingPath, available - 1)]);
    Reference ref(start, table);
    ASSERT_TRUE(sameState(fast, ref));
    std::vector<Pair> pairs;
    for (int step = 0; step < steps; ++step) {
        const int column = 1 + step % (m - 1);
        drawDistinctPairs(stream, candidatesPerIteration(n), n, pairs);
        for (const Pair& pair : pairs)
            ASSERT_TRUE(sameBits(fast.judge(column, pair.a - 1, pair.b - 1), ref.judge(column, pair.a - 1, pair.b - 1)));
        const Choice mine = fast.best(column, pairs), expected = ref.best(column, pairs);
        ASSERT_EQ(mine.index, expected.index) << "step " << step;
        ASSERT_TRUE(sameBits(mine.value, expected.value)) << "step " << step;
        const Pair chosen = pairs[static_cast<std::size_t>(worse && step % 2 == 1 ? 0 : mine.index)];
        fast.exchange(column, chosen.a - 1, chosen.b - 1);
        fast.resum();
        ref.accept(column, chosen.a - 1, chosen.b - 1);
        ASSERT_TRUE(sameState(fast, ref)) << "step " << step;
    }
}

// Each way of bounding candidates before their exact sums (by instruction set, and none),
// named in the test's name so that the log shows which ran on this processor.
std::vector<std::string> boundingPaths() {
    detail::CityBlockRoughPath<std::uint16_t> paths[3];
    const int count = detail::availableCityBlockRoughSums(paths);
    std::vector<std::string> names;
    for (int k = 0; k < count; ++k) names.push_back(paths[k].name);
    return names;
}

class FastPhipPath : public testing::TestWithParam<std::string> {
protected:
    int path() const {
        const std::vector<std::string> names = boundingPaths();
        return static_cast<int>(std::find(names.begin(), names.end(), GetParam()) - names.begin());
    }
};

TEST_P(FastPhipPath, EveryValueHasTheReferenceBits) {
    std::mt19937_64 rng(1);
    RandomStream stream(2);
    for (int n : {2, 3, 4, 5, 9, 23, 64, 150, 333}) {
        for (int m : {2, 3, 7}) {
            SCOPED_TRACE(testing::Message() << n << " x " << m);
            const Levels start = randomLatin(n, m, rng);
            walk<std::uint16_t>(start, 12, stream, 50.0, path());
            walk<std::uint32_t>(start, 12, stream, 50.0, path());
        }
    }
    // Other exponents: the choice among candidates must not rely on p = 50, and whole
    // ones are bounded with the powers walked at run time.
    for (double p : {1.0, 0.5, 2.0, 7.5, 9.0, 64.0}) {
        SCOPED_TRACE(testing::Message() << "p = " << p);
        walk<std::uint16_t>(randomLatin(30, 4, rng), 8, stream, p, path());
    }
    SCOPED_TRACE("worse moves");
    walk<std::uint16_t>(randomLatin(90, 4, rng), 300, stream, 50.0, path(), true);
}

INSTANTIATE_TEST_SUITE_P(Bounds, FastPhipPath, testing::ValuesIn(boundingPaths()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

TEST(FastPhip, DistancesUpToTheTopOfTheType) {
    // Every column in point order puts the first and last points m (n - 1) apart: 65400,
    // just inside 16 bits; the same design on 32-bit distances must agree.
    const int n = 301, m = 218;
    Levels identity(n, m);
    for (int c = 0; c < m; ++c)
        for (int i = 0; i < n; ++i) identity.set(i, c, i + 1);
    ASSERT_TRUE(FastPhip<std::uint16_t>::fits(n, m));
    ASSERT_FALSE(FastPhip<std::uint16_t>::fits(n, m + 1));
    RandomStream stream(3);
    walk<std::uint16_t>(identity, 3, stream);
    walk<std::uint32_t>(identity, 3, stream);
    FastPhip<std::uint16_t> narrow(identity, tableFor(n, m));
    EXPECT_EQ(narrow.distance(0, n - 1), 65400);
}

TEST(FastPhip, FirstOfEqualCandidatesWins) {
    // Rows (1,1), (2,2), (3,3): exchanging 1-2 or 2-3 in column 1 gives mirror images with
    // equal values, and whichever pair is listed first must win.
    Levels diagonal(3, 2);
    for (int i = 0; i < 3; ++i) diagonal.set(i, 0, i + 1), diagonal.set(i, 1, i + 1);
    FastPhip<std::uint16_t> x(diagonal, tableFor(3, 2));
    EXPECT_EQ(x.best(1, {{1, 2}, {2, 3}}).index, 0);
    EXPECT_EQ(x.best(1, {{2, 3}, {1, 2}}).index, 0);
    EXPECT_EQ(x.best(1, {{1, 3}, {1, 2}, {2, 3}}).index, 1);
}

/// phi_p on squared distances the plain way: distances from the levels, every term by pow.
struct PlainSquared {
    Levels levels;
    double p, phip;
    double term(int i, int j) const {
        std::int64_t s = 0;
        for (int c = 0; c < levels.variables(); ++c) s += (levels(i, c) - levels(j, c)) * (levels(i, c) - levels(j, c));
        return std::pow(static_cast<double>(s), -(p / 2));
    }
    double full() const {
        double sum = 0.0;
        for (int i = 0; i < levels.points(); ++i)
            for (int j = i + 1; j < levels.points(); ++j) sum = term(i, j) + sum;
        return std::pow(sum, 1.0 / p);
    }
    double judge(int c, int a, int b) const {
        Levels after = levels;
        after.exchange(c, a, b);
        const PlainSquared moved{after, p, phip};
        double added = 0.0, removed = 0.0;
        for (int k = 0; k < levels.points(); ++k) {
            if (k == a || k == b) continue;
            added = (added + moved.term(a, k)) + moved.term(b, k);
            removed = (removed + term(a, k)) + term(b, k);
        }
        return std::pow((std::pow(phip, p) + added) - removed, 1.0 / p);
    }
};

using SquaredCase = std::tuple<int, int, double>; // n, m, p

class FastPhipSquared : public testing::TestWithParam<SquaredCase> {};

// Candidates judged from rough bounds, and only the close ones summed, must still choose
// what judging each one plainly chooses, and moves must keep the plain sums' bits.
TEST_P(FastPhipSquared, ChoicesAndSumsHaveThePlainBits) {
    const auto [n, m, p] = GetParam();
    std::mt19937_64 rng(static_cast<std::uint64_t>(n * 131 + m));
    RandomStream stream(static_cast<std::uint64_t>(n + m));
    const Levels start = randomLatin(n, m, rng);
    const auto table = std::make_shared<const PowerTable>(p, maxMeasure(n, m, 2), 2);
    FastPhip<std::uint32_t, 2> fast(start, table);
    PlainSquared plain{start, p, 0.0};
    plain.phip = plain.full();
    ASSERT_TRUE(sameBits(fast.phip(), plain.phip));
    std::vector<Pair> pairs;
    for (int step = 0; step < 40; ++step) {
        const int column = 1 + step % (m - 1);
        drawDistinctPairs(stream, candidatesPerIteration(n), n, pairs);
        Choice expected{0, plain.judge(column, pairs[0].a - 1, pairs[0].b - 1)};
        for (int t = 1; t < static_cast<int>(pairs.size()); ++t) {
            const double value = plain.judge(column, pairs[t].a - 1, pairs[t].b - 1);
            if (value < expected.value) expected = {t, value};
        }
        const Choice mine = fast.best(column, pairs);
        ASSERT_EQ(mine.index, expected.index) << "step " << step;
        ASSERT_TRUE(sameBits(mine.value, expected.value)) << "step " << step;
        const Pair chosen = pairs[static_cast<std::size_t>(step % 2 == 1 ? 0 : mine.index)];
        fast.exchange(column, chosen.a - 1, chosen.b - 1);
        fast.resum();
        plain.levels.exchange(column, chosen.a - 1, chosen.b - 1);
        plain.phip = plain.full();
        ASSERT_TRUE(sameBits(fast.phip(), plain.phip)) << "step " << step;
    }
}

// Whole powers (p = 50, 10, 2) take the bounded path, others the table; tiny designs,
// rows past a vector's width, and terms far below and above the float range.
INSTANTIATE_TEST_SUITE_P(Designs, FastPhipSquared,
                         testing::Values(SquaredCase{3, 2, 50.0}, SquaredCase{9, 3, 50.0}, SquaredCase{100, 10, 50.0}, SquaredCase{37, 5, 50.0},
                                         SquaredCase{150, 7, 50.0}, SquaredCase{301, 20, 50.0},
                                         SquaredCase{60, 4, 10.0}, SquaredCase{60, 4, 2.0}, SquaredCase{60, 4, 128.0},
                                         SquaredCase{40, 6, 7.5}));

/// The search state on the reference criterion, with the best design copied whole.
struct ReferenceState {
    Reference current;
    Matrix bestRows;
    double bestValue;
    int points() const { return static_cast<int>(current.rows.size()); }
    int variables() const { return static_cast<int>(current.rows[0].size()); }
    double phip() const { return current.phip; }
    double bestPhip() const { return bestValue; }
    Choice best(int c, const std::vector<Pair>& pairs) const { return current.best(c, pairs); }
    void accept(int c, const Pair& pair) { current.accept(c, pair.a - 1, pair.b - 1); }
    void keepAsBest() { bestRows = current.rows, bestValue = current.phip; }
};

template <class Dist>
Search<FastSearchState<Dist> > fastSearch(const Levels& start, RandomStream& stream) {
    FastPhip<Dist> current(start, tableFor(start.points(), start.variables()));
    const double phip = current.phip();
    return Search<FastSearchState<Dist> >(FastSearchState<Dist>(std::move(current), start, phip), stream,
                                          0.005 * phip);
}

TEST(Search, FastStateFollowsTheReferenceSearch) {
    std::mt19937_64 rng(4);
    for (auto [n, m] : {std::pair<int, int>{2, 2}, {3, 2}, {8, 3}, {23, 4}, {40, 5}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << m);
        const Levels start = randomLatin(n, m, rng);
        RandomStream s1(5), s2(5);
        auto fast = fastSearch<std::uint16_t>(start, s1);
        const auto table = tableFor(n, m);
        Reference initial(start, table);
        Search<ReferenceState> ref(ReferenceState{initial, initial.rows, initial.phip}, s2, 0.005 * initial.phip);
        for (int outer = 0; outer < 40; ++outer) {
            fast.outerIteration();
            ref.outerIteration();
            ASSERT_TRUE(sameBits(fast.state().bestPhip(), ref.state().bestPhip())) << "outer " << outer;
            ASSERT_TRUE(sameBits(fast.threshold(), ref.threshold())) << "outer " << outer;
            ASSERT_EQ(rowsOf(fast.state().bestLevels()).size(), ref.state().bestRows.size());
            const Matrix rows = rowsOf(fast.state().bestLevels());
            for (int i = 0; i < n; ++i) ASSERT_EQ((rows[i] != ref.state().bestRows[i]).max(), false) << i;
        }
        EXPECT_EQ(s1.next(), s2.next()); // the same draws were made
    }
}

TEST(Search, SearchesInThreadsDoNotTouchEachOther) {
    std::mt19937_64 rng(6);
    const Levels a = randomLatin(60, 5, rng), b = randomLatin(90, 4, rng);
    auto runAlone = [](const Levels& start, std::uint64_t seed, double& best, Levels& levels) {
        RandomStream stream(seed);
        auto search = fastSearch<std::uint16_t>(start, stream);
        for (int outer = 0; outer < 60; ++outer) search.outerIteration();
        best = search.state().bestPhip();
        levels = search.state().bestLevels();
    };
    double aloneA = 0, aloneB = 0, threadA = 0, threadB = 0;
    Levels levelsA, levelsB, threadLevelsA, threadLevelsB;
    runAlone(a, 7, aloneA, levelsA);
    runAlone(b, 8, aloneB, levelsB);
    std::thread first([&] { runAlone(a, 7, threadA, threadLevelsA); });
    std::thread second([&] { runAlone(b, 8, threadB, threadLevelsB); });
    first.join();
    second.join();
    EXPECT_TRUE(sameBits(aloneA, threadA));
    EXPECT_TRUE(sameBits(aloneB, threadB));
    EXPECT_TRUE(levelsA == threadLevelsA);
    EXPECT_TRUE(levelsB == threadLevelsB);
    EXPECT_LT(aloneA, FastPhip<std::uint16_t>(a, tableFor(60, 5)).phip()); // the search did work
}

} // namespace
