// Cost of the criterion's full computation, of one incremental exchange and of judging
// one candidate exchange without applying it.
#include <benchmark/benchmark.h>

#include "criterion_access.h"
#include "design_access.h"
#include "olhs/olhs.h"
#include "optimal_access.h"

namespace {

constexpr int kVariables = 5;

void BM_FullCriterion(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    CRand::seed(1);
    LatinHypercube design(n, kVariables);
    for (auto _ : state) {
        PHIpCriterion criterion(design);
        benchmark::DoNotOptimize(criterion.getPHIp());
    }
}
BENCHMARK(BM_FullCriterion)->Arg(20)->Arg(50)->Arg(100)->Arg(200);

void BM_IncrementalExchange(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    CRand::seed(2);
    OptimalLH design(n, kVariables, 1);
    int a = 0;
    for (auto _ : state) {
        a = (a + 7) % n;
        design.exchangeElements(1 + a % (kVariables - 1), a, (a + 3) % n);
        benchmark::DoNotOptimize(design.getOptCrt());
    }
}
BENCHMARK(BM_IncrementalExchange)->Arg(20)->Arg(50)->Arg(100)->Arg(200);

void BM_JudgeCandidate(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    CRand::seed(3);
    OptimalLH design(n, kVariables, 1);
    PHIpCriterion& criterion = olhs::detail::OptimalLHAccess::criterion(design);
    const auto s = olhs::detail::PHIpCriterionAccess::state(criterion);
    const olhs::detail::Matrix& levels = olhs::detail::LatinHypercubeAccess::levels(design);
    int a = 0;
    for (auto _ : state) {
        a = (a + 7) % n;
        benchmark::DoNotOptimize(
            olhs::detail::phipAfterExchange(s.D, s.phip, s.t, s.n, s.terms, levels, 1, a, (a + 3) % n));
    }
}
BENCHMARK(BM_JudgeCandidate)->Arg(20)->Arg(50)->Arg(100)->Arg(200);

} // namespace
