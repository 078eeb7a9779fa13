// The order in which the callback stores what an event brings: whoever sees a flag sees the value behind it.
#include "framework/events.h"
#include "state/state.h"

#include "tests/support/store_watch.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

template<class Payload>
std::vector<std::string> storesOf(std::vector<WatchedVariable> variables, std::uint32_t type, Payload value)
{
    std::vector<std::string> stores;
    const OrqData payload = { 3, &value, sizeof value, sizeof value };
    const StoreWatch watch(std::move(variables), [&](const std::string& name, const std::string& stored) {
        stores.push_back(name + " " + stored);
    });
    onFrameworkEvent(0, type, "TCPU", &payload);
    return stores;
}

TEST(EventStores, WorkloadClassComesBeforeItsFlags)
{
    prevWorkload = 5;  // so that the pause is asked for as well

    EXPECT_THAT(
        storesOf<std::uint32_t>({ WATCHED(g_workloadRaw), WATCHED(g_workload), WATCHED(g_workloadEventPending),
                                  WATCHED(g_workloadEventHold), WATCHED(g_workloadEventSeen), WATCHED(PwrPause) },
                                eventWorkload, 2),
        ElementsAre("g_workloadRaw 2", "g_workload 4", "g_workloadEventPending 1", "g_workloadEventHold 4",
                    "g_workloadEventSeen 1", "PwrPause 1"));
}

TEST(EventStores, SliderPositionComesBeforeItsFlag)
{
    EXPECT_THAT(
        storesOf<std::uint32_t>({ WATCHED(g_powerSlider), WATCHED(g_powerSliderChanged) }, eventPowerSlider, 60),
        ElementsAre("g_powerSlider 60", "g_powerSliderChanged 1"));
}

TEST(EventStores, PowerSchemeDataComesBeforeItsClass)
{
    struct Guid {
        std::uint32_t data1 = 0x8C5E7FDA;
        std::uint32_t rest[3] = {};
    };

    EXPECT_THAT(storesOf<Guid>({ WATCHED(g_powerSchemeData), WATCHED(g_powerScheme) }, eventPowerScheme, {}),
                ElementsAre("g_powerSchemeData set", "g_powerScheme 2"));
}

}  // namespace
}  // namespace kelvane::tests
