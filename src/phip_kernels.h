#ifndef OLHS_SRC_PHIP_KERNELS_H
#define OLHS_SRC_PHIP_KERNELS_H

#include <cmath>
#include <cstddef>
#include <valarray>
#include <vector>

namespace olhs {
namespace detail {

using Matrix = std::vector<std::valarray<double> >;

/// The state of a criterion the kernels work on, by reference.
struct PhipState {
    Matrix& D;
    double& phip;
    double p;
    double t;
    int n;
};

/// x^t and x^(1/t) as the criterion defines them. The exponent is 1 in practice, where
/// pow returns x itself; skipping the call then changes no bit.
inline double powT(double x, double t) { return t == 1.0 ? x : std::pow(x, t); }
inline double rootT(double x, double t) { return t == 1.0 ? x : std::pow(x, 1.0 / t); }

/// d^-p, the term one pair contributes to the criterion's sum. Distances between levels
/// are whole numbers, so the terms of whole d are kept in a table (per thread) filled by
/// the very pow calls they replace: the values are the same bits, at a fraction of the cost.
struct PowerTable {
    double p;
    std::vector<double> values; // values[d] = pow(d, -p)
};

class InversePowers {
public:
    explicit InversePowers(double p);

    double operator()(double d) const {
        const std::vector<double>& values = table_->values;
        if (d >= 0.0 && d < static_cast<double>(values.size())) {
            const std::size_t whole = static_cast<std::size_t>(d);
            if (static_cast<double>(whole) == d) {
                return values[whole];
            }
        }
        return beyondTable(d);
    }

private:
    double beyondTable(double d) const;

    PowerTable* table_;
};

/// One term, for callers outside a loop.
inline double inversePower(double d, double p) { return InversePowers(p)(d); }

/// The t-norm distance between two points over their first m variables.
double distance(const std::valarray<double>& x, const std::valarray<double>& y, int m, double t);

/// Every distance and phi_p from scratch.
void computeAll(PhipState s, const Matrix& levels, int m);

/// New distances a-k and b-k when points a and b exchange their levels in one column,
/// from the levels of a, b and k in that column and the old distances.
inline void exchangedDistances(double xa, double xb, double xk, double oldA, double oldB, double t,
                               double& newA, double& newB) {
    const double delta = powT(std::fabs(xb - xk), t) - powT(std::fabs(xa - xk), t);
    newA = rootT(powT(oldA, t) + delta, t);
    newB = rootT(powT(oldB, t) - delta, t);
}

/// Updates rows and columns a and b of D for the exchange; the levels are those before it.
void updateDistances(PhipState s, const Matrix& levels, int c, int a, int b);

/// phi_p re-summed over the upper triangle of D.
double resummedPhip(const Matrix& D, int n, double p);

/// Exchanges in column c of the levels of points a and b with the criterion kept current:
/// mode 1 incremental, mode 2 re-summed, any other only the distances.
void updateForExchange(PhipState s, const Matrix& levels, int c, int a, int b, int mode);

/// The phi_p value mode 1 would give after the exchange, without changing anything:
/// the same operations in the same order, so the same bits.
double phipAfterExchange(const Matrix& D, double phip, double p, double t, int n, const Matrix& levels,
                         int c, int a, int b);

} // namespace detail
} // namespace olhs

#endif
