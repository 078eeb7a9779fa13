#include "tests/simulator/replay_rows.h"

#include "simulator/formats/scenario.h"
#include "simulator/replay/replay.h"

#include <sstream>

namespace kelvane::tests {

std::vector<std::string> replayRows(const std::string& scenarioRows)
{
    std::istringstream file("time_ms,input,value\n" + scenarioRows);
    std::ostringstream out;
    simulator::replay(simulator::readScenario(file, "scenario"), out);
    std::vector<std::string> rows;
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) rows.push_back(line);
    rows.erase(rows.begin());
    return rows;
}

}  // namespace kelvane::tests
