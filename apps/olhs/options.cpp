#include "options.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "design.h"
#include "existing_options.h"
#include "olhs/CRand.h"
#include "olhs/optimize.h"
#include "option_groups.h"
#include "usage_error.h"

#ifndef OLHS_VERSION
#error "OLHS_VERSION must be defined by the build"
#endif

namespace olhs_cli {

namespace {

constexpr int maxPlottedPoints = 200000;

const char* const version = "olhs " OLHS_VERSION;

const char* const footer =
    "By default the design comes from the optimiser: --restarts independent runs of an\n"
    "evolutionary search, spread over -j threads, each --iterations outer iterations long; the\n"
    "design with the smallest phi_p (distances by --metric, exponent -p) wins, and its levels\n"
    "are placed in [0, 1] by --placement. The same seed and settings give the same design\n"
    "whatever the number of threads. With --time-budget the run stops when the time is spent\n"
    "(and without --iterations the restarts run until then), so the design depends on timing:\n"
    "on the machine's speed and load.\n"
    "\n"
    "--classic makes the design of the library's original entry point instead: column x1 holds\n"
    "the levels in point order, the other columns are drawn and improved by the classic search\n"
    "(p = 50, city-block distances), and values are (level - 1) / (n - 1). With none of\n"
    "--max-iterations, --stall-iterations, --min-iterations, --time-limit, --convergence or\n"
    "--report (which need --classic) it is exactly the design the entry point makes with the\n"
    "same seed.\n"
    "\n"
    "Without --seed the random stream starts from the library's fixed default seed, so the\n"
    "same command prints the same design on every run; --seed S starts it from S.\n"
    "\n"
    "On standard error the optimiser shows its progress in one line rewritten in place when\n"
    "that is a terminal, and ends with a summary line (phi_p, restarts, iterations, seconds,\n"
    "why it stopped); --classic prints the classic search's progress lines. --quiet silences\n"
    "both. Standard output carries only the design. Exit status: 0 success, 1 failure while\n"
    "writing, 2 bad input (one line on standard error; no output file is created or changed).";

// The options of a new design, bound to where they go, and the groups that hold them.
struct NewDesign {
    Options o;
    OutputTexts texts;
    bool classic = false;
    const CLI::App* design;
    const CLI::App* optimiser;
    const CLI::App* seed;
    const CLI::App* search;
    const CLI::App* output;

