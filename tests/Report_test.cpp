// Report files of a run: which files each report number writes and in which order, the
// exact layout of the full report, and files that cannot be opened.
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/OptimalLH.h"
#include "olhs/Report.h"
#include "olhs/StoppingCriteria.h"
#include "test_support.h"

using namespace olhs_test;

namespace fs = std::filesystem;

namespace {

const std::string SEP = std::string(80, '=') + "\n";
const std::vector<std::string> kFiles = {"Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt",
                                         "FullReport.rpt"};

// Rows (1,1), (2,3), (3,2); the optimal design exchanges points 0 and 1 in variable 1.
// Both have phi_p 0.5 to six digits.
OptimalLH initialDesign() { return OptimalLH(exampleDesign()); }
OptimalLH optimalDesign() {
    OptimalLH x(exampleDesign());
    x.exchangeElements(1, 0, 1);
    return x;
}

// Format 0: rows of "%14.6g\t", an empty line and the criterion. Format 1: m, n and the
// levels column after column.
std::string format0(const std::vector<std::vector<int> >& rows) {
    std::string text;
    for (const auto& row : rows) {
        for (int v : row) text += w14(std::to_string(v)) + "\t";
        text += "\n";
    }
    return text + "\nOptimatily Criterion =            0.5\n";
}
std::string format1(const std::vector<int>& columns) {
    std::string text = "2\n3\n";
    for (int v : columns) text += w14(std::to_string(v)) + "\n";
    return text;
}
const std::string kInitial0 = format0({{1, 1}, {2, 3}, {3, 2}});
const std::string kOptimal0 = format0({{1, 3}, {2, 1}, {3, 2}});
const std::string kInitial1 = format1({1, 2, 3, 1, 3, 2});
const std::string kOptimal1 = format1({1, 2, 3, 3, 1, 2});

const std::string kDefaultCriteria = R"(STOPPING CRITERIA PARAMETERS:
Maximum number of iterations: 100
Minimum number of iterations: 5
Maximum number of iterations without improvements: 10
Maximum time allowed for the task:       1.7e+308 [s]
Time allowed without improvement :       1.7e+308 [s]
Percentage used for check the convergence:              1%

STOPPING CRITERION REACHED:

At iteration: 0
Total time for the task:              0 [s]
)";

// The initial heading is closed by SEP2 (a separator and an empty line), the optimal one
// by a plain separator.
std::string fullReport(const std::string& title, const std::string& criteria = kDefaultCriteria) {
    return SEP + title + "\n" + SEP + criteria + "\n" + SEP + "INITIAL LATIN HYPERCUBE\n" + SEP + "\n" +
           kInitial0 + "\n" + SEP + "OPTIMAL LATIN HYPERCUBE\n" + SEP + kOptimal0 + SEP;
}

std::set<std::string> entries(const fs::path& dir) {
    std::set<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
    return names;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out.push_back(line);
    return out;
}

} // namespace

TEST(Report, PerDesignFilesStartAfresh) {
    for (int kind : {0, 1}) {
        TempDir dir;
        const std::string k = std::to_string(kind);
        {
            std::ofstream old(dir.file("Inital_" + k + ".rpt"));
            old << std::string(500, 'x');
        }
        Report(dir.path().string() + "/").fprintfReport("T", initialDesign(), optimalDesign(), kind);
        EXPECT_EQ(entries(dir.path()), (std::set<std::string>{"Inital_" + k + ".rpt", "Optimal_" + k + ".rpt"}));
        EXPECT_EQ(readFile(dir.file("Inital_" + k + ".rpt")), kind == 0 ? kInitial0 : kInitial1);
        EXPECT_EQ(readFile(dir.file("Optimal_" + k + ".rpt")), kind == 0 ? kOptimal0 : kOptimal1);
    }
}

