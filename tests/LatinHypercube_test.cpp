#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "test_support.h"

using olhs_test::CaptureErr;
using olhs_test::CaptureOut;
using olhs_test::constantSource;
using olhs_test::countingSource;
using olhs_test::exampleDesign;
using olhs_test::isLatin;
using olhs_test::readFile;
using olhs_test::ScopedSource;
using olhs_test::TempDir;
using olhs_test::w14;

namespace {

const std::string header23 = "Number of points (runs) = 3\nNumber of design variables (factors) = 2\n\n";

bool sameLevels(const std::vector<std::valarray<double> >& a, const std::vector<std::valarray<double> >& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].size() != b[i].size()) return false;
        for (std::size_t j = 0; j < a[i].size(); ++j)
            if (a[i][j] != b[i][j]) return false;
    }
    return true;
}

} // namespace

TEST(LatinHypercube, BuiltDesignsAreLatinWithColumnZeroInPointOrder) {
    CRand::seed(1234);
    for (int n = 0; n <= 30; n += 3) {
        for (int m = 1; m <= 6; ++m) {
            LatinHypercube x(n, m);
            ASSERT_EQ(x.size(), (std::vector<int>{n, m}));
            ASSERT_EQ(x.getNPoints(), n);
            ASSERT_EQ(x.getNDV(), m);
            const auto rows = x.getLH();
            ASSERT_TRUE(isLatin(rows, n, m)) << "n = " << n << ", m = " << m;
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ(rows[i][0], i + 1.0);
                const std::valarray<double> row = x.getRow(i);
                ASSERT_EQ(static_cast<int>(row.size()), m);
                for (int j = 0; j < m; ++j) {
                    ASSERT_EQ(row[j], rows[i][j]);
                    ASSERT_EQ(x.getElement(i, j), rows[i][j]);
                    ASSERT_EQ(x.getColumn(j)[i], rows[i][j]);
                }
            }
        }
    }
    // Every construction and every rebuild is Latin too.
    for (int trial = 0; trial < 20; ++trial) {
        LatinHypercube a(17, 4, trial % 2 == 0);
        LatinHypercube b(13, 3, CRand(false));
        EXPECT_TRUE(isLatin(a.getLH(), 17, 4));
        EXPECT_TRUE(isLatin(b.getLH(), 13, 3));
        a.build();
        EXPECT_TRUE(isLatin(a.getLH(), 17, 4));
    }
}

TEST(LatinHypercube, ABuildDrawsOnePermutationPerColumnAfterTheFirst) {
    long draws = 0;
    ScopedSource source(countingSource(&draws, 0.6));
    for (int n : {0, 1, 4, 9}) {
        for (int m : {1, 2, 5}) {
            draws = 0;
            LatinHypercube x(n, m);
            EXPECT_EQ(draws, long{n} * (m - 1)) << "LatinHypercube(" << n << ", " << m << ")";
            draws = 0;
            LatinHypercube y(n, m, false);
            EXPECT_EQ(draws, long{n} * (m - 1));
            draws = 0;
            LatinHypercube z(n, m, CRand(true));
            EXPECT_EQ(draws, long{n} * (m - 1));
            draws = 0;
            x.build();
            EXPECT_EQ(draws, long{n} * (m - 1)) << "build()";
            draws = 0;
            LatinHypercube copy(x);
            LatinHypercube assigned;
            assigned = y;
            CRand generator = x.getRandGenerator();
            (void)generator;
            EXPECT_EQ(draws, 0) << "copies, default designs and generators draw nothing";
        }
    }
}

