#include "engine/state.h"
#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/engine/process_start.h"

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char startLine[] = "2  Starting pName = NAPID4711";

TEST_F(ProcessStart, UnlistedProcessRaisesTheCeilingAtOnceAndSavesTheOneInForce)
{
    clipPending = 1;

    EXPECT_EQ(indicate(1), 0);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_EQ(PrevPerf, 1200);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(appliedPrefMax, 10000);
    EXPECT_EQ(processName(), "game.exe");
    EXPECT_EQ(g_lastProcessId, 4711);
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

TEST_F(ProcessStart, BatchOfThreeHandlesTheFirstObjectThreeTimes)
{
    indicate(3);

    EXPECT_THAT(machine.messages(), ElementsAre(startLine, startLine, startLine));
    EXPECT_EQ(noOfPids, 3);
    EXPECT_EQ(instance.references, 1);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProcessStart, BatchOfElevenCountsElevenStarts)
{
    indicate(11);

    EXPECT_EQ(machine.messages().size(), 11U);
    EXPECT_EQ(noOfPids, 11);
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
    clipPending = 1;
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
    event.beforeGet = [&](const std::wstring&) { markAtFirstRead = PID_Change; };

    indicate(1);

    EXPECT_EQ(markAtFirstRead, 0);
}

TEST_F(ProcessStart, WhileTheEngineDoesNotRunAServiceStopBecomesAStopOfScalingAndNothingElseHappens)
{
    for (const int state : { 0, 2, 4 }) {
        SCOPED_TRACE(state);
        g_engineState = state;
        g_serviceStopping = 1;
        PID_Change = 1;
        clipPending = 1;

        EXPECT_EQ(indicate(3), 0);

        EXPECT_EQ(g_serviceStopping, 0);
        EXPECT_EQ(g_engineState, state);
        EXPECT_EQ(PID_Change, 1);
        EXPECT_EQ(clipPending, 1);
        EXPECT_EQ(noOfPids, 0);
        EXPECT_THAT(noted(), IsEmpty());
        EXPECT_THAT(machine.happened(), IsEmpty());
    }
}

TEST_F(ProcessStart, WhileTheEngineRunsAPendingServiceStopStays)
{
    g_serviceStopping = 1;

    indicate(1);

    EXPECT_EQ(g_serviceStopping, 1);
}

TEST_F(ProcessStart, BackgroundProcessRaisesNothingButTheCeilingInForceIsSavedAllTheSame)
{
    instance.set(L"Name", textValue(L"svchost.exe"));
    clipPending = 1;

    indicate(1);

    EXPECT_EQ(noOfPids, 0);
    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(g_trackedProcessIdCount, 0);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(PrevPerf, 1200);
    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_THAT(machine.messages(), ElementsAre(startLine));
}

TEST_F(ProcessStart, TrackedProcessIsRecordedAndRaisesNothing)
{
    instance.set(L"Name", textValue(L"OneDrive.exe"));

    indicate(1);

    EXPECT_EQ(g_trackedProcessSeen, 1);
    EXPECT_EQ(g_trackedProcessIdCount, 1);
    EXPECT_EQ(g_trackedProcessIds[0], 4711);
    EXPECT_EQ(noOfPids, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProcessStart, TrackedNameInOtherCaseIsUnlisted)
{
    instance.set(L"Name", textValue(L"onedrive.exe"));

    indicate(1);

    EXPECT_EQ(g_trackedProcessSeen, 0);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProcessStart, ListedProcessStillRaisesTheCeilingWhileEarlierStartsAreNotConsumed)
{
    instance.set(L"Name", textValue(L"svchost.exe"));
    noOfPids = 2;

    indicate(1);

    EXPECT_EQ(noOfPids, 2);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProcessStart, FullPerformanceInForceIsNotSavedAsTheCeilingToReturnTo)
{
    instance.set(L"Name", textValue(L"svchost.exe"));
    appliedPrefMax = 10000;
    PrevPerf = 2500;

    indicate(1);

    EXPECT_EQ(PrevPerf, 2500);
}

TEST_F(ProcessStart, CeilingJustBelowFullPerformanceIsSaved)
{
    instance.set(L"Name", textValue(L"svchost.exe"));
    appliedPrefMax = 9999;
    PrevPerf = 2500;

    indicate(1);

    EXPECT_EQ(PrevPerf, 9999);
}

TEST_F(ProcessStart, StartsOfSeveralBatchesAddUp)
{
    indicate(2);
    indicate(1);

    EXPECT_EQ(noOfPids, 3);
}

}  // namespace
}  // namespace kelvane::tests
