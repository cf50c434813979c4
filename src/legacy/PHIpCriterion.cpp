#include "olhs/PHIpCriterion.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "criterion_access.h"
#include "design_access.h"

using olhs::detail::LatinHypercubeAccess;
using olhs::detail::PHIpCriterionAccess;

PHIpCriterion::PHIpCriterion() : PHIp(0.0), p(50.0), t(1.0), nPoints(0) {}

PHIpCriterion::PHIpCriterion(LatinHypercube design)
    : PHIp(0.0), p(50.0), t(1.0), nPoints(design.getNPoints()) {
    const std::size_t n = static_cast<std::size_t>(std::max(nPoints, 0));
    D = std::make_shared<std::vector<double> >(n * (n > 0 ? n - 1 : 0) / 2, 0.0);
    terms = PHIpCriterionAccess::tableFor(p, nPoints, LatinHypercubeAccess::variables(design));
    update(design);
}

double PHIpCriterion::getPHIp() { return PHIp; }

double PHIpCriterion::normt(std::valarray<double> x, double t) {
    double sum = 0.0;
    for (std::size_t k = 0; k < x.size(); ++k) {
        sum += std::pow(std::fabs(x[k]), t);
    }
    return std::pow(sum, 1.0 / t);
}

void PHIpCriterion::update(LatinHypercube design) {
    auto s = PHIpCriterionAccess::state(*this);
    // A design with fewer points than the criterion was built for is not valid input;
    // reading only the points it has keeps it from reading past its rows.
    s.n = std::min(nPoints, LatinHypercubeAccess::points(design));
    olhs::detail::computeAll(s, LatinHypercubeAccess::levels(design), LatinHypercubeAccess::variables(design));
}

void PHIpCriterion::updateDmatrix(LatinHypercube design, int c, int a, int b) {
    olhs::detail::updateDistances(PHIpCriterionAccess::state(*this), LatinHypercubeAccess::levels(design), c, a,
                                  b);
}

void PHIpCriterion::update(LatinHypercube design, int c, int a, int b, int mode) {
    olhs::detail::updateForExchange(PHIpCriterionAccess::state(*this), LatinHypercubeAccess::levels(design), c,
                                    a, b, mode);
}

void PHIpCriterion::printMembers() { printMembers(0); }

void PHIpCriterion::printMembers(int mode) {
    std::printf("PHIp criterion = %14.6g\n", PHIp);
    std::printf("p = %14.6g\n", p);
    std::printf("t = %14.6g\n\n", t);
    const olhs::detail::PackedDistances distances = PHIpCriterionAccess::view(*this);
    if (mode == 0) {
        std::printf("* * * * * D matrix * * * * *\n");
        for (int i = 0; i < nPoints; ++i) {
            for (int j = 0; j < nPoints; ++j) {
                std::printf("%14.6g\t", distances(i, j));
            }
            std::printf("\n");
        }
    } else if (mode == 1) {
        for (int c = 0; c < nPoints; ++c) {
            for (int r = 0; r < nPoints; ++r) {
                std::printf("D[%d,%d] = %14.6g\n", r, c, distances(r, c));
            }
            std::printf("\n");
        }
    }
}

namespace olhs {
namespace detail {

std::shared_ptr<const engine::PowerTable> PHIpCriterionAccess::tableFor(double p, int n, int m) {
    return std::make_shared<const engine::PowerTable>(p, n > 1 && m > 0 ? static_cast<std::int64_t>(m) * (n - 1) : 0);
}

const engine::PowerTable& PHIpCriterionAccess::terms(PHIpCriterion& c) {
    if (!c.terms || c.terms->p() != c.p) {
        c.terms = tableFor(c.p, 0, 0);
    }
    return *c.terms;
}

double* PHIpCriterionAccess::mutableDistances(PHIpCriterion& c) {
    if (!c.D) {
        c.D = std::make_shared<std::vector<double> >();
    } else if (c.D.use_count() > 1) {
        c.D = std::make_shared<std::vector<double> >(*c.D);
    }
    return c.D->data();
}

PackedDistances PHIpCriterionAccess::view(const PHIpCriterion& c) {
    return PackedDistances(c.D ? c.D->data() : nullptr, c.nPoints);
}

PhipState<PackedDistances> PHIpCriterionAccess::state(PHIpCriterion& c) {
    const engine::PowerTable& table = terms(c);
    return PhipState<PackedDistances>{PackedDistances(mutableDistances(c), c.nPoints), c.PHIp, c.p, c.t,
                                      c.nPoints, table};
}

Matrix PHIpCriterionAccess::distances(const PHIpCriterion& c) {
    const int n = std::max(c.nPoints, 0);
    if (n == 0) {
        return Matrix(1, std::valarray<double>(0.0, 1));
    }
    Matrix D(static_cast<std::size_t>(n), std::valarray<double>(0.0, static_cast<std::size_t>(n)));
    const PackedDistances packed = view(c);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            D[i][j] = packed(i, j);
        }
    }
    return D;
}

void PHIpCriterionAccess::assign(PHIpCriterion& c, int n, double phip, std::vector<double> packed,
                                 std::shared_ptr<const engine::PowerTable> table) {
    c.nPoints = n;
    c.PHIp = phip;
    c.D = std::make_shared<std::vector<double> >(std::move(packed));
    c.terms = std::move(table);
}

} // namespace detail
} // namespace olhs
