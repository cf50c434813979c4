// The behaviour of the legacy classes: the pick rule behind every permutation and subset,
// the designs (Latin, and the draws they take), phi_p of hand-worked designs and under
// exchanges, the stopping rules (driven by moving the start of the run into the past,
// never by waiting), the search's parameters and acceptance, and the entry point's output.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "criterion_access.h"
#include "olhs/CombinatorialAnalysis.h"
#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/Permutation.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "optimal_access.h"
#include "search_access.h"
#include "test_support.h"

using olhs::detail::PHIpCriterionAccess;
using olhs::detail::SimpleESEAAccess;
using olhs_test::captured;
using olhs_test::exampleDesign;
using olhs_test::isLatin;
using olhs_test::ScopedSource;
using olhs_test::sequenceSource;

namespace {

using Matrix = olhs::detail::Matrix;

bool same(const Matrix& x, const Matrix& y) {
    if (x.size() != y.size()) return false;
    for (std::size_t i = 0; i < x.size(); ++i)
        if (x[i].size() != y[i].size() || (x[i] != y[i]).max()) return false;
    return true;
}

Matrix distances(const PHIpCriterion& c) { return PHIpCriterionAccess::distances(c); }

constexpr double N = 1.7e+308; // no limit
const double NaN = std::nan("");
const std::string kStallIter = "Maximum number of iterations without improvements.";
const std::string kMaxIter = "Maximum number of iterations.";
const std::string kTime = "Maximum time allowed for the task.";
const std::string kStallTime = "Maximum time allowed without improvements for the task.";

long now() { return static_cast<long>(std::time(nullptr)); }

// The line under "STOPPING CRITERION REACHED:" in the dump.
std::string stopText(StoppingCriteria& sc) {
    const std::string dump = captured([&] { sc.printMembers(); });
    const std::size_t begin = dump.find("REACHED:\n") + 9;
    return dump.substr(begin, dump.find('\n', begin) - begin);
}

// The exploring factor lives for the whole process: a = 0 selects 1/0.7, a = 0.9 selects 0.9.
void setExploringFactor(double a) {
    SimpleESEA scratch;
    SimpleESEAAccess::setThreshold(scratch, 1.0);
    scratch.updateTh(false, a, 0.0);
}

} // namespace

TEST(PickRule, PermutationsAndSubsetsFollowTheScriptedDraws) {
    const std::pair<std::vector<double>, std::vector<int> > cases[] = {
        {{0.0}, {1, 2, 3, 4, 5}},
        {{1.0}, {5, 4, 3, 2, 1}},
        {{0.5}, {3, 2, 4, 1}}, // 0.5 (k - 1) lands on halves, which round away from zero
        // Pool 1..5: 0.125*4 = 0.5 -> index 1 (2); pool 1,3,4,5: 0.3 -> index 0 (1); pool
        // 3,4,5: 1.5 -> index 2 (5); pool 3,4: 0.49 -> index 0 (3); then 4. Removing by swapping
        // with the last value, or truncating instead of rounding, gives another order.
        {{0.125, 0.1, 0.75, 0.49, 0.9}, {2, 1, 5, 3, 4}},
        {{0.3}, {1}},
        {{0.3}, {}},
    };
    for (const auto& [script, expected] : cases) {
        const int n = static_cast<int>(expected.size());
        const std::vector<double> real(expected.begin(), expected.end());
        std::vector<int> subset(expected.begin(), expected.begin() + n / 2);
        std::sort(subset.begin(), subset.end()); // a subset keeps the first k values, sorted
        long draws = 0;
        std::function<double()> next;
        ScopedSource source([&] { return ++draws, next(); });
        CombinatorialAnalysis<double> sample{CRand(false)};
        Permutation permutation(n);
        const auto fromTheStart = [&] { return next = sequenceSource(script), n; };
        EXPECT_EQ(sample.getRandomPermutation(fromTheStart()), real);
        EXPECT_EQ(CombinatorialAnalysis<int>().getRandomPermutation(fromTheStart()), expected);
        EXPECT_EQ(sample.getRandomCombination(fromTheStart(), n / 2), subset);
        fromTheStart();
        EXPECT_EQ(permutation.refresh(), real);
        EXPECT_TRUE(sample.getRandomCombination(n, 0).empty() && sample.getVectorOfRandomCombination(0, n, 1).empty());
        EXPECT_EQ(draws, 5 * n) << "one draw per value, the last included; constructions draw nothing";
    }
}

