// Rows of the trace; only log texts ever need quoting.
#include "simulator/trace.h"

namespace kelvane::simulator {

namespace {

// As RFC 4180 quotes.
std::string quoted(const std::string& field)
{
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string text = "\"";
    for (const char c : field) {
        if (c == '"') text += '"';
        text += c;
    }
    return text + '"';
}

std::string decimalOrEmpty(std::optional<std::uint32_t> value) { return value ? std::to_string(*value) : ""; }

}  // namespace

Trace::Trace(std::ostream& stream, TraceFlush flush) : out(stream), flushing(flush)
{
    out << "time_ms,kind,name,value,status";
    endRow();
}

void Trace::call(std::uint64_t timeMs, const char* operation, std::optional<std::uint32_t> eventType, int status)
{
    out << timeMs << ",call," << operation << ',' << decimalOrEmpty(eventType) << ',' << status;
    endRow();
}

void Trace::primitive(std::uint64_t timeMs, const char* name, std::optional<std::uint32_t> value, int status)
{
    out << timeMs << ",primitive," << name << ',' << decimalOrEmpty(value) << ',' << status;
    endRow();
}

void Trace::sleep(std::uint64_t timeMs, std::uint32_t ms)
{
    out << timeMs << ",sleep,," << ms << ',';
    endRow();
}

void Trace::processor(std::uint64_t timeMs, const char* quantity, std::uint64_t value)
{
    out << timeMs << ",processor," << quantity << ',' << value << ',';
    endRow();
}

void Trace::log(std::uint64_t timeMs, int level, const std::string& text)
{
    out << timeMs << ",log," << level << ',' << quoted(text) << ',';
    endRow();
}

void Trace::endRow()
{
    out << '\n';
    if (flushing == TraceFlush::eachRow) out.flush();
}

}  // namespace kelvane::simulator