    explicit NewDesign(CLI::App& app)
        : design(addDesignGroup(app, o, classic)), optimiser(addOptimiserGroup(app, o.optimiser, Audience::NewDesign)),
          seed(addSeedGroup(app, o.seed, Audience::NewDesign)), search(addClassicGroup(app, o.limits)),
          output(addOutputGroup(app, o, texts, Audience::NewDesign)) {
        o.seed = CRand::defaultSeed;
    }
};

// The extension of the path's last component, compared without regard to case.
bool hasExtension(const std::string& path, const std::string& extension) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.find('/', dot) != std::string::npos) {
        return false;
    }
    const std::string found = path.substr(dot);
    return std::equal(found.begin(), found.end(), extension.begin(), extension.end(),
                      [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

// Counts of panels and points, which can pass 2^64.
std::string countText(double count) {
    char text[400];
    std::snprintf(text, sizeof text, "%.0f", count);
    return text;
}

// Every panel draws every point; beyond this many a picture takes long to open, if it opens at all.
// `chosen` holds the variables asked for (1-based), or is empty for all `count` of them.
void checkPlotSize(int n, const std::vector<int>& chosen, std::size_t count, const char* option) {
    const auto panels = [](std::size_t variables) {
        return static_cast<double>(variables) * static_cast<double>(variables - 1);
    };
    if (n * panels(count) <= maxPlottedPoints) {
        return;
    }
    if (n * panels(2) > maxPlottedPoints) {
        throw UsageError(option, "the design is too large to plot: one pair of variables already draws " +
                                     countText(n * panels(2)) + " points, more than the " +
                                     std::to_string(maxPlottedPoints) + " a picture can hold and still open");
    }
    // n >= 2 keeps the answer below 317 variables.
    std::size_t fits = std::min<std::size_t>(count, 317);
    while (n * panels(fits) > maxPlottedPoints) {
        --fits;
    }
    std::string choice;
    for (std::size_t k = 0; k < fits; ++k) {
        choice += (k == 0 ? "" : ",") + std::to_string(chosen.empty() ? static_cast<int>(k) + 1 : chosen[k]);
    }
    throw UsageError(option, "a matrix of " + std::to_string(count) + " variables has " + countText(panels(count)) +
                                 " panels of " + std::to_string(n) + " points, " + countText(n * panels(count)) +
                                 " in all, more than the " + std::to_string(maxPlottedPoints) +
                                 " a picture can hold and still open; plot at most " + std::to_string(fits) +
                                 " variables, e.g. --plot-variables " + choice);
}

// The options of one way of making the design are refused with the others.
void checkMethod(const NewDesign& d) {
    const Options& o = d.o;
    std::vector<const CLI::Option*> searchOptions = d.search->get_options();
    searchOptions.push_back(d.output->get_option_no_throw("--report"));
    for (const CLI::Option* option : searchOptions) {
        if (option->count() > 0 && o.random) {
            throw UsageError(option->get_name(), "applies to the search and cannot be combined with --random");
        }
        if (option->count() > 0 && o.method == Method::Optimiser) {
            throw UsageError(option->get_name(), "sets the classic search and needs --classic (the optimiser, the "
                                                 "default, takes --iterations and --time-budget)");
        }
    }
    for (const CLI::Option* option : d.optimiser->get_options()) {
        if (option->count() > 0 && o.method != Method::Optimiser) {
            throw UsageError(option->get_name(), std::string("applies to the optimiser and cannot be combined with ") +
                                                     (o.random ? "--random" : "--classic"));
        }
    }
}

void checkPlot(const NewDesign& d, Options& o) {
    const std::string& plot = d.texts.plot;
    if (!given(d.output, "--plot")) {
        if (given(d.output, "--plot-variables")) {
            throw UsageError("--plot-variables", "chooses what --plot shows, and --plot was not given");
        }
        return;
    }
    if (plot.empty()) {
        throw UsageError("--plot", "expected a file name, got an empty one");
    }
    if (!hasExtension(plot, ".svg")) {
        throw UsageError("--plot", "the picture's format follows the file name: expected a name ending in .svg (SVG, "
                                   "the one format supported), got '" + plot + "'");
    }
    if (o.m < 2) {
        throw UsageError("--plot", "plots pairs of variables and needs at least 2, got " + std::to_string(o.m));
    }
    if (plot == o.output) {
        throw UsageError("--plot", "names the same file as -o ('" + plot + "')");
    }
    o.plot = plot;
    std::vector<int> chosen;
    if (given(d.output, "--plot-variables")) {
        chosen = parseNumberList("--plot-variables", d.texts.plotVariables, o.m);
    }
    const std::size_t count = chosen.empty() ? static_cast<std::size_t>(o.m) : chosen.size();
    checkPlotSize(o.n, chosen, count, chosen.empty() ? "--plot" : "--plot-variables");
    for (std::size_t k = 0; k < count; ++k) {
        o.plotVariables.push_back(chosen.empty() ? static_cast<int>(k) : chosen[k] - 1);
    }
}

Options check(NewDesign& d) {
    Options& o = d.o;
    if (!given(d.design, "-n")) {
        throw UsageError("-n", "required: the number of points, a whole number from 2 to 2147483647");
    }
    if (!given(d.design, "-m")) {
        throw UsageError("-m", "required: the number of variables, a whole number from 1 to 2147483647");
    }
    o.method = o.random ? Method::Random : d.classic ? Method::Classic : Method::Optimiser;
    o.seedGiven = given(d.seed, "--seed");
    checkMethod(d);
    if (!o.random && o.m == 1) {
        throw UsageError("-m", "the search needs at least 2 variables, got 1 (use --random for a single variable)");
    }
    // The default minimum is no choice of the user's: a lower limit takes it down along.
    olhs::ClassicLimits& limits = o.limits;
    if (given(d.search, "--max-iterations") && !given(d.search, "--min-iterations") &&
        limits.maxIterations <= limits.minIterations) {
        limits.minIterations = limits.maxIterations > 0 ? limits.maxIterations - 1 : 0;
    }
    checkWithLibrary(o);
    OptimiserSettings& s = o.optimiser;
    if (s.iterations == 0 && !(s.timeBudget > 0.0)) {
        s.iterations = olhs::automaticIterations(o.n, o.m, libraryOptions(o)); // recorded in JSON as the value it is
    }
    if (given(d.output, "--report")) {
        o.reportPrefix = d.texts.report;
    }

    if (d.texts.levels && given(d.output, "--bounds")) {
        throw UsageError("--levels", "cannot be combined with --bounds (levels are not scaled)");
    }
    if (d.texts.levels) {
        o.scale = Scale::Levels;
    }
    if (given(d.output, "--bounds")) {
        o.scale = Scale::Bounds;
        o.bounds = parseBounds("--bounds", d.texts.bounds);
        if (o.bounds.size() == 1) {
            o.bounds.assign(static_cast<std::size_t>(o.m), o.bounds.front());
        } else if (o.bounds.size() != static_cast<std::size_t>(o.m)) {
            throw UsageError("--bounds", "expected 1 pair or one per variable (" + std::to_string(o.m) + "), got " +
                                             std::to_string(o.bounds.size()));
        }
    }
    o.output = outputPath(d.output, d.texts.output);
    checkPlot(d, o);
    return o;
}

// CLI11 converts the values (and refuses bad ones) before it looks at --help, which wins
// all the same: it is what was asked for.
bool helpAsked(const CLI::App& app) {
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!sub->get_name().empty() && sub->get_help_ptr()->count() > 0) return true;
    }
    return app.get_help_ptr()->count() > 0;
}

} // namespace

