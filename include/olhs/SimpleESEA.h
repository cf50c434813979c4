#ifndef OLHS_SIMPLEESEA_H
#define OLHS_SIMPLEESEA_H

#include <memory>
#include <string>

#include "olhs/CRand.h"
#include "olhs/CombinatorialAnalysis.h"
#include "olhs/OptimalLH.h"
#include "olhs/Report.h"
#include "olhs/StoppingCriteria.h"
#include "olhs/export.h"

namespace olhs {
namespace detail {
struct SimpleESEAAccess;
class SearchCore;
} // namespace detail
} // namespace olhs

/// Enhanced stochastic evolutionary search: threshold-accepting exchanges of two levels in
/// one column (never column 0), with a threshold that adapts after every inner loop.
/// Minimises the design's optimality criterion.
class OLHS_API SimpleESEA {
public:
    /// A search without an initial point: call setInitialPoint before run.
    SimpleESEA();
    /// A search from the design, stopped by the given criteria.
    SimpleESEA(OptimalLH initialPoint, StoppingCriteria criteria);

    /// Stores the initial point (also as the best design) and derives J, M and the threshold.
    void setInitialPoint(OptimalLH initialPoint);
    void setStoppingCriteria(StoppingCriteria criteria);
    /// Prefix of the report files.
    void setFileName(std::string fileName);
    /// A copy of the best design found.
    OptimalLH getXbest();
    /// Runs the search until the stopping criteria say so; progress goes to standard output.
    void run();
    /// One inner loop of the search.
    void innerLoop();
    /// Adapts the threshold after an outer iteration.
    void updateTh(bool improving, double acceptanceRatio, double improvementRatio);
    /// Console dump of the parameters, the stopping criteria and both designs.
    void printMembers(int layout);
    void printMembers();
    /// Report files of the run: 0 or 1 the per-design files, 2 the full report, 3 all.
    void fprintfReport(int kind);
    void fprintfReport();

private:
    int J;
    int M;
    int n;
    int m;
    int innerCounter;
    int nAccepted;
    int nImproved;
    double Th0;
    double Th;
    std::string algorithmName;
    OptimalLH Xbest;
    OptimalLH Xinitial;
    // The current design and its search, shared by copies of this object until one of
    // them runs an inner loop.
    std::shared_ptr<olhs::detail::SearchCore> core;
    StoppingCriteria stoppingCriteria;
    CRand randGenerator;
    Report report;
    CombinatorialAnalysis<int> combinatorics;

    OLHS_LOCAL void runInnerLoop();
    OLHS_LOCAL void takeBest();

    friend struct olhs::detail::SimpleESEAAccess;
};

#endif
