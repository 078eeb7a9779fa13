// Entries of a diagnostic log, from well-formed files and from what is left of others.
#include "kelvanectl/log_entries.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> linesOf(std::string_view log)
{
    std::vector<std::string> lines;
    for (const LogEntry& entry : parseLog(log)) lines.push_back(entry.time + "|" + entry.level + "|" + entry.text);
    return lines;
}

TEST(ParseLog, TakesTimeLevelAndTextOfEachEntry)
{
    EXPECT_THAT(
        linesOf("[Sun Nov 22 08:58:15 2026\n][DEBUG] KV scaling is started : \n"
                "[Tue Mar  3 23:59:58 2026\n][ERROR] Disconnected\n"),
        ElementsAre("2026-11-22 08:58:15|DEBUG|KV scaling is started : ", "2026-03-03 23:59:58|ERROR|Disconnected"));
}

TEST(ParseLog, KeepsLineFeedsAndBracketsInsideAText)
{
    EXPECT_THAT(linesOf("[Sun Nov 22 08:58:15 2026\n][DEBUG] a [b] \n[c]\n\n[Sun Nov 22 08:58:16 2026\n][DEBUG] d\n"),
                ElementsAre("2026-11-22 08:58:15|DEBUG|a [b] \n[c]\n", "2026-11-22 08:58:16|DEBUG|d"));
}

TEST(ParseLog, TakesEitherKindOfLineEnd)
{
    EXPECT_THAT(linesOf("[Sun Nov 22 08:58:15 2026\r\n][WARNING] a\r\n[Sun Nov 22 08:58:16 2026\r\n][DEBUG] b\r\n"),
                ElementsAre("2026-11-22 08:58:15|WARNING|a", "2026-11-22 08:58:16|DEBUG|b"));
}

TEST(ParseLog, PassesOverWhatBelongsToNoEntry)
{
    EXPECT_THAT(linesOf(""), IsEmpty());
    EXPECT_THAT(linesOf("any text\n[and brackets]"), IsEmpty());
    EXPECT_THAT(linesOf("[Sun Nov 22 08:58:15 2026\n][DEB"), IsEmpty());
    EXPECT_THAT(linesOf("[Sun Nov 22 08:58:15 2026\n][NOLEVEL!] a\n"), IsEmpty());
    EXPECT_THAT(linesOf("[Sun Nop 22 08:58:15 2026\n][DEBUG] a\n"), IsEmpty());
    EXPECT_THAT(linesOf("[Sun anF 22 08:58:15 2026\n][DEBUG] a\n"), IsEmpty());
    EXPECT_THAT(linesOf("[nothing like a time....\n][DEBUG] a\n"), IsEmpty());
    EXPECT_THAT(linesOf("ing\n[Sun Nov 22 08:58:15 2026\n][DEBUG] a"), ElementsAre("2026-11-22 08:58:15|DEBUG|a"));
}

TEST(ParseLog, SeesAnEntryAtTheBeginningOfALineAlone)
{
    EXPECT_THAT(linesOf("[Sun Nov 22 08:58:15 2026\n][DEBUG] a [Sun Nov 22 08:58:16 2026\n][DEBUG] b\n"),
                ElementsAre("2026-11-22 08:58:15|DEBUG|a [Sun Nov 22 08:58:16 2026\n][DEBUG] b"));
}

TEST(EntryLine, AddsTheMeaningOfAKnownTextAndStaysOnOneLine)
{
    EXPECT_EQ(entryLine({ "2026-11-22 08:58:15", "DEBUG", "KV scaling is started : " }),
              "2026-11-22 08:58:15  DEBUG  KV scaling is started :   (Scaling starts)");
    EXPECT_EQ(entryLine({ "2026-11-22 08:58:15", "ERROR", "two\nlines" }), "2026-11-22 08:58:15  ERROR  two lines");
}

}  // namespace
}  // namespace kelvane::tests