TEST(Combinations, ListsAreDistinctAndSortedAndEmptyWhenImpossible) {
    CombinatorialAnalysis<int> sampler;
    {
        // Drawn {2,3}, {2,3} again (rejected), {1,3}, {1,2}: the duplicate costs one more
        // permutation of draws, and the list comes back sorted.
        long draws = 0;
        auto next = sequenceSource({1, 1, 0, 1, 1, 0, 0, 1, 0, 0, 0, 0});
        ScopedSource source([&] { return ++draws, next(); });
        EXPECT_EQ(sampler.getVectorOfRandomCombination(3, 3, 2),
                  (std::vector<std::vector<int> >{{1, 2}, {1, 3}, {2, 3}}));
        EXPECT_EQ(draws, 12);
    }
    // More subsets than exist, or none of size 0, return nothing instead of looping.
    for (auto [count, n, k] : {std::tuple{4, 3, 2}, {2, 4, 4}, {1, 3, 0}, {11, 5, 3}})
        EXPECT_TRUE(sampler.getVectorOfRandomCombination(count, n, k).empty()) << count << ", " << n << ", " << k;
    EXPECT_EQ(sampler.getVectorOfRandomCombination(10, 5, 3).size(), 10u) << "as many as exist";
}

TEST(LatinHypercube, EveryBuildIsLatinWithColumnZeroInPointOrderAndDrawsOnePermutationPerOtherColumn) {
    std::mt19937_64 engine(1234);
    long draws = 0;
    ScopedSource source([&] { return ++draws, static_cast<double>(engine() >> 11) * 0x1.0p-53; });
    for (int n : {0, 1, 2, 3, 9, 24}) {
        for (int m : {1, 2, 5}) {
            draws = 0;
            LatinHypercube x(n, m), y(n, m, false), z(n, m, CRand(true));
            OptimalLH o(n, m, 1), copy(o), wrapped(x, 2);
            LatinHypercube copied(x);
            for (int built = 0; built < 2; ++built, x.build()) {
                ASSERT_TRUE(isLatin(x.getLH(), n, m)) << n << " x " << m << ", build " << built;
                for (int i = 0; i < n; ++i) ASSERT_EQ(x.getElement(i, 0), i + 1.0);
            }
            EXPECT_EQ(draws, 6L * n * (m - 1)) << n << " x " << m << ": four constructions, two builds, no copy";
        }
    }
    EXPECT_EQ(exampleDesign().getColumn(1), (std::vector<double>{1, 3, 2}));
    // The empty design holds one row with a single zero.
    LatinHypercube empty;
    EXPECT_TRUE(empty.getLH().size() == 1 && empty.getLH()[0].size() == 1 && empty.getLH()[0][0] == 0.0);
}

TEST(PHIpCriterion, HandWorkedDesigns) {
    PHIpCriterion c(exampleDesign());
    // Rows (1,1), (2,3), (3,2) lie 3, 3 and 2 apart (the whole matrix shows in the dumps).
    EXPECT_TRUE(distances(c)[0][1] == 3.0 && distances(c)[2][0] == 3.0 && distances(c)[1][2] == 2.0);
    EXPECT_NEAR(c.getPHIp(), 0.5000000000314, 1e-13);
    // A full update follows an exchanged design: rows (1,1), (2,2), (3,3) are 2, 4 and 2 apart.
    LatinHypercube moved = exampleDesign();
    moved.exchangeElements(1, 1, 2);
    c.update(moved);
    EXPECT_TRUE(distances(c)[0][1] == 2.0 && distances(c)[0][2] == 4.0 && distances(c)[2][1] == 2.0);
    EXPECT_NEAR(c.getPHIp(), std::pow(2 * std::pow(2.0, -50) + std::pow(4.0, -50), 1.0 / 50), 1e-15);

    EXPECT_EQ(PHIpCriterion().getPHIp(), 0.0);
    ScopedSource zeros(sequenceSource({0.0}));
    PHIpCriterion single(LatinHypercube(1, 3));
    EXPECT_TRUE(single.getPHIp() == 0.0 && same(distances(single), Matrix(1, std::valarray<double>(0.0, 1))));
    for (int m = 1; m <= 4; ++m) EXPECT_NEAR(PHIpCriterion(LatinHypercube(2, m)).getPHIp(), 1.0 / m, 1e-14);

    EXPECT_TRUE(c.normt({1.0, -2.0, 3.0}, 1.0) == 6.0 && c.normt(std::valarray<double>(), 1.0) == 0.0);
    EXPECT_NEAR(c.normt({3.0, -4.0}, 2.0) + c.normt({-2.0, 2.0}, 3.0), 5.0 + std::cbrt(16.0), 1e-14);
}

