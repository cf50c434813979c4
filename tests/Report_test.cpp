// Report files of a run: which files each report number writes, in which order, the exact
// layout of the full report, and what happens when a file cannot be opened.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/Report.h"
#include "olhs/StoppingCriteria.h"
#include "test_support.h"

using olhs_test::CaptureErr;
using olhs_test::exampleDesign;
using olhs_test::readFile;
using olhs_test::TempDir;
using olhs_test::w14;

namespace fs = std::filesystem;

namespace {

const std::string SEP = std::string(80, '=') + "\n";
const std::string SEP2 = std::string(80, '=') + "\n\n";

const std::vector<std::string> kAllFiles = {"Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt",
                                            "FullReport.rpt"};

// Initial design: rows (1,1), (2,3), (3,2), phi_p 0.5000000000314.
OptimalLH initialDesign() { return OptimalLH(exampleDesign()); }

// Optimal design for the report: rows (1,3), (2,1), (3,2), the initial one with points 0
// and 1 exchanged in variable 1.
OptimalLH optimalDesign() {
    OptimalLH x(exampleDesign());
    x.exchangeElements(1, 0, 1);
    return x;
}

std::string criterionLine(double value) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "Optimatily Criterion = %14.6g\n", value);
    return buffer;
}

const std::string kInitialMatrix = w14("1") + "\t" + w14("1") + "\t\n" + w14("2") + "\t" + w14("3") + "\t\n" +
                                   w14("3") + "\t" + w14("2") + "\t\n";
const std::string kOptimalMatrix = w14("1") + "\t" + w14("3") + "\t\n" + w14("2") + "\t" + w14("1") + "\t\n" +
                                   w14("3") + "\t" + w14("2") + "\t\n";
const std::string kInitialFile0 = kInitialMatrix + "\nOptimatily Criterion = " + w14("0.5") + "\n";
const std::string kInitialFile1 = "2\n3\n" + w14("1") + "\n" + w14("2") + "\n" + w14("3") + "\n" + w14("1") + "\n" +
                                  w14("3") + "\n" + w14("2") + "\n";
const std::string kOptimalFile1 = "2\n3\n" + w14("1") + "\n" + w14("2") + "\n" + w14("3") + "\n" + w14("3") + "\n" +
                                  w14("1") + "\n" + w14("2") + "\n";

const std::string kDefaultCriteriaSection =
    "STOPPING CRITERIA PARAMETERS:\n"
    "Maximum number of iterations: 100\n"
    "Minimum number of iterations: 5\n"
    "Maximum number of iterations without improvements: 10\n"
    "Maximum time allowed for the task:       1.7e+308 [s]\n"
    "Time allowed without improvement :       1.7e+308 [s]\n"
    "Percentage used for check the convergence:              1%\n"
    "\n"
    "STOPPING CRITERION REACHED:\n"
    "\n"
    "At iteration: 0\n"
    "Total time for the task:              0 [s]\n";

std::string fullReport(const std::string& title, const std::string& criteriaSection, const std::string& optimalFile0) {
    return SEP + title + "\n" + SEP + criteriaSection + "\n" + SEP + "INITIAL LATIN HYPERCUBE\n" + SEP2 +
           kInitialFile0 + "\n" + SEP + "OPTIMAL LATIN HYPERCUBE\n" + SEP + optimalFile0 + SEP;
}

std::set<std::string> entries(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
    return names;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = text.find('\n', from);
        out.push_back(text.substr(from, end - from));
        if (end == std::string::npos) break;
        from = end + 1;
    }
    return out;
}

// Runs the body with the current directory moved into `dir`.
template <class Body>
void inDirectory(const fs::path& dir, Body body) {
    const fs::path previous = fs::current_path();
    fs::current_path(dir);
    body();
    fs::current_path(previous);
}

} // namespace

