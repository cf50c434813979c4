#ifndef OLHS_SRC_CRITERION_ACCESS_H
#define OLHS_SRC_CRITERION_ACCESS_H

#include "olhs/PHIpCriterion.h"
#include "phip_kernels.h"

namespace olhs {
namespace detail {

/// Lets the kernels work on a criterion in place.
struct PHIpCriterionAccess {
    static PhipState state(PHIpCriterion& c) { return PhipState{c.D, c.PHIp, c.p, c.t, c.nPoints}; }
    static const Matrix& distances(const PHIpCriterion& c) { return c.D; }
};

} // namespace detail
} // namespace olhs

#endif
