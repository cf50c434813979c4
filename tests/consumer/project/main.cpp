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

// Each variable takes every value k/(n - 1), k = 0..n-1, exactly once, and variable 0 of
// point i is i/(n - 1).
bool isScaledLatin(const std::valarray<double>& X, int n, int m) {
    if (X.size() != static_cast<std::size_t>(n) * static_cast<std::size_t>(m)) {
        return false;
    }
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n), 0);
        for (int i = 0; i < n; ++i) {
            const double level = X[static_cast<std::size_t>(i * m + j)] * (n - 1);
            const long k = std::lround(level);
            if (k < 0 || k >= n || std::fabs(level - static_cast<double>(k)) > 1e-9 ||
                seen[static_cast<std::size_t>(k)]++ != 0) {
                return false;
            }
        }
    }
    for (int i = 0; i < n; ++i) {
        if (X[static_cast<std::size_t>(i * m)] != static_cast<double>(i) / (n - 1)) {
            return false;
        }
    }
    return true;
}

// Every column of the design is a permutation of the levels 1..n.
bool isLatin(LatinHypercube design) {
    const int n = design.getNPoints();
    const int m = design.getNDV();
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n), 0);
        for (double level : design.getColumn(j)) {
            const long k = std::lround(level);
            if (k < 1 || k > n || level != static_cast<double>(k) || seen[static_cast<std::size_t>(k - 1)]++ != 0) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

int main() {
    CRand::seed(20240601u);

    // Optimised design, generator flag given.
    std::valarray<double> X;
    OptimalLatinHypercubeDOE(true, 1, 3, 10, X);
    expect(isScaledLatin(X, 10, 3), "mode 1 with flag: 10 x 3 Latin hypercube in [0, 1]");

    // Random design, flagless overload, into an array of the wrong size.
    std::valarray<double> Y(7.0, 5);
    OptimalLatinHypercubeDOE(0, 4, 6, Y);
    expect(isScaledLatin(Y, 6, 4), "mode 0: 6 x 4 Latin hypercube in [0, 1]");

    // One point is refused and leaves the array empty.
    std::valarray<double> Z(1.0, 3);
    OptimalLatinHypercubeDOE(1, 3, 1, Z);
    expect(Z.size() == 0, "n = 1 is refused with an empty result");

    // The search driven by hand, with limits of our own.
    OptimalLH start(12, 3, 1);
    expect(start.getPHICflag() == 1, "OptimalLH(n, m, flag) stores the flag");
    const double startValue = start.getOptCrt();
    StoppingCriteria rules;
    rules.setMaxIterations(300);
    rules.setStallIterLimit(30);
    SimpleESEA search(start, rules);
    search.run();
    OptimalLH best = search.getXbest();
    expect(best.getNPoints() == 12 && best.getNDV() == 3, "best design keeps n and m");
    expect(isLatin(best), "best design is a Latin hypercube");
    bool firstColumnKept = true;
    for (int i = 0; i < 12; ++i) {
        firstColumnKept = firstColumnKept && best.getElement(i, 0) == i + 1;
    }
    expect(firstColumnKept, "the search leaves variable 0 as 1..n");
    expect(best.getOptCrt() <= startValue, "the best design is no worse than the start");
    PHIpCriterion fresh(best);
    expect(std::fabs(fresh.getPHIp() - best.getOptCrt()) <= 1e-9 * fresh.getPHIp(),
           "the best design's criterion matches a full recomputation");

    if (failures == 0) {
        std::printf("consumer: all checks passed (phi_p %.6g -> %.6g)\n", startValue, best.getOptCrt());
    }
    return failures == 0 ? 0 : 1;
}
