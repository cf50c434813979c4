#include "existing.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include <nlohmann/json.hpp>

#include "design.h"
#include "design_reader.h"
#include "formats.h"
#include "memory_guard.h"
#include "number_text.h"
#include "olhs/existing.h"
#include "olhs/metrics.h"
#include "olhs/optimize.h"
#include "output_file.h"
#include "progress_line.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

// The ranks of each column; a tie is refused naming the file's lines.
std::vector<int> ranksOf(const DesignTable& table, const std::string& source) {
    try {
        return olhs::ranks(table.values.data(), table.n, table.m);
    } catch (const olhs::TiedValues& tie) {
        // Stable ranking keeps tied rows in data order, so the first line is the smaller.
        const long first = table.lines[static_cast<std::size_t>(tie.firstRow() - 1)];
        const long second = table.lines[static_cast<std::size_t>(tie.secondRow() - 1)];
        throw UsageError(source + ": lines " + std::to_string(first) + " and " + std::to_string(second) + ", column " +
                         std::to_string(tie.column()) + ": both hold " + shortestText(tie.value()) +
                         "; a tie leaves the ranks of the column ambiguous");
    } catch (const std::invalid_argument& e) {
        throw UsageError(source + ": " + e.what());
    }
}

std::vector<Interval> boxOf(const Options& o, int m) {
    if (o.bounds.empty()) {
        return std::vector<Interval>(static_cast<std::size_t>(m), Interval{0.0, 1.0});
    }
    if (o.bounds.size() == 1) {
        return std::vector<Interval>(static_cast<std::size_t>(m), o.bounds.front());
    }
    if (o.bounds.size() != static_cast<std::size_t>(m)) {
        throw UsageError("--bounds", "expected 1 pair or one per variable of the design (" + std::to_string(m) +
                                         "), got " + std::to_string(o.bounds.size()));
    }
    return o.bounds;
}

// The settings of a run on a design of n points: the automatic iterations follow n.
Options settled(const ExistingOptions& e, int n, int m) {
    Options o = e.base;
    o.n = n;
    o.m = m;
    if (o.optimiser.iterations < 0) {
        o.optimiser.iterations = olhs::automaticIterations(n, m, libraryOptions(o));
    }
    if (o.scale == Scale::Bounds) {
        o.bounds = boxOf(o, m);
    }
    return o;
}

void checkMemoryOf(const Options& o, const std::string& source) {
    try {
        checkMemory(o);
    } catch (const UsageError& e) {
        const std::string message = e.what();
        throw UsageError(source + message.substr(message.find(':')));
    }
}

// Writes to -o (replaced atomically) or standard output.
void deliver(std::optional<OutputFile>& output, const std::function<void(std::FILE*)>& write) {
    if (output) {
        write(output->stream());
        output->commit();
    } else {
        writeToStandardOutput(write);
    }
}

// The optimiser's run, with the progress line on standard error.
template <class Run>
auto withProgress(const Options& o, Run&& run) {
    ProgressLine line(stderr, !o.quiet && isatty(STDERR_FILENO) == 1, o.optimiser);
    auto result = run([&line](const olhs::Progress& progress) { return line(progress); });
    line.clear();
    return result;
}

OptimiserOutcome outcomeOf(double phip, long iterations, int restarts, olhs::StopReason reason, double seconds) {
    OptimiserOutcome outcome;
    outcome.phip = phip;
    outcome.iterations = iterations;
    outcome.restarts = restarts;
    outcome.stopReason = olhs::toString(reason);
    outcome.seconds = seconds;
    return outcome;
}

int score(const ExistingOptions& e) {
    const std::string source = sourceName(e.input);
    const DesignTable table = readDesign(e.input);
    const std::vector<int> levels = ranksOf(table, source);
    const double p = e.base.optimiser.p;
    // Measuring a large design takes a while: the progress line shows how far it is.
    const olhs::Metrics mt = withProgress(e.base, [&](const ProgressCallback& progress) {
        const auto started = std::chrono::steady_clock::now();
        return olhs::metrics(levels, table.n, table.m, p, [&](double done) {
            olhs::Progress report{0, 0, std::numeric_limits<double>::quiet_NaN(),
                                  std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count()};
            report.phase = olhs::Phase::Measuring;
            report.fractionDone = done;
            return progress(report);
        });
    });
    std::optional<OutputFile> output;
    if (!e.base.output.empty()) {
        output.emplace("-o", e.base.output);
    }
    deliver(output, [&](std::FILE* out) {
        const std::vector<olhs::NamedMeasure> measures = olhs::namedMeasures(mt);
        if (e.json) {
            Json document = {{"input", source}, {"n", table.n}, {"m", table.m}, {"p", p}};
            for (const olhs::NamedMeasure& measure : measures) {
                document[measure.name] = !measure.known ? Json(nullptr)
                                         : measure.whole ? Json(static_cast<long long>(measure.value))
                                                         : Json(measure.value);
            }
            const std::string text = jsonText(document);
            std::fwrite(text.data(), 1, text.size(), out);
            return;
        }
        std::fprintf(out, "points: %d\nvariables: %d\np: %s\n", table.n, table.m, shortestText(p).c_str());
        for (const olhs::NamedMeasure& measure : measures) {
            const std::string value = !measure.known ? "none (one variable)"
                                      : measure.whole ? std::to_string(static_cast<long long>(measure.value))
                                                      : shortestText(measure.value);
            std::fprintf(out, "%s: %s\n", measure.name, value.c_str());
        }
    });
    return 0;
}

