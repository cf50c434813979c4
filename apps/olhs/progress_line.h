// The optimiser's progress on standard error: a line rewritten in place while it runs (only
// on a terminal, where \r returns to the line's start) and a summary line at the end.
#ifndef OLHS_CLI_PROGRESS_LINE_H
#define OLHS_CLI_PROGRESS_LINE_H

#include <cstdio>
#include <string>

#include "design.h"
#include "olhs/optimize.h"

namespace olhs_cli {

class ProgressLine {
public:
    /// `live`: draw the line (standard error is a terminal and not --quiet).
    ProgressLine(std::FILE* out, bool live, const OptimiserSettings& settings);
    /// The optimiser's progress callback; never cancels.
    bool operator()(const olhs::Progress& progress);
    /// Clears the line if one was drawn.
    void clear();

private:
    std::FILE* out_;
    bool live_;
    int restarts_;
    long iterations_;
    double budget_;
    int finished_ = 0;
    double lastDrawn_ = -1.0;
    std::size_t drawnLength_ = 0;
};

/// "olhs: best phi_p ... from R restarts, I iterations in S s; stopped by: REASON".
std::string summaryLine(const OptimiserOutcome& outcome);

} // namespace olhs_cli

#endif
