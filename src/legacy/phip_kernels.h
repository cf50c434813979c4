#ifndef OLHS_SRC_PHIP_KERNELS_H
#define OLHS_SRC_PHIP_KERNELS_H

// The criterion's arithmetic as the public classes define it, term by term and in their
// order: the reference every faster path is checked against, bit for bit. Written once
// over two stores of distances: the packed triangle the classes keep, and a plain matrix.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <valarray>
#include <vector>

#include "engine/power_table.h"

namespace olhs {
namespace detail {

using Matrix = std::vector<std::valarray<double> >;

/// Index of entry (i, j), i < j, in the upper triangle of n points packed row by row.
inline std::size_t packedIndex(int i, int j, int n) {
    return static_cast<std::size_t>(i) * (2 * static_cast<std::size_t>(n) - i - 1) / 2 + (j - i - 1);
}

/// A view of a symmetric distance matrix with zero diagonal, kept as its packed upper
/// triangle: half the memory, and one write serves both (i, j) and (j, i).
class PackedDistances {
public:
    PackedDistances(double* data, int n) : data_(data), n_(n) {}
    double operator()(int i, int j) const {
        if (i == j) {
            return 0.0;
        }
        return i < j ? data_[packedIndex(i, j, n_)] : data_[packedIndex(j, i, n_)];
    }
    void set(int i, int j, double value) {
        if (i != j) {
            data_[i < j ? packedIndex(i, j, n_) : packedIndex(j, i, n_)] = value;
        }
    }

private:
    double* data_;
    int n_;
};

inline double at(const Matrix& D, int i, int j) { return D[i][j]; }
inline void setBoth(Matrix& D, int i, int j, double value) {
    D[i][j] = value;
    D[j][i] = value;
}
inline double at(const PackedDistances& D, int i, int j) { return D(i, j); }
inline void setBoth(PackedDistances& D, int i, int j, double value) { D.set(i, j, value); }

/// The state of a criterion the kernels work on: its distances (a Matrix& or a
/// PackedDistances), its value by reference, its exponents, point count and terms.
template <class Distances>
struct PhipState {
    Distances D;
    double& phip;
    double p;
    double t;
    int n;
    const engine::PowerTable& terms;
};

/// x^t and x^(1/t) as the criterion defines them. The exponent is 1 in practice, where
/// pow returns x itself; skipping the call then changes no bit.
inline double powT(double x, double t) { return t == 1.0 ? x : std::pow(x, t); }
inline double rootT(double x, double t) { return t == 1.0 ? x : std::pow(x, 1.0 / t); }

/// The t-norm distance between two points over their first m variables.
inline double distance(const std::valarray<double>& x, const std::valarray<double>& y, int m, double t) {
    double sum = 0.0;
    for (int k = 0; k < m; ++k) {
        sum += powT(std::fabs(x[k] - y[k]), t);
    }
    return rootT(sum, t);
}

/// Every distance and phi_p from scratch.
template <class Distances>
void computeAll(PhipState<Distances> s, const Matrix& levels, int m) {
    s.phip = 0.0;
    for (int i = 0; i < s.n; ++i) {
        for (int j = i + 1; j < s.n; ++j) {
            const double d = distance(levels[i], levels[j], m, s.t);
            setBoth(s.D, i, j, d);
            s.phip = s.terms.term(d) + s.phip;
        }
    }
    s.phip = std::pow(s.phip, 1.0 / s.p);
}

/// New distances a-k and b-k when points a and b exchange their levels in one column,
/// from the levels of a, b and k in that column and the old distances.
inline void exchangedDistances(double xa, double xb, double xk, double oldA, double oldB, double t,
                               double& newA, double& newB) {
    const double delta = powT(std::fabs(xb - xk), t) - powT(std::fabs(xa - xk), t);
    newA = rootT(powT(oldA, t) + delta, t);
    newB = rootT(powT(oldB, t) - delta, t);
}

/// Updates rows and columns a and b of D for the exchange; the levels are those before it.
template <class Distances>
void updateDistances(PhipState<Distances> s, const Matrix& levels, int c, int a, int b) {
    const double xa = levels[a][c];
    const double xb = levels[b][c];
    for (int k = 0; k < s.n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        double newA = 0.0;
        double newB = 0.0;
        exchangedDistances(xa, xb, levels[k][c], at(s.D, a, k), at(s.D, b, k), s.t, newA, newB);
        setBoth(s.D, a, k, newA);
        setBoth(s.D, b, k, newB);
    }
}

/// phi_p re-summed over the upper triangle of D.
template <class Distances>
double resummedPhip(const Distances& D, int n, const engine::PowerTable& terms) {
    double sum = 0.0;
    for (int i = 0; i < n - 1; ++i) {
        for (int j = i + 1; j < n; ++j) {
            sum = terms.term(at(D, i, j)) + sum;
        }
    }
    return std::pow(sum, 1.0 / terms.p());
}

/// The phi_p value mode 1 would give after the exchange, without changing anything.
template <class Distances>
double phipAfterExchange(const Distances& D, double phip, double t, int n, const engine::PowerTable& terms,
                         const Matrix& levels, int c, int a, int b) {
    const double p = terms.p();
    const double xa = levels[a][c];
    const double xb = levels[b][c];
    double added = 0.0;
    double removed = 0.0;
    for (int k = 0; k < n; ++k) {
        if (k == a || k == b) {
            continue;
        }
        const double oldA = at(D, a, k);
        const double oldB = at(D, b, k);
        double newA = 0.0;
        double newB = 0.0;
        exchangedDistances(xa, xb, levels[k][c], oldA, oldB, t, newA, newB);
        added = (added + terms.term(newA)) + terms.term(newB);
        removed = (removed + terms.term(oldA)) + terms.term(oldB);
    }
    return std::pow((std::pow(phip, p) + added) - removed, 1.0 / p);
}

/// Exchanges in column c of the levels of points a and b with the criterion kept current:
/// mode 1 incremental, mode 2 re-summed, any other only the distances.
template <class Distances>
void updateForExchange(PhipState<Distances> s, const Matrix& levels, int c, int a, int b, int mode) {
    // The incremental value needs the old distances, so it is taken before they change; it
    // is the value a candidate is judged by, so judging and moving can never disagree.
    const double incremental =
        mode == 1 ? phipAfterExchange(s.D, s.phip, s.t, s.n, s.terms, levels, c, a, b) : s.phip;
    updateDistances(s, levels, c, a, b);
    if (mode == 1) {
        s.phip = incremental;
    } else if (mode == 2) {
        s.phip = resummedPhip(s.D, s.n, s.terms);
    }
}

} // namespace detail
} // namespace olhs

#endif
