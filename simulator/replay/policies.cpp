// One loop for all references: decide on a ceiling, write it when it is another, sleep.
#include "simulator/replay/policies.h"
#include "state/state.h"

#include "controller/scaling_loop.h"
#include "framework/core_library.h"
#include "framework/primitives.h"
#include "framework/session.h"
#include "framework/status.h"
#include "simulator/platform/simulated_core.h"

#include <windows.h>

#include <algorithm>
#include <optional>

namespace kelvane::simulator {

namespace {

constexpr double busyLoad = 0.8;   // from here on a governor gives more
constexpr double quietLoad = 0.2;  // below it the conservative one takes back
constexpr std::uint32_t conservativeStep = 500;
constexpr std::uint32_t serviceDefault = 1200;
constexpr std::uint32_t servicePl1Mw = 17000;
constexpr double oraclePatienceMs = 30;  // just below a frame of 30 Hz video

// Each decides on the next ceiling from the present one and what can be seen.
using Decision = std::uint32_t (*)(std::uint32_t ceiling, const ProcessorModel& processor);

std::uint32_t always(std::uint32_t /*ceiling*/, const ProcessorModel& /*processor*/) { return fullPerformance; }

std::uint32_t fixedDefault(std::uint32_t /*ceiling*/, const ProcessorModel& /*processor*/) { return serviceDefault; }

// All at once when busy, else in proportion to the load.
std::uint32_t onDemand(std::uint32_t /*ceiling*/, const ProcessorModel& processor)
{
    const double load = processor.meanLoad();
    return load >= busyLoad ? fullPerformance : static_cast<std::uint32_t>(fullPerformance * load);
}

// Up and down by steps.
std::uint32_t conservative(std::uint32_t ceiling, const ProcessorModel& processor)
{
    const double load = processor.meanLoad();
    if (load >= busyLoad) return std::min(ceiling + conservativeStep, fullPerformance);
    if (load < quietLoad) return ceiling - std::min(ceiling, conservativeStep);
    return ceiling;
}

// What is needed to empty the queue in time, held until it is empty.
std::uint32_t oracle(std::uint32_t ceiling, const ProcessorModel& processor)
{
    if (processor.unfinishedJobs() == 0) return 0;
    return std::max(ceiling, processor.ceilingFor(processor.emptyingMs() / oraclePatienceMs));
}

void control(SessionHandle session, std::uint32_t intervalMs, Decision decide)
{
    std::optional<std::uint32_t> ceiling;
    while (g_engineState == engineRunning && g_serviceStopping == 0) {
        const std::uint32_t next = decide(ceiling.value_or(0), processorAtWork());
        if (next != ceiling) setPerfPreferenceMax(session, next);
        ceiling = next;
        Sleep(intervalMs);
    }
}

std::uint32_t runReference(std::uint32_t intervalMs, Decision decide)
{
    if (Init() != TOVA_OK) return 1;
    const SessionHandle session = SessionCreate(applicationRecord());
    if (SessionConnect(session) != TOVA_OK) return 1;
    setRaplPowerLimit1(session, servicePl1Mw);
    control(session, intervalMs, decide);
    SessionDisconnect(session);
    SessionDestroy(session);
    return 0;
}

constexpr Policy policies[] = {
    { "service", scalingLoop, true },
    { "always-10000", [] { return runReference(1000, always); }, false },
    { "fixed-1200", [] { return runReference(1000, fixedDefault); }, false },
    { "ondemand", [] { return runReference(100, onDemand); }, false },
    { "conservative", [] { return runReference(100, conservative); }, false },
    { "oracle", [] { return runReference(tickMs, oracle); }, false },
};

}  // namespace

const Policy* findPolicy(std::string_view name)
{
    for (const Policy& policy : policies) {
        if (policy.name == name) return &policy;
    }
    return nullptr;
}

}  // namespace kelvane::simulator