int improve(const ExistingOptions& e) {
    const std::string source = sourceName(e.input);
    const DesignTable table = readDesign(e.input);
    const int n = table.n, m = table.m;
    const std::vector<int> start = ranksOf(table, source);
    const Options o = settled(e, n, m);
    checkMemoryOf(o, source);
    std::optional<OutputFile> output;
    if (!o.output.empty()) {
        output.emplace("-o", o.output);
    }

    const olhs::Result result = withProgress(o, [&](const ProgressCallback& progress) {
        try {
            return olhs::improve(start, n, m, libraryOptions(o, progress));
        } catch (const olhs::InvalidOption& error) {
            refuseFromLibrary(error, source);
        }
    });

    Design design;
    design.n = n;
    design.m = m;
    design.levels = result.levels;
    if (o.scale == Scale::Given) {
        // Rank k takes the column's k-th smallest value: the file's values, paired anew.
        std::vector<double> column(static_cast<std::size_t>(n));
        design.unit.resize(result.levels.size());
        for (int c = 0; c < m; ++c) {
            for (int i = 0; i < n; ++i) column[static_cast<std::size_t>(i)] = table.values[static_cast<std::size_t>(i) * m + c];
            std::sort(column.begin(), column.end());
            for (int i = 0; i < n; ++i) {
                const std::size_t at = static_cast<std::size_t>(i) * m + c;
                design.unit[at] = column[static_cast<std::size_t>(result.levels[at] - 1)];
            }
        }
    } else {
        design.unit = result.design;
    }
    design.optimised = outcomeOf(result.phip, result.iterations, result.restarts, result.stopReason, result.seconds);

    DesignFacts facts;
    facts.phiP = result.phip;
    ExistingFacts existing;
    existing.command = "improve";
    existing.input = source;
    existing.points = n;
    existing.startPhiP = olhs::phip(start, n, m, o.optimiser.metric, o.optimiser.p);
    facts.existing = existing;
    if (!o.quiet) {
        std::fprintf(stderr, "%s\n", summaryLine(*design.optimised).c_str());
        std::fprintf(stderr, "olhs: phi_p of %s was %s\n", source.c_str(), shortestText(*existing.startPhiP).c_str());
    }
    deliver(output, [&](std::FILE* out) { writeDesign(out, design, o, &facts); });
    return 0;
}

int augment(const ExistingOptions& e) {
    const std::string source = sourceName(e.input);
    const DesignTable table = readDesign(e.input);
    const int n = table.n, m = table.m, k = e.add;
    Options o = settled(e, n + k, m);
    const std::vector<Interval> box = boxOf(o, m);
    std::vector<double> lower, upper;
    for (const Interval& bounds : box) {
        lower.push_back(bounds.low);
        upper.push_back(bounds.high);
    }
    for (int i = 0; i < n; ++i) {
        for (int c = 0; c < m; ++c) {
            const double x = table.values[static_cast<std::size_t>(i) * m + c];
            const Interval& bounds = box[static_cast<std::size_t>(c)];
            if (!(x >= bounds.low && x <= bounds.high)) {
                throw UsageError(source + ": line " + std::to_string(table.lines[static_cast<std::size_t>(i)]) +
                                 ", column " + std::to_string(c + 1) + ": " + shortestText(x) + " lies outside [" +
                                 shortestText(bounds.low) + ", " + shortestText(bounds.high) + "]" +
                                 (o.bounds.empty() ? "; give the design's box with --bounds" : ", the box of --bounds"));
            }
        }
    }
    checkMemoryOf(o, source);
    std::optional<OutputFile> output;
    if (!o.output.empty()) {
        output.emplace("-o", o.output);
    }

    const olhs::AugmentResult result = withProgress(o, [&](const ProgressCallback& progress) {
        try {
            return olhs::augment(table.values, n, m, k, libraryOptions(o, progress), lower, upper);
        } catch (const olhs::InvalidOption& error) {
            refuseFromLibrary(error, source);
        }
    });

    Design design;
    design.n = n + k;
    design.m = m;
    design.unit = result.design;
    design.levels = result.strata;
    design.optimised = outcomeOf(result.phip, result.iterations, result.restarts, result.stopReason, result.seconds);

    DesignFacts facts;
    facts.phiP = result.phip;
    ExistingFacts existing;
    existing.command = "augment";
    existing.input = source;
    existing.points = n;
    existing.added = k;
    existing.doubledStrata = result.doubledStrata;
    existing.doubled = result.doubled;
    existing.box = box;
    facts.existing = existing;
    if (!o.quiet) {
        std::fprintf(stderr, "%s\n", summaryLine(*design.optimised).c_str());
        std::string perVariable;
        for (int c = 0; c < m && result.doubled > 0; ++c) {
            perVariable += std::string(c == 0 ? " (" : ", ") + "x" + std::to_string(c + 1) + ": " +
                           std::to_string(result.doubledStrata[static_cast<std::size_t>(c)]);
        }
        std::fprintf(stderr, "olhs: added %d points to the %d of %s; doubled strata: %lld%s\n", k, n, source.c_str(),
                     result.doubled, perVariable.empty() ? "" : (perVariable + ")").c_str());
    }
    deliver(output, [&](std::FILE* out) { writeDesign(out, design, o, &facts); });
    return 0;
}

} // namespace

int runExisting(const ExistingOptions& options) {
    switch (options.command) {
    case Command::Improve:
        return improve(options);
    case Command::Augment:
        return augment(options);
    case Command::Score:
        break;
    }
    return score(options);
}

} // namespace olhs_cli
