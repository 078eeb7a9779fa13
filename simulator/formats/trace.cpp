// Rows of the trace, put one behind the other into a buffer that goes out when it is full; only log texts ever need
// quoting.
#include "simulator/formats/trace.h"

#include <algorithm>
#include <charconv>

namespace kelvane::simulator {

namespace {

constexpr std::size_t bufferBytes = 1 << 20;  // Wine's server has a part in every write
constexpr std::size_t rowBytes = 256;
constexpr std::size_t digitsMax = 20;

// As RFC 4180 has it.
bool needsQuotes(std::string_view field)
{
    return std::any_of(field.begin(), field.end(),
                       [](char c) { return c == ',' || c == '"' || c == '\r' || c == '\n'; });
}

std::string inQuotes(std::string_view field)
{
    std::string text = "\"";
    for (const char c : field) {
        if (c == '"') text += '"';
        text += c;
    }
    return text + '"';
}

}  // namespace

Trace::Trace(std::ostream& stream, TraceFlush flush)
    : out(stream), flushing(flush), buffer(flush == TraceFlush::whenFull ? bufferBytes : rowBytes)
{
    add("time_ms,kind,name,value,status");
    endRow();
}

Trace::~Trace() { send(); }

void Trace::call(std::uint64_t timeMs, std::string_view operation, std::optional<std::uint32_t> eventType, int status)
{
    beginRow(timeMs, ",call,", operation);
    if (eventType) add(*eventType);
    add(",");
    add(status);
    endRow();
}

void Trace::primitive(std::uint64_t timeMs, std::string_view name, std::optional<std::uint32_t> value, int status)
{
    beginRow(timeMs, ",primitive,", name);
    if (value) add(*value);
    add(",");
    add(status);
    endRow();
}

void Trace::sleep(std::uint64_t timeMs, std::uint32_t ms)
{
    beginRow(timeMs, ",sleep,", "");
    add(ms);
    add(",");
    endRow();
}

void Trace::processor(std::uint64_t timeMs, std::string_view quantity, std::uint64_t value)
{
    beginRow(timeMs, ",processor,", quantity);
    add(value);
    add(",");
    endRow();
}

void Trace::log(std::uint64_t timeMs, int level, std::string_view text)
{
    beginRow(timeMs, ",log,", std::to_string(level));
    if (needsQuotes(text)) {
        add(inQuotes(text));
    } else {
        add(text);
    }
    add(",");
    endRow();
}

void Trace::beginRow(std::uint64_t timeMs, std::string_view kind, std::string_view name)
{
    if (timeMs != rowMs) timeText = std::to_string(timeMs);
    rowMs = timeMs;
    add(timeText);
    add(kind);
    add(name);
    add(",");
}

void Trace::endRow()
{
    add("\n");
    if (flushing == TraceFlush::whenFull) return;
    send();
    out.flush();
}

void Trace::add(std::string_view text)
{
    if (room() < text.size()) makeRoom(text.size());
    std::copy(text.begin(), text.end(), buffer.data() + used);
    used += text.size();
}

template<std::integral Number>
void Trace::add(Number number)
{
    if (room() < digitsMax) makeRoom(digitsMax);
    char* const begin = buffer.data() + used;
    used += static_cast<std::size_t>(std::to_chars(begin, begin + digitsMax, number).ptr - begin);
}

void Trace::makeRoom(std::size_t bytes)
{
    send();
    if (buffer.size() < bytes) buffer.resize(bytes);
}

void Trace::send()
{
    out.write(buffer.data(), static_cast<std::streamsize>(used));
    used = 0;
}

}  // namespace kelvane::simulator
