// Fuzz target: reads its input as a program of operations on three OptimalLH designs
// (exchanges, flag changes, copies, assignments, rebuilds) and checks after every step that
// each column is a permutation of 1..n, that the step did what it should, that the distances
// are those of the levels, and that phi_p agrees to 1e-9 with a fresh criterion when last
// computed in full or re-summed (flags 0 and 2). A flag-1 exchange must move phi_p^p by the
// terms it added and removed, up to the rounding of that sum: the running formula may lose
// all accuracy (even give NaN) when the removed terms dominate. Any mismatch aborts.
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
#include <vector>

#include "criterion_access.h"
#include "olhs/CRand.h"
#include "olhs/OptimalLH.h"
#include "optimal_access.h"

namespace {

using olhs::detail::Matrix;
using olhs::detail::OptimalLHAccess;
using olhs::detail::PHIpCriterionAccess;

struct Bytes {
    const std::uint8_t* data;
    std::size_t size, pos;
    std::uint8_t byte() { return pos < size ? data[pos++] : 0; }
    double unit() { // both ends reachable
        const unsigned hi = byte();
        return ((hi << 8) | byte()) / 65535.0;
    }
};

[[noreturn]] void fail(const char* what, int slot) {
    std::fprintf(stderr, "fuzz_optimal_lh: %s (slot %d)\n", what, slot);
    std::abort();
}

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
bool close(double a, double b) { return a == b || std::fabs(a - b) <= 1e-9 * std::max(std::fabs(a), std::fabs(b)); }
bool sameMatrix(const Matrix& a, const Matrix& b) {
    bool same = a.size() == b.size();
    for (std::size_t i = 0; same && i < a.size(); ++i) {
        same = a[i].size() == b[i].size();
        for (std::size_t j = 0; same && j < a[i].size(); ++j) same = sameBits(a[i][j], b[i][j]);
    }
    return same;
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

// Sum of d^-50 between point a or b and every other point.
double rowTerms(const Matrix& levels, int a, int b) {
    double s = 0.0;
    for (int k = 0; k < static_cast<int>(levels.size()); ++k)
        if (k != a && k != b) s += std::pow(cityBlock(levels, a, k), -50.0) + std::pow(cityBlock(levels, b, k), -50.0);
    return s;
}

class Harness {
public:
    Harness(Bytes& in, int n, int m) : in_(in), n_(n), m_(m) {}
    void run() {
        for (OptimalLH& x : x_) x = OptimalLH(n_, m_);
        for (int s = 0; s < 3; ++s) x_[s] = construct(s), check(s);
        for (int op = 0; op < 4000 && in_.pos < in_.size; ++op) {
            const int code = in_.byte() % 6, s = slot();
            if (code < 3) {
                const int c = in_.byte() % m_, a = point();
                exchange(s, c, a, point());
            } else if (code == 3) {
                x_[s].setPHICflag(anyFlag());
            } else if (code == 4) {
                copy(s, slot());
            } else {
                x_[s] = construct(s), exact_[s] = true;
            }
            for (int t = 0; t < 3; ++t) check(t);
        }
    }

private:
    int slot() { return in_.byte() % 3; }
    int point() { return in_.byte() % n_; }
    int anyFlag() {
        static const int flags[] = {0, 1, 2, 1, 1, 2, 0, 3, -1, 7, INT_MIN, INT_MAX};
        return flags[in_.byte() % 12];
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
            x = OptimalLH(LatinHypercube(x_[from]), flag);
            if (!sameMatrix(x.getLH(), x_[from].getLH())) fail("OptimalLH(LatinHypercube) changed the levels", s);
        }
        if (x.getPHICflag() != (kind == 0 || kind == 1 || kind == 4 ? 0 : flag)) fail("a constructor lost the flag", s);
        for (int i = 0; i < n_ && kind != 6; ++i)
            if (x.getElement(i, 0) != i + 1) fail("a new design's variable 0 is not 1..n", s);
        return x;
    }

    void exchange(int s, int c, int a, int b) {
        OptimalLH& x = x_[s];
        const int flag = x.getPHICflag();
        const Snapshot before(x);
        x.exchangeElements(c, a, b);
        const Snapshot after(x);
        if (flag < 0 || flag > 2) {
            if (!(before == after)) fail("an exchange under a flag other than 0, 1, 2 changed the design", s);
            return;
        }
        Matrix expected = before.levels;
        std::swap(expected[a][c], expected[b][c]);
        if (!sameMatrix(expected, after.levels) || after.flag != flag) fail("the exchange did not swap two levels", s);
        if ((exact_[s] = flag != 1)) return;
        const double old = std::pow(before.phip, 50.0);
        const double added = rowTerms(after.levels, a, b), removed = rowTerms(before.levels, a, b);
        const double want = (old + added) - removed;
        const double tolerance = 64.0 * (n_ + 50) * std::numeric_limits<double>::epsilon() * (old + added + removed);
        const bool ok = std::isnan(after.phip) ? std::isnan(old) || want <= tolerance
                                               : std::fabs(std::pow(after.phip, 50.0) - want) <= tolerance;
        if (!ok) fail("a flag-1 exchange moved phi_p^p by more than its terms", s);
    }

    // Copy construction, assignment over an empty design and (possibly self-) assignment
    // give the source; changing a copy leaves the source alone.
    void copy(int from, int to) {
        const Snapshot source(x_[from]);
        OptimalLH copied(x_[from]), empty;
        if (empty.getNPoints() != 0 || empty.getPHIp() != 0.0) fail("a default design is not empty", from);
        empty = copied;
        copied.setPHICflag(anyFlag());
        const int c = in_.byte() % m_, a = point();
        copied.exchangeElements(c, a, point());
        if (!(Snapshot(empty) == source) || !(Snapshot(x_[from]) == source)) fail("a copy is not independent", from);
        x_[to] = in_.byte() & 1 ? x_[from] : empty;
        exact_[to] = exact_[from];
        if (!(Snapshot(x_[to]) == source)) fail("an assigned design differs from its source", to);
    }

    void check(int s) {
        OptimalLH& x = x_[s];
        const Matrix levels = x.getLH();
        if (x.getNPoints() != n_ || x.getNDV() != m_ || levels.size() != static_cast<std::size_t>(n_))
            fail("the design's size changed", s);
        for (int j = 0; j < m_; ++j) {
            std::vector<int> seen(static_cast<std::size_t>(n_) + 1, 0);
            for (int i = 0; i < n_; ++i) {
                const double v = levels[i].size() == static_cast<std::size_t>(m_) ? levels[i][j] : 0.0;
                if (v != std::floor(v) || v < 1 || v > n_ || seen[static_cast<std::size_t>(v)]++ != 0)
                    fail("a column is not a permutation of 1..n", s);
            }
        }
        PHIpCriterion fresh(x);
        for (const Matrix& D : {distances(x), PHIpCriterionAccess::distances(fresh)}) {
            for (int i = 0; i < n_; ++i) {
                if (D.size() != levels.size() || D[i].size() != levels.size()) fail("the distances are not n x n", s);
                for (int j = 0; j < n_; ++j)
                    if (!close(D[i][j], cityBlock(levels, i, j))) fail("a distance differs from the levels", s);
            }
        }
        double sum = 0.0;
        for (int i = 0; i < n_; ++i)
            for (int j = i + 1; j < n_; ++j) sum += std::pow(cityBlock(levels, i, j), -50.0);
        if (!close(fresh.getPHIp(), std::pow(sum, 1.0 / 50))) fail("a fresh criterion's phi_p is wrong", s);
        if (!sameBits(x.getOptCrt(), x.getPHIp())) fail("getOptCrt() and getPHIp() differ", s);
        if (exact_[s] && !close(x.getPHIp(), fresh.getPHIp())) fail("phi_p differs from a fresh criterion", s);
    }

    Bytes& in_;
    int n_, m_;
    OptimalLH x_[3];
    bool exact_[3] = {true, true, true};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes in{data, size, 0};
    const int n = 2 + in.byte() % 11;
    const int m = 1 + in.byte() % 5;
    if (in.byte() & 1) {
        CRand::setSource([&in]() { return in.unit(); });
    } else {
        std::uint64_t seed = 0;
        for (int i = 0; i < 8; ++i) seed = (seed << 8) | in.byte();
        CRand::seed(seed);
    }
    Harness(in, n, m).run();
    CRand::setSource(std::function<double()>());
    return 0;
}
