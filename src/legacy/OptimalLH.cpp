#include "olhs/OptimalLH.h"

#include <cstdio>

#include "criterion_access.h"
#include "design_access.h"
#include "optimal_access.h"
#include "report_file.h"

using olhs::detail::LatinHypercubeAccess;
using olhs::detail::PHIpCriterionAccess;


OptimalLH::OptimalLH() : LatinHypercube(), PHICflag(0), PHIC() {}

OptimalLH::OptimalLH(int n, int m) : LatinHypercube(n, m), PHICflag(0) { computeCriterion(); }

OptimalLH::OptimalLH(int n, int m, bool flag) : LatinHypercube(n, m, flag), PHICflag(0) { computeCriterion(); }

OptimalLH::OptimalLH(int n, int m, int PHICflag) : LatinHypercube(n, m), PHICflag(PHICflag) {
    computeCriterion();
}

OptimalLH::OptimalLH(int n, int m, int PHICflag, bool flag) : LatinHypercube(n, m, flag), PHICflag(PHICflag) {
    computeCriterion();
}

OptimalLH::OptimalLH(LatinHypercube design) : LatinHypercube(design), PHICflag(0) { computeCriterion(); }

OptimalLH::OptimalLH(LatinHypercube design, int PHICflag) : LatinHypercube(design), PHICflag(PHICflag) {
    computeCriterion();
}

void OptimalLH::computeCriterion() { PHIC = PHIpCriterion(static_cast<LatinHypercube&>(*this)); }

void OptimalLH::setPHICflag(int flag) { PHICflag = flag; }

int OptimalLH::getPHICflag() { return PHICflag; }

void OptimalLH::exchangeElements(int c, int a, int b) {
    const int flag = PHICflag;
    if (flag == 1 || flag == 2) {
        // The incremental update reads the levels of a and b before they move.
        olhs::detail::updateForExchange(PHIpCriterionAccess::state(PHIC), LatinHypercubeAccess::levels(*this), c,
                                        a, b, flag);
        LatinHypercube::exchangeElements(c, a, b);
    } else if (flag == 0) {
        LatinHypercube::exchangeElements(c, a, b);
        auto s = PHIpCriterionAccess::state(PHIC);
        olhs::detail::computeAll(s, LatinHypercubeAccess::levels(*this), LatinHypercubeAccess::variables(*this));
    }
}

double OptimalLH::getPHIp() { return PHIC.getPHIp(); }

double OptimalLH::getOptCrt() { return PHIC.getPHIp(); }

void OptimalLH::printMembers() { printMembers(0); }

void OptimalLH::printMembers(int mode) {
    std::fputs(olhs::detail::ruleLine, stdout);
    LatinHypercube::printMembers(mode);
    std::printf("\n");
    PHIC.printMembers(mode);
    std::fputs(olhs::detail::ruleLine, stdout);
}

void OptimalLH::fprintfReport(std::string fileName, int format) {
    olhs::detail::writeOptimalDesign(*this, fileName, format, olhs::detail::OpenMode::Truncate);
}

namespace olhs {
namespace detail {

void writeOptimalDesign(OptimalLH& design, const std::string& path, int format, OpenMode mode) {
    if (!writeDesign(design, path, format, mode) || format != 0) {
        return;
    }
    const ReportFile file(path, OpenMode::Append);
    if (file.isOpen()) {
        std::fprintf(file.get(), "\n");
        std::fprintf(file.get(), "Optimatily Criterion = %14.6g\n", design.getOptCrt());
    }
}

} // namespace detail
} // namespace olhs