CommandLine parseCommandLine(int argc, char** argv) {
    CLI::App app("olhs: prints an optimal Latin hypercube design of n points in m variables.", "olhs");
    listGroupsAsOptions(app);
    NewDesign fresh(app);
    app.set_version_flag("--version", version, "Print the version and exit.");
    app.footer(footer);
    const ExistingSubcommands existing(app);
    CommandLine result;
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        // --help and --version: CLI11 prints them to standard output.
        result.exitStatus = app.exit(e, std::cout, std::cerr);
        return result;
    } catch (const CLI::ParseError& e) {
        if (!helpAsked(app)) throw UsageError(parseErrorMessage(e));
        result.exitStatus = app.exit(CLI::CallForHelp(), std::cout, std::cerr);
        return result;
    } catch (const UsageError&) {
        if (!helpAsked(app)) throw;
        result.exitStatus = app.exit(CLI::CallForHelp(), std::cout, std::cerr);
        return result;
    }
    if (existing.chosen()) {
        // The options of a new design have no meaning for an existing one.
        for (const CLI::App* group : {fresh.design, fresh.optimiser, fresh.seed, fresh.search, fresh.output}) {
            for (const CLI::Option* option : group->get_options()) {
                if (option->count() > 0) {
                    throw UsageError(option->get_name(), "makes a new design and cannot be given with olhs " +
                                                             existing.name() + " (give the subcommand's options after it)");
                }
            }
        }
        result.existing = existing.check();
        return result;
    }
    result.options = check(fresh);
    return result;
}

} // namespace olhs_cli
