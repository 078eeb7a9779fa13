#include "tests/fakes/replay_rows.h"

#include "simulator/replay.h"
#include "simulator/scenario.h"

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
