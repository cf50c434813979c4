// The command's options as CLI11 option groups of typed values, declared once and shared
// by the command and its subcommands, which differ only in their help texts. The values
// are converted strictly (the whole text, in decimal); what they must lie in is the
// library's business, asked of it once the command line is read.
#ifndef OLHS_CLI_OPTION_GROUPS_H
#define OLHS_CLI_OPTION_GROUPS_H

#include <cstdint>
#include <string>

#include "olhs/classic.h"
#include "options.h"

namespace CLI {
class App;
class Option;
class ParseError;
} // namespace CLI

namespace olhs_cli {

/// Whom a group is declared for, which chooses its help texts: a new design, or the
/// subcommands that search from a file.
enum class Audience { NewDesign, Improve, Augment };

/// Options kept as text: paths, and values with a syntax of their own.
struct OutputTexts {
    std::string bounds;
    std::string output;
    std::string report;
    std::string plot;
    std::string plotVariables;
    bool levels = false;
};

/// Makes `app` list the options of its groups in one section, in the order of the groups,
/// as if they were its own. Call before adding groups or subcommands, which inherit it.
void listGroupsAsOptions(CLI::App& app);

/// -n, -m, --random and --classic.
CLI::App* addDesignGroup(CLI::App& app, Options& options, bool& classic);
CLI::App* addSeedGroup(CLI::App& app, std::uint64_t& seed, Audience who);
/// --criterion and --start only for a new design.
CLI::App* addOptimiserGroup(CLI::App& app, OptimiserSettings& settings, Audience who);
CLI::App* addClassicGroup(CLI::App& app, olhs::ClassicLimits& limits);
/// --bounds, --levels, --format, -o and -q; for a new design also --report, --metrics,
/// --plot and --plot-variables.
CLI::App* addOutputGroup(CLI::App& app, Options& options, OutputTexts& texts, Audience who);
/// olhs score's --format, -p and -o.
CLI::App* addScoreGroup(CLI::App& app, bool& json, double& p, std::string& output);
/// augment's -k.
CLI::App* addAugmentGroup(CLI::App& app, int& add);

/// Whether the option spelt `name` of a group, or of an app and its groups, was given.
bool given(const CLI::App* app, const std::string& name);

/// -o's path: empty for standard output ("-"); an empty name is refused.
std::string outputPath(const CLI::App* app, const std::string& text);

/// The library's checks of the sizes and settings of the run the options ask for, refused
/// in the command's words.
void checkWithLibrary(const Options& options);

/// CLI11's message, in the command's one-line shape ("option: problem").
std::string parseErrorMessage(const CLI::ParseError& error);

} // namespace olhs_cli

#endif
