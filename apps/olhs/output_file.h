// Output files. A regular file (or a path that does not exist yet) appears whole or not
// at all: the text goes to a temporary file beside it and is renamed over it only once
// everything was written and synced, so a run that fails or is interrupted leaves an
// existing file as it was. Anything else that exists (a device, a FIFO, a link to one)
// is opened and written in place, as a shell redirection would: renaming over it would
// destroy it.
#ifndef OLHS_CLI_OUTPUT_FILE_H
#define OLHS_CLI_OUTPUT_FILE_H

#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

namespace olhs_cli {

/// A failure while writing or renaming, after the input had been accepted.
class WriteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class OutputFile {
public:
    /// Claims the path at once (creates the temporary file, or opens the special file), so
    /// an unusable path is refused (UsageError naming `option`) before any work is done.
    OutputFile(std::string option, std::string path);
    /// Removes the temporary file unless commit() succeeded.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    std::FILE* stream() { return stream_; }
    /// Flushes and closes; a regular file is synced and renamed over the target. WriteError
    /// on any failure, with a regular target unchanged.
    void commit();

private:
    void discard();
    void openInPlace();
    void openTemporary();

    std::string option_;
    std::string target_;
    std::string temporary_; ///< empty when writing in place
    std::FILE* stream_ = nullptr;
    int slot_ = -1;
    bool committed_ = false;
};

/// Calls `write` with a fully buffered stream on a copy of standard output and flushes it:
/// the C stdout stream may have been set up line-buffered while it pointed at the terminal
/// of standard error during the search. WriteError on failure.
void writeToStandardOutput(const std::function<void(std::FILE*)>& write);

/// Checks that the report files named by the prefix can be created, without creating
/// them: UsageError naming --report otherwise.
void checkReportPrefix(const std::string& prefix);

} // namespace olhs_cli

#endif
