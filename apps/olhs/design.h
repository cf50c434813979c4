// Making the design: the library's entry point when the defaults will do, otherwise the
// same chain of classes built here with the user's limits.
#ifndef OLHS_CLI_DESIGN_H
#define OLHS_CLI_DESIGN_H

#include <vector>

#include "options.h"

namespace olhs_cli {

/// n points in m variables, point-major: element i*m + j is variable j of point i.
struct Design {
    int n = 0;
    int m = 0;
    /// The library's values in [0, 1]: (level - 1) / (n - 1).
    std::vector<double> unit;
    /// The same design as levels 1..n.
    std::vector<int> levels;
};

/// Seeds the random stream and makes the design the options ask for; with --report the
/// report files are written as well. Progress lines go wherever stdout points.
Design makeDesign(const Options& options);

} // namespace olhs_cli

#endif
