#include "memory_guard.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <thread>

#include "design.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

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
    // The command's values and levels.
    double bytes = n * m * (8.0 + 4.0);
    if (options.method == Method::Optimiser) {
        // The library's own estimate, the one it refuses runs by.
        bytes += olhs::requiredBytes(options.n, options.m, libraryOptions(options));
    } else if (options.method == Method::Classic && !options.random) {
        bytes += olhs::classicRequiredBytes(options.n, options.m, options.reportPrefix.has_value());
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
