#include "engine/event_sink.h"
#include "state/state.h"
#include "tests/engine/fake_wmi.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProcessName : public testing::Test {
protected:
    ProcessName() { setProcessName("before.exe"); }

    ~ProcessName() override { VariantClear(&value); }

    // Returns what went to standard output.
    std::string store(HRESULT hr, const wchar_t* propertyName = L"Name")
    {
        testing::internal::CaptureStdout();
        storeProcessName(hr, value, propertyName);
        return testing::internal::GetCapturedStdout();
    }

    SimulatedMachine machine;
    VARIANT value = {};
};

TEST_F(ProcessName, TextIsStoredAndWrittenBehindThePropertysName)
{
    value = textValue(L"game.exe");

    EXPECT_EQ(store(S_OK), "Name: game.exe");

    EXPECT_EQ(processName(), "game.exe");
    EXPECT_THAT(machine.messages(), IsEmpty());
}

TEST_F(ProcessName, PropertysNameIsWrittenAsGiven)
{
    value = textValue(L"x");

    EXPECT_EQ(store(S_OK, L"Caption"), "Caption: x");
}

TEST_F(ProcessName, EmptyTextIsAName)
{
    value = textValue(L"");

    EXPECT_EQ(store(S_OK), "Name: ");

    EXPECT_EQ(processName(), "");
}

TEST_F(ProcessName, NullTextIsAFailedReadingAndNotFollowed)
{
    value = valueOfType(VT_BSTR);

    EXPECT_EQ(store(S_OK), "");

    EXPECT_EQ(processName(), "before.exe");
    EXPECT_THAT(machine.messages(), ElementsAre("4 Failed to get Name:0"));
}

TEST_F(ProcessName, NullValueIsNamedAndLeavesTheNameAsItWas)
{
    value = valueOfType(VT_NULL);

    EXPECT_EQ(store(S_OK), "Name: Name is null.\n");

    EXPECT_EQ(processName(), "before.exe");
    EXPECT_THAT(machine.messages(), IsEmpty());
}

TEST_F(ProcessName, EmptyValueConvertsToTheEmptyName)
{
    value = valueOfType(VT_EMPTY);

    EXPECT_EQ(store(S_OK), "Name: ");

    EXPECT_EQ(processName(), "");
}

TEST_F(ProcessName, NumberConvertsToItsDigits)
{
    value = numberValue(-42);

    EXPECT_EQ(store(S_OK), "Name: -42");

    EXPECT_EQ(processName(), "-42");
}

TEST_F(ProcessName, InterfaceDoesNotConvert)
{
    FakeUnknown object("object");
    for (IUnknown* const held : { static_cast<IUnknown*>(&object), static_cast<IUnknown*>(nullptr) }) {
        SCOPED_TRACE(held == nullptr);
        value = unknownValue(held);
        machine.forget();

        EXPECT_EQ(store(S_OK), "Name: ");

        EXPECT_EQ(processName(), "before.exe");
        EXPECT_THAT(machine.messages(),
                    ElementsAre("4 caught _com_error:", "4 caught Description:", "4 caught ErrorMessage:"));
        VariantClear(&value);
    }
    EXPECT_EQ(object.references, 0);
}

TEST_F(ProcessName, ArrayDoesNotConvert)
{
    value = valueOfType(VT_ARRAY | VT_I4);
    V_ARRAY(&value) = SafeArrayCreateVector(VT_I4, 0, 2);

    store(S_OK);

    EXPECT_EQ(processName(), "before.exe");
    EXPECT_THAT(machine.messages(),
                ElementsAre("4 caught _com_error:", "4 caught Description:", "4 caught ErrorMessage:"));
}

TEST_F(ProcessName, FailedReadingIsLoggedWithItsSignedResultAndItsValueNotLookedAt)
{
    value = textValue(L"game.exe");

    EXPECT_EQ(store(notFound), "");

    EXPECT_EQ(processName(), "before.exe");
    EXPECT_THAT(machine.messages(), ElementsAre("4 Failed to get Name:-2147217406"));
}

TEST_F(ProcessName, ReadingThatSucceededWithAWarningCounts)
{
    value = textValue(L"game.exe");

    store(S_FALSE);

    EXPECT_EQ(processName(), "game.exe");
}

TEST_F(ProcessName, CallersValueIsLeftAsItWas)
{
    value = textValue(L"game.exe");

    store(S_OK);

    EXPECT_EQ(V_VT(&value), VT_BSTR);
    EXPECT_EQ(std::wstring(V_BSTR(&value)), L"game.exe");
}

TEST_F(ProcessName, ReadersAndClearersNeverSeeHalfAName)
{
    const std::string one(200, 'a');
    const std::string other(300, 'b');
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i) setProcessName(i % 2 == 0 ? one : other);
    });
    int torn = 0;
    for (int i = 0; i < 2000; ++i) {
        const std::string seen = processName();
        if (seen != one && seen != other && !seen.empty() && seen != "before.exe") torn += 1;
        if (i % 7 == 0) clearProcessName();
    }
    writer.join();

    EXPECT_EQ(torn, 0);
}

TEST(SinkStatus, CompletionIsPrintedWithItsResultInHexadecimal)
{
    EventSink sink;
    testing::internal::CaptureStdout();

    EXPECT_EQ(sink.SetStatus(0, static_cast<HRESULT>(0x80041032), nullptr, nullptr), 0);
    EXPECT_EQ(sink.SetStatus(0, 0, nullptr, nullptr), 0);

    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Call complete. hResult = 0x80041032\nCall complete. hResult = 0x0\n");
}

TEST(SinkStatus, ProgressIsPrintedWithoutItsResult)
{
    EventSink sink;
    testing::internal::CaptureStdout();

    EXPECT_EQ(sink.SetStatus(2, 5, nullptr, nullptr), 0);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Call in progress.\n");
}

TEST(SinkStatus, AnythingElsePrintsNothing)
{
    EventSink sink;
    testing::internal::CaptureStdout();

    for (const LONG flags : { 1, 3, 4, 256, -1 }) EXPECT_EQ(sink.SetStatus(flags, E_FAIL, nullptr, nullptr), 0);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace kelvane::tests
