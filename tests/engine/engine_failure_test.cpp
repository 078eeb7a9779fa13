#include "engine/state.h"
#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/engine/engine_run.h"

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct Failure {
    const char* name;
    void (*arrange)(FakeCom& com);
    const char* lastCall;  // the call that fails; what follows is:
    std::vector<std::string> rest;
    int connected;
    int queryIssued;
};

const Failure failures[] = {
    { "Initialize",
      [](FakeCom& com) { com.initialized = E_FAIL; },
      "CoInitializeEx",
      { "log 4 Failed to initialize COM library. Error code = 0x" },
      0,
      0 },
    { "Security",
      [](FakeCom& com) { com.secured = E_FAIL; },
      "CoInitializeSecurity",
      { "log 4 Failed to initialize security. Error code = 0x", "CoUninitialize" },
      0,
      0 },
    { "CreateLocator",
      [](FakeCom& com) { com.locatorCreated = E_FAIL; },
      "CoCreateInstance, locator",
      { "log 4 Failed to create IWbemLocator object.Err code = 0x", "CoUninitialize" },
      0,
      0 },
    { "NullLocator",
      [](FakeCom& com) { com.noLocator = true; },
      "CoCreateInstance, locator",
      { "log 4 ConnectServer is failed pLoc with NULL", "CoUninitialize" },
      0,
      0 },
    { "Connect",
      [](FakeCom& com) { com.locator.connected = E_FAIL; },
      "locator.ConnectServer",
      { "log 4 Could not connect. Error code = 0x", "release locator", "CoUninitialize" },
      1,
      0 },
    { "NullServices",
      [](FakeCom& com) { com.locator.services = nullptr; },
      "log 2 Connected to ROOT\\CIMV2 WMI namespace",
      { "log 4 CoSetProxyBlanket psvc with NULL", "release locator", "CoUninitialize" },
      1,
      0 },
    { "ProxyBlanket",
      [](FakeCom& com) { com.blanketSet = E_FAIL; },
      "CoSetProxyBlanket",
      { "log 4 Could not set proxy blanket. Error code = 0x", "release services", "release locator", "CoUninitialize" },
      1,
      0 },
    { "NullApartment",
      [](FakeCom& com) { com.noApartment = true; },
      "CoCreateInstance, apartment",
      { "log 4 CreateObjectStub psink or pStubUnk with NULL", "release services", "release locator", "CoUninitialize" },
      1,
      0 },
    { "NullStub",
      [](FakeCom& com) { com.apartment.stub = nullptr; },
      "apartment.CreateObjectStub",
      { "log 4 CreateObjectStub psink with NULL", "release services", "release locator", "release apartment",
        "CoUninitialize" },
      1,
      0 },
    { "ServicesGone",  // as if another hand had nulled the pointer on the way
      [](FakeCom& com) {
          com.stub.onQuery = [&com](REFIID, void** result) {
              *com.locator.slotOfCaller = nullptr;
              com.stubSink.AddRef();
              *result = &com.stubSink;
              return S_OK;
          };
      },
      "stub.QueryInterface",
      { "log 4 ExecNotificationQueryAsync failed with NULL", "release locator", "release apartment", "release stub",
        "release stubSink", "CoUninitialize" },
      1,
      0 },
    { "Query",
      [](FakeCom& com) { com.services.queried = E_FAIL; },
      "services.ExecNotificationQueryAsync",
      { "log 4 ExecNotificationQueryAsync failedwith = 0x%X", "release services", "release locator",
        "release apartment", "release stub", "release stubSink", "CoUninitialize" },
      1,
      1 },
    { "QueryWithoutStubSink",
      [](FakeCom& com) {
          com.noStubSink = true;
          com.services.queried = E_FAIL;
      },
      "services.ExecNotificationQueryAsync",
      { "log 4 ExecNotificationQueryAsync failedwith = 0x%X", "release services", "release locator",
        "release apartment", "release stub", "CoUninitialize" },
      1,
      1 },
};

class StartUpFailure : public EngineRun, public testing::WithParamInterface<Failure> {};

TEST_P(StartUpFailure, IsLoggedReleasesWhatWasMadeAndBarsLaterRuns)
{
    GetParam().arrange(com);

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after(GetParam().lastCall), ElementsAreArray(GetParam().rest));
    EXPECT_EQ(g_engineStarted, 1);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_startReentered, 0);
    EXPECT_EQ(g_wmiConnected, GetParam().connected);
    EXPECT_EQ(g_wmiQueryIssued, GetParam().queryIssued);
    forgetNotes();

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_EQ(g_startReentered, 1);
}

TEST_P(StartUpFailure, KeepsNoReferenceButThoseThatNobodyCouldGiveBack)
{
    GetParam().arrange(com);

    runEngine(3);

    // The pointer that another hand has nulled takes its reference with it.
    EXPECT_EQ(com.heldReferences(), std::string(GetParam().name) == "ServicesGone" ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(Each, StartUpFailure, testing::ValuesIn(failures),
                         [](const auto& failure) { return failure.param.name; });

TEST_F(EngineRun, FailureAfterTheSinkWasReferencedReleasesTheSink)
{
    int references = -1;
    com.services.queried = E_FAIL;
    com.stub.onQuery = [&](REFIID, void** result) {
        com.apartment.wrapped->AddRef();  // as the real stub would hold it
        *result = nullptr;
        return E_NOINTERFACE;
    };

    runEngine(3);

    references = static_cast<int>(com.apartment.wrapped->AddRef()) - 1;
    EXPECT_EQ(references, 1);
}

TEST_F(EngineRun, StandardExceptionIsLoggedWithoutItsTextAndNothingIsReleased)
{
    eventService.onSubscribe = [] { throw std::runtime_error("text that is not written"); };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("EvtSubscribe "), ElementsAre("log 4 Start function Exception occurre "));
    EXPECT_EQ(com.heldReferences(), 5);
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, ExceptionThatCannotBeLoggedEndsTheRunLikeAnyOther)
{
    com.onInitialize = [] { throw 7; };
    simulator::recordLog([](int, const std::string&) { throw std::bad_alloc(); });

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_EQ(g_engineStarted, 1);
    simulator::recordLog(nullptr);
}

TEST_F(EngineRun, AnyOtherExceptionIsLoggedWithItsOwnText)
{
    com.onInitialize = [] { throw 7; };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("CoInitializeEx"), ElementsAre("log 4 Catch...start function Exception occurre "));
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, ExceptionOfTheLoopEndsTheLoopAndIsFollowedByTheOrdinaryTearDown)
{
    onLoop = [] { throw std::runtime_error("out of something"); };

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(after("loop").front(), "services.CancelAsyncCall stubSink");
    EXPECT_EQ(com.heldReferences(), 0);
}

}  // namespace
}  // namespace kelvane::tests
