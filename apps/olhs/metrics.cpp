#include "metrics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "number_text.h"

namespace olhs_cli {

namespace {

// The library's criterion: p = 50 on city-block distances (t = 1).
constexpr double criterionP = 50.0;

// d^-p for the whole distances of a design, each from the same pow call the library's
// criterion makes, computed once. Distances beyond the table (huge designs only) are
// computed as they come.
class InversePowers {
public:
    explicit InversePowers(long long largestDistance)
        : values_(static_cast<std::size_t>(std::min(largestDistance, tableLimit) + 1), -1.0) {}

    double operator()(long long d) {
        if (d >= static_cast<long long>(values_.size())) {
            return std::pow(static_cast<double>(d), -criterionP);
        }
        double& value = values_[static_cast<std::size_t>(d)];
        if (value < 0.0) {
            value = std::pow(static_cast<double>(d), -criterionP);
        }
        return value;
    }

private:
    static constexpr long long tableLimit = 1 << 20;
    std::vector<double> values_;
};

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

// One pass over the pairs of points, in the library's order (rows, then the later points
// of each row, the sum built as term + sum), so phi_p has the library's bits without the
// n by n matrices its classes keep: O(n m) memory for any n.
Metrics computeMetrics(const Design& design) {
    const std::size_t n = static_cast<std::size_t>(design.n);
    const std::size_t m = static_cast<std::size_t>(design.m);
    InversePowers term(static_cast<long long>(design.m) * (design.n - 1));
    double sum = 0.0;
    long long minCity = std::numeric_limits<long long>::max();
    long long minSquared = std::numeric_limits<long long>::max();
    for (std::size_t a = 0; a < n; ++a) {
        const int* const x = &design.levels[a * m];
        for (std::size_t b = a + 1; b < n; ++b) {
            const int* const y = &design.levels[b * m];
            long long city = 0;
            long long squared = 0;
            for (std::size_t j = 0; j < m; ++j) {
                const long long d = x[j] - y[j];
                city += d < 0 ? -d : d;
                squared += d * d;
            }
            sum = term(city) + sum;
            minCity = std::min(minCity, city);
            minSquared = std::min(minSquared, squared);
        }
    }
    Metrics metrics;
    metrics.phiP = std::pow(sum, 1.0 / criterionP);
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
