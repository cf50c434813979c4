#include "olhs/SimpleESEA.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include "criterion_access.h"
#include "design_access.h"
#include "optimal_access.h"
#include "phip_kernels.h"
#include "search_access.h"

namespace olhs {
namespace detail {

int candidatesPerIteration(int n) {
    const long long pairs = static_cast<long long>(n) * (n - 1);
    const long long J = (pairs + 9) / 10;
    return J > 50 ? 50 : static_cast<int>(J);
}

int innerIterations(int n) {
    if (n <= 22) {
        return (20 + (n - 1) - 1) / (n - 1);
    }
    return static_cast<int>(2.0 * n / 50 + 0.5);
}

int nextColumn(int& innerCounter, int m) {
    ++innerCounter;
    int column = innerCounter % m;
    if (column == 0) {
        ++innerCounter;
        column = 1;
    }
    return column;
}

BestCandidate bestCandidateByCopies(const OptimalLH& current, int column, const Pairs& pairs,
                                    std::vector<OptimalLH>& scratch, OptimalLH& best) {
    const int count = static_cast<int>(pairs.size());
    scratch.resize(pairs.size());
    for (int t = 0; t < count; ++t) {
        scratch[t] = current;
        scratch[t].exchangeElements(column, pairs[t][0] - 1, pairs[t][1] - 1);
    }
    int index = 0;
    best = scratch[0];
    for (int t = 0; t < count; ++t) {
        if (scratch[t].getOptCrt() < best.getOptCrt()) {
            best = scratch[t];
            index = t;
        }
    }
    return {index, best.getOptCrt()};
}

BestCandidate bestCandidateInPlace(OptimalLH& current, int column, const Pairs& pairs) {
    const PhipState s = PHIpCriterionAccess::state(OptimalLHAccess::criterion(current));
    const Matrix& levels = LatinHypercubeAccess::levels(current);
    BestCandidate best{0, 0.0};
    for (int t = 0; t < static_cast<int>(pairs.size()); ++t) {
        const double value = phipAfterExchange(s.D, s.phip, s.p, s.t, s.n, levels, column, pairs[t][0] - 1,
                                               pairs[t][1] - 1);
        if (t == 0 || value < best.value) {
            best = {t, value};
        }
    }
    return best;
}

} // namespace detail
} // namespace olhs

