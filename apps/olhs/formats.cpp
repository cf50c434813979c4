#include "formats.h"

#include <cmath>
#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

#include "number_text.h"

namespace olhs_cli {

namespace {

void writeReal(std::FILE* out, double value) { writeShortest(out, value); }

// (1 - x) lo + x hi rather than lo + x (hi - lo): the ends map exactly onto LO and HI, and
// no intermediate overflows even for bounds near the largest doubles.
double scaled(double x, const Interval& bounds) { return (1.0 - x) * bounds.low + x * bounds.high; }

void writeCell(std::FILE* out, const Design& design, const Options& options, std::size_t i, std::size_t j) {
    const std::size_t k = i * static_cast<std::size_t>(design.m) + j;
    switch (options.scale) {
    case Scale::Levels:
        std::fprintf(out, "%d", design.levels[k]);
        break;
    case Scale::Bounds:
        writeReal(out, scaled(design.unit[k], options.bounds[j]));
        break;
    case Scale::Unit:
    case Scale::Given:
        writeReal(out, design.unit[k]);
        break;
    }
}

void writeDelimited(std::FILE* out, const Design& design, const Options& options, char separator) {
    const std::size_t n = static_cast<std::size_t>(design.n);
    const std::size_t m = static_cast<std::size_t>(design.m);
    for (std::size_t j = 0; j < m; ++j) {
        if (j > 0) {
            std::fputc(separator, out);
        }
        std::fprintf(out, "x%zu", j + 1);
    }
    std::fputc('\n', out);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < m; ++j) {
            if (j > 0) {
                std::fputc(separator, out);
            }
            writeCell(out, design, options, i, j);
        }
        std::fputc('\n', out);
    }
}

const char* scaleName(Scale scale) {
    switch (scale) {
    case Scale::Levels:
        return "levels";
    case Scale::Bounds:
        return "bounds";
    case Scale::Given:
        return "given";
    case Scale::Unit:
        break;
    }
    return "unit";
}

// nlohmann::json keeps the document's structure and writes its strings, whole numbers and
// literals; doubles are written here, because the library's form is not the shortest one
// ("2.0" for 2, "15000000000.0" for 1.5e+10) and the JSON must carry the same text as CSV.
// Objects take a line per member, arrays one line.
void render(std::string& text, const Json& value, int indent);

void renderMembers(std::string& text, const Json& object, int indent) {
    bool first = true;
    for (const auto& [key, member] : object.items()) {
        text += first ? "" : ",\n";
        text.append(static_cast<std::size_t>(indent), ' ');
        text += Json(key).dump();
        text += ": ";
        render(text, member, indent);
        first = false;
    }
}

void render(std::string& text, const Json& value, int indent) {
    if (value.is_number_float()) {
        text += shortestText(value.get<double>());
    } else if (value.is_object()) {
        if (value.empty()) {
            text += "{}";
            return;
        }
        text += "{\n";
        renderMembers(text, value, indent + 2);
        text += "\n";
        text.append(static_cast<std::size_t>(indent), ' ');
        text += "}";
    } else if (value.is_array()) {
        text += "[";
        for (std::size_t k = 0; k < value.size(); ++k) {
            text += k == 0 ? "" : ", ";
            render(text, value[k], indent);
        }
        text += "]";
    } else {
        text += value.dump();
    }
}

const char* metricName(olhs::Metric metric) { return metric == olhs::Metric::Euclidean ? "euclidean" : "cityblock"; }

const char* placementName(olhs::Placement placement) {
    switch (placement) {
    case olhs::Placement::Grid:
        return "grid";
    case olhs::Placement::Jittered:
        return "jittered";
    case olhs::Placement::Centered:
        break;
    }
    return "centered";
}

// Everything that, with n, m, the seed and the bounds, makes the same design again.
Json settings(const Options& options) {
    Json result = {{"optimised", !options.random}};
    if (options.method == Method::Classic) {
        const olhs::ClassicLimits& limits = options.limits;
        result["classic"] = true;
        result["max_iterations"] = limits.maxIterations;
        result["stall_iterations"] = limits.stallIterations;
        result["min_iterations"] = limits.minIterations;
        result["time_limit"] = std::isinf(limits.timeLimit) ? Json(nullptr) : Json(limits.timeLimit);
        result["convergence"] = limits.convergence;
    } else if (options.method == Method::Optimiser) {
        const OptimiserSettings& s = options.optimiser;
        result["classic"] = false;
        result["restarts"] = s.restarts;
        result["iterations"] = s.iterations;
        result["time_budget"] = s.timeBudget > 0.0 ? Json(s.timeBudget) : Json(nullptr);
        result["metric"] = metricName(s.metric);
        result["criterion"] = s.criterion == olhs::Criterion::Maximin       ? "maximin"
                              : s.criterion == olhs::Criterion::MaxPro      ? "maxpro"
                              : s.criterion == olhs::Criterion::Discrepancy ? "discrepancy"
                                                                            : "phip";
        result["start"] = s.start == olhs::Start::Lattice ? "lattice" : s.start == olhs::Start::Random ? "random" : "auto";
        result["p"] = s.p;
        result["placement"] = placementName(s.placement);
        result["threads"] = s.threads;
    }
    return result;
}

