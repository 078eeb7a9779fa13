// Rows of the trace, each put together in one buffer that is used again; only log texts ever need quoting.
#include "simulator/trace.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace kelvane::simulator {

Trace::Trace(std::ostream& stream, TraceFlush flush) : out(stream), flushing(flush)
{
    row = "time_ms,kind,name,value,status";
    endRow();
}

void Trace::call(std::uint64_t timeMs, const char* operation, std::optional<std::uint32_t> eventType, int status)
{
    beginRow(timeMs, ",call,");
    row += operation;
    row += ',';
    if (eventType) addNumber(*eventType);
    row += ',';
    addNumber(status);
    endRow();
}

void Trace::primitive(std::uint64_t timeMs, const char* name, std::optional<std::uint32_t> value, int status)
{
    beginRow(timeMs, ",primitive,");
    row += name;
    row += ',';
    if (value) addNumber(*value);
    row += ',';
    addNumber(status);
    endRow();
}

void Trace::sleep(std::uint64_t timeMs, std::uint32_t ms)
{
    beginRow(timeMs, ",sleep,,");
    addNumber(ms);
    row += ',';
    endRow();
}

void Trace::processor(std::uint64_t timeMs, const char* quantity, std::uint64_t value)
{
    beginRow(timeMs, ",processor,");
    row += quantity;
    row += ',';
    addNumber(value);
    row += ',';
    endRow();
}

void Trace::log(std::uint64_t timeMs, int level, const std::string& text)
{
    beginRow(timeMs, ",log,");
    addNumber(level);
    row += ',';
    addQuoted(text);
    row += ',';
    endRow();
}

void Trace::beginRow(std::uint64_t timeMs, std::string_view kind)
{
    if (timeMs != rowMs) timeText = std::to_string(timeMs);
    rowMs = timeMs;
    row = timeText;
    row += kind;
}

template<class Number>
void Trace::addNumber(Number number)
{
    std::array<char, 20> digits{};
    row.append(digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr);
}

// As RFC 4180 quotes.
void Trace::addQuoted(const std::string& field)
{
    constexpr std::string_view quoting = ",\"\r\n";
    const auto holds = [&field](char c) { return field.find(c) != std::string::npos; };
    if (std::none_of(quoting.begin(), quoting.end(), holds)) {
        row += field;
        return;
    }
    row += '"';
    for (const char c : field) {
        if (c == '"') row += '"';
        row += c;
    }
    row += '"';
}

void Trace::endRow()
{
    row += '\n';
    out.write(row.data(), static_cast<std::streamsize>(row.size()));
    if (flushing == TraceFlush::eachRow) out.flush();
}

}  // namespace kelvane::simulator
