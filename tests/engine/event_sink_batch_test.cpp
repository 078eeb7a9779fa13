#include "engine/event_sink.h"

#include "controller/state.h"
#include "engine/state.h"
#include "state/state.h"
#include "tests/engine/fake_wmi.h"
#include "tests/support/failing_calls.h"
#include "tests/support/import_swap.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

#include <cstring>
#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char startLine[] = "2  Starting pName = NAPID4711";
constexpr char fullPerformance[] = "SET_PERF_PREFERENCE_MAX 10000";

// "game.exe" with the id 4711 starts as WMI tells it, 1200 is the ceiling in force, and a write of the ceiling leaves
// the floor alone.
class ProcessStart : public testing::Test {
protected:
    ProcessStart()
    {
        event.set(L"TargetInstance", unknownValue(&instance));
        instance.set(L"Name", textValue(L"game.exe"));
        instance.set(L"ProcessId", numberValue(4711));
        appliedPrefMax = 1200;
        minPrefReset = 0;
        clipPending = 1;
        forgetNotes();
    }

    // A batch of `objectCount` in which every object but the first would crash when touched.
    void indicate(LONG objectCount)
    {
        IWbemClassObject* objects[] = { &event };
        EXPECT_EQ(sink.Indicate(objectCount, objects), 0);
    }

    SimulatedMachine machine;
    FakeClassObject instance{ "instance" };
    FakeClassObject event{ "event" };
    EventSink sink;
};

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

TEST_ROW(OneStart, IsRecordedSavesTheCeilingInForceAndRaisesItWhileStartsAreNotConsumed)
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

TEST_F(ProcessStart, EachPropertyIsReadOnceEachReferenceGivenBackAndEachVariableStoredInThisOrder)
{
    noteLog();
    instance.beforeGet = [] { note("name " + processName()); };
    testing::internal::CaptureStdout();
    const StoreWatch watch({ WATCHED(PID_Change), WATCHED(g_lastProcessId), WATCHED(noOfPids), WATCHED(clipPending),
                             WATCHED(PrevPerf), WATCHED(appliedPrefMax) },
                           noteStore);

    indicate(1);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Name: game.exe");
    EXPECT_THAT(noted(),
                ElementsAre("store PID_Change 0", "event.Get TargetInstance, 0, null, null", "release instance",
                            "instance.Get Name, 0, null, null", "name ", "instance.Get ProcessId, 0, null, null",
                            "name game.exe", "store g_lastProcessId 4711", "store noOfPids 1", "release instance",
                            "store PID_Change 1", "log 2  Starting pName = NAPID4711", "release instance",
                            "store clipPending 0", "store PrevPerf 1200",
                            // setPerfmax
                            "store PrevPerf 1200", "store appliedPrefMax 10000", "store clipPending 0"));
    EXPECT_EQ(instance.references, 1);
    EXPECT_EQ(event.references, 0);
}

TEST_F(ProcessStart, SuccessOfAnyKindCountsAsSuccess)
{
    event.answer = S_FALSE;
    instance.answer = S_FALSE;

    indicate(1);

    EXPECT_THAT(machine.messages(), ElementsAre(startLine));
    EXPECT_EQ(processName(), "game.exe");
}

