// The design as text: CSV, TSV or JSON, written to any stdio stream.
#ifndef OLHS_CLI_FORMATS_H
#define OLHS_CLI_FORMATS_H

#include <cstdio>
#include <optional>

#include "design.h"
#include "metrics.h"
#include "options.h"

namespace olhs_cli {

/// What JSON carries beside the design. phi_p is always there; the other measures only
/// when they were asked for.
struct DesignFacts {
    double phiP = 0.0;
    std::optional<Metrics> metrics;
};

/// Writes the design in the format and scale the options ask for. Values are printed in
/// the shortest form that reads back exactly; levels as whole numbers.
void writeDesign(std::FILE* out, const Design& design, const Options& options, const DesignFacts* facts);

} // namespace olhs_cli

#endif
