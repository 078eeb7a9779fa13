// simulator/formats/trace.h: what reached the processor, and what the service said, row by row (docs/replay.md).
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::simulator {

enum class TraceFlush { whenFull, eachRow };

// Writes CSV rows with LF line ends to a stream that the caller keeps open and checks for errors. Rows are gathered
// until there are many, the last ones until the trace's end; a trace that is read while it grows is flushed after each
// row.
class Trace {
public:
    explicit Trace(std::ostream& stream, TraceFlush flush = TraceFlush::whenFull);
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    void call(std::uint64_t timeMs, std::string_view operation, std::optional<std::uint32_t> eventType, int status);
    void primitive(std::uint64_t timeMs, std::string_view name, std::optional<std::uint32_t> value, int status);
    void sleep(std::uint64_t timeMs, std::uint32_t ms);
    void processor(std::uint64_t timeMs, std::string_view quantity, std::uint64_t value);
    // `text` without the line feed that ends it.
    void log(std::uint64_t timeMs, int level, std::string_view text);

private:
    void beginRow(std::uint64_t timeMs, std::string_view kind, std::string_view name);
    void endRow();
    void add(std::string_view text);
    template<std::integral Number>
    void add(Number number);

    std::size_t room() const { return buffer.size() - used; }

    void makeRoom(std::size_t bytes);
    void send();

    std::ostream& out;
    TraceFlush flushing;
    std::vector<char> buffer;
    std::size_t used = 0;  // bytes of the buffer
    std::uint64_t rowMs = 0;
    std::string timeText = "0";  // of rowMs: many rows share one
};

}  // namespace kelvane::simulator
