#include "report_file.h"

#include <cerrno>
#include <cstring>

namespace olhs {
namespace detail {

ReportFile::ReportFile(const std::string& path, OpenMode mode)
    : file_(std::fopen(path.c_str(), mode == OpenMode::Append ? "a" : "w")) {
    if (file_ == nullptr) {
        std::fprintf(stderr, "Error: cannot open the report file \"%s\" for writing (%s)\n", path.c_str(),
                     std::strerror(errno));
    }
}

ReportFile::~ReportFile() {
    if (file_ != nullptr) {
        std::fclose(file_);
    }
}

void reportMisuse(const char* signature) { std::fprintf(stderr, "Error with the use of %s\n", signature); }

void ReportFile::write(const char* text) const {
    if (file_ != nullptr) {
        std::fwrite(text, 1, std::strlen(text), file_);
    }
}

} // namespace detail
} // namespace olhs
