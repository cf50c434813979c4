#include <cstdio>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "design_access.h"
#include "olhs/OptimalLH.h"
#include "optimal_access.h"
#include "report_file.h"
#include "test_support.h"

using olhs::detail::OpenMode;
using olhs::detail::ReportFile;
using olhs_test::dumpText;
using olhs_test::readFile;
using olhs_test::reportsUnopenable;

TEST(ReportFile, TruncateStartsTheFileAppendAddsToIt) {
    olhs_test::TempDir dir;
    const std::string path = dir.file("report.txt");
    std::ofstream(path) << "previous run\n";
    ReportFile(path, OpenMode::Truncate).write("first\n");
    EXPECT_EQ(readFile(path), "first\n");
    {
        ReportFile file(path, OpenMode::Append);
        ASSERT_TRUE(file.isOpen() && file.get() != nullptr);
        file.write("second ");
        std::fprintf(file.get(), "%d\n", 2);
    }
    EXPECT_EQ(readFile(path), "first\nsecond 2\n");

    const std::string missing = dir.file("missing/report.txt");
    for (OpenMode mode : {OpenMode::Truncate, OpenMode::Append}) {
        EXPECT_TRUE(reportsUnopenable(missing, [&] {
            ReportFile file(missing, mode);
            EXPECT_TRUE(!file.isOpen() && file.get() == nullptr);
            file.write("lost\n");
        }));
    }
}

TEST(ReportFile, DesignSectionsStartOrExtendAReport) {
    olhs_test::TempDir dir;
    const std::string path = dir.file("full.rpt"), missing = dir.file("nowhere/full.rpt");
    const std::string matrix = dumpText("<1>\\t<1>\\t\n<2>\\t<3>\\t\n<3>\\t<2>\\t\n");
    const std::string criterion = dumpText("\nOptimatily Criterion = <0.5>\n");
    LatinHypercube design = olhs_test::exampleDesign();
    OptimalLH optimal(design);
    std::ofstream(path) << "HEAD\n";
    EXPECT_TRUE(olhs::detail::writeDesign(design, path, 0, OpenMode::Append));
    EXPECT_TRUE(olhs::detail::writeDesign(design, path, 5, OpenMode::Append));
    EXPECT_EQ(readFile(path), "HEAD\n" + matrix);
    EXPECT_TRUE(olhs::detail::writeDesign(design, path, 0, OpenMode::Truncate));
    olhs::detail::writeOptimalDesign(optimal, path, 0, OpenMode::Append);
    olhs::detail::writeOptimalDesign(optimal, path, 1, OpenMode::Append);
    EXPECT_EQ(readFile(path), matrix + matrix + criterion + dumpText("2\n3\n<1>\n<2>\n<3>\n<1>\n<3>\n<2>\n"));

    EXPECT_TRUE(reportsUnopenable(missing, [&] {
        EXPECT_FALSE(olhs::detail::writeDesign(design, missing, 0, OpenMode::Append));
    }));
    EXPECT_TRUE(reportsUnopenable(
        missing, [&] { olhs::detail::writeOptimalDesign(optimal, missing, 0, OpenMode::Append); }));
}
