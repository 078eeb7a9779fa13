// The order of the workload event's stores. On Windows alone: the watch needs its traps.
#include "framework/events.h"
#include "state/state.h"

#include "tests/framework/store_watch.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;

TEST(WorkloadEvent, StoresTheClassBeforeTheFlags)
{
    prevWorkload = 5;  // so that the pause is asked for as well
    StoreWatch watch({ &g_workloadRaw, &g_workload, &g_workloadEventPending, &g_workloadEventHold, &g_workloadEventSeen,
                       &PwrPause });

    std::uint32_t raw = 2;
    const OrqData payload = { 3, &raw, 4, 4 };
    const auto stores = watch.during([&] { onFrameworkEvent(0, 183, "TCPU", &payload); });

    EXPECT_THAT(stores, ElementsAre(&g_workloadRaw, &g_workload, &g_workloadEventPending, &g_workloadEventHold,
                                    &g_workloadEventSeen, &PwrPause));
    EXPECT_EQ(g_workload, 4);
}

}  // namespace
}  // namespace kelvane::tests
