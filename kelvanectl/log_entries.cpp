// An entry is "[Tue Mar 31 23:59:58 2026\n][LEVEL] text\n": the line feed in the first brackets belongs to the format,
// and a text may hold line feeds of its own, so an entry ends where the next one begins.
#include "kelvanectl/log_entries.h"

#include "meanings.h"

#include <algorithm>
#include <optional>

namespace kelvane {

namespace {

constexpr std::size_t stampLength = 24;  // Tue Mar 31 23:59:58 2026
constexpr std::size_t dayAt = 8;
constexpr std::string_view afterStamp = "\n][";
constexpr std::string_view afterLevel = "] ";
constexpr std::string_view months = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr std::size_t levelLengthMax = 7;  // WARNING

// A 9 stands for a digit, which in a day below ten is a blank.
bool looksLikeTime(std::string_view stamp)
{
    constexpr std::string_view shape = "xxx xxx 99 99:99:99 9999";
    return std::equal(stamp.begin(), stamp.end(), shape.begin(), shape.end(), [&](const char& at, char wanted) {
        if (wanted == '9') return (at >= '0' && at <= '9') || (at == ' ' && &at == &stamp[dayAt]);
        return wanted == 'x' || at == wanted;
    });
}

// Empty when it is no time as the log writes it.
std::string plainTime(std::string_view stamp)
{
    const std::size_t month = months.find(stamp.substr(4, 3));
    if (!looksLikeTime(stamp) || month == std::string_view::npos || month % 3 != 0) return {};
    std::string text(stamp.substr(20, 4));
    text.append(month / 3 < 9 ? "-0" : "-").append(std::to_string(month / 3 + 1));
    text.append("-").append(stamp[dayAt] == ' ' ? "0" : std::string(1, stamp[dayAt])).append(1, stamp[dayAt + 1]);
    return text.append(" ").append(stamp.substr(11, 8));
}

// The entry whose head `text` begins with, which is then taken off it.
std::optional<LogEntry> takeHead(std::string_view& text)
{
    if (text.size() <= 1 + stampLength || text[0] != '[') return {};
    if (text.substr(1 + stampLength, afterStamp.size()) != afterStamp) return {};
    const std::size_t levelAt = 1 + stampLength + afterStamp.size();
    const std::size_t levelEnd = text.substr(0, levelAt + levelLengthMax + afterLevel.size()).find(afterLevel, levelAt);
    if (levelEnd == std::string_view::npos) return {};
    const std::string time = plainTime(text.substr(1, stampLength));
    if (time.empty()) return {};
    LogEntry entry{ time, std::string(text.substr(levelAt, levelEnd - levelAt)), "" };
    text.remove_prefix(levelEnd + afterLevel.size());
    return entry;
}

std::string withoutReturns(std::string_view log)
{
    std::string plain;
    for (std::size_t at = 0; at < log.size(); ++at) {
        if (!log.substr(at).starts_with("\r\n")) plain += log[at];
    }
    return plain;
}

}  // namespace

std::vector<LogEntry> parseLog(std::string_view log)
{
    const std::string plain = withoutReturns(log);
    std::string_view rest = plain;
    std::vector<LogEntry> entries;
    bool lineBegins = true;  // where alone a head can stand
    while (!rest.empty()) {
        if (auto entry = lineBegins ? takeHead(rest) : std::nullopt) {
            entries.push_back(std::move(*entry));
            lineBegins = false;
        } else {
            if (!entries.empty()) entries.back().text += rest.front();
            lineBegins = rest.front() == '\n';
            rest.remove_prefix(1);
        }
    }
    for (LogEntry& entry : entries) {
        if (entry.text.ends_with('\n')) entry.text.pop_back();
    }
    return entries;
}

std::string entryLine(const LogEntry& entry)
{
    std::string text = entry.text;
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::string line = entry.time + "  " + entry.level + "  " + text;
    if (const LogMeaning* const known = meaningOf(entry.text)) line += "  (" + std::string(known->meaning) + ")";
    return line;
}

}  // namespace kelvane
