#include "phip_kernels.h"

#include <algorithm>
#include <forward_list>
#include <vector>

namespace olhs {
namespace detail {

namespace {

// Whole distances up to this bound are tabulated: m (n - 1) stays below it for any design
// a search can handle in reasonable time, and the table stays within 1 MiB.
constexpr std::size_t tableLimit = std::size_t{1} << 17;

// A table lives as long as its thread and is never emptied, so an InversePowers may keep
// pointing at it; growing it only appends values.
PowerTable& tableFor(double p) {
    thread_local std::forward_list<PowerTable> tables;
    for (PowerTable& table : tables) {
        if (table.p == p || (table.p != table.p && p != p)) { // NaN finds its own table once
            return table;
        }
    }
    tables.push_front(PowerTable{p, {}});
    return tables.front();
}

} // namespace

InversePowers::InversePowers(double p) : table_(&tableFor(p)) {}

double InversePowers::beyondTable(double d) const {
    std::vector<double>& values = table_->values;
    if (d >= 0.0 && d < static_cast<double>(tableLimit) && d == std::floor(d)) {
        const std::size_t wanted = static_cast<std::size_t>(d) + 1;
        const std::size_t grown = std::min(tableLimit, std::max(wanted, 2 * values.size()));
        values.reserve(grown);
        for (std::size_t k = values.size(); k < grown; ++k) {
            values.push_back(std::pow(static_cast<double>(k), -table_->p));
        }
        return values[wanted - 1];
    }
    return std::pow(d, -table_->p);
}

double distance(const std::valarray<double>& x, const std::valarray<double>& y, int m, double t) {
    double sum = 0.0;
    for (int k = 0; k < m; ++k) {
        sum += powT(std::fabs(x[k] - y[k]), t);
    }
    return rootT(sum, t);
}

void computeAll(PhipState s, const Matrix& levels, int m) {
    const InversePowers term(s.p);
    s.phip = 0.0;
    for (int i = 0; i < s.n; ++i) {
        for (int j = i + 1; j < s.n; ++j) {
            const double d = distance(levels[i], levels[j], m, s.t);
            s.D[i][j] = d;
            s.D[j][i] = d;
            s.phip = term(d) + s.phip;
        }
    }
    s.phip = std::pow(s.phip, 1.0 / s.p);
}

void updateDistances(PhipState s, const Matrix& levels, int c, int a, int b) {
    const double xa = levels[a][c];
    const double xb = levels[b][c];
    for (int k = 0; k < s.n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        double newA = 0.0;
        double newB = 0.0;
        exchangedDistances(xa, xb, levels[k][c], s.D[a][k], s.D[b][k], s.t, newA, newB);
        s.D[a][k] = newA;
        s.D[k][a] = newA;
        s.D[b][k] = newB;
        s.D[k][b] = newB;
    }
}

double resummedPhip(const Matrix& D, int n, double p) {
    const InversePowers term(p);
    double sum = 0.0;
    for (int i = 0; i < n - 1; ++i) {
        for (int j = i + 1; j < n; ++j) {
            sum = term(D[i][j]) + sum;
        }
    }
    return std::pow(sum, 1.0 / p);
}

void updateForExchange(PhipState s, const Matrix& levels, int c, int a, int b, int mode) {
    // The incremental value needs the old distances, so it is taken before they change; it
    // is the value a candidate is judged by, so judging and moving can never disagree.
    const double incremental = mode == 1 ? phipAfterExchange(s.D, s.phip, s.p, s.t, s.n, levels, c, a, b) : s.phip;
    updateDistances(s, levels, c, a, b);
    if (mode == 1) {
        s.phip = incremental;
    } else if (mode == 2) {
        s.phip = resummedPhip(s.D, s.n, s.p);
    }
}

double phipAfterExchange(const Matrix& D, double phip, double p, double t, int n, const Matrix& levels,
                         int c, int a, int b) {
    const double xa = levels[a][c];
    const double xb = levels[b][c];
    const std::valarray<double>& rowA = D[a];
    const std::valarray<double>& rowB = D[b];
    const InversePowers term(p);
    double added = 0.0;
    double removed = 0.0;
    for (int k = 0; k < n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        double newA = 0.0;
        double newB = 0.0;
        exchangedDistances(xa, xb, levels[k][c], rowA[k], rowB[k], t, newA, newB);
        added = (added + term(newA)) + term(newB);
        removed = (removed + term(rowA[k])) + term(rowB[k]);
    }
    return std::pow((std::pow(phip, p) + added) - removed, 1.0 / p);
}

} // namespace detail
} // namespace olhs
