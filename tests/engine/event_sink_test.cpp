#include "engine/event_sink.h"

#include "state/state.h"
#include "tests/engine/fake_wmi.h"
#include "tests/engine/sink_memory.h"
#include "tests/support/call_list.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"
#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

#include <type_traits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

static_assert(!std::has_virtual_destructor_v<EventSink> && std::is_final_v<EventSink>);

class SinkReferences : public testing::Test {
protected:
    SinkReferences() { watchedSink = sink; }

    EventSink* sink = new EventSink;
};

TEST_F(SinkReferences, CountFromZeroAndAnswerTheNewCount)
{
    EXPECT_EQ(sink->AddRef(), 1U);
    EXPECT_EQ(sink->AddRef(), 2U);
    EXPECT_EQ(sink->Release(), 1U);
    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(SinkReferences, LastReleaseDeletesTheObject)
{
    sink->AddRef();

    EXPECT_EQ(sink->Release(), 0U);

    EXPECT_THAT(noted(), ElementsAre("delete sink"));
}

TEST_F(SinkReferences, ReleaseFromZeroGoesBelowAndDeletesNothing)
{
    EXPECT_EQ(sink->Release(), 0xFFFFFFFFU);

    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(SinkReferences, ItsTwoInterfacesAreHandedOutWithAReference)
{
    for (const IID& wanted : { IID_IUnknown, IID_IWbemObjectSink }) {
        void* found = nullptr;

        EXPECT_EQ(sink->QueryInterface(wanted, &found), 0);

        EXPECT_EQ(found, sink);
    }
    EXPECT_EQ(sink->AddRef(), 3U);
}

TEST_F(SinkReferences, AnyOtherInterfaceIsRefusedAndTheResultLeftAlone)
{
    void* found = this;

    EXPECT_EQ(sink->QueryInterface(IID_IWbemServices, &found), E_NOINTERFACE);

    EXPECT_EQ(found, this);
    EXPECT_EQ(sink->AddRef(), 1U);
}

// The count lies behind the table of functions.
TEST(SinkCount, LosesNoneThatComesInBetween)
{
    static EventSink sink;
    const auto between = [](auto counts, auto comes) {
        StoreWatch watch({ { "count", reinterpret_cast<char*>(&sink) + sizeof(void*), [] { return std::string(); } } },
                         [](const std::string&, const std::string&) {});
        watch.beforeNextStore = comes;
        return counts();
    };
    const auto add = [] { return sink.AddRef(); };
    const auto giveBack = [] { return sink.Release(); };

    add();
    EXPECT_EQ(between(add, add), 3U);
    EXPECT_EQ(between(giveBack, giveBack), 1U);
}

TEST_F(SinkReferences, SlotsStandInTheInterfacesOrder)
{
    using AddRefSlot = ULONG (*)(EventSink*);
    using StatusSlot = HRESULT (*)(EventSink*, LONG, HRESULT, BSTR, IWbemClassObject*);
    void* const* const slots = *reinterpret_cast<void* const* const*>(sink);

    EXPECT_EQ(reinterpret_cast<AddRefSlot>(slots[1])(sink), 1U);
    EXPECT_EQ(reinterpret_cast<AddRefSlot>(slots[1])(sink), 2U);
    EXPECT_EQ(reinterpret_cast<AddRefSlot>(slots[2])(sink), 1U);
    testing::internal::CaptureStdout();
    EXPECT_EQ(reinterpret_cast<StatusSlot>(slots[4])(sink, 2, 0, nullptr, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Call in progress.\n");
}

using Texts = std::vector<std::string>;

VARIANT arrayValue()
{
    VARIANT value = valueOfType(VT_ARRAY | VT_I4);
    V_ARRAY(&value) = SafeArrayCreateVector(VT_I4, 0, 2);
    return value;
}

class ProcessName : public testing::Test {
protected:
    ProcessName() { setProcessName("before.exe"); }

    // Returns what went to standard output.
    static std::string store(HRESULT hr, const VARIANT& value, const wchar_t* propertyName = L"Name")
    {
        testing::internal::CaptureStdout();
        storeProcessName(hr, value, propertyName);
        return testing::internal::GetCapturedStdout();
    }

    SimulatedMachine machine;
};

const Texts notAText = { "4 caught _com_error:", "4 caught Description:", "4 caught ErrorMessage:" };

struct NameRow {
    VARIANT value;
    HRESULT hr = S_OK;
    const wchar_t* property = L"Name";
    std::string output;
    std::string stored = "before.exe";
    Texts messages = {};
};

class StoredName : public WithRow<ProcessName, NameRow> {};

TEST_ROWS(StoredName, ROW(.value = textValue(L"game.exe"), .output = "Name: game.exe", .stored = "game.exe"),
          ROW(.value = textValue(L"x"), .property = L"Caption", .output = "Caption: x", .stored = "x"),
          ROW(.value = textValue(L""), .output = "Name: ", .stored = ""),
          ROW(.value = valueOfType(VT_EMPTY), .output = "Name: ", .stored = ""),
          ROW(.value = numberValue(-42), .output = "Name: -42", .stored = "-42"),
          ROW(.value = valueOfType(VT_NULL), .output = "Name: Name is null.\n"),
          // a null text is a failed reading, and not followed
          ROW(.value = valueOfType(VT_BSTR), .output = "", .messages = { "4 Failed to get Name:0" }),
          // the value of a failed reading is not looked at
          ROW(.value = textValue(L"game.exe"), .hr = static_cast<HRESULT>(0x80041002), .output = "",
              .messages = { "4 Failed to get Name:-2147217406" }),
          ROW(.value = textValue(L"game.exe"), .hr = S_FALSE, .output = "Name: game.exe", .stored = "game.exe"),
          // no text can be made of these
          ROW(.value = unknownValue(nullptr), .output = "Name: ", .messages = notAText),
          ROW(.value = arrayValue(), .output = "Name: ", .messages = notAText));

TEST_ROW(StoredName, IsWrittenBehindThePropertysNameAndReplacesTheNameBeforeUnlessThereIsNone)
{
    EXPECT_EQ(store(row().hr, row().value, row().property), row().output);

    EXPECT_EQ(processName(), row().stored);
    EXPECT_THAT(machine.messages(), ElementsAreArray(row().messages));
}

TEST_F(ProcessName, InterfaceThatDoesNotConvertIsGivenBack)
{
    FakeUnknown object("object");
    VARIANT value = unknownValue(&object);

    EXPECT_EQ(store(S_OK, value), "Name: ");

    EXPECT_EQ(processName(), "before.exe");
    EXPECT_THAT(machine.messages(), ElementsAreArray(notAText));
    EXPECT_EQ(object.references, 1);
}

TEST_F(ProcessName, CallersValueIsLeftAsItWas)
{
    const VARIANT value = textValue(L"game.exe");

    store(S_OK, value);

    EXPECT_EQ(V_VT(&value), VT_BSTR);
    EXPECT_EQ(std::wstring(V_BSTR(&value)), L"game.exe");
}

struct StatusRow {
    LONG flags;
    HRESULT result;
    const char* output;
};

class SinkStatus : public WithRow<testing::Test, StatusRow> {};

TEST_ROWS(SinkStatus,
          ROW(.flags = 0, .result = static_cast<HRESULT>(0x80041032),
              .output = "Call complete. hResult = 0x80041032\n"),
          ROW(.flags = 0, .result = 0, .output = "Call complete. hResult = 0x0\n"),
          ROW(.flags = 2, .result = 5, .output = "Call in progress.\n"), ROW(.flags = 1, .result = 5, .output = ""),
          ROW(.flags = 3, .result = 5, .output = ""), ROW(.flags = 4, .result = 5, .output = ""),
          ROW(.flags = 256, .result = 5, .output = ""), ROW(.flags = -1, .result = 5, .output = ""));

TEST_ROW(SinkStatus, IsPrintedOnCompletionAndProgress)
{
    EventSink sink;
    testing::internal::CaptureStdout();

    EXPECT_EQ(sink.SetStatus(row().flags, row().result, nullptr, nullptr), 0);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), row().output);
}

}  // namespace
}  // namespace kelvane::tests
