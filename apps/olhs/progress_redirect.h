// The library prints the search's progress lines on standard output with printf. The
// command keeps standard output for the design, so while the design is made the stdout
// file descriptor is pointed at standard error, or at /dev/null with --quiet.
#ifndef OLHS_CLI_PROGRESS_REDIRECT_H
#define OLHS_CLI_PROGRESS_REDIRECT_H

namespace olhs_cli {

class ProgressRedirect {
public:
    /// Redirects file descriptor 1; `silence` sends the lines to /dev/null.
    explicit ProgressRedirect(bool silence);
    /// Flushes what the library printed and gives file descriptor 1 back.
    ~ProgressRedirect();
    ProgressRedirect(const ProgressRedirect&) = delete;
    ProgressRedirect& operator=(const ProgressRedirect&) = delete;

private:
    int savedStdout_ = -1;
};

} // namespace olhs_cli

#endif
