// The two lists of processes whose start changes nothing, and the look-up in them.
#include "engine/process_names.h"

#include "engine/state.h"
#include "state/state.h"

#include <algorithm>
#include <array>

namespace kelvane {

namespace {

// Never destroyed: WMI's threads outlive main. The third name is no executable's and never matches.
const auto& kTrackedProcessNames = *new std::array<std::string, 4>{
    "OneDrive.exe",
    "FileCoAuth.exe",
    "Microsoft OneDrive",
    "SearchIndexer.exe",
};

const auto& kBackgroundProcessNames = *new std::array<std::string, 20>{
    "UserOOBEBroker.exe",
    "backgroundTaskHost.exe",
    "svchost.exe",
    "MoUsoCoreWorker.exe",
    "RuntimeBroker.exe",
    "conhost.exe",
    "BackgroundDownload.exe",
    "pacjsworker.exe",
    "ServiceManager.exe",
    "SearchProtocolHost.exe",
    "taskhostw.exe",
    "WmiPrvSE.exe",
    "SecurityHealthHost.exe",
    "smartscreen.exe",
    "OneDriveStandaloneUpdater.exe",
    "wermgr.exe",
    "WMIADAP.exe",
    "lrio.exe",
    "sppsvc.exe",
    "MpCmdRun.exe",
};

template<class Names>
bool holds(const Names& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

void recordTrackedProcess(int processId)
{
    g_trackedProcessSeen = 1;
    const int count = g_trackedProcessIdCount;
    if (count < 0 || static_cast<std::size_t>(count) >= g_trackedProcessIds.size()) return;
    g_trackedProcessIds[static_cast<std::size_t>(count)] = processId;
    g_trackedProcessIdCount = count + 1;
}

}  // namespace

int classifyProcessStart(const std::string& name, int processId)
{
    const bool tracked = holds(kTrackedProcessNames, name);
    if (tracked) recordTrackedProcess(processId);
    if (holds(kBackgroundProcessNames, name)) return 0;
    return tracked ? 0 : 1;
}

}  // namespace kelvane
