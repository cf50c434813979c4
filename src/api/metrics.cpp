#include "olhs/metrics.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <condition_variable>
#include <mutex>
#include <numeric>
#include <thread>
#include <stdexcept>
#include <string>

#include "api/pair_distances.h"
#include "api/run_common.h"
#include "engine/product_criterion.h"

namespace olhs {

namespace api {

OrderedPowerSum::OrderedPowerSum(double power, std::int64_t largest)
    : power_(power),
      table_(static_cast<std::size_t>(std::clamp<std::int64_t>(largest + 1, 0, std::int64_t{1} << 20)), -1.0),
      absorbedFrom_(std::numeric_limits<std::int64_t>::max()) {}

double OrderedPowerSum::compute(std::int64_t d) const { return std::pow(static_cast<double>(d), power_); }

// pow is within an ulp of d^power and d^power falls as d grows, so every term from the
// smallest d whose computed term is at most a quarter of the gap stays below half of it,
// and s + t rounds back to s. The gap is the same up to the next power of two.
void OrderedPowerSum::updateAbsorption() {
    absorbedFrom_ = std::numeric_limits<std::int64_t>::max();
    nextBinade_ = sum_ > 0.0 ? std::numeric_limits<double>::infinity() : 0.0; // a sum of 0 looks again
    if (!(sum_ > 0.0) || !std::isfinite(sum_)) return;
    int exponent = 0;
    std::frexp(sum_, &exponent);
    nextBinade_ = std::ldexp(1.0, exponent);
    const double quarterGap = (std::nextafter(sum_, nextBinade_ * 2) - sum_) / 4;
    std::int64_t low = 1, high = std::int64_t{1} << 53; // compute(high) <= quarterGap is checked
    if (!(compute(high) <= quarterGap)) return;
    while (low < high) {
        const std::int64_t middle = low + (high - low) / 2;
        if (compute(middle) <= quarterGap)
            high = middle;
        else
            low = middle + 1;
    }
    absorbedFrom_ = high;
}

} // namespace api

namespace {

// Pairs (i, j), i < j, of n points that come before row `row`, for the share measured.
double pairsBefore(std::size_t row, int n) {
    const double r = static_cast<double>(row);
    return r * (n - 1.0) - 0.5 * r * (r - 1.0);
}

void checkShape(int n, int m) {
    if (n < 2) api::refuse("n", "a design needs at least 2 points", std::to_string(n));
    if (m < 1) api::refuse("m", "a design needs at least 1 variable", std::to_string(m));
}

void checkExponent(double p) {
    if (!(p >= 1.0 && p <= 200.0)) api::refuse("p", "must lie in [1, 200]", api::text(p));
}

// Levels within a million of 0 keep every squared distance far inside 64 bits.
constexpr int levelLimit = 1000000;

void checkLevels(const std::vector<int>& levels, int n, int m) {
    api::checkSize("levels", levels.size(), n, m);
    for (int level : levels)
        if (level < -levelLimit || level > levelLimit)
            api::refuse("levels", "must lie in [-1000000, 1000000]", std::to_string(level));
}

// Largest distance the pairs can have, for sizing the table of terms.
std::int64_t largestDistance(const std::vector<int>& levels, int exponent, int m) {
    if (levels.empty()) return 0;
    const auto [low, high] = std::minmax_element(levels.begin(), levels.end());
    const std::int64_t span = static_cast<std::int64_t>(*high) - *low;
    return exponent == 1 ? span * m : span * span * m;
}

std::optional<double> largestAbsCorrelation(const std::vector<int>& levels, int n, int m) {
    if (m < 2) return std::nullopt;
    const std::size_t rows = static_cast<std::size_t>(n), columns = static_cast<std::size_t>(m);
    std::vector<double> centred(rows * columns);
    std::vector<double> norm(columns, 0.0);
    for (std::size_t c = 0; c < columns; ++c) {
        double mean = 0.0;
        for (std::size_t i = 0; i < rows; ++i) mean += levels[i * columns + c];
        mean /= static_cast<double>(rows);
        for (std::size_t i = 0; i < rows; ++i) {
            const double d = levels[i * columns + c] - mean;
            centred[c * rows + i] = d;
            norm[c] += d * d;
        }
        norm[c] = std::sqrt(norm[c]);
    }
    double largest = 0.0;
    for (std::size_t a = 0; a < columns; ++a) {
        for (std::size_t b = a + 1; b < columns; ++b) {
            const double* x = centred.data() + a * rows;
            const double* y = centred.data() + b * rows;
            double sum = 0.0;
            for (std::size_t i = 0; i < rows; ++i) sum += x[i] * y[i];
            largest = std::max(largest, std::fabs(sum / (norm[a] * norm[b])));
        }
    }
    return largest;
}

// Hickernell's centred L2 discrepancy of the levels placed at (k - 0.5) / n.
// The share of metrics()' three passes over the pairs done, told every 64 rows.
class PassProgress {
public:
    PassProgress(const std::function<bool(double)>& progress, int n) : progress_(progress), n_(n) {}
    void row(int pass, std::size_t i) const {
        if (!progress_ || (i & 63) != 0) return;
        const double pairs = 0.5 * n_ * (n_ - 1.0);
        const double before = pairsBefore(i, n_);
        if (!progress_((pass + before / pairs) / 3.0)) throw MeasuringCancelled();
    }

private:
    const std::function<bool(double)>& progress_;
    int n_;
};

double centredL2Discrepancy(const std::vector<int>& levels, int n, int m, const PassProgress& progress) {
    const std::size_t rows = static_cast<std::size_t>(n), columns = static_cast<std::size_t>(m);
    std::vector<double> x(rows * columns), a(rows * columns);
    for (std::size_t k = 0; k < x.size(); ++k) {
        x[k] = (levels[k] - 0.5) / n;
        a[k] = std::fabs(x[k] - 0.5);
    }
    double single = 0.0, pairs = 0.0;
    for (std::size_t i = 0; i < rows; ++i) {
        progress.row(1, i);
        const double* xi = &x[i * columns];
        const double* ai = &a[i * columns];
        double product = 1.0;
        for (std::size_t c = 0; c < columns; ++c) product *= 1.0 + 0.5 * ai[c] - 0.5 * ai[c] * ai[c];
        single += product;
        double diagonal = 1.0;
        for (std::size_t c = 0; c < columns; ++c) diagonal *= 1.0 + ai[c];
        pairs += diagonal;
        for (std::size_t j = i + 1; j < rows; ++j) {
            const double* xj = &x[j * columns];
            const double* aj = &a[j * columns];
            double term = 1.0;
            for (std::size_t c = 0; c < columns; ++c) term *= 1.0 + 0.5 * ai[c] + 0.5 * aj[c] - 0.5 * std::fabs(xi[c] - xj[c]);
            pairs += 2.0 * term;
        }
    }
    const double squared = std::pow(13.0 / 12.0, m) - 2.0 / n * single + pairs / (static_cast<double>(n) * n);
    return std::sqrt(std::max(squared, 0.0));
}

} // namespace

namespace api {

namespace {

// Whole numbers only, so every instruction set gives the same distances. AVX2 where the
// processor has it, chosen at run time (not by an ifunc, which a sanitizer runtime cannot
// start under).
[[gnu::always_inline]] inline void rowDistancesOn(const std::int64_t* byColumn, std::size_t rows, std::size_t columns,
                                                  std::size_t i, std::int64_t* city, std::int64_t* squared) {
    for (std::size_t j = i + 1; j < rows; ++j) city[j] = squared[j] = 0;
    for (std::size_t c = 0; c < columns; ++c) {
        const std::int64_t* x = byColumn + c * rows;
        const std::int64_t xi = x[i];
        for (std::size_t j = i + 1; j < rows; ++j) {
            const std::int64_t d = xi - x[j];
            city[j] += d < 0 ? -d : d;
            squared[j] += d * d;
        }
    }
}

[[gnu::target("avx2")]] void rowDistancesAvx2(const std::int64_t* byColumn, std::size_t rows, std::size_t columns,
                                              std::size_t i, std::int64_t* city, std::int64_t* squared) {
    rowDistancesOn(byColumn, rows, columns, i, city, squared);
}

void rowDistancesPortable(const std::int64_t* byColumn, std::size_t rows, std::size_t columns, std::size_t i,
                          std::int64_t* city, std::int64_t* squared) {
    rowDistancesOn(byColumn, rows, columns, i, city, squared);
}

void noteSmallest(std::int64_t d, std::int64_t pairs, std::int64_t& smallest, std::int64_t& at) {
    if (d < smallest) smallest = d, at = 0;
    if (d == smallest) at += pairs;
}

void noteRow(const std::int64_t* city, const std::int64_t* squared, std::size_t from, std::size_t to,
             PairSummary& summary) {
    for (std::size_t j = from; j < to; ++j) {
        noteSmallest(city[j], 1, summary.minCityBlock, summary.atMinCityBlock);
        noteSmallest(squared[j], 1, summary.minSquared, summary.atMinSquared);
    }
}

// Rows a chunk holds, and chunks a helper may run ahead.
constexpr std::size_t chunkRows = 8;
constexpr std::size_t slots = 2;

} // namespace

void rowDistances(const std::vector<std::int64_t>& byColumn, std::size_t rows, std::size_t columns, std::size_t i,
                  std::int64_t* city, std::int64_t* squared) {
    (__builtin_cpu_supports("avx2") ? rowDistancesAvx2 : rowDistancesPortable)(byColumn.data(), rows, columns, i, city,
                                                                               squared);
}

PairSummary summarisePairs(const std::vector<int>& levels, int n, int m, int exponent, double p,
                           const std::function<bool(double)>& keepGoing) {
    const std::size_t rows = static_cast<std::size_t>(n);
    const std::size_t columns = static_cast<std::size_t>(m);
    const std::vector<std::int64_t> byColumn = levelsByColumn(levels, n, m);
    OrderedPowerSum sum(-(p / exponent), largestDistance(levels, exponent, m));
    const auto fresh = [] {
        PairSummary summary;
        summary.minCityBlock = summary.minSquared = std::numeric_limits<std::int64_t>::max();
        return summary;
    };
    // A row's distances to the later points, noted in `into`; returns those of the metric.
    const auto measuredRow = [&](std::size_t i, std::vector<std::int64_t>& city, std::vector<std::int64_t>& squared,
                                 PairSummary& into) {
        rowDistances(byColumn, rows, columns, i, city.data(), squared.data());
        noteRow(city.data(), squared.data(), i + 1, rows, into);
        return exponent == 1 ? city.data() : squared.data();
    };
    PairSummary summary = fresh();
    std::vector<std::int64_t> city(rows), squared(rows);
    const auto ownRow = [&](std::size_t i) {
        const std::int64_t* d = measuredRow(i, city, squared, summary);
        for (std::size_t j = i + 1; j < rows; ++j) sum.add(d[j]);
    };
    const double pairs = 0.5 * n * (n - 1.0);
    if (std::thread::hardware_concurrency() < 2 || pairs < 4e6) {
        for (std::size_t i = 0; i + 1 < rows; ++i) ownRow(i);
        summary.phip = std::pow(sum.sum(), 1.0 / p);
        return summary;
    }

    // phi_p is the plain ordered sum, so one thread adds every term; the distances, most of
    // the work, are shared: a helper computes every other chunk of rows into one of two
    // buffers, which this thread sums in turn. Memory stays linear in n.
    const std::size_t chunks = (rows - 1 + chunkRows - 1) / chunkRows;
    std::vector<std::vector<std::int64_t>> buffer(slots, std::vector<std::int64_t>(chunkRows * rows));
    std::vector<bool> ready(slots, false);
    bool stop = false; // the caller asked to stop: the helper leaves at its next chunk
    std::mutex guard;
    std::condition_variable changed;
    PairSummary helped = fresh();
    std::thread helper([&] {
        std::vector<std::int64_t> hCity(rows), hSquared(rows);
        for (std::size_t k = 1; k < chunks; k += 2) {
            const std::size_t slot = (k / 2) % slots;
            {
                std::unique_lock<std::mutex> lock(guard);
                changed.wait(lock, [&] { return !ready[slot] || stop; });
                if (stop) return;
            }
            for (std::size_t i = k * chunkRows; i < std::min(rows - 1, (k + 1) * chunkRows); ++i) {
                const std::int64_t* d = measuredRow(i, hCity, hSquared, helped);
                std::copy(d + i + 1, d + rows, buffer[slot].begin() + static_cast<std::ptrdiff_t>((i - k * chunkRows) * rows + i + 1));
            }
            {
                const std::lock_guard<std::mutex> lock(guard);
                ready[slot] = true;
            }
            changed.notify_all();
        }
    });
    for (std::size_t k = 0; k < chunks; ++k) {
        const std::size_t first = k * chunkRows, end = std::min(rows - 1, (k + 1) * chunkRows);
        if (keepGoing && !keepGoing(pairsBefore(first, n) / pairs)) {
            {
                const std::lock_guard<std::mutex> lock(guard);
                stop = true;
            }
            changed.notify_all();
            helper.join();
            summary.complete = false;
            return summary;
        }
        if (k % 2 == 0) {
            for (std::size_t i = first; i < end; ++i) ownRow(i);
            continue;
        }
        const std::size_t slot = (k / 2) % slots;
        {
            std::unique_lock<std::mutex> lock(guard);
            changed.wait(lock, [&] { return ready[slot]; });
        }
        for (std::size_t i = first; i < end; ++i) {
            const std::int64_t* d = buffer[slot].data() + (i - first) * rows;
            for (std::size_t j = i + 1; j < rows; ++j) sum.add(d[j]);
        }
        {
            const std::lock_guard<std::mutex> lock(guard);
            ready[slot] = false;
        }
        changed.notify_all();
    }
    helper.join();
    noteSmallest(helped.minCityBlock, helped.atMinCityBlock, summary.minCityBlock, summary.atMinCityBlock);
    noteSmallest(helped.minSquared, helped.atMinSquared, summary.minSquared, summary.atMinSquared);
    summary.phip = std::pow(sum.sum(), 1.0 / p);
    return summary;
}

} // namespace api

std::vector<int> ranks(const double* values, int n, int m) {
    checkShape(n, m);
    const std::size_t rows = static_cast<std::size_t>(n), columns = static_cast<std::size_t>(m);
    for (std::size_t i = 0; i < rows; ++i)
        for (std::size_t c = 0; c < columns; ++c)
            if (!std::isfinite(values[i * columns + c]))
                api::refuse("values", api::cell(i, c) + ": must be a finite number", api::text(values[i * columns + c]));
    std::vector<int> result(rows * columns);
    std::vector<std::size_t> order(rows);
    for (std::size_t c = 0; c < columns; ++c) {
        std::iota(order.begin(), order.end(), std::size_t{0});
        const auto value = [&](std::size_t i) { return values[i * columns + c]; };
        std::stable_sort(order.begin(), order.end(), [&](std::size_t p, std::size_t q) { return value(p) < value(q); });
        for (std::size_t k = 0; k + 1 < rows; ++k) {
            if (value(order[k]) == value(order[k + 1])) {
                const int column = static_cast<int>(c) + 1;
                const int first = static_cast<int>(order[k]) + 1, second = static_cast<int>(order[k + 1]) + 1;
                throw TiedValues(column, first, second, value(order[k]),
                                 "column " + std::to_string(column) + ": rows " + std::to_string(first) + " and " +
                                     std::to_string(second) + " tie at " + api::text(value(order[k])));
            }
        }
        for (std::size_t k = 0; k < rows; ++k) result[order[k] * columns + c] = static_cast<int>(k + 1);
    }
    return result;
}

double phip(const std::vector<int>& levels, int n, int m, Metric metric, double p) {
    checkShape(n, m);
    checkExponent(p);
    checkLevels(levels, n, m);
    return api::summarisePairs(levels, n, m, metric == Metric::Euclidean ? 2 : 1, p).phip;
}

std::vector<NamedMeasure> namedMeasures(const Metrics& mt) {
    const auto whole = [](long long x) { return static_cast<double>(x); };
    return {{"phi_p_city_block", mt.phipCityBlock, false, true},
            {"phi_p_euclidean", mt.phipEuclidean, false, true},
            {"min_city_block_distance", whole(mt.minCityBlock), true, true},
            {"min_city_block_pairs", whole(mt.minCityBlockPairs), true, true},
            {"min_euclidean_distance", mt.minEuclidean, false, true},
            {"min_euclidean_pairs", whole(mt.minEuclideanPairs), true, true},
            {"max_abs_correlation", mt.maxAbsCorrelation.value_or(0.0), false, mt.maxAbsCorrelation.has_value()},
            {"centered_l2_discrepancy", mt.centredL2Discrepancy, false, true},
            {"maxpro", mt.maxPro, false, true}};
}

Metrics metrics(const std::vector<int>& levels, int n, int m, double p) { return metrics(levels, n, m, p, {}); }

Metrics metrics(const std::vector<int>& levels, int n, int m, double p, const std::function<bool(double)>& progress) {
    checkShape(n, m);
    checkExponent(p);
    api::checkLatin("levels", levels, n, m);
    api::OrderedPowerSum citySum(-p, largestDistance(levels, 1, m));
    api::OrderedPowerSum euclideanSum(-(p / 2), largestDistance(levels, 2, m));
    std::int64_t minCity = std::numeric_limits<std::int64_t>::max(), minSquared = minCity;
    long long cityPairs = 0, squaredPairs = 0;
    const PassProgress passes(progress, n);
    api::forEachPair(
        levels, n, m,
        [&](std::size_t, std::size_t, std::int64_t cityBlock, std::int64_t squared) {
            citySum.add(cityBlock);
            euclideanSum.add(squared);
            if (cityBlock < minCity) minCity = cityBlock, cityPairs = 0;
            if (cityBlock == minCity) ++cityPairs;
            if (squared < minSquared) minSquared = squared, squaredPairs = 0;
            if (squared == minSquared) ++squaredPairs;
        },
        [&](std::size_t i) { passes.row(0, i); });
    Metrics result;
    result.phipCityBlock = std::pow(citySum.sum(), 1.0 / p);
    result.phipEuclidean = std::pow(euclideanSum.sum(), 1.0 / p);
    result.minCityBlock = minCity;
    result.minCityBlockPairs = cityPairs;
    result.minEuclidean = std::sqrt(static_cast<double>(minSquared));
    result.minEuclideanPairs = squaredPairs;
    result.maxAbsCorrelation = largestAbsCorrelation(levels, n, m);
    result.centredL2Discrepancy = centredL2Discrepancy(levels, n, m, passes);
    result.maxPro = engine::ProductCriterion::fullValue(api::levelsFrom(levels, n, m), engine::ProductKind::MaxPro,
                                                        [&](int i) { passes.row(2, static_cast<std::size_t>(i)); });
    return result;
}

} // namespace olhs
