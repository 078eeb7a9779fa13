// Rows are read back as any other program would read them.
#include "tests/simulator/trace_rows.h"

#include "simulator/formats/csv.h"

#include <sstream>
#include <stdexcept>

namespace kelvane::tests {

namespace {

enum Column { time, kind, name, value, status };

std::vector<std::string> columnsOf(const std::string& row)
{
    std::istringstream in(row);
    const std::vector<simulator::CsvRecord> records = simulator::readCsv(in);
    if (records.size() != 1 || records[0].fields.size() != status + 1) {
        throw std::runtime_error("not a row of a trace: " + row);
    }
    return records[0].fields;
}

Rows valuesOf(const Rows& rows, const std::string& primitive)
{
    Rows values;
    for (const std::string& row : rowsWith(rows, ",primitive," + primitive + ",")) {
        const auto columns = columnsOf(row);
        values.push_back(columns[time] + " " + columns[value]);
    }
    return values;
}

}  // namespace

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

Rows ceilings(const Rows& rows) { return valuesOf(rows, "SET_PERF_PREFERENCE_MAX"); }

Rows powerLimits(const Rows& rows) { return valuesOf(rows, "SET_RAPL_POWER_LIMIT_1"); }

Rows sleeps(const Rows& rows)
{
    Rows pauses;
    for (const std::string& row : rowsWith(rows, ",sleep,,")) {
        const auto columns = columnsOf(row);
        pauses.push_back(columns[time] + " " + columns[value]);
    }
    return pauses;
}

Rows messages(const Rows& rows, const std::string& text)
{
    Rows texts;
    for (const std::string& row : rowsWith(rowsWith(rows, ",log,"), text)) {
        const auto columns = columnsOf(row);
        texts.push_back(columns[time] + " " + columns[name] + " " + columns[value]);
    }
    return texts;
}

Rows calls(const Rows& rows)
{
    Rows made;
    for (const std::string& row : rowsWith(rows, ",call,")) {
        const auto columns = columnsOf(row);
        const std::string type = columns[value].empty() ? "" : columns[value] + " ";
        made.push_back(columns[time] + " " + columns[name] + " " + type + columns[status]);
    }
    return made;
}

}  // namespace kelvane::tests
