// A scatter-plot matrix of a design as a standalone SVG document.
#ifndef OLHS_CLI_SVG_PLOT_H
#define OLHS_CLI_SVG_PLOT_H

#include <cstdio>

#include "design.h"

namespace olhs_cli {

/// Panel (row r, column c) plots variable c across against variable r up, for every
/// r != c; the diagonal names the variables. Points sit on the grid of the n levels.
/// Needs m >= 2.
void writeScatterMatrix(std::FILE* out, const Design& design);

} // namespace olhs_cli

#endif
