// Host program for the memcheck test: exercises the paths that allocate, copy and free the
// most (a mode-1 design, the search and its reports), the refusals and the failure to open
// a report file. It checks its own results too and exits 2 when one is wrong; valgrind
// turns any memory error or leak into exit code 1.
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <valarray>
#include <vector>

#include "olhs/olhs.h"

namespace {

int failures = 0;

void expect(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "memcheck_host: FAILED: %s\n", what);
        ++failures;
    }
}

bool isScaledLatin(const std::valarray<double>& X, int n, int m) {
    if (X.size() != static_cast<std::size_t>(n) * static_cast<std::size_t>(m)) {
        return false;
    }
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n), 0);
        for (int i = 0; i < n; ++i) {
            const double level = X[static_cast<std::size_t>(i * m + j)] * (n - 1);
            const long k = std::lround(level);
            if (k < 0 || k >= n || std::fabs(level - static_cast<double>(k)) > 1e-9 ||
                seen[static_cast<std::size_t>(k)]++ != 0) {
                return false;
            }
        }
    }
    return true;
}

// Entries of a directory other than "." and ".."; -1 if it cannot be read.
int countEntries(const std::string& path) {
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) {
        return -1;
    }
    int count = 0;
    while (const dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            ++count;
        }
    }
    closedir(dir);
    return count;
}

// Open file descriptors of this process: a report that forgets to close its file shows here.
int openDescriptors() { return countEntries("/proc/self/fd"); }

// A fresh directory under the system temporary directory.
std::string makeScratch() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/olhs-memcheck-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) {
        std::perror("mkdtemp");
        std::exit(3);
    }
    return std::string(buffer.data());
}

void removeScratch(const std::string& path) {
    if (DIR* dir = opendir(path.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") {
                std::remove((path + "/" + name).c_str());
            }
        }
        closedir(dir);
    }
    rmdir(path.c_str());
}

} // namespace

int main() {
    const std::string scratch = makeScratch();
    const int descriptorsAtStart = openDescriptors();

    // A mode-1 call: the search with its candidate copies and distance matrices.
    std::valarray<double> X;
    OptimalLatinHypercubeDOE(1, 4, 30, X);
    expect(isScaledLatin(X, 30, 4), "mode 1, n = 30, m = 4 gives a Latin hypercube");

    // A refused call leaves the array empty and allocates nothing that stays.
    std::valarray<double> refused(0.5, 8);
    OptimalLatinHypercubeDOE(1, 4, 1, refused);
    expect(refused.size() == 0, "n = 1 is refused");

    // A search that was never given an initial point: run refuses, the dump still works.
    {
        SimpleESEA idle;
        idle.run();
        idle.printMembers();
        OptimalLH none = idle.getXbest();
        expect(none.getNPoints() == 0, "the idle search's best design is empty");
    }

    // Report files: into a prefix that cannot be opened, then into the scratch directory.
    {
        OptimalLH start(8, 3, 1);
        StoppingCriteria rules;
        rules.setMaxIterations(50);
        rules.setStallIterLimit(10);
        SimpleESEA search(start, rules);
        search.run();

        search.setFileName(scratch + "/no/such/directory/");
        search.fprintfReport(3);
        expect(countEntries(scratch) == 0, "nothing is written through an unopenable prefix");
        expect(openDescriptors() == descriptorsAtStart, "no file stays open after a failed report");

        search.setFileName(scratch + "/");
        search.fprintfReport(3);
        expect(countEntries(scratch) == 5, "all five report files are written");
        expect(openDescriptors() == descriptorsAtStart, "no file stays open after a report");
    }

    removeScratch(scratch);
    expect(countEntries(scratch) == -1, "the scratch directory is removed");
    if (failures == 0) {
        std::printf("memcheck_host: all checks passed\n");
    }
    return failures == 0 ? 0 : 2;
}
