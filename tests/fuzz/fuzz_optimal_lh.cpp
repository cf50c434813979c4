// Fuzz target: reads its input as a program of operations on a few OptimalLH designs
// (exchanges, flag changes, copies, assignments, rebuilds) and checks after every step
//  - that every column is still a permutation of 1..n and the design is what the step
//    should have made of it;
//  - that the distance matrix equals one recomputed from the levels, and phi_p agrees
//    with a fresh PHIpCriterion of the design's Latin hypercube part.
// Any mismatch aborts.
//
// Input layout: byte 0 picks n in 2..12, byte 1 picks m in 1..5, byte 2 selects the
// random source (even: the built-in stream seeded from the next 8 bytes; odd: a host
// source that takes its draws from the input itself). Every later byte is read as an
// operation code and its operands. Reads past the end give 0.
//
// phi_p under flag 1 is a running correction, ((phi^p + A) - B)^(1/p), and may lose
// accuracy when an exchange removes the terms that dominate the sum: the rounding of
// phi^p is then large against what remains. For flag-1 updates the value is therefore
// compared in the sum domain, against an error budget that grows with the magnitude of
// each correction and is cleared whenever the criterion is recomputed (flag 0) or
// re-summed (flag 2). Flags 0 and 2 must agree to 1e-9 relative.
#include <algorithm>
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

constexpr double kP = 50.0;                                    // the criterion's exponent
constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr double kBudgetFactor = 1024.0;                       // rounding steps allowed per term
constexpr double kRelTol = 1e-9;
constexpr int kSlots = 3;
constexpr int kMaxOps = 4000;

// The input, read front to back; past its end every read is 0.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    bool exhausted() const { return pos_ >= size_; }
    std::uint64_t u64() {
        std::uint64_t v = 0;
        for (int i = 0; i < 8; ++i) {
            v = (v << 8) | byte();
        }
        return v;
    }
    // A draw in [0, 1] from two bytes; both ends are reachable.
    double unit() {
        const unsigned hi = byte();
        const unsigned lo = byte();
        return static_cast<double>((hi << 8) | lo) / 65535.0;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

// Hands the stream back to the built-in generator however the input ends.
struct SourceGuard {
    SourceGuard() = default;
    SourceGuard(const SourceGuard&) = delete;
    SourceGuard& operator=(const SourceGuard&) = delete;
    ~SourceGuard() { CRand::setSource(std::function<double()>()); }
};

[[noreturn]] void fail(const char* what, int slot, const char* detail = "") {
    std::fprintf(stderr, "fuzz_optimal_lh: %s (slot %d) %s\n", what, slot, detail);
    std::abort();
}

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bool closeRel(double a, double b, double rel) {
    if (a == b) {
        return true;
    }
    return std::fabs(a - b) <= rel * std::max(std::fabs(a), std::fabs(b));
}

// A design under test, with the rounding budget its flag-1 updates have used up (0 while
// the criterion is exact up to the last summation) and whether a budget that large could
// have driven the running sum negative (phi_p then reads NaN until it is recomputed).
struct Slot {
    OptimalLH x;
    double budget = 0.0;
    bool mayBeNaN = false;
};

// Everything observable about a design, for before/after comparisons.
struct Snapshot {
    Matrix levels;
    Matrix D;
    double phip;
    int flag;
};

Snapshot snapshot(OptimalLH& x) {
    return Snapshot{x.getLH(), PHIpCriterionAccess::distances(OptimalLHAccess::criterion(x)), x.getPHIp(),
                    x.getPHICflag()};
}

bool sameMatrix(const Matrix& a, const Matrix& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].size() != b[i].size()) {
            return false;
        }
        for (std::size_t j = 0; j < a[i].size(); ++j) {
            if (!sameBits(a[i][j], b[i][j])) {
                return false;
            }
        }
    }
    return true;
}

bool sameSnapshot(const Snapshot& a, const Snapshot& b) {
    return a.flag == b.flag && sameBits(a.phip, b.phip) && sameMatrix(a.levels, b.levels) && sameMatrix(a.D, b.D);
}

