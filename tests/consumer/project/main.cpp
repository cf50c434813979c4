// Uses the installed library through its public headers only: both entry points and a
// search driven by hand. Exits nonzero when a result is wrong.
#include <olhs/olhs.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <valarray>
#include <vector>

namespace {

int failures = 0;

void expect(bool ok, const char* what) {
    if (!ok) std::fprintf(stderr, "consumer: FAILED: %s\n", what), ++failures;
}

// Whether every column of the n x m levels holds each whole level 1..n once.
bool isLatin(int n, int m, const std::function<double(int, int)>& level) {
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; i < n; ++i) {
            const double v = level(i, j);
            if (std::fabs(v - std::round(v)) > 1e-9 || v < 0.5 || v > n + 0.5 || seen[std::lround(v)]++) return false;
        }
    }
    return true;
}

} // namespace

int main() {
    CRand::seed(20240601u);
    std::valarray<double> X, Y(7.0, 5);
    OptimalLatinHypercubeDOE(true, 1, 3, 10, X);
    expect(X.size() == 30 && isLatin(10, 3, [&](int i, int j) { return X[i * 3 + j] * 9 + 1; }),
           "mode 1 with flag: 10 x 3 Latin hypercube in [0, 1]");
    OptimalLatinHypercubeDOE(0, 4, 6, Y);
    expect(Y.size() == 24 && isLatin(6, 4, [&](int i, int j) { return Y[i * 4 + j] * 5 + 1; }),
           "mode 0 into an array of the wrong size: 6 x 4 Latin hypercube");

    OptimalLH start(12, 3, 1);
    StoppingCriteria rules;
    rules.setMaxIterations(300);
    rules.setStallIterLimit(30);
    SimpleESEA search(start, rules);
    search.run();
    OptimalLH best = search.getXbest();
    const std::vector<std::valarray<double> > rows = best.getLH();
    expect(rows.size() == 12 && isLatin(12, 3, [&](int i, int j) { return rows[i][j]; }),
           "the best design is a 12 x 3 Latin hypercube");
    const double full = PHIpCriterion(best).getPHIp();
    expect(full <= start.getOptCrt() && std::fabs(full - best.getOptCrt()) <= 1e-9 * full,
           "the best design is no worse than the start, and its criterion matches a recomputation");
    if (failures == 0) std::printf("consumer: all checks passed (phi_p %.6g -> %.6g)\n", start.getOptCrt(), full);
    return failures == 0 ? 0 : 1;
}
