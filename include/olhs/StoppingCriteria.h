#ifndef OLHS_STOPPINGCRITERIA_H
#define OLHS_STOPPINGCRITERIA_H

#include <cstdio>
#include <ctime>
#include <string>

#include "olhs/export.h"

/// The limits and counters of one optimisation run, and the rule that ended it. Each run
/// needs a fresh object (or a copy of one that has not served a run): nothing resets the
/// counters. Times are whole seconds of calendar time and start at 0.
namespace olhs {
namespace detail {
struct StoppingCriteriaAccess;
} // namespace detail
} // namespace olhs

class OLHS_API StoppingCriteria {
public:
    /// 100 iterations at most, 5 at least, 10 without improvement, no time limits, 1 %.
    StoppingCriteria();
    /// Maximum iterations, minimum iterations, stall iteration limit, time limit [s],
    /// stall time limit [s], relative objective convergence; stored unchecked.
    StoppingCriteria(int maxIterations, int minIterations, int stallIterLimit, double timeLimit,
                     double stallTimeLimit, double relObjConv);

    void setMaxIterations(int value);
    int getMaxIterations();
    void setMinIterations(int value);
    int getMinIterations();
    void setStallIterLimit(int value);
    int getStallIterLimit();
    /// Also lowers the stall time limit to the new value when it is above it.
    void setTimeLimit(double value);
    double getTimeLimit();
    void setStallTimeLimit(double value);
    double getStallTimeLimit();
    /// Accepts 0..1; any other value is refused with a message on standard error.
    void setRelativeObjectiveConvergence(double d_RelObjConv);
    double getRelativeObjectiveConvergence();
    /// Values below v - relObjConv * v count as improvements from now on.
    void setObjectiveRange(double v);
    void setInitialTime(long value);
    long getInitialTime();
    /// Starts the clock now.
    void resetInitialTime();
    /// Time of the last check.
    long getCurrentTime();
    /// Seconds from the start to the last check.
    double getTotalTime();
    /// Checks made so far.
    int getCurrentIteration();
    /// Counts one iteration with objective value f and says whether the run must stop.
    bool isItTimeToStop(double f);
    /// Dump on standard output.
    void printMembers();
    /// Dump added to the end of the named file.
    void fprintfReport(std::string fileName);

private:
    OLHS_LOCAL void writeMembers(std::FILE* out, const char* percentageFormat);

    int maxIterations;
    int minIterations;
    int stallIterLimit;
    int stallIterations;
    int currentIteration;
    double timeLimit;
    double totalTime;
    double stallTimeLimit;
    double stallTime;
    double relObjConv;
    double objectiveRange;
    std::string stopCriterion;
    std::time_t initialTime;
    std::time_t currentTime;
    bool stopFlag;
    friend struct olhs::detail::StoppingCriteriaAccess;
};

#endif
