// simulator/formats/csv.h: reads CSV records (RFC 4180 quoting), with the number of the line at which each begins.
#pragma once

#include <cstddef>
#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelvane::simulator {

struct CsvRecord {
    std::size_t line;  // 1 is the file's first
    std::vector<std::string> fields;
};

// What is wrong with a file, and where.
class CsvError : public std::runtime_error {
public:
    CsvError(std::size_t atLine, const std::string& reason) : std::runtime_error(reason), line(atLine) {}

    std::size_t line;
};

// `text` with bytes that do not print made visible, for messages.
std::string printable(const std::string& text);

// Reads all records. Lines end in LF or CRLF. From the second line on, blank lines and lines that begin with # are
// skipped. Throws CsvError.
std::vector<CsvRecord> readCsv(std::istream& file);

}  // namespace kelvane::simulator
