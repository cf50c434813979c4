#include "olhs/SimpleESEA.h"

#include <climits>
#include <cstdio>
#include <utility>

#include "engine/ese.h"
#include "olhs/classic.h"
#include "report_file.h"
#include "search_core.h"
#include "shared_stream.h"

namespace {

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
    core.reset();
    Th0 = 0.005 * Xinitial.getOptCrt();
    Th = Th0;
    n = Xinitial.getNPoints();
    m = Xinitial.getNDV();
    if (n >= 2) {
        J = olhs::engine::candidatesPerIteration(n);
        M = olhs::engine::innerIterations(n);
    }
}

void SimpleESEA::setStoppingCriteria(StoppingCriteria criteria) { stoppingCriteria = std::move(criteria); }

void SimpleESEA::setFileName(std::string fileName) { report.setFileName(std::move(fileName)); }

OptimalLH SimpleESEA::getXbest() { return Xbest; }

void SimpleESEA::run() {
    if (n < 2 || m < 2) {
        olhs::detail::reportMisuse("void SimpleESEA::run()");
        if (n == 0 && m == 0) {
            std::fprintf(stderr, "The search has no initial point: call setInitialPoint first\n");
        } else {
            std::fprintf(stderr,
                         "The initial point must have at least 2 points and 2 design variables (it has %d and %d)\n",
                         n, m);
        }
        return;
    }

    stoppingCriteria.setObjectiveRange(Xinitial.getOptCrt());
    stoppingCriteria.resetInitialTime();
    report.updateStopCriterion(stoppingCriteria);
    // Every run starts again from the initial point and keeps the best design met so far.
    core = olhs::detail::makeSearchCore(Xinitial, Xbest, olhs::detail::sharedStream());

    for (;;) {
        const double bestBefore = core->bestPhip();
        innerCounter = 0;
        nAccepted = 0;
        nImproved = 0;

        const int progressEvery = stoppingCriteria.getStallIterLimit();
        if (progressEvery != 0 && stoppingCriteria.getCurrentIteration() % progressEvery == 0) {
            const olhs::ClassicProgress line{stoppingCriteria.getCurrentIteration(), bestBefore, true};
            std::fputs(olhs::classicProgressLine(line).c_str(), stdout);
        }

        runInnerLoop();

        const double best = core->bestPhip();
        updateTh(olhs::engine::isImproving(bestBefore, best), static_cast<double>(nAccepted) / M,
                 static_cast<double>(nImproved) / M);

        if (stoppingCriteria.isItTimeToStop(best)) {
            break;
        }
    }
    takeBest();
    report.updateStopCriterion(stoppingCriteria);
}

void SimpleESEA::innerLoop() {
    if (n < 2 || m < 2) {
        return; // nothing to exchange; run() says why
    }
    if (!core) {
        core = olhs::detail::makeSearchCore(Xinitial, Xbest, olhs::detail::sharedStream());
    }
    runInnerLoop();
    takeBest();
}

void SimpleESEA::runInnerLoop() {
    if (core.use_count() > 1) {
        core = core->clone(); // a copy of this search shares it: move on a copy of our own
    }
    olhs::engine::InnerCounters counters{innerCounter, nAccepted, nImproved};
    core->innerLoop(counters, Th);
    innerCounter = counters.innerCounter;
    nAccepted = counters.accepted;
    nImproved = counters.improved;
}

void SimpleESEA::takeBest() {
    if (core->improvements() > 0) {
        Xbest = core->bestDesign();
    }
}

void SimpleESEA::updateTh(bool improving, double acceptanceRatio, double improvementRatio) {
    // The exploring factor belongs to the process: every search continues it.
    static double d_aux = 1.0 / 0.7;
    Th = olhs::engine::updatedThreshold(Th, improving, acceptanceRatio, improvementRatio, d_aux);
}

void SimpleESEA::printMembers() { printMembers(0); }

void SimpleESEA::printMembers(int layout) {
    std::fputs(olhs::detail::ruleLine, stdout);
    std::printf("                        %s\n", algorithmName.c_str());
    std::printf("%s\n", olhs::detail::ruleLine);
    std::printf("ALGORITHM PARAMETERS\n\n");
    std::printf("Number of Points (n) = %d\n", n);
    std::printf("Number of DV     (m) = %d\n", m);
    std::printf("J = %d\n", J);
    std::printf("M = %d\n\n", M);
    std::printf("Th0 = %d\n", wholePart(Th0));
    std::printf("Th  = %d\n\n", wholePart(Th));
    stoppingCriteria.printMembers();
    std::printf("\n\n");
    std::fputs(olhs::detail::ruleLine, stdout);
    std::printf("                             INITIAL LATIN HYPERCUBE\n");
    Xinitial.printMembers(layout);
    std::printf("\n");
    std::fputs(olhs::detail::ruleLine, stdout);
    std::printf("                             OPTIMAL LATIN HYPERCUBE\n");
    Xbest.printMembers(layout);
}

void SimpleESEA::fprintfReport() { fprintfReport(0); }

void SimpleESEA::fprintfReport(int kind) { report.fprintfReport(algorithmName, Xinitial, Xbest, kind); }
