#include "olhs/LatinHypercube.h"

#include <cstdio>
#include <utility>

#include "design_access.h"
#include "olhs/CombinatorialAnalysis.h"

LatinHypercube::LatinHypercube() : nPoints(0), nDV(0), LH(1, std::valarray<double>(0.0, 1)) {
    randGenerator = CRand(true);
}

LatinHypercube::LatinHypercube(int n, int m) : nPoints(n), nDV(m) {
    randGenerator = CRand(true);
    LH.resize(static_cast<std::size_t>(n > 0 ? n : 0));
    build();
}

LatinHypercube::LatinHypercube(int n, int m, bool flag) : nPoints(n), nDV(m) {
    randGenerator = CRand(flag);
    LH.resize(static_cast<std::size_t>(n > 0 ? n : 0));
    build();
}

LatinHypercube::LatinHypercube(int n, int m, CRand /*generator*/) : nPoints(n), nDV(m) {
    LH.resize(static_cast<std::size_t>(n > 0 ? n : 0));
    build();
}

LatinHypercube::LatinHypercube(const LatinHypercube& other)
    : nPoints(other.nPoints), nDV(other.nDV), LH(other.LH) {}

int LatinHypercube::getNPoints() { return nPoints; }

int LatinHypercube::getNDV() { return nDV; }

double LatinHypercube::getElement(int i, int j) { return LH[i][j]; }

void LatinHypercube::exchangeElements(int j, int i1, int i2) { std::swap(LH[i1][j], LH[i2][j]); }

std::valarray<double> LatinHypercube::getRow(int i) {
    std::valarray<double> row(nDV > 0 ? nDV : 0);
    for (int j = 0; j < nDV; ++j) {
        row[j] = LH[i][j];
    }
    return row;
}

std::vector<double> LatinHypercube::getColumn(int j) {
    std::vector<double> column;
    column.reserve(static_cast<std::size_t>(nPoints > 0 ? nPoints : 0));
    for (int i = 0; i < nPoints; ++i) {
        column.push_back(LH[i][j]);
    }
    return column;
}

std::vector<std::valarray<double> > LatinHypercube::getLH() { return LH; }

std::vector<int> LatinHypercube::size() { return {nPoints, nDV}; }

CRand LatinHypercube::getRandGenerator() { return randGenerator; }

void LatinHypercube::build() {
    CombinatorialAnalysis<double> sampler(randGenerator);
    const std::size_t columns = static_cast<std::size_t>(nDV > 0 ? nDV : 0);
    for (int i = 0; i < nPoints; ++i) {
        LH[i].resize(columns, 0.0);
        if (columns > 0) {
            LH[i][0] = i + 1;
        }
    }
    for (int j = 1; j < nDV; ++j) {
        const std::vector<double> column = sampler.getRandomPermutation(nPoints);
        for (int i = 0; i < nPoints; ++i) {
            LH[i][j] = column[i];
        }
    }
}

void LatinHypercube::printMembers() { printMembers(0); }

void LatinHypercube::printMembers(int mode) {
    std::printf("Number of points (runs) = %d\n", nPoints);
    std::printf("Number of design variables (factors) = %d\n\n", nDV);
    if (mode == 1) {
        for (int j = 0; j < nDV; ++j) {
            for (int i = 0; i < nPoints; ++i) {
                std::printf("LH[%d,%d] = %14.6g\n", i, j, LH[i][j]);
            }
            std::printf("\n");
        }
        return;
    }
    std::printf("* * * * * LH * * * * *\n");
    for (int i = 0; i < nPoints; ++i) {
        for (int j = 0; j < nDV; ++j) {
            std::printf("%14.6g\t", LH[i][j]);
        }
        std::printf("\n");
    }
}

void LatinHypercube::fprintfReport(std::string fileName, int format) {
    olhs::detail::writeDesign(*this, fileName, format, olhs::detail::OpenMode::Truncate);
}

namespace olhs {
namespace detail {

bool writeDesign(const LatinHypercube& design, const std::string& path, int format, OpenMode mode) {
    const ReportFile file(path, mode);
    if (!file.isOpen()) {
        return false;
    }
    const Matrix& levels = LatinHypercubeAccess::levels(design);
    const int n = LatinHypercubeAccess::points(design);
    const int m = LatinHypercubeAccess::variables(design);
    if (format == 0) {
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < m; ++j) {
                std::fprintf(file.get(), "%14.6g\t", levels[i][j]);
            }
            std::fprintf(file.get(), "\n");
        }
    } else if (format == 1) {
        std::fprintf(file.get(), "%d\n", m);
        std::fprintf(file.get(), "%d\n", n);
        for (int j = 0; j < m; ++j) {
            for (int i = 0; i < n; ++i) {
                std::fprintf(file.get(), "%14.6g\n", levels[i][j]);
            }
        }
    }
    return true;
}

} // namespace detail
} // namespace olhs
