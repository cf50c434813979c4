// Fuzz target: reads its input as a program of operations on a few OptimalLH designs
// (exchanges, flag changes, copies, assignments, rebuilds) and checks after every step
//  - that every column is a permutation of 1..n, and each step did what it should;
//  - that the distance matrix equals one recomputed from the levels;
//  - that phi_p agrees to 1e-9 with a fresh PHIpCriterion whenever it was last computed in
//    full or re-summed (flags 0 and 2);
//  - that a flag-1 exchange moved phi_p^p by the terms it added and removed, up to the
//    rounding of that sum. The running formula may lose all accuracy in one exchange (even
//    give NaN) when the removed terms dominate, so nothing stronger holds for flag 1.
// Any mismatch aborts.
//
// Input: byte 0 picks n in 2..12, byte 1 m in 1..5, byte 2 the random source (even: the
// built-in stream seeded from the next 8 bytes; odd: draws taken from the input itself).
// Every later byte is an operation code or operand; reads past the end give 0.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>
#include <valarray>
#include <vector>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"
#include "olhs/OptimalLH.h"
#include "olhs/PHIpCriterion.h"

#include "criterion_access.h"
#include "optimal_access.h"
#include "phip_kernels.h"

namespace {

using olhs::detail::Matrix;
using olhs::detail::OptimalLHAccess;
using olhs::detail::PHIpCriterionAccess;

constexpr double kP = 50.0;
constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr int kSlots = 3;

class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    bool exhausted() const { return pos_ >= size_; }
    std::uint64_t u64() {
        std::uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = (v << 8) | byte();
        return v;
    }
    double unit() { // both ends reachable
        const unsigned hi = byte();
        return ((hi << 8) | byte()) / 65535.0;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

[[noreturn]] void fail(const char* what, int slot) {
    std::fprintf(stderr, "fuzz_optimal_lh: %s (slot %d)\n", what, slot);
    std::abort();
}

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bool close(double a, double b) { return a == b || std::fabs(a - b) <= 1e-9 * std::max(std::fabs(a), std::fabs(b)); }

bool sameMatrix(const Matrix& a, const Matrix& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].size() != b[i].size()) return false;
        for (std::size_t j = 0; j < a[i].size(); ++j)
            if (!sameBits(a[i][j], b[i][j])) return false;
    }
    return true;
}

Matrix distances(OptimalLH& x) { return PHIpCriterionAccess::distances(OptimalLHAccess::criterion(x)); }

// Everything observable about a design, by value.
struct Snapshot {
    Matrix levels, D;
    double phip;
    int flag;
    explicit Snapshot(OptimalLH& x) : levels(x.getLH()), D(distances(x)), phip(x.getPHIp()), flag(x.getPHICflag()) {}
    bool operator==(const Snapshot& o) const {
        return flag == o.flag && sameBits(phip, o.phip) && sameMatrix(levels, o.levels) && sameMatrix(D, o.D);
    }
};

double cityBlock(const Matrix& levels, int i, int j) {
    double d = 0.0;
    for (std::size_t k = 0; k < levels[i].size(); ++k) d += std::fabs(levels[i][k] - levels[j][k]);
    return d;
}

// Sum of d^-p between point a or b and every other point.
double rowTerms(const Matrix& levels, int a, int b) {
    double s = 0.0;
    for (int k = 0; k < static_cast<int>(levels.size()); ++k)
        if (k != a && k != b) s += std::pow(cityBlock(levels, a, k), -kP) + std::pow(cityBlock(levels, b, k), -kP);
    return s;
}

struct Slot {
    OptimalLH x;
    bool exact = true; // phi_p was last computed in full or re-summed
};

class Harness {
public:
    Harness(Bytes& in, int n, int m) : in_(in), n_(n), m_(m) {}

    void run() {
        for (Slot& s : slots_) s.x = OptimalLH(n_, m_);
        for (int s = 0; s < kSlots; ++s) {
            slots_[s] = {construct(s), true};
            check(s);
        }
        for (int op = 0; op < 4000 && !in_.exhausted(); ++op) {
            step();
            for (int s = 0; s < kSlots; ++s) check(s);
        }
    }

private:
    int slot() { return in_.byte() % kSlots; }
    int point() { return in_.byte() % n_; }
    int column() { return in_.byte() % m_; }
    int anyFlag() {
        static const int flags[] = {0, 1, 2, 1, 1, 2, 0, 3, -1, 7, INT_MIN, INT_MAX};
        return flags[in_.byte() % (sizeof flags / sizeof flags[0])];
    }

    // A fresh design through one of the constructors, or from another slot's levels.
    OptimalLH construct(int s) {
        const int kind = in_.byte() % 7, flag = anyFlag(), from = slot();
        const bool g = (in_.byte() & 1) != 0;
        OptimalLH x;
        switch (kind) {
        case 0: x = OptimalLH(n_, m_); break;
        case 1: x = OptimalLH(n_, m_, g); break;
        case 2: x = OptimalLH(n_, m_, flag); break;
        case 3: x = OptimalLH(n_, m_, flag, g); break;
        case 4: x = OptimalLH(LatinHypercube(n_, m_)); break;
        case 5: x = OptimalLH(LatinHypercube(n_, m_, g), flag); break;
        default:
            x = OptimalLH(LatinHypercube(slots_[from].x), flag);
            if (!sameMatrix(x.getLH(), slots_[from].x.getLH())) fail("OptimalLH(LatinHypercube) changed the levels", s);
        }
        if (x.getPHICflag() != (kind == 0 || kind == 1 || kind == 4 ? 0 : flag)) fail("a constructor lost the flag", s);
        for (int i = 0; i < n_ && kind != 6; ++i)
            if (x.getElement(i, 0) != i + 1) fail("a new design's variable 0 is not 1..n", s);
        return x;
    }

