// The search's kernels at n = 100, 500 and 2000 (m = 10), fast against the reference
// arithmetic they reproduce: judging the J candidates of one inner iteration, and one
// accepted move (the exchange and the re-sum of phi_p).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "engine/ese.h"
#include "engine/fast_phip.h"
#include "engine/search_state.h"
#include "phip_kernels.h"

namespace {

using namespace olhs::engine;
using olhs::detail::Matrix;

constexpr int kVariables = 10;

Levels randomLatin(int n, int m, std::uint64_t seed) {
    std::mt19937_64 rng(seed);
    Levels levels(n, m);
    std::vector<int> column(static_cast<std::size_t>(n));
    for (int c = 0; c < m; ++c) {
        for (int i = 0; i < n; ++i) column[i] = i + 1;
        if (c > 0) std::shuffle(column.begin(), column.end(), rng);
        for (int i = 0; i < n; ++i) levels.set(i, c, column[i]);
    }
    return levels;
}

struct Fixture {
    int n;
    Levels levels;
    std::shared_ptr<const PowerTable> table;
    Matrix rows, D;
    double phip = 0.0;
    std::vector<Pair> pairs;
    explicit Fixture(int points)
        : n(points),
          levels(randomLatin(points, kVariables, 1)),
          table(std::make_shared<const PowerTable>(50.0, maxMeasure(points, kVariables, 1))),
          rows(static_cast<std::size_t>(points), std::valarray<double>(kVariables)),
          D(static_cast<std::size_t>(points), std::valarray<double>(0.0, static_cast<std::size_t>(points))) {
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < kVariables; ++c) rows[i][c] = levels(i, c);
        olhs::detail::computeAll(olhs::detail::PhipState<Matrix&>{D, phip, 50.0, 1.0, n, *table}, rows, kVariables);
        RandomStream stream(2);
        drawDistinctPairs(stream, candidatesPerIteration(n), n, pairs);
    }
};

void BM_JudgeCandidatesFast(benchmark::State& state) {
    const Fixture f(static_cast<int>(state.range(0)));
    const FastPhip<std::uint16_t> x(f.levels, f.table);
    for (auto _ : state) benchmark::DoNotOptimize(x.best(1, f.pairs));
}
BENCHMARK(BM_JudgeCandidatesFast)->Arg(100)->Arg(500)->Arg(2000);

// Each way of bounding candidates this processor runs, the last ("exact") none: every
// candidate summed exactly.
void BM_JudgeCandidatesPath(benchmark::State& state) {
    const Fixture f(static_cast<int>(state.range(0)));
    detail::CityBlockRoughPath<std::uint16_t> paths[3];
    const int count = detail::availableCityBlockRoughSums(paths);
    const int path = static_cast<int>(state.range(1));
    if (path >= count) {
        state.SkipWithError("not on this processor");
        return;
    }
    state.SetLabel(paths[path].name);
    FastPhip<std::uint16_t> x(f.levels, f.table);
    x.setCityBlockBounds(paths[path]);
    for (auto _ : state) benchmark::DoNotOptimize(x.best(1, f.pairs));
}
BENCHMARK(BM_JudgeCandidatesPath)->ArgsProduct({{100, 500, 2000}, {0, 1, 2}});

void BM_JudgeCandidatesReference(benchmark::State& state) {
    const Fixture f(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        double best = 0.0;
        for (const Pair& p : f.pairs) {
            const double v =
                olhs::detail::phipAfterExchange(f.D, f.phip, 1.0, f.n, *f.table, f.rows, 1, p.a - 1, p.b - 1);
            best = std::min(best, v);
        }
        benchmark::DoNotOptimize(best);
    }
}
BENCHMARK(BM_JudgeCandidatesReference)->Arg(100)->Arg(500)->Arg(2000);

void BM_AcceptedMoveFast(benchmark::State& state) {
    const Fixture f(static_cast<int>(state.range(0)));
    FastPhip<std::uint16_t> x(f.levels, f.table);
    int k = 0;
    for (auto _ : state) {
        const Pair& p = f.pairs[static_cast<std::size_t>(k++ % f.pairs.size())];
        x.exchange(1 + k % (kVariables - 1), p.a - 1, p.b - 1);
        x.resum();
        benchmark::DoNotOptimize(x.phip());
    }
}
BENCHMARK(BM_AcceptedMoveFast)->Arg(100)->Arg(500)->Arg(2000);

void BM_AcceptedMoveReference(benchmark::State& state) {
    Fixture f(static_cast<int>(state.range(0)));
    int k = 0;
    for (auto _ : state) {
        const Pair& p = f.pairs[static_cast<std::size_t>(k++ % f.pairs.size())];
        const int c = 1 + k % (kVariables - 1);
        olhs::detail::updateDistances(olhs::detail::PhipState<Matrix&>{f.D, f.phip, 50.0, 1.0, f.n, *f.table}, f.rows,
                                      c, p.a - 1, p.b - 1);
        std::swap(f.rows[p.a - 1][c], f.rows[p.b - 1][c]);
        f.phip = olhs::detail::resummedPhip(f.D, f.n, *f.table);
        benchmark::DoNotOptimize(f.phip);
    }
}
BENCHMARK(BM_AcceptedMoveReference)->Arg(100)->Arg(500)->Arg(2000);

void BM_OuterIteration(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const Levels start = randomLatin(n, kVariables, 3);
    const auto table = std::make_shared<const PowerTable>(50.0, maxMeasure(n, kVariables, 1));
    RandomStream stream(4);
    FastPhip<std::uint16_t> current(start, table);
    const double phip = current.phip();
    Search<FastSearchState<std::uint16_t> > search(FastSearchState<std::uint16_t>(std::move(current), start, phip),
                                                   stream, 0.005 * phip);
    for (auto _ : state) benchmark::DoNotOptimize(search.outerIteration());
}
BENCHMARK(BM_OuterIteration)->Arg(100)->Arg(500)->Arg(2000)->Unit(benchmark::kMillisecond);

// One outer iteration at 500 x 20 under each measure, the Euclidean table being far larger
// than any cache.
template <class Dist, int Exponent>
void BM_OuterIteration500x20(benchmark::State& state) {
    constexpr int n = 500;
    constexpr int m = 20;
    const Levels start = randomLatin(n, m, 3);
    const auto table = std::make_shared<const PowerTable>(50.0, maxMeasure(n, m, Exponent), Exponent);
    RandomStream stream(4);
    FastPhip<Dist, Exponent> current(start, table);
    const double phip = current.phip();
    Search<FastSearchState<Dist, Exponent> > search(FastSearchState<Dist, Exponent>(std::move(current), start, phip),
                                                    stream, 0.005 * phip);
    for (auto _ : state) benchmark::DoNotOptimize(search.outerIteration());
}
BENCHMARK(BM_OuterIteration500x20<std::uint16_t, 1>)->Name("BM_OuterIteration500x20/cityblock")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OuterIteration500x20<std::uint32_t, 2>)->Name("BM_OuterIteration500x20/euclidean")->Unit(benchmark::kMillisecond);

} // namespace
