// Reference for the command's tests: the design straight from the library's entry point,
// written to FILE as CSV with the header and the shortest round-trip values the command prints.
//
// In mode 0 it also prints on standard output phi_p of that random design as the library's
// criterion computes it, for the bit-for-bit check of the command's own computation.
//
// Usage: olhs_cli_entry_point N M MODE SEED|default FILE
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cstdint>
#include <valarray>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/PHIpCriterion.h"
#include "olhs/OptimalLatinHypercubeDOE.h"

int main(int argc, char** argv) {
    if (argc != 6) {
        std::fprintf(stderr, "usage: %s N M MODE SEED|default FILE\n", argv[0]);
        return 2;
    }
    const int n = std::atoi(argv[1]);
    const int m = std::atoi(argv[2]);
    const std::uint64_t seed =
        std::strcmp(argv[4], "default") != 0 ? std::strtoull(argv[4], nullptr, 10) : CRand::defaultSeed;
    CRand::seed(seed);
    std::valarray<double> X;
    OptimalLatinHypercubeDOE(std::atoi(argv[3]), m, n, X);
    std::FILE* out = std::fopen(argv[5], "w");
    if (out == nullptr) {
        std::perror(argv[5]);
        return 1;
    }
    for (int j = 0; j < m; ++j) {
        std::fprintf(out, "%sx%d%s", j == 0 ? "" : ",", j + 1, j == m - 1 ? "\n" : "");
    }
    for (int k = 0; k < n * m; ++k) {
        char text[32];
        const char* end = std::to_chars(text, text + sizeof text, X[static_cast<std::size_t>(k)]).ptr;
        std::fprintf(out, "%s%.*s%s", k % m == 0 ? "" : ",", static_cast<int>(end - text), text,
                     k % m == m - 1 ? "\n" : "");
    }
    if (std::atoi(argv[3]) == 0) {
        // The entry point's random design is the first one drawn after seeding.
        CRand::seed(seed);
        char text[32];
        const char* end = std::to_chars(text, text + sizeof text, PHIpCriterion(LatinHypercube(n, m)).getPHIp()).ptr;
        std::printf("%.*s\n", static_cast<int>(end - text), text);
    }
    return std::fclose(out) == 0 ? 0 : 1;
}
