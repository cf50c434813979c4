// The criterion's sum over the upper triangle of the distance matrix, re-summed after each
// exchange with the very bits of the plain row-by-row loop, at a small fraction of its cost.
//
// While the running sum s stays in one binade, every rounded add s + t adds exactly
// round(t / ulp) units of that binade's ulp, unless t / ulp is a half-integer (then the
// rounding depends on s). Whole blocks of terms are therefore kept as integer sums of units
// in the binade the sum was in at the block's start, and added in one integer step onto the
// bits of s. A block whose sum would leave the binade, or that holds a tie, a huge term or
// one that is not a finite non-negative number, is added term by term. A block's units are
// computed when the sum first lingers in a binade across it, and then kept exact through
// exchanges: the changed rows' blocks are recounted, the other changed pairs give deltas.
#ifndef OLHS_SRC_ENGINE_EXACT_SUM_H
#define OLHS_SRC_ENGINE_EXACT_SUM_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace olhs {
namespace engine {

/// The plain sum: `sum = T[D[i*n+j]] + sum` over i < j in row order, from 0.0. Where Dist
/// is double, D holds the terms themselves and T is not read.
template <class Dist>
double plainSum(const std::vector<double>& table, const Dist* D, int n);

/// The plain sum, bit for bit, kept cheap across exchanges of two points (D symmetric).
template <class Dist>
class ExactRowSums {
public:
    /// Keeps a reference to the table (kept unchanged); under plainBelow points, sums plainly.
    /// With `wide` false, it counts units one pair of terms at a time on any processor (the
    /// wide and narrow ways give the same units).
    explicit ExactRowSums(const std::vector<double>& table, int plainBelow = 128, bool wide = true);

    /// Forgets all that is known of D: its contents are new.
    void reset(const Dist* D, int n);
    /// To be called just before rows and columns a and b of D change.
    void beginChange(const Dist* D, int n, int a, int b);
    /// To be called once they have changed, D symmetric again; the same a and b.
    void endChange(const Dist* D, int n, int a, int b);
    /// The plain sum of D, the same bits.
    double sum(const Dist* D, int n);

private:
    /// A changed pair outside rows a and b: its block and its term before and after.
    struct Changed {
        std::size_t block;
        double before, after;
    };

    /// Terms per block, a power of two: its sum of units stays far below 2^64.
    static constexpr int kBlockShift = 7;
    /// 1 << kBlockShift.
    static constexpr int kBlock = 1 << kBlockShift;

    /// Recounts the blocks of row x, and adds the deltas of the pairs (k, x), k < x, k != skip.
    void changeColumn(const Dist* D, const Dist* before, int x, int skip);
    /// The units in binade f of the block of a row from column j0 to j1 (excluded).
    std::uint64_t blockUnits(const Dist* row, int j0, int j1, unsigned f) const;
    /// s + the terms of the block, one by one, as bits.
    std::uint64_t addTerms(std::uint64_t s, const Dist* row, int j0, int j1) const;

    const double* table_;
    int plainBelow_;
    /// The units of a block's terms: four lanes at a time where the processor has AVX2.
    std::uint64_t (*sumUnits_)(const double* table, const Dist* row, int count, unsigned f);
    int n_ = -1;
    std::size_t blocks_ = 0;
    std::vector<std::size_t> rowBlock_;
    /// Per block, the binade its units are counted in; 0 when they are not known.
    std::vector<std::uint16_t> field_;
    std::vector<std::uint64_t> units_;
    /// No block is counted in a lower binade.
    unsigned lowest_ = 0;
    /// Rows a and b before the change, up to the diagonal.
    std::vector<Dist> before_;
    std::vector<Changed> changed_;
};

} // namespace engine
} // namespace olhs

#endif