    void step() {
        switch (in_.byte() % 6) {
        case 0:
        case 1:
        case 2: exchange(slot(), column(), point(), point()); break;
        case 3: slots_[slot()].x.setPHICflag(anyFlag()); break;
        case 4: copy(); break;
        default: {
            const int s = slot();
            slots_[s] = {construct(s), true};
        }
        }
    }

    void exchange(int s, int c, int a, int b) {
        OptimalLH& x = slots_[s].x;
        const int flag = x.getPHICflag();
        const Snapshot before(x);
        double predicted = 0.0; // the shortcut the search judges candidates with
        if (flag == 1) {
            const auto st = PHIpCriterionAccess::state(OptimalLHAccess::criterion(x));
            predicted = olhs::detail::phipAfterExchange(st.D, st.phip, st.t, st.n, st.terms, before.levels, c, a, b);
        }
        x.exchangeElements(c, a, b);
        const Snapshot after(x);
        if (flag != 0 && flag != 1 && flag != 2) {
            if (!(before == after)) fail("an exchange under a flag other than 0, 1, 2 changed the design", s);
            return;
        }
        Matrix expected = before.levels;
        std::swap(expected[a][c], expected[b][c]);
        if (!sameMatrix(expected, after.levels) || after.flag != flag) fail("the exchange did not swap two levels", s);
        slots_[s].exact = flag != 1;
        if (flag != 1) return;
        if (!sameBits(predicted, after.phip) && !(std::isnan(predicted) && std::isnan(after.phip)))
            fail("phipAfterExchange differs from the flag-1 exchange", s);
        const double old = std::pow(before.phip, kP);
        const double added = rowTerms(after.levels, a, b), removed = rowTerms(before.levels, a, b);
        const double want = (old + added) - removed;
        const double tolerance = 64.0 * (n_ + kP) * kEps * (old + added + removed);
        const bool ok = std::isnan(after.phip) ? std::isnan(old) || want <= tolerance
                                               : std::fabs(std::pow(after.phip, kP) - want) <= tolerance;
        if (!ok) fail("a flag-1 exchange moved phi_p^p by more than its terms", s);
    }

    // Copy construction, assignment over an empty design and (possibly self-) assignment
    // give the source; changing a copy leaves the source alone.
    void copy() {
        const int from = slot(), to = slot();
        const Snapshot source(slots_[from].x);
        OptimalLH copied(slots_[from].x), empty;
        if (empty.getNPoints() != 0 || empty.getPHIp() != 0.0) fail("a default design is not empty", from);
        empty = copied;
        copied.setPHICflag(anyFlag());
        copied.exchangeElements(column(), point(), point());
        if (!(Snapshot(empty) == source) || !(Snapshot(slots_[from].x) == source))
            fail("a copy is not independent", from);
        if (in_.byte() & 1) {
            slots_[to].x = slots_[from].x;
        } else {
            slots_[to].x = empty;
        }
        slots_[to].exact = slots_[from].exact;
        if (!(Snapshot(slots_[to].x) == source)) fail("an assigned design differs from its source", to);
    }

    void check(int s) {
        OptimalLH& x = slots_[s].x;
        if (x.getNPoints() != n_ || x.getNDV() != m_) fail("the design's size changed", s);
        const Matrix levels = x.getLH();
        if (levels.size() != static_cast<std::size_t>(n_)) fail("the design does not hold n rows", s);
        for (int j = 0; j < m_; ++j) {
            std::vector<int> seen(static_cast<std::size_t>(n_) + 1, 0);
            for (int i = 0; i < n_; ++i) {
                const double v = levels[i].size() == static_cast<std::size_t>(m_) ? levels[i][j] : 0.0;
                if (v != std::floor(v) || v < 1 || v > n_ || seen[static_cast<std::size_t>(v)]++ != 0)
                    fail("a column is not a permutation of 1..n", s);
            }
        }
        PHIpCriterion fresh(x);
        double sum = 0.0;
        const Matrix held = distances(x), recomputed = PHIpCriterionAccess::distances(fresh);
        for (const Matrix* D : {&held, &recomputed}) {
            if (D->size() != static_cast<std::size_t>(n_)) fail("the distance matrix does not have n rows", s);
            for (int i = 0; i < n_; ++i) {
                if ((*D)[i].size() != static_cast<std::size_t>(n_)) fail("a distance row does not have n entries", s);
                for (int j = 0; j < n_; ++j)
                    if (!close((*D)[i][j], cityBlock(levels, i, j))) fail("a distance differs from the levels", s);
            }
        }
        for (int i = 0; i < n_; ++i)
            for (int j = i + 1; j < n_; ++j) sum += std::pow(cityBlock(levels, i, j), -kP);
        if (!close(fresh.getPHIp(), std::pow(sum, 1.0 / kP))) fail("a fresh criterion's phi_p is wrong", s);
        if (!sameBits(x.getOptCrt(), x.getPHIp())) fail("getOptCrt() and getPHIp() differ", s);
        if (slots_[s].exact && !close(x.getPHIp(), fresh.getPHIp())) fail("phi_p differs from a fresh criterion", s);
    }

    Bytes& in_;
    int n_, m_;
    Slot slots_[kSlots];
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes in(data, size);
    const int n = 2 + in.byte() % 11;
    const int m = 1 + in.byte() % 5;
    if (in.byte() & 1) {
        CRand::setSource([&in]() { return in.unit(); });
    } else {
        CRand::seed(in.u64());
    }
    Harness(in, n, m).run();
    CRand::setSource(std::function<double()>());
    return 0;
}
