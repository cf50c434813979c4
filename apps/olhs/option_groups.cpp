#include "option_groups.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "design.h"
#include "help_text.h"
#include "olhs/CRand.h"
#include "usage_error.h"
#include "values.h"

namespace olhs_cli {

namespace {

// The conversions below run inside CLI11's parse. They throw the command's UsageError,
// which CLI11 lets through (it catches only its own ValidationError), so the message names
// the option as the command spells it: the first of its names as declared here.
std::string spelling(const std::string& names) { return names.substr(0, names.find(',')); }

std::string inQuotes(const std::string& text) { return "'" + text + "'"; }

// A whole number in decimal, as C's T holds it. CLI11 then converts the text again, in
// base 0 (where "010" is eight): it gets the number back in plain decimal.
template <class T>
CLI::Validator whole(const std::string& option) {
    return CLI::Validator(
        [option](std::string& text) {
            const std::size_t sign = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
            if (text.size() == sign || !std::all_of(text.begin() + static_cast<long>(sign), text.end(),
                                                    [](char c) { return c >= '0' && c <= '9'; })) {
                throw UsageError(option, "expected a whole number, got " + inQuotes(text));
            }
            T value{};
            const char* first = text.c_str() + (std::is_signed<T>::value && text[0] == '+' ? 1 : 0);
            const auto [end, error] = std::from_chars(first, text.c_str() + text.size(), value);
            if (error != std::errc() || end != text.c_str() + text.size()) {
                throw UsageError(option, "expected a whole number from " +
                                             std::to_string(std::numeric_limits<T>::min()) + " to " +
                                             std::to_string(std::numeric_limits<T>::max()) + ", got " + inQuotes(text));
            }
            text = std::to_string(value);
            return std::string();
        },
        "");
}

// A finite number, the whole text. CLI11 reads it back through long double: it gets the
// double exactly, in hexadecimal.
CLI::Validator real(const std::string& option) {
    return CLI::Validator(
        [option](std::string& text) {
            double value = 0.0;
            if (!toReal(text, value)) throw UsageError(option, "expected a number, got " + inQuotes(text));
            char exact[40];
            std::snprintf(exact, sizeof exact, "%a", value);
            text = exact;
            return std::string();
        },
        "");
}

// One of a few names, handed to CLI11 as the number of the value it stands for.
template <class T>
CLI::Validator choice(const std::string& option, const std::vector<std::pair<std::string, T>>& names) {
    std::string list;
    for (std::size_t k = 0; k < names.size(); ++k) {
        list += (k == 0 ? "" : k + 1 == names.size() ? " or " : ", ") + names[k].first;
    }
    return CLI::Validator(
        [option, names, list](std::string& text) {
            for (const auto& [name, value] : names) {
                if (text == name) {
                    text = std::to_string(static_cast<int>(value));
                    return std::string();
                }
            }
            throw UsageError(option, "expected " + list + ", got " + inQuotes(text));
        },
        "");
}

template <class T>
CLI::Option* number(CLI::App* group, const std::string& names, T& value, const std::string& type,
                    const std::string& help) {
    CLI::Option* option = group->add_option(names, value, wrapped(help))->type_name(type);
    if constexpr (std::is_floating_point<T>::value) {
        return option->transform(real(spelling(names)));
    } else {
        return option->transform(whole<T>(spelling(names)));
    }
}

template <class T>
CLI::Option* named(CLI::App* group, const std::string& names, T& value, const std::string& type,
                   const std::string& help, const std::vector<std::pair<std::string, T>>& choices) {
    return group->add_option(names, value, wrapped(help))->type_name(type)->transform(choice(spelling(names), choices));
}

CLI::App* groupOf(CLI::App& app, const std::string& name) {
    CLI::App* group = app.add_option_group(name);
    group->set_help_flag(); // the command's own -h serves
    return group;
}

// The text for a new design, for improve, or for augment.
const char* text(Audience who, const char* fresh, const char* improving, const char* augmenting) {
    return who == Audience::NewDesign ? fresh : who == Audience::Improve ? improving : augmenting;
}

// CLI11 shows each option group as a section of its own, after the app's own options.
class GroupsAsOptions : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
        if (mode == CLI::AppFormatMode::Sub) return make_expanded(app);
        return make_description(app) + make_usage(app, name) + make_positionals(app) + options(app) +
               make_subcommands(app, mode) + "\n" + make_footer(app);
    }
    std::string make_expanded(const CLI::App* sub) const override {
        return sub->get_name().empty() ? std::string() : CLI::Formatter::make_expanded(sub);
    }

private:
    // -h, the options of the groups, then the app's own (--version).
    std::string options(const CLI::App* app) const {
        const CLI::Option* help = app->get_help_ptr();
        std::vector<const CLI::Option*> shown;
        if (help != nullptr) shown.push_back(help);
        for (const CLI::App* group : app->get_subcommands([](const CLI::App* sub) { return sub->get_name().empty(); })) {
            const auto options = group->get_options();
            shown.insert(shown.end(), options.begin(), options.end());
        }
        for (const CLI::Option* option : app->get_options()) {
            if (option != help && option->nonpositional()) shown.push_back(option);
        }
        return shown.empty() ? std::string() : make_group("Options", false, shown);
    }
};

} // namespace

