// simulator/formats/scenario.h: scripted inputs of a processor and a platform, read from a CSV file (docs/replay.md).
#pragma once

#include "simulator/model/processor_model.h"

#include <cstdint>
#include <filesystem>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kelvane::simulator {

enum class Primitive {
    getSocWorkload,
    setPerfPreferenceMax,
    setPerfPreferenceMin,
    getIaClipReasons,
    getRaplPower,
    setRaplPowerLimit1,
};

constexpr std::string_view primitiveNames[] = {
    "GET_SOC_WORKLOAD",    "SET_PERF_PREFERENCE_MAX", "SET_PERF_PREFERENCE_MIN",
    "GET_IA_CLIP_REASONS", "GET_RAPL_POWER",          "SET_RAPL_POWER_LIMIT_1",
};

// What a getter delivers from now on.
struct Reading {
    Primitive getter;
    std::uint32_t value;
};

// What the system tells about the power source from now on.
struct PowerSource {
    bool known;  // false: the call fails
    std::uint8_t acLine;
};

// What the core answers from now on. `operation`: a primitive's name, "INIT", "SESSION_CREATE", "SESSION_CONNECT" or
// "REGISTER_EVENT/TYPE".
struct Answer {
    std::string operation;
    int status;
};

// One framework event. Types without a payload ignore `value`.
struct FrameworkEvent {
    std::uint32_t type;
    std::uint32_t value;
};

// One process that starts.
struct ProcessStart {
    std::string name;
    std::uint32_t id;
};

// One entry in the System event log: into standby (506) or out of it (507).
struct StandbyEvent {
    std::uint32_t eventId;
};

struct Stop {
    bool service;  // false: scaling alone
};

// The machine that answers for power and clip reasons, from the jobs it is given.
struct Processor {
    const ProcessorSpec* spec;
};

// One piece of work that arrives.
struct Job {
    std::string name;
    std::uint32_t coreMs;  // of one core at full clock; at least 1
    std::uint32_t cores;   // that can work on it at once; at least 1
    bool launch;           // a program that starts, of which the process watcher is told
};

// Of everything that is left to chance.
struct Seed {
    std::uint32_t value;
};

using Input =
    std::variant<Reading, PowerSource, Answer, FrameworkEvent, ProcessStart, StandbyEvent, Stop, Processor, Job, Seed>;

struct ScenarioLine {
    std::uint64_t timeMs;
    Input input;
};

// In the file's order; times never decrease. Ends with a stop unless one stands elsewhere. Power is either scripted
// (power_mw, clip_reasons) or follows from work (processor, job).
using Scenario = std::vector<ScenarioLine>;

// What is wrong with a scenario: "NAME:LINE: reason".
class MalformedScenario : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Reads one input from its two columns; throws MalformedScenario with the bare reason.
Input readInput(const std::string& input, const std::string& value);

// Throws MalformedScenario, with `name` as the file's name.
Scenario readScenario(std::istream& file, const std::string& name);

// The same from a file, which may also be missing or unreadable.
Scenario readScenario(const std::filesystem::path& path);

// A path as the user would write it, in UTF-8.
std::string toUtf8(const std::filesystem::path& path);

}  // namespace kelvane::simulator
