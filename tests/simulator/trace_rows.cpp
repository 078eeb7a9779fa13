// Rows are read back as any other program would read them.
#include "tests/simulator/trace_rows.h"

#include "simulator/formats/csv.h"
#include "simulator/formats/scenario.h"

#include <sstream>
#include <stdexcept>

namespace kelvane::tests {

namespace {

enum Column { time, kind, name, value, status };

// The named columns of a row, those that are empty left out.
std::string columnsOf(const std::string& row, const std::vector<Column>& columns)
{
    std::istringstream in(row);
    const std::vector<simulator::CsvRecord> records = simulator::readCsv(in);
    if (records.size() != 1 || records[0].fields.size() != status + 1) {
        throw std::runtime_error("not a row of a trace: " + row);
    }
    std::string texts;
    for (const Column column : columns) {
        const std::string& text = records[0].fields[column];
        if (!text.empty()) texts += (texts.empty() ? "" : " ") + text;
    }
    return texts;
}

Rows columnsOfAll(Rows rows, const std::vector<Column>& columns)
{
    for (std::string& row : rows) row = columnsOf(row, columns);
    return rows;
}

}  // namespace

Rows replayRows(const std::string& scenarioRows, simulator::ReplayEnd* end)
{
    std::istringstream file("time_ms,input,value\n" + scenarioRows);
    std::stringstream trace;
    const simulator::ReplayEnd found = simulator::replay(simulator::readScenario(file, "scenario"), trace);
    if (end) *end = found;
    Rows rows;
    for (std::string row; std::getline(trace, row);) rows.push_back(row);
    rows.erase(rows.begin());
    return rows;
}

Rows rowsWith(const Rows& rows, const std::string& text)
{
    Rows found;
    for (const std::string& row : rows) {
        if (row.find(text) != std::string::npos) found.push_back(row);
    }
    return found;
}

Rows rowsAt(const Rows& rows, std::uint64_t timeMs)
{
    Rows found;
    for (const std::string& row : rows) {
        if (row.starts_with(std::to_string(timeMs) + ",")) found.push_back(row);
    }
    return found;
}

Rows ceilings(const Rows& rows)
{
    return columnsOfAll(rowsWith(rows, ",primitive,SET_PERF_PREFERENCE_MAX,"), { time, value });
}

Rows powerLimits(const Rows& rows)
{
    return columnsOfAll(rowsWith(rows, ",primitive,SET_RAPL_POWER_LIMIT_1,"), { time, value });
}

Rows sleeps(const Rows& rows) { return columnsOfAll(rowsWith(rows, ",sleep,,"), { time, value }); }

Rows messages(const Rows& rows, const std::string& text)
{
    return columnsOfAll(rowsWith(rowsWith(rows, ",log,"), text), { time, name, value });
}

Rows calls(const Rows& rows) { return columnsOfAll(rowsWith(rows, ",call,"), { time, name, value, status }); }

}  // namespace kelvane::tests
