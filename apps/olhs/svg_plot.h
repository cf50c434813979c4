// A scatter-plot matrix of a design as a standalone SVG document.
#ifndef OLHS_CLI_SVG_PLOT_H
#define OLHS_CLI_SVG_PLOT_H

#include <cstdio>
#include <vector>

#include "design.h"

namespace olhs_cli {

/// Shows the given variables (0-based, at least 2) in that order: panel (row r, column c)
/// plots the c-th across against the r-th up, for every r != c; the diagonal names the
/// variables. Points sit on the grid of the n levels.
void writeScatterMatrix(std::FILE* out, const Design& design, const std::vector<int>& variables);

} // namespace olhs_cli

#endif
