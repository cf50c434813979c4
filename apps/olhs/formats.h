// The design as text: CSV, TSV or JSON, written to any stdio stream.
#ifndef OLHS_CLI_FORMATS_H
#define OLHS_CLI_FORMATS_H

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>


#include "design.h"
#include "metrics.h"
#include "options.h"

namespace olhs_cli {

/// Where a design made from an existing one came from.
struct ExistingFacts {
    std::string command;              ///< "improve" or "augment"
    std::string input;                ///< the file, or "standard input"
    int points = 0;                   ///< points of the file
    std::optional<double> startPhiP;  ///< improve: phi_p of the file's ranks
    int added = 0;                    ///< augment: points added
    std::vector<int> doubledStrata;   ///< augment: per variable
    long long doubled = 0;            ///< augment: their sum
    std::vector<Interval> box;        ///< augment: per variable
};

/// What JSON carries beside the design. phi_p is always there; the other measures only
/// when they were asked for.
struct DesignFacts {
    double phiP = 0.0;
    std::optional<Metrics> metrics;
    std::optional<ExistingFacts> existing;
};

/// A document as the command writes JSON: a member per line, arrays on one line, doubles
/// in the shortest form that reads back exactly (as CSV writes them).
using Json = nlohmann::ordered_json;
std::string jsonText(const Json& document);

/// Writes the design in the format and scale the options ask for. Values are printed in
/// the shortest form that reads back exactly; levels as whole numbers.
void writeDesign(std::FILE* out, const Design& design, const Options& options, const DesignFacts* facts);

} // namespace olhs_cli

#endif
