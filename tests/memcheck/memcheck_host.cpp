// Host program for the memcheck test: exercises the paths that allocate, copy and free the
// most (a mode-1 design, the search and its reports), the refusals and a report file that
// cannot be opened. It checks its own results and exits 2 when one is wrong; valgrind
// turns any memory error or leak into exit code 1.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <valarray>
#include <vector>

#include "olhs/olhs.h"

namespace fs = std::filesystem;

namespace {

int failures = 0;

void expect(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "memcheck_host: FAILED: %s\n", what);
        ++failures;
    }
}

bool isScaledLatin(const std::valarray<double>& X, int n, int m) {
    if (X.size() != static_cast<std::size_t>(n * m)) return false;
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n), 0);
        for (int i = 0; i < n; ++i) {
            const long k = std::lround(X[static_cast<std::size_t>(i * m + j)] * (n - 1));
            if (k < 0 || k >= n || seen[static_cast<std::size_t>(k)]++ != 0) return false;
        }
    }
    return true;
}

// Entries of a directory; a report that forgets to close its file shows in /proc/self/fd.
long entries(const fs::path& dir) { return std::distance(fs::directory_iterator(dir), fs::directory_iterator()); }
long openDescriptors() { return entries("/proc/self/fd"); }

} // namespace

int main() {
    const fs::path scratch = fs::temp_directory_path() / ("olhs-memcheck-" + std::to_string(::getpid()));
    fs::create_directories(scratch);
    const long descriptorsAtStart = openDescriptors();

    std::valarray<double> X;
    OptimalLatinHypercubeDOE(1, 4, 30, X);
    expect(isScaledLatin(X, 30, 4), "mode 1, n = 30, m = 4 gives a Latin hypercube");
    std::valarray<double> refused(0.5, 8);
    OptimalLatinHypercubeDOE(1, 4, 1, refused);
    expect(refused.size() == 0, "n = 1 is refused");

    {
        SimpleESEA idle; // never given an initial point: run refuses, the dump still works
        idle.run();
        idle.printMembers();
        expect(idle.getXbest().getNPoints() == 0, "the idle search's best design is empty");
    }
    {
        StoppingCriteria rules;
        rules.setMaxIterations(50);
        rules.setStallIterLimit(10);
        SimpleESEA search(OptimalLH(8, 3, 1), rules);
        search.run();
        search.setFileName((scratch / "no/such/directory/").string());
        search.fprintfReport(3);
        expect(entries(scratch) == 0, "nothing is written through an unopenable prefix");
        expect(openDescriptors() == descriptorsAtStart, "no file stays open after a failed report");
        search.setFileName(scratch.string() + "/");
        search.fprintfReport(3);
        expect(entries(scratch) == 5, "all five report files are written");
        expect(openDescriptors() == descriptorsAtStart, "no file stays open after a report");
    }
    fs::remove_all(scratch);
    if (failures == 0) std::printf("memcheck_host: all checks passed\n");
    return failures == 0 ? 0 : 2;
}