TEST(PHIpCriterion, ExchangeUpdatesFollowTheFullComputation) {
    std::mt19937 pick(17);
    CRand::seed(2718);
    int judged = 0;
    for (int n : {2, 3, 7, 30}) {
        for (int m : {1, 3}) {
            LatinHypercube design(n, m);
            // Mode 2 re-sums; modes 0, 3 and -1 and updateDmatrix move the distances alone. A
            // chain of mode-1 updates drifts (the old terms it takes away can dwarf what is
            // left), so mode 1 is judged one step at a time, from exact values.
            PHIpCriterion resummed(design), distancesOnly(design), matrixOnly(design);
            const double initial = distancesOnly.getPHIp();
            for (int step = 0; step < 40; ++step) {
                const int c = static_cast<int>(pick() % m), a = static_cast<int>(pick() % n);
                const int b = static_cast<int>(pick() % n);
                PHIpCriterion incremental(design);
                const double oldPhi = incremental.getPHIp();
                incremental.update(design, c, a, b, 1);
                resummed.update(design, c, a, b, 2);
                distancesOnly.update(design, c, a, b, step % 3 == 0 ? 0 : (step % 3 == 1 ? 3 : -1));
                matrixOnly.updateDmatrix(design, c, a, b);
                design.exchangeElements(c, a, b);

                PHIpCriterion full(design);
                const double phi = full.getPHIp();
                for (PHIpCriterion* x : {&incremental, &resummed, &distancesOnly, &matrixOnly})
                    ASSERT_TRUE(same(distances(*x), distances(full))) << n << " x " << m << ", step " << step;
                EXPECT_NEAR(resummed.getPHIp(), phi, 1e-13 * phi);
                EXPECT_TRUE(distancesOnly.getPHIp() == initial && matrixOnly.getPHIp() == initial);
                // Mode 1 adds the new terms to phi_p^p and takes the old away: a few roundings
                // per term, relative to the larger of the two sums.
                const double ratio = std::pow(oldPhi / phi, 50.0);
                if (ratio < 1e12) {
                    EXPECT_NEAR(incremental.getPHIp(), phi, 64.0 * (n + 1) * 2.220446049250313e-16 * phi * (1 + ratio));
                    ++judged;
                }
            }
        }
    }
    EXPECT_GT(judged, 250);
}

TEST(OptimalLH, ASelfExchangeUnderFlagTwoResumsTheValueFromTheDistances) {
    CRand::seed(12);
    OptimalLH x(9, 3), exact(x);
    // Spoil the stored value; the distances stay right. Flag 3 leaves it, flag 1 adds and
    // takes away the same terms.
    PHIpCriterionAccess::setValue(olhs::detail::OptimalLHAccess::criterion(x), 7.25);
    for (auto [flag, expected] : {std::pair{3, 7.25}, {1, 7.25}, {2, exact.getOptCrt()}}) {
        x.setPHICflag(flag);
        x.exchangeElements(1, 2, 2);
        EXPECT_NEAR(x.getOptCrt(), expected, 1e-14 * expected) << "flag " << flag;
    }
}

