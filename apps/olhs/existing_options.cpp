#include "existing_options.h"

#include <climits>

#include <CLI/CLI.hpp>

#include "help_text.h"
#include "olhs/CRand.h"
#include "usage_error.h"
#include "values.h"

namespace olhs_cli {

// One set of texts serves the three subcommands: only the one named is parsed.
struct ExistingSubcommands::Raw {
    CLI::App* score = nullptr;
    CLI::App* improve = nullptr;
    CLI::App* augment = nullptr;
    std::string input, add, seed, threads, restarts, iterations, timeBudget, metric, p, placement, bounds, format,
        output;
    bool levels = false;
    bool quiet = false;
    // Which were given, per subcommand: CLI11 counts an option of the subcommand parsed.
    CLI::App* chosen() const {
        for (CLI::App* sub : {score, improve, augment})
            if (sub->parsed()) return sub;
        return nullptr;
    }
    bool given(const char* name) const {
        CLI::App* sub = chosen();
        const CLI::Option* option = sub->get_option_no_throw(name);
        return option != nullptr && option->count() > 0;
    }
};

namespace {

const char* const scoreHelp =
    "Measures the design in FILE (CSV or TSV, '-' for standard input): phi_p with city-block and "
    "with Euclidean distances, the smallest distances of each kind and how many pairs of points sit "
    "at them, the largest absolute correlation between two columns and the centred L2 discrepancy. "
    "Each column is measured on its ranks 1..n, as the optimiser sees a design, so the values may "
    "lie in any range; two equal values in a column are refused.";

const char* const improveHelp =
    "Optimises the Latin design in FILE (CSV or TSV, '-' for standard input; each column is taken "
    "by its ranks, so values may be levels or reals in any range, with no two equal in a column) "
    "with the optimiser's search started from it instead of from random designs: every restart "
    "starts from FILE on its own stream, and the result is never worse than FILE by phi_p. Each "
    "column keeps the values FILE gave it (the point with rank k gets the column's k-th smallest "
    "value), so only their pairing changes; --levels prints ranks, --placement and --bounds place "
    "them as for a new design. The points keep their order and x1 its values.";

const char* const augmentHelp =
    "Adds K points to the design in FILE (CSV or TSV, '-' for standard input), whose values lie in "
    "[0, 1] or in the box of --bounds. The points of FILE keep their values to the bit. Each "
    "variable is cut into n + K equal strata; the new points take strata no point of FILE holds, "
    "so that every stratum holds one point when the points of FILE hold different ones; where they "
    "share strata, as many strata stay empty (the summary counts these doubled strata) and the new "
    "points take empty ones spread evenly among them. The optimiser then exchanges strata among "
    "the new points only, minimising phi_p of the whole design on stratum numbers, and places "
    "each new value in the middle of its stratum (--placement jittered: anywhere in it). Unlike a "
    "new design of n + K points, nothing of FILE moves, so the runs already made stay usable.";

void declareInput(CLI::App* sub, std::string& input) {
    sub->add_option("FILE", input, wrapped("The design: CSV or TSV, with or without a header row; '-' reads "
                                           "standard input."))
        ->type_name("FILE");
}

void declareOptimiser(CLI::App* sub, ExistingSubcommands::Raw& raw, bool augmenting) {
    sub->add_option("--seed", raw.seed,
                    wrapped("Seed of the random streams, 0 to 18446744073709551615. Default " +
                            std::to_string(CRand::defaultSeed) + "."))
        ->type_name("S");
    sub->add_option("-j,--threads", raw.threads, wrapped("Threads, 0 to 1024; 0: all cores. Default 0."))
        ->type_name("N");
    sub->add_option("--restarts", raw.restarts,
                    wrapped("Searches, 1 to 2147483647, all from the same start on streams of their own; "
                            "the best wins. Default 2."))
        ->type_name("N");
    sub->add_option("--iterations", raw.iterations,
                    wrapped("Outer iterations of each restart, 0 to 9223372036854775807; 0 runs until "
                            "--time-budget. Default: chosen from the number of points, as for a new design."))
        ->type_name("N");
    sub->add_option("--time-budget", raw.timeBudget,
                    wrapped("Stop once SECONDS (above 0, up to 1e+09) have passed. Default: none."))
        ->type_name("SECONDS");
    sub->add_option("--metric", raw.metric, wrapped("cityblock or euclidean distances in phi_p. Default cityblock."))
        ->type_name("METRIC");
    sub->add_option("-p", raw.p, wrapped("Exponent of phi_p, 1 to 200. Default 50."))->type_name("P");
    sub->add_option("--placement", raw.placement,
                    wrapped(augmenting ? "Where a new value sits in its stratum: centered (the middle) or jittered "
                                         "(uniform within it, seeded). Default centered."
                                       : "Print the levels placed in [0, 1] as for a new design: centered, grid or "
                                         "jittered. Default: the values of FILE."))
        ->type_name("PLACEMENT");
    sub->add_option("--bounds", raw.bounds,
                    wrapped(augmenting ? "The box of the design: variable j lies in [LO_j, HI_j]; one pair for "
                                         "every variable or one per variable. Default: [0, 1]. Values of FILE "
                                         "outside it are refused."
                                       : "Print values placed in [0, 1] and scaled to [LO_j, HI_j]: one pair for "
                                         "every variable or one per variable."))
        ->type_name("LO:HI[,LO:HI...]");
    sub->add_flag("--levels", raw.levels,
                  wrapped(augmenting ? "Print stratum numbers 1..n+K instead of values."
                                     : "Print the ranks 1..n instead of values."));
    sub->add_option("--format", raw.format, wrapped("csv, tsv or json. Default csv."))->type_name("FORMAT");
    sub->add_option("-o,--output", raw.output,
                    wrapped("Write the design to FILE, replaced atomically ('-': standard output, the default); "
                            "it may be the input."))
        ->type_name("FILE");
    sub->add_flag("-q,--quiet", raw.quiet, wrapped("Do not print progress or the summary line."));
}

olhs::Metric metricOf(const std::string& text) {
    if (text == "cityblock") return olhs::Metric::CityBlock;
    if (text == "euclidean") return olhs::Metric::Euclidean;
    throw UsageError("--metric", "expected cityblock or euclidean, got '" + text + "'");
}

olhs::Placement placementOf(const std::string& text, bool augmenting) {
    if (text == "centered") return olhs::Placement::Centered;
    if (text == "jittered") return olhs::Placement::Jittered;
    if (text == "grid" && !augmenting) return olhs::Placement::Grid;
    if (text == "grid") {
        throw UsageError("--placement", "grid puts values on the edges of their strata; expected centered or "
                                        "jittered");
    }
    throw UsageError("--placement", std::string("expected centered, ") + (augmenting ? "" : "grid, ") +
                                        "or jittered, got '" + text + "'");
}

} // namespace

ExistingSubcommands::ExistingSubcommands(CLI::App& app) : raw_(std::make_unique<Raw>()) {
    Raw& raw = *raw_;
    raw.score = app.add_subcommand("score", wrapped(scoreHelp, 70));
    declareInput(raw.score, raw.input);
    raw.score->add_option("--format", raw.format, wrapped("text or json. Default text."))->type_name("FORMAT");
    raw.score->add_option("-p", raw.p, wrapped("Exponent of phi_p, 1 to 200. Default 50."))->type_name("P");
    raw.score->add_option("-o,--output", raw.output, wrapped("Write to FILE instead of standard output."))
        ->type_name("FILE");

    raw.improve = app.add_subcommand("improve", wrapped(improveHelp, 70));
    declareInput(raw.improve, raw.input);
    declareOptimiser(raw.improve, raw, false);

    raw.augment = app.add_subcommand("augment", wrapped(augmentHelp, 70));
    declareInput(raw.augment, raw.input);
    raw.augment->add_option("-k,--add", raw.add, wrapped("Points to add, 1 to 999999. Required."))->type_name("K");
    declareOptimiser(raw.augment, raw, true);
    app.require_subcommand(0, 1);
}

ExistingSubcommands::~ExistingSubcommands() = default;

bool ExistingSubcommands::chosen() const { return raw_->chosen() != nullptr; }

std::string ExistingSubcommands::name() const { return raw_->chosen()->get_name(); }

ExistingOptions ExistingSubcommands::check() const {
    const Raw& raw = *raw_;
    ExistingOptions e;
    const std::string sub = name();
    e.command = sub == "score" ? Command::Score : sub == "improve" ? Command::Improve : Command::Augment;
    const bool augmenting = e.command == Command::Augment;
    if (raw.input.empty()) {
        throw UsageError(sub, "expected the design's FILE ('-' for standard input)");
    }
    e.input = raw.input;
    Options& o = e.base;
    o.method = Method::Optimiser;
    o.quiet = raw.quiet;
    if (raw.given("--output")) {
        if (raw.output.empty()) throw UsageError("-o", "expected a file name, got an empty one");
        if (raw.output != "-") o.output = raw.output;
    }
    if (e.command == Command::Score) {
        if (raw.given("--format") && raw.format != "text" && raw.format != "json")
            throw UsageError("--format", "expected text or json, got '" + raw.format + "'");
        e.json = raw.format == "json";
        if (raw.given("-p")) o.optimiser.p = parseReal("-p", raw.p, 1.0, 200.0);
        return e;
    }
    if (augmenting) {
        if (!raw.given("--add")) throw UsageError("-k", "required: the number of points to add, 1 to 999999");
        e.add = static_cast<int>(parseInteger("-k", raw.add, 1, 999999));
    }
    o.seedGiven = raw.given("--seed");
    o.seed = o.seedGiven ? parseUnsigned64("--seed", raw.seed) : CRand::defaultSeed;
    OptimiserSettings& s = o.optimiser;
    if (raw.given("--threads")) s.threads = static_cast<int>(parseInteger("--threads", raw.threads, 0, 1024));
    if (raw.given("--restarts")) s.restarts = static_cast<int>(parseInteger("--restarts", raw.restarts, 1, INT_MAX));
    if (raw.given("--time-budget")) {
        const double budget = parseReal("--time-budget", raw.timeBudget, 0.0, 1e9);
        if (!(budget > 0.0))
            throw UsageError("--time-budget", "expected a number of seconds above 0 and up to 1e+09, got '" +
                                                  raw.timeBudget + "'");
        s.timeBudget = budget;
    }
    s.iterations = -1; // chosen from n once the file is read, unless given
    if (raw.given("--iterations")) {
        s.iterations = static_cast<long>(parseInteger("--iterations", raw.iterations, 0, LONG_MAX));
        if (s.iterations == 0 && !raw.given("--time-budget"))
            throw UsageError("--iterations", "0 runs until the time budget and needs --time-budget");
    } else if (raw.given("--time-budget")) {
        s.iterations = 0;
    }
    if (raw.given("--metric")) s.metric = metricOf(raw.metric);
    if (raw.given("-p")) s.p = parseReal("-p", raw.p, 1.0, 200.0);
    if (raw.given("--placement")) {
        s.placement = placementOf(raw.placement, augmenting);
        e.placementGiven = true;
    }
    if (raw.levels && raw.given("--bounds") && !augmenting)
        throw UsageError("--levels", "cannot be combined with --bounds (levels are not scaled)");
    o.scale = raw.levels ? Scale::Levels : Scale::Given;
    if (raw.given("--bounds")) {
        o.bounds = parseBounds("--bounds", raw.bounds);
        if (!augmenting && !raw.levels) o.scale = Scale::Bounds;
    }
    if (!augmenting && e.placementGiven && o.scale == Scale::Given) o.scale = Scale::Unit;
    if (raw.given("--format")) {
        if (raw.format == "csv") o.format = Format::Csv;
        else if (raw.format == "tsv") o.format = Format::Tsv;
        else if (raw.format == "json") o.format = Format::Json;
        else throw UsageError("--format", "expected csv, tsv or json, got '" + raw.format + "'");
    }
    return e;
}

} // namespace olhs_cli