// City-block distances straight from the levels, in integers.
Matrix exactDistances(const Matrix& levels, int n, int m) {
    Matrix D(static_cast<std::size_t>(n), std::valarray<double>(0.0, static_cast<std::size_t>(n)));
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            long d = 0;
            for (int k = 0; k < m; ++k) {
                d += std::labs(std::lround(levels[i][k]) - std::lround(levels[j][k]));
            }
            D[i][j] = static_cast<double>(d);
        }
    }
    return D;
}

// Sum over pairs of d^-p: the value phi_p is the p-th root of.
double pairSum(const Matrix& D, int n) {
    double s = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = i + 1; j < n; ++j) {
            s = std::pow(D[i][j], -kP) + s;
        }
    }
    return s;
}

// The terms an exchange of points a and b replaces: both rows against every other point.
double rowTerms(const Matrix& D, int n, int a, int b) {
    double s = 0.0;
    for (int k = 0; k < n; ++k) {
        if (k != a && k != b) {
            s += std::pow(D[a][k], -kP) + std::pow(D[b][k], -kP);
        }
    }
    return s;
}

class Harness {
public:
    Harness(Bytes& in, int n, int m) : in_(in), n_(n), m_(m) {}

    void run() {
        for (int s = 0; s < kSlots; ++s) {
            slots_[s].x = construct(s);
            check(s);
        }
        for (int op = 0; op < kMaxOps && !in_.exhausted(); ++op) {
            step();
            for (int s = 0; s < kSlots; ++s) {
                check(s);
            }
        }
    }

private:
    int slotIndex() { return in_.byte() % kSlots; }
    int point() { return in_.byte() % n_; }
    int column() { return in_.byte() % m_; }

    int anyFlag() {
        static const int flags[] = {0, 1, 2, 1, 1, 2, 0, 3, -1, 7, std::numeric_limits<int>::min(),
                                    std::numeric_limits<int>::max()};
        return flags[in_.byte() % (sizeof flags / sizeof flags[0])];
    }

    // A freshly drawn design through one of the constructors; its criterion is exact.
    OptimalLH construct(int s) {
        const int kind = in_.byte() % 6;
        const int flag = anyFlag();
        const bool generatorFlag = (in_.byte() & 1) != 0;
        OptimalLH x;
        switch (kind) {
        case 0: x = OptimalLH(n_, m_); break;
        case 1: x = OptimalLH(n_, m_, generatorFlag); break;
        case 2: x = OptimalLH(n_, m_, flag); break;
        case 3: x = OptimalLH(n_, m_, flag, generatorFlag); break;
        case 4: x = OptimalLH(LatinHypercube(n_, m_)); break;
        default: x = OptimalLH(LatinHypercube(n_, m_, generatorFlag), flag); break;
        }
        const int expectedFlag = (kind == 2 || kind == 3 || kind == 5) ? flag : 0;
        if (x.getPHICflag() != expectedFlag) {
            fail("constructor stored the wrong flag", s);
        }
        for (int i = 0; i < n_; ++i) {
            if (x.getElement(i, 0) != i + 1) {
                fail("a new design's variable 0 is not 1..n", s);
            }
        }
        return x;
    }

    void step() {
        switch (in_.byte() % 8) {
        case 0:
        case 1:
        case 2: exchange(slotIndex(), column(), point(), point()); break;
        case 3: slots_[slotIndex()].x.setPHICflag(anyFlag()); break;
        case 4: copyConstruct(); break;
        case 5: assign(); break;
        case 6: rebuild(); break;
        default: throughLatinPart(); break;
        }
    }

