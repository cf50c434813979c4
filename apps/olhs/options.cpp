#include "options.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <iostream>

#include <CLI/CLI.hpp>

#include "olhs/CRand.h"
#include "usage_error.h"

#ifndef OLHS_VERSION
#error "OLHS_VERSION must be defined by the build"
#endif

namespace olhs_cli {

namespace {

constexpr int maxPlottedPoints = 200000;

// Every numeric option is taken as text and converted here, so that every refusal has the
// same one-line shape and names the accepted range.
struct RawOptions {
    std::string n;
    std::string m;
    std::string seed;
    std::string maxIterations;
    std::string stallIterations;
    std::string minIterations;
    std::string timeLimit;
    std::string convergence;
    std::string bounds;
    std::string format = "csv";
    std::string output;
    std::string report;
    std::string plot;
    std::string plotVariables;
    bool random = false;
    bool levels = false;
    bool metrics = false;
    bool quiet = false;
};

struct Declared {
    CLI::Option* n;
    CLI::Option* m;
    CLI::Option* seed;
    CLI::Option* maxIterations;
    CLI::Option* stallIterations;
    CLI::Option* minIterations;
    CLI::Option* timeLimit;
    CLI::Option* convergence;
    CLI::Option* bounds;
    CLI::Option* output;
    CLI::Option* report;
    CLI::Option* plot;
    CLI::Option* plotVariables;
};

const char* const footer =
    "The design is the library's: every variable takes each of the n levels once. Column x1\n"
    "always holds the levels in point order; the other columns are drawn and then improved\n"
    "by the evolutionary search, which minimises phi_p (p = 50, city-block distances).\n"
    "\n"
    "Without --seed the random stream starts from the library's fixed default seed, so\n"
    "the same command prints the same design on every run; --seed S starts it from S.\n"
    "With none of --max-iterations, --stall-iterations, --min-iterations, --time-limit,\n"
    "--convergence or --report the design is exactly the one the library's entry point\n"
    "makes with the same seed.\n"
    "\n"
    "The search reports its progress on standard error (silence it with --quiet); standard\n"
    "output carries only the design. Exit status: 0 success, 1 failure while writing,\n"
    "2 bad input (one line on standard error; no output file is created or changed).";

// CLI11 prints descriptions as they are and indents after each newline; wrapping them
// here keeps --help within a terminal's width.
std::string wrapped(const std::string& text, std::size_t width = 50) {
    std::string result;
    std::size_t lineLength = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find(' ', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string word = text.substr(start, end - start);
        if (lineLength > 0 && lineLength + 1 + word.size() > width) {
            result += '\n';
            lineLength = 0;
        } else if (lineLength > 0) {
            result += ' ';
            ++lineLength;
        }
        result += word;
        lineLength += word.size();
        start = end + 1;
    }
    return result;
}

Declared declare(CLI::App& app, RawOptions& raw) {
    Declared d{};
    d.n = app.add_option("-n,--points", raw.n, wrapped("Number of points (runs), 2 to 2147483647. Required."))
              ->type_name("N");
    d.m = app.add_option("-m,--variables", raw.m,
                         wrapped("Number of variables (factors), 1 to 2147483647; at least 2 unless --random: "
                                 "with one variable every order of the levels puts the points at the "
                                 "same distances, so there is nothing to optimise and --random prints "
                                 "them in random order. Required."))
              ->type_name("M");
    app.add_flag("--random", raw.random, wrapped("Print the random Latin hypercube, without the search."));
    d.seed = app.add_option("--seed", raw.seed,
                            wrapped("Seed of the random stream, 0 to 18446744073709551615. Default: the "
                                    "library's fixed seed " +
                                    std::to_string(CRand::defaultSeed) + ", so runs repeat."))
                 ->type_name("S");
    d.maxIterations = app.add_option("--max-iterations", raw.maxIterations,
                                     wrapped("Stop the search after this many outer iterations, 1 to "
                                             "2147483647 and more than a given --min-iterations. Default 2000."))
                          ->type_name("N");
    d.stallIterations =
        app.add_option("--stall-iterations", raw.stallIterations,
                       wrapped("Stop after more than this many iterations without improvement, 1 to "
                               "2147483647. Default 100. Also the interval between progress lines."))
            ->type_name("N");
    d.minIterations = app.add_option("--min-iterations", raw.minIterations,
                                     wrapped("Never stop before this many iterations, 0 to 2147483646. "
                                             "Default 5, or one less than a lower --max-iterations."))
                          ->type_name("N");
    d.timeLimit = app.add_option("--time-limit", raw.timeLimit,
                                 wrapped("Stop once more than SECONDS of wall-clock time have passed (whole "
                                         "seconds, checked after each iteration), 0 to 1e+308. Default: no "
                                         "limit."))
                      ->type_name("SECONDS");
    d.convergence = app.add_option("--convergence", raw.convergence,
                                   wrapped("Relative decrease of phi_p that counts as an improvement, 0 to 1. "
                                           "Default 0.01."))
                        ->type_name("FRACTION");
    d.bounds = app.add_option("--bounds", raw.bounds,
                              wrapped("Scale variable j from [0, 1] to [LO_j, HI_j]: one pair for every "
                                      "variable or one per variable; finite, LO < HI. Default: values stay "
                                      "in [0, 1]. Write --bounds=-1:1 when LO is negative."))
                   ->type_name("LO:HI[,LO:HI...]");
    app.add_flag("--levels", raw.levels, wrapped("Print the integer levels 1..n instead of values in [0, 1]."));
    app.add_option("--format", raw.format,
                   wrapped("Output format: csv, tsv or json; json adds n, m, seed, settings and phi_p. "
                           "Default csv."))
        ->type_name("FORMAT");
    d.output = app.add_option("-o,--output", raw.output,
                              wrapped("Write the design to FILE instead of standard output ('-' for standard "
                                      "output). A regular file is replaced atomically and left untouched "
                                      "when the run fails; a device or FIFO is written in place."))
                   ->type_name("FILE");
    d.report = app.add_option("--report", raw.report,
                              wrapped("Write the search's report files (PREFIXFullReport.rpt, "
                                      "PREFIXInital_0.rpt, ...); a directory needs its trailing '/'. "
                                      "Default: no report."))
                   ->type_name("PREFIX");
    app.add_flag("--metrics", raw.metrics,
                 wrapped("After the run print on standard error phi_p, the smallest city-block and "
                         "Euclidean distances between points (on the levels) and the largest absolute "
                         "correlation between two columns."));
    d.plot = app.add_option("--plot", raw.plot,
                            wrapped("Write a scatter-plot matrix of every pair of variables, with axes in "
                                    "the printed scale; the format follows the extension, and .svg (SVG) is "
                                    "the one supported. Needs at least 2 variables."))
                 ->type_name("FILE.svg");
    d.plotVariables = app.add_option("--plot-variables", raw.plotVariables,
                                     wrapped("The variables the --plot matrix shows, by number from 1 to M, in "
                                             "that order (e.g. 1,3,4). Default: all. A picture of more than " +
                                             std::to_string(maxPlottedPoints) +
                                             " points (n times the number of panels) is refused."))
                          ->type_name("LIST");
    app.add_flag("-q,--quiet", raw.quiet, wrapped("Do not print the search's progress lines."));
    app.set_version_flag("--version", std::string("olhs ") + OLHS_VERSION, "Print the version and exit.");
    app.footer(footer);
    return d;
}

bool given(const CLI::Option* option) { return option->count() > 0; }

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

// CLI11 messages are single sentences; keep them on one line whatever they contain.
std::string oneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

// CLI11's own messages, reworded in the command's shape ("option: problem"); anything
// not recognised passes through as CLI11 wrote it. (Plain string matching: std::regex
// trips GCC's uninitialised-use warning under the sanitizers.)
std::string reworded(const std::string& message) {
    const std::size_t colon = message.find(": ");
    const std::string option = colon == std::string::npos ? std::string() : message.substr(0, colon);
    const std::string rest = colon == std::string::npos ? std::string() : message.substr(colon + 2);
    const bool oneWord = !option.empty() && option.find(' ') == std::string::npos;
    const std::string atMostOne = "At Most 1 required but received ";
    if (oneWord && rest.rfind(atMostOne, 0) == 0) {
        return option + ": given " + rest.substr(atMostOne.size()) + " times; give it once";
    }
    const std::size_t required = rest.find(" required ");
    const std::string missing = " missing";
    if (oneWord && required != std::string::npos && rest.size() > missing.size() &&
        rest.compare(rest.size() - missing.size(), missing.size(), missing) == 0) {
        const std::string what = rest.substr(required + 10, rest.size() - missing.size() - required - 10);
        return option + ": expected a value (" + what + ") after it";
    }
    for (const std::string lead : {"The following argument was not expected: ",
                                   "The following arguments were not expected: "}) {
        if (message.rfind(lead, 0) == 0) {
            const std::string extras = message.substr(lead.size());
            const std::string first = extras.substr(0, extras.find(' '));
            if (first.size() > 1 && first[0] == '-') {
                return first + ": unknown option";
            }
            return "'" + first + "': unexpected argument; every value belongs to an option such as -n";
        }
    }
    return message;
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

int asInt(long long value) { return static_cast<int>(value); }

Options check(const RawOptions& raw, const Declared& d) {
    Options o;
    if (!given(d.n)) {
        throw UsageError("-n", "required: the number of points, a whole number from 2 to 2147483647");
    }
    if (!given(d.m)) {
        throw UsageError("-m", "required: the number of variables, a whole number from 1 to 2147483647");
    }
    o.n = asInt(parseInteger("-n", raw.n, 2, INT_MAX));
    o.m = asInt(parseInteger("-m", raw.m, 1, INT_MAX));
    o.random = raw.random;
    if (!o.random && o.m < 2) {
        throw UsageError("-m", "the search needs at least 2 variables, got " + raw.m +
                                   " (use --random for a single variable)");
    }

    o.seedGiven = given(d.seed);
    o.seed = o.seedGiven ? parseUnsigned64("--seed", raw.seed) : CRand::defaultSeed;

    const std::pair<const CLI::Option*, const char*> searchOptions[] = {
        {d.maxIterations, "--max-iterations"}, {d.stallIterations, "--stall-iterations"},
        {d.minIterations, "--min-iterations"}, {d.timeLimit, "--time-limit"},
        {d.convergence, "--convergence"},      {d.report, "--report"}};
    for (const auto& [option, name] : searchOptions) {
        if (given(option) && o.random) {
            throw UsageError(name, "applies to the search and cannot be combined with --random");
        }
    }
    if (given(d.minIterations)) {
        o.limits.minIterations = asInt(parseInteger("--min-iterations", raw.minIterations, 0, INT_MAX - 1));
    }
    if (given(d.maxIterations)) {
        o.limits.maxIterations = asInt(parseInteger("--max-iterations", raw.maxIterations, 1, INT_MAX));
        // The default minimum is no choice of the user's: a lower limit takes it down along.
        if (!given(d.minIterations) && o.limits.maxIterations <= o.limits.minIterations) {
            o.limits.minIterations = o.limits.maxIterations - 1;
        }
    }
    // The iteration limit is tested for equality after the minimum has passed: a limit at
    // or below the minimum would never stop the search.
    if (o.limits.maxIterations <= o.limits.minIterations) {
        const bool blameMax = given(d.maxIterations);
        throw UsageError(blameMax ? "--max-iterations" : "--min-iterations",
                         "the iteration limit (" + std::to_string(o.limits.maxIterations) +
                             ") must be greater than the minimum number of iterations (" +
                             std::to_string(o.limits.minIterations) + ")");
    }
    if (given(d.stallIterations)) {
        o.limits.stallIterations = asInt(parseInteger("--stall-iterations", raw.stallIterations, 1, INT_MAX));
    }
    if (given(d.timeLimit)) {
        o.limits.timeLimit = parseReal("--time-limit", raw.timeLimit, 0.0, 1.7e308);
    }
    if (given(d.convergence)) {
        o.limits.convergence = parseReal("--convergence", raw.convergence, 0.0, 1.0);
    }
    if (given(d.report)) {
        o.reportPrefix = raw.report;
    }

    if (raw.levels && given(d.bounds)) {
        throw UsageError("--levels", "cannot be combined with --bounds (levels are not scaled)");
    }
    if (raw.levels) {
        o.scale = Scale::Levels;
    }
    if (given(d.bounds)) {
        o.scale = Scale::Bounds;
        o.bounds = parseBounds("--bounds", raw.bounds);
        if (o.bounds.size() == 1) {
            o.bounds.assign(static_cast<std::size_t>(o.m), o.bounds.front());
        } else if (o.bounds.size() != static_cast<std::size_t>(o.m)) {
            throw UsageError("--bounds", "expected 1 pair or one per variable (" + std::to_string(o.m) +
                                             "), got " + std::to_string(o.bounds.size()));
        }
    }

    if (raw.format == "csv") {
        o.format = Format::Csv;
    } else if (raw.format == "tsv") {
        o.format = Format::Tsv;
    } else if (raw.format == "json") {
        o.format = Format::Json;
    } else {
        throw UsageError("--format", "expected csv, tsv or json, got '" + raw.format + "'");
    }

    if (given(d.output)) {
        if (raw.output.empty()) {
            throw UsageError("-o", "expected a file name, got an empty one");
        }
        if (raw.output != "-") {
            o.output = raw.output;
        }
    }
    if (given(d.plot)) {
        if (raw.plot.empty()) {
            throw UsageError("--plot", "expected a file name, got an empty one");
        }
        if (!hasExtension(raw.plot, ".svg")) {
            throw UsageError("--plot", "the picture's format follows the file name: expected a name ending in "
                                       ".svg (SVG, the one format supported), got '" + raw.plot + "'");
        }
        if (o.m < 2) {
            throw UsageError("--plot", "plots pairs of variables and needs at least 2, got " + raw.m);
        }
        if (raw.plot == o.output) {
            throw UsageError("--plot", "names the same file as -o ('" + raw.plot + "')");
        }
        o.plot = raw.plot;
        std::vector<int> chosen;
        if (given(d.plotVariables)) {
            chosen = parseNumberList("--plot-variables", raw.plotVariables, o.m);
        }
        const std::size_t count = chosen.empty() ? static_cast<std::size_t>(o.m) : chosen.size();
        checkPlotSize(o.n, chosen, count, chosen.empty() ? "--plot" : "--plot-variables");
        for (std::size_t k = 0; k < count; ++k) {
            o.plotVariables.push_back(chosen.empty() ? static_cast<int>(k) : chosen[k] - 1);
        }
    } else if (given(d.plotVariables)) {
        throw UsageError("--plot-variables", "chooses what --plot shows, and --plot was not given");
    }
    o.metrics = raw.metrics;
    o.quiet = raw.quiet;
    return o;
}

} // namespace

CommandLine parseCommandLine(int argc, char** argv) {
    CLI::App app("olhs: prints an optimal Latin hypercube design of n points in m variables.", "olhs");
    RawOptions raw;
    const Declared declared = declare(app, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        // --help and --version: CLI11 prints them to standard output.
        CommandLine done;
        done.exitStatus = app.exit(e, std::cout, std::cerr);
        return done;
    } catch (const CLI::ParseError& e) {
        throw UsageError(reworded(oneLine(e.what())) + " (see olhs --help)");
    }
    CommandLine result;
    result.options = check(raw, declared);
    return result;
}

} // namespace olhs_cli
