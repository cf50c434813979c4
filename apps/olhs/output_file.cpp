#include "output_file.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "olhs/classic.h"
#include "usage_error.h"

namespace olhs_cli {

namespace {

// Temporary files still open, for the signal handler: an interrupted run removes them so
// it leaves nothing behind. Plain arrays, because the handler may only use what is safe
// in a signal context (unlink, raise).
constexpr int slotCount = 4;
char pendingPaths[slotCount][PATH_MAX];
volatile std::sig_atomic_t pendingUsed[slotCount];

extern "C" void removePendingAndReraise(int signalNumber) {
    for (int k = 0; k < slotCount; ++k) {
        if (pendingUsed[k]) {
            unlink(pendingPaths[k]);
        }
    }
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

void installHandlersOnce() {
    static bool installed = false;
    if (installed) {
        return;
    }
    installed = true;
    for (int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
        struct sigaction action {};
        action.sa_handler = removePendingAndReraise;
        sigemptyset(&action.sa_mask);
        sigaction(signalNumber, &action, nullptr);
    }
}

int registerPending(const std::string& path) {
    if (path.size() >= PATH_MAX) {
        return -1;
    }
    for (int k = 0; k < slotCount; ++k) {
        if (!pendingUsed[k]) {
            std::memcpy(pendingPaths[k], path.c_str(), path.size() + 1);
            pendingUsed[k] = 1;
            return k;
        }
    }
    return -1;
}

void unregisterPending(int slot) {
    if (slot >= 0) {
        pendingUsed[slot] = 0;
    }
}

struct SplitPath {
    std::string directory;
    std::string base;
};

SplitPath split(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return {".", path};
    }
    return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

// mkstemp beside the target; the name starts with a dot and keeps part of the target's
// name, so a leftover (after a hard kill) is recognisable.
int makeTemporary(const SplitPath& where, std::string& temporary) {
    std::string pattern = where.directory + "/." + where.base.substr(0, 100) + ".tmp.XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd >= 0) {
        temporary.assign(name.data());
    }
    return fd;
}

// Permissions a new file would get (0666 less the umask), or the existing target's own.
mode_t modeFor(const std::string& target) {
    struct stat info {};
    if (stat(target.c_str(), &info) == 0) {
        return info.st_mode & 07777;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

std::string quoted(const std::string& text) { return "'" + text + "'"; }

} // namespace

OutputFile::OutputFile(std::string option, std::string path) : option_(std::move(option)) {
    if (path.back() == '/') {
        throw UsageError(option_, "expected a file name, got the directory " + quoted(path));
    }
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        // Nothing there yet (or a dangling link, which the rename then replaces).
        target_ = path;
        openTemporary();
        return;
    }
    if (S_ISDIR(info.st_mode)) {
        throw UsageError(option_, quoted(path) + " is a directory; expected a file name");
    }
    if (!S_ISREG(info.st_mode)) {
        target_ = path;
        openInPlace();
        return;
    }
    // Through a symbolic link the file it points to is replaced and the link kept.
    struct stat linkInfo {};
    if (lstat(path.c_str(), &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) {
        if (char* resolved = realpath(path.c_str(), nullptr)) {
            path = resolved;
            std::free(resolved);
        }
    }
    target_ = path;
    openTemporary();
}

void OutputFile::openInPlace() {
    const int fd = open(target_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        throw UsageError(option_, "cannot open " + quoted(target_) + " for writing (" + std::strerror(errno) + ")");
    }
    stream_ = fdopen(fd, "w");
    if (stream_ == nullptr) {
        const int error = errno;
        close(fd);
        throw WriteError(option_ + ": cannot write " + quoted(target_) + " (" + std::strerror(error) + ")");
    }
}

void OutputFile::openTemporary() {
    installHandlersOnce();
    const SplitPath where = split(target_);
    const int fd = makeTemporary(where, temporary_);
    if (fd < 0) {
        throw UsageError(option_, "cannot create " + quoted(target_) + " (" + std::strerror(errno) +
                                      "); expected a path in an existing, writable directory");
    }
    slot_ = registerPending(temporary_);
    fchmod(fd, modeFor(target_));
    stream_ = fdopen(fd, "w");
    if (stream_ == nullptr) {
        const int error = errno;
        close(fd);
        discard();
        throw WriteError(option_ + ": cannot write " + quoted(target_) + " (" + std::strerror(error) + ")");
    }
}

OutputFile::~OutputFile() {
    if (!committed_) {
        discard();
    }
}

void OutputFile::discard() {
    if (stream_ != nullptr) {
        std::fclose(stream_);
        stream_ = nullptr;
    }
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
    unregisterPending(slot_);
    slot_ = -1;
}

void OutputFile::commit() {
    const bool inPlace = temporary_.empty();
    int error = 0;
    if (std::fflush(stream_) != 0 || std::ferror(stream_)) {
        error = errno != 0 ? errno : EIO;
    } else if (!inPlace && fsync(fileno(stream_)) != 0) {
        error = errno;
    }
    const int closed = std::fclose(stream_);
    stream_ = nullptr;
    if (error == 0 && closed != 0) {
        error = errno;
    }
    if (inPlace) {
        committed_ = true;
        if (error != 0) {
            throw WriteError(option_ + ": writing " + quoted(target_) + " failed (" + std::strerror(error) + ")");
        }
        return;
    }
    if (error == 0 && std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        discard();
        throw WriteError(option_ + ": writing " + quoted(target_) + " failed (" + std::strerror(error) +
                         "); the file was left unchanged");
    }
    committed_ = true;
    unregisterPending(slot_);
    slot_ = -1;
    // Make the rename itself durable; a failure here loses nothing already visible.
    const int directory = open(split(target_).directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        fsync(directory);
        close(directory);
    }
}

void checkReportPrefix(const std::string& prefix) {
    const std::vector<std::string> files = olhs::classicReportFiles(prefix);
    for (const std::string& path : files) {
        struct stat info {};
        if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
            throw UsageError("--report", quoted(path) + " is a directory; expected a prefix for report files");
        }
    }
    const SplitPath where = split(files.back());
    std::string probe;
    const int fd = makeTemporary(where, probe);
    if (fd < 0) {
        throw UsageError("--report", "cannot create report files in " + quoted(where.directory) + " (" +
                                         std::strerror(errno) +
                                         "); expected a prefix in an existing, writable directory");
    }
    close(fd);
    unlink(probe.c_str());
}

void writeToStandardOutput(const std::function<void(std::FILE*)>& write) {
    const int fd = dup(STDOUT_FILENO);
    std::FILE* out = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (out == nullptr) {
        if (fd >= 0) {
            close(fd);
        }
        throw WriteError(std::string("cannot write to standard output (") + std::strerror(errno) + ")");
    }
    write(out);
    const bool failed = std::fflush(out) != 0 || std::ferror(out) != 0;
    const int error = errno;
    if (std::fclose(out) != 0 || failed) {
        throw WriteError(std::string("writing the design to standard output failed (") +
                         std::strerror(failed ? error : errno) + ")");
    }
}

} // namespace olhs_cli
