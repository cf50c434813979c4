// Host program for the memcheck test: exercises the paths that allocate, copy and free the
// most (a mode-1 design, the search and its reports), the refusals and report files that
// cannot be opened. It checks its own results and exits 2 when one is wrong; valgrind
// turns any memory error or leak into exit code 1.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string>
#include <valarray>

#include "olhs/olhs.h"

namespace fs = std::filesystem;

namespace {

int failures = 0;

void expect(bool ok, const char* what) {
    if (!ok) std::fprintf(stderr, "memcheck_host: FAILED: %s\n", what), ++failures;
}

// Entries of a directory; a report that forgets to close its file shows in /proc/self/fd.
long entries(const fs::path& dir) { return std::distance(fs::directory_iterator(dir), fs::directory_iterator()); }

} // namespace

int main() {
    const fs::path scratch = fs::temp_directory_path() / ("olhs-memcheck-" + std::to_string(::getpid()));
    fs::create_directories(scratch);
    const long descriptors = entries("/proc/self/fd");

    std::valarray<double> X, refused(0.5, 8);
    OptimalLatinHypercubeDOE(1, 4, 30, X);
    expect(X.size() == 120 && X.min() == 0.0 && X.max() == 1.0, "mode 1 gives 30 points in 4 variables");
    OptimalLatinHypercubeDOE(1, 4, 1, refused);
    expect(refused.size() == 0, "n = 1 is refused");
    {
        SimpleESEA idle; // never given an initial point: run refuses, the dump still works
        idle.run();
        idle.printMembers();
        expect(idle.getXbest().getNPoints() == 0, "the idle search's best design is empty");
    }
    {
        SimpleESEA search(OptimalLH(8, 3, 1), StoppingCriteria(50, 5, 10, 1.7e308, 1.7e308, 0.01));
        search.run();
        search.setFileName((scratch / "no/such/directory/").string());
        search.fprintfReport(3);
        expect(entries(scratch) == 0, "nothing is written through an unopenable prefix");
        expect(entries("/proc/self/fd") == descriptors, "no file stays open after a failed report");
        search.setFileName(scratch.string() + "/");
        search.fprintfReport(3);
        expect(entries(scratch) == 5, "all five report files are written");
        expect(entries("/proc/self/fd") == descriptors, "no file stays open after a report");
    }
    fs::remove_all(scratch);
    if (failures == 0) std::printf("memcheck_host: all checks passed\n");
    return failures == 0 ? 0 : 2;
}