void listGroupsAsOptions(CLI::App& app) { app.formatter(std::make_shared<GroupsAsOptions>()); }

CLI::App* addDesignGroup(CLI::App& app, Options& o, bool& classic) {
    CLI::App* group = groupOf(app, "Design");
    number(group, "-n,--points", o.n, "N", "Number of points (runs), 2 to 2147483647. Required.");
    number(group, "-m,--variables", o.m, "M",
           "Number of variables (factors), 1 to 2147483647; at least 2 unless --random: with one variable every order "
           "of the levels puts the points at the same distances, so there is nothing to optimise and --random prints "
           "them in random order. Required.");
    group->add_flag("--random", o.random,
                    wrapped("Print the random Latin hypercube of the library's entry point, without any search."));
    group->add_flag("--classic", classic,
                    wrapped("Make the design with the classic search of the library's entry point instead of the "
                            "optimiser (see below)."));
    return group;
}

CLI::App* addSeedGroup(CLI::App& app, std::uint64_t& seed, Audience who) {
    CLI::App* group = groupOf(app, "Random stream");
    const std::string fixed = std::to_string(CRand::defaultSeed);
    number(group, "--seed", seed, "S",
           who == Audience::NewDesign
               ? "Seed of the random stream, 0 to 18446744073709551615. Default: the library's fixed seed " + fixed +
                     ", so runs repeat."
               : "Seed of the random streams, 0 to 18446744073709551615. Default " + fixed + ".");
    return group;
}

