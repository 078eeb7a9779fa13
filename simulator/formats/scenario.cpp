// Checks a scenario line by line and turns each into a typed input; the first fault ends the reading.
#include "simulator/formats/scenario.h"

#include "framework/orq_interface.h"
#include "simulator/formats/csv.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <set>

namespace kelvane::simulator {

namespace {

using Columns = std::vector<std::string>;
const Columns header = { "time_ms", "input", "value" };

class Fault : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string quote(const std::string& text) { return '"' + printable(text) + '"'; }

enum class Notation { decimal, decimalOrHex };

// A whole number; `what` names it in faults. Hex numbers begin with 0x.
template<class Number>
Number parseNumber(const std::string& text, const std::string& what, Notation notation = Notation::decimalOrHex)
{
    const bool hex = notation == Notation::decimalOrHex && text.starts_with("0x");
    const char* const first = text.data() + (hex ? 2 : 0);
    const char* const last = text.data() + text.size();
    Number number = 0;
    const auto [end, error] = std::from_chars(first, last, number, hex ? 16 : 10);
    if (end != last || error == std::errc::invalid_argument || (hex && *first == '-')) {
        throw Fault(what + " " + quote(text) + " is not a number");
    }
    if (error == std::errc::result_out_of_range) throw Fault(what + " " + quote(text) + " is out of range");
    return number;
}

std::uint32_t parseWord(const std::string& text, const std::string& what)
{
    return parseNumber<std::uint32_t>(text, what);
}

Input parsePowerSource(const std::string& value)
{
    if (value == "fail") return PowerSource{ false, 0 };
    const std::uint32_t line = parseWord(value, "ac_line");
    if (line != 0 && line != 1 && line != 255) {
        throw Fault("ac_line is 0, 1, 255 or fail, not " + quote(value));
    }
    return PowerSource{ true, static_cast<std::uint8_t>(line) };
}

enum class Payload { none, word };

struct EventType {
    std::uint32_t type;
    Payload payload;
};

constexpr EventType eventTypes[] = {
    { eventParticipantSuspended, Payload::none },
    { eventParticipantResumed, Payload::none },
    { eventLogVerbosity, Payload::word },
    { eventUnhandled, Payload::none },
    { eventPowerScheme, Payload::word },
    { eventPowerSlider, Payload::word },
    { eventWorkload, Payload::word },
    { eventDisconnected, Payload::none },
};

EventType parseEventType(const std::string& text)
{
    const std::uint32_t type = parseWord(text, "event type");
    for (const EventType row : eventTypes) {
        if (row.type == type) return row;
    }
    throw Fault("unknown event type " + quote(text));
}

Input parseEvent(const std::string& value)
{
    const std::size_t colon = value.find(':');
    const EventType event = parseEventType(value.substr(0, colon));
    const bool hasValue = colon != std::string::npos;
    if (hasValue != (event.payload == Payload::word)) {
        throw Fault("event " + std::to_string(event.type) +
                    (hasValue ? " takes no value" : " needs a value, TYPE:VALUE"));
    }
    return FrameworkEvent{ event.type, hasValue ? parseWord(value.substr(colon + 1), "event value") : 0 };
}

// The operation's name in its one spelling.
std::string parseOperation(const std::string& name)
{
    constexpr std::string_view registration = "REGISTER_EVENT/";
    if (name.starts_with(registration)) {
        const EventType event = parseEventType(name.substr(registration.size()));
        return std::string(registration) + std::to_string(event.type);
    }
    const auto* const end = std::end(primitiveNames);
    const bool known = name == "INIT" || name == "SESSION_CREATE" || name == "SESSION_CONNECT" ||
                       std::find(std::begin(primitiveNames), end, name) != end;
    if (!known) throw Fault("status of unknown operation " + quote(name));
    return name;
}

Input parseStatus(const std::string& value)
{
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos) throw Fault("status is NAME=CODE, not " + quote(value));
    return Answer{ parseOperation(value.substr(0, equals)),
                   parseNumber<std::int32_t>(value.substr(equals + 1), "status code") };
}

Input parseProcessStart(const std::string& value)
{
    const std::size_t colon = value.rfind(':');
    if (colon == std::string::npos) throw Fault("process_start is NAME:PID, not " + quote(value));
    return ProcessStart{ value.substr(0, colon), parseWord(value.substr(colon + 1), "process id") };
}

Input parseStandby(const std::string& value)
{
    const std::uint32_t eventId = parseWord(value, "standby");
    if (eventId != 506 && eventId != 507) throw Fault("standby is 506 or 507, not " + quote(value));
    return StandbyEvent{ eventId };
}

Input parseStop(const std::string& value)
{
    if (value != "scaling" && value != "service") throw Fault("stop is scaling or service, not " + quote(value));
    return Stop{ value == "service" };
}

Input parseProcessor(const std::string& value)
{
    if (const ProcessorSpec* spec = findProcessorPreset(value)) return Processor{ spec };
    std::string names;
    for (const ProcessorSpec& preset : processorPresets)
        names += (names.empty() ? "" : ", ") + std::string(preset.name);
    throw Fault("processor is one of " + names + ", not " + quote(value));
}

std::uint32_t parseAtLeastOne(const std::string& text, const std::string& what)
{
    const std::uint32_t number = parseWord(text, what);
    if (number == 0) throw Fault(what + " is at least 1");
    return number;
}

// Takes the part after the last colon off `text`; `text` must have one.
std::string takeLastPart(std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) throw Fault("job is NAME:WORK_MS:CORES or NAME:WORK_MS:CORES:launch");
    std::string part = text.substr(colon + 1);
    text.erase(colon);
    return part;
}

