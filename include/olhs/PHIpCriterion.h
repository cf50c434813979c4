#ifndef OLHS_PHIPCRITERION_H
#define OLHS_PHIPCRITERION_H

#include <memory>
#include <valarray>
#include <vector>

#include "olhs/LatinHypercube.h"
#include "olhs/export.h"

namespace olhs {
namespace detail {
struct PHIpCriterionAccess;
}
namespace engine {
class PowerTable;
}
} // namespace olhs

/// The phi_p space-filling criterion of a design, (sum over pairs of d^-p)^(1/p), with the
/// matrix of inter-point t-norm distances it is computed from. Smaller is better.
class OLHS_API PHIpCriterion {
public:
    /// An empty criterion (no points), to be assigned over.
    PHIpCriterion();
    /// The criterion of the design, computed in full (p = 50, t = 1).
    PHIpCriterion(LatinHypercube design);

    /// The current phi_p value.
    double getPHIp();
    /// (sum of |x_k|^t)^(1/t).
    double normt(std::valarray<double> x, double t);
    /// Recomputes every distance and phi_p from the design.
    void update(LatinHypercube design);
    /// Brings the distances of points a and b up to date for the exchange of their levels
    /// in column c; the design is passed as it was before the exchange.
    void updateDmatrix(LatinHypercube design, int c, int a, int b);
    /// updateDmatrix, then phi_p: mode 1 incrementally, mode 2 re-summed from the
    /// distances, any other mode left as it was.
    void update(LatinHypercube design, int c, int a, int b, int mode);
    /// Console dump: mode 0 the distance matrix, mode 1 its entries column by column.
    void printMembers(int mode);
    /// Console dump with the distance matrix.
    void printMembers();

private:
    double PHIp;
    double p;
    double t;
    int nPoints;
    // The symmetric distance matrix as its packed upper triangle, shared by copies until
    // one of them changes it, so that passing criteria by value costs no O(n^2) copy.
    std::shared_ptr<std::vector<double> > D;
    // d^-p of whole distances, built once per design size and shared the same way.
    std::shared_ptr<const olhs::engine::PowerTable> terms;

    friend struct olhs::detail::PHIpCriterionAccess;
};

#endif
