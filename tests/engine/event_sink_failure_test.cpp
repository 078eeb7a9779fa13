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

TEST_P(WithoutTarget, AnObjectIsLoggedAndThePassOverItLeavesNothingBehind)
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

TEST_F(ProcessStart, TargetThatIsNoInterfaceEndsTheBatchWithThreeLines)
{
    const ImportSwap format(__imp_FormatMessageA, &someSystemMessage);
    event.set(L"TargetInstance", numberValue(7));

    indicate(3);

    EXPECT_THAT(machine.messages(), ElementsAre("4 caught _com_error:-2147352571",
                                                "4 caught Description:", "4 caught ErrorMessage:Type mismatch."));
    EXPECT_EQ(notedOf("event.Get").size(), 1U);
    EXPECT_EQ(PID_Change, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

struct ErrorCodeRow {
    HRESULT code;
    const char* error;
    const char* message;
};

class ErrorCode : public WithRow<ProcessStart, ErrorCodeRow> {};

TEST_ROWS(ErrorCode,
          ROW(.code = static_cast<HRESULT>(0x80020005), .error = "4 caught _com_error:-2147352571",
              .message = "4 caught ErrorMessage:Unknown error 0x80020005"),
          ROW(.code = static_cast<HRESULT>(0x80040205), .error = "4 caught _com_error:-2147220987",
              .message = "4 caught ErrorMessage:IDispatch error #5"));

TEST_P(ErrorCode, WithoutASystemMessageIsDescribedByItsNumber)
{
    const ImportSwap format(__imp_FormatMessageA, &noSystemMessage);
    const ImportSwap convert(__imp_VariantChangeType, &failingConversion);
    event.set(L"TargetInstance", numberValue(7));
    conversionResult = row().code;

    indicate(1);

    EXPECT_THAT(machine.messages(), ElementsAre(row().error, "4 caught Description:", row().message));
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

TEST_P(WithoutName, AProcessIsHandledUnderTheNameBefore)
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

    EXPECT_THAT(machine.happened(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
