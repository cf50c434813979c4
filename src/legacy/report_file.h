#ifndef OLHS_SRC_REPORT_FILE_H
#define OLHS_SRC_REPORT_FILE_H

#include <cstdio>
#include <string>

namespace olhs {
namespace detail {

/// The rule of 80 '=' that frames the sections of every console dump and report.
constexpr const char* ruleLine = "================================================================================\n";

/// Says on standard error that `signature` was used wrongly; the caller adds why.
void reportMisuse(const char* signature);

/// How a dump opens its file: a stand-alone dump starts it afresh, a section of a
/// composite report adds to its end.
enum class OpenMode { Truncate, Append };

/// Owns one open report file. A file that cannot be opened is reported on standard error
/// with its name, and every write to it is skipped.
class ReportFile {
public:
    ReportFile(const std::string& path, OpenMode mode);
    ~ReportFile();
    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    bool isOpen() const { return file_ != nullptr; }
    std::FILE* get() const { return file_; }
    /// Writes a fixed text as it stands.
    void write(const char* text) const;

private:
    std::FILE* file_;
};

} // namespace detail
} // namespace olhs

#endif
