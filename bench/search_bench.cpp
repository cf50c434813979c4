// Whole searches: the entry point's fixed settings, and a fixed number of outer
// iterations so that sizes compare at equal work.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <valarray>

#include <fcntl.h>
#include <unistd.h>

#include "olhs/olhs.h"

namespace {

// The search prints progress lines on standard output; keep them out of the report.
class SilencedStdout {
public:
    SilencedStdout() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    ~SilencedStdout() {
        std::fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
    }
    SilencedStdout(const SilencedStdout&) = delete;
    SilencedStdout& operator=(const SilencedStdout&) = delete;

private:
    int saved_;
};

void BM_EntryPoint(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const int m = static_cast<int>(state.range(1));
    std::valarray<double> X;
    const SilencedStdout quiet;
    for (auto _ : state) {
        CRand::seed(4);
        OptimalLatinHypercubeDOE(1, m, n, X);
        benchmark::DoNotOptimize(X[0]);
    }
}
BENCHMARK(BM_EntryPoint)->Args({10, 3})->Args({30, 4})->Unit(benchmark::kMillisecond);

void BM_FixedSearch(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const int m = static_cast<int>(state.range(1));
    const SilencedStdout quiet;
    for (auto _ : state) {
        CRand::seed(5);
        OptimalLH start(n, m, 1);
        // 50 outer iterations exactly: no stall rule, no convergence threshold.
        StoppingCriteria criteria(50, 0, 1000000, 1.7e+308, 1.7e+308, 0.0);
        SimpleESEA search(start, criteria);
        search.run();
        benchmark::DoNotOptimize(search.getXbest().getOptCrt());
    }
}
BENCHMARK(BM_FixedSearch)->Args({50, 5})->Args({100, 10})->Args({200, 10})->Unit(benchmark::kMillisecond);

} // namespace
