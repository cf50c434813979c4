#include "metrics.h"

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <vector>

#include "number_text.h"
#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/PHIpCriterion.h"

namespace olhs_cli {

namespace {

// The library builds designs only by drawing them. Drawing with a source that always
// returns 0 gives every column the levels 1..n in order without touching the real stream;
// swaps within each column then place the wanted levels.
LatinHypercube designWithLevels(const Design& design) {
    CRand::setSource([] { return 0.0; });
    LatinHypercube result(design.n, design.m);
    CRand::setSource(std::function<double()>());

    const std::size_t m = static_cast<std::size_t>(design.m);
    std::vector<int> rowOfLevel(static_cast<std::size_t>(design.n) + 1);
    for (int j = 0; j < design.m; ++j) {
        for (int i = 0; i < design.n; ++i) {
            rowOfLevel[static_cast<std::size_t>(i) + 1] = i;
        }
        for (int i = 0; i < design.n; ++i) {
            const int wanted = design.levels[static_cast<std::size_t>(i) * m + static_cast<std::size_t>(j)];
            const int current = static_cast<int>(result.getElement(i, j));
            if (current != wanted) {
                const int from = rowOfLevel[static_cast<std::size_t>(wanted)];
                result.exchangeElements(j, i, from);
                rowOfLevel[static_cast<std::size_t>(current)] = from;
                rowOfLevel[static_cast<std::size_t>(wanted)] = i;
            }
        }
    }
    return result;
}

std::optional<double> largestAbsCorrelation(const Design& design) {
    if (design.m < 2) {
        return std::nullopt;
    }
    const std::size_t n = static_cast<std::size_t>(design.n);
    const std::size_t m = static_cast<std::size_t>(design.m);
    std::vector<double> centred(n * m);
    std::vector<double> norm(m, 0.0);
    for (std::size_t j = 0; j < m; ++j) {
        double mean = 0.0;
        for (std::size_t i = 0; i < n; ++i) {
            mean += design.levels[i * m + j];
        }
        mean /= static_cast<double>(n);
        for (std::size_t i = 0; i < n; ++i) {
            const double c = design.levels[i * m + j] - mean;
            centred[i * m + j] = c;
            norm[j] += c * c;
        }
        norm[j] = std::sqrt(norm[j]);
    }
    double largest = 0.0;
    for (std::size_t a = 0; a < m; ++a) {
        for (std::size_t b = a + 1; b < m; ++b) {
            double sum = 0.0;
            for (std::size_t i = 0; i < n; ++i) {
                sum += centred[i * m + a] * centred[i * m + b];
            }
            const double r = std::fabs(sum / (norm[a] * norm[b]));
            if (r > largest) {
                largest = r;
            }
        }
    }
    return largest;
}

} // namespace

double phiP(const Design& design) { return PHIpCriterion(designWithLevels(design)).getPHIp(); }

Metrics computeMetrics(const Design& design) {
    Metrics metrics;
    metrics.phiP = phiP(design);

    const std::size_t n = static_cast<std::size_t>(design.n);
    const std::size_t m = static_cast<std::size_t>(design.m);
    long long minCity = std::numeric_limits<long long>::max();
    long long minSquared = std::numeric_limits<long long>::max();
    for (std::size_t a = 0; a < n; ++a) {
        for (std::size_t b = a + 1; b < n; ++b) {
            long long city = 0;
            long long squared = 0;
            for (std::size_t j = 0; j < m; ++j) {
                const long long d = design.levels[a * m + j] - design.levels[b * m + j];
                city += d < 0 ? -d : d;
                squared += d * d;
            }
            if (city < minCity) {
                minCity = city;
            }
            if (squared < minSquared) {
                minSquared = squared;
            }
        }
    }
    metrics.minCityBlock = minCity;
    metrics.minEuclidean = std::sqrt(static_cast<double>(minSquared));
    metrics.maxAbsCorrelation = largestAbsCorrelation(design);
    return metrics;
}

void printMetrics(std::FILE* out, const Metrics& metrics) {
    std::fprintf(out, "phi_p: %s\n", shortestText(metrics.phiP).c_str());
    std::fprintf(out, "min_city_block_distance: %lld\n", metrics.minCityBlock);
    std::fprintf(out, "min_euclidean_distance: %s\n", shortestText(metrics.minEuclidean).c_str());
    if (metrics.maxAbsCorrelation) {
        std::fprintf(out, "max_abs_correlation: %s\n", shortestText(*metrics.maxAbsCorrelation).c_str());
    } else {
        std::fprintf(out, "max_abs_correlation: none (one variable)\n");
    }
}

} // namespace olhs_cli
