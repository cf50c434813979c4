// The criterion's sum over the upper triangle of the distance matrix, re-summed after each
// exchange with the very bits of the plain row-by-row loop, at a small fraction of its cost.
//
// While the running sum s stays in one binade, every rounded add s + t adds exactly
// round(t / ulp) units of that binade's ulp, unless t / ulp is a half-integer (then the
// rounding depends on s). Whole blocks of terms are therefore kept, per binade the sum
// visits, as integer sums of units, and are added in one integer step onto the bits of s.
// A block whose sum would leave the binade, or that holds a tie, a huge term or one that is
// not a finite non-negative number, is added term by term. The units of a binade are
// computed for a block the first time the sum meets it there, and then kept exact through
// exchanges by their O(n) changed terms.
#ifndef OLHS_SRC_ENGINE_EXACT_SUM_H
#define OLHS_SRC_ENGINE_EXACT_SUM_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace olhs {
namespace engine {

/// The plain sum: `sum = T[D[i*n+j]] + sum` over i < j in row order, from 0.0.
template <class Dist>
double plainSum(const std::vector<double>& table, const Dist* D, int n);

/// The plain sum, bit for bit, kept cheap across exchanges of two points (D symmetric).
template <class Dist>
class ExactRowSums {
public:
    /// Keeps a reference to the table (kept unchanged); under plainBelow points, sums plainly.
    explicit ExactRowSums(const std::vector<double>& table, int plainBelow = 128);

    /// Forgets all that is known of D: its contents are new.
    void reset(const Dist* D, int n);
    /// To be called just before rows and columns a and b of D change.
    void beginChange(const Dist* D, int n, int a, int b);
    /// To be called once they have changed, D symmetric again.
    void endChange(const Dist* D, int n, int a, int b);
    /// The plain sum of D, the same bits.
    double sum(const Dist* D, int n);

private:
    /// Units of one binade per block; those outside [lo, hi) are unknown without a mark.
    struct Binade {
        unsigned field = 0; // 0: the slot is free
        std::size_t lo = 0, hi = 0;
        std::uint64_t lastSum = 0;
        std::uint64_t lastTouch = 0;
        std::vector<std::uint64_t> units;
    };
    /// A changed term: its bits and its block.
    struct Changed {
        std::uint64_t bits;
        std::size_t block;
    };

    /// Terms per block, a power of two: its sum of units stays far below 2^64.
    static constexpr int kBlockShift = 7;
    /// 1 << kBlockShift.
    static constexpr int kBlock = 1 << kBlockShift;
    /// Binades kept at most.
    static constexpr int kSlots = 16;
    /// A binade no sum met in this many sums is dropped, sparing its upkeep.
    static constexpr std::uint64_t kKeepSums = 4;
    /// Units not known, and more than any binade holds.
    static constexpr std::uint64_t kUnknown = ~std::uint64_t{0};

    /// Adds or removes the terms of the pairs of a and b in every binade kept.
    void applyChange(const Dist* D, int a, int b, bool add);
    /// The units in binade f of the block of a row from column j0 to j1 (excluded).
    std::uint64_t blockUnits(const Dist* row, int j0, int j1, unsigned f) const;
    /// s + the terms of the block, one by one, as bits.
    std::uint64_t addTerms(std::uint64_t s, const Dist* row, int j0, int j1) const;
    /// The block of the pair i < j.
    std::size_t blockOf(int i, int j) const;
    /// The kept binade f, or nullptr.
    Binade* find(unsigned f);
    /// A slot for binade f, its units all unknown.
    Binade* adopt(unsigned f);
    /// Widens the binade's span to the block, marking the blocks it gains unknown.
    static void widen(Binade& bin, std::size_t block);

    const double* table_;
    int plainBelow_;
    int n_ = -1;
    std::size_t blocks_ = 0;
    std::uint64_t sums_ = 0;
    std::uint64_t clock_ = 0;
    std::vector<std::size_t> rowBlock_;
    std::vector<Binade> binades_;
    std::vector<Changed> changed_; // in two runs, each in block order
    std::size_t secondRun_ = 0;
};

} // namespace engine
} // namespace olhs

#endif
