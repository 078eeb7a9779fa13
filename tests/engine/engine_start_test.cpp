#include "simulator/platform/import_slots.h"
#include "tests/engine/engine_run.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <set>
#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

int textsMade;
std::set<BSTR> textsHeld;
const auto realAlloc = __imp_SysAllocString;
const auto realFree = __imp_SysFreeString;

BSTR WINAPI countedAlloc(const OLECHAR* text)
{
    textsMade += 1;
    return *textsHeld.insert(realAlloc(text)).first;
}

void WINAPI countedFree(BSTR text)
{
    textsHeld.erase(text);
    realFree(text);
}

TEST_F(EngineRun, LogIsOpenedBeforeItIsConfiguredWhichThenHasNoEffect)
{
    EXPECT_FALSE(DiagnosticLogInspector::opened());

    runEngine(3);

    EXPECT_TRUE(DiagnosticLogInspector::opened());
    EXPECT_EQ(DiagnosticLogInspector::echo(), 1);
}

TEST_F(EngineRun, LogIsOpenedAlsoByAStartThatIsTurnedAway)
{
    g_engineStarted = 1;

    runEngine(3);

    EXPECT_TRUE(DiagnosticLogInspector::opened());
    EXPECT_EQ(g_startReentered, 1);
}

TEST_F(EngineRun, TextsForWmiAreBasicStringsAndGivenBack)
{
    const ImportSwap alloc(__imp_SysAllocString, &countedAlloc);
    const ImportSwap free(__imp_SysFreeString, &countedFree);

    runEngine(3);

    EXPECT_EQ(textsMade, 3);
    EXPECT_THAT(textsHeld, testing::IsEmpty());
}

TEST_F(EngineRun, LoopHasAThreadOfItsOwnAndIsWaitedFor)
{
    DWORD loopThread = 0;
    onLoop = [&] {
        loopThread = GetCurrentThreadId();
        for (int i = 0; i < 1000; ++i) std::this_thread::yield();
        note("loop's end");
    };

    runEngine(3);

    EXPECT_THAT(after("loop's end").front(), "services.CancelAsyncCall stubSink");
    EXPECT_NE(loopThread, 0U);
    EXPECT_NE(loopThread, GetCurrentThreadId());
}

TEST_F(EngineRun, SecondStartWhileOneRunsIsTurnedAwayAndOnlyMarked)
{
    int resultOfSecond = -1;
    Texts callsOfSecond;
    onLoop = [&] {
        g_engineState = 0;
        g_serviceStopping = 0;
        std::thread([&] { resultOfSecond = runEngine(3); }).join();
        callsOfSecond = after("loop");
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

struct SubscriptionRow {
    DWORD error;
    const char* line;
};

class FailedSubscription : public WithRow<EngineRun, SubscriptionRow> {};

TEST_ROWS(FailedSubscription, ROW(.error = 15007, .line = "log 4 Channel was not foundSystem"),
          ROW(.error = 15001,
              .line = "log 4 The query is not valid(*[System[(EventID=\"506\") or (EventID=\"507\")]])"),
          ROW(.error = 5, .line = "log 4 EvtSubscribe failed with5"),
          ROW(.error = 0, .line = "log 4 EvtSubscribe failed with0"),
          ROW(.error = 0x80000001, .line = "log 4 EvtSubscribe failed with2147483649"));

TEST_ROW(FailedSubscription, IsLoggedByItsReasonAndTheLoopRunsAllTheSame)
{
    eventService.subscription = nullptr;
    eventService.subscribeError = row().error;

    EXPECT_EQ(runEngine(3), 0);

    Texts calls = after("EvtSubscribe ");
    calls.resize(2);
    EXPECT_THAT(calls, ElementsAre(row().line, "loop"));
}

TEST_F(EngineRun, WarningsAndResultsThatNobodyLooksAtDoNotEndTheStart)
{
    com.answer = S_FALSE;
    com.locator.answer = S_FALSE;
    com.services.answer = S_FALSE;
    com.apartmentAnswer = E_FAIL;
    com.apartment.answer = E_FAIL;

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(notedOf("loop").size(), 1U);
}

}  // namespace
}  // namespace kelvane::tests
