// Help texts that fit a terminal.
#ifndef OLHS_CLI_HELP_TEXT_H
#define OLHS_CLI_HELP_TEXT_H

#include <cstddef>
#include <string>

namespace olhs_cli {

/// CLI11 prints descriptions as they are and indents after each newline; wrapping them
/// here keeps --help within a terminal's width.
inline std::string wrapped(const std::string& text, std::size_t width = 50) {
    std::string result;
    std::size_t lineLength = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find(' ', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string word = text.substr(start, end - start);
        if (lineLength > 0 && lineLength + 1 + word.size() > width) {
            result += '\n';
            lineLength = 0;
        } else if (lineLength > 0) {
            result += ' ';
            ++lineLength;
        }
        result += word;
        lineLength += word.size();
        start = end + 1;
    }
    return result;
}

} // namespace olhs_cli

#endif
