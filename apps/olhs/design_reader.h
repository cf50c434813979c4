// Reading a design from CSV or TSV text: one pass, the values in one flat vector.
//
// The separator is the first of tab, comma and semicolon found on the first non-blank line
// (none: one column). That line is a header when any of its fields is not a number; every
// other non-blank line is a point, with as many fields as the first line. Fields may be
// padded with blanks or put in double quotes; numbers are read with std::from_chars, so
// the locale plays no part. Refusals are UsageErrors of one line,
// "FILE: line L, column C: problem", counting lines of the file and columns from 1.
#ifndef OLHS_CLI_DESIGN_READER_H
#define OLHS_CLI_DESIGN_READER_H

#include <cstddef>
#include <string>
#include <vector>

namespace olhs_cli {

/// A design as read: n points in m variables.
struct DesignTable {
    int n = 0;
    int m = 0;
    std::vector<double> values;     ///< n x m, row after row, every one finite
    std::vector<std::string> names; ///< the header's fields; empty without a header
    std::vector<long> lines;        ///< the file line of each point, from 1
};

/// Takes the text a line at a time; finish() hands the design over.
class DesignParser {
public:
    /// `source` names the input in messages.
    explicit DesignParser(std::string source);
    /// The next line, without its newline.
    void line(const char* text, std::size_t length);
    /// The design; UsageError when there is none or fewer than 2 points.
    DesignTable finish();

private:
    [[noreturn]] void refuse(long line, std::size_t column, const std::string& problem) const;
    [[noreturn]] void refuse(const std::string& problem) const;
    void split(const char* text, std::size_t length);

    std::string source_;
    DesignTable table_;
    long line_ = 0;
    bool started_ = false;
    long firstLine_ = 0;
    char separator_ = 0; ///< 0: one column
    std::vector<std::pair<const char*, std::size_t> > fields_;
};

/// The design in the file at `path` ("-": standard input).
DesignTable readDesign(const std::string& path);

/// How the input is named in messages: the path, or "standard input" for "-".
std::string sourceName(const std::string& path);

} // namespace olhs_cli

#endif
