#include "olhs/Report.h"

#include <string>
#include <utility>
#include <vector>

#include "olhs/classic.h"

#include "optimal_access.h"
#include "report_file.h"

using olhs::detail::OpenMode;
using olhs::detail::ReportFile;
using olhs::detail::ruleLine;

Report::Report() : fileName("") {}

Report::Report(std::string fileName) : fileName(std::move(fileName)) {}

void Report::setFileName(std::string name) { fileName = std::move(name); }

void Report::updateStopCriterion(StoppingCriteria criteria) { stoppingCriteria = std::move(criteria); }

void Report::fprintfReport(std::string title, OptimalLH initial, OptimalLH optimal, int kind) {
    switch (kind) {
    case 0:
    case 1: {
        const std::vector<std::string> files = olhs::classicReportFiles(fileName);
        initial.fprintfReport(files[static_cast<std::size_t>(2 * kind)], kind);
        optimal.fprintfReport(files[static_cast<std::size_t>(2 * kind + 1)], kind);
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
    const std::string path = olhs::classicReportFiles(fileName).back();
    {
        const ReportFile file(path, OpenMode::Truncate);
        file.write(ruleLine);
        if (file.isOpen()) {
            std::fprintf(file.get(), "%s\n", title.c_str());
        }
        file.write(ruleLine);
        if (!file.isOpen()) {
            return;
        }
    }
    stoppingCriteria.fprintfReport(path);
    // A blank line, a rule, the title and the rule below it.
    const auto heading = [&path](const char* title, bool blankBelow) {
        const ReportFile file(path, OpenMode::Append);
        file.write("\n");
        file.write(ruleLine);
        file.write(title);
        file.write(ruleLine);
        if (blankBelow) file.write("\n");
    };
    heading("INITIAL LATIN HYPERCUBE\n", true);
    olhs::detail::writeOptimalDesign(initial, path, 0, OpenMode::Append);
    heading("OPTIMAL LATIN HYPERCUBE\n", false);
    olhs::detail::writeOptimalDesign(optimal, path, 0, OpenMode::Append);
    {
        const ReportFile file(path, OpenMode::Append);
        file.write(ruleLine);
    }
}
