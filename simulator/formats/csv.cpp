// A reader of CSV, character by character, that knows its line.
#include "simulator/formats/csv.h"

#include <array>
#include <cstdio>
#include <iterator>

namespace kelvane::simulator {

namespace {

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

class Reader {
public:
    explicit Reader(std::string content) : text(std::move(content)) {}

    bool atEnd() const { return at == text.size(); }

    // Whether this line holds no record; such a line is passed over.
    bool skipLine()
    {
        if (line == 1) return false;
        const std::size_t end = text.find('\n', at);
        const std::string_view content = std::string_view(text).substr(at, end - at);
        if (!content.starts_with('#') && content.find_first_not_of(" \t\r") != std::string_view::npos) return false;
        at = end == std::string::npos ? text.size() : end + 1;
        line += 1;
        return true;
    }

    CsvRecord readRecord()
    {
        CsvRecord record = { line, {} };
        do {
            record.fields.push_back(peek() == '"' ? readQuoted(record.line) : readPlain());
        } while (take(','));
        if (!atEnd() && !takeLineEnd()) {
            throw CsvError(line, "unexpected " + printable(std::string(1, peek())) + " behind a field");
        }
        line += 1;
        return record;
    }

private:
    char peek() const { return atEnd() ? '\0' : text[at]; }

    bool take(char c)
    {
        if (atEnd() || text[at] != c) return false;
        at += 1;
        return true;
    }

    bool takeLineEnd()
    {
        if (text.compare(at, 2, "\r\n") == 0) at += 1;
        return take('\n');
    }

    std::string readPlain()
    {
        std::string field;
        for (; !atEnd() && text[at] != ',' && text[at] != '\n' && text.compare(at, 2, "\r\n") != 0; ++at) {
            if (text[at] == '"') throw CsvError(line, "a quote inside a field that does not begin with one");
            checkByte(text[at]);
            field += text[at];
        }
        return field;
    }

    std::string readQuoted(std::size_t beganAtLine)
    {
        std::string field;
        for (at += 1; !atEnd(); ++at) {
            if (text[at] == '"') {
                at += 1;
                if (peek() != '"') return field;
            } else if (text[at] == '\n') {
                line += 1;
            } else if (text[at] != '\r') {
                checkByte(text[at]);
            }
            field += text[at];
        }
        throw CsvError(beganAtLine, "a quote is not closed");
    }

    void checkByte(char c) const
    {
        if (isControl(c) && c != '\t') throw CsvError(line, "unexpected byte " + printable(std::string(1, c)));
    }

    std::string text;
    std::size_t at = 0;
    std::size_t line = 1;
};

}  // namespace

std::string printable(const std::string& text)
{
    std::string visible;
    for (const char c : text) {
        if (isControl(c)) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            visible += code.data();
        } else {
            visible += c;
        }
    }
    return visible;
}

std::vector<CsvRecord> readCsv(std::istream& file)
{
    Reader reader(std::string(std::istreambuf_iterator<char>(file), {}));
    std::vector<CsvRecord> records;
    while (!reader.atEnd()) {
        if (!reader.skipLine()) records.push_back(reader.readRecord());
    }
    return records;
}

}  // namespace kelvane::simulator
