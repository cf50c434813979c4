#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "design_access.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "optimal_access.h"
#include "report_file.h"
#include "test_support.h"

using olhs::detail::OpenMode;
using olhs::detail::ReportFile;
using olhs_test::CaptureErr;
using olhs_test::exampleDesign;
using olhs_test::readFile;
using olhs_test::TempDir;
using olhs_test::w14;

namespace {

const std::string exampleMatrix = w14("1") + "\t" + w14("1") + "\t\n" + w14("2") + "\t" + w14("3") + "\t\n" +
                                  w14("3") + "\t" + w14("2") + "\t\n";

// One line on standard error that names the file.
void expectOneLineNaming(const std::string& message, const std::string& path) {
    EXPECT_NE(message.find(path), std::string::npos) << message;
    ASSERT_FALSE(message.empty());
    EXPECT_EQ(message.find('\n'), message.size() - 1) << "one line: " << message;
}

} // namespace

TEST(ReportFile, TruncateStartsTheFileAppendAddsToIt) {
    TempDir dir;
    const std::string path = dir.file("report.txt");
    {
        std::ofstream(path) << "previous run\n";
    }
    {
        ReportFile file(path, OpenMode::Truncate);
        ASSERT_TRUE(file.isOpen());
        ASSERT_NE(file.get(), nullptr);
        file.write("first\n");
    }
    EXPECT_EQ(readFile(path), "first\n");
    {
        ReportFile file(path, OpenMode::Append);
        file.write("second ");
        std::fprintf(file.get(), "%d\n", 2);
    }
    EXPECT_EQ(readFile(path), "first\nsecond 2\n");
    {
        ReportFile file(dir.file("new.txt"), OpenMode::Append);
        EXPECT_TRUE(file.isOpen());
    }
    EXPECT_TRUE(std::filesystem::exists(dir.file("new.txt")));
}

TEST(ReportFile, UnopenableFileIsReportedAndWritesAreSkipped) {
    TempDir dir;
    for (OpenMode mode : {OpenMode::Truncate, OpenMode::Append}) {
        const std::string path = dir.file("missing/report.txt");
        CaptureErr err;
        {
            ReportFile file(path, mode);
            EXPECT_FALSE(file.isOpen());
            EXPECT_EQ(file.get(), nullptr);
            file.write("lost\n");
        }
        expectOneLineNaming(err.take(), path);
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST(ReportFile, DesignSectionsStartOrExtendAReport) {
    TempDir dir;
    const std::string path = dir.file("full.rpt");
    LatinHypercube design = exampleDesign();
    {
        std::ofstream(path) << "HEAD\n";
    }
    EXPECT_TRUE(olhs::detail::writeDesign(design, path, 0, OpenMode::Append));
    EXPECT_EQ(readFile(path), "HEAD\n" + exampleMatrix);
    EXPECT_TRUE(olhs::detail::writeDesign(design, path, 5, OpenMode::Append));
    EXPECT_EQ(readFile(path), "HEAD\n" + exampleMatrix);
    EXPECT_TRUE(olhs::detail::writeDesign(design, path, 0, OpenMode::Truncate));
    EXPECT_EQ(readFile(path), exampleMatrix);

    OptimalLH optimal(design);
    olhs::detail::writeOptimalDesign(optimal, path, 0, OpenMode::Append);
    EXPECT_EQ(readFile(path), exampleMatrix + exampleMatrix + "\nOptimatily Criterion =            0.5\n");
    olhs::detail::writeOptimalDesign(optimal, path, 1, OpenMode::Append);
    EXPECT_EQ(readFile(path), exampleMatrix + exampleMatrix + "\nOptimatily Criterion =            0.5\n" +
                                  "2\n3\n" + w14("1") + "\n" + w14("2") + "\n" + w14("3") + "\n" + w14("1") + "\n" +
                                  w14("3") + "\n" + w14("2") + "\n");

    const std::string missing = dir.file("nowhere/full.rpt");
    CaptureErr err;
    EXPECT_FALSE(olhs::detail::writeDesign(design, missing, 0, OpenMode::Append));
    expectOneLineNaming(err.take(), missing);
    CaptureErr err2;
    olhs::detail::writeOptimalDesign(optimal, missing, 0, OpenMode::Append);
    expectOneLineNaming(err2.take(), missing);
    EXPECT_FALSE(std::filesystem::exists(missing));
}
