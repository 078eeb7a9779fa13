// Every way for a replay to end has an exit code and a line that says why.
#include "simulator/replay/replay_command.h"
#include "simulator/replay/new_file.h"

#include <cstdio>
#include <tuple>

namespace kelvane::simulator {

int fail(ExitCode code, const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    return code;
}

int replayToFile(const Scenario& scenario, const std::filesystem::path& trace, const Controller& controller)
{
    NewFile file(trace);
    const ReplayEnd end = file.stream() ? replay(scenario, file.stream(), controller) : ReplayEnd::loopEnded;
    if (const std::string reason = file.keep(); !reason.empty()) {
        return fail(exitUnwritable, toUtf8(trace) + ": the trace cannot be written: " + reason);
    }
    if (end == ReplayEnd::clockStoodStill) {
        return fail(exitClockStoodStill, "the clock stands still: " + std::to_string(primitivesWithoutSleepMax) +
                                             " primitives in a row without a Sleep; the trace ends there");
    }
    return exitReplayed;
}

int runCommand(const std::function<int()>& command)
{
    endWhenInterrupted(exitInterrupted);
    std::ignore = std::freopen("NUL", "w", stdout);
    try {
        return command();
    } catch (const MalformedScenario& error) {
        return fail(exitMalformed, error.what());
    } catch (const std::exception& error) {
        return fail(exitFailed, std::string("the replay failed: ") + error.what());
    }
}

}  // namespace kelvane::simulator
