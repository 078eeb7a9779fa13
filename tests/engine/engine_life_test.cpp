// Every call of the platform fails once, and every call from each one on.
#include "tests/engine/engine_life.h"
#include "tests/engine/watched_buffer.h"
#include "tests/support/repeated_cases.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <optional>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

using Texts = std::vector<std::string>;

// What is kept for good when a failure ends the engine's start: references to WMI's objects, and COM itself.
enum class Kept { nothing, apartment, locatorAndCom, allButStubSinkAndCom, allAndCom };

// What a failing call brings to the diagnostic log ("LEVEL TEXT") and to standard error.
struct Failure {
    const char* call;
    Texts messages;
    Texts standardError;
    std::optional<Kept> kept = std::nullopt;  // none: the start goes on
};

const char* const notStarted = "0  KV Start MS/CS is initializing the ORQ, Scaling is stopped ";
const char* const noApartment = "4 CreateObjectStub psink or pStubUnk with NULL";
const char* const standbyFailed = "4 SubscriptionCallback is failed with out ERROR_SUCCESS ";
const char* const preferenceFailed = "2 OrqCore setPerfmax SessionExecute failed : first 2 times expeted in MS/startup";
const char* const exceptionWithoutName = "4 Catch...start function Exception occurre ";

// A call that does not stand here fails without a word.
const Failure failures[] = {
    { "CoInitializeEx", { "4 Failed to initialize COM library. Error code = 0x" }, {}, Kept::nothing },
    { "CoInitializeSecurity", { "4 Failed to initialize security. Error code = 0x" }, {}, Kept::nothing },
    { "CoCreateInstance, locator", { "4 Failed to create IWbemLocator object.Err code = 0x" }, {}, Kept::nothing },
    { "locator.ConnectServer", { "4 Could not connect. Error code = 0x" }, {}, Kept::nothing },
    { "CoSetProxyBlanket", { "4 Could not set proxy blanket. Error code = 0x" }, {}, Kept::nothing },
    { "CoCreateInstance, apartment", { noApartment }, {}, Kept::nothing },
    // The apartment is not among what is released then.
    { "new EventSink", { noApartment }, {}, Kept::apartment },
    { "apartment.CreateObjectStub", { "4 CreateObjectStub psink with NULL" }, {}, Kept::nothing },
    // Without the stub's sink a run is torn down no further than to that point.
    { "stub.QueryInterface", {}, {}, Kept::allButStubSinkAndCom },
    { "services.ExecNotificationQueryAsync", { "4 ExecNotificationQueryAsync failedwith = 0x%X" }, {}, Kept::nothing },
    { "EvtSubscribe", { "4 EvtSubscribe failed with5" }, {} },
    // An exception releases nothing.
    { "SysAllocString, ROO", { exceptionWithoutName }, {}, Kept::locatorAndCom },
    { "SysAllocString, WQL", { exceptionWithoutName }, {}, Kept::allAndCom },
    { "SysAllocString, sel", { exceptionWithoutName }, {}, Kept::allAndCom },
    { "_beginthreadex", { "4 Start function Exception occurre " }, {}, Kept::allAndCom },

    { "HeapAlloc, module record", { notStarted }, { "*** LoadLibrary Failure: TOVA_E_PARAMETER_IS_NULL" } },
    { "LoadLibraryExA", { notStarted }, { "*** LoadLibrary Failure: TOVA_E_NOT_FOUND" } },
    { "GetProcAddress", { notStarted }, { "*** LoadLibrary Failure: TOVA_E_IFACE_NOT_SUPPORTED" } },
    { "GetOrqInterface", { notStarted }, { "*** LoadLibrary Failure: TOVA_E_NOT_IMPLEMENTED" } },
    { "Init", { notStarted }, {} },
    { "GET_RAPL_POWER, last of the start", { "4 OrqCore pkgPower SessionExecute failed" }, {} },
    { "RegisterEvent",
      { "4 OrqCore workload classification SessionExecute failed" },
      { "Failed to register event; TOVA_E_NOT_IMPLEMENTED" } },
    { "SET_RAPL_POWER_LIMIT_1", { "4 OrqCore CpuPowerLimit1 SessionExecute failed" }, {} },
    { "SET_PERF_PREFERENCE_MAX", { preferenceFailed }, {} },
    { "SET_PERF_PREFERENCE_MIN", { preferenceFailed }, {} },

    { "event.Get TargetInstance", { "4 Failed to get TargetInstance in apObjArray[i]:-2147467259" }, {} },
    { "process.QueryInterface", { "4 Failed to get IID_IWbemClassObject in TargetInstance:-2147467259" }, {} },
    { "SysAllocString, gam", { "4 caught _com_error:", "4 caught Description:", "4 caught ErrorMessage:" }, {} },
    { "process.Get Name", { "4 Failed to get Name:-2147467259" }, {} },
    { "EvtRender, size", { standbyFailed }, {} },
    { "EvtRender", { standbyFailed }, {} },
    { "malloc, rendered event", { standbyFailed }, {} },
};

