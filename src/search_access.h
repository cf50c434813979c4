#ifndef OLHS_SRC_SEARCH_ACCESS_H
#define OLHS_SRC_SEARCH_ACCESS_H

#include "olhs/SimpleESEA.h"

namespace olhs {
namespace detail {

/// The search's derived parameters, for tests and tools inside the library.
struct SimpleESEAAccess {
    static int J(const SimpleESEA& s) { return s.J; }
    static int M(const SimpleESEA& s) { return s.M; }
    static double threshold(const SimpleESEA& s) { return s.Th; }
    static void setThreshold(SimpleESEA& s, double th) { s.Th = th; }
};

/// Candidates per inner iteration for n points: ceil(n(n-1)/10), at most 50.
int candidatesPerIteration(int n);
/// Inner iterations per outer iteration for n points.
int innerIterations(int n);
/// Column of the next inner iteration; advances the counter, skipping column 0.
int nextColumn(int& innerCounter, int m);

} // namespace detail
} // namespace olhs

#endif
