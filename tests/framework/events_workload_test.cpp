// The workload event: its class, and when it asks the loop for a pause.
#include "framework/events.h"
#include "state/state.h"

#include "tests/framework/event_inputs.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::IsEmpty;

void deliverWorkload(std::uint32_t raw)
{
    const OrqData payload = { 3, &raw, 4, 4 };
    onFrameworkEvent(0, 183, "TCPU", &payload);
}

TEST(WorkloadEvent, RawClassesOneAndTwoAreMappedAndAllOthersKept)
{
    struct Row {
        std::uint32_t raw;
        int workload;
    };

    constexpr Row rows[] = {
        { 0, 0 },           { 1, 5 }, { 2, 4 }, { 3, 3 }, { 4, 4 }, { 5, 5 }, { 6, 6 }, { 2147483647, 2147483647 },
        { 0xFFFFFFFF, -1 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.raw);
        g_workload = 77;

        deliverWorkload(row.raw);

        EXPECT_EQ(g_workload, row.workload);
        EXPECT_EQ(g_workloadRaw, row.raw);
    }
}

TEST(WorkloadEvent, SetsItsThreeFlagsAndNothingElseAndLogsNothing)
{
    RecordedMessages log;

    deliverWorkload(1);

    EXPECT_EQ(eventInputs(), "verbosity 1, scheme data none, scheme 0, slider 0 changed 0, raw 1, workload 5, "
                             "pending 1, hold 4, seen 1, pause 0, disconnected 0, prevWorkload -1, status 0");
    EXPECT_THAT(log.messages, IsEmpty());
}

TEST(WorkloadEvent, SetsItsFlagsAgainForTheSameClass)
{
    deliverWorkload(1);
    g_workloadEventPending = 0;
    g_workloadEventHold = 2;
    g_workloadEventSeen = 0;

    deliverWorkload(1);

    EXPECT_EQ(g_workloadEventPending, 1);
    EXPECT_EQ(g_workloadEventHold, 4);
    EXPECT_EQ(g_workloadEventSeen, 1);
}

TEST(WorkloadEvent, CountsWithoutAParticipantAndWithAnyContext)
{
    std::uint32_t raw = 2;
    const OrqData payload = { 3, &raw, 4, 4 };

    onFrameworkEvent(99, 183, nullptr, &payload);

    EXPECT_EQ(g_workload, 4);
}

// Rows: the previous class. Columns: the raw class of the event, 0 to 6.
struct PauseRow {
    int previous;
    int pauses[7];
};

constexpr PauseRow pauseTable[] = {
    // raw 0  1  2  3  4  5  6
    { -1, { 0, 0, 0, 0, 0, 0, 0 } }, { 0, { 0, 0, 0, 0, 0, 0, 0 } }, { 1, { 0, 0, 0, 0, 0, 0, 0 } },
    { 2, { 0, 0, 0, 0, 0, 0, 0 } },  { 3, { 0, 0, 1, 0, 1, 0, 0 } }, { 4, { 0, 0, 0, 0, 0, 0, 0 } },
    { 5, { 1, 0, 1, 1, 1, 0, 1 } },  { 6, { 0, 0, 0, 0, 0, 0, 0 } },
};

TEST(WorkloadEvent, AsksForAPauseWhenItLeavesClassFiveOrGoesFromThreeToFour)
{
    for (const PauseRow& row : pauseTable) {
        for (std::uint32_t raw = 0; raw < 7; ++raw) {
            SCOPED_TRACE("previous class " + std::to_string(row.previous) + ", raw " + std::to_string(raw));
            prevWorkload = row.previous;
            PwrPause = 0;

            deliverWorkload(raw);

            EXPECT_EQ(PwrPause, row.pauses[raw]);
            EXPECT_EQ(prevWorkload, row.previous);
        }
    }
}

TEST(WorkloadEvent, LeavesAPauseThatIsAlreadyAskedForAlone)
{
    for (const PauseRow& row : pauseTable) {
        for (std::uint32_t raw = 0; raw < 7; ++raw) {
            SCOPED_TRACE("previous class " + std::to_string(row.previous) + ", raw " + std::to_string(raw));
            prevWorkload = row.previous;
            PwrPause = 1;

            deliverWorkload(raw);

            EXPECT_EQ(PwrPause, 1);
        }
    }
}

}  // namespace
}  // namespace kelvane::tests
