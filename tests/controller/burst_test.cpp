// Starting a process-start burst, and the Max Perf Reset of the three branches.
#include "controller/burst.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>
#include <vector>

namespace kelvane::tests {
namespace {

class Burst : public testing::Test {
protected:
    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(Burst, TakesTheProcessStartAndGoesForFullPerformance)
{
    PID_Change = 1;
    NewPID = 0;
    exitCount = -1;
    loop.prefMax = 3000;
    loop.probeSleep = 300;

    startBurst(loop, 3);

    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(exitCount, 3);
    EXPECT_EQ(loop.prev_exitCount, -1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_THAT(machine.happened(), testing::IsEmpty());
}

TEST_F(Burst, OneThatIsCountingIsProlongedByOneStepAtTheMost)
{
    struct Row {
        int exitCount;
        int steps;
        int exitCountAfter;
    };

    const Row rows[] = {
        { -1, 2, 2 }, { -1, 3, 3 }, { 0, 2, 2 }, { 0, 3, 3 }, { 1, 2, 2 }, { 1, 3, 2 },
        { 2, 2, 2 },  { 2, 3, 3 },  { 3, 2, 2 }, { 3, 3, 3 }, { 4, 3, 3 }, { 4, 2, 2 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.exitCount) + " " + std::to_string(row.steps));
        exitCount = row.exitCount;

        startBurst(loop, row.steps);

        EXPECT_EQ(exitCount, row.exitCountAfter);
        EXPECT_EQ(loop.prev_exitCount, row.exitCount);
    }
}

// What each branch does at higher power is tested with the branches.
class MaxPerfResetCases : public Burst {
protected:
    struct Row {
        int pkgPower;
        int exitCount;  // 7 before
        int restorePending;
        std::vector<std::string> messages;
    };

    void expectEach(const MaxPerfReset& reset, const std::vector<Row>& rows)
    {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.pkgPower);
            pkgPower = row.pkgPower;
            exitCount = 7;
            loop.restorePending = 0;
            machine.forget();

            resetMaxPerf(loop, reset);

            EXPECT_EQ(exitCount, row.exitCount);
            EXPECT_EQ(loop.restorePending, row.restorePending);
            EXPECT_EQ(machine.messages(), row.messages);
        }
    }
};

TEST_F(MaxPerfResetCases, LightPowerIsArrangedWithoutALineInEveryBranch)
{
    const std::vector<Row> rows = { { INT_MIN, 2, 1, {} }, { -1, 2, 1, {} }, { 4999, 2, 1, {} } };
    for (const std::uint32_t source : { 0U, 1U, 255U }) {
        SCOPED_TRACE(source);
        acMode = source;

        expectEach(maxPerfResetOnClip, rows);
        expectEach(maxPerfResetOnDown, rows);
        expectEach(maxPerfResetOnUp, rows);
    }
}

// A clip gets full performance only above 7500 mW on battery, so its branch never comes here with less.
TEST_F(MaxPerfResetCases, ClipBelowHalfOfPL1)
{
    const std::vector<Row> rows = {
        { 5000, 2, 1, { "2  ******* Max Perf Reset set 3 ==2" } },
        { 8499, 2, 1, { "2  ******* Max Perf Reset set 3 ==2" } },
        { 8500, 3, 1, { "2  ******* Max Perf Reset set 4 ==3" } },
    };

    expectEach(maxPerfResetOnClip, rows);
}

TEST_F(MaxPerfResetCases, HalfOfTheWorkingLimitIsTruncated)
{
    const std::vector<Row> rows = {
        { 5999, 2, 1, { "2  ******* Max Perf Reset set 1 exitCount ==2" } },
        { 6000, 3, 1, { "2  ******* Max Perf Reset set 2 exitCount ==3" } },
        { 12000, 3, 1, { "2  ******* Max Perf Reset set 2 exitCount ==3" } },
        { 12001, 7, 0, { "2  ******* Max Perf Reset Not done ==" } },
    };
    cpuPL1 = 12001;

    expectEach(maxPerfResetOnDown, rows);
}

TEST_F(MaxPerfResetCases, LightPowerComesBeforeALowLimit)
{
    const std::vector<Row> rows = {
        { 4999, 2, 1, {} },
        { 5000, 7, 0, { "2  ******* Max Perf Reset Not done ==" } },
    };
    cpuPL1 = 4000;

    expectEach(maxPerfResetOnDown, rows);
}

}  // namespace
}  // namespace kelvane::tests
