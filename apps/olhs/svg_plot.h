// A scatter-plot matrix of a design as a standalone SVG document.
#ifndef OLHS_CLI_SVG_PLOT_H
#define OLHS_CLI_SVG_PLOT_H

#include <cstdio>

#include "design.h"
#include "options.h"

namespace olhs_cli {

/// Shows the options' plotVariables (at least 2) in that order: panel (row r, column c)
/// plots the c-th across against the r-th up, for every r != c; the diagonal names the
/// variables. Points sit on the grid of the n levels; the axes' ticks are labelled in the
/// scale the design is printed in (unit, levels or bounds).
void writeScatterMatrix(std::FILE* out, const Design& design, const Options& options);

} // namespace olhs_cli

#endif