CLI::App* addOptimiserGroup(CLI::App& app, OptimiserSettings& s, Audience who) {
    CLI::App* group = groupOf(app, "Optimiser");
    const bool fresh = who == Audience::NewDesign;
    number(group, "--threads,-j", s.threads, "N",
           fresh ? "Threads of the optimiser, 0 to 1024; 0: all cores. Default 0. The design does not depend on it, "
                   "except under --time-budget."
                 : "Threads, 0 to 1024; 0: all cores. Default 0.");
    number(group, "--restarts", s.restarts, "N",
           fresh ? "Independent runs of the optimiser's search, 1 to 2147483647; the best design wins. Default 2."
                 : "Searches, 1 to 2147483647, all from the same start on streams of their own; the best wins. "
                   "Default 2.");
    number(group, "--iterations", s.iterations, "N",
           fresh ? "Outer iterations of each restart of the optimiser (anneals where it anneals: --criterion maximin, "
                   "and --metric euclidean up to n^2 m = 4e5), 0 to 9223372036854775807; 0 runs until "
                   "--time-budget, or is the default without one. Default: chosen from n (400 up to 150 points, then 60000/n, "
                   "at least 50; 1 to 4 anneals by size; for discrepancy 60 up to 416 points, then 25000/n, at "
                   "least 25), or until --time-budget when one is given, with at least one restart per thread."
                 : "Outer iterations of each restart, 0 to 9223372036854775807; 0 runs until --time-budget, or is the "
                   "default without one. Default: chosen from the number of points, as for a new design.");
    number(group, "--time-budget", s.timeBudget, "SECONDS",
           fresh ? "Stop the optimiser once SECONDS (fractional, up to 1e+09; 0 for none) have passed; the design "
                   "then depends on timing. Default: none."
                 : "Stop once SECONDS (up to 1e+09; 0 for none) have passed. Default: none.");
    named<olhs::Metric>(group, "--metric", s.metric, "METRIC",
                        fresh ? "Distance between points in the optimiser's phi_p: cityblock or euclidean. Default "
                                "cityblock."
                              : "cityblock or euclidean distances in phi_p. Default cityblock.",
                        {{"cityblock", olhs::Metric::CityBlock}, {"euclidean", olhs::Metric::Euclidean}});
    if (fresh) {
        named<olhs::Criterion>(
            group, "--criterion", s.criterion, "CRITERION",
            "What makes a design better: phip, the smaller phi_p; maximin, the larger smallest distance between two "
            "points (by --metric), then fewer pairs at it, then the smaller phi_p; maxpro, the smaller MaxPro (points "
            "apart in every projection); or discrepancy, the smaller centred L2 discrepancy (points filling the cube "
            "evenly). Default phip.",
            {{"phip", olhs::Criterion::Phip}, {"maximin", olhs::Criterion::Maximin},
             {"maxpro", olhs::Criterion::MaxPro}, {"discrepancy", olhs::Criterion::Discrepancy}});
        named<olhs::Start>(group, "--start", s.start, "START",
                           "What each restart starts from: random, a random Latin design; lattice, the best rank-1 "
                           "lattice design for --metric; or auto, random designs while a search beats the lattice in "
                           "its time, then the lattice alone (with --time-budget, searched from). Default auto.",
                           {{"auto", olhs::Start::Auto}, {"random", olhs::Start::Random}, {"lattice", olhs::Start::Lattice}});
    }
    number(group, "-p", s.p, "P",
           fresh ? "Exponent of the optimiser's phi_p, 1 to 200. Default 50." : "Exponent of phi_p, 1 to 200. Default 50.");
    named<olhs::Placement>(
        group, "--placement", s.placement, "PLACEMENT",
        text(who,
             "Where the optimiser puts level k of n in [0, 1]: centered, the middle of its cell ((k - 0.5) / n); grid, "
             "(k - 1) / (n - 1); or jittered, uniform within its cell, seeded. Default centered.",
             "Print the levels placed in [0, 1] as for a new design: centered, grid or jittered. Default: the values "
             "of FILE.",
             "Where a new value sits in its stratum: centered (the middle) or jittered (uniform within it, seeded). "
             "Default centered."),
        {{"centered", olhs::Placement::Centered}, {"grid", olhs::Placement::Grid},
         {"jittered", olhs::Placement::Jittered}});
    return group;
}

