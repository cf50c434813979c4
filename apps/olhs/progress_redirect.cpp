#include "progress_redirect.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace olhs_cli {

ProgressRedirect::ProgressRedirect(bool silence) {
    // Anything already buffered belongs to the old destination.
    std::fflush(stdout);
    savedStdout_ = dup(STDOUT_FILENO);
    if (savedStdout_ < 0) {
        return; // nothing to restore later; progress then stays where it was
    }
    int target = STDERR_FILENO;
    int opened = -1;
    if (silence) {
        opened = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (opened >= 0) {
            target = opened;
        }
    }
    dup2(target, STDOUT_FILENO);
    if (opened >= 0) {
        close(opened);
    }
}

ProgressRedirect::~ProgressRedirect() {
    std::fflush(stdout);
    if (savedStdout_ >= 0) {
        dup2(savedStdout_, STDOUT_FILENO);
        close(savedStdout_);
    }
}

} // namespace olhs_cli
