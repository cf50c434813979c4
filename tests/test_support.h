// Helpers shared by the unit tests: a scratch directory, a scoped host random source,
// console capture, expected dump texts and a check of the Latin property.
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
#include <string>
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
        const std::string stamp = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
        do path_ = std::filesystem::temp_directory_path() / ("olhs_test_" + stamp + "_" + std::to_string(counter++));
        while (!std::filesystem::create_directory(path_));
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

/// Makes every CRand draw from `source` while in scope; then the built-in stream resumes.
struct ScopedSource {
    explicit ScopedSource(std::function<double()> source) { CRand::setSource(std::move(source)); }
    ~ScopedSource() { CRand::setSource(std::function<double()>()); }
    ScopedSource(const ScopedSource&) = delete;
    ScopedSource& operator=(const ScopedSource&) = delete;
};

/// Sources that always return `value`, that also count the draws in `*count`, and that
/// cycle through `values`.
inline std::function<double()> constantSource(double value) {
    return [value]() { return value; };
}
inline std::function<double()> countingSource(long* count, double value = 0.5) {
    return [count, value]() {
        ++*count;
        return value;
    };
}
inline std::function<double()> sequenceSource(std::vector<double> values) {
    auto next = std::make_shared<std::size_t>(0);
    return [values = std::move(values), next]() { return values[(*next)++ % values.size()]; };
}

/// Captures what is written to standard output (CaptureOut) or standard error (CaptureErr),
/// printf and fprintf included, from construction until take().
template <bool ToStderr>
class Capture {
public:
    Capture() {
        std::fflush(ToStderr ? stderr : stdout);
        ToStderr ? testing::internal::CaptureStderr() : testing::internal::CaptureStdout();
    }
    ~Capture() {
        if (!taken_) take();
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    std::string take() {
        std::fflush(ToStderr ? stderr : stdout);
        taken_ = true;
        return ToStderr ? testing::internal::GetCapturedStderr() : testing::internal::GetCapturedStdout();
    }

private:
    bool taken_ = false;
};
using CaptureOut = Capture<false>;
using CaptureErr = Capture<true>;

/// `text` right-aligned in a field of 14 characters, as "%14.6g" prints it.
inline std::string w14(const std::string& text) {
    return text.size() >= 14 ? text : std::string(14 - text.size(), ' ') + text;
}

/// An expected dump written compactly: "<x>" stands for w14(x) and the two characters
/// "\t" for a tab, so that raw strings can be used.
inline std::string dumpText(const std::string& compact) {
    std::string out;
    for (std::size_t i = 0; i < compact.size(); ++i) {
        if (compact[i] == '<') {
            const std::size_t end = compact.find('>', i);
            out += w14(compact.substr(i + 1, end - i - 1));
            i = end;
        } else if (compact.compare(i, 2, "\\t") == 0) {
            out += '\t';
            ++i;
        } else {
            out += compact[i];
        }
    }
    return out;
}

/// Runs `write`, which must fail to open `path`: one line on standard error naming the
/// file, nothing on standard output, and no file left behind.
inline testing::AssertionResult reportsUnopenable(const std::string& path, const std::function<void()>& write) {
    CaptureErr err;
    CaptureOut out;
    write();
    const std::string message = err.take(), console = out.take();
    if (message.find(path) == std::string::npos || message.find('\n') != message.size() - 1 || !console.empty() ||
        std::filesystem::exists(path))
        return testing::AssertionFailure() << "stderr \"" << message << "\", stdout \"" << console << "\"";
    return testing::AssertionSuccess();
}

/// The 3-point, 2-variable design with rows (1,1), (2,3), (3,2), drawn through a scripted
/// source (column 1 picks 1, then 3, then 2).
inline LatinHypercube exampleDesign() {
    ScopedSource source(sequenceSource({0.0, 1.0, 0.0}));
    return LatinHypercube(3, 2);
}

/// How far one incremental (mode 1) update of phi_p may stray from the full computation:
/// it adds the new terms to phi_p^p and takes the old ones away, so its error is relative
/// to the larger of the two sums, a few roundings per term.
inline double incrementalTolerance(double oldPhi, double newPhi, int n, double p = 50.0) {
    return 64.0 * (n + 1) * 2.220446049250313e-16 * newPhi * (1.0 + std::pow(oldPhi / newPhi, p));
}

/// Success if `rows` has n rows of m entries and every column is a permutation of 1..n.
template <class Rows>
testing::AssertionResult isLatin(const Rows& rows, int n, int m) {
    if (static_cast<int>(rows.size()) != n) return testing::AssertionFailure() << rows.size() << " rows, not " << n;
    for (int j = 0; j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; i < n; ++i) {
            if (static_cast<int>(rows[i].size()) != m)
                return testing::AssertionFailure() << "row " << i << " has " << rows[i].size() << " entries";
            const int level = static_cast<int>(rows[i][j]);
            if (level != rows[i][j] || level < 1 || level > n || seen[level]++)
                return testing::AssertionFailure() << "element (" << i << ", " << j << ") = " << rows[i][j]
                                                   << " is not a fresh level of 1.." << n;
        }
    }
    return testing::AssertionSuccess();
}

} // namespace olhs_test

#endif