CLI::App* addClassicGroup(CLI::App& app, olhs::ClassicLimits& limits) {
    CLI::App* group = groupOf(app, "Classic search");
    number(group, "--max-iterations", limits.maxIterations, "N",
           "With --classic: stop the search after this many outer iterations, 1 to 2147483647 and more than a given "
           "--min-iterations. Default 2000.");
    number(group, "--stall-iterations", limits.stallIterations, "N",
           "With --classic: stop after more than this many iterations without improvement, 1 to 2147483647. Default "
           "100. Also the interval between progress lines.");
    number(group, "--min-iterations", limits.minIterations, "N",
           "With --classic: never stop before this many iterations, 0 to 2147483646. Default 5, or one less than a "
           "lower --max-iterations.");
    number(group, "--time-limit", limits.timeLimit, "SECONDS",
           "With --classic: stop once more than SECONDS have passed, checked after each iteration (with --report, "
           "in whole seconds of calendar time), 0 to 1e+308. Default: no limit.");
    number(group, "--convergence", limits.convergence, "FRACTION",
           "With --classic: relative decrease of phi_p that counts as an improvement, 0 to 1. Default 0.01.");
    return group;
}

CLI::App* addOutputGroup(CLI::App& app, Options& o, OutputTexts& texts, Audience who) {
    CLI::App* group = groupOf(app, "Output");
    const bool fresh = who == Audience::NewDesign;
    group->add_option("--bounds", texts.bounds,
                      wrapped(text(who,
                                   "Scale variable j from [0, 1] to [LO_j, HI_j]: one pair for every variable or one "
                                   "per variable; finite, LO < HI. Default: values stay in [0, 1]. Write --bounds=-1:1 "
                                   "when LO is negative.",
                                   "Print values placed in [0, 1] and scaled to [LO_j, HI_j]: one pair for every "
                                   "variable or one per variable.",
                                   "The box of the design: variable j lies in [LO_j, HI_j]; one pair for every "
                                   "variable or one per variable. Default: [0, 1]. Values of FILE outside it are "
                                   "refused.")))
        ->type_name("LO:HI[,LO:HI...]");
    group->add_flag("--levels", texts.levels,
                    wrapped(text(who, "Print the integer levels 1..n instead of values in [0, 1].",
                                 "Print the ranks 1..n instead of values.",
                                 "Print stratum numbers 1..n+K instead of values.")));
    named<Format>(group, "--format", o.format, "FORMAT",
                  fresh ? "Output format: csv, tsv or json; json adds n, m, seed, bounds, every setting of the search "
                          "and its result (phi_p, iterations, why it stopped). Default csv."
                        : "csv, tsv or json. Default csv.",
                  {{"csv", Format::Csv}, {"tsv", Format::Tsv}, {"json", Format::Json}});
    group->add_option("-o,--output", texts.output,
                      wrapped(fresh ? "Write the design to FILE instead of standard output ('-' for standard output). "
                                      "A regular file is replaced atomically and left untouched when the run fails; a "
                                      "device or FIFO is written in place."
                                    : "Write the design to FILE, replaced atomically ('-': standard output, the "
                                      "default); it may be the input."))
        ->type_name("FILE");
    if (fresh) {
        group->add_option("--report", texts.report,
                          wrapped("With --classic: write the search's report files (PREFIXFullReport.rpt, "
                                  "PREFIXInital_0.rpt, ...); a directory needs its trailing '/'. Default: no report."))
            ->type_name("PREFIX");
        group->add_flag("--metrics", o.metrics,
                        wrapped("After the run print on standard error phi_p (of the optimiser's --metric and -p; p = "
                                "50 on city-block distances with --classic or --random), the smallest city-block and "
                                "Euclidean distances between points (on the levels) and the largest absolute "
                                "correlation between two columns."));
        group->add_option("--plot", texts.plot,
                          wrapped("Write a scatter-plot matrix of every pair of variables, with axes in the printed "
                                  "scale; the format follows the extension, and .svg (SVG) is the one supported. Needs "
                                  "at least 2 variables."))
            ->type_name("FILE.svg");
        group->add_option("--plot-variables", texts.plotVariables,
                          wrapped("The variables the --plot matrix shows, by number from 1 to M, in that order (e.g. "
                                  "1,3,4). Default: all. A picture of more than 200000 points (n times the number of "
                                  "panels) is refused."))
            ->type_name("LIST");
    }
    group->add_flag("-q,--quiet", o.quiet, wrapped("Do not print progress or the summary line."));
    return group;
}

