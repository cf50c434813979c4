// Small helpers shared by the unit tests: a scratch directory, a scoped host random
// source, console capture and a check of the Latin property.
#ifndef OLHS_TESTS_TEST_SUPPORT_H
#define OLHS_TESTS_TEST_SUPPORT_H

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "olhs/CRand.h"
#include "olhs/LatinHypercube.h"

namespace olhs_test {

/// A fresh, empty directory under the system temporary directory, removed with its
/// contents when the object goes out of scope.
class TempDir {
public:
    TempDir() {
        static std::atomic<unsigned> counter{0};
        const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        const auto base = std::filesystem::temp_directory_path();
        for (;;) {
            std::ostringstream name;
            name << "olhs_test_" << stamp << '_' << counter++;
            path_ = base / name.str();
            std::error_code ec;
            if (std::filesystem::create_directory(path_, ec)) break;
        }
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    /// Full path of an entry of the directory, as a string.
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

/// Whole contents of a file; empty if it cannot be read.
inline std::string readFile(const std::string& fileName) {
    std::ifstream in(fileName, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Makes every CRand draw from `source` while in scope; the destructor hands the stream
/// back to the built-in generator.
class ScopedSource {
public:
    explicit ScopedSource(std::function<double()> source) { CRand::setSource(std::move(source)); }
    ~ScopedSource() { CRand::setSource(std::function<double()>()); }
    ScopedSource(const ScopedSource&) = delete;
    ScopedSource& operator=(const ScopedSource&) = delete;
};

/// A source that always returns `value`.
inline std::function<double()> constantSource(double value) {
    return [value]() { return value; };
}

/// A source that returns `value` and counts the draws in `*count`.
inline std::function<double()> countingSource(long* count, double value = 0.5) {
    return [count, value]() {
        ++*count;
        return value;
    };
}

/// A source that cycles through `values`.
inline std::function<double()> sequenceSource(std::vector<double> values) {
    auto next = std::make_shared<std::size_t>(0);
    return [values = std::move(values), next]() {
        double v = values[*next % values.size()];
        ++*next;
        return v;
    };
}

/// Captures what is written to standard output (CaptureOut) or standard error (CaptureErr),
/// printf and fprintf included, from construction until take().
template <bool ToStderr>
class Capture {
public:
    Capture() {
        flush();
        ToStderr ? testing::internal::CaptureStderr() : testing::internal::CaptureStdout();
    }
    ~Capture() {
        if (!taken_) take();
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    std::string take() {
        flush();
        taken_ = true;
        return ToStderr ? testing::internal::GetCapturedStderr() : testing::internal::GetCapturedStdout();
    }

private:
    static void flush() { std::fflush(ToStderr ? stderr : stdout); }
    bool taken_ = false;
};
using CaptureOut = Capture<false>;
using CaptureErr = Capture<true>;

/// `text` right-aligned in a field of 14 characters, as the dumps print whole numbers.
inline std::string w14(const std::string& text) {
    return text.size() >= 14 ? text : std::string(14 - text.size(), ' ') + text;
}

/// The 3-point, 2-variable design with rows (1,1), (2,3), (3,2), drawn through a scripted
/// source (column 1 picks 1, then 3, then 2).
inline LatinHypercube exampleDesign() {
    ScopedSource source(sequenceSource({0.0, 1.0, 0.0}));
    return LatinHypercube(3, 2);
}

/// How far one incremental (mode 1) update of phi_p may stray from the full computation.
/// The update adds the new terms to phi_p^p and takes the old ones away, so its error is
/// relative to the larger of the old and the new sum: oldPhi^p / newPhi^p times a few
/// roundings per term.
inline double incrementalTolerance(double oldPhi, double newPhi, int n, double p = 50.0) {
    const double ratio = std::pow(oldPhi / newPhi, p);
    return 64.0 * (n + 1) * 2.220446049250313e-16 * newPhi * (1.0 + ratio);
}

/// Success if `rows` has n rows of m entries and every column is a permutation of 1..n.
template <class Rows>
testing::AssertionResult isLatin(const Rows& rows, int n, int m) {
    if (static_cast<int>(rows.size()) != n)
        return testing::AssertionFailure() << "expected " << n << " rows, got " << rows.size();
    for (int i = 0; i < n; ++i)
        if (static_cast<int>(rows[i].size()) != m)
            return testing::AssertionFailure() << "row " << i << " has " << rows[i].size()
                                               << " entries, expected " << m;
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; i < n; ++i) {
            const double v = rows[i][j];
            const int level = static_cast<int>(v);
            if (static_cast<double>(level) != v || level < 1 || level > n)
                return testing::AssertionFailure() << "element (" << i << ", " << j << ") = " << v
                                                   << " is not a level in 1.." << n;
            if (seen[level]++)
                return testing::AssertionFailure()
                       << "level " << level << " repeated in column " << j;
        }
    }
    return testing::AssertionSuccess();
}

} // namespace olhs_test

#endif
