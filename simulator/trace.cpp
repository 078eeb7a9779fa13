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

Trace::Trace(std::ostream& stream) : out(stream) { out << "time_ms,kind,name,value,status\n"; }

void Trace::call(std::uint64_t timeMs, const char* operation, std::optional<std::uint32_t> eventType, int status)
{
    out << timeMs << ",call," << operation << ',' << decimalOrEmpty(eventType) << ',' << status << '\n';
}

void Trace::primitive(std::uint64_t timeMs, const char* name, std::optional<std::uint32_t> value, int status)
{
    out << timeMs << ",primitive," << name << ',' << decimalOrEmpty(value) << ',' << status << '\n';
}

void Trace::sleep(std::uint64_t timeMs, std::uint32_t ms) { out << timeMs << ",sleep,," << ms << ",\n"; }

void Trace::log(std::uint64_t timeMs, int level, const std::string& text)
{
    out << timeMs << ",log," << level << ',' << quoted(text) << ",\n";
}

}  // namespace kelvane::simulator
