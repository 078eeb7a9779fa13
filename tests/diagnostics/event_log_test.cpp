#include "diagnostics/event_log.h"

#include "tests/diagnostics/fake_event_log.h"
#include "tests/support/call_list.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

class EventReport : public testing::Test {
protected:
    EventReport() { log.notesEachCall = true; }

    FakeEventLog log;
};

TEST_F(EventReport, IsOneErrorEventOfTheServicesSourceOnThisComputerWhichIsGivenBackAlsoWhenItFails)
{
    reportServiceEvent(L"something failed");
    log.reports = false;
    reportServiceEvent(L"");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane", "event something failed", "deregister",
                                     "register here Tarvo(R) Kelvane", "event ", "deregister"));
}

TEST_F(EventReport, IsLostWithoutATraceWhenTheSourceCannotBeRegistered)
{
    log.registers = false;

    reportServiceEvent(L"something failed");

    EXPECT_THAT(noted(), ElementsAre("register here Tarvo(R) Kelvane"));
}

}  // namespace
}  // namespace kelvane::tests
