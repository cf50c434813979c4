// Wall time and peak memory of whole searches through the public interface only, so that
// the same program can be built against any version of the library and compared with it.
//
//   time_search doe N M          the entry point, mode 1
//   time_search outer N M K      a search of exactly K outer iterations
//
// Prints "seconds peak_MiB" on standard output; the search's own lines are discarded.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <valarray>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "olhs/olhs.h"

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: %s doe N M | outer N M K\n", argv[0]);
        return 2;
    }
    const std::string what = argv[1];
    const int n = std::atoi(argv[2]);
    const int m = std::atoi(argv[3]);
    const int outer = argc > 4 ? std::atoi(argv[4]) : 20;

    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);

    const auto start = std::chrono::steady_clock::now();
    double check = 0.0;
    if (what == "doe") {
        std::valarray<double> X;
        OptimalLatinHypercubeDOE(1, m, n, X);
        check = X.sum();
    } else {
        OptimalLH initial(n, m, 1);
        // Exactly `outer` iterations: no stall rule and no convergence threshold.
        SimpleESEA search(initial, StoppingCriteria(outer, 0, 1000000000, 1.7e+308, 1.7e+308, 0.0));
        search.run();
        check = search.getXbest().getOptCrt();
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%.4f %.1f %.17g\n", seconds, usage.ru_maxrss / 1024.0, check);
    return 0;
}
