#include "simulator/replay/recorded_log.h"
#include "tests/engine/engine_run.h"

#include <stdexcept>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// A start-up that ends at `call`: because it fails, or because it hands out no object. `rest` is what follows.
struct StartUpRow {
    std::string call;
    bool fails = false;
    std::string missing = "";
    Texts rest;
    int connected = 1;
    int queryIssued = 0;
};

class StartUpFailure : public WithRow<EngineRun, StartUpRow> {};

TEST_ROWS(StartUpFailure,
          ROW(.call = "CoInitializeEx", .fails = true,
              .rest = { "log 4 Failed to initialize COM library. Error code = 0x" }, .connected = 0),
          ROW(.call = "CoInitializeSecurity", .fails = true,
              .rest = { "log 4 Failed to initialize security. Error code = 0x", "CoUninitialize" }, .connected = 0),
          ROW(.call = "CoCreateInstance, locator", .fails = true,
              .rest = { "log 4 Failed to create IWbemLocator object.Err code = 0x", "CoUninitialize" }, .connected = 0),
          ROW(.call = "CoCreateInstance, locator", .missing = "locator",
              .rest = { "log 4 ConnectServer is failed pLoc with NULL", "CoUninitialize" }, .connected = 0),
          ROW(.call = "locator.ConnectServer", .fails = true,
              .rest = { "log 4 Could not connect. Error code = 0x", "release locator", "CoUninitialize" }),
          ROW(.call = "locator.ConnectServer", .missing = "services",
              .rest = { "log 2 Connected to ROOT\\CIMV2 WMI namespace", "log 4 CoSetProxyBlanket psvc with NULL",
                        "release locator", "CoUninitialize" }),
          ROW(.call = "CoSetProxyBlanket", .fails = true,
              .rest = { "log 4 Could not set proxy blanket. Error code = 0x", "release services", "release locator",
                        "CoUninitialize" }),
          ROW(.call = "CoCreateInstance, apartment", .missing = "apartment",
              .rest = { "new sink", "log 4 CreateObjectStub psink or pStubUnk with NULL", "release services",
                        "release locator", "CoUninitialize" }),
          ROW(.call = "apartment.CreateObjectStub", .missing = "stub",
              .rest = { "log 4 CreateObjectStub psink with NULL", "release services", "release locator",
                        "release apartment", "delete sink", "CoUninitialize" }),
          ROW(.call = "services.ExecNotificationQueryAsync", .fails = true,
              .rest = { "log 4 ExecNotificationQueryAsync failedwith = 0x%X", "release services", "release locator",
                        "release apartment", "release stub", "delete sink", "release stubSink", "CoUninitialize" },
              .queryIssued = 1),
          ROW(.call = "services.ExecNotificationQueryAsync", .fails = true, .missing = "stubSink",
              .rest = { "log 4 ExecNotificationQueryAsync failedwith = 0x%X", "release services", "release locator",
                        "release apartment", "release stub", "delete sink", "CoUninitialize" },
              .queryIssued = 1));

TEST_ROW(StartUpFailure, IsLoggedReleasesWhatWasMadeAndBarsLaterRuns)
{
    if (row().fails) failCalls({ row().call });
    for (FakeObject* const object : com.objects) object->missing = object->name == row().missing;

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after(row().call), ElementsAreArray(row().rest));
    EXPECT_EQ(com.heldReferences(), 0);
    EXPECT_EQ(g_engineStarted, 1);
    EXPECT_EQ(g_engineState, 3);
    EXPECT_EQ(g_startReentered, 0);
    EXPECT_EQ(g_wmiConnected, row().connected);
    EXPECT_EQ(g_wmiQueryIssued, row().queryIssued);
    forgetNotes();

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_THAT(noted(), IsEmpty());
    EXPECT_EQ(g_startReentered, 1);
}

TEST_F(EngineRun, ServicesThatAnotherHandHasNulledOnTheWayEndTheStartAndKeepTheirReference)
{
    com.stub.onQuery = [this](void** result) {
        *com.locator.slotOfCaller = nullptr;
        return handOut(com.stubSink, result);
    };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("stub.QueryInterface"),
                ElementsAre("log 4 ExecNotificationQueryAsync failed with NULL", "release locator", "release apartment",
                            "release stub", "delete sink", "release stubSink", "CoUninitialize"));
    EXPECT_EQ(com.heldReferences(), 1);
    EXPECT_EQ(g_engineStarted, 1);
    EXPECT_EQ(g_wmiConnected, 1);
    EXPECT_EQ(g_wmiQueryIssued, 0);
}

// Its count, which nobody has raised yet, falls below zero.
TEST_F(EngineRun, SinkWithoutAnApartmentIsReleasedAndStays)
{
    com.apartment.missing = true;

    runEngine(3);

    EXPECT_EQ(watchedSink->AddRef(), 0U);
}

TEST_F(EngineRun, StandardExceptionIsLoggedWithoutItsTextAndNothingIsReleased)
{
    eventService.onSubscribe = [] { throw std::runtime_error("text that is not written"); };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("EvtSubscribe "), ElementsAre("log 4 Start function Exception occurre "));
    EXPECT_EQ(com.heldReferences(), 5);
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, AnyOtherExceptionIsLoggedWithItsOwnText)
{
    com.onInitialize = [] { throw 7; };

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_THAT(after("CoInitializeEx"), ElementsAre("log 4 Catch...start function Exception occurre "));
    EXPECT_EQ(g_engineStarted, 1);
}

TEST_F(EngineRun, ExceptionThatCannotBeLoggedEndsTheRunLikeAnyOther)
{
    com.onInitialize = [] { throw 7; };
    simulator::recordLog([](int, const std::string&) { throw 8; });

    EXPECT_EQ(runEngine(3), 1);

    EXPECT_EQ(g_engineStarted, 1);
    simulator::recordLog(nullptr);
}

TEST_F(EngineRun, ExceptionOfTheLoopEndsTheLoopAndIsFollowedByTheOrdinaryTearDown)
{
    for (const bool standard : { true, false }) {
        onLoop = [standard] {
            if (standard) throw std::runtime_error("out of something");
            throw 7;
        };

        EXPECT_EQ(runEngine(3), 0);

        EXPECT_EQ(after("loop").front(), "services.CancelAsyncCall stubSink");
        EXPECT_EQ(com.heldReferences(), 0);
        forgetNotes();
    }
}

}  // namespace
}  // namespace kelvane::tests
