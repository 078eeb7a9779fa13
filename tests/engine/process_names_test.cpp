#include "engine/process_names.h"
#include "engine/state.h"
#include "state/state.h"
#include "tests/support/call_list.h"
#include "tests/support/rows.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

struct ListedRow {
    const char* name;
    int tracked = 0;
};

class ListedProcess : public WithRow<testing::Test, ListedRow> {};

TEST_ROWS(ListedProcess, ROW(.name = "OneDrive.exe", .tracked = 1), ROW(.name = "FileCoAuth.exe", .tracked = 1),
          ROW(.name = "Microsoft OneDrive", .tracked = 1), ROW(.name = "SearchIndexer.exe", .tracked = 1),
          // in the background
          ROW(.name = "UserOOBEBroker.exe"), ROW(.name = "backgroundTaskHost.exe"), ROW(.name = "svchost.exe"),
          ROW(.name = "MoUsoCoreWorker.exe"), ROW(.name = "RuntimeBroker.exe"), ROW(.name = "conhost.exe"),
          ROW(.name = "BackgroundDownload.exe"), ROW(.name = "pacjsworker.exe"), ROW(.name = "ServiceManager.exe"),
          ROW(.name = "SearchProtocolHost.exe"), ROW(.name = "taskhostw.exe"), ROW(.name = "WmiPrvSE.exe"),
          ROW(.name = "SecurityHealthHost.exe"), ROW(.name = "smartscreen.exe"),
          ROW(.name = "OneDriveStandaloneUpdater.exe"), ROW(.name = "wermgr.exe"), ROW(.name = "WMIADAP.exe"),
          ROW(.name = "lrio.exe"), ROW(.name = "sppsvc.exe"), ROW(.name = "MpCmdRun.exe"));

TEST_ROW(ListedProcess, AsksForNothingAndIsRecordedWhenItIsTracked)
{
    EXPECT_EQ(classifyProcessStart(row().name, 20), 0);

    EXPECT_EQ(g_trackedProcessSeen, row().tracked);
    EXPECT_EQ(g_trackedProcessIdCount, row().tracked);
    EXPECT_EQ(g_trackedProcessIds[0], row().tracked * 20);
}

TEST(ProcessNames, AnyOtherNameIsUnlistedDownToTheLastByte)
{
    using namespace std::string_literals;
    for (const std::string& name :
         { "game.exe"s, ""s, "onedrive.exe"s, "ONEDRIVE.EXE"s, "SvcHost.exe"s, "OneDrive.exe "s, " OneDrive.exe"s,
           "OneDrive"s, "OneDrive.exe\0"s, "svchost.exe2"s }) {
        EXPECT_EQ(classifyProcessStart(name, 30), 1) << name;
    }

    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
}

TEST(ProcessNames, IdsAreStoredInTheOrderOfTheirStartUpToTen)
{
    for (int id = 101; id <= 112; ++id) EXPECT_EQ(classifyProcessStart("OneDrive.exe", id), 0);

    EXPECT_EQ(g_trackedProcessIdCount, 10);
    for (std::size_t i = 0; i < 10; ++i) EXPECT_EQ(g_trackedProcessIds[i], 101 + static_cast<int>(i));
}

TEST(ProcessNames, IdIsStoredBeforeItIsCounted)
{
    const StoreWatch watch(
        { WATCHED(g_trackedProcessSeen), WATCHED(g_trackedProcessIds[0]), WATCHED(g_trackedProcessIdCount) },
        noteStore);

    classifyProcessStart("OneDrive.exe", 20);

    EXPECT_THAT(noted(), testing::ElementsAre("store g_trackedProcessSeen 1", "store g_trackedProcessIds[0] 20",
                                              "store g_trackedProcessIdCount 1"));
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
