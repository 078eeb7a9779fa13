#include "engine/process_names.h"
#include "engine/state.h"
#include "state/state.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

TEST(ProcessNames, TrackedProcessesAreListedAndRecordedInTheOrderOfTheirStart)
{
    EXPECT_EQ(classifyProcessStart("OneDrive.exe", 11), 0);
    EXPECT_EQ(classifyProcessStart("FileCoAuth.exe", 12), 0);
    EXPECT_EQ(classifyProcessStart("Microsoft OneDrive", 13), 0);
    EXPECT_EQ(classifyProcessStart("SearchIndexer.exe", 14), 0);

    EXPECT_EQ(g_trackedProcessSeen, 1);
    EXPECT_EQ(g_trackedProcessIdCount, 4);
    EXPECT_EQ(g_trackedProcessIds[0], 11);
    EXPECT_EQ(g_trackedProcessIds[1], 12);
    EXPECT_EQ(g_trackedProcessIds[2], 13);
    EXPECT_EQ(g_trackedProcessIds[3], 14);
}

TEST(ProcessNames, BackgroundProcessesAreListedAndLeaveNothingBehind)
{
    for (const char* const name : { "UserOOBEBroker.exe",
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
                                    "MpCmdRun.exe" }) {
        SCOPED_TRACE(name);

        EXPECT_EQ(classifyProcessStart(name, 20), 0);
    }

    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
}

TEST(ProcessNames, AnyOtherNameIsUnlistedDownToTheLastByte)
{
    for (const std::string& name :
         { std::string("game.exe"), std::string(""), std::string("onedrive.exe"), std::string("ONEDRIVE.EXE"),
           std::string("SvcHost.exe"), std::string("OneDrive.exe "), std::string(" OneDrive.exe"),
           std::string("OneDrive"), std::string("OneDrive.exe\0", 13), std::string("svchost.exe2") }) {
        SCOPED_TRACE(name);

        EXPECT_EQ(classifyProcessStart(name, 30), 1);
    }

    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
}

TEST(ProcessNames, TheEleventhTrackedIdIsNotStoredAndTheCountStopsAtTen)
{
    for (int id = 101; id <= 112; ++id) EXPECT_EQ(classifyProcessStart("OneDrive.exe", id), 0);

    EXPECT_EQ(g_trackedProcessIdCount, 10);
    EXPECT_EQ(g_trackedProcessIds[0], 101);
    EXPECT_EQ(g_trackedProcessIds[9], 110);
}

TEST(ProcessNames, TheEleventhTrackedProcessIsSeenAllTheSame)
{
    g_trackedProcessIdCount = 10;

    EXPECT_EQ(classifyProcessStart("SearchIndexer.exe", 40), 0);

    EXPECT_EQ(g_trackedProcessSeen, 1);
}

TEST(ProcessNames, IdsAreStoredFromTheFrontAgainOnceTheCountWasReset)
{
    classifyProcessStart("OneDrive.exe", 51);
    g_trackedProcessIdCount = 0;

    classifyProcessStart("OneDrive.exe", 52);

    EXPECT_EQ(g_trackedProcessIds[0], 52);
    EXPECT_EQ(g_trackedProcessIdCount, 1);
}

}  // namespace
}  // namespace kelvane::tests