TEST(LatinHypercube, DesignsFollowTheDrawsScriptedByTheSource) {
    {
        ScopedSource source(constantSource(0.0));
        LatinHypercube x(6, 4);
        for (int i = 0; i < 6; ++i)
            for (int j = 0; j < 4; ++j) EXPECT_EQ(x.getElement(i, j), i + 1.0);
    }
    {
        ScopedSource source(constantSource(1.0));
        LatinHypercube x(5, 3);
        for (int i = 0; i < 5; ++i) {
            EXPECT_EQ(x.getElement(i, 0), i + 1.0);
            EXPECT_EQ(x.getElement(i, 1), 5.0 - i);
            EXPECT_EQ(x.getElement(i, 2), 5.0 - i);
        }
    }
    LatinHypercube example = exampleDesign();
    EXPECT_EQ(example.getColumn(0), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(example.getColumn(1), (std::vector<double>{1, 3, 2}));
}

TEST(LatinHypercube, SameSeedGivesTheSameDesign) {
    CRand::seed(555);
    LatinHypercube a(20, 5);
    LatinHypercube b(20, 5);
    CRand::seed(555);
    LatinHypercube c(20, 5, false); // the flag does not change the stream
    LatinHypercube d(20, 5, CRand(true));
    EXPECT_TRUE(sameLevels(a.getLH(), c.getLH()));
    EXPECT_TRUE(sameLevels(b.getLH(), d.getLH()));
    EXPECT_FALSE(sameLevels(a.getLH(), b.getLH()));
}

TEST(LatinHypercube, ExchangesSwapTwoLevelsOfOneColumnOnly) {
    CRand::seed(99);
    LatinHypercube x(8, 4);
    const auto before = x.getLH();
    for (int j = 0; j < 4; ++j) {
        for (int a = 0; a < 8; ++a) {
            for (int b = 0; b < 8; ++b) {
                x.exchangeElements(j, a, b);
                const auto after = x.getLH();
                for (int i = 0; i < 8; ++i) {
                    for (int k = 0; k < 4; ++k) {
                        double expected = before[i][k];
                        if (k == j && i == a) expected = before[b][j];
                        if (k == j && i == b) expected = before[a][j];
                        ASSERT_EQ(after[i][k], expected) << "exchange (" << j << ", " << a << ", " << b << ")";
                    }
                }
                x.exchangeElements(j, a, b);
                ASSERT_TRUE(sameLevels(x.getLH(), before)) << "round trip (" << j << ", " << a << ", " << b << ")";
            }
        }
    }
}

TEST(LatinHypercube, CopiesAreIndependent) {
    CRand::seed(4);
    LatinHypercube original(6, 3);
    const auto levels = original.getLH();
    LatinHypercube copy(original);
    LatinHypercube assigned;
    assigned = original;
    EXPECT_TRUE(sameLevels(copy.getLH(), levels));
    EXPECT_TRUE(sameLevels(assigned.getLH(), levels));
    copy.exchangeElements(1, 0, 5);
    assigned.exchangeElements(2, 1, 4);
    assigned.build();
    EXPECT_TRUE(sameLevels(original.getLH(), levels));
    EXPECT_FALSE(sameLevels(copy.getLH(), levels));
    original.exchangeElements(2, 2, 3);
    EXPECT_EQ(copy.getElement(2, 2), levels[2][2]);
}

TEST(LatinHypercube, DefaultDesignIsEmpty) {
    LatinHypercube x;
    EXPECT_EQ(x.size(), (std::vector<int>{0, 0}));
    const auto rows = x.getLH();
    ASSERT_EQ(rows.size(), 1u);
    ASSERT_EQ(rows[0].size(), 1u);
    EXPECT_EQ(rows[0][0], 0.0);
    EXPECT_EQ(x.getRow(0).size(), 0u);
    EXPECT_TRUE(x.getColumn(0).empty());

    CaptureOut out;
    x.printMembers();
    EXPECT_EQ(out.take(),
              "Number of points (runs) = 0\nNumber of design variables (factors) = 0\n\n* * * * * LH * * * * *\n");
}

TEST(LatinHypercube, ConsoleDumps) {
    LatinHypercube example = exampleDesign();
    const std::string matrix = "* * * * * LH * * * * *\n" + w14("1") + "\t" + w14("1") + "\t\n" + w14("2") + "\t" +
                               w14("3") + "\t\n" + w14("3") + "\t" + w14("2") + "\t\n";
    for (int mode : {0, 2, -1}) {
        CaptureOut out;
        example.printMembers(mode);
        EXPECT_EQ(out.take(), header23 + matrix) << "mode " << mode;
    }
    {
        CaptureOut out;
        example.printMembers();
        EXPECT_EQ(out.take(), header23 + matrix);
    }
    {
        CaptureOut out;
        example.printMembers(1);
        EXPECT_EQ(out.take(), header23 + "LH[0,0] = " + w14("1") + "\nLH[1,0] = " + w14("2") + "\nLH[2,0] = " +
                                  w14("3") + "\n\nLH[0,1] = " + w14("1") + "\nLH[1,1] = " + w14("3") +
                                  "\nLH[2,1] = " + w14("2") + "\n\n");
    }
    {
        ScopedSource source(constantSource(0.0));
        LatinHypercube twoByOne(2, 1);
        CaptureOut out;
        twoByOne.printMembers();
        EXPECT_EQ(out.take(), "Number of points (runs) = 2\nNumber of design variables (factors) = 1\n\n"
                              "* * * * * LH * * * * *\n             1\t\n             2\t\n");
    }
}

TEST(LatinHypercube, FileDumps) {
    TempDir dir;
    LatinHypercube example = exampleDesign();

    const std::string matrixFile = dir.file("matrix.txt");
    {
        std::ofstream(matrixFile) << "old contents that must go\n";
    }
    example.fprintfReport(matrixFile, 0);
    EXPECT_EQ(readFile(matrixFile), "             1\t             1\t\n"
                                    "             2\t             3\t\n"
                                    "             3\t             2\t\n");

    const std::string columnsFile = dir.file("columns.txt");
    example.fprintfReport(columnsFile, 1);
    EXPECT_EQ(readFile(columnsFile), "2\n3\n" + w14("1") + "\n" + w14("2") + "\n" + w14("3") + "\n" + w14("1") +
                                         "\n" + w14("3") + "\n" + w14("2") + "\n");

    // Any other format leaves the file empty, an existing one included.
    example.fprintfReport(columnsFile, 5);
    EXPECT_TRUE(std::filesystem::exists(columnsFile));
    EXPECT_EQ(readFile(columnsFile), "");

    // Two-digit levels keep the 14-character field.
    {
        ScopedSource source(constantSource(0.0));
        LatinHypercube tall(12, 1);
        tall.fprintfReport(matrixFile, 0);
    }
    std::string expected;
    for (int i = 1; i <= 12; ++i) expected += w14(std::to_string(i)) + "\t\n";
    EXPECT_EQ(readFile(matrixFile), expected);
}

TEST(LatinHypercube, UnwritableFileIsReportedOnceAndNotCreated) {
    TempDir dir;
    LatinHypercube example = exampleDesign();
    const std::string missing = dir.file("no_such_dir/design.txt");
    for (int format : {0, 1, 5}) {
        CaptureErr err;
        CaptureOut out;
        example.fprintfReport(missing, format);
        const std::string message = err.take();
        EXPECT_EQ(out.take(), "");
        EXPECT_NE(message.find(missing), std::string::npos) << message;
        ASSERT_FALSE(message.empty());
        EXPECT_EQ(message.find('\n'), message.size() - 1) << "one line: " << message;
        EXPECT_FALSE(std::filesystem::exists(missing));
    }
}
