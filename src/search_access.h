#ifndef OLHS_SRC_SEARCH_ACCESS_H
#define OLHS_SRC_SEARCH_ACCESS_H

#include <vector>

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

using Pairs = std::vector<std::vector<int> >;

/// The best of the candidate exchanges (column, pair), pairs numbered from 1: its place in
/// the list and its criterion value. The comparison is strict, so among equal values the
/// first pair wins.
struct BestCandidate {
    int index;
    double value;
};

/// Judges every candidate on a copy of the current design, whatever its flag; the best
/// copy is left in `best`. `scratch` holds the copies and is reused between calls.
BestCandidate bestCandidateByCopies(const OptimalLH& current, int column, const Pairs& pairs,
                                    std::vector<OptimalLH>& scratch, OptimalLH& best);

/// The same choice for a design under the incremental flag, judged from its distances
/// without copying it: the same operations as the exchange itself, so the same values.
BestCandidate bestCandidateInPlace(OptimalLH& current, int column, const Pairs& pairs);

} // namespace detail
} // namespace olhs

#endif
