// Golden results: designs, criterion bits, console text and report files of the public
// classes over seeds, sizes, update flags and a host source, recorded from the library
// before its search moved onto the engine. Any change of a single bit fails here.
//
// Regenerate (only for an intended change of results): OLHS_GOLDEN_PRINT=1 golden_test
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <valarray>

#include <gtest/gtest.h>

#include "olhs/olhs.h"
#include "test_support.h"

namespace {

/// FNV-1a over bytes, so that a whole run fits in one number.
struct Hash {
    std::uint64_t value = 14695981039346656037ull;
    void bytes(const char* p, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) value = (value ^ static_cast<unsigned char>(p[i])) * 1099511628211ull;
    }
    void number(double x) { bytes(reinterpret_cast<const char*>(&x), sizeof x); }
    void text(const std::string& s) { bytes(s.data(), s.size()), number(static_cast<double>(s.size())); }
};

/// A host generator of its own (a 64-bit LCG), so that host sources are covered too.
std::function<double()> lcgSource(std::uint64_t seed) {
    auto state = std::make_shared<std::uint64_t>(seed);
    return [state]() {
        *state = *state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(*state >> 11) * 0x1.0p-53;
    };
}

/// The text without the elapsed calendar time of the stopping rules, whose digits depend
/// on when the run crossed a second.
std::string withoutElapsed(std::string text) {
    const std::string label = "Total time for the task:";
    for (std::size_t at = text.find(label); at != std::string::npos; at = text.find(label, at + 1))
        text.erase(at + label.size(), text.find('\n', at) - at - label.size());
    return text;
}

std::map<std::string, std::uint64_t> results;

void entryPoint(const std::string& name, int mode, int n, int m) {
    Hash h;
    std::valarray<double> X;
    h.text(olhs_test::captured([&] { OptimalLatinHypercubeDOE(mode, m, n, X); }));
    for (double x : X) h.number(x);
    results[name] = h.value;
}

void search(const std::string& name, int n, int m, int flag, int maxIterations, int runs = 1) {
    Hash h;
    olhs_test::TempDir dir;
    OptimalLH start(n, m, flag);
    h.number(start.getOptCrt());
    SimpleESEA search(start, StoppingCriteria(maxIterations, 5, 10, 1.7e308, 1.7e308, 0.01));
    search.setFileName(dir.file("run_"));
    h.text(withoutElapsed(olhs_test::captured([&] {
        for (int k = 0; k < runs; ++k) search.run();
        search.printMembers(1);
        search.fprintfReport(3);
    })));
    for (const char* file : {"Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt", "FullReport.rpt"})
        h.text(withoutElapsed(olhs_test::readFile(dir.file(std::string("run_") + file))));
    OptimalLH best = search.getXbest();
    for (const auto& row : best.getLH())
        for (double level : row) h.number(level);
    h.number(best.getOptCrt()), h.number(best.getPHICflag());
    // Perturbs the best design under the incremental and the re-summing flags: the values
    // depend on every distance the design carries, not only on its levels.
    best.setPHICflag(1);
    for (int k = 0; k < 6; ++k) {
        best.exchangeElements(1 + k % (m - 1), k % n, (3 * k + 1) % n);
        h.number(best.getOptCrt());
    }
    best.setPHICflag(2);
    best.exchangeElements(1, 0, n - 1);
    h.number(best.getOptCrt());
    results[name] = h.value;
}

// clang-format off
const std::map<std::string, std::uint64_t> expected = {
#include "golden_expected.inc"
};
// clang-format on

TEST(Golden, EveryResultKeepsItsBits) {
    // The default stream first, as a fresh process sees it, then explicit seeds.
    entryPoint("doe default 12x4", 1, 12, 4);
    for (int seed : {1, 7}) {
        for (auto [n, m] :
             {std::pair{2, 2}, {3, 2}, {4, 3}, {5, 2}, {8, 3}, {12, 4}, {23, 3}, {30, 4}, {64, 5}, {100, 10}}) {
            CRand::seed(seed);
            entryPoint("doe seed " + std::to_string(seed) + " " + std::to_string(n) + "x" + std::to_string(m), 1, n, m);
        }
    }
    CRand::seed(3);
    entryPoint("doe mode 0 50x6", 0, 50, 6);
    {
        olhs_test::ScopedSource source(lcgSource(11));
        entryPoint("doe host 40x5", 1, 40, 5);
        search("search host flag 1 30x4", 30, 4, 1, 40);
    }
    for (int flag : {0, 1, 2, 3}) {
        for (auto [n, m] : {std::pair{6, 3}, {12, 3}, {25, 4}}) {
            CRand::seed(100 + flag);
            const std::string size = std::to_string(n) + "x" + std::to_string(m);
            search("search flag " + std::to_string(flag) + " " + size, n, m, flag, 30);
        }
    }
    CRand::seed(5);
    search("search two runs 20x3", 20, 3, 1, 25, 2);
    CRand::seed(9);
    search("search 200x8", 200, 8, 1, 12);
    CRand::seed(13);
    search("search wide 700x100", 700, 100, 1, 7); // distances beyond 16 bits: m (n - 1) > 65535
    CRand::seed(17);
    search("search wide 1000x200", 1000, 200, 1, 6); // most distances above 65535

    if (std::getenv("OLHS_GOLDEN_PRINT")) {
        for (const auto& [name, value] : results)
            std::printf("{\"%s\", 0x%016llxull},\n", name.c_str(), static_cast<unsigned long long>(value));
        return;
    }
    EXPECT_EQ(results.size(), expected.size());
    for (const auto& [name, value] : results) {
        const auto it = expected.find(name);
        ASSERT_NE(it, expected.end()) << name;
        EXPECT_EQ(value, it->second) << name;
    }
}

} // namespace