TEST(Report, FullReportLayoutIsReplacedEachTimeAndShowsTheLastCriteriaHandedOver) {
    TempDir dir;
    Report report;
    report.setFileName(dir.path().string() + "/run7_");
    report.fprintfReport("MY TITLE", initialDesign(), optimalDesign(), 2);
    EXPECT_EQ(entries(dir.path()), std::set<std::string>{"run7_FullReport.rpt"});
    EXPECT_EQ(readFile(dir.file("run7_FullReport.rpt")), fullReport("MY TITLE"));

    // The report keeps a copy: checks made on the original afterwards do not reach it.
    StoppingCriteria criteria(3, 0, 1000, 60.0, 30.0, 0.05);
    report.updateStopCriterion(criteria);
    criteria.resetInitialTime();
    for (int i = 0; i < 3; ++i) criteria.isItTimeToStop(1.0);
    report.fprintfReport("SECOND", initialDesign(), optimalDesign(), 2);
    EXPECT_EQ(readFile(dir.file("run7_FullReport.rpt")), fullReport("SECOND", R"(STOPPING CRITERIA PARAMETERS:
Maximum number of iterations: 3
Minimum number of iterations: 0
Maximum number of iterations without improvements: 1000
Maximum time allowed for the task:             60 [s]
Time allowed without improvement :             30 [s]
Percentage used for check the convergence:              5%

STOPPING CRITERION REACHED:

At iteration: 0
Total time for the task:              0 [s]
)"));

    report.updateStopCriterion(criteria);
    report.fprintfReport("T", initialDesign(), optimalDesign(), 2);
    const std::string text = readFile(dir.file("run7_FullReport.rpt"));
    EXPECT_NE(text.find("REACHED:\nMaximum number of iterations.\nAt iteration: 3\n"), std::string::npos) << text;
}

TEST(Report, NumberThreeWritesAllFiveFilesAndOtherNumbersNothing) {
    TempDir dir;
    const fs::path previous = fs::current_path();
    fs::current_path(dir.path()); // the default prefix is empty: the current directory
    Report().fprintfReport("ALL", initialDesign(), optimalDesign(), 3);
    for (int kind : {4, -1, 5}) {
        TempDir empty;
        fs::current_path(empty.path());
        CaptureErr err;
        Report().fprintfReport("NONE", initialDesign(), optimalDesign(), kind);
        EXPECT_TRUE(fs::is_empty(empty.path())) << kind;
        EXPECT_EQ(err.take(), "") << kind;
    }
    fs::current_path(previous);
    EXPECT_EQ(entries(dir.path()), std::set<std::string>(kFiles.begin(), kFiles.end()));
    EXPECT_EQ(readFile(dir.file("Inital_0.rpt")), kInitial0);
    EXPECT_EQ(readFile(dir.file("Optimal_1.rpt")), kOptimal1);
    EXPECT_EQ(readFile(dir.file("FullReport.rpt")), fullReport("ALL"));
}

TEST(Report, FilesThatCannotBeOpenedAreNamedInWritingOrderAndTheOthersStillWritten) {
    TempDir dir;
    const std::string prefix = dir.file("missing") + "/";
    CaptureErr err;
    Report(prefix).fprintfReport("T", initialDesign(), optimalDesign(), 3);
    const std::vector<std::string> messages = lines(err.take());
    ASSERT_EQ(messages.size(), kFiles.size());
    for (std::size_t k = 0; k < kFiles.size(); ++k)
        EXPECT_NE(messages[k].find(prefix + kFiles[k]), std::string::npos) << messages[k];
    EXPECT_TRUE(fs::is_empty(dir.path()));

    // A directory in the place of one file makes only that one fail.
    fs::create_directory(dir.path() / "Inital_0.rpt");
    CaptureErr one;
    Report(dir.path().string() + "/").fprintfReport("T", initialDesign(), optimalDesign(), 3);
    const std::vector<std::string> message = lines(one.take());
    ASSERT_EQ(message.size(), 1u);
    EXPECT_NE(message[0].find(dir.file("Inital_0.rpt")), std::string::npos) << message[0];
    EXPECT_EQ(readFile(dir.file("Optimal_0.rpt")), kOptimal0);
    EXPECT_EQ(readFile(dir.file("Inital_1.rpt")), kInitial1);
    EXPECT_EQ(readFile(dir.file("Optimal_1.rpt")), kOptimal1);
    EXPECT_EQ(readFile(dir.file("FullReport.rpt")), fullReport("T"));
}