namespace {

const char* const RULE = "================================================================================\n";
const char* const NAME = "ENHANCED STOCHASTIC EVOLUTIONARY ALGORITHM";

// The threshold lines of the dump show the value's whole part.
int wholePart(double x) {
    if (!(x == x)) {
        return 0;
    }
    if (x >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    if (x <= static_cast<double>(INT_MIN)) {
        return INT_MIN;
    }
    return static_cast<int>(x);
}

} // namespace

SimpleESEA::SimpleESEA()
    : J(0), M(0), n(0), m(0), innerCounter(0), nAccepted(0), nImproved(0), Th0(0.0), Th(0.0) {
    algorithmName = NAME;
    combinatorics = CombinatorialAnalysis<int>(CRand(false));
    report = Report("");
}

SimpleESEA::SimpleESEA(OptimalLH initialPoint, StoppingCriteria criteria)
    : J(0), M(0), n(0), m(0), innerCounter(0), nAccepted(0), nImproved(0), Th0(0.0), Th(0.0) {
    setInitialPoint(initialPoint);
    algorithmName = NAME;
    stoppingCriteria = std::move(criteria);
    combinatorics = CombinatorialAnalysis<int>(initialPoint.getRandGenerator());
    report = Report("");
}

void SimpleESEA::setInitialPoint(OptimalLH initialPoint) {
    Xinitial = std::move(initialPoint);
    Xbest = Xinitial;
    Th0 = 0.005 * Xinitial.getOptCrt();
    Th = Th0;
    n = Xinitial.getNPoints();
    m = Xinitial.getNDV();
    if (n >= 2) {
        J = olhs::detail::candidatesPerIteration(n);
        M = olhs::detail::innerIterations(n);
    }
}

void SimpleESEA::setStoppingCriteria(StoppingCriteria criteria) { stoppingCriteria = std::move(criteria); }

void SimpleESEA::setFileName(std::string fileName) { report.setFileName(std::move(fileName)); }

OptimalLH SimpleESEA::getXbest() { return Xbest; }

void SimpleESEA::run() {
    if (n < 2 || m < 2) {
        std::fprintf(stderr, "Error with the use of %s\n", "void SimpleESEA::run()");
        if (n == 0 && m == 0) {
            std::fprintf(stderr, "The search has no initial point: call setInitialPoint first\n");
        } else {
            std::fprintf(stderr,
                         "The initial point must have at least 2 points and 2 design variables (it has %d and %d)\n",
                         n, m);
        }
        return;
    }

    Xold = Xinitial;
    XoldBest = Xinitial;
    Xtry = Xinitial;
    stoppingCriteria.setObjectiveRange(Xinitial.getOptCrt());
    stoppingCriteria.resetInitialTime();
    report.updateStopCriterion(stoppingCriteria);

    for (;;) {
        XoldBest = Xbest;
        innerCounter = 0;
        nAccepted = 0;
        nImproved = 0;

        const int progressEvery = stoppingCriteria.getStallIterLimit();
        if (progressEvery != 0 && stoppingCriteria.getCurrentIteration() % progressEvery == 0) {
            std::printf("Iteration #: %03d\t\tOptimality criterion = %14.6g\n", stoppingCriteria.getCurrentIteration(),
                        Xbest.getOptCrt());
        }

        innerLoop();

        const bool improving = (XoldBest.getOptCrt() - Xbest.getOptCrt()) / Xbest.getOptCrt() > 0.025;
        updateTh(improving, static_cast<double>(nAccepted) / M, static_cast<double>(nImproved) / M);

        if (stoppingCriteria.isItTimeToStop(Xbest.getOptCrt())) {
            break;
        }
    }
    report.updateStopCriterion(stoppingCriteria);
}

void SimpleESEA::innerLoop() {
    if (n < 2 || m < 2) {
        return; // nothing to exchange; run() says why
    }
    const int mode = Xold.getPHICflag();
    // Under the incremental flag candidates are judged straight from the current design's
    // distances instead of from J copies of it; only the accepted exchange is then made.
    const bool judgeInPlace = mode == 1;
    std::vector<OptimalLH> candidates;

    do {
        const int column = olhs::detail::nextColumn(innerCounter, m);
        const olhs::detail::Pairs pairs = combinatorics.getVectorOfRandomCombination(J, n, 2);
        if (pairs.empty()) {
            return;
        }
        const olhs::detail::BestCandidate best =
            judgeInPlace ? olhs::detail::bestCandidateInPlace(Xold, column, pairs)
                         : olhs::detail::bestCandidateByCopies(Xold, column, pairs, candidates, Xtry);

        const double delta = best.value - Xold.getOptCrt();
        const double r = randGenerator.Random();
        if (Th * r >= delta) {
            if (judgeInPlace) {
                Xold.exchangeElements(column, pairs[best.index][0] - 1, pairs[best.index][1] - 1);
            } else {
                Xold = Xtry;
            }
            ++nAccepted;
            if (mode == 1) {
                // Clear the rounding drift of the incremental updates: a self-exchange under
                // flag 2 re-sums phi_p from the stored distances.
                Xold.setPHICflag(2);
                Xold.exchangeElements(1, 1, 1);
                Xold.setPHICflag(1);
            }
            if (Xold.getOptCrt() < Xbest.getOptCrt()) {
                Xbest = Xold;
                ++nImproved;
            }
        }
    } while (innerCounter < M);
}

void SimpleESEA::updateTh(bool improving, double acceptanceRatio, double improvementRatio) {
    static double d_aux = 1.0 / 0.7;
    const double a = acceptanceRatio;
    const double b = improvementRatio;
    if (improving) {
        if (a > 0.1 && a > b) {
            Th = 0.8 * Th;
        } else if (a > 0.1 && a == b) {
            // balanced: keep the threshold
        } else {
            Th = 1.25 * Th;
        }
        return;
    }
    if (a < 0.1) {
        d_aux = 1.0 / 0.7;
    } else if (a > 0.8) {
        d_aux = 0.9;
    }
    Th = d_aux * Th;
}

void SimpleESEA::printMembers() { printMembers(0); }

void SimpleESEA::printMembers(int layout) {
    std::fputs(RULE, stdout);
    std::printf("                        %s\n", algorithmName.c_str());
    std::printf("%s\n", RULE);
    std::printf("ALGORITHM PARAMETERS\n\n");
    std::printf("Number of Points (n) = %d\n", n);
    std::printf("Number of DV     (m) = %d\n", m);
    std::printf("J = %d\n", J);
    std::printf("M = %d\n\n", M);
    std::printf("Th0 = %d\n", wholePart(Th0));
    std::printf("Th  = %d\n\n", wholePart(Th));
    stoppingCriteria.printMembers();
    std::printf("\n\n");
    std::fputs(RULE, stdout);
    std::printf("                             INITIAL LATIN HYPERCUBE\n");
    Xinitial.printMembers(layout);
    std::printf("\n");
    std::fputs(RULE, stdout);
    std::printf("                             OPTIMAL LATIN HYPERCUBE\n");
    Xbest.printMembers(layout);
}

void SimpleESEA::fprintfReport() { fprintfReport(0); }

void SimpleESEA::fprintfReport(int kind) { report.fprintfReport(algorithmName, Xinitial, Xbest, kind); }
