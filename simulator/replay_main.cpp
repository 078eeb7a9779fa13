// kelvane-replay SCENARIO.csv TRACE.csv: the scaling loop in virtual time, from a file of inputs to a file of commands.
#include "simulator/replay.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

namespace {

namespace fs = std::filesystem;
using namespace kelvane::simulator;

enum ExitCode { exitReplayed = 0, exitUsage = 2, exitMalformed = 3, exitUnwritable = 4, exitClockStoodStill = 5 };

int fail(ExitCode code, const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    return code;
}

int run(const fs::path& scenarioPath, const fs::path& tracePath)
{
    const Scenario scenario = readScenario(scenarioPath);
    std::ofstream out(tracePath, std::ios::out | std::ios::trunc | std::ios::binary);
    const ReplayEnd end = out ? replay(scenario, out) : ReplayEnd::loopEnded;
    out.close();
    if (!out) return fail(exitUnwritable, toUtf8(tracePath) + ": the trace cannot be written");
    if (end == ReplayEnd::clockStoodStill) {
        return fail(exitClockStoodStill, "the clock stands still: " + std::to_string(primitivesWithoutSleepMax) +
                                             " primitives in a row without a Sleep; the trace ends there");
    }
    return exitReplayed;
}

// The watchers write to standard output, which a service does not have.
void dropStandardOutput() { std::ignore = std::freopen("NUL", "w", stdout); }

bool sameFile(const fs::path& a, const fs::path& b)
{
    std::error_code ignored;  // a trace that does not exist yet is no error
    return fs::equivalent(a, b, ignored);
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 3) return fail(exitUsage, "usage: kelvane-replay SCENARIO.csv TRACE.csv");
    const fs::path scenario = argv[1];
    const fs::path trace = argv[2];
    if (sameFile(scenario, trace)) return fail(exitUsage, "the trace would overwrite the scenario " + toUtf8(scenario));
    dropStandardOutput();
    try {
        return run(scenario, trace);
    } catch (const MalformedScenario& error) {
        return fail(exitMalformed, error.what());
    } catch (const std::exception& error) {
        return fail(exitUnwritable, std::string("the replay failed: ") + error.what());
    }
}
