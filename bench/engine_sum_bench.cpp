// One exchange and one re-sum of the criterion's terms: the plain loop against the exact
// incremental one, on a Latin hypercube of 10 variables with city-block distances.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

#include "engine/exact_sum.h"

namespace {

constexpr int kEngineVariables = 10;

struct Hypercube {
    int n;
    std::vector<int> x; // n x kEngineVariables levels
    std::vector<std::uint16_t> D;
    std::vector<double> table;
    std::mt19937_64 rng{7};

    explicit Hypercube(int n_) : n(n_), x(static_cast<std::size_t>(n_) * kEngineVariables), D(static_cast<std::size_t>(n_) * n_) {
        std::vector<int> col(n);
        for (int c = 0; c < kEngineVariables; ++c) {
            std::iota(col.begin(), col.end(), 1);
            std::shuffle(col.begin(), col.end(), rng);
            for (int i = 0; i < n; ++i) x[static_cast<std::size_t>(i) * kEngineVariables + c] = col[i];
        }
        for (int i = 0; i < n; ++i) rows(i);
        table.resize(static_cast<std::size_t>(kEngineVariables) * n + 1);
        for (std::size_t d = 0; d < table.size(); ++d) table[d] = std::pow(static_cast<double>(d), -50.0);
    }
    void rows(int a) {
        const int* xa = &x[static_cast<std::size_t>(a) * kEngineVariables];
        for (int k = 0; k < n; ++k) {
            const int* xk = &x[static_cast<std::size_t>(k) * kEngineVariables];
            int d = 0;
            for (int c = 0; c < kEngineVariables; ++c) d += std::abs(xa[c] - xk[c]);
            D[static_cast<std::size_t>(a) * n + k] = D[static_cast<std::size_t>(k) * n + a] = static_cast<std::uint16_t>(d);
        }
    }
    // Two distinct points and a column, at random.
    void pick(int& a, int& b, int& c) {
        a = static_cast<int>(rng() % n);
        b = static_cast<int>((a + 1 + rng() % (n - 1)) % n);
        c = static_cast<int>(rng() % kEngineVariables);
    }
    void exchange(int a, int b, int c) {
        std::swap(x[static_cast<std::size_t>(a) * kEngineVariables + c], x[static_cast<std::size_t>(b) * kEngineVariables + c]);
        rows(a);
        rows(b);
    }
};

void BM_PlainExchangeAndSum(benchmark::State& state) {
    Hypercube h(static_cast<int>(state.range(0)));
    int a, b, c;
    for (auto _ : state) {
        h.pick(a, b, c);
        h.exchange(a, b, c);
        benchmark::DoNotOptimize(olhs::engine::plainSum(h.table, h.D.data(), h.n));
    }
}
BENCHMARK(BM_PlainExchangeAndSum)->Arg(100)->Arg(500)->Arg(2000);

void BM_ExactExchangeAndSum(benchmark::State& state) {
    Hypercube h(static_cast<int>(state.range(0)));
    olhs::engine::ExactRowSums<std::uint16_t> sums(h.table);
    sums.reset(h.D.data(), h.n);
    benchmark::DoNotOptimize(sums.sum(h.D.data(), h.n));
    int a, b, c;
    for (auto _ : state) {
        h.pick(a, b, c);
        sums.beginChange(h.D.data(), h.n, a, b);
        h.exchange(a, b, c);
        sums.endChange(h.D.data(), h.n, a, b);
        benchmark::DoNotOptimize(sums.sum(h.D.data(), h.n));
    }
}
BENCHMARK(BM_ExactExchangeAndSum)->Arg(100)->Arg(500)->Arg(2000);

// The exchange alone, which both of the above pay.
void BM_ExchangeOnly(benchmark::State& state) {
    Hypercube h(static_cast<int>(state.range(0)));
    int a, b, c;
    for (auto _ : state) {
        h.pick(a, b, c);
        h.exchange(a, b, c);
        benchmark::DoNotOptimize(h.D.data());
    }
}
BENCHMARK(BM_ExchangeOnly)->Arg(100)->Arg(500)->Arg(2000);

} // namespace