TEST_F(ProcessStart, BatchOfElevenHandlesItsFirstObjectElevenTimes)
{
    indicate(11);

    EXPECT_EQ(machine.messages(), std::vector<std::string>(11, startLine));
    EXPECT_EQ(noOfPids, 11);
    EXPECT_EQ(instance.references, 1);
    EXPECT_THAT(machine.writes(), ElementsAre(fullPerformance));
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

struct EngineStateRow {
    int engineState;
};

class WithoutEngine : public WithRow<ProcessStart, EngineStateRow> {};

TEST_ROWS(WithoutEngine, ROW(.engineState = 0), ROW(.engineState = 2), ROW(.engineState = 4));

TEST_ROW(WithoutEngine, AServiceStopBecomesAStopOfScalingAndNothingElseHappens)
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

HRESULT conversionResult;

HRESULT WINAPI failingConversion(VARIANTARG* /*to*/, VARIANTARG* /*from*/, USHORT /*flags*/, VARTYPE /*type*/)
{
    return conversionResult;
}

const char* systemMessage;

DWORD WINAPI formatMessage(DWORD, LPCVOID, DWORD, DWORD, LPSTR buffer, DWORD, va_list*)
{
    if (!systemMessage) return 0;
    const std::size_t length = std::strlen(systemMessage);
    *reinterpret_cast<char**>(buffer) = static_cast<char*>(LocalAlloc(0, length + 1));
    std::memcpy(*reinterpret_cast<char**>(buffer), systemMessage, length + 1);
    return static_cast<DWORD>(length);
}

struct TargetRow {
    const char* failing;
    const char* line;
};

class WithoutTarget : public WithRow<ProcessStart, TargetRow> {};

TEST_ROWS(WithoutTarget,
          ROW(.failing = "event.Get TargetInstance",
              .line = "4 Failed to get TargetInstance in apObjArray[i]:-2147467259"),
          ROW(.failing = "instance.QueryInterface",
              .line = "4 Failed to get IID_IWbemClassObject in TargetInstance:-2147467259"));

TEST_ROW(WithoutTarget, AnObjectIsLoggedAndThePassOverItLeavesNothingBehind)
{
    failCalls({ row().failing });

    indicate(2);

    EXPECT_THAT(machine.messages(), ElementsAre(row().line, row().line));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(clipPending, 1);
    EXPECT_THAT(machine.writes(), IsEmpty());
    EXPECT_EQ(instance.references, 1);
}

TEST_F(ProcessStart, NullInterfaceAsTargetIsAFailedQueryAndNotFollowed)
{
    event.set(L"TargetInstance", unknownValue(nullptr));

    indicate(1);

    EXPECT_THAT(machine.messages(),
                ElementsAre(testing::StartsWith("4 Failed to get IID_IWbemClassObject in TargetInstance:-")));
    EXPECT_EQ(PID_Change, 0);
}

TEST_F(ProcessStart, PassThatFailsLeavesTheMarkThatAnEarlierPassHasSet)
{
    int reads = 0;
    event.beforeGet = [&] {
        if (++reads == 2) failCalls({ "event.Get TargetInstance" });
    };

    indicate(2);

    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_THAT(machine.writes(), ElementsAre(fullPerformance));
}

struct ErrorRow {
    HRESULT code = static_cast<HRESULT>(0x80020005);
    const char* systemMessage = nullptr;
    const char* error = "4 caught _com_error:-2147352571";
    const char* message;
};

class NoInterface : public WithRow<ProcessStart, ErrorRow> {};

TEST_ROWS(NoInterface, ROW(.systemMessage = "Type mismatch.\r\n", .message = "4 caught ErrorMessage:Type mismatch."),
          // what the system has no words for is described by its number
          ROW(.message = "4 caught ErrorMessage:Unknown error 0x80020005"),
          ROW(.code = static_cast<HRESULT>(0x80040205), .error = "4 caught _com_error:-2147220987",
              .message = "4 caught ErrorMessage:IDispatch error #5"));

TEST_ROW(NoInterface, AsTargetEndsTheBatchWithThreeLines)
{
    const ImportSwap format(__imp_FormatMessageA, &formatMessage);
    const ImportSwap convert(__imp_VariantChangeType, &failingConversion);
    conversionResult = row().code;
    systemMessage = row().systemMessage;
    event.set(L"TargetInstance", numberValue(7));

    indicate(3);

    EXPECT_THAT(machine.messages(), ElementsAre(row().error, "4 caught Description:", row().message));
    EXPECT_EQ(notedOf("event.Get").size(), 1U);
    EXPECT_EQ(PID_Change, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProcessStart, BatchThatAnErrorEndedStillRaisesTheCeilingForThePassesBefore)
{
    int reads = 0;
    event.beforeGet = [&] {
        if (++reads == 2) event.set(L"TargetInstance", numberValue(7));
    };

    indicate(3);

    EXPECT_EQ(reads, 2);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(PrevPerf, 1200);
    EXPECT_THAT(machine.writes(), ElementsAre(fullPerformance));
}

TEST_F(ProcessStart, MissingProcessIdCountsAsZeroAndIsNoReasonToPassTheProcessOver)
{
    failCalls({ "instance.Get ProcessId" });

    indicate(1);

    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_THAT(machine.messages(), ElementsAre("2  Starting pName = NAPID0"));
}

TEST_F(ProcessStart, ProcessIdIsTakenAsASigned32BitNumber)
{
    instance.set(L"ProcessId", numberValue(-5));

    indicate(1);

    EXPECT_EQ(g_lastProcessId, -5);
    EXPECT_THAT(machine.messages(), ElementsAre("2  Starting pName = NAPID-5"));
}

struct NameRow {
    const char* failing = "";
    VARIANT name = valueOfType(VT_EMPTY);
    std::vector<std::string> messages;
};

class WithoutName : public WithRow<ProcessStart, NameRow> {};

TEST_ROWS(WithoutName,
          ROW(.failing = "instance.Get Name", .messages = { "4 Failed to get Name:-2147467259", startLine }),
          ROW(.name = valueOfType(VT_NULL), .messages = { startLine }),
          ROW(.name = unknownValue(nullptr),
              .messages = { "4 caught _com_error:", "4 caught Description:", "4 caught ErrorMessage:", startLine }));

TEST_ROW(WithoutName, AProcessIsHandledUnderTheNameBefore)
{
    setProcessName("OneDrive.exe");
    failCalls({ row().failing });
    instance.set(L"Name", row().name);

    indicate(1);

    EXPECT_THAT(machine.messages(), testing::ElementsAreArray(row().messages));
    EXPECT_EQ(processName(), "OneDrive.exe");
    EXPECT_EQ(g_trackedProcessIds[0], 4711);
    EXPECT_EQ(noOfPids, 0);
}

TEST_F(ProcessStart, NoExceptionOfAnyKindReachesWmi)
{
    event.beforeGet = [] { throw std::runtime_error("out of something"); };
    indicate(1);
    event.beforeGet = [] { throw 7; };
    indicate(1);

    EXPECT_THAT(machine.happened(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
