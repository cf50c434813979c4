// Every text the legacy classes print or write, each once: the console dumps in each mode,
// the report files in each format, the full report, and the messages of refused calls and
// of files that cannot be opened.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/OptimalLH.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/Report.h"
#include "olhs/SimpleESEA.h"
#include "olhs/StoppingCriteria.h"
#include "search_access.h"
#include "test_support.h"

using namespace olhs_test;
namespace fs = std::filesystem;

namespace {

constexpr double noLimit = 1.7e+308;
const std::string RULE = std::string(80, '=') + "\n";
// The example design: its console header, its rows (file format 0) and its columns (format 1).
const std::string kHeader = "Number of points (runs) = 3\nNumber of design variables (factors) = 2\n\n";
const std::string kRows = dumpText("<1>|<1>|\n<2>|<3>|\n<3>|<2>|\n");
const std::string kColumns = dumpText("2\n3\n<1>\n<2>\n<3>\n<1>\n<3>\n<2>\n");
const std::string kCriterion = dumpText("\nOptimatily Criterion = <0.5>\n");
const std::string kDefaultCriteria = R"(STOPPING CRITERIA PARAMETERS:
Maximum number of iterations: 100
Minimum number of iterations: 5
Maximum number of iterations without improvements: 10
Maximum time allowed for the task:       1.7e+308 [s]
Time allowed without improvement :       1.7e+308 [s]
Percentage used for check the convergence:               1 %

STOPPING CRITERION REACHED:

At iteration: 0
Total time for the task:              0 [s]
)";

template <class T, class... Mode>
std::string dump(T& object, Mode... mode) {
    return captured([&] { object.printMembers(mode...); });
}

// The criteria in a file print their percentage without a space.
const std::string kFileCriteria = std::string(kDefaultCriteria).replace(kDefaultCriteria.find("  1 %"), 5, " 1%");

std::string cannotOpen(const std::string& path, int error = ENOENT) {
    return "Error: cannot open the report file \"" + path + "\" for writing (" + std::strerror(error) + ")\n";
}

} // namespace

TEST(ConsoleDumps, EveryClassInEveryMode) {
    LatinHypercube design = exampleDesign(), empty;
    PHIpCriterion criterion(design), none;
    OptimalLH optimal(design, 1);
    const std::string lhList = dumpText("LH[0,0] = <1>\nLH[1,0] = <2>\nLH[2,0] = <3>\n\n"
                                        "LH[0,1] = <1>\nLH[1,1] = <3>\nLH[2,1] = <2>\n\n");
    const std::string dRows = dumpText("* * * * * D matrix * * * * *\n<0>|<3>|<3>|\n<3>|<0>|<2>|\n<3>|<2>|<0>|\n");
    const std::string dList = dumpText("D[0,0] = <0>\nD[1,0] = <3>\nD[2,0] = <3>\n\nD[0,1] = <3>\nD[1,1] = <0>\n"
                                       "D[2,1] = <2>\n\nD[0,2] = <3>\nD[1,2] = <2>\nD[2,2] = <0>\n\n");
    // Under a mode neither knows, the design prints its matrix and the criterion its header.
    for (int mode : {0, 1, 2, -7}) {
        const std::string lh = kHeader + (mode == 1 ? lhList : "* * * * * LH * * * * *\n" + kRows);
        const std::string phip =
            dumpText("PHIp criterion = <0.5>\np = <50>\nt = <1>\n\n") + (mode == 0 ? dRows : mode == 1 ? dList : "");
        EXPECT_EQ(dump(design, mode), lh) << mode;
        EXPECT_EQ(dump(criterion, mode), phip) << mode;
        EXPECT_EQ(dump(optimal, mode), RULE + lh + "\n" + phip + RULE) << mode;
    }
    EXPECT_TRUE(dump(design) == dump(design, 0) && dump(criterion) == dump(criterion, 0) &&
                dump(optimal) == dump(optimal, 0));
    EXPECT_EQ(dump(empty), "Number of points (runs) = 0\nNumber of design variables (factors) = 0\n\n"
                           "* * * * * LH * * * * *\n");
    EXPECT_EQ(dump(none), dumpText("PHIp criterion = <0>\np = <50>\nt = <1>\n\n* * * * * D matrix * * * * *\n"));

    StoppingCriteria defaults;
    EXPECT_EQ(dump(defaults), kDefaultCriteria);

    OptimalLH start(exampleDesign(), 1);
    StoppingCriteria rules(3, 0, 1000, noLimit, noLimit, 0.05);
    SimpleESEA search(start, rules);
    olhs::detail::SimpleESEAAccess::setThreshold(search, 1234.75); // the line shows the whole part
    EXPECT_EQ(dump(search), RULE + "                        ENHANCED STOCHASTIC EVOLUTIONARY ALGORITHM\n" + RULE +
                                "\nALGORITHM PARAMETERS\n\nNumber of Points (n) = 3\nNumber of DV     (m) = 2\nJ = 1\n"
                                "M = 10\n\nTh0 = 0\nTh  = 1234\n\n" + dump(rules) + "\n\n" + RULE +
                                "                             INITIAL LATIN HYPERCUBE\n" + dump(start) + "\n" + RULE +
                                "                             OPTIMAL LATIN HYPERCUBE\n" + dump(start));
}

