#include "memory_guard.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>

#include "design.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

// Per-row cost of the library's matrices: a std::valarray handle in the row vector and
// the allocator's header of the row's own block. Rough, but it errs low.
constexpr double rowOverhead = 16.0 + 16.0;

double matrixBytes(double rows, double columns) { return rows * (columns * 8.0 + rowOverhead); }

std::string gibibytes(double bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f GiB", bytes / (1024.0 * 1024.0 * 1024.0));
    return text;
}

} // namespace

double estimatedPeakBytes(const Options& options) {
    // Doubles throughout: n and m are each below 2^31, so their products cannot overflow.
    const double n = options.n;
    const double m = options.m;
    const double design = matrixBytes(n, m);
    // The command's values and levels.
    double bytes = n * m * (8.0 + 4.0);
    if (options.method == Method::Optimiser) {
        // The library's own estimate, the one it refuses runs by.
        bytes += olhs::requiredBytes(options.n, options.m, libraryOptions(options));
    } else if (options.method == Method::Classic && !options.random) {
        // Every OptimalLH holds a design and its n by n distances. The search keeps at least
        // its best, initial, current, previous best and trial designs, and the caller's
        // starting design is alive beside them (measured peaks are about seven copies).
        bytes += 6.0 * (design + matrixBytes(n, n));
    }
    if (options.metrics) {
        // The centred columns of the correlations.
        bytes += n * m * 8.0;
    }
    return bytes;
}

void checkMemory(const Options& options) {
    const double needed = estimatedPeakBytes(options);
    const double available = olhs::availableBytes();
    if (available > 0.0 && needed > available) {
        throw UsageError("-n", "a design of " + std::to_string(options.n) + " points in " +
                                   std::to_string(options.m) + " variables needs at least " + gibibytes(needed) +
                                   " of memory, more than the " + gibibytes(available) +
                                   " this machine has; ask for fewer points");
    }
}

} // namespace olhs_cli
