#include "existing_options.h"

#include <CLI/CLI.hpp>

#include "help_text.h"
#include "olhs/CRand.h"
#include "option_groups.h"
#include "usage_error.h"
#include "values.h"

namespace olhs_cli {

// One set of values serves the three subcommands: only the one named is parsed.
struct ExistingSubcommands::Declared {
    ExistingOptions e;
    OutputTexts texts;
    CLI::App* score = nullptr;
    CLI::App* improve = nullptr;
    CLI::App* augment = nullptr;

    CLI::App* chosen() const {
        for (CLI::App* sub : {score, improve, augment})
            if (sub->parsed()) return sub;
        return nullptr;
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

CLI::App* subcommand(CLI::App& app, const char* name, const char* help, std::string& input) {
    CLI::App* sub = app.add_subcommand(name, wrapped(help, 70));
    sub->add_option("FILE", input, wrapped("The design: CSV or TSV, with or without a header row; '-' reads "
                                           "standard input."))
        ->type_name("FILE");
    return sub;
}

// improve and augment: the optimiser's options and the output's.
void declareSearch(CLI::App* sub, ExistingOptions& e, OutputTexts& texts, Audience who) {
    addSeedGroup(*sub, e.base.seed, who);
    addOptimiserGroup(*sub, e.base.optimiser, who);
    addOutputGroup(*sub, e.base, texts, who);
}

} // namespace

ExistingSubcommands::ExistingSubcommands(CLI::App& app) : declared_(std::make_unique<Declared>()) {
    Declared& d = *declared_;
    ExistingOptions& e = d.e;
    e.base.seed = CRand::defaultSeed;
    d.score = subcommand(app, "score", scoreHelp, e.input);
    addScoreGroup(*d.score, e.json, e.base.optimiser.p, d.texts.output);
    d.improve = subcommand(app, "improve", improveHelp, e.input);
    declareSearch(d.improve, e, d.texts, Audience::Improve);
    d.augment = subcommand(app, "augment", augmentHelp, e.input);
    addAugmentGroup(*d.augment, e.add);
    declareSearch(d.augment, e, d.texts, Audience::Augment);
    app.require_subcommand(0, 1);
}

ExistingSubcommands::~ExistingSubcommands() = default;

bool ExistingSubcommands::chosen() const { return declared_->chosen() != nullptr; }

std::string ExistingSubcommands::name() const { return declared_->chosen()->get_name(); }

ExistingOptions ExistingSubcommands::check() const {
    const Declared& d = *declared_;
    const CLI::App* sub = d.chosen();
    ExistingOptions e = d.e;
    e.command = sub == d.score ? Command::Score : sub == d.improve ? Command::Improve : Command::Augment;
    const bool augmenting = e.command == Command::Augment;
    if (e.input.empty()) {
        throw UsageError(sub->get_name(), "expected the design's FILE ('-' for standard input)");
    }
    Options& o = e.base;
    o.method = Method::Optimiser;
    o.output = outputPath(sub, d.texts.output);
    if (augmenting && !given(sub, "-k")) {
        throw UsageError("-k", "required: the number of points to add, 1 to 999999");
    }
    // The run adds K to the file's points in an int, before the library sees either.
    if (augmenting && e.add > 999999) {
        throw UsageError("-k", "expected a whole number from 1 to 999999, got '" + std::to_string(e.add) + "'");
    }
    o.seedGiven = given(sub, "--seed");
    // The settings are checked before the file is read, with the smallest design's size;
    // the run checks them again with the file's.
    Options smallest = o;
    smallest.n = 2;
    smallest.m = 1;
    checkWithLibrary(smallest);
    if (e.command == Command::Score) {
        return e;
    }
    OptimiserSettings& s = o.optimiser;
    if (s.iterations == 0 && !(s.timeBudget > 0.0)) {
        s.iterations = -1; // chosen from n once the file is read
    }
    e.placementGiven = given(sub, "--placement");
    if (d.texts.levels && given(sub, "--bounds") && !augmenting) {
        throw UsageError("--levels", "cannot be combined with --bounds (levels are not scaled)");
    }
    o.scale = d.texts.levels ? Scale::Levels : Scale::Given;
    if (given(sub, "--bounds")) {
        o.bounds = parseBounds("--bounds", d.texts.bounds);
        if (!augmenting && !d.texts.levels) o.scale = Scale::Bounds;
    }
    if (!augmenting && e.placementGiven && o.scale == Scale::Given) o.scale = Scale::Unit;
    return e;
}

} // namespace olhs_cli
