// Ticks of a plot's axis: a few round values ("nice" steps of 1, 2 or 5 times a power of
// ten) between the axis's ends, labelled in the shortest form that reads back exactly.
#ifndef OLHS_CLI_AXIS_TICKS_H
#define OLHS_CLI_AXIS_TICKS_H

#include <string>
#include <vector>

namespace olhs_cli {

struct Tick {
    double along; ///< 0 at the low end of the axis, 1 at the high end
    std::string label;
};

/// Ticks for values from `low` to `high` (finite, low < high), in increasing order, at least
/// two and at most six of them; `whole` keeps them on whole numbers. `length` is the axis's
/// length in characters of label text: the step grows until the labels, set side by side,
/// leave a character between them. When no round values do, the ends are labelled instead.
std::vector<Tick> axisTicks(double low, double high, bool whole, double length);

} // namespace olhs_cli

#endif