// How the search went; the seconds are left out so that the same run writes the same text.
Json outcome(const Design& design, double phiP) {
    if (design.optimised) {
        const OptimiserOutcome& o = *design.optimised;
        Json result = {{"phi_p", o.phip}, {"stop_reason", o.stopReason}, {"iterations", o.iterations},
                       {"restarts", o.restarts}};
        if (o.minCityBlock > 0.0) {
            result["min_city_block_distance"] = o.minCityBlock;
            result["min_euclidean_distance"] = o.minEuclidean;
        }
        if (!o.exact) result["exact"] = false; // bounds: the distances at least, phi_p at most
        if (o.smallest) {
            result["smallest_distance"] = *o.smallest;
            result["pairs_at_smallest"] = o.pairsAtSmallest;
        }
        if (o.maxPro) result["maxpro"] = *o.maxPro;
        if (o.discrepancy) result["centered_l2_discrepancy"] = *o.discrepancy;
        return result;
    }
    if (design.stop) {
        return {{"phi_p", phiP}, {"stop_reason", design.stop->reason}, {"iterations", design.stop->iterations},
                {"restarts", 1}};
    }
    return nullptr;
}

Json metricsOf(const Metrics& metrics) {
    return {{"phi_p", metrics.phiP},
            {"min_city_block_distance", metrics.minCityBlock},
            {"min_euclidean_distance", metrics.minEuclidean},
            {"max_abs_correlation", metrics.maxAbsCorrelation ? Json(*metrics.maxAbsCorrelation) : Json(nullptr)}};
}

Json existingOf(const ExistingFacts& facts) {
    Json result = {{"command", facts.command}, {"input", facts.input}, {"input_points", facts.points}};
    if (facts.startPhiP) {
        result["input_phi_p"] = *facts.startPhiP;
    }
    if (facts.command == "augment") {
        result["added"] = facts.added;
        result["doubled_strata"] = facts.doubledStrata;
        result["doubled"] = facts.doubled;
        result["box"] = Json::array();
        for (const Interval& bounds : facts.box) {
            result["box"].push_back({bounds.low, bounds.high});
        }
    }
    return result;
}

Json cell(const Design& design, const Options& options, std::size_t i, std::size_t j) {
    const std::size_t k = i * static_cast<std::size_t>(design.m) + j;
    switch (options.scale) {
    case Scale::Levels:
        return design.levels[k];
    case Scale::Bounds:
        return scaled(design.unit[k], options.bounds[j]);
    case Scale::Unit:
    case Scale::Given:
        break;
    }
    return design.unit[k];
}

void put(std::FILE* out, const std::string& text) { std::fwrite(text.data(), 1, text.size(), out); }

// Everything but the design is O(m) and goes into one document; the design's rows are
// rendered one at a time, so the n x m values are never held as JSON.
void writeJson(std::FILE* out, const Design& design, const Options& options, const DesignFacts& facts) {
    const std::size_t n = static_cast<std::size_t>(design.n);
    const std::size_t m = static_cast<std::size_t>(design.m);
    Json head = {{"n", design.n},
                 {"m", design.m},
                 {"seed", options.seed},
                 {"default_seed", !options.seedGiven},
                 {"settings", settings(options)},
                 {"phi_p", facts.phiP}};
    if (options.method != Method::Random) {
        head["result"] = outcome(design, facts.phiP);
    }
    if (facts.metrics) {
        head["metrics"] = metricsOf(*facts.metrics);
    }
    if (facts.existing) {
        head["existing"] = existingOf(*facts.existing);
    }
    head["scale"] = scaleName(options.scale);
    head["bounds"] = nullptr;
    if (options.scale == Scale::Bounds) {
        head["bounds"] = Json::array();
        for (const Interval& bounds : options.bounds) {
            head["bounds"].push_back({bounds.low, bounds.high});
        }
    }
    head["variables"] = Json::array();
    for (std::size_t j = 0; j < m; ++j) {
        head["variables"].push_back("x" + std::to_string(j + 1));
    }

    std::string text = "{\n";
    renderMembers(text, head, 2);
    text += ",\n  \"design\": [\n";
    put(out, text);
    Json row = Json::array();
    for (std::size_t i = 0; i < n; ++i) {
        row.clear();
        for (std::size_t j = 0; j < m; ++j) {
            row.push_back(cell(design, options, i, j));
        }
        text = "    ";
        render(text, row, 4);
        text += i + 1 < n ? ",\n" : "\n";
        put(out, text);
    }
    put(out, "  ]\n}\n");
}

} // namespace

std::string jsonText(const Json& document) {
    std::string text;
    render(text, document, 0);
    return text + "\n";
}

void writeDesign(std::FILE* out, const Design& design, const Options& options, const DesignFacts* facts) {
    switch (options.format) {
    case Format::Csv:
        writeDelimited(out, design, options, ',');
        break;
    case Format::Tsv:
        writeDelimited(out, design, options, '\t');
        break;
    case Format::Json:
        writeJson(out, design, options, facts != nullptr ? *facts : DesignFacts{});
        break;
    }
}

} // namespace olhs_cli
