#ifndef OLHS_SRC_CRITERION_ACCESS_H
#define OLHS_SRC_CRITERION_ACCESS_H

#include <memory>
#include <vector>

#include "olhs/PHIpCriterion.h"
#include "phip_kernels.h"

namespace olhs {
namespace detail {

/// Lets the kernels, the search and the tests work on a criterion in place.
struct PHIpCriterionAccess {
    /// The state the kernels change; the distances are unshared first.
    static PhipState<PackedDistances> state(PHIpCriterion& c);
    /// Read-only view of the distances.
    static PackedDistances view(const PHIpCriterion& c);
    /// The distances as a full matrix (a copy), as the criterion once held them.
    static Matrix distances(const PHIpCriterion& c);
    static double value(const PHIpCriterion& c) { return c.PHIp; }
    static double exponent(const PHIpCriterion& c) { return c.p; }
    static double normExponent(const PHIpCriterion& c) { return c.t; }
    static int points(const PHIpCriterion& c) { return c.nPoints; }
    static void setValue(PHIpCriterion& c, double phip) { c.PHIp = phip; }
    /// The criterion's term table (made on first use for an empty criterion).
    static const engine::PowerTable& terms(PHIpCriterion& c);
    static const std::shared_ptr<const engine::PowerTable>& sharedTerms(const PHIpCriterion& c) { return c.terms; }
    /// A table of d^-p for designs of n points in m variables.
    static std::shared_ptr<const engine::PowerTable> tableFor(double p, int n, int m);
    /// Makes the criterion that of n points with these packed distances and value.
    static void assign(PHIpCriterion& c, int n, double phip, std::vector<double> packed,
                       std::shared_ptr<const engine::PowerTable> table);

private:
    static double* mutableDistances(PHIpCriterion& c);
};

} // namespace detail
} // namespace olhs

#endif
