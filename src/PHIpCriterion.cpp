#include "olhs/PHIpCriterion.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "criterion_access.h"
#include "design_access.h"

using olhs::detail::LatinHypercubeAccess;
using olhs::detail::PHIpCriterionAccess;

PHIpCriterion::PHIpCriterion()
    : PHIp(0.0), p(50.0), t(1.0), nPoints(0), D(1, std::valarray<double>(0.0, 1)) {}

PHIpCriterion::PHIpCriterion(LatinHypercube design)
    : PHIp(0.0), p(50.0), t(1.0), nPoints(design.getNPoints()) {
    const std::size_t n = static_cast<std::size_t>(std::max(nPoints, 0));
    D.assign(n, std::valarray<double>(0.0, n));
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
    olhs::detail::PhipState s = PHIpCriterionAccess::state(*this);
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
    if (mode == 0) {
        std::printf("* * * * * D matrix * * * * *\n");
        for (int i = 0; i < nPoints; ++i) {
            for (int j = 0; j < nPoints; ++j) {
                std::printf("%14.6g\t", D[i][j]);
            }
            std::printf("\n");
        }
    } else if (mode == 1) {
        for (int c = 0; c < nPoints; ++c) {
            for (int r = 0; r < nPoints; ++r) {
                std::printf("D[%d,%d] = %14.6g\n", r, c, D[r][c]);
            }
            std::printf("\n");
        }
    }
}
