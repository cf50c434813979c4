// Golden results: designs, criterion bits, console text and report files of the public
// classes over seeds, sizes, update flags and a host source, recorded from the library
// before its search moved onto the engine. Any change of a single bit fails here.
//
// Regenerate (only for an intended change of results): OLHS_GOLDEN_PRINT=1 golden_test
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <valarray>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/olhs.h"
#include "test_support.h"

namespace {

using olhs_test::CaptureOut;
using olhs_test::ScopedSource;
using olhs_test::TempDir;

/// FNV-1a over bytes, so that a whole run fits in one number.
class Hash {
public:
    void bytes(const void* data, std::size_t size) {
        const unsigned char* p = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < size; ++i) {
            value_ = (value_ ^ p[i]) * 1099511628211ull;
        }
    }
    void number(double x) { bytes(&x, sizeof x); }
    void text(const std::string& s) { bytes(s.data(), s.size()); number(static_cast<double>(s.size())); }
    template <class Rows>
    void rows(const Rows& rows) {
        for (const auto& row : rows) {
            for (std::size_t j = 0; j < row.size(); ++j) number(row[j]);
        }
    }
    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 14695981039346656037ull;
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
    for (std::size_t at = text.find(label); at != std::string::npos; at = text.find(label, at + 1)) {
        text.erase(at + label.size(), text.find('\n', at) - at - label.size());
    }
    return text;
}

/// Perturbs a copy of the best design under the incremental and the re-summing flags:
/// the values depend on every distance the design carries, not only on its levels.
void probeDistances(OptimalLH design, Hash& h) {
    const int n = design.getNPoints(), m = design.getNDV();
    design.setPHICflag(1);
    for (int k = 0; k < 6; ++k) {
        design.exchangeElements(1 + k % (m - 1), k % n, (3 * k + 1) % n);
        h.number(design.getOptCrt());
    }
    design.setPHICflag(2);
    design.exchangeElements(1, 0, n - 1);
    h.number(design.getOptCrt());
}

struct Recorder {
    std::map<std::string, std::uint64_t> results;
    void add(const std::string& name, const Hash& h) { results[name] = h.value(); }
};

void entryPoint(Recorder& r, const std::string& name, int mode, int n, int m) {
    Hash h;
    std::valarray<double> X;
    CaptureOut out;
    OptimalLatinHypercubeDOE(mode, m, n, X);
    h.text(out.take());
    for (double x : X) h.number(x);
    r.add(name, h);
}

void search(Recorder& r, const std::string& name, int n, int m, int flag, int maxIterations, int runs = 1) {
    Hash h;
    TempDir dir;
    OptimalLH start(n, m, flag);
    h.number(start.getOptCrt());
    SimpleESEA search(start, StoppingCriteria(maxIterations, 5, 10, 1.7e308, 1.7e308, 0.01));
    search.setFileName(dir.file("run_"));
    {
        CaptureOut out;
        for (int k = 0; k < runs; ++k) search.run();
        search.printMembers(1);
        search.fprintfReport(3);
        h.text(withoutElapsed(out.take()));
    }
    for (const char* file : {"Inital_0.rpt", "Optimal_0.rpt", "Inital_1.rpt", "Optimal_1.rpt", "FullReport.rpt"}) {
        h.text(withoutElapsed(olhs_test::readFile(dir.file(std::string("run_") + file))));
    }
    OptimalLH best = search.getXbest();
    h.rows(best.getLH());
    h.number(best.getOptCrt());
    h.number(best.getPHICflag());
    if (n >= 2 && m >= 2) probeDistances(best, h);
    r.add(name, h);
}

// clang-format off
const std::map<std::string, std::uint64_t> expected = {
#include "golden_expected.inc"
};
// clang-format on

TEST(Golden, EveryResultKeepsItsBits) {
    Recorder r;
    // The default stream first, as a fresh process sees it, then explicit seeds.
    entryPoint(r, "doe default 12x4", 1, 12, 4);
    const int sizes[][2] = {{2, 2}, {3, 2}, {4, 3}, {5, 2}, {8, 3}, {12, 4}, {23, 3}, {30, 4}, {64, 5}, {100, 10}};
    for (std::uint64_t seed : {1u, 7u}) {
        for (const auto& s : sizes) {
            CRand::seed(seed);
            entryPoint(r, "doe seed " + std::to_string(seed) + " " + std::to_string(s[0]) + "x" + std::to_string(s[1]),
                       1, s[0], s[1]);
        }
    }
    CRand::seed(3);
    entryPoint(r, "doe mode 0 50x6", 0, 50, 6);
    {
        ScopedSource source(lcgSource(11));
        entryPoint(r, "doe host 40x5", 1, 40, 5);
        search(r, "search host flag 1 30x4", 30, 4, 1, 40);
    }
    for (int flag : {0, 1, 2, 3}) {
        for (const auto& s : {std::pair<int, int>{6, 3}, {12, 3}, {25, 4}}) {
            CRand::seed(100 + flag);
            search(r, "search flag " + std::to_string(flag) + " " + std::to_string(s.first) + "x" +
                          std::to_string(s.second), s.first, s.second, flag, 30);
        }
    }
    CRand::seed(5);
    search(r, "search two runs 20x3", 20, 3, 1, 25, 2);
    CRand::seed(9);
    search(r, "search 200x8", 200, 8, 1, 12);
    // Distances beyond 16 bits: m (n - 1) > 65535.
    CRand::seed(13);
    search(r, "search wide 700x100", 700, 100, 1, 7);
    CRand::seed(17);
    search(r, "search wide 1000x200", 1000, 200, 1, 6); // most distances above 65535

    if (std::getenv("OLHS_GOLDEN_PRINT")) {
        for (const auto& [name, value] : r.results) std::printf("{\"%s\", 0x%016llxull},\n", name.c_str(),
                                                                 static_cast<unsigned long long>(value));
        return;
    }
    EXPECT_EQ(r.results.size(), expected.size());
    for (const auto& [name, value] : r.results) {
        const auto it = expected.find(name);
        ASSERT_NE(it, expected.end()) << name;
        EXPECT_EQ(value, it->second) << name;
    }
}

} // namespace
