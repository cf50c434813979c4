// A host program: asks the library for a random and for an optimal design and prints them.
#include <cstdio>
#include <valarray>

#include "olhs/olhs.h"

namespace {

void print(const char* title, const std::valarray<double>& X, int m) {
    std::printf("%s\n", title);
    for (std::size_t i = 0; i * m < X.size(); ++i) {
        for (int j = 0; j < m; ++j) {
            std::printf("%s%.4f", j == 0 ? "" : "  ", X[i * m + j]);
        }
        std::printf("\n");
    }
}

} // namespace

int main() {
    const int n = 8;
    const int m = 3;
    std::valarray<double> X;

    OptimalLatinHypercubeDOE(0, m, n, X); // mode 0: random Latin hypercube
    print("Random design:", X, m);

    OptimalLatinHypercubeDOE(1, m, n, X); // mode 1: improved by the search
    print("Optimal design:", X, m);
    return 0;
}
