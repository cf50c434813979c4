// What the user asked for, read from the command line and checked as a whole before
// anything is computed or written.
#ifndef OLHS_CLI_OPTIONS_H
#define OLHS_CLI_OPTIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "olhs/classic.h"
#include "olhs/optimize.h"
#include "values.h"

namespace olhs_cli {

enum class Format { Csv, Tsv, Json };

/// How the design's values are written: in [0, 1], as levels 1..n, scaled per variable, or
/// as an existing design gave them.
enum class Scale { Unit, Levels, Bounds, Given };


/// Settings of the optimiser; the defaults are the library's, except that a time budget
/// without --iterations lets the restarts run until it is spent.
struct OptimiserSettings {
    int threads = 0; ///< 0: all cores
    int restarts = 2;
    long iterations = 0; // automatic: the library chooses from n
    double timeBudget = 0.0; ///< seconds; 0: none
    olhs::Metric metric = olhs::Metric::CityBlock;
    olhs::Criterion criterion = olhs::Criterion::Phip;
    olhs::Start start = olhs::Start::Auto;
    double p = 50.0;
    olhs::Placement placement = olhs::Placement::Centered;
};

/// How the design is made.
enum class Method { Optimiser, Classic, Random };

struct Options {
    int n = 0;
    int m = 0;
    Method method = Method::Optimiser;
    bool random = false; ///< method is Random
    std::uint64_t seed = 0;
    bool seedGiven = false;
    olhs::ClassicLimits limits;   ///< with --classic
    OptimiserSettings optimiser;  ///< without --classic or --random
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

/// What is done with a design that exists.
enum class Command { Score, Improve, Augment };

/// olhs score|improve|augment FILE and their options.
struct ExistingOptions {
    Command command = Command::Score;
    std::string input;           ///< a path, or "-" for standard input
    int add = 0;                 ///< augment: points to add (-k)
    bool json = false;           ///< score: --format json
    bool placementGiven = false; ///< improve: --placement chooses the values
    /// Everything else, as for a new design; n and m come from the file.
    Options base;
};

/// Either options to run with, or an exit status when the command line was fully handled
/// (--help, --version).
struct CommandLine {
    std::optional<Options> options;
    std::optional<ExistingOptions> existing;
    int exitStatus = 0;
};

/// Reads and checks the command line. Bad input throws UsageError; --help and --version
/// print to standard output and come back without options.
CommandLine parseCommandLine(int argc, char** argv);

} // namespace olhs_cli

#endif
