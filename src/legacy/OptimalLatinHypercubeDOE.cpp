#include "olhs/OptimalLatinHypercubeDOE.h"

#include <cstddef>
#include <cstdio>

#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "report_file.h"

namespace {

const char* const signature =
    "void OptimalLatinHypercubeDOE(bool b_flag, int i_mode, int i_m, int i_n, std::valarray<double>& va_X)";

// Reports on standard error what is wrong with the arguments; true when they are usable.
bool argumentsAccepted(int mode, int m, int n) {
    const char* problem = nullptr;
    if (n < 2) {
        problem = "The number of points must be at least 2 (i_n = %d)\n";
    } else if (m < 1) {
        problem = "The number of design variables must be at least 1 (i_m = %d)\n";
    } else if (mode == 1 && m < 2) {
        problem = "The optimisation (i_mode = 1) needs at least 2 design variables (i_m = %d)\n";
    }
    if (problem == nullptr) {
        return true;
    }
    olhs::detail::reportMisuse(signature);
    std::fprintf(stderr, problem, n < 2 ? n : m);
    return false;
}

} // namespace

void OptimalLatinHypercubeDOE(bool flag, int mode, int m, int n, std::valarray<double>& X) {
    if (!argumentsAccepted(mode, m, n)) {
        X.resize(0);
        return;
    }
    const double divisor = n - 1;
    LatinHypercube design(n, m, flag);

    if (mode == 1) {
        OptimalLH start(design);
        start.setPHICflag(1);
        StoppingCriteria criteria;
        criteria.setMaxIterations(2000);
        criteria.setStallIterLimit(100);
        SimpleESEA search(start, criteria);
        search.run();
        design = search.getXbest();
    }

    X.resize(static_cast<std::size_t>(n) * static_cast<std::size_t>(m));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < m; ++j) {
            X[static_cast<std::size_t>(i) * m + j] = (design.getElement(i, j) - 1) / divisor;
        }
    }
}

void OptimalLatinHypercubeDOE(int mode, int m, int n, std::valarray<double>& X) {
    OptimalLatinHypercubeDOE(false, mode, m, n, X);
}