TEST(Report, PerDesignFilesInBothFormats) {
    OptimalLH optimal = optimalDesign();
    const std::string optimalFile0 = kOptimalMatrix + "\n" + criterionLine(optimal.getOptCrt());
    {
        TempDir dir;
        Report report(dir.path().string() + "/");
        report.fprintfReport("T", initialDesign(), optimalDesign(), 0);
        EXPECT_EQ(entries(dir.path()), (std::set<std::string>{"Inital_0.rpt", "Optimal_0.rpt"}));
        EXPECT_EQ(readFile(dir.file("Inital_0.rpt")), kInitialFile0);
        EXPECT_EQ(readFile(dir.file("Optimal_0.rpt")), optimalFile0);
    }
    {
        TempDir dir;
        Report report(dir.path().string() + "/");
        report.fprintfReport("T", initialDesign(), optimalDesign(), 1);
        EXPECT_EQ(entries(dir.path()), (std::set<std::string>{"Inital_1.rpt", "Optimal_1.rpt"}));
        EXPECT_EQ(readFile(dir.file("Inital_1.rpt")), kInitialFile1);
        EXPECT_EQ(readFile(dir.file("Optimal_1.rpt")), kOptimalFile1);
    }
    {
        // The per-design files start afresh: a longer old content disappears.
        TempDir dir;
        std::FILE* f = std::fopen(dir.file("Inital_1.rpt").c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs(std::string(500, 'x').c_str(), f);
        std::fclose(f);
        Report report(dir.path().string() + "/");
        report.fprintfReport("T", initialDesign(), optimalDesign(), 1);
        EXPECT_EQ(readFile(dir.file("Inital_1.rpt")), kInitialFile1);
    }
}

TEST(Report, FullReportLayoutOfADefaultReport) {
    TempDir dir;
    Report report(dir.path().string() + "/");
    OptimalLH optimal = optimalDesign();
    const std::string optimalFile0 = kOptimalMatrix + "\n" + criterionLine(optimal.getOptCrt());
    report.fprintfReport("MY TITLE", initialDesign(), optimal, 2);
    EXPECT_EQ(entries(dir.path()), std::set<std::string>{"FullReport.rpt"});
    const std::string text = readFile(dir.file("FullReport.rpt"));
    EXPECT_EQ(text, fullReport("MY TITLE", kDefaultCriteriaSection, optimalFile0));

    // Separator, title, separator, then the criteria section from the fourth line on.
    const std::vector<std::string> l = lines(text);
    ASSERT_GE(l.size(), 4u);
    EXPECT_EQ(l[0], std::string(80, '='));
    EXPECT_EQ(l[1], "MY TITLE");
    EXPECT_EQ(l[2], std::string(80, '='));
    EXPECT_EQ(l[3], "STOPPING CRITERIA PARAMETERS:");
    // The initial heading is closed by an empty line, the optimal one is not.
    EXPECT_NE(text.find("INITIAL LATIN HYPERCUBE\n" + SEP + "\n" + w14("1")), std::string::npos);
    EXPECT_NE(text.find("OPTIMAL LATIN HYPERCUBE\n" + SEP + w14("1")), std::string::npos);

    // A second report with the same prefix replaces the first rather than adding to it.
    report.fprintfReport("SECOND", initialDesign(), optimal, 2);
    EXPECT_EQ(readFile(dir.file("FullReport.rpt")), fullReport("SECOND", kDefaultCriteriaSection, optimalFile0));
}

TEST(Report, FullReportShowsTheLastCriteriaHandedOver) {
    TempDir dir;
    Report report;
    report.setFileName(dir.path().string() + "/run7_");

    StoppingCriteria criteria(3, 0, 1000, 60.0, 30.0, 0.05);
    criteria.setInitialTime(0);
    report.updateStopCriterion(criteria);
    // The report holds a copy: later checks on the original do not reach it.
    criteria.setInitialTime(static_cast<long>(std::time(nullptr)));
    for (int i = 0; i < 3; ++i) criteria.isItTimeToStop(1.0);
    OptimalLH optimal = optimalDesign();
    const std::string optimalFile0 = kOptimalMatrix + "\n" + criterionLine(optimal.getOptCrt());
    report.fprintfReport("T", initialDesign(), optimal, 2);
    const std::string before =
        "STOPPING CRITERIA PARAMETERS:\n"
        "Maximum number of iterations: 3\n"
        "Minimum number of iterations: 0\n"
        "Maximum number of iterations without improvements: 1000\n"
        "Maximum time allowed for the task:             60 [s]\n"
        "Time allowed without improvement :             30 [s]\n"
        "Percentage used for check the convergence:              5%\n"
        "\n"
        "STOPPING CRITERION REACHED:\n"
        "\n"
        "At iteration: 0\n"
        "Total time for the task:              0 [s]\n";
    EXPECT_EQ(entries(dir.path()), std::set<std::string>{"run7_FullReport.rpt"});
    EXPECT_EQ(readFile(dir.file("run7_FullReport.rpt")), fullReport("T", before, optimalFile0));

    report.updateStopCriterion(criteria);
    report.fprintfReport("T", initialDesign(), optimal, 2);
    const std::string text = readFile(dir.file("run7_FullReport.rpt"));
    EXPECT_NE(text.find("STOPPING CRITERION REACHED:\nMaximum number of iterations.\nAt iteration: 3\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("At iteration: 0\n"), std::string::npos);
}

TEST(Report, NumberThreeWritesAllFiveFilesInOrderAndOtherNumbersNothing) {
    TempDir dir;
    inDirectory(dir.path(), [] {
        Report report;
        report.fprintfReport("ALL", initialDesign(), optimalDesign(), 3);
    });
    EXPECT_EQ(entries(dir.path()), std::set<std::string>(kAllFiles.begin(), kAllFiles.end()));
    EXPECT_EQ(readFile(dir.file("Inital_0.rpt")), kInitialFile0);
    EXPECT_EQ(readFile(dir.file("Inital_1.rpt")), kInitialFile1);
    EXPECT_EQ(readFile(dir.file("Optimal_1.rpt")), kOptimalFile1);
    OptimalLH optimal = optimalDesign();
    EXPECT_EQ(readFile(dir.file("FullReport.rpt")),
              fullReport("ALL", kDefaultCriteriaSection, kOptimalMatrix + "\n" + criterionLine(optimal.getOptCrt())));

    for (int kind : {4, -1, 5, 100}) {
        TempDir empty;
        CaptureErr err;
        inDirectory(empty.path(), [kind] {
            Report report;
            report.fprintfReport("NONE", initialDesign(), optimalDesign(), kind);
        });
        EXPECT_TRUE(fs::is_empty(empty.path())) << kind;
        EXPECT_EQ(err.take(), "") << kind;
    }
}

TEST(Report, FilesThatCannotBeOpenedAreNamedOnStandardErrorInWritingOrder) {
    // A prefix in a missing directory: every file fails, in the order they are written.
    TempDir dir;
    const std::string prefix = (dir.path() / "missing").string() + "/";
    Report report(prefix);
    CaptureErr err;
    report.fprintfReport("T", initialDesign(), optimalDesign(), 3);
    const std::vector<std::string> messages = lines(err.take());
    ASSERT_EQ(messages.size(), kAllFiles.size());
    for (std::size_t k = 0; k < kAllFiles.size(); ++k) {
        EXPECT_NE(messages[k].find(prefix + kAllFiles[k]), std::string::npos) << messages[k];
    }
    EXPECT_FALSE(fs::exists(dir.path() / "missing"));
}

TEST(Report, AFileThatCannotBeOpenedDoesNotStopTheOthers) {
    TempDir dir;
    // A directory in the place of a report file makes that file impossible to open.
    fs::create_directory(dir.path() / "Inital_0.rpt");
    Report report(dir.path().string() + "/");
    OptimalLH optimal = optimalDesign();
    CaptureErr err;
    report.fprintfReport("T", initialDesign(), optimal, 3);
    const std::vector<std::string> messages = lines(err.take());
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find(dir.file("Inital_0.rpt")), std::string::npos) << messages[0];
    EXPECT_TRUE(fs::is_directory(dir.path() / "Inital_0.rpt"));
    EXPECT_EQ(readFile(dir.file("Optimal_0.rpt")), kOptimalMatrix + "\n" + criterionLine(optimal.getOptCrt()));
    EXPECT_EQ(readFile(dir.file("Inital_1.rpt")), kInitialFile1);
    EXPECT_EQ(readFile(dir.file("Optimal_1.rpt")), kOptimalFile1);
    EXPECT_EQ(readFile(dir.file("FullReport.rpt")),
              fullReport("T", kDefaultCriteriaSection, kOptimalMatrix + "\n" + criterionLine(optimal.getOptCrt())));
}
