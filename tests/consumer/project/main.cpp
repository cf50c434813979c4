// Uses the installed library through its public headers only: both entry points and a
// search driven by hand. Exits nonzero when a result is wrong.
#include <olhs/olhs.h>

#include <cmath>
#include <cstdio>
#include <valarray>
#include <vector>

namespace {

int failures = 0;

void expect(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "consumer: FAILED: %s\n", what);
        ++failures;
    }
}

// Every column holds each level 1..n once and column 0 holds them in point order; the
// scaled output of the entry point is first turned back into levels.
bool isLatin(const std::vector<std::vector<double> >& rows, int n, int m) {
    if (static_cast<int>(rows.size()) != n) return false;
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; i < n; ++i) {
            const double level = rows[i][j];
            if (level != std::floor(level) || level < 1 || level > n || seen[static_cast<std::size_t>(level)]++ ||
                (j == 0 && level != i + 1))
                return false;
        }
    }
    return true;
}

bool isScaledLatin(const std::valarray<double>& X, int n, int m) {
    if (X.size() != static_cast<std::size_t>(n * m)) return false;
    std::vector<std::vector<double> > rows(static_cast<std::size_t>(n), std::vector<double>(m));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < m; ++j) rows[i][j] = X[static_cast<std::size_t>(i * m + j)] * (n - 1) + 1;
    for (auto& row : rows)
        for (double& v : row) v = std::fabs(v - std::round(v)) < 1e-9 ? std::round(v) : 0.5;
    return isLatin(rows, n, m);
}

} // namespace

int main() {
    CRand::seed(20240601u);
    std::valarray<double> X;
    OptimalLatinHypercubeDOE(true, 1, 3, 10, X);
    expect(isScaledLatin(X, 10, 3), "mode 1 with flag: 10 x 3 Latin hypercube in [0, 1]");
    std::valarray<double> Y(7.0, 5);
    OptimalLatinHypercubeDOE(0, 4, 6, Y);
    expect(isScaledLatin(Y, 6, 4), "mode 0 into an array of the wrong size: 6 x 4 Latin hypercube");
    std::valarray<double> Z(1.0, 3);
    OptimalLatinHypercubeDOE(1, 3, 1, Z);
    expect(Z.size() == 0, "n = 1 is refused with an empty result");

    OptimalLH start(12, 3, 1);
    expect(start.getPHICflag() == 1, "OptimalLH(n, m, flag) stores the flag");
    StoppingCriteria rules;
    rules.setMaxIterations(300);
    rules.setStallIterLimit(30);
    SimpleESEA search(start, rules);
    search.run();
    OptimalLH best = search.getXbest();
    std::vector<std::vector<double> > rows;
    for (const auto& row : best.getLH()) rows.emplace_back(std::begin(row), std::end(row));
    expect(best.getNDV() == 3 && isLatin(rows, 12, 3), "the best design is a 12 x 3 Latin hypercube, column 0 kept");
    expect(best.getOptCrt() <= start.getOptCrt(), "the best design is no worse than the start");
    const double full = PHIpCriterion(best).getPHIp();
    expect(std::fabs(full - best.getOptCrt()) <= 1e-9 * full, "the best design's criterion matches a recomputation");
    if (failures == 0) std::printf("consumer: all checks passed (phi_p %.6g -> %.6g)\n", start.getOptCrt(), full);
    return failures == 0 ? 0 : 1;
}