TEST(StoppingCriteria, ScriptedChecksAndTheirStopTexts) {
    struct Script {
        int max, min, stall;
        double time, stallTime, rel;
        long back;             // the start of the run lies this many seconds in the past
        double range;          // handed to setObjectiveRange unless NaN
        std::vector<double> f; // the values checked in turn, the last one repeated
        std::string stops;     // per check: 's' stops, '.' goes on
        std::string text;      // the stop text afterwards
    };
    const double next = 1.97 - 0.01 * 1.97;
    const std::vector<double> halving = {50, 25, 12.5, 6, 3, 1.5, 0.7, 0.3};
    const Script scripts[] = {
        // The defaults stop at the eleventh check without improvement.
        {100, 5, 10, N, N, 0.01, 0, NaN, {1}, "..........s", kStallIter},
        // An improvement lies strictly below v - rel v; before any range nothing improves.
        {100, 0, 0, N, N, 0.01, 0, 2.0, {1.98}, "s", kStallIter},
        {100, 0, 0, N, N, 0.01, 0, 2.0, {std::nextafter(1.98, 0.0)}, ".", ""},
        {100, 0, 0, N, N, 0.01, 0, 2.0, {NaN}, "s", kStallIter},
        {100, 0, 0, N, N, 0.25, 0, 2.0, {1.5}, "s", kStallIter},
        {100, 0, 0, N, N, 0.25, 0, 2.0, {std::nextafter(1.5, 0.0)}, ".", ""},
        {100, 0, 0, N, N, 0.01, 0, NaN, {-1e300}, "s", kStallIter},
        // The threshold follows each improvement, which clears the stall count.
        {100, 0, 1, N, N, 0.01, 0, 2.0, {1.97, std::nextafter(next, 0.0), next}, "...s", kStallIter},
        {100, 0, 2, N, N, 0.01, 0, 2.0, {3, 3, 1, 3}, ".....s", kStallIter},
        // The maximum is an equality judged after the minimum; once stopped, the stop stands.
        {7, 5, 1000, N, N, 0.01, 0, NaN, {1}, "......sss", kMaxIter},
        {5, 5, 1000, N, N, 0.01, 0, NaN, {1}, std::string(60, '.'), ""},
        {3, 5, 0, N, N, 0.01, 0, NaN, {1}, ".....s", kStallIter},
        // When several rules hold, the last in order gives the text: each of three rules
        // against the next.
        {1, 0, 1000, 10, N, 0.01, 100, NaN, {1}, "s", kTime},
        {100, 0, 0, 10, N, 0.01, 100, NaN, {1}, "s", kStallIter},
        {100, 0, 0, N, 10, 0.01, 100, NaN, {1}, "s", kStallTime},
        // Time limits are strict.
        {100, 0, 1000, 50, N, 0.01, 50, NaN, {1}, ".", ""},
        {100, 0, 1000, N, 50, 0.01, 50, NaN, {1}, ".", ""},
        // Only a stalled check records the stall time; from then on every check past the
        // minimum stops, improving ones included. An improving run goes on until the task's
        // time limit ends it.
        {100, 5, 1000, N, 3, 0.01, 10, 100, {200, 50, 25, 12.5, 6, 3}, ".....s", kStallTime},
        {1000, 5, 1000, N, 3, 0.01, 10, 100, halving, "........", ""},
        {1000, 5, 1000, 3, N, 0.01, 10, 100, halving, ".....s", kTime},
    };
    int index = 0;
    for (const Script& s : scripts) {
        // A script during which the clock moved on to the next second is run again.
        for (int attempt = 0; attempt < 100; ++attempt) {
            const long start = now();
            StoppingCriteria sc(s.max, s.min, s.stall, s.time, s.stallTime, s.rel);
            sc.setInitialTime(start - s.back);
            if (!std::isnan(s.range)) sc.setObjectiveRange(s.range);
            std::string stops;
            for (std::size_t k = 0; k < s.stops.size(); ++k)
                stops += sc.isItTimeToStop(s.f[std::min(k, s.f.size() - 1)]) ? 's' : '.';
            if (sc.getCurrentTime() != start && attempt < 99) continue;
            EXPECT_EQ(stops + " " + stopText(sc), s.stops + " " + s.text) << "script " << index;
            EXPECT_TRUE(sc.getCurrentIteration() == int(s.stops.size()) && sc.getTotalTime() == s.back) << index++;
            break;
        }
    }
    // A check within a raised minimum clears a standing stop; the text stays.
    StoppingCriteria sc(7, 5, 1000, N, N, 0.01);
    for (int check = 0; check < 8; ++check) sc.isItTimeToStop(1.0);
    sc.setMinIterations(100);
    EXPECT_FALSE(sc.isItTimeToStop(1.0));
    sc.setMinIterations(0);
    EXPECT_FALSE(sc.isItTimeToStop(1.0));
    EXPECT_EQ(stopText(sc), kMaxIter);
    // The task's time limit caps the stall time limit; restarting the clock starts it now.
    sc.setTimeLimit(5);
    sc.setTimeLimit(10);
    EXPECT_TRUE(sc.getTimeLimit() == 10.0 && sc.getStallTimeLimit() == 5.0);
    const long start = now();
    sc.resetInitialTime();
    EXPECT_GE(sc.getInitialTime(), start);
}

