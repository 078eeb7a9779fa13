// In a program of its own, which is not run with the thread sanitizer: that one holds back the traps of a StoreWatch.
#include "tests/engine/engine_run.h"
#include "tests/support/store_watch.h"

#include <optional>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

TEST_F(EngineRun, StartUpMakesItsCallsInThisOrderWithTheseArgumentsAndStoresItsFlagsBetweenThem)
{
    std::optional<StoreWatch> watch(std::in_place,
                                    std::vector{ WATCHED(g_engineStarted), WATCHED(g_engineState),
                                                 WATCHED(g_wmiConnected), WATCHED(g_wmiQueryIssued) },
                                    noteStore);
    eventService.onSubscribe = [&] { watch.reset(); };  // before there is a second thread

    runEngine(3);

    Texts calls = noted();
    calls.resize(22);
    EXPECT_THAT(
        calls,
        ElementsAre(
            "store g_engineStarted 1", "store g_engineState 3", "log 0 Logger file is", "log 2 \n Initialized logger ",
            "log 0 processidCapture started", "CoInitializeEx, null, 0",
            "CoInitializeSecurity, null, -1, null, null, 0, 3, null, 0, null", "CoCreateInstance, locator, null, 1",
            "locator.ConnectServer ROOT\\CIMV2, null, null, null, 0, null, null", "store g_wmiConnected 1",
            "log 2 Connected to ROOT\\CIMV2 WMI namespace", "CoSetProxyBlanket, services, 10, 0, null, 3, 3, null, 0",
            "CoCreateInstance, apartment, null, 4", "new sink", "apartment.CreateObjectStub, sink's references 1",
            "stub.QueryInterface IWbemObjectSink",
            "services.ExecNotificationQueryAsync WQL, select * from __instancecreationevent within 1 where "
            "targetinstance isa 'win32_process', 128, null, stubSink",
            "store g_wmiQueryIssued 1", "EvtSubscribe System, (*[System[(EventID=\"506\") or (EventID=\"507\")]]), 1",
            "loop", "services.CancelAsyncCall stubSink", "release services"));
}

}  // namespace
}  // namespace kelvane::tests
