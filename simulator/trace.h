// simulator/trace.h: what reached the processor, and what the service said, row by row (docs/replay.md).
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

namespace kelvane::simulator {

enum class TraceFlush { never, eachRow };

// Writes CSV rows with LF line ends to a stream that the caller keeps open and checks for errors. A trace that is read
// while it grows is flushed after each row.
class Trace {
public:
    explicit Trace(std::ostream& stream, TraceFlush flush = TraceFlush::never);

    void call(std::uint64_t timeMs, const char* operation, std::optional<std::uint32_t> eventType, int status);
    void primitive(std::uint64_t timeMs, const char* name, std::optional<std::uint32_t> value, int status);
    void sleep(std::uint64_t timeMs, std::uint32_t ms);
    void processor(std::uint64_t timeMs, const char* quantity, std::uint64_t value);
    // `text` without the line feed that ends it.
    void log(std::uint64_t timeMs, int level, const std::string& text);

private:
    void beginRow(std::uint64_t timeMs, std::string_view kind);
    template<class Number>
    void addNumber(Number number);
    void addQuoted(const std::string& field);
    void endRow();

    std::ostream& out;
    TraceFlush flushing;
    std::uint64_t rowMs = 0;
    std::string timeText = "0";  // of rowMs: many rows share one
    std::string row;
};

}  // namespace kelvane::simulator
