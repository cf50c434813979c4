#include "metrics.h"

#include "olhs/metrics.h"

#include "number_text.h"

namespace olhs_cli {

Metrics computeMetrics(const Design& design) {
    const olhs::Metrics measured = olhs::metrics(design.levels, design.n, design.m);
    Metrics metrics;
    metrics.phiP = measured.phipCityBlock;
    metrics.minCityBlock = measured.minCityBlock;
    metrics.minEuclidean = measured.minEuclidean;
    metrics.maxAbsCorrelation = measured.maxAbsCorrelation;
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
