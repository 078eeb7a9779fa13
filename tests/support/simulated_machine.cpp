// Reads back the rows that the simulator's own trace writes.
#include "tests/support/simulated_machine.h"
#include "controller/state.h"
#include "state/state.h"

#include "framework/core_library.h"
#include "simulator/formats/csv.h"
#include "simulator/platform/simulated_core.h"
#include "simulator/replay/imports.h"
#include "simulator/replay/recorded_log.h"

#include <windows.h>

#include <stdexcept>

namespace kelvane::tests {

namespace {

using Row = std::vector<std::string>;  // time, kind, name, value, status

std::vector<Row> rowsOf(const std::string& text)
{
    std::istringstream in("time_ms,kind,name,value,status\n" + text);
    std::vector<Row> rows;
    for (simulator::CsvRecord& record : simulator::readCsv(in)) rows.push_back(std::move(record.fields));
    rows.erase(rows.begin());
    return rows;
}

std::string joined(const Row& row)
{
    std::string text = row[1] == "primitive" ? "" : row[1] + " ";
    for (const std::size_t column : { std::size_t{ 2 }, std::size_t{ 3 }, std::size_t{ 4 } }) {
        if (!row[column].empty()) text += row[column] + " ";
    }
    text.pop_back();
    return text;
}

}  // namespace

SimulatedMachine::SimulatedMachine() : trace(out, simulator::TraceFlush::eachRow)
{
    simulator::startCore(trace, [] { return std::uint64_t{ 0 }; });
    simulator::recordLog([this](int level, const std::string& text) { trace.log(0, level, text); });
    simulator::replacePlatform([this, own = GetCurrentThreadId()](std::uint32_t ms) {
        // The C library, too, sleeps where threads begin, yield and end: on others that would tear the trace.
        if (GetCurrentThreadId() != own) return;
        trace.sleep(0, ms);
        if (onSleep) onSleep(ms);
    });
    if (Init() != 0) throw std::runtime_error("the simulated core does not load");
    g_sessionHandle = 1;
    forget();
}

SimulatedMachine::~SimulatedMachine() { simulator::recordLog(nullptr); }

void SimulatedMachine::power(std::uint32_t milliwatts)
{
    simulator::setReading({ simulator::Primitive::getRaplPower, milliwatts });
}

void SimulatedMachine::clipReasons(std::uint32_t bits)
{
    simulator::setReading({ simulator::Primitive::getIaClipReasons, bits });
}

void SimulatedMachine::socWorkload(std::uint32_t value)
{
    simulator::setReading({ simulator::Primitive::getSocWorkload, value });
}

void SimulatedMachine::answer(const std::string& operation, int status) { simulator::setAnswer({ operation, status }); }

void SimulatedMachine::watch(std::vector<WatchedVariable> variables)
{
    stores.emplace(std::move(variables), [this](const std::string& name, const std::string& value) {
        out << "0,store," << name << ',' << value << ",\n";
    });
}

std::vector<std::string> SimulatedMachine::happened() const
{
    std::vector<std::string> rows;
    for (const Row& row : rowsOf(out.str())) rows.push_back(joined(row));
    return rows;
}

std::vector<std::string> SimulatedMachine::writes() const
{
    std::vector<std::string> setters;
    for (const Row& row : rowsOf(out.str())) {
        if (row[1] == "primitive" && row[2].starts_with("SET_")) setters.push_back(row[2] + " " + row[3]);
    }
    return setters;
}

std::vector<std::uint32_t> SimulatedMachine::sleeps() const
{
    std::vector<std::uint32_t> pauses;
    for (const Row& row : rowsOf(out.str())) {
        if (row[1] == "sleep") pauses.push_back(static_cast<std::uint32_t>(std::stoul(row[3])));
    }
    return pauses;
}

std::vector<std::string> SimulatedMachine::messages() const
{
    std::vector<std::string> texts;
    for (const Row& row : rowsOf(out.str())) {
        if (row[1] == "log") texts.push_back(row[2] + " " + row[3]);
    }
    return texts;
}

void SimulatedMachine::forget() { out.str(""); }

}  // namespace kelvane::tests
