// Reference for the command's tests: the design straight from the library's entry point,
// written to FILE as CSV with the header and the shortest round-trip values the command prints.
//
// In mode 0 it also prints on standard output phi_p of that random design as the library's
// criterion computes it, for the bit-for-bit check of the command's own computation.
//
// Usage: olhs_cli_entry_point N M MODE SEED|default FILE
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <valarray>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLatinHypercubeDOE.h"
#include "olhs/PHIpCriterion.h"

// The value in the shortest text that reads back as it, then `after`.
static void print(std::FILE* out, double value, const char* after) {
    char text[32];
    const int length = static_cast<int>(std::to_chars(text, text + sizeof text, value).ptr - text);
    std::fprintf(out, "%.*s%s", length, text, after);
}

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s N M MODE SEED|default FILE\n", argv[0]);
        return 2;
    }
    const int n = std::atoi(argv[1]), m = std::atoi(argv[2]), mode = std::atoi(argv[3]);
    const std::uint64_t seed =
        std::strcmp(argv[4], "default") != 0 ? std::strtoull(argv[4], nullptr, 10) : CRand::defaultSeed;
    CRand::seed(seed);
    std::valarray<double> X;
    OptimalLatinHypercubeDOE(mode, m, n, X);
    std::FILE* out = std::fopen(argv[5], "w");
    if (out == nullptr) return 1;
    for (int j = 0; j < m; ++j) std::fprintf(out, "x%d%s", j + 1, j == m - 1 ? "\n" : ",");
    for (int k = 0; k < n * m; ++k) print(out, X[static_cast<std::size_t>(k)], k % m == m - 1 ? "\n" : ",");
    if (mode == 0) {
        CRand::seed(seed); // the entry point's random design is the first one drawn after seeding
        print(stdout, PHIpCriterion(LatinHypercube(n, m)).getPHIp(), "\n");
    }
    return std::fclose(out) == 0 ? 0 : 1;
}