TEST(Messages, RefusedCallsSayWhyOnStandardErrorAndChangeNothing) {
    const std::string doe = "Error with the use of void OptimalLatinHypercubeDOE(bool b_flag, int i_mode, int i_m, "
                            "int i_n, std::valarray<double>& va_X)\n";
    const std::pair<std::vector<int>, std::string> refusals[] = { // (mode, m, n), second line
        {{0, 3, 1}, "The number of points must be at least 2 (i_n = 1)"},
        {{1, 0, 0}, "The number of points must be at least 2 (i_n = 0)"},
        {{1, 3, -4}, "The number of points must be at least 2 (i_n = -4)"},
        {{0, 0, 5}, "The number of design variables must be at least 1 (i_m = 0)"},
        {{2, -2, 5}, "The number of design variables must be at least 1 (i_m = -2)"},
        {{1, 0, 5}, "The number of design variables must be at least 1 (i_m = 0)"},
        {{1, 1, 5}, "The optimisation (i_mode = 1) needs at least 2 design variables (i_m = 1)"}};
    long draws = 0;
    ScopedSource counting(countingSource(&draws));
    for (const auto& [a, line] : refusals) {
        for (bool withFlag : {true, false}) {
            std::valarray<double> X(7.0, 12);
            std::string out;
            const std::string err = captured([&] {
                out = captured([&] { withFlag ? OptimalLatinHypercubeDOE(true, a[0], a[1], a[2], X)
                                              : OptimalLatinHypercubeDOE(a[0], a[1], a[2], X); });
            }, true);
            EXPECT_EQ(err, doe + line + "\n");
            EXPECT_TRUE(X.size() == 0 && out.empty()) << line;
        }
    }

    SimpleESEA idle, small(OptimalLH(5, 1), StoppingCriteria());
    EXPECT_EQ(captured([&] { EXPECT_EQ(captured([&] { idle.run(); }), ""); }, true),
              "Error with the use of void SimpleESEA::run()\n"
              "The search has no initial point: call setInitialPoint first\n");
    EXPECT_EQ(captured([&] { small.run(); }, true),
              "Error with the use of void SimpleESEA::run()\nThe initial point must have at least 2 points and 2 "
              "design variables (it has 5 and 1)\n");
    EXPECT_EQ(idle.getXbest().getNPoints(), 0);
    EXPECT_EQ(draws, 0);

    StoppingCriteria sc;
    for (double bad : {1.5, -0.1, std::nan(""), HUGE_VAL})
        EXPECT_EQ(captured([&] { sc.setRelativeObjectiveConvergence(bad); }, true),
                  "Error with the use of void StoppingCriteria::setRelativeObjectiveConvergence(const double "
                  "d_RelObjConv)\nThe value must be within 0 and 1\n") << bad;
    EXPECT_EQ(sc.getRelativeObjectiveConvergence(), 0.01);
    for (double ok : {0.0, 1.0, 0.25})
        EXPECT_TRUE(captured([&] { sc.setRelativeObjectiveConvergence(ok); }, true).empty() &&
                    sc.getRelativeObjectiveConvergence() == ok) << ok;
}

TEST(ReportFiles, DesignsAndCriteriaEachInTheirFormat) {
    TempDir dir;
    LatinHypercube design = exampleDesign();
    OptimalLH optimal(design);
    const std::string path = dir.file("dump.txt");
    const auto written = [&](const std::function<void()>& write) {
        std::ofstream(path) << "stale text\n";
        write();
        return readFile(path);
    };
    EXPECT_EQ(written([&] { design.fprintfReport(path, 0); }), kRows);
    EXPECT_EQ(written([&] { design.fprintfReport(path, 1); }), kColumns);
    EXPECT_EQ(written([&] { design.fprintfReport(path, 5); }), "") << "other formats leave the file empty";
    EXPECT_EQ(written([&] { optimal.fprintfReport(path, 0); }), kRows + kCriterion);
    EXPECT_EQ(written([&] { optimal.fprintfReport(path, 1); }), kColumns);
    EXPECT_EQ(written([&] { StoppingCriteria().fprintfReport(path); }), "stale text\n" + kFileCriteria) << "appended";

    // A file that cannot be opened is named in one line, and nothing else happens.
    const std::string missing = dir.file("absent/dump.txt");
    const std::function<void()> writers[] = {
        [&] { design.fprintfReport(missing, 0); }, [&] { design.fprintfReport(missing, 5); },
        [&] { optimal.fprintfReport(missing, 0); }, [&] { optimal.fprintfReport(missing, 1); },
        [&] { StoppingCriteria().fprintfReport(missing); }};
    for (const auto& write : writers) {
        std::string out;
        EXPECT_EQ(captured([&] { out = captured(write); }, true), cannotOpen(missing));
        EXPECT_EQ(out, "");
    }
    EXPECT_FALSE(fs::exists(dir.file("absent")));
}

