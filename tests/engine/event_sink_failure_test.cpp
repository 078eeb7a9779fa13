#include "engine/state.h"
#include "state/state.h"
#include "tests/engine/process_start.h"
#include "tests/support/import_swap.h"

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

HRESULT conversionResult;

HRESULT WINAPI failingConversion(VARIANTARG* /*to*/, VARIANTARG* /*from*/, USHORT /*flags*/, VARTYPE /*type*/)
{
    return conversionResult;
}

DWORD WINAPI noSystemMessage(DWORD, LPCVOID, DWORD, DWORD, LPSTR, DWORD, va_list*) { return 0; }

DWORD WINAPI someSystemMessage(DWORD, LPCVOID, DWORD, DWORD, LPSTR buffer, DWORD, va_list*)
{
    constexpr char text[] = "Type mismatch.\r\n";
    const auto copy = static_cast<char*>(LocalAlloc(0, sizeof text));
    std::copy(std::begin(text), std::end(text), copy);
    *reinterpret_cast<char**>(buffer) = copy;
    return sizeof text - 1;
}

TEST_F(ProcessStart, ObjectWithoutTargetInstanceIsLoggedAndTheNextPassIsTaken)
{
    event.fail(L"TargetInstance", notFound);
    clipPending = 1;

    EXPECT_EQ(indicate(2), 0);

    EXPECT_THAT(machine.messages(), ElementsAre("4 Failed to get TargetInstance in apObjArray[i]:-2147217406",
                                                "4 Failed to get TargetInstance in apObjArray[i]:-2147217406"));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(clipPending, 1);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProcessStart, PassThatFailsLeavesTheMarkThatAnEarlierPassHasSet)
{
    int reads = 0;
    event.beforeGet = [&](const std::wstring&) {
        if (++reads == 2) event.fail(L"TargetInstance", notFound);
    };

    indicate(2);

    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProcessStart, TargetThatIsNoClassObjectIsLoggedReleasedAndPassedOver)
{
    instance.queried = E_NOINTERFACE;

    EXPECT_EQ(indicate(2), 0);

    EXPECT_THAT(machine.messages(), ElementsAre("4 Failed to get IID_IWbemClassObject in TargetInstance:-2147467262",
                                                "4 Failed to get IID_IWbemClassObject in TargetInstance:-2147467262"));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(instance.references, 1);
}

TEST_F(ProcessStart, NullInterfaceAsTargetIsAFailedQueryAndNotFollowed)
{
    event.set(L"TargetInstance", unknownValue(nullptr));

    EXPECT_EQ(indicate(1), 0);

    EXPECT_THAT(machine.messages(),
                ElementsAre(testing::StartsWith("4 Failed to get IID_IWbemClassObject in TargetInstance:-")));
    EXPECT_EQ(PID_Change, 0);
}

TEST_F(ProcessStart, TargetThatIsNoInterfaceEndsTheBatchWithThreeLines)
{
    const ImportSwap format(__imp_FormatMessageA, &someSystemMessage);
    event.set(L"TargetInstance", numberValue(7));

    EXPECT_EQ(indicate(3), 0);

    EXPECT_THAT(machine.messages(), ElementsAre("4 caught _com_error:-2147352571",
                                                "4 caught Description:", "4 caught ErrorMessage:Type mismatch."));
    EXPECT_EQ(notedOf("event.Get").size(), 1U);
    EXPECT_EQ(PID_Change, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(ProcessStart, ErrorCodeWithoutASystemMessageIsDescribedByItsNumber)
{
    struct Row {
        HRESULT code;
        const char* error;
        const char* message;
    };

    const ImportSwap format(__imp_FormatMessageA, &noSystemMessage);
    const ImportSwap convert(__imp_VariantChangeType, &failingConversion);
    event.set(L"TargetInstance", numberValue(7));
    for (const Row& row : { Row{ static_cast<HRESULT>(0x80020005), "4 caught _com_error:-2147352571",
                                 "4 caught ErrorMessage:Unknown error 0x80020005" },
                            Row{ static_cast<HRESULT>(0x80040205), "4 caught _com_error:-2147220987",
                                 "4 caught ErrorMessage:IDispatch error #5" } }) {
        SCOPED_TRACE(row.message);
        machine.forget();
        conversionResult = row.code;

        indicate(1);

        EXPECT_THAT(machine.messages(), ElementsAre(row.error, "4 caught Description:", row.message));
    }
}

TEST_F(ProcessStart, BatchThatAnErrorEndedStillRaisesTheCeilingForThePassesBefore)
{
    int reads = 0;
    event.beforeGet = [&](const std::wstring&) {
        if (++reads == 2) event.set(L"TargetInstance", numberValue(7));
    };
    clipPending = 1;

    EXPECT_EQ(indicate(3), 0);

    EXPECT_EQ(reads, 2);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(PrevPerf, 1200);
    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 10000"));
}

TEST_F(ProcessStart, MissingProcessIdIsNoReasonToPassTheProcessOver)
{
    instance.fail(L"ProcessId", notFound);

    indicate(1);

    EXPECT_EQ(PID_Change, 1);
    EXPECT_EQ(noOfPids, 1);
    EXPECT_THAT(machine.messages(), ElementsAre(testing::StartsWith("2  Starting pName = NAPID")));
}

TEST_F(ProcessStart, ProcessIdIsTakenAsASigned32BitNumber)
{
    instance.set(L"ProcessId", numberValue(-5));

    indicate(1);

    EXPECT_EQ(g_lastProcessId, -5);
    EXPECT_THAT(machine.messages(), ElementsAre("2  Starting pName = NAPID-5"));
}

TEST_F(ProcessStart, MissingNameIsLoggedAndTheNameBeforeIsClassifiedAgain)
{
    setProcessName("OneDrive.exe");
    instance.fail(L"Name", notFound);

    indicate(1);

    EXPECT_THAT(machine.messages(), ElementsAre("4 Failed to get Name:-2147217406", "2  Starting pName = NAPID4711"));
    EXPECT_EQ(processName(), "OneDrive.exe");
    EXPECT_EQ(g_trackedProcessIds[0], 4711);
    EXPECT_EQ(noOfPids, 0);
}

TEST_F(ProcessStart, NullNameLeavesTheNameBeforeWhichIsClassifiedAgain)
{
    setProcessName("OneDrive.exe");
    instance.set(L"Name", valueOfType(VT_NULL));

    indicate(1);

    EXPECT_EQ(processName(), "OneDrive.exe");
    EXPECT_EQ(g_trackedProcessIdCount, 1);
    EXPECT_EQ(noOfPids, 0);
    EXPECT_THAT(machine.messages(), ElementsAre("2  Starting pName = NAPID4711"));
}

TEST_F(ProcessStart, NameThatCannotBeATextIsLoggedAndTheProcessHandledUnderTheNameBefore)
{
    setProcessName("game.exe");
    instance.set(L"Name", unknownValue(&event));

    indicate(1);

    EXPECT_THAT(machine.messages(), ElementsAre("4 caught _com_error:", "4 caught Description:",
                                                "4 caught ErrorMessage:", "2  Starting pName = NAPID4711"));
    EXPECT_EQ(noOfPids, 1);
    EXPECT_EQ(event.references, 1);
}

TEST_F(ProcessStart, NoExceptionOfAnyKindReachesWmi)
{
    event.beforeGet = [](const std::wstring&) { throw std::runtime_error("out of something"); };

    EXPECT_EQ(indicate(1), 0);

    EXPECT_THAT(machine.happened(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
