// MaxPro and the centred L2 discrepancy, kept through exchanges, against their textbook
// formulas on the points (k - 0.5) / n.
#include <cmath>
#include <cstring>
#include <random>
#include <tuple>

#include <gtest/gtest.h>

#include "engine/multistart.h"
#include "engine/product_criterion.h"

namespace {

using namespace olhs::engine;

double coordinate(const Levels& levels, int i, int c) { return (levels(i, c) - 0.5) / levels.points(); }

double maxPro(const Levels& x) {
    const int n = x.points(), m = x.variables();
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j) {
            double product = 1.0;
            for (int c = 0; c < m; ++c) product *= std::pow(coordinate(x, i, c) - coordinate(x, j, c), 2);
            sum += 1.0 / product;
        }
    return std::pow(sum / (0.5 * n * (n - 1.0)), 1.0 / m);
}

// In extended precision: the square is a small difference of sums near (13/12)^m, which
// doubles would leave uncertain beyond the 1e-12 the kept value is held to.
double centredL2(const Levels& x) {
    const int n = x.points(), m = x.variables();
    long double singles = 0.0L, pairs = 0.0L;
    for (int i = 0; i < n; ++i) {
        double single = 1.0;
        for (int c = 0; c < m; ++c) {
            const double z = std::fabs(coordinate(x, i, c) - 0.5);
            single *= 1.0 + 0.5 * z - 0.5 * z * z;
        }
        singles += single;
        for (int j = 0; j < n; ++j) {
            double pair = 1.0;
            for (int c = 0; c < m; ++c) {
                const double u = coordinate(x, i, c), v = coordinate(x, j, c);
                pair *= 1.0 + 0.5 * std::fabs(u - 0.5) + 0.5 * std::fabs(v - 0.5) - 0.5 * std::fabs(u - v);
            }
            pairs += pair;
        }
    }
    return static_cast<double>(
        std::sqrt(std::pow(13.0L / 12.0L, m) - 2.0L / n * singles + pairs / (static_cast<long double>(n) * n)));
}

class ProductCriterionTest : public testing::TestWithParam<std::tuple<ProductKind, int, int>> {};

TEST_P(ProductCriterionTest, KeptValuesFollowTheFullFormulaThroughExchanges) {
    const auto [kind, n, m] = GetParam();
    const auto reference = [kind = kind](const Levels& x) { return kind == ProductKind::MaxPro ? maxPro(x) : centredL2(x); };
    RandomStream stream(static_cast<std::uint64_t>(n * 31 + m));
    ProductCriterion kept(randomLatin(n, m, stream), kind);
    EXPECT_NEAR(kept.value(), reference(kept.levels()), 1e-12 * reference(kept.levels()));
    std::mt19937_64 rng(7);
    for (int step = 0; step < 400; ++step) {
        const int c = static_cast<int>(rng() % m), a = static_cast<int>(rng() % n);
        const int b = (a + 1 + static_cast<int>(rng() % (n - 1))) % n;
        const double judged = kept.judge(c, a, b);
        kept.exchange(c, a, b);
        kept.resum();
        const double full = reference(kept.levels());
        ASSERT_NEAR(judged, full, 1e-12 * full) << "step " << step;
        ASSERT_NEAR(kept.value(), full, 1e-12 * full) << "step " << step;
    }
}

INSTANTIATE_TEST_SUITE_P(Designs, ProductCriterionTest,
                         testing::Combine(testing::Values(ProductKind::MaxPro, ProductKind::Discrepancy),
                                          testing::Values(3, 12, 50), testing::Values(2, 5)));

// The vector kernel against the portable loop, bit for bit, at sizes around its width.
TEST_P(ProductCriterionTest, EveryPathJudgesWithTheSameBits) {
    const auto [kind, n, m] = GetParam();
    RandomStream stream(static_cast<std::uint64_t>(n + m));
    const Levels start = randomLatin(n + 5, m, stream);
    ProductCriterion wide(start, kind, true), portable(start, kind, false);
    std::mt19937_64 rng(9);
    for (int step = 0; step < 200; ++step) {
        const int c = static_cast<int>(rng() % m), a = static_cast<int>(rng() % (n + 5));
        const int b = (a + 1 + static_cast<int>(rng() % (n + 4))) % (n + 5);
        const double judged = wide.judge(c, a, b), reference = portable.judge(c, a, b);
        ASSERT_EQ(std::memcmp(&judged, &reference, sizeof judged), 0) << "step " << step;
        wide.exchange(c, a, b);
        portable.exchange(c, a, b);
    }
}

} // namespace
