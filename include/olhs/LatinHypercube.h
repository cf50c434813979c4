#ifndef OLHS_LATINHYPERCUBE_H
#define OLHS_LATINHYPERCUBE_H

#include <string>
#include <valarray>
#include <vector>

#include "olhs/CRand.h"
#include "olhs/export.h"

namespace olhs {
namespace detail {
struct LatinHypercubeAccess;
}
} // namespace olhs

/// A design of n points in m variables: an n by m matrix of levels in which every column
/// is a permutation of 1..n. Column 0 holds 1..n in point order; the others are drawn.
class OLHS_API LatinHypercube {
public:
    /// An empty design (0 points, 0 variables); nothing is drawn.
    LatinHypercube();
    /// A random design of n points in m variables ((m - 1) n draws).
    LatinHypercube(int n, int m);
    /// As LatinHypercube(n, m); the flag is handed to the design's generator.
    LatinHypercube(int n, int m, bool flag);
    /// As LatinHypercube(n, m); the generator argument is not consulted.
    LatinHypercube(int n, int m, CRand generator);
    /// Copies the counts and every row; draws nothing.
    LatinHypercube(const LatinHypercube& other);
    LatinHypercube(LatinHypercube&& other) = default;
    LatinHypercube& operator=(const LatinHypercube& other) = default;
    LatinHypercube& operator=(LatinHypercube&& other) = default;
    ~LatinHypercube() = default;

    /// Number of points, n.
    int getNPoints();
    /// Number of design variables, m.
    int getNDV();
    /// Level of point i in variable j.
    double getElement(int i, int j);
    /// Swaps the levels of points i1 and i2 in variable j.
    void exchangeElements(int j, int i1, int i2);
    /// Point i: m levels, variable 0 first.
    std::valarray<double> getRow(int i);
    /// Variable j: n levels, point 0 first.
    std::vector<double> getColumn(int j);
    /// The whole matrix, row by row.
    std::vector<std::valarray<double> > getLH();
    /// {n, m}.
    std::vector<int> size();
    /// A copy of the design's generator.
    CRand getRandGenerator();
    /// Redraws the design in place.
    void build();
    /// Console dump as a matrix.
    void printMembers();
    /// Console dump: mode 1 lists the elements variable by variable, any other as a matrix.
    void printMembers(int mode);
    /// File dump: format 0 the matrix, format 1 the column list, any other an empty file.
    void fprintfReport(std::string fileName, int format);

private:
    int nPoints;
    int nDV;
    std::vector<std::valarray<double> > LH;
    CRand randGenerator;

    friend struct olhs::detail::LatinHypercubeAccess;
};

#endif
