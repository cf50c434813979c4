#include <filesystem>
#include <fstream>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "test_support.h"

using olhs_test::CaptureOut;
using olhs_test::constantSource;
using olhs_test::dumpText;
using olhs_test::exampleDesign;
using olhs_test::isLatin;
using olhs_test::readFile;
using olhs_test::ScopedSource;

namespace {

using Levels = std::vector<std::valarray<double> >;

bool same(const Levels& a, const Levels& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i].size() != b[i].size() || (a[i] != b[i]).max()) return false;
    return true;
}

std::string printed(LatinHypercube& x, int mode) {
    CaptureOut out;
    mode < 0 ? x.printMembers() : x.printMembers(mode);
    return out.take();
}

} // namespace

TEST(LatinHypercube, BuiltDesignsAreLatinWithColumnZeroInPointOrder) {
    CRand::seed(1234);
    for (int n = 0; n <= 24; n += 3) {
        for (int m = 1; m <= 5; ++m) {
            LatinHypercube x(n, m);
            ASSERT_EQ(x.size(), (std::vector<int>{n, m}));
            ASSERT_TRUE(x.getNPoints() == n && x.getNDV() == m);
            for (int built = 0; built < 2; ++built, x.build()) {
                ASSERT_TRUE(isLatin(x.getLH(), n, m)) << "n = " << n << ", m = " << m << ", built " << built + 1;
                std::vector<double> points(n);
                for (int i = 0; i < n; ++i) points[i] = i + 1.0;
                ASSERT_EQ(x.getColumn(0), points);
                for (int i = 0; i < n; ++i) {
                    ASSERT_EQ(x.getRow(i).size(), static_cast<std::size_t>(m));
                    for (int j = 0; j < m; ++j)
                        ASSERT_TRUE(x.getRow(i)[j] == x.getLH()[i][j] && x.getElement(i, j) == x.getColumn(j)[i]);
                }
            }
        }
    }
}

TEST(LatinHypercube, BuildsDrawOnePermutationPerColumnAfterTheFirstCopiesNothing) {
    long draws = 0;
    ScopedSource source(olhs_test::countingSource(&draws, 0.6));
    for (int n : {0, 1, 4, 9}) {
        for (int m : {1, 2, 5}) {
            draws = 0;
            LatinHypercube x(n, m), y(n, m, false), z(n, m, CRand(true));
            x.build();
            LatinHypercube copy(x), assigned;
            assigned = y;
            x.getRandGenerator();
            EXPECT_EQ(draws, 4L * n * (m - 1)) << "n = " << n << ", m = " << m;
        }
    }
}

TEST(LatinHypercube, DesignsFollowTheDrawsAndTheStream) {
    {
        ScopedSource zeros(constantSource(0.0));
        LatinHypercube x(6, 4);
        for (int j = 0; j < 4; ++j) EXPECT_EQ(x.getColumn(j), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    }
    EXPECT_EQ(exampleDesign().getColumn(1), (std::vector<double>{1, 3, 2}));
    // Neither the flag nor a generator argument changes the stream.
    CRand::seed(555);
    LatinHypercube a(20, 5), b(20, 5);
    CRand::seed(555);
    LatinHypercube c(20, 5, false), d(20, 5, CRand(true));
    EXPECT_TRUE(same(a.getLH(), c.getLH()) && same(b.getLH(), d.getLH()));
    EXPECT_FALSE(same(a.getLH(), b.getLH()));
}

TEST(LatinHypercube, ExchangesSwapTwoLevelsOfOneColumnAndCopiesAreIndependent) {
    CRand::seed(99);
    LatinHypercube x(8, 4);
    const Levels before = x.getLH();
    for (int j = 0; j < 4; ++j) {
        for (int a = 0; a < 8; ++a) {
            for (int b = 0; b < 8; ++b) {
                Levels expected = before;
                std::swap(expected[a][j], expected[b][j]);
                x.exchangeElements(j, a, b);
                ASSERT_TRUE(same(x.getLH(), expected)) << "exchange (" << j << ", " << a << ", " << b << ")";
                x.exchangeElements(j, a, b);
                ASSERT_TRUE(same(x.getLH(), before)) << "round trip (" << j << ", " << a << ", " << b << ")";
            }
        }
    }
    LatinHypercube copy(x), assigned;
    assigned = x;
    x.exchangeElements(1, 0, 5);
    const Levels changed = x.getLH();
    EXPECT_TRUE(same(copy.getLH(), before) && same(assigned.getLH(), before));
    copy.exchangeElements(2, 1, 4);
    assigned.build();
    EXPECT_TRUE(same(x.getLH(), changed));
}

TEST(LatinHypercube, ConsoleDumps) {
    LatinHypercube empty;
    EXPECT_EQ(empty.size(), (std::vector<int>{0, 0}));
    ASSERT_TRUE(empty.getLH().size() == 1 && empty.getLH()[0].size() == 1);
    EXPECT_EQ(empty.getLH()[0][0], 0.0);
    EXPECT_EQ(empty.getRow(0).size(), 0u);
    EXPECT_TRUE(empty.getColumn(0).empty());
    EXPECT_EQ(printed(empty, -1), "Number of points (runs) = 0\nNumber of design variables (factors) = 0\n\n"
                                  "* * * * * LH * * * * *\n");

    LatinHypercube example = exampleDesign();
    const std::string header = "Number of points (runs) = 3\nNumber of design variables (factors) = 2\n\n";
    const std::string matrix = dumpText("* * * * * LH * * * * *\n<1>\\t<1>\\t\n<2>\\t<3>\\t\n<3>\\t<2>\\t\n");
    for (int mode : {-1, 0, 2, -7}) EXPECT_EQ(printed(example, mode), header + matrix) << "mode " << mode;
    EXPECT_EQ(printed(example, 1), header + dumpText("LH[0,0] = <1>\nLH[1,0] = <2>\nLH[2,0] = <3>\n\n"
                                                     "LH[0,1] = <1>\nLH[1,1] = <3>\nLH[2,1] = <2>\n\n"));
}

TEST(LatinHypercube, FileDumps) {
    olhs_test::TempDir dir;
    LatinHypercube example = exampleDesign();
    const std::string name = dir.file("design.txt");
    std::ofstream(name) << "old contents that must go\n";
    example.fprintfReport(name, 0);
    EXPECT_EQ(readFile(name), dumpText("<1>\\t<1>\\t\n<2>\\t<3>\\t\n<3>\\t<2>\\t\n"));
    example.fprintfReport(name, 1);
    EXPECT_EQ(readFile(name), dumpText("2\n3\n<1>\n<2>\n<3>\n<1>\n<3>\n<2>\n"));
    example.fprintfReport(name, 5);
    EXPECT_TRUE(std::filesystem::exists(name) && readFile(name).empty()) << "other formats leave the file empty";

    // Two-digit levels keep the 14-character field and all their digits.
    ScopedSource zeros(constantSource(0.0));
    LatinHypercube(12, 1).fprintfReport(name, 0);
    std::string expected;
    for (int i = 1; i <= 12; ++i) expected += olhs_test::w14(std::to_string(i)) + "\t\n";
    EXPECT_EQ(readFile(name), expected);
    const std::string missing = dir.file("no_such_dir/design.txt");
    for (int format : {0, 1, 5})
        EXPECT_TRUE(olhs_test::reportsUnopenable(missing, [&] { example.fprintfReport(missing, format); }));
}
