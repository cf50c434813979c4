#ifndef OLHS_OPTIMALLH_H
#define OLHS_OPTIMALLH_H

#include <string>

#include "olhs/LatinHypercube.h"
#include "olhs/PHIpCriterion.h"
#include "olhs/export.h"

namespace olhs {
namespace detail {
struct OptimalLHAccess;
}
} // namespace olhs

/// A Latin hypercube that carries its phi_p criterion and keeps it current through
/// exchanges. The flag selects how: 0 recomputes in full after the exchange, 1 updates
/// incrementally, 2 updates the distances and re-sums phi_p, any other value ignores
/// exchanges altogether.
class OLHS_API OptimalLH : public LatinHypercube {
public:
    /// An empty design with an empty criterion, to be assigned over.
    OptimalLH();
    /// A random design of n points in m variables, with its criterion.
    OptimalLH(int n, int m);
    OptimalLH(int n, int m, bool flag);
    OptimalLH(int n, int m, int PHICflag);
    OptimalLH(int n, int m, int PHICflag, bool flag);
    /// A copy of the given design, with its criterion.
    OptimalLH(LatinHypercube design);
    OptimalLH(LatinHypercube design, int PHICflag);

    /// Selects how the next exchanges update the criterion.
    void setPHICflag(int flag);
    int getPHICflag();
    /// Swaps the levels of points a and b in variable c and updates the criterion.
    void exchangeElements(int c, int a, int b);
    /// The design's phi_p value.
    double getPHIp();
    /// The optimality criterion: the phi_p value.
    double getOptCrt();
    /// Console dump of the design and its criterion between separator lines.
    void printMembers(int mode);
    void printMembers();
    /// File dump of the design; format 0 adds an empty line and the criterion.
    void fprintfReport(std::string fileName, int format);

private:
    OLHS_LOCAL void computeCriterion();

    int PHICflag;
    PHIpCriterion PHIC;

    friend struct olhs::detail::OptimalLHAccess;
};

#endif