Input parseJob(const std::string& value)
{
    Job job = { value, 0, 0, value.ends_with(":launch") };
    if (job.launch) takeLastPart(job.name);
    const std::string cores = takeLastPart(job.name);
    job.coreMs = parseAtLeastOne(takeLastPart(job.name), "work");
    job.cores = parseAtLeastOne(cores, "cores");
    return job;
}

Input parseInput(const std::string& input, const std::string& value)
{
    if (input == "power_mw") return Reading{ Primitive::getRaplPower, parseWord(value, input) };
    if (input == "clip_reasons") return Reading{ Primitive::getIaClipReasons, parseWord(value, input) };
    if (input == "soc_workload") return Reading{ Primitive::getSocWorkload, parseWord(value, input) };
    if (input == "ac_line") return parsePowerSource(value);
    if (input == "status") return parseStatus(value);
    if (input == "event") return parseEvent(value);
    if (input == "process_start") return parseProcessStart(value);
    if (input == "standby") return parseStandby(value);
    if (input == "stop") return parseStop(value);
    if (input == "processor") return parseProcessor(value);
    if (input == "job") return parseJob(value);
    if (input == "seed") return Seed{ parseWord(value, input) };
    throw Fault("unknown input " + quote(input));
}

void checkHeader(const std::vector<CsvRecord>& records)
{
    if (records.empty()) throw CsvError(1, "the file is empty; the first line must be time_ms,input,value");
    if (records.front().fields != header) throw CsvError(1, "the first line must be time_ms,input,value");
}

// What one line says that bears on others.
class Consistency {
public:
    void take(const ScenarioLine& line, const std::string& name)
    {
        const bool machine = std::holds_alternative<Processor>(line.input);
        if (machine || std::holds_alternative<Seed>(line.input)) takeOnce(name, line.timeMs);
        if (machine || std::holds_alternative<Job>(line.input)) takeSide(name, worked, scripted);
        if (name == "power_mw" || name == "clip_reasons") takeSide(name, scripted, worked);
    }

private:
    void takeOnce(const std::string& name, std::uint64_t timeMs)
    {
        if (timeMs != 0) throw Fault(name + " must stand at time 0");
        if (!once.insert(name).second) throw Fault("a second " + name);
    }

    // Power follows from a script or from work, never from both.
    static void takeSide(const std::string& name, std::string& own, const std::string& other)
    {
        if (!other.empty()) throw Fault(name + " and " + other + " cannot stand in one scenario");
        if (own.empty()) own = name;
    }

    std::set<std::string> once;
    std::string scripted;  // the first input of either side
    std::string worked;
};

ScenarioLine parseLine(const CsvRecord& record, std::uint64_t earliestMs, Consistency& consistency)
{
    try {
        const Columns& fields = record.fields;
        if (fields.size() != header.size()) {
            throw Fault("three columns are needed, time_ms,input,value, not " + std::to_string(fields.size()));
        }
        const auto timeMs = parseNumber<std::uint64_t>(fields[0], "time_ms", Notation::decimal);
        if (timeMs < earliestMs) {
            throw Fault("time_ms falls from " + std::to_string(earliestMs) + " to " + std::to_string(timeMs));
        }
        ScenarioLine line = { timeMs, parseInput(fields[1], fields[2]) };
        consistency.take(line, fields[1]);
        return line;
    } catch (const Fault& fault) {
        throw CsvError(record.line, fault.what());
    }
}

Scenario parseScenario(std::istream& file)
{
    const std::vector<CsvRecord> records = readCsv(file);
    checkHeader(records);
    Scenario scenario;
    std::uint64_t timeMs = 0;
    bool stops = false;
    Consistency consistency;
    for (auto record = std::next(records.begin()); record != records.end(); ++record) {
        scenario.push_back(parseLine(*record, timeMs, consistency));
        timeMs = scenario.back().timeMs;
        stops = stops || std::holds_alternative<Stop>(scenario.back().input);
    }
    if (!stops) scenario.push_back({ timeMs, Stop{ true } });
    return scenario;
}

}  // namespace

Input readInput(const std::string& input, const std::string& value)
{
    try {
        return parseInput(input, value);
    } catch (const Fault& fault) {
        throw MalformedScenario(fault.what());
    }
}

Scenario readScenario(std::istream& file, const std::string& name)
{
    try {
        return parseScenario(file);
    } catch (const CsvError& error) {
        throw MalformedScenario(name + ":" + std::to_string(error.line) + ": " + error.what());
    }
}

Scenario readScenario(const std::filesystem::path& path)
{
    std::error_code ignored;
    std::ifstream file(path, std::ios::in | std::ios::binary);
    if (!file || std::filesystem::is_directory(path, ignored)) {
        throw MalformedScenario(toUtf8(path) + ":1: the file cannot be read");
    }
    return readScenario(file, toUtf8(path));
}

std::string toUtf8(const std::filesystem::path& path)
{
    const std::u8string text = path.u8string();
    return { text.begin(), text.end() };
}

}  // namespace kelvane::simulator
