// kelvanectl/checks.h: whether everything is in place that the service needs, one thing at a time.
#pragma once

#include "kelvanectl/installed_service.h"
#include "kelvanectl/places.h"

#include <string>
#include <vector>

namespace kelvane {

enum class Outcome { ok, failed, unknown };

struct Check {
    std::string name;
    Outcome outcome = Outcome::unknown;
    std::string found;
    std::string action;  // what to do; empty unless it failed
};

// What several checks look at, read once.
struct Machine {
    InstalledService service;
    std::wstring logFile;
    LogFile log;
};

Machine lookAtMachine();

// Of how the service is entered in this machine, in the order in which they are printed.
std::vector<Check> registrationChecks(const Machine& machine);

// Of what the service finds when it runs.
std::vector<Check> surroundingsChecks(const Machine& machine);

// `failure` is the action when the thing is not there.
Check presenceCheck(const std::string& name, Presence presence, const std::string& failure);

}  // namespace kelvane
