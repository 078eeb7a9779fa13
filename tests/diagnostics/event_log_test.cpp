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

}  // namespace
}  // namespace kelvane::tests
