#include "olhs/Report.h"

#include <utility>

#include "optimal_access.h"
#include "report_file.h"

using olhs::detail::OpenMode;
using olhs::detail::ReportFile;

namespace {

const char* const SEP = "================================================================================\n";
const char* const SEP2 = "================================================================================\n\n";

} // namespace

Report::Report() : fileName("") {}

Report::Report(std::string fileName) : fileName(std::move(fileName)) {}

void Report::setFileName(std::string name) { fileName = std::move(name); }

void Report::updateStopCriterion(StoppingCriteria criteria) { stoppingCriteria = std::move(criteria); }

void Report::fprintfReport(std::string title, OptimalLH initial, OptimalLH optimal, int kind) {
    switch (kind) {
    case 0:
    case 1: {
        const std::string number = kind == 0 ? "0" : "1";
        initial.fprintfReport(fileName + "Inital_" + number + ".rpt", kind);
        optimal.fprintfReport(fileName + "Optimal_" + number + ".rpt", kind);
        return;
    }
    case 2:
        break;
    case 3:
        fprintfReport(title, initial, optimal, 0);
        fprintfReport(title, initial, optimal, 1);
        fprintfReport(title, initial, optimal, 2);
        return;
    default:
        return;
    }

    // The full report: every stage opens the file, writes and closes it again, so each
    // section writer finds it closed. A stage whose file cannot be opened is skipped.
    const std::string path = fileName + "FullReport.rpt";
    {
        const ReportFile file(path, OpenMode::Truncate);
        file.write(SEP);
        if (file.isOpen()) {
            std::fprintf(file.get(), "%s\n", title.c_str());
        }
        file.write(SEP);
        if (!file.isOpen()) {
            return;
        }
    }
    stoppingCriteria.fprintfReport(path);
    // A blank line, a rule, the title and the rule below it.
    const auto heading = [&path](const char* title, const char* below) {
        const ReportFile file(path, OpenMode::Append);
        file.write("\n");
        file.write(SEP);
        file.write(title);
        file.write(below);
    };
    heading("INITIAL LATIN HYPERCUBE\n", SEP2);
    olhs::detail::writeOptimalDesign(initial, path, 0, OpenMode::Append);
    heading("OPTIMAL LATIN HYPERCUBE\n", SEP);
    olhs::detail::writeOptimalDesign(optimal, path, 0, OpenMode::Append);
    {
        const ReportFile file(path, OpenMode::Append);
        file.write(SEP);
    }
}
