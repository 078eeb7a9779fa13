#include "kelvanectl/checks.h"
#include "kelvanectl/commands.h"
#include "kelvanectl/console.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace kelvane {

namespace {

const char* word(Outcome outcome)
{
    return outcome == Outcome::ok ? "ok" : outcome == Outcome::failed ? "FAILED" : "unknown";
}

std::string lineOf(const Check& check)
{
    std::string line = word(check.outcome);
    line.resize(sizeof "unknown" + 1, ' ');
    line += check.name + ": " + check.found;
    if (!check.action.empty()) line += "; to do: " + check.action;
    return line + "\n";
}

nlohmann::ordered_json jsonOf(const Check& check)
{
    return { { "name", check.name },
             { "result", word(check.outcome) },
             { "found", check.found },
             { "action", check.action.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(check.action) } };
}

}  // namespace

int verifyCommand(bool json)
{
    const Machine machine = lookAtMachine();
    std::vector<Check> checks = registrationChecks(machine);
    const std::vector<Check> surroundings = surroundingsChecks(machine);
    checks.insert(checks.end(), surroundings.begin(), surroundings.end());
    std::string lines;
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Check& check : checks) {
        lines += lineOf(check);
        list.push_back(jsonOf(check));
    }
    say(json ? nlohmann::ordered_json{ { "checks", list } }.dump(2) + "\n" : lines);
    const bool fine =
        std::none_of(checks.begin(), checks.end(), [](const Check& check) { return check.outcome == Outcome::failed; });
    return fine ? done : failed;
}

}  // namespace kelvane
