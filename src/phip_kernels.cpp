#include "phip_kernels.h"

#include <vector>

namespace olhs {
namespace detail {

double inversePower(double d, double p) { return std::pow(d, -p); }

double distance(const std::valarray<double>& x, const std::valarray<double>& y, int m, double t) {
    double sum = 0.0;
    for (int k = 0; k < m; ++k) {
        sum += powT(std::fabs(x[k] - y[k]), t);
    }
    return rootT(sum, t);
}

void computeAll(PhipState s, const Matrix& levels, int m) {
    s.phip = 0.0;
    for (int i = 0; i < s.n; ++i) {
        for (int j = i + 1; j < s.n; ++j) {
            const double d = distance(levels[i], levels[j], m, s.t);
            s.D[i][j] = d;
            s.D[j][i] = d;
            s.phip = inversePower(d, s.p) + s.phip;
        }
    }
    s.phip = std::pow(s.phip, 1.0 / s.p);
}

void updateDistances(PhipState s, const Matrix& levels, int c, int a, int b, double* oldA, double* oldB) {
    const double xa = levels[a][c];
    const double xb = levels[b][c];
    for (int k = 0; k < s.n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const double dak = s.D[a][k];
        const double dbk = s.D[b][k];
        double newA = 0.0;
        double newB = 0.0;
        exchangedDistances(xa, xb, levels[k][c], dak, dbk, s.t, newA, newB);
        s.D[a][k] = newA;
        s.D[k][a] = newA;
        s.D[b][k] = newB;
        s.D[k][b] = newB;
        if (oldA != nullptr) {
            oldA[k] = dak;
            oldB[k] = dbk;
        }
    }
}

double resummedPhip(const Matrix& D, int n, double p) {
    double sum = 0.0;
    for (int i = 0; i < n - 1; ++i) {
        for (int j = i + 1; j < n; ++j) {
            sum = inversePower(D[i][j], p) + sum;
        }
    }
    return std::pow(sum, 1.0 / p);
}

void updateForExchange(PhipState s, const Matrix& levels, int c, int a, int b, int mode) {
    if (mode != 1) {
        updateDistances(s, levels, c, a, b);
        if (mode == 2) {
            s.phip = resummedPhip(s.D, s.n, s.p);
        }
        return;
    }
    std::vector<double> oldA(static_cast<std::size_t>(s.n));
    std::vector<double> oldB(static_cast<std::size_t>(s.n));
    updateDistances(s, levels, c, a, b, oldA.data(), oldB.data());
    double added = 0.0;
    double removed = 0.0;
    for (int k = 0; k < s.n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        added = (added + inversePower(s.D[a][k], s.p)) + inversePower(s.D[b][k], s.p);
        removed = (removed + inversePower(oldA[k], s.p)) + inversePower(oldB[k], s.p);
    }
    s.phip = std::pow((std::pow(s.phip, s.p) + added) - removed, 1.0 / s.p);
}

double phipAfterExchange(const Matrix& D, double phip, double p, double t, int n, const Matrix& levels,
                         int c, int a, int b) {
    const double xa = levels[a][c];
    const double xb = levels[b][c];
    const std::valarray<double>& rowA = D[a];
    const std::valarray<double>& rowB = D[b];
    double added = 0.0;
    double removed = 0.0;
    for (int k = 0; k < n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        double newA = 0.0;
        double newB = 0.0;
        exchangedDistances(xa, xb, levels[k][c], rowA[k], rowB[k], t, newA, newB);
        added = (added + inversePower(newA, p)) + inversePower(newB, p);
        removed = (removed + inversePower(rowA[k], p)) + inversePower(rowB[k], p);
    }
    return std::pow((std::pow(phip, p) + added) - removed, 1.0 / p);
}

} // namespace detail
} // namespace olhs
