// Draws come from a generator whose numbers the language fixes, so that a seed means the same everywhere.
#include "simulator/formats/demand.h"

#include <algorithm>
#include <random>

namespace kelvane::simulator {

namespace {

constexpr std::uint32_t watcherIntervalMs = 1000;
constexpr std::uint32_t firstProcessId = 4000;
constexpr std::uint32_t processIdStep = 4;

std::uint32_t seedOf(const Scenario& scenario)
{
    for (const ScenarioLine& line : scenario) {
        if (const auto* seed = std::get_if<Seed>(&line.input)) return seed->value;
    }
    return 1;
}

// `random`, uniform over 32 bits, made uniform over 0 .. bound - 1.
std::uint32_t scaled(std::uint64_t random, std::uint32_t bound)
{
    const std::uint64_t product = random * bound;
    return static_cast<std::uint32_t>(product >> 32);
}

}  // namespace

const ProcessorSpec* processorOf(const Scenario& scenario)
{
    const ProcessorSpec* spec = nullptr;
    for (const ScenarioLine& line : scenario) {
        if (const auto* processor = std::get_if<Processor>(&line.input)) return processor->spec;
        if (std::holds_alternative<Job>(line.input)) spec = &processorPresets[0];
    }
    return spec;
}

Scenario withProcessStarts(const Scenario& scenario)
{
    std::mt19937 generator(seedOf(scenario));
    std::uint32_t processId = firstProcessId;
    Scenario expanded = scenario;
    for (const ScenarioLine& line : scenario) {
        const auto* const job = std::get_if<Job>(&line.input);
        if (!job || !job->launch) continue;
        expanded.push_back(
            { line.timeMs + scaled(generator(), watcherIntervalMs), ProcessStart{ job->name, processId } });
        processId += processIdStep;
    }
    std::stable_sort(expanded.begin(), expanded.end(),
                     [](const ScenarioLine& a, const ScenarioLine& b) { return a.timeMs < b.timeMs; });
    return expanded;
}

}  // namespace kelvane::simulator