TEST(ReportFiles, WhichFilesEachReportNumberWritesAndTheFullReport) {
    OptimalLH initial(exampleDesign()), optimal(exampleDesign());
    optimal.exchangeElements(1, 0, 1); // rows (1,3), (2,1), (3,2); phi_p 0.5 to six digits too
    const std::string optimalRows = dumpText("<1>|<3>|\n<2>|<1>|\n<3>|<2>|\n") + kCriterion;
    // The initial heading is closed by a rule and an empty line, the optimal one by a rule.
    std::map<std::string, std::string> files = {
        {"Inital_0.rpt", kRows + kCriterion},
        {"Optimal_0.rpt", optimalRows},
        {"Inital_1.rpt", kColumns},
        {"Optimal_1.rpt", dumpText("2\n3\n<1>\n<2>\n<3>\n<3>\n<1>\n<2>\n")},
        {"FullReport.rpt", RULE + "MY TITLE\n" + RULE + kFileCriteria + "\n" + RULE + "INITIAL LATIN HYPERCUBE\n" +
                               RULE + "\n" + kRows + kCriterion + "\n" + RULE + "OPTIMAL LATIN HYPERCUBE\n" + RULE +
                               optimalRows + RULE}};
    const std::pair<int, std::set<std::string> > kinds[] = {
        {0, {"Inital_0.rpt", "Optimal_0.rpt"}}, {1, {"Inital_1.rpt", "Optimal_1.rpt"}}, {2, {"FullReport.rpt"}},
        {3, {"Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt", "FullReport.rpt"}}, {4, {}}, {-1, {}}};
    for (const auto& [kind, names] : kinds) {
        TempDir dir;
        for (const std::string& name : names) std::ofstream(dir.file("run_" + name)) << std::string(500, 'x');
        const std::string err =
            captured([&] { Report(dir.file("run_")).fprintfReport("MY TITLE", initial, optimal, kind); }, true);
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), static_cast<long>(names.size())) << kind;
        for (const std::string& name : names) EXPECT_EQ(readFile(dir.file("run_" + name)), files[name]) << name;
        EXPECT_EQ(err, "");
    }

    // Files that cannot be opened are named in writing order; a directory in the place of
    // one file makes that one alone fail.
    TempDir dir;
    const std::string prefix = dir.file("missing") + "/";
    std::string expected;
    for (const char* name : {"Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt", "FullReport.rpt"})
        expected += cannotOpen(prefix + name);
    EXPECT_EQ(captured([&] { Report(prefix).fprintfReport("T", initial, optimal, 3); }, true), expected);
    EXPECT_TRUE(fs::is_empty(dir.path()));
    fs::create_directory(dir.path() / "Inital_0.rpt");
    EXPECT_EQ(captured([&] { Report(dir.file("")).fprintfReport("MY TITLE", initial, optimal, 3); }, true),
              cannotOpen(dir.file("Inital_0.rpt"), EISDIR));
    for (const char* name : {"Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt", "FullReport.rpt"})
        EXPECT_EQ(readFile(dir.file(name)), files[name]) << name;
}

TEST(ReportFiles, TheSearchReportsDefaultCriteriaBeforeAnyRunAndByDefaultTheMatrices) {
    TempDir dir;
    SimpleESEA search(OptimalLH(exampleDesign(), 1), StoppingCriteria(3, 0, 1000, noLimit, noLimit, 0.05));
    search.setFileName(dir.file("s_"));
    search.fprintfReport(2); // before any run, the report holds criteria of its own: the defaults
    EXPECT_NE(readFile(dir.file("s_FullReport.rpt")).find(kFileCriteria), std::string::npos);
    captured([&] { search.run(); });
    search.fprintfReport();
    EXPECT_EQ(readFile(dir.file("s_Inital_0.rpt")), kRows + kCriterion);
    EXPECT_FALSE(fs::exists(dir.file("s_Inital_1.rpt")));
}
