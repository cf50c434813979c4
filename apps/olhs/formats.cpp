#include "formats.h"

#include <cstddef>

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
    case Scale::Unit:
        break;
    }
    return "unit";
}

void writeSettings(std::FILE* out, const Options& options) {
    std::fprintf(out, "  \"settings\": {\n");
    std::fprintf(out, "    \"optimised\": %s", options.random ? "false" : "true");
    if (!options.random) {
        const SearchLimits& limits = options.limits;
        std::fprintf(out, ",\n    \"max_iterations\": %d", limits.maxIterations);
        std::fprintf(out, ",\n    \"stall_iterations\": %d", limits.stallIterations);
        std::fprintf(out, ",\n    \"min_iterations\": %d", limits.minIterations);
        std::fprintf(out, ",\n    \"time_limit\": ");
        if (limits.timeLimit) {
            writeReal(out, *limits.timeLimit);
        } else {
            std::fprintf(out, "null");
        }
        std::fprintf(out, ",\n    \"convergence\": ");
        writeReal(out, limits.convergence);
    }
    std::fprintf(out, "\n  },\n");
}

void writeMetrics(std::FILE* out, const Metrics& metrics) {
    std::fprintf(out, "  \"metrics\": {\n    \"phi_p\": ");
    writeReal(out, metrics.phiP);
    std::fprintf(out, ",\n    \"min_city_block_distance\": %lld", metrics.minCityBlock);
    std::fprintf(out, ",\n    \"min_euclidean_distance\": ");
    writeReal(out, metrics.minEuclidean);
    std::fprintf(out, ",\n    \"max_abs_correlation\": ");
    if (metrics.maxAbsCorrelation) {
        writeReal(out, *metrics.maxAbsCorrelation);
    } else {
        std::fprintf(out, "null");
    }
    std::fprintf(out, "\n  },\n");
}

// Every string written here is a fixed key or a generated name ("x12"), so nothing needs
// escaping; numbers are finite values in their shortest form and whole numbers, both valid JSON.
void writeJson(std::FILE* out, const Design& design, const Options& options, const DesignFacts& facts) {
    const std::size_t n = static_cast<std::size_t>(design.n);
    const std::size_t m = static_cast<std::size_t>(design.m);
    std::fprintf(out, "{\n");
    std::fprintf(out, "  \"n\": %d,\n  \"m\": %d,\n", design.n, design.m);
    std::fprintf(out, "  \"seed\": %llu,\n", static_cast<unsigned long long>(options.seed));
    std::fprintf(out, "  \"default_seed\": %s,\n", options.seedGiven ? "false" : "true");
    writeSettings(out, options);
    std::fprintf(out, "  \"phi_p\": ");
    writeReal(out, facts.phiP);
    std::fprintf(out, ",\n");
    if (facts.metrics) {
        writeMetrics(out, *facts.metrics);
    }
    std::fprintf(out, "  \"scale\": \"%s\",\n", scaleName(options.scale));
    std::fprintf(out, "  \"bounds\": ");
    if (options.scale == Scale::Bounds) {
        std::fprintf(out, "[");
        for (std::size_t j = 0; j < m; ++j) {
            std::fprintf(out, "%s[", j == 0 ? "" : ", ");
            writeReal(out, options.bounds[j].low);
            std::fprintf(out, ", ");
            writeReal(out, options.bounds[j].high);
            std::fprintf(out, "]");
        }
        std::fprintf(out, "],\n");
    } else {
        std::fprintf(out, "null,\n");
    }
    std::fprintf(out, "  \"variables\": [");
    for (std::size_t j = 0; j < m; ++j) {
        std::fprintf(out, "%s\"x%zu\"", j == 0 ? "" : ", ", j + 1);
    }
    std::fprintf(out, "],\n  \"design\": [\n");
    for (std::size_t i = 0; i < n; ++i) {
        std::fprintf(out, "    [");
        for (std::size_t j = 0; j < m; ++j) {
            if (j > 0) {
                std::fprintf(out, ", ");
            }
            writeCell(out, design, options, i, j);
        }
        std::fprintf(out, "]%s\n", i + 1 < n ? "," : "");
    }
    std::fprintf(out, "  ]\n}\n");
}

} // namespace

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
