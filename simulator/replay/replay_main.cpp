// kelvane-replay SCENARIO.csv TRACE.csv: the scaling loop in virtual time, from a file of inputs to a file of commands.
#include "controller/scaling_loop.h"
#include "simulator/replay/replay_command.h"

namespace {

namespace fs = std::filesystem;
using namespace kelvane::simulator;

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
    return runCommand([&] { return replayToFile(readScenario(scenario), trace, { kelvane::scalingLoop, true, {} }); });
}