    // One exchange under the slot's flag, checked against what the flag promises.
    void exchange(int s, int c, int a, int b) {
        Slot& slot = slots_[s];
        OptimalLH& x = slot.x;
        const int flag = x.getPHICflag();
        const Snapshot before = snapshot(x);

        double predicted = 0.0;
        if (flag == 1) {
            // The search judges candidates with this shortcut: it must give the bits the
            // exchange itself gives.
            const olhs::detail::PhipState st = PHIpCriterionAccess::state(OptimalLHAccess::criterion(x));
            predicted = olhs::detail::phipAfterExchange(st.D, st.phip, st.p, st.t, st.n, before.levels, c, a, b);
        }

        x.exchangeElements(c, a, b);
        const Snapshot after = snapshot(x);

        if (flag != 0 && flag != 1 && flag != 2) {
            if (!sameSnapshot(before, after)) {
                fail("an exchange under a flag other than 0, 1, 2 changed the design", s);
            }
            return;
        }

        Matrix expected = before.levels;
        std::swap(expected[a][c], expected[b][c]);
        if (!sameMatrix(expected, after.levels)) {
            fail("the exchange did not swap exactly the two levels", s);
        }
        if (after.flag != flag) {
            fail("the exchange changed the flag", s);
        }

        if (flag == 1) {
            if (!sameBits(predicted, after.phip) && !(std::isnan(predicted) && std::isnan(after.phip))) {
                fail("phipAfterExchange differs from the flag-1 exchange", s);
            }
            const Matrix oldD = exactDistances(before.levels, n_, m_);
            const Matrix newD = exactDistances(after.levels, n_, m_);
            const double terms = rowTerms(oldD, n_, a, b) + rowTerms(newD, n_, a, b);
            const double sums = pairSum(oldD, n_) + pairSum(newD, n_);
            slot.budget += kBudgetFactor * kEps * (sums + terms + slot.budget);
            slot.mayBeNaN = slot.mayBeNaN || slot.budget >= 0.25 * pairSum(newD, n_);
        } else {
            slot.budget = 0.0; // recomputed (flag 0) or re-summed (flag 2)
            slot.mayBeNaN = false;
        }
    }

    void copyConstruct() {
        const int from = slotIndex();
        const int to = slotIndex();
        const Snapshot source = snapshot(slots_[from].x);
        OptimalLH copy(slots_[from].x);
        if (!sameSnapshot(source, snapshot(copy))) {
            fail("a copy differs from its source", from);
        }
        // Changing the copy must leave the source alone.
        copy.setPHICflag(anyFlag());
        copy.exchangeElements(column(), point(), point());
        if (!sameSnapshot(source, snapshot(slots_[from].x))) {
            fail("changing a copy changed its source", from);
        }
        if (in_.byte() & 1) {
            // Keep the changed copy: its budget is unknown, so recompute the criterion by a
            // self-exchange under flag 0, which must leave the design as it is.
            const int flag = copy.getPHICflag();
            copy.setPHICflag(0);
            copy.exchangeElements(0, 0, 0);
            copy.setPHICflag(flag);
            slots_[to].x = copy;
            slots_[to].budget = 0.0;
            slots_[to].mayBeNaN = false;
        }
    }

    void assign() {
        const int from = slotIndex();
        const int to = slotIndex();
        const Snapshot source = snapshot(slots_[from].x);
        if (in_.byte() & 1) {
            // Through an empty design, which must take everything over.
            OptimalLH empty;
            if (empty.getNPoints() != 0 || empty.getOptCrt() != 0.0 || empty.getPHIp() != 0.0) {
                fail("a default design is not empty", to);
            }
            empty = slots_[from].x;
            if (!sameSnapshot(source, snapshot(empty))) {
                fail("assignment to an empty design lost something", from);
            }
            slots_[to].x = empty;
        } else {
            Slot& target = slots_[to];
            const Slot& origin = slots_[from];
            target.x = origin.x; // to == from is a self-assignment
        }
        slots_[to].budget = slots_[from].budget;
        slots_[to].mayBeNaN = slots_[from].mayBeNaN;
        if (!sameSnapshot(source, snapshot(slots_[to].x))) {
            fail("an assigned design differs from its source", to);
        }
    }

    void rebuild() {
        const int s = slotIndex();
        slots_[s].x = construct(s);
        slots_[s].budget = 0.0;
        slots_[s].mayBeNaN = false;
    }

    // A new design from the Latin hypercube part of another: same levels, exact criterion.
    void throughLatinPart() {
        const int from = slotIndex();
        const int to = slotIndex();
        const int flag = anyFlag();
        LatinHypercube part = slots_[from].x;
        OptimalLH made(part, flag);
        const Snapshot source = snapshot(slots_[from].x);
        const Snapshot result = snapshot(made);
        if (!sameMatrix(source.levels, result.levels) || result.flag != flag) {
            fail("OptimalLH(LatinHypercube, flag) changed the design or lost the flag", from);
        }
        slots_[to].x = made;
        slots_[to].budget = 0.0;
        slots_[to].mayBeNaN = false;
    }

