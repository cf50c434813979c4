// Draws from the standard and the engine's 64-bit Mersenne Twister, and the search's list
// of 50 pairs from the engine's sampler and from the legacy one.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "engine/random_stream.h"
#include "engine/sampling.h"
#include "olhs/olhs.h"

namespace {

template <class Generator>
void drawOutputs(benchmark::State& state) {
    Generator generator(1);
    const std::int64_t draws = state.range(0);
    for (auto _ : state) {
        for (std::int64_t i = 0; i < draws; ++i) benchmark::DoNotOptimize(generator());
    }
    state.SetItemsProcessed(state.iterations() * draws);
}

void BM_StdMt19937_64(benchmark::State& state) { drawOutputs<std::mt19937_64>(state); }
BENCHMARK(BM_StdMt19937_64)->Arg(1024);

void BM_EngineMt19937_64(benchmark::State& state) { drawOutputs<olhs::engine::Mt19937_64>(state); }
BENCHMARK(BM_EngineMt19937_64)->Arg(1024);

void BM_RandomStreamNext(benchmark::State& state) {
    olhs::engine::RandomStream stream(1);
    const std::int64_t draws = state.range(0);
    for (auto _ : state) {
        for (std::int64_t i = 0; i < draws; ++i) benchmark::DoNotOptimize(stream.next());
    }
    state.SetItemsProcessed(state.iterations() * draws);
}
BENCHMARK(BM_RandomStreamNext)->Arg(1024);

constexpr int kPairs = 50;

void BM_EnginePairs(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    olhs::engine::RandomStream stream(1);
    std::vector<olhs::engine::Pair> pairs;
    for (auto _ : state) {
        olhs::engine::drawDistinctPairs(stream, kPairs, n, pairs);
        benchmark::DoNotOptimize(pairs.data());
    }
}
BENCHMARK(BM_EnginePairs)->Arg(100)->Arg(500)->Arg(2000);

void BM_LegacyPairs(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    CRand::seed(1);
    CombinatorialAnalysis<int> sampler;
    for (auto _ : state) {
        benchmark::DoNotOptimize(sampler.getVectorOfRandomCombination(kPairs, n, 2));
    }
}
BENCHMARK(BM_LegacyPairs)->Arg(100)->Arg(500)->Arg(2000);

} // namespace
