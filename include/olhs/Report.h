#ifndef OLHS_REPORT_H
#define OLHS_REPORT_H

#include <string>

#include "olhs/OptimalLH.h"
#include "olhs/StoppingCriteria.h"
#include "olhs/export.h"

/// Writes the plain-text report files of one run. The prefix is put in front of every
/// file name as it stands: a directory prefix must end with its own slash.
class OLHS_API Report {
public:
    Report();
    explicit Report(std::string fileName);

    /// Replaces the file-name prefix.
    void setFileName(std::string fileName);
    /// Replaces the report's copy of the run's stopping criteria.
    void updateStopCriterion(StoppingCriteria criteria);
    /// Writes report files for the title and the two designs: 0 or 1 the per-design files
    /// in that format, 2 the full report, 3 all five files, any other number nothing.
    void fprintfReport(std::string title, OptimalLH initial, OptimalLH optimal, int kind);

private:
    std::string fileName;
    StoppingCriteria stoppingCriteria;
};

#endif
