// A size check before anything is allocated. The search keeps several copies of an n by n
// distance matrix, and its rows are separate small allocations: a design far too large
// would not fail cleanly with std::bad_alloc but drive the machine into swapping or the
// out-of-memory killer. Requests that certainly cannot fit are refused up front.
#ifndef OLHS_CLI_MEMORY_GUARD_H
#define OLHS_CLI_MEMORY_GUARD_H

#include "options.h"

namespace olhs_cli {

/// A lower estimate of the bytes the run will hold at its peak.
double estimatedPeakBytes(const Options& options);

/// UsageError naming -n when the estimate exceeds the machine's memory and swap.
void checkMemory(const Options& options);

} // namespace olhs_cli

#endif
