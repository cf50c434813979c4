#include "options.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <iostream>

#include <CLI/CLI.hpp>

#include "olhs/CRand.h"
#include "existing_options.h"
#include "help_text.h"
#include "olhs/optimize.h"
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
    std::string threads;
    std::string restarts;
    std::string iterations;
    std::string timeBudget;
    std::string metric;
    std::string criterion;
    std::string start;
    std::string p;
    std::string placement;
    std::string bounds;
    std::string format = "csv";
    std::string output;
    std::string report;
    std::string plot;
    std::string plotVariables;
    bool random = false;
    bool classic = false;
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
    CLI::Option* classic;
    CLI::Option* threads;
    CLI::Option* restarts;
    CLI::Option* iterations;
    CLI::Option* timeBudget;
    CLI::Option* metric;
    CLI::Option* criterion;
    CLI::Option* start;
    CLI::Option* p;
    CLI::Option* placement;
    CLI::Option* bounds;
    CLI::Option* output;
    CLI::Option* report;
    CLI::Option* plot;
    CLI::Option* plotVariables;
};

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
    app.add_flag("--random", raw.random,
                 wrapped("Print the random Latin hypercube of the library's entry point, without any search."));
    d.classic = app.add_flag("--classic", raw.classic,
                             wrapped("Make the design with the classic search of the library's entry point "
                                     "instead of the optimiser (see below)."));
    d.threads = app.add_option("-j,--threads", raw.threads,
                               wrapped("Threads of the optimiser, 0 to 1024; 0: all cores. Default 0. The "
                                       "design does not depend on it, except under --time-budget."))
                    ->type_name("N");
    d.restarts = app.add_option("--restarts", raw.restarts,
                                wrapped("Independent runs of the optimiser's search, 1 to 2147483647; the best "
                                        "design wins. Default 2."))
                     ->type_name("N");
    d.iterations = app.add_option("--iterations", raw.iterations,
                                  wrapped("Outer iterations of each restart of the optimiser (anneals where it "
                                          "anneals: --criterion maximin, and --metric euclidean up to n^2 m = 4e5), 0 to "
                                          "9223372036854775807; 0 runs until --time-budget, which it then needs. "
                                          "Default: chosen from n (400 up to 150 points, then 60000/n, at least 50; "
                                          "1 to 4 anneals by size; for discrepancy 60 up to 416 points, then "
                                          "25000/n, at least 25), or until --time-budget when one is given, with "
                                          "at least one restart per thread."))
                       ->type_name("N");
    d.timeBudget = app.add_option("--time-budget", raw.timeBudget,
                                  wrapped("Stop the optimiser once SECONDS (fractional, above 0 and up to 1e+09) "
                                          "have passed; the design then depends on timing. Default: none."))
                       ->type_name("SECONDS");
    d.metric = app.add_option("--metric", raw.metric,
                              wrapped("Distance between points in the optimiser's phi_p: cityblock or "
                                      "euclidean. Default cityblock."))
                   ->type_name("METRIC");
    d.criterion = app.add_option("--criterion", raw.criterion,
                                 wrapped("What makes a design better: phip, the smaller phi_p; maximin, the "
                                         "larger smallest distance between two points (by --metric), then fewer "
                                         "pairs at it, then the smaller phi_p; maxpro, the smaller MaxPro (points "
                                         "apart in every projection); or discrepancy, the smaller centred L2 "
                                         "discrepancy (points filling the cube evenly). Default phip."))
                      ->type_name("CRITERION");
    d.start = app.add_option("--start", raw.start,
                             wrapped("What each restart starts from: random, a random Latin design; lattice, the "
                                     "best rank-1 lattice design for --metric; or auto, random designs while a "
                                     "search beats the lattice in its time, then the lattice alone (with "
                                     "--time-budget, searched from). Default auto."))
                  ->type_name("START");
    d.p = app.add_option("-p", raw.p, wrapped("Exponent of the optimiser's phi_p, 1 to 200. Default 50."))
              ->type_name("P");
    d.placement = app.add_option("--placement", raw.placement,
                                 wrapped("Where the optimiser puts level k of n in [0, 1]: centered, the middle "
                                         "of its cell ((k - 0.5) / n); grid, (k - 1) / (n - 1); or jittered, "
                                         "uniform within its cell, seeded. Default centered."))
                      ->type_name("PLACEMENT");
    d.seed = app.add_option("--seed", raw.seed,
                            wrapped("Seed of the random stream, 0 to 18446744073709551615. Default: the "
                                    "library's fixed seed " +
                                    std::to_string(CRand::defaultSeed) + ", so runs repeat."))
                 ->type_name("S");
    d.maxIterations = app.add_option("--max-iterations", raw.maxIterations,
                                     wrapped("With --classic: stop the search after this many outer iterations, 1 to "
                                             "2147483647 and more than a given --min-iterations. Default 2000."))
                          ->type_name("N");
    d.stallIterations =
        app.add_option("--stall-iterations", raw.stallIterations,
                       wrapped("With --classic: stop after more than this many iterations without improvement, 1 to "
                               "2147483647. Default 100. Also the interval between progress lines."))
            ->type_name("N");
    d.minIterations = app.add_option("--min-iterations", raw.minIterations,
                                     wrapped("With --classic: never stop before this many iterations, 0 to 2147483646. "
                                             "Default 5, or one less than a lower --max-iterations."))
                          ->type_name("N");
    d.timeLimit = app.add_option("--time-limit", raw.timeLimit,
                                 wrapped("With --classic: stop once more than SECONDS of wall-clock time have passed (whole "
                                         "seconds, checked after each iteration), 0 to 1e+308. Default: no "
                                         "limit."))
                      ->type_name("SECONDS");
    d.convergence = app.add_option("--convergence", raw.convergence,
                                   wrapped("With --classic: relative decrease of phi_p that counts as an improvement, 0 to 1. "
                                           "Default 0.01."))
                        ->type_name("FRACTION");
    d.bounds = app.add_option("--bounds", raw.bounds,
                              wrapped("Scale variable j from [0, 1] to [LO_j, HI_j]: one pair for every "
                                      "variable or one per variable; finite, LO < HI. Default: values stay "
                                      "in [0, 1]. Write --bounds=-1:1 when LO is negative."))
                   ->type_name("LO:HI[,LO:HI...]");
    app.add_flag("--levels", raw.levels, wrapped("Print the integer levels 1..n instead of values in [0, 1]."));
    app.add_option("--format", raw.format,
                   wrapped("Output format: csv, tsv or json; json adds n, m, seed, bounds, every setting "
                           "of the search and its result (phi_p, iterations, why it stopped). Default csv."))
        ->type_name("FORMAT");
    d.output = app.add_option("-o,--output", raw.output,
                              wrapped("Write the design to FILE instead of standard output ('-' for standard "
                                      "output). A regular file is replaced atomically and left untouched "
                                      "when the run fails; a device or FIFO is written in place."))
                   ->type_name("FILE");
    d.report = app.add_option("--report", raw.report,
                              wrapped("With --classic: write the search's report files (PREFIXFullReport.rpt, "
                                      "PREFIXInital_0.rpt, ...); a directory needs its trailing '/'. "
                                      "Default: no report."))
                   ->type_name("PREFIX");
    app.add_flag("--metrics", raw.metrics,
                 wrapped("After the run print on standard error phi_p (of the optimiser's --metric and -p; "
                         "p = 50 on city-block distances with --classic or --random), the smallest city-block and "
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
    app.add_flag("-q,--quiet", raw.quiet, wrapped("Do not print progress or the summary line."));
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
            // CLI11 may list an unknown option after the value that followed it.
            for (std::size_t at = 0; at < extras.size();) {
                const std::size_t end = std::min(extras.find(' ', at), extras.size());
                const std::string word = extras.substr(at, end - at);
                if (word.size() > 1 && word[0] == '-') {
                    return word + ": unknown option";
                }
                at = end + 1;
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

// Settings of the optimiser, refused with the other ways of making the design.
void checkOptimiser(const RawOptions& raw, const Declared& d, Options& o) {
    const std::pair<const CLI::Option*, const char*> optimiserOptions[] = {
        {d.threads, "--threads"}, {d.restarts, "--restarts"}, {d.iterations, "--iterations"},
        {d.timeBudget, "--time-budget"}, {d.metric, "--metric"}, {d.criterion, "--criterion"}, {d.start, "--start"}, {d.p, "-p"},
        {d.placement, "--placement"}};
    for (const auto& [option, name] : optimiserOptions) {
        if (given(option) && o.method != Method::Optimiser) {
            throw UsageError(name, std::string("applies to the optimiser and cannot be combined with ") +
                                       (o.random ? "--random" : "--classic"));
        }
    }
    OptimiserSettings& s = o.optimiser;
    if (given(d.threads)) {
        s.threads = asInt(parseInteger("--threads", raw.threads, 0, 1024));
    }
    if (given(d.restarts)) {
        s.restarts = asInt(parseInteger("--restarts", raw.restarts, 1, INT_MAX));
    }
    if (given(d.timeBudget)) {
        // Far below the steady clock's range, which a budget must not overflow.
        const double budget = parseReal("--time-budget", raw.timeBudget, 0.0, 1e9);
        if (!(budget > 0.0)) {
            throw UsageError("--time-budget", "expected a number of seconds above 0 and up to 1e+09, got '" +
                                                  raw.timeBudget + "'");
        }
        s.timeBudget = budget;
        s.iterations = 0;
    }
    if (given(d.start)) {
        if (raw.start == "auto") {
            s.start = olhs::Start::Auto;
        } else if (raw.start == "random") {
            s.start = olhs::Start::Random;
        } else if (raw.start == "lattice") {
            s.start = olhs::Start::Lattice;
        } else {
            throw UsageError("--start", "expected auto, random or lattice, got '" + raw.start + "'");
        }
    }
    if (given(d.criterion)) {
        if (raw.criterion == "phip") {
            s.criterion = olhs::Criterion::Phip;
        } else if (raw.criterion == "maximin") {
            s.criterion = olhs::Criterion::Maximin;
        } else if (raw.criterion == "maxpro") {
            s.criterion = olhs::Criterion::MaxPro;
        } else if (raw.criterion == "discrepancy") {
            s.criterion = olhs::Criterion::Discrepancy;
        } else {
            throw UsageError("--criterion",
                             "expected phip, maximin, maxpro or discrepancy, got '" + raw.criterion + "'");
        }
    }

    if (given(d.iterations)) {
        s.iterations = static_cast<long>(parseInteger("--iterations", raw.iterations, 0, LONG_MAX));
        if (s.iterations == 0 && !given(d.timeBudget)) {
            throw UsageError("--iterations", "0 runs until the time budget and needs --time-budget");
        }
    }
    if (given(d.metric)) {
        if (raw.metric == "cityblock") {
            s.metric = olhs::Metric::CityBlock;
        } else if (raw.metric == "euclidean") {
            s.metric = olhs::Metric::Euclidean;
        } else {
            throw UsageError("--metric", "expected cityblock or euclidean, got '" + raw.metric + "'");
        }
    }
    if (given(d.p)) {
        s.p = parseReal("-p", raw.p, 1.0, 200.0);
    }
    if (!given(d.timeBudget) && !given(d.iterations)) {
        olhs::Options library;
        library.metric = s.metric;
        library.criterion = s.criterion;
        s.iterations = olhs::automaticIterations(o.n, o.m, library); // recorded in JSON as the value it is
    }
    if (given(d.placement)) {
        if (raw.placement == "centered") {
            s.placement = olhs::Placement::Centered;
        } else if (raw.placement == "grid") {
            s.placement = olhs::Placement::Grid;
        } else if (raw.placement == "jittered") {
            s.placement = olhs::Placement::Jittered;
        } else {
            throw UsageError("--placement", "expected centered, grid or jittered, got '" + raw.placement + "'");
        }
    }
}

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
    o.method = o.random ? Method::Random : raw.classic ? Method::Classic : Method::Optimiser;
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
        if (given(option) && o.method == Method::Optimiser) {
            throw UsageError(name, "sets the classic search and needs --classic (the optimiser, the default, "
                                   "takes --iterations and --time-budget)");
        }
    }
    checkOptimiser(raw, d, o);
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
    const ExistingSubcommands existing(app);
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
    if (existing.chosen()) {
        // The options of a new design have no meaning for an existing one.
        for (const CLI::Option* option : app.get_options()) {
            if (option->count() > 0) {
                throw UsageError(option->get_name(), "makes a new design and cannot be given with olhs " +
                                                         existing.name() + " (give the subcommand's options after it)");
            }
        }
        result.existing = existing.check();
        return result;
    }
    result.options = check(raw, declared);
    return result;
}

} // namespace olhs_cli
