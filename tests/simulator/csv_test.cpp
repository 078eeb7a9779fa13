#include "simulator/formats/csv.h"

#include <gmock/gmock.h>

#include <sstream>

namespace kelvane::tests {
namespace {

using simulator::CsvError;
using simulator::CsvRecord;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<CsvRecord> recordsOf(const std::string& text)
{
    std::istringstream file(text);
    return simulator::readCsv(file);
}

std::vector<std::vector<std::string>> fieldsOf(const std::string& text)
{
    std::vector<std::vector<std::string>> fields;
    for (const CsvRecord& record : recordsOf(text)) fields.push_back(record.fields);
    return fields;
}

std::vector<std::size_t> linesOf(const std::string& text)
{
    std::vector<std::size_t> lines;
    for (const CsvRecord& record : recordsOf(text)) lines.push_back(record.line);
    return lines;
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

TEST(CsvRecords, PlainFieldsEndAtCommas)
{
    EXPECT_THAT(fieldsOf("a,b c,d\n1,,3\n,\n"),
                ElementsAre(ElementsAre("a", "b c", "d"), ElementsAre("1", "", "3"), ElementsAre("", "")));
}

TEST(CsvRecords, EmptyFileHasNone) { EXPECT_THAT(recordsOf(""), IsEmpty()); }

TEST(CsvRecords, LastOneNeedsNoLineEnd)
{
    EXPECT_THAT(fieldsOf("a,b\nc,d"), ElementsAre(ElementsAre("a", "b"), ElementsAre("c", "d")));
    EXPECT_THAT(fieldsOf("a,b\nc,"), ElementsAre(ElementsAre("a", "b"), ElementsAre("c", "")));
    EXPECT_THAT(fieldsOf("a\n\"b\""), ElementsAre(ElementsAre("a"), ElementsAre("b")));
}

TEST(CsvRecords, LinesEndInLfOrCrlfOrBothInOneFile)
{
    EXPECT_THAT(fieldsOf("a,b\r\nc,d\n\"e\",\"f\"\r\n"),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("c", "d"), ElementsAre("e", "f")));
}

TEST(CsvRecords, QuotedFieldsHoldCommasQuotesAndLineBreaks)
{
    const struct {
        const char* text;
        const char* field;
    } rows[] = {
        { "\"\"", "" },
        { "\"a\"", "a" },
        { "\"a,b\"", "a,b" },
        { "\"say \"\"hi\"\"\"", "say \"hi\"" },
        { "\"\"\"\"", "\"" },
        { "\"a\nb\"", "a\nb" },
        { "\"a\r\nb\"", "a\r\nb" },
        { "\"a\n\n# b\"", "a\n\n# b" },
        { "\" a \"", " a " },
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_THAT(fieldsOf("x\n" + std::string(row.text) + ",end\n"),
                    ElementsAre(ElementsAre("x"), ElementsAre(row.field, "end")));
    }
}

TEST(CsvRecords, BlanksAndTabsBelongToAPlainField)
{
    EXPECT_THAT(fieldsOf(" a ,\tb\n"), ElementsAre(ElementsAre(" a ", "\tb")));
}

TEST(CsvRecords, BytesAboveAsciiAreTakenAsTheyAre)
{
    EXPECT_THAT(fieldsOf("\xC3\xA4,\"\xFF\"\n"), ElementsAre(ElementsAre("\xC3\xA4", "\xFF")));
}

TEST(CsvRecords, BlankLinesAndCommentsAreSkipped)
{
    EXPECT_THAT(fieldsOf("a\n\n \t \n\r\n# one, \"two\n#\nb\n\n# last"),
                ElementsAre(ElementsAre("a"), ElementsAre("b")));
}

TEST(CsvRecords, FirstLineIsARecordWhateverItHolds)
{
    EXPECT_THAT(fieldsOf("# a\nb\n"), ElementsAre(ElementsAre("# a"), ElementsAre("b")));
    EXPECT_THAT(fieldsOf("\nb\n"), ElementsAre(ElementsAre(""), ElementsAre("b")));
}

TEST(CsvRecords, OnlyAHashAtTheStartOfALineMakesAComment)
{
    EXPECT_THAT(fieldsOf("a\n #b\nc#d\n\"#e\"\n"),
                ElementsAre(ElementsAre("a"), ElementsAre(" #b"), ElementsAre("c#d"), ElementsAre("#e")));
}

TEST(CsvRecords, EachKnowsTheLineAtWhichItBegins)
{
    EXPECT_THAT(linesOf("a\n\n# c\nb\n\"c\nd\r\ne\",f\ng\r\n\r\nh"), ElementsAre(1, 4, 5, 8, 10));
}

TEST(CsvErrors, TellTheLine)
{
    const struct {
        const char* text;
        const char* lineAndReason;
    } rows[] = {
        { "a\nb\"c\n", "2: a quote" },
        { "a\nb,c\"\n", "2: a quote" },
        { "a\n\"b\"c\n", "2: unexpected c" },
        { "a\n\"b\" ,c\n", "2: unexpected  " },
        { "a\n\"b\"\"\"c\n", "2: unexpected c" },
        { "a\n\"b\nc\"d\n", "3: unexpected d" },
        { "a\n\"b\"\rc\n", "2: unexpected \\x0D" },
        { "a\nb\rc\n", "2: unexpected byte \\x0D" },
        { "a\r", "1: unexpected byte \\x0D" },
        { "a\nb\n\x01\n", "3: unexpected byte \\x01" },
        { "a\n\"\x1F\"\n", "2: unexpected byte \\x1F" },
        { "a\nb\x7F\n", "2: unexpected byte \\x7F" },
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_THAT(errorOf(row.text), testing::StartsWith(row.lineAndReason));
    }
}

TEST(CsvErrors, ZeroByteIsOneOutsideAndInsideOfQuotes)
{
    EXPECT_THAT(errorOf(std::string("a\nb\0c\n", 6)), HasSubstr("2: unexpected byte \\x00"));
    EXPECT_THAT(errorOf(std::string("a\n\"b\0\"\n", 7)), HasSubstr("2: unexpected byte \\x00"));
    EXPECT_THAT(errorOf(std::string("a\n\"b\"\0\n", 7)), HasSubstr("2: unexpected \\x00"));
}

TEST(CsvErrors, UnclosedQuoteIsToldWhereItsRecordBegins)
{
    EXPECT_EQ("2: a quote is not closed", errorOf("a\n\"b\nc\nd\n"));
    EXPECT_EQ("3: a quote is not closed", errorOf("a\nb\nc,\"\n"));
    EXPECT_EQ("2: a quote is not closed", errorOf("a\n\"b\"\""));
}

TEST(CsvErrors, CountLinesInsideQuotes) { EXPECT_THAT(errorOf("a\n\"b\n\nc\"\nd\"\n"), testing::StartsWith("5: ")); }

TEST(Printable, ShowsBytesThatDoNotPrintAsTheirCode)
{
    EXPECT_EQ("a \\x09\\x0A\\x7F\xC3\xA4", simulator::printable("a \t\n\x7F\xC3\xA4"));
    EXPECT_EQ("\\x00", simulator::printable(std::string(1, '\0')));
}

}  // namespace
}  // namespace kelvane::tests