    void check(int s) {
        Slot& slot = slots_[s];
        OptimalLH& x = slot.x;
        if (x.getNPoints() != n_ || x.getNDV() != m_) {
            fail("the design's size changed", s);
        }
        const Matrix levels = x.getLH();
        if (levels.size() != static_cast<std::size_t>(n_)) {
            fail("the design does not hold n rows", s);
        }
        for (const std::valarray<double>& row : levels) {
            if (row.size() != static_cast<std::size_t>(m_)) {
                fail("a row does not hold m levels", s);
            }
        }
        for (int j = 0; j < m_; ++j) {
            std::vector<int> seen(static_cast<std::size_t>(n_) + 1, 0);
            for (int i = 0; i < n_; ++i) {
                const double level = levels[i][j];
                const long k = std::lround(level);
                if (level != static_cast<double>(k) || k < 1 || k > n_ || seen[static_cast<std::size_t>(k)]++ != 0) {
                    fail("a column is not a permutation of 1..n", s);
                }
            }
        }

        // Distances: the stored matrix against the levels, and a fresh criterion likewise.
        const Matrix exact = exactDistances(levels, n_, m_);
        const Matrix& stored = PHIpCriterionAccess::distances(OptimalLHAccess::criterion(x));
        LatinHypercube part = x;
        PHIpCriterion fresh(part);
        const Matrix& recomputed = PHIpCriterionAccess::distances(fresh);
        for (const Matrix* D : {&stored, &recomputed}) {
            if (D->size() != static_cast<std::size_t>(n_)) {
                fail("the distance matrix does not have n rows", s);
            }
            for (int i = 0; i < n_; ++i) {
                if ((*D)[i].size() != static_cast<std::size_t>(n_)) {
                    fail("a distance row does not have n entries", s);
                }
                for (int j = 0; j < n_; ++j) {
                    if (!closeRel((*D)[i][j], exact[i][j], kRelTol)) {
                        char detail[128];
                        std::snprintf(detail, sizeof detail, "D[%d][%d] = %.17g, expected %.17g", i, j, (*D)[i][j],
                                      exact[i][j]);
                        fail(D == &stored ? "a stored distance is wrong" : "a recomputed distance is wrong", s,
                             detail);
                    }
                }
            }
        }

        // phi_p.
        const double trueSum = pairSum(exact, n_);
        const double freshPhip = fresh.getPHIp();
        if (!closeRel(freshPhip, std::pow(trueSum, 1.0 / kP), kRelTol)) {
            fail("a fresh criterion's phi_p is wrong", s);
        }
        if (x.getOptCrt() != x.getPHIp() && !(std::isnan(x.getOptCrt()) && std::isnan(x.getPHIp()))) {
            fail("getOptCrt() and getPHIp() differ", s);
        }
        const double phip = x.getPHIp();
        char detail[160];
        if (slot.budget == 0.0) {
            if (!closeRel(phip, freshPhip, kRelTol)) {
                std::snprintf(detail, sizeof detail, "phi_p %.17g, fresh %.17g", phip, freshPhip);
                fail("phi_p differs from a fresh criterion", s, detail);
            }
            return;
        }
        if (std::isnan(phip)) {
            if (!slot.mayBeNaN) {
                std::snprintf(detail, sizeof detail, "budget %.3g, sum %.3g", slot.budget, trueSum);
                fail("phi_p is NaN although the flag-1 updates cannot have lost that much", s, detail);
            }
            return;
        }
        const double sum = std::pow(phip, kP);
        const double allowed = slot.budget + kBudgetFactor * kEps * trueSum;
        if (!(std::fabs(sum - trueSum) <= allowed)) {
            std::snprintf(detail, sizeof detail, "phi_p^p %.17g, sum %.17g, allowed %.3g", sum, trueSum, allowed);
            fail("flag-1 phi_p drifted beyond its rounding budget", s, detail);
        }
    }

    Bytes& in_;
    int n_;
    int m_;
    Slot slots_[kSlots];
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes in(data, size);
    const int n = 2 + in.byte() % 11;
    const int m = 1 + in.byte() % 5;
    SourceGuard guard;
    if (in.byte() & 1) {
        CRand::setSource([&in]() { return in.unit(); });
    } else {
        CRand::seed(in.u64());
    }
    Harness(in, n, m).run();
    return 0;
}
