#include "olhs/StoppingCriteria.h"

#include "report_file.h"

namespace {

// "No limit" and "no threshold yet" are these literal values, not the largest double.
constexpr double noLimit = 1.7e+308;

enum RefusalCode { valueOutOfRange = 0 };

} // namespace

StoppingCriteria::StoppingCriteria() : StoppingCriteria(100, 5, 10, noLimit, noLimit, 0.01) {}

StoppingCriteria::StoppingCriteria(int maxIterations, int minIterations, int stallIterLimit, double timeLimit,
                                   double stallTimeLimit, double relObjConv)
    : maxIterations(maxIterations),
      minIterations(minIterations),
      stallIterLimit(stallIterLimit),
      stallIterations(0),
      currentIteration(0),
      timeLimit(timeLimit),
      totalTime(0.0),
      stallTimeLimit(stallTimeLimit),
      stallTime(0.0),
      relObjConv(relObjConv),
      objectiveRange(-noLimit),
      stopCriterion(""),
      initialTime(0),
      currentTime(0),
      stopFlag(false) {}

void StoppingCriteria::setMaxIterations(int value) { maxIterations = value; }
int StoppingCriteria::getMaxIterations() { return maxIterations; }
void StoppingCriteria::setMinIterations(int value) { minIterations = value; }
int StoppingCriteria::getMinIterations() { return minIterations; }
void StoppingCriteria::setStallIterLimit(int value) { stallIterLimit = value; }
int StoppingCriteria::getStallIterLimit() { return stallIterLimit; }

void StoppingCriteria::setTimeLimit(double value) {
    timeLimit = value;
    if (stallTimeLimit > value) {
        stallTimeLimit = value;
    }
}
double StoppingCriteria::getTimeLimit() { return timeLimit; }

void StoppingCriteria::setStallTimeLimit(double value) { stallTimeLimit = value; }
double StoppingCriteria::getStallTimeLimit() { return stallTimeLimit; }

void StoppingCriteria::setRelativeObjectiveConvergence(double d_RelObjConv) {
    try {
        if (!(d_RelObjConv >= 0.0 && d_RelObjConv <= 1.0)) {
            throw static_cast<int>(valueOutOfRange);
        }
        relObjConv = d_RelObjConv;
    } catch (int code) {
        olhs::detail::reportMisuse("void StoppingCriteria::setRelativeObjectiveConvergence(const double d_RelObjConv)");
        if (code == valueOutOfRange) {
            std::fprintf(stderr, "The value must be within 0 and 1\n");
        } else {
            std::fprintf(stderr, "Exception of unknown type\n");
        }
    }
}
double StoppingCriteria::getRelativeObjectiveConvergence() { return relObjConv; }

void StoppingCriteria::setObjectiveRange(double v) { objectiveRange = v - relObjConv * v; }

void StoppingCriteria::setInitialTime(long value) { initialTime = static_cast<std::time_t>(value); }
long StoppingCriteria::getInitialTime() { return static_cast<long>(initialTime); }
void StoppingCriteria::resetInitialTime() { initialTime = std::time(nullptr); }
long StoppingCriteria::getCurrentTime() { return static_cast<long>(currentTime); }
double StoppingCriteria::getTotalTime() { return totalTime; }
int StoppingCriteria::getCurrentIteration() { return currentIteration; }

bool StoppingCriteria::isItTimeToStop(double f) {
    ++currentIteration;
    currentTime = std::time(nullptr);
    totalTime = std::difftime(currentTime, initialTime);

    if (f < objectiveRange) {
        stallIterations = 0;
        setObjectiveRange(f);
    } else {
        ++stallIterations;
        stallTime = std::difftime(currentTime, initialTime);
    }

    if (currentIteration <= minIterations) {
        stopFlag = false;
        return false;
    }
    // Every rule that holds overwrites the text, so the last one in this order is kept.
    if (currentIteration == maxIterations) {
        stopFlag = true;
        stopCriterion = "Maximum number of iterations.";
    }
    if (totalTime > timeLimit) {
        stopFlag = true;
        stopCriterion = "Maximum time allowed for the task.";
    }
    if (stallIterations > stallIterLimit) {
        stopFlag = true;
        stopCriterion = "Maximum number of iterations without improvements.";
    }
    if (stallTime > stallTimeLimit) {
        stopFlag = true;
        stopCriterion = "Maximum time allowed without improvements for the task.";
    }
    return stopFlag;
}

void StoppingCriteria::printMembers() {
    writeMembers(stdout, "Percentage used for check the convergence:  %14.6g %%\n\n");
}

void StoppingCriteria::fprintfReport(std::string fileName) {
    const olhs::detail::ReportFile file(fileName, olhs::detail::OpenMode::Append);
    if (file.isOpen()) {
        writeMembers(file.get(), "Percentage used for check the convergence: %14.6g%%\n\n");
    }
}

void StoppingCriteria::writeMembers(std::FILE* out, const char* percentageFormat) {
    std::fprintf(out, "STOPPING CRITERIA PARAMETERS:\n");
    std::fprintf(out, "Maximum number of iterations: %d\n", maxIterations);
    std::fprintf(out, "Minimum number of iterations: %d\n", minIterations);
    std::fprintf(out, "Maximum number of iterations without improvements: %d\n", stallIterLimit);
    std::fprintf(out, "Maximum time allowed for the task: %14.6g [s]\n", timeLimit);
    std::fprintf(out, "Time allowed without improvement : %14.6g [s]\n", stallTimeLimit);
    std::fprintf(out, percentageFormat, 100 * relObjConv);
    std::fprintf(out, "STOPPING CRITERION REACHED:\n");
    std::fprintf(out, "%s\n", stopCriterion.c_str());
    std::fprintf(out, "At iteration: %d\n", currentIteration);
    std::fprintf(out, "Total time for the task: %14.6g [s]\n", std::difftime(currentTime, initialTime));
}
