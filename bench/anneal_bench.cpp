// The annealer's proposals: the judging passes alone, and whole stages of an anneal.
#include <benchmark/benchmark.h>

#include "engine/anneal.h"
#include "engine/multistart.h"

namespace {

using olhs::engine::AnnealSettings;
using olhs::engine::Annealer;
using olhs::engine::RandomStream;

// Proposals of annealing a random n x m design (state.range(2): 1 city-block, 2 squared
// Euclidean), counted per second.
void annealStages(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const int m = static_cast<int>(state.range(1));
    AnnealSettings settings;
    settings.exponent = static_cast<int>(state.range(2));
    settings.q = settings.exponent == 2 ? 25 : 50;
    settings.proposalsPerAnneal = 200L * 1000;
    settings.patience = 1 << 30; // no new chains: stages only
    RandomStream stream(7);
    Annealer annealer(settings, olhs::engine::randomLatin(n, m, stream), stream);
    annealer.stage();
    const long before = annealer.proposals();
    for (auto _ : state) {
        annealer.stage();
    }
    state.counters["proposals/s"] =
        benchmark::Counter(static_cast<double>(annealer.proposals() - before), benchmark::Counter::kIsRate);
}
BENCHMARK(annealStages)->Args({100, 10, 2})->Args({100, 10, 1})->Args({500, 20, 2})->Args({500, 20, 1});

} // namespace