CLI::App* addScoreGroup(CLI::App& app, bool& json, double& p, std::string& output) {
    CLI::App* group = groupOf(app, "Score");
    named<bool>(group, "--format", json, "FORMAT", "text or json. Default text.", {{"text", false}, {"json", true}});
    number(group, "-p", p, "P", "Exponent of phi_p, 1 to 200. Default 50.");
    group->add_option("-o,--output", output, wrapped("Write to FILE instead of standard output."))->type_name("FILE");
    return group;
}

CLI::App* addAugmentGroup(CLI::App& app, int& add) {
    CLI::App* group = groupOf(app, "Augment");
    number(group, "-k,--add", add, "K", "Points to add, 1 to 999999. Required.");
    return group;
}

bool given(const CLI::App* app, const std::string& name) {
    const CLI::Option* option = app->get_option_no_throw(name);
    return option != nullptr && option->count() > 0;
}

std::string outputPath(const CLI::App* group, const std::string& text) {
    if (!given(group, "-o")) return std::string();
    if (text.empty()) throw UsageError("-o", "expected a file name, got an empty one");
    return text == "-" ? std::string() : text;
}

void checkWithLibrary(const Options& o) {
    try {
        if (o.method == Method::Classic) {
            olhs::checkClassic(o.n, o.m, o.limits);
        } else {
            // The random design takes the sizes the optimiser takes; its settings are the defaults.
            olhs::checkOptions(o.n, o.m, libraryOptions(o));
        }
    } catch (const olhs::InvalidOption& refusal) {
        refuseFromLibrary(refusal);
    }
}

std::string parseErrorMessage(const CLI::ParseError& error) {
    // CLI11's messages are single sentences; keep them on one line whatever they contain.
    std::string message = error.what();
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::replace(message.begin(), message.end(), '\r', ' ');
    // Reworded in the command's shape ("option: problem"); anything not recognised passes
    // through as CLI11 wrote it. (Plain string matching: std::regex trips GCC's
    // uninitialised-use warning under the sanitizers.)
    const std::size_t colon = message.find(": ");
    const std::string option = colon == std::string::npos ? std::string() : message.substr(0, colon);
    const std::string rest = colon == std::string::npos ? std::string() : message.substr(colon + 2);
    const bool oneWord = !option.empty() && option.find(' ') == std::string::npos;
    const std::string atMostOne = "At Most 1 required but received ";
    const std::string help = " (see olhs --help)";
    if (oneWord && rest.rfind(atMostOne, 0) == 0) {
        return option + ": given " + rest.substr(atMostOne.size()) + " times; give it once" + help;
    }
    const std::size_t required = rest.find(" required ");
    const std::string missing = " missing";
    if (oneWord && required != std::string::npos && rest.size() > missing.size() &&
        rest.compare(rest.size() - missing.size(), missing.size(), missing) == 0) {
        const std::string what = rest.substr(required + 10, rest.size() - missing.size() - required - 10);
        return option + ": expected a value (" + what + ") after it" + help;
    }
    for (const std::string lead : {"The following argument was not expected: ",
                                   "The following arguments were not expected: "}) {
        if (message.rfind(lead, 0) == 0) {
            const std::string extras = message.substr(lead.size());
            // CLI11 may list an unknown option after the value that followed it.
            for (std::size_t at = 0; at < extras.size();) {
                const std::size_t end = std::min(extras.find(' ', at), extras.size());
                const std::string word = extras.substr(at, end - at);
                if (word.size() > 1 && word[0] == '-') return word + ": unknown option" + help;
                at = end + 1;
            }
            return "'" + extras.substr(0, extras.find(' ')) +
                   "': unexpected argument; every value belongs to an option such as -n" + help;
        }
    }
    return message + help;
}

} // namespace olhs_cli
