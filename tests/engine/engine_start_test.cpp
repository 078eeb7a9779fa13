#include "diagnostics/diagnostic_log.h"
#include "engine/state.h"
#include "simulator/platform/import_slots.h"
#include "state/state.h"
#include "tests/engine/engine_run.h"

#include <algorithm>
#include <thread>

namespace kelvane {

struct DiagnosticLogInspector {
    static int echo() { return DiagnosticLog::instance().echo; }

    static bool isOpen() { return DiagnosticLog::instance().opened; }
};

namespace tests {
namespace {

using testing::ElementsAre;

std::vector<BSTR> textsMade;
int textsFreed;
decltype(&SysAllocString) realAlloc;
decltype(&SysFreeString) realFree;

BSTR WINAPI countedAlloc(const OLECHAR* text)
{
    textsMade.push_back(realAlloc(text));
    return textsMade.back();
}

void WINAPI countedFree(BSTR text)
{
    if (std::ranges::find(textsMade, text) != textsMade.end()) textsFreed += 1;
    realFree(text);
}

TEST_F(EngineRun, StartUpMakesItsCallsInThisOrderWithTheseArguments)
{
    runEngine(3);

    std::vector<std::string> calls = noted();
    calls.resize(17);
    EXPECT_THAT(
        calls,
        ElementsAre("log 0 Logger file is", "log 2 \n Initialized logger ", "log 0 processidCapture started",
                    "CoInitializeEx, null, 0", "CoInitializeSecurity, null, -1, null, null, 0, 3, null, 0, null",
                    "CoCreateInstance, locator, null, 1",
                    "locator.ConnectServer ROOT\\CIMV2, null, null, null, 0, null, null",
                    "log 2 Connected to ROOT\\CIMV2 WMI namespace",
                    "CoSetProxyBlanket, services, 10, 0, null, 3, 3, null, 0", "CoCreateInstance, apartment, null, 4",
                    "apartment.CreateObjectStub, sink's references 1", "stub.QueryInterface IWbemObjectSink",
                    "services.ExecNotificationQueryAsync WQL, select * from __instancecreationevent within 1 where "
                    "targetinstance isa 'win32_process', 128, null, stubSink",
                    "EvtSubscribe System, (*[System[(EventID=\"506\") or (EventID=\"507\")]]), 1", "loop",
                    "services.CancelAsyncCall stubSink", "release services"));
}

TEST_F(EngineRun, LogIsOpenedBeforeItIsConfiguredWhichThenHasNoEffect)
{
    EXPECT_FALSE(DiagnosticLogInspector::isOpen());

    runEngine(3);

    EXPECT_TRUE(DiagnosticLogInspector::isOpen());
    EXPECT_EQ(DiagnosticLogInspector::echo(), 1);
}

TEST_F(EngineRun, TextsForWmiAreBasicStringsAndGivenBack)
{
    realAlloc = __imp_SysAllocString;
    realFree = __imp_SysFreeString;
    const ImportSwap alloc(__imp_SysAllocString, &countedAlloc);
    const ImportSwap free(__imp_SysFreeString, &countedFree);

    runEngine(3);

    EXPECT_EQ(textsMade.size(), 3U);
    EXPECT_EQ(textsFreed, 3);
}

TEST_F(EngineRun, LoopRunsOnAThreadOfItsOwnWhileTheFlagsSayRunning)
{
    DWORD loopThread = 0;
    int stateInLoop = -1;
    int startedInLoop = -1;
    g_engineState = 0;
    onLoop = [&] {
        loopThread = GetCurrentThreadId();
        stateInLoop = g_engineState;
        startedInLoop = g_engineStarted;
    };

    runEngine(3);

    EXPECT_NE(loopThread, 0U);
    EXPECT_NE(loopThread, GetCurrentThreadId());
    EXPECT_EQ(stateInLoop, 3);
    EXPECT_EQ(startedInLoop, 1);
}

TEST_F(EngineRun, EngineWaitsForTheLoop)
{
    onLoop = [] {
        for (int i = 0; i < 1000; ++i) std::this_thread::yield();
        note("loop's end");
    };

    runEngine(3);

    EXPECT_THAT(after("loop's end").front(), "services.CancelAsyncCall stubSink");
}

TEST_F(EngineRun, FlagsAreSetBeforeTheFirstLineIsLogged)
{
    int startedAtInitialize = -1;
    int stateAtInitialize = -1;
    g_engineState = 0;
    com.onInitialize = [&] {
        startedAtInitialize = g_engineStarted;
        stateAtInitialize = g_engineState;
    };

    runEngine(3);

    EXPECT_EQ(startedAtInitialize, 1);
    EXPECT_EQ(stateAtInitialize, 3);
}

TEST_F(EngineRun, SecondStartWhileOneRunsIsTurnedAwayAndOnlyMarked)
{
    int resultOfSecond = -1;
    std::vector<std::string> callsOfSecond;
    onLoop = [&] {
        g_engineState = 0;
        g_serviceStopping = 0;
        const std::size_t before = noted().size();
        std::thread([&] { resultOfSecond = runEngine(3); }).join();
        callsOfSecond = noted();
        callsOfSecond.erase(callsOfSecond.begin(), callsOfSecond.begin() + static_cast<std::ptrdiff_t>(before));
    };

    runEngine(3);

    EXPECT_EQ(resultOfSecond, 0);
    EXPECT_THAT(callsOfSecond, testing::IsEmpty());
    EXPECT_EQ(g_startReentered, 1);
    EXPECT_EQ(g_engineState, 0);
}

TEST_F(EngineRun, ArgumentMakesNoDifference)
{
    EXPECT_EQ(runEngine(0), 0);
    EXPECT_EQ(runEngine(-1), 0);

    EXPECT_EQ(notedOf("loop").size(), 2U);
}

TEST_F(EngineRun, FailedSubscriptionIsLoggedByItsReasonAndTheLoopRunsAllTheSame)
{
    struct Row {
        DWORD error;
        const char* line;
    };

    for (const Row& row :
         { Row{ 15007, "log 4 Channel was not foundSystem" },
           Row{ 15001, "log 4 The query is not valid(*[System[(EventID=\"506\") or (EventID=\"507\")]])" },
           Row{ 5, "log 4 EvtSubscribe failed with5" }, Row{ 0, "log 4 EvtSubscribe failed with0" },
           Row{ 0x80000001, "log 4 EvtSubscribe failed with2147483649" } }) {
        SCOPED_TRACE(row.error);
        forgetNotes();
        eventService.subscription = nullptr;
        eventService.subscribeError = row.error;

        EXPECT_EQ(runEngine(3), 0);

        const std::vector<std::string> calls = after("EvtSubscribe ");
        EXPECT_EQ(calls.at(0), row.line);
        EXPECT_EQ(calls.at(1), "loop");
    }
}

TEST_F(EngineRun, UncheckedResultsAreNotLookedAt)
{
    com.apartmentCreated = E_FAIL;
    com.apartment.answer = E_FAIL;

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(notedOf("loop").size(), 1U);
}

TEST_F(EngineRun, SuccessWithAWarningIsASuccess)
{
    com.initialized = S_FALSE;
    com.secured = S_FALSE;
    com.locatorCreated = S_FALSE;
    com.locator.connected = S_FALSE;
    com.blanketSet = S_FALSE;
    com.services.queried = S_FALSE;

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(notedOf("loop").size(), 1U);
}

TEST(EngineStart, FlagsHaveTheirStartValues)
{
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_serviceStopping, 0);
    EXPECT_EQ(g_engineStarted, 0);
    EXPECT_EQ(g_startReentered, 0);
    EXPECT_EQ(g_wmiConnected, 0);
    EXPECT_EQ(g_wmiQueryIssued, 0);
}

TEST(EngineStop, RequestSetsTheStateAndTellsWhoStops)
{
    EXPECT_EQ(requestEngineStop(true), 0);
    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_serviceStopping, 1);

    EXPECT_EQ(requestEngineStop(false), 0);
    EXPECT_EQ(g_serviceStopping, 0);
}

}  // namespace
}  // namespace tests
}  // namespace kelvane
