// What the user asked for, read from the command line and checked as a whole before
// anything is computed or written.
#ifndef OLHS_CLI_OPTIONS_H
#define OLHS_CLI_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "values.h"

namespace olhs_cli {

enum class Format { Csv, Tsv, Json };

/// How the design's values are written: in [0, 1], as levels 1..n, or scaled per variable.
enum class Scale { Unit, Levels, Bounds };

/// Limits of the search; the defaults are the ones the library's entry point uses.
struct SearchLimits {
    int maxIterations = 2000;
    int stallIterations = 100;
    int minIterations = 5;
    std::optional<double> timeLimit; ///< seconds; none by default
    double convergence = 0.01;
};

struct Options {
    int n = 0;
    int m = 0;
    bool random = false;
    std::uint64_t seed = 0;
    bool seedGiven = false;
    SearchLimits limits;
    Scale scale = Scale::Unit;
    std::vector<Interval> bounds; ///< one per variable when scale is Bounds
    Format format = Format::Csv;
    std::string output;       ///< empty: standard output
    std::optional<std::string> reportPrefix;
    bool metrics = false;
    std::string plot;         ///< empty: no plot
    std::vector<int> plotVariables; ///< 0-based, in the plot's order; all when --plot is given alone
    bool quiet = false;
};

/// Either options to run with, or an exit status when the command line was fully handled
/// (--help, --version).
struct CommandLine {
    std::optional<Options> options;
    int exitStatus = 0;
};

/// Reads and checks the command line. Bad input throws UsageError; --help and --version
/// print to standard output and come back without options.
CommandLine parseCommandLine(int argc, char** argv);

} // namespace olhs_cli

#endif
