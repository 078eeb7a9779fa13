#include "diagnostics/event_log.h"

#include "tests/fakes/call_list.h"
#include "tests/fakes/fake_event_log.h"

#include <gmock/gmock.h>

#include <array>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

class EventReport : public testing::Test {
protected:
    EventReport() { log.notesEachCall = true; }

    FakeEventLog log;
};

TEST_F(EventReport, IsOneErrorEventOfTheServicesSourceOnThisComputer)
{
    reportServiceEvent(L"something failed");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane", "event something failed", "deregister"));
}

TEST_F(EventReport, IsLostWithoutATraceWhenTheSourceCannotBeRegistered)
{
    log.registers = false;

    reportServiceEvent(L"something failed");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane"));
}

TEST_F(EventReport, GivesTheSourceBackAlsoWhenTheReportFails)
{
    log.reports = false;

    reportServiceEvent(L"something failed");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane", "event something failed", "deregister"));
}

TEST_F(EventReport, RegistersTheSourceForEachEventAnew)
{
    reportServiceEvent(L"first");
    reportServiceEvent(L"");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane", "event first", "deregister",
                                     "register here Tarvo(R) Kelvane", "event ", "deregister"));
}

// The program's resources hold the wording; the test program carries them too.
TEST(EventWording, MakesASentenceOfTheEventsTwoStrings)
{
    std::wstring message = L"KV::Orq Drivers are not present, Please install the drivers";
    DWORD_PTR strings[] = { reinterpret_cast<DWORD_PTR>(serviceName), reinterpret_cast<DWORD_PTR>(message.c_str()) };
    std::array<wchar_t, 200> text{};

    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr, 0, 0, text.data(),
                       static_cast<DWORD>(text.size()), reinterpret_cast<va_list*>(strings));

    EXPECT_EQ(std::wstring(text.data(), length),
              L"Tarvo(R) Kelvane reports: KV::Orq Drivers are not present, Please install the drivers\r\n");
}

}  // namespace
}  // namespace kelvane::tests
