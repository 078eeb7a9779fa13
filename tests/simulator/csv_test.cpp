#include "simulator/formats/csv.h"

#include "tests/support/rows.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kelvane::tests {
namespace {

using simulator::CsvError;
using simulator::CsvRecord;
using testing::ElementsAre;
using testing::StartsWith;

using Fields = std::vector<std::string>;

std::vector<CsvRecord> recordsOf(const std::string& text)
{
    std::istringstream file(text);
    return simulator::readCsv(file);
}

// "LINE: reason" of the error that `text` causes, or "read" when it causes none.
std::string errorOf(const std::string& text)
{
    try {
        recordsOf(text);
    } catch (const CsvError& error) {
        return std::to_string(error.line) + ": " + error.what();
    }
    return "read";
}

struct RecordsRow {
    std::string text;
    std::vector<Fields> records = {};
};

class CsvRecords : public WithRow<testing::Test, RecordsRow> {};

TEST_ROWS(CsvRecords,
          // plain fields end at commas
          ROW(.text = "a,b c,d\n1,,3\n,\n", .records = { { "a", "b c", "d" }, { "1", "", "3" }, { "", "" } }),
          ROW(.text = ""),
          // the last one needs no line end
          ROW(.text = "a,b\nc,d", .records = { { "a", "b" }, { "c", "d" } }),
          ROW(.text = "a,b\nc,", .records = { { "a", "b" }, { "c", "" } }),
          ROW(.text = "a\n\"b\"", .records = { { "a" }, { "b" } }),
          // lines end in LF or CRLF or both in one file
          ROW(.text = "a,b\r\nc,d\n\"e\",\"f\"\r\n", .records = { { "a", "b" }, { "c", "d" }, { "e", "f" } }),
          // quoted fields hold commas, quotes and line breaks
          ROW(.text = "x\n\"\",end\n", .records = { { "x" }, { "", "end" } }),
          ROW(.text = "x\n\"a\",end\n", .records = { { "x" }, { "a", "end" } }),
          ROW(.text = "x\n\"a,b\",end\n", .records = { { "x" }, { "a,b", "end" } }),
          ROW(.text = "x\n\"say \"\"hi\"\"\",end\n", .records = { { "x" }, { "say \"hi\"", "end" } }),
          ROW(.text = "y\n\"\"\"\",end\n", .records = { { "y" }, { "\"", "end" } }),
          ROW(.text = "x\n\"a\nb\",end\n", .records = { { "x" }, { "a\nb", "end" } }),
          ROW(.text = "x\n\"a\r\nb\",end\n", .records = { { "x" }, { "a\r\nb", "end" } }),
          ROW(.text = "x\n\"a\n\n# b\",end\n", .records = { { "x" }, { "a\n\n# b", "end" } }),
          ROW(.text = "x\n\" c \",end\n", .records = { { "x" }, { " c ", "end" } }),
          // blanks and tabs belong to a plain field, and bytes above ASCII are taken as they are
          ROW(.text = " a ,\tb\n", .records = { { " a ", "\tb" } }),
          ROW(.text = "\xC3\xA4,\"\xFF\"\n", .records = { { "\xC3\xA4", "\xFF" } }),
          // blank lines and comments are skipped, but the first line is a record whatever it holds
          ROW(.text = "a\n\n \t \n\r\n# one, \"two\n#\nb\n\n# last", .records = { { "a" }, { "b" } }),
          ROW(.text = "# a\nb\n", .records = { { "# a" }, { "b" } }),
          ROW(.text = "\nb\n", .records = { { "" }, { "b" } }),
          // only a hash at the start of a line makes a comment
          ROW(.text = "a\n #b\nc#d\n\"#e\"\n", .records = { { "a" }, { " #b" }, { "c#d" }, { "#e" } }));

TEST_ROW(CsvRecords, HoldTheFieldsOfTheirLines)
{
    std::vector<Fields> found;
    for (const CsvRecord& record : recordsOf(row().text)) found.push_back(record.fields);

    EXPECT_EQ(row().records, found);
}

TEST(CsvLines, AreThoseAtWhichRecordsBegin)
{
    std::vector<std::size_t> lines;
    for (const CsvRecord& record : recordsOf("a\n\n# c\nb\n\"c\nd\r\ne\",f\ng\r\n\r\nh")) lines.push_back(record.line);

    EXPECT_THAT(lines, ElementsAre(1, 4, 5, 8, 10));
}

struct ErrorRow {
    std::string text;
    const char* told;
};

class CsvErrors : public WithRow<testing::Test, ErrorRow> {};

TEST_ROWS(CsvErrors,
          // a quote inside a plain field, and anything behind a quoted one
          ROW(.text = "a\nb\"c\n", .told = "2: a quote"), ROW(.text = "a\nb,c\"\n", .told = "2: a quote"),
          ROW(.text = "a\n\"b\"c\n", .told = "2: unexpected c"),
          ROW(.text = "a\n\"b\" ,c\n", .told = "2: unexpected  "),
          ROW(.text = "a\n\"c\"\"\"d\n", .told = "2: unexpected d"),
          ROW(.text = "a\n\"b\nc\"d\n", .told = "3: unexpected d"),
          ROW(.text = "a\n\"b\"\rc\n", .told = "2: unexpected \\x0D"),
          // bytes that are no text, zero among them
          ROW(.text = "a\nb\rc\n", .told = "2: unexpected byte \\x0D"),
          ROW(.text = "a\r", .told = "1: unexpected byte \\x0D"),
          ROW(.text = "a\nb\n\x01\n", .told = "3: unexpected byte \\x01"),
          ROW(.text = "a\n\"\x1F\"\n", .told = "2: unexpected byte \\x1F"),
          ROW(.text = "a\nb\x7F\n", .told = "2: unexpected byte \\x7F"),
          ROW(.text = std::string("a\nb\0c\n", 6), .told = "2: unexpected byte \\x00"),
          ROW(.text = std::string("a\n\"b\0\"\n", 7), .told = "2: unexpected byte \\x00"),
          ROW(.text = std::string("a\n\"b\"\0\n", 7), .told = "2: unexpected \\x00"),
          // an unclosed quote is told where its record begins
          ROW(.text = "a\n\"b\nc\nd\n", .told = "2: a quote is not closed"),
          ROW(.text = "a\nb\nc,\"\n", .told = "3: a quote is not closed"),
          ROW(.text = "a\n\"b\"\"", .told = "2: a quote is not closed"),
          // lines inside quotes count
          ROW(.text = "a\n\"b\n\nc\"\nd\"\n", .told = "5: "));

TEST_ROW(CsvErrors, TellTheLine) { EXPECT_THAT(errorOf(row().text), StartsWith(row().told)); }

TEST(Printable, ShowsBytesThatDoNotPrintAsTheirCode)
{
    EXPECT_EQ("a \\x09\\x0A\\x7F\xC3\xA4", simulator::printable("a \t\n\x7F\xC3\xA4"));
    EXPECT_EQ("\\x00", simulator::printable(std::string(1, '\0')));
}

}  // namespace
}  // namespace kelvane::tests
