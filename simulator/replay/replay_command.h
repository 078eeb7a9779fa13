// simulator/replay/replay_command.h: what the programs that replay a scenario share.
#pragma once

#include "simulator/replay/replay.h"

#include <filesystem>
#include <string>

namespace kelvane::simulator {

enum ExitCode {
    exitReplayed = 0,
    exitFailed = 1,  // in a way that no other code is for
    exitUsage = 2,
    exitMalformed = 3,
    exitUnwritable = 4,
    exitClockStoodStill = 5,
    exitInterrupted = 130,
};

// Writes a line to standard error and returns the code.
int fail(ExitCode code, const std::string& message);

// Replays into a file that is there when it is whole; failures are told.
int replayToFile(const Scenario& scenario, const std::filesystem::path& trace, const Controller& controller);

// Runs `command`, which returns an exit code, and turns what it throws and an interruption into one. The watchers'
// standard output, which a service does not have, is dropped.
int runCommand(const std::function<int()>& command);

}  // namespace kelvane::simulator
