#ifndef OLHS_SRC_SEARCH_ACCESS_H
#define OLHS_SRC_SEARCH_ACCESS_H

#include "engine/ese.h"
#include <string>

#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"

namespace olhs {
namespace detail {

/// The search's derived parameters, for tests and tools inside the library.
struct SimpleESEAAccess {
    static int J(const SimpleESEA& s) { return s.J; }
    static int M(const SimpleESEA& s) { return s.M; }
    static double threshold(const SimpleESEA& s) { return s.Th; }
    static void setThreshold(SimpleESEA& s, double th) { s.Th = th; }
    static StoppingCriteria& stopping(SimpleESEA& s) { return s.stoppingCriteria; }
};

/// The rule that ended a run, as its report names it.
struct StoppingCriteriaAccess {
    static const std::string& stopText(const StoppingCriteria& c) { return c.stopCriterion; }
};

using engine::candidatesPerIteration;
using engine::innerIterations;
using engine::nextColumn;

} // namespace detail
} // namespace olhs

#endif
