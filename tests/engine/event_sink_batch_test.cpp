#include "tests/engine/process_start.h"

namespace kelvane::tests {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// One start, of a process by this name.
struct StartRow {
    const wchar_t* name;
    const char* stored;
    int noOfPids = 0;
    int ceiling = 1200;
    int starts;  // that the loop has not consumed
    int saved = 1200;
    int tracked = 0;
};

class OneStart : public WithRow<ProcessStart, StartRow> {};

TEST_ROWS(OneStart, ROW(.name = L"game.exe", .stored = "game.exe", .starts = 1),
          ROW(.name = L"onedrive.exe", .stored = "onedrive.exe", .starts = 1),
          ROW(.name = L"OneDrive.exe", .stored = "OneDrive.exe", .starts = 0, .tracked = 1),
          ROW(.name = L"svchost.exe", .stored = "svchost.exe", .starts = 0),
          // full performance is not the ceiling to return to
          ROW(.name = L"svchost.exe", .stored = "svchost.exe", .ceiling = 10000, .starts = 0, .saved = 77),
          ROW(.name = L"svchost.exe", .stored = "svchost.exe", .ceiling = 9999, .starts = 0, .saved = 9999),
          // earlier starts are not consumed yet
          ROW(.name = L"svchost.exe", .stored = "svchost.exe", .noOfPids = 2, .starts = 2),
          ROW(.name = L"game.exe", .stored = "game.exe", .noOfPids = 2, .starts = 3));

TEST_P(OneStart, IsRecordedSavesTheCeilingInForceAndRaisesItWhileStartsAreNotConsumed)
{
    instance.set(L"Name", textValue(row().name));
    noOfPids = row().noOfPids;
    appliedPrefMax = row().ceiling;
    PrevPerf = 77;
    g_serviceStopping = 1;

    indicate(1);

    if (row().starts > 0) {
        EXPECT_THAT(machine.writes(), ElementsAre(fullPerformance));
    } else {
        EXPECT_THAT(machine.writes(), IsEmpty());
    }
    EXPECT_EQ(appliedPrefMax, row().starts > 0 ? 10000 : row().ceiling);
    EXPECT_EQ(noOfPids, row().starts);
    EXPECT_EQ(PrevPerf, row().saved);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(processName(), row().stored);
    EXPECT_EQ(g_lastProcessId, 4711);
    EXPECT_EQ(g_trackedProcessSeen, row().tracked);
    EXPECT_EQ(g_trackedProcessIdCount, row().tracked);
    EXPECT_EQ(g_trackedProcessIds[0], row().tracked * 4711);
    EXPECT_EQ(g_serviceStopping, 1);
    EXPECT_THAT(machine.messages(), ElementsAre(startLine));
}

TEST_F(ProcessStart, EachPropertyIsReadOnceAndEachReferenceGivenBackInOrder)
{
    noteLog();

    indicate(1);

    EXPECT_THAT(noted(), ElementsAre("event.Get TargetInstance, 0, null, null", "release instance",
                                     "instance.Get Name, 0, null, null", "instance.Get ProcessId, 0, null, null",
                                     "release instance", "log 2  Starting pName = NAPID4711", "release instance"));
    EXPECT_EQ(instance.references, 1);
    EXPECT_EQ(event.references, 0);
}

struct BatchRow {
    LONG objects;
    unsigned lines;
    int starts;
};

class Batch : public WithRow<ProcessStart, BatchRow> {};

TEST_ROWS(Batch, ROW(.objects = 3, .lines = 3, .starts = 3), ROW(.objects = 11, .lines = 11, .starts = 11));

TEST_P(Batch, HandlesItsFirstObjectOnceForEach)
{
    indicate(row().objects);

    EXPECT_THAT(machine.messages(), testing::AllOf(SizeIs(row().lines), Each(startLine)));
    EXPECT_EQ(noOfPids, row().starts);
    EXPECT_EQ(instance.references, 1);
    EXPECT_THAT(machine.writes(), ElementsAre(fullPerformance));
}

TEST_F(ProcessStart, StartsOfSeveralBatchesAddUp)
{
    indicate(2);
    indicate(1);

    EXPECT_EQ(noOfPids, 3);
}

TEST_F(ProcessStart, BatchOfElevenTrackedStartsStoresTenIds)
{
    instance.set(L"Name", textValue(L"OneDrive.exe"));

    indicate(11);

    EXPECT_EQ(g_trackedProcessIdCount, 10);
    EXPECT_EQ(g_trackedProcessIds[9], 4711);
    EXPECT_EQ(noOfPids, 0);
}

TEST_F(ProcessStart, EmptyBatchChangesNothingButTheMarkOfANewStart)
{
    PID_Change = 1;
    noOfPids = 5;
    PrevPerf = 77;

    EXPECT_EQ(sink.Indicate(0, nullptr), 0);

    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(clipPending, 1);
    EXPECT_EQ(noOfPids, 5);
    EXPECT_EQ(PrevPerf, 77);
    EXPECT_THAT(machine.happened(), IsEmpty());
    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(ProcessStart, BatchWithoutObjectsLogsEachAndHandlesNone)
{
    IWbemClassObject* nothing[] = { nullptr };
    const std::string line = "4 Failed to get TargetInstance in apObjArray[i]:" + std::to_string(E_POINTER);

    EXPECT_EQ(sink.Indicate(2, nullptr), 0);
    EXPECT_EQ(sink.Indicate(1, nothing), 0);

    EXPECT_THAT(machine.messages(), ElementsAre(line, line, line));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(noOfPids, 0);
}

TEST_F(ProcessStart, MarkOfANewStartIsTakenBackBeforeTheFirstObjectIsRead)
{
    PID_Change = 1;
    int markAtFirstRead = -1;
    event.beforeGet = [&] { markAtFirstRead = PID_Change; };

    indicate(1);

    EXPECT_EQ(markAtFirstRead, 0);
}

struct EngineStateRow {
    int engineState;
};

class WithoutEngine : public WithRow<ProcessStart, EngineStateRow> {};

TEST_ROWS(WithoutEngine, ROW(.engineState = 0), ROW(.engineState = 2), ROW(.engineState = 4));

TEST_P(WithoutEngine, AServiceStopBecomesAStopOfScalingAndNothingElseHappens)
{
    g_engineState = row().engineState;
    g_serviceStopping = 1;
    PID_Change = 1;

    indicate(3);

    EXPECT_EQ(g_serviceStopping, 0);
    EXPECT_EQ(g_engineState, row().engineState);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(clipPending, 1);
    EXPECT_EQ(noOfPids, 0);
    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_THAT(machine.happened(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
