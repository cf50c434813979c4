// Output files that appear whole or not at all: the text goes to a temporary file beside
// the target and is renamed over it only once everything was written and synced. A run
// that fails or is interrupted leaves an existing target as it was.
#ifndef OLHS_CLI_ATOMIC_FILE_H
#define OLHS_CLI_ATOMIC_FILE_H

#include <cstdio>
#include <stdexcept>
#include <string>

namespace olhs_cli {

/// A failure while writing or renaming, after the input had been accepted.
class WriteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class AtomicFile {
public:
    /// Creates the temporary file at once, so an unusable path is refused (UsageError
    /// naming `option`) before any work is done.
    AtomicFile(std::string option, std::string path);
    /// Removes the temporary file unless commit() succeeded.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    std::FILE* stream() { return stream_; }
    /// Flushes, syncs and renames the temporary file over the target; WriteError on any
    /// failure, with the target unchanged.
    void commit();

private:
    void discard();

    std::string option_;
    std::string target_;
    std::string temporary_;
    std::FILE* stream_ = nullptr;
    int slot_ = -1;
    bool committed_ = false;
};

/// Checks that the report files named by the prefix can be created, without creating
/// them: UsageError naming --report otherwise.
void checkReportPrefix(const std::string& prefix);

} // namespace olhs_cli

#endif
