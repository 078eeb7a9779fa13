// kelvane-policy POLICY SCENARIO.csv FOLDER: the same work under another hand; writes what became of it to the folder.
//
// trace.csv is the trace of a replay; jobs.csv and totals.csv are measures (simulator/replay/measures.h). Exit codes
// are those of kelvane-replay.
#include "simulator/formats/demand.h"
#include "simulator/replay/measures.h"
#include "simulator/replay/new_file.h"
#include "simulator/replay/policies.h"
#include "simulator/replay/replay_command.h"

namespace {

namespace fs = std::filesystem;
using namespace kelvane::simulator;

using WriteMeasures = void (Measures::*)(std::ostream&) const;

int writeMeasures(const Measures& measures, WriteMeasures write, const fs::path& path)
{
    NewFile file(path);
    (measures.*write)(file.stream());
    const std::string reason = file.keep();
    return reason.empty() ? exitReplayed : fail(exitUnwritable, toUtf8(path) + ": cannot be written: " + reason);
}

int run(const Policy& policy, const fs::path& path, const fs::path& folder)
{
    const Scenario scenario = readScenario(path);
    if (!processorOf(scenario))
        return fail(exitMalformed, toUtf8(path) + ":1: the scenario has no job and no processor");
    Measures measures(scenario);
    const auto onTick = [&](const ProcessorModel& processor) { measures.take(processor); };
    const int code = replayToFile(scenario, folder / "trace.csv", { policy.run, policy.watchesProcesses, onTick });
    if (code != exitReplayed) return code;
    const int jobsCode = writeMeasures(measures, &Measures::writeJobs, folder / "jobs.csv");
    return jobsCode != exitReplayed ? jobsCode : writeMeasures(measures, &Measures::writeTotals, folder / "totals.csv");
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    if (argc != 4) return fail(exitUsage, "usage: kelvane-policy POLICY SCENARIO.csv FOLDER");
    const Policy* const policy = findPolicy(toUtf8(argv[1]));
    if (!policy) return fail(exitUsage, "unknown policy " + toUtf8(argv[1]));
    return runCommand([&] { return run(*policy, argv[2], argv[3]); });
}