TEST(SimpleESEA, CandidatesAndInnerIterationsFollowTheNumberOfPoints) {
    CRand::seed(99);
    SimpleESEA reused; // setInitialPoint derives everything again each time
    // (n, J, M)
    for (const auto& r : {std::array<int, 3>{2, 1, 20}, {3, 1, 10}, {4, 2, 7}, {5, 2, 5}, {7, 5, 4}, {10, 9, 3},
                          {11, 11, 2}, {20, 38, 2}, {21, 42, 1}, {22, 47, 1}, {23, 50, 1}, {37, 50, 1}, {38, 50, 2},
                          {62, 50, 2}, {63, 50, 3}}) {
        OptimalLH x(r[0], 3, 1);
        SimpleESEA built(x, StoppingCriteria());
        reused.setInitialPoint(x);
        for (const SimpleESEA* s : {&built, &reused})
            EXPECT_TRUE(SimpleESEAAccess::J(*s) == r[1] && SimpleESEAAccess::M(*s) == r[2] &&
                        SimpleESEAAccess::threshold(*s) == 0.005 * x.getOptCrt()) << r[0];
    }
}

TEST(SimpleESEA, MovesOfEqualValueAreAcceptedButNeverBecomeTheBest) {
    // In a 2-point design every exchange keeps phi_p. M = 20 while m = 2 makes 11 inner
    // iterations and m = 3 makes 14: ratios against M between 10 % and 80 % keep the
    // preset factor, whereas no acceptance would select 1/0.7 and counting against the
    // inner iterations run would select 0.9. Under flag 0 delta is exactly 0, so even a
    // draw of 0 accepts.
    // (m, flag, every draw, preset exploring factor as the acceptance ratio that selects it)
    for (const auto& c :
         {std::array<double, 4>{2, 1, 0.5, 0.9}, {2, 1, 0.5, 0.0}, {2, 0, 0.0, 0.9}, {3, 1, 0.5, 0.9}}) {
        const int m = static_cast<int>(c[0]);
        const OptimalLH start = [&] { // every column reads 1, 2
            ScopedSource zeros(sequenceSource({0.0}));
            return OptimalLH(2, m, static_cast<int>(c[1]));
        }();
        SimpleESEA s(start, StoppingCriteria(1, 0, 1000, N, N, 0.01));
        const double th0 = SimpleESEAAccess::threshold(s);
        setExploringFactor(c[3]);
        ScopedSource draws(sequenceSource({c[2]}));
        captured([&] { s.run(); });
        EXPECT_DOUBLE_EQ(SimpleESEAAccess::threshold(s), (c[3] == 0.9 ? 0.9 : 1.0 / 0.7) * th0) << m << ", " << c[1];
        for (int j = 0; j < m; ++j) EXPECT_EQ(s.getXbest().getColumn(j), (std::vector<double>{1, 2}));
    }
}

TEST(OptimalLatinHypercubeDOE, ScaledLatinOutputOfTheRightSizeWhateverTheArrayHeldAndTheFlag) {
    for (int mode : {0, 1, 2, -1}) {
        for (int n : {2, 3, 7}) {
            for (int m : {1, 2, 5}) {
                if (mode == 1 && m == 1) continue;
                // Arrays too large, too small or empty are resized.
                std::valarray<double> X(9.0, static_cast<std::size_t>((n * m + mode + 3) % 7 * 5)), Y;
                std::string out[2];
                for (int k = 0; k < 2; ++k) {
                    CRand::seed(static_cast<std::uint64_t>(n * 10 + m));
                    setExploringFactor(0.0);
                    out[k] = captured([&] { k == 0 ? OptimalLatinHypercubeDOE(mode, m, n, X)
                                                   : OptimalLatinHypercubeDOE(true, mode, m, n, Y); });
                }
                ASSERT_EQ(X.size(), static_cast<std::size_t>(n * m));
                // Element i m + j is (level - 1) / (n - 1): column 0 in point order, every
                // other column a permutation of those values.
                for (int j = 0; j < m; ++j) {
                    std::vector<double> column;
                    for (int i = 0; i < n; ++i) column.push_back(X[static_cast<std::size_t>(i * m + j)]);
                    if (j > 0) std::sort(column.begin(), column.end());
                    for (int i = 0; i < n; ++i) ASSERT_EQ(column[i], i / (n - 1.0)) << mode << ", " << n << " x " << m;
                }
                EXPECT_TRUE(X.size() == Y.size() && (X == Y).min() && out[0] == out[1]) << "the flag changes nothing";
                EXPECT_TRUE(mode == 1 ? out[0].rfind("Iteration #: 000\t\t", 0) == 0 : out[0].empty()) << out[0];
            }
        }
    }
}
