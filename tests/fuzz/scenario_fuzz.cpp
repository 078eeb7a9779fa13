// Any bytes as a scenario: read, or refused with the line that is at fault.
#include "simulator/formats/demand.h"
#include "simulator/formats/scenario.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <sstream>

using namespace kelvane::simulator;
using kelvane::fuzz::promise;

namespace {

bool inOrder(const Scenario& scenario)
{
    return std::is_sorted(scenario.begin(), scenario.end(),
                          [](const ScenarioLine& a, const ScenarioLine& b) { return a.timeMs < b.timeMs; });
}

bool stops(const Scenario& scenario)
{
    return std::any_of(scenario.begin(), scenario.end(),
                       [](const ScenarioLine& line) { return std::holds_alternative<Stop>(line.input); });
}

bool tellsTheLine(const std::string& fault)
{
    const std::string start = "scenario:";
    return fault.starts_with(start) && fault.find_first_not_of("0123456789", start.size()) == fault.find(": ");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream file(std::string(reinterpret_cast<const char*>(data), size));
    try {
        const Scenario scenario = readScenario(file, "scenario");
        promise(inOrder(scenario), "times never decrease");
        promise(stops(scenario), "a scenario stops");
        promise(inOrder(withProcessStarts(scenario)), "times never decrease with the process starts");
    } catch (const MalformedScenario& fault) {
        promise(tellsTheLine(fault.what()), "a fault is told with its line");
    }
    return 0;
}