bool tellsOfAFailure(const std::string& message)
{
    return message.starts_with("4 ") || message == notStarted || message.find("failed") != std::string::npos;
}

// Of a line of standard error what does not depend on the path.
std::string head(const std::string& line) { return line.substr(0, std::min(line.find(" ("), line.find('('))); }

// The longest step takes 10 s, and each run has its stop within 10 s: no life lasts longer than that.
constexpr std::uint64_t longestLifeMs = 40000;

int referencesOf(Kept kept)
{
    switch (kept) {
    case Kept::apartment:
    case Kept::locatorAndCom: return 1;
    case Kept::allButStubSinkAndCom: return 4;
    case Kept::allAndCom: return callFailed("stub.QueryInterface") ? 4 : 5;
    default: return 0;
    }
}

class LifeOfTheEngine : public testing::Test {
protected:
    void liveAndExpectTheRest(FailurePlan plan)
    {
        life.live(plan);

        Texts messages;
        Texts standardError;
        Kept kept = Kept::nothing;
        for (const std::string& call : callsFailed()) {
            const auto* const failure = std::ranges::find(failures, call, &Failure::call);
            if (failure == std::end(failures)) continue;
            std::ranges::copy(failure->messages, std::back_inserter(messages));
            std::ranges::copy(failure->standardError, std::back_inserter(standardError));
            kept = failure->kept.value_or(kept);
        }
        expectTexts(messages, standardError);
        expectNothingHeldBut(kept);
        EXPECT_LE(EngineLife::duration(), longestLifeMs);
    }

    void walk(bool onward)
    {
        const int call = numberOfCase();
        liveAndExpectTheRest({ call, onward });
        if (call == 0) repeatInChildren(static_cast<int>(callsMade().size()));
    }

    void expectTexts(const Texts& messages, const Texts& standardError)
    {
        Texts told = EngineLife::messages();
        std::erase_if(told, [](const std::string& message) { return !tellsOfAFailure(message); });
        EXPECT_THAT(told, UnorderedElementsAreArray(messages));
        Texts lines;
        std::ranges::transform(life.standardError, std::back_inserter(lines), head);
        EXPECT_THAT(lines, UnorderedElementsAreArray(standardError));
    }

    // Deliberately kept: the library once it is loaded, with its record; the sink; the subscription, for which there is
    // no handle; a rendered event's buffer that could not be filled.
    void expectNothingHeldBut(Kept kept) const
    {
        const bool com = kept != Kept::nothing && kept != Kept::apartment;
        EXPECT_EQ(life.com.heldReferences(), referencesOf(kept));
        EXPECT_EQ(notedOf("CoInitializeEx").size(),
                  notedOf("CoUninitialize").size() + (com || callFailed("CoInitializeEx") ? 1U : 0U));
        EXPECT_EQ(EngineLife::sessions(), 0);
        EXPECT_EQ(EngineLife::registeredEvents(), 0U);
        EXPECT_EQ(life.system.callsOf("CM_Open_DevNode_Key").size(), life.system.callsOf("RegCloseKey").size());
        EXPECT_EQ(life.system.heldTexts(), 0U);
        EXPECT_LE(life.system.heldBlocks(), 1U);
        EXPECT_EQ(WatchedBuffer::held, callFailed("EvtRender") ? 1 : 0);
    }

    EngineLife life;
};

TEST_F(LifeOfTheEngine, WithoutAFailureTellsOfNoneAndRunsTwice)
{
    liveAndExpectTheRest({});

    EXPECT_THAT(life.results, ElementsAre(0, 1));
    EXPECT_THAT(life.standardError, IsEmpty());
    EXPECT_GT(callsMade().size(), 100U);
}

// Of the calls that a life makes, each kind that is expected to fail.
TEST_F(LifeOfTheEngine, MakesEveryCallWhoseFailureIsTold)
{
    life.live({});

    const Texts made = callsMade();
    for (const Failure& failure : failures) EXPECT_THAT(made, testing::Contains(failure.call));
}

TEST_F(LifeOfTheEngine, SurvivesEachCallThatFailsOnce) { walk(false); }

TEST_F(LifeOfTheEngine, SurvivesEachCallThatFailsWithAllBehindIt) { walk(true); }

}  // namespace
}  // namespace kelvane::tests
