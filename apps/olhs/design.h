// Making the design: the library's random design, or the chain of classes of the library's
// entry point built here with the user's limits (the defaults give the entry point's own
// design), so that the command can say why the search stopped.
#ifndef OLHS_CLI_DESIGN_H
#define OLHS_CLI_DESIGN_H

#include <optional>
#include <string>
#include <vector>

#include "options.h"

namespace olhs_cli {

/// Why and when the search stopped.
struct SearchStop {
    std::string reason;  ///< in the command's words, naming the option
    int iterations = 0;  ///< outer iterations run; 0 when the library did not say
    double seconds = 0.0;
};

/// n points in m variables, point-major: element i*m + j is variable j of point i.
struct Design {
    int n = 0;
    int m = 0;
    /// The library's values in [0, 1]: (level - 1) / (n - 1).
    std::vector<double> unit;
    /// The same design as levels 1..n.
    std::vector<int> levels;
    /// Set after a search.
    std::optional<SearchStop> stop;
};

/// Seeds the random stream and makes the design the options ask for; with --report the
/// report files are written as well. Progress lines go wherever stdout points.
Design makeDesign(const Options& options);

} // namespace olhs_cli

#endif
