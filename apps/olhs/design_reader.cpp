#include "design_reader.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "usage_error.h"

namespace olhs_cli {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

// A field as the message quotes it: control bytes as '?', long ones cut, so that the
// message stays one short line whatever the file holds.
std::string shown(const char* text, std::size_t length) {
    constexpr std::size_t longest = 40;
    std::string out = "'";
    for (std::size_t k = 0; k < length && k < longest; ++k) {
        const unsigned char c = static_cast<unsigned char>(text[k]);
        out += c < 0x20 || c == 0x7F ? '?' : static_cast<char>(c);
    }
    return out + (length > longest ? "...'" : "'");
}

enum class Number { Finite, NotFinite, OutOfRange, NotANumber };

Number parseNumber(const char* text, std::size_t length, double& value) {
    const char* first = text;
    const char* last = text + length;
    // from_chars takes no plus sign; a second sign after it stays an error.
    if (first != last && *first == '+' && last - first > 1 && first[1] != '-' && first[1] != '+') {
        ++first;
    }
    if (first == last) {
        return Number::NotANumber;
    }
    const std::from_chars_result result = std::from_chars(first, last, value);
    if (result.ptr != last) {
        return Number::NotANumber;
    }
    if (result.ec == std::errc::result_out_of_range) {
        return Number::OutOfRange;
    }
    if (result.ec != std::errc()) {
        return Number::NotANumber;
    }
    return std::isfinite(value) ? Number::Finite : Number::NotFinite;
}

} // namespace

DesignParser::DesignParser(std::string source) : source_(std::move(source)) {}

void DesignParser::refuse(long line, std::size_t column, const std::string& problem) const {
    throw UsageError(source_ + ": line " + std::to_string(line) + ", column " + std::to_string(column) + ": " +
                     problem);
}

void DesignParser::refuse(const std::string& problem) const { throw UsageError(source_ + ": " + problem); }

// Fields between separators, blanks trimmed and one pair of double quotes taken off.
void DesignParser::split(const char* text, std::size_t length) {
    fields_.clear();
    std::size_t start = 0;
    for (;;) {
        std::size_t end = start;
        if (separator_ != 0) {
            while (end < length && text[end] != separator_) ++end;
        } else {
            end = length;
        }
        std::size_t a = start, b = end;
        while (a < b && isBlank(text[a])) ++a;
        while (b > a && isBlank(text[b - 1])) --b;
        if (b - a >= 2 && text[a] == '"' && text[b - 1] == '"') {
            ++a;
            --b;
        }
        fields_.emplace_back(text + a, b - a);
        if (end >= length) {
            return;
        }
        start = end + 1;
    }
}

void DesignParser::line(const char* text, std::size_t length) {
    ++line_;
    std::size_t k = 0;
    while (k < length && isBlank(text[k])) ++k;
    if (k == length) {
        return; // blank lines carry nothing
    }
    const bool first = !started_;
    if (first) {
        started_ = true;
        firstLine_ = line_;
        for (const char candidate : {'\t', ',', ';'}) {
            if (std::memchr(text, candidate, length) != nullptr) {
                separator_ = candidate;
                break;
            }
        }
    }
    split(text, length);
    if (first) {
        if (fields_.size() > static_cast<std::size_t>(INT_MAX)) {
            refuse(line_, 1, "more columns than a design can have");
        }
        table_.m = static_cast<int>(fields_.size());
        double ignored = 0.0;
        bool allNumbers = true;
        for (const auto& [field, size] : fields_) {
            allNumbers = allNumbers && parseNumber(field, size, ignored) != Number::NotANumber;
        }
        if (!allNumbers) {
            for (const auto& [field, size] : fields_) table_.names.emplace_back(field, size);
            return;
        }
    } else if (fields_.size() != static_cast<std::size_t>(table_.m)) {
        const std::size_t column = std::min(fields_.size(), static_cast<std::size_t>(table_.m)) + 1;
        refuse(line_, column,
               std::to_string(fields_.size()) + (fields_.size() == 1 ? " value" : " values") + " where line " +
                   std::to_string(firstLine_) + " has " +
                   std::to_string(table_.m) + "; every row needs the same number of columns");
    }
    if (table_.n == INT_MAX) {
        refuse(line_, 1, "more rows than a design can have");
    }
    for (std::size_t c = 0; c < fields_.size(); ++c) {
        const auto& [field, size] = fields_[c];
        double value = 0.0;
        switch (parseNumber(field, size, value)) {
        case Number::Finite:
            break;
        case Number::NotFinite:
            refuse(line_, c + 1, shown(field, size) + " is not a finite number");
        case Number::OutOfRange:
            refuse(line_, c + 1, shown(field, size) + " is out of the range of double precision numbers");
        case Number::NotANumber:
            refuse(line_, c + 1, size == 0 ? std::string("empty field; expected a number")
                                           : shown(field, size) + " is not a number");
        }
        table_.values.push_back(value);
    }
    table_.lines.push_back(line_);
    ++table_.n;
}

DesignTable DesignParser::finish() {
    if (!started_) {
        refuse("no design: the input is empty");
    }
    if (table_.n < 2) {
        refuse(std::to_string(table_.n) + (table_.n == 1 ? " row" : " rows") +
               (table_.names.empty() ? "" : " after the header") + "; a design needs at least 2");
    }
    return std::move(table_);
}

std::string sourceName(const std::string& path) { return path == "-" ? "standard input" : path; }

DesignTable readDesign(const std::string& path) {
    const std::string name = sourceName(path);
    std::FILE* in = path == "-" ? stdin : std::fopen(path.c_str(), "r");
    if (in == nullptr) {
        throw UsageError(name + ": cannot open (" + std::strerror(errno) + ")");
    }
    DesignParser parser(name);
    char* buffer = nullptr;
    std::size_t capacity = 0;
    ssize_t length = 0;
    try {
        errno = 0;
        while ((length = getline(&buffer, &capacity, in)) >= 0) {
            std::size_t size = static_cast<std::size_t>(length);
            if (size > 0 && buffer[size - 1] == '\n') --size;
            parser.line(buffer, size);
            errno = 0;
        }
    } catch (...) {
        std::free(buffer);
        if (in != stdin) std::fclose(in);
        throw;
    }
    const int error = errno;
    const bool failed = std::ferror(in) != 0;
    std::free(buffer);
    if (in != stdin) std::fclose(in);
    if (failed) {
        throw UsageError(name + ": cannot read (" + std::strerror(error != 0 ? error : EIO) + ")");
    }
    return parser.finish();
}

} // namespace olhs_cli
