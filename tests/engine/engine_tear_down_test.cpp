#include "simulator/replay/recorded_log.h"
#include "tests/engine/engine_run.h"

#include <thread>

namespace kelvane::tests {
namespace {

using testing::ElementsAreArray;

constexpr std::uint64_t noFrameworkSession = 0xFFFFFFFFFFFFFFFF;
constexpr char serviceStopped[] = "log 0 KV Windows Service is stopped";
constexpr char scalingStopped[] = "log 0 Kiostot registry: Stop KV completed";

// How things are when the loop ends, and what of the tear-down follows.
struct TearDownRow {
    bool serviceStops = false;
    std::uint64_t session = noFrameworkSession;
    std::uint8_t connected = 1;
    std::uint8_t queryIssued = 1;
    bool stubSink = true;
    bool turnedAway = false;  // another start, meanwhile
    bool closesSession = false;
    bool cancels = false;
    bool releases = false;
    std::string line = "";
    int result;
};

class TearDown : public WithRow<EngineRun, TearDownRow> {
protected:
    void endLoop()
    {
        if (row().turnedAway) std::thread(runEngine, 3).join();
        g_sessionHandle = row().session;
        g_wmiConnected = row().connected;
        g_wmiQueryIssued = row().queryIssued;
        requestEngineStop(row().serviceStops);
    }

    Texts expectedNotes() const
    {
        Texts notes;
        const auto add = [&](const Texts& more) { notes.insert(notes.end(), more.begin(), more.end()); };
        if (row().closesSession) {
            add({ "log 2 UnregisterEvents() called", "UnregisterEvent 5, 44", "UnregisterEvent 5, 34",
                  "UnregisterEvent 5, 10000", "UnregisterEvent 5, 183", "UnregisterEvent 5, 72",
                  "UnregisterEvent 5, 106", "SessionDisconnect 5", "SessionDestroy 5" });
        }
        if (row().cancels) add({ "services.CancelAsyncCall stubSink" });
        if (row().releases) {
            add({ "release services", "release locator", "release apartment", "release stub", "release stubSink",
                  "CoUninitialize" });
        }
        if (!row().line.empty()) add({ row().line });
        return notes;
    }
};

TEST_ROWS(TearDown,
          // for the service's end
          ROW(.serviceStops = true, .session = 5, .closesSession = true, .cancels = true, .releases = true,
              .line = serviceStopped, .result = 1),
          ROW(.serviceStops = true, .cancels = true, .releases = true, .line = serviceStopped, .result = 1),
          ROW(.serviceStops = true, .queryIssued = 0, .releases = true, .line = serviceStopped, .result = 1),
          ROW(.serviceStops = true, .connected = 0, .line = serviceStopped, .result = 0),
          ROW(.serviceStops = true, .stubSink = false, .line = serviceStopped, .result = 1),
          ROW(.serviceStops = true, .turnedAway = true, .cancels = true, .releases = true, .line = serviceStopped,
              .result = 1),
          // for scaling alone, after which the engine can be run again
          ROW(.session = 5, .cancels = true, .releases = true, .line = scalingStopped, .result = 0),
          // not at all
          ROW(.queryIssued = 0, .result = 1), ROW(.connected = 0, .result = 0), ROW(.stubSink = false, .result = 1),
          ROW(.turnedAway = true, .result = 0));

TEST_ROW(TearDown, DoesWhatTheStopAsksForAndKeepsTheSink)
{
    com.stubSink.missing = !row().stubSink;
    onLoop = [this] { endLoop(); };

    EXPECT_EQ(runEngine(3), row().result);

    EXPECT_THAT(after("loop"), ElementsAreArray(expectedNotes()));
    EXPECT_EQ(g_engineStarted, row().line == scalingStopped ? 0 : 1);
    EXPECT_EQ(g_engineState, 0);
    EXPECT_EQ(g_sessionHandle, row().session);
    EXPECT_EQ(g_wmiConnected, row().connected);
    EXPECT_EQ(g_wmiQueryIssued, row().queryIssued);
    const int made = row().stubSink ? 5 : 4;
    EXPECT_EQ(com.heldReferences(), row().releases ? 0 : made);
    EXPECT_EQ(com.apartment.wrapped->AddRef(), 2U);
}

TEST_F(EngineRun, StartIsBarredUntilTheLineAboutTheEndIsWritten)
{
    int startedAtTheLine = -1;
    simulator::recordLog([&](int, const std::string& text) {
        if (text == "Kiostot registry: Stop KV completed") startedAtTheLine = g_engineStarted;
    });

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(startedAtTheLine, 1);
    simulator::recordLog(nullptr);
}

TEST_F(EngineRun, SecondRunRepeatsTheWholeStartUp)
{
    onLoop = [] { requestEngineStop(false); };
    runEngine(3);
    const Texts first = noted();
    forgetNotes();

    EXPECT_EQ(runEngine(3), 0);

    EXPECT_EQ(noted(), first);
    EXPECT_EQ(first.size(), 24U);
    EXPECT_EQ(g_engineStarted, 0);
}

}  // namespace
}  // namespace kelvane::tests
