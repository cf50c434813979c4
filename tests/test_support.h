// Helpers shared by the unit tests: a scratch directory, scoped host random sources,
// console capture, expected dump texts and a check of the Latin property.
#ifndef OLHS_TESTS_TEST_SUPPORT_H
#define OLHS_TESTS_TEST_SUPPORT_H

#include <atomic>
#include <chrono>
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
        const auto stamp = std::to_string(std::chrono::steady_clock::now().time_since_epoch().count());
        do path_ = std::filesystem::temp_directory_path() / ("olhs_test_" + stamp + "_" + std::to_string(counter++));
        while (!std::filesystem::create_directory(path_));
    }
    ~TempDir() { std::filesystem::remove_all(path_, error_); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
    std::error_code error_;
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

/// A source that returns `value` and counts its draws in `*count`, and one that cycles
/// through `values`.
inline std::function<double()> countingSource(long* count, double value = 0.5) {
    return [count, value]() { return ++*count, value; };
}
inline std::function<double()> sequenceSource(std::vector<double> values) {
    auto next = std::make_shared<std::size_t>(0);
    return [values = std::move(values), next]() { return values[(*next)++ % values.size()]; };
}

/// What `body` writes to standard output (or standard error), printf included.
inline std::string captured(const std::function<void()>& body, bool toStderr = false) {
    std::fflush(nullptr);
    toStderr ? testing::internal::CaptureStderr() : testing::internal::CaptureStdout();
    body();
    std::fflush(nullptr);
    return toStderr ? testing::internal::GetCapturedStderr() : testing::internal::GetCapturedStdout();
}

/// An expected dump written compactly: "<x>" stands for x right-aligned in 14 characters
/// (as "%14.6g" prints it) and "|" for a tab.
inline std::string dumpText(const std::string& compact) {
    std::string out;
    for (std::size_t i = 0, end = 0; i < compact.size(); ++i) {
        if (compact[i] == '<') {
            end = compact.find('>', i);
            out += std::string(i + 15 > end ? i + 15 - end : 0, ' ') + compact.substr(i + 1, end - i - 1);
            i = end;
        } else {
            out += compact[i] == '|' ? '\t' : compact[i];
        }
    }
    return out;
}

/// The 3-point, 2-variable design with rows (1,1), (2,3), (3,2), drawn through a scripted
/// source (column 1 picks 1, then 3, then 2).
inline LatinHypercube exampleDesign() {
    ScopedSource source(sequenceSource({0.0, 1.0, 0.0}));
    return LatinHypercube(3, 2);
}

/// Success if `rows` has n rows of m entries and every column is a permutation of 1..n.
template <class Rows>
testing::AssertionResult isLatin(const Rows& rows, int n, int m) {
    bool latin = static_cast<int>(rows.size()) == n;
    for (int j = 0; latin && j < m; ++j) {
        std::vector<int> seen(static_cast<std::size_t>(n) + 1, 0);
        for (int i = 0; latin && i < n; ++i) {
            const int level = static_cast<int>(rows[i].size()) == m ? static_cast<int>(rows[i][j]) : 0;
            latin = level >= 1 && level <= n && level == rows[i][j] && !seen[level]++;
        }
    }
    return latin ? testing::AssertionSuccess() : testing::AssertionFailure() << "not a Latin hypercube";
}

} // namespace olhs_test

#endif
