// Which of the four branches ends a step.
#include "controller/control_step.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

struct Row {
    int clipCount;
    int prev;
    int pkgPower;
    Branch branch;
};

void expectBranches(std::initializer_list<Row> rows)
{
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.clipCount) + " " + std::to_string(row.prev) + " " +
                     std::to_string(row.pkgPower));
        LoopState loop;
        loop.clipCount = row.clipCount;
        loop.prev = row.prev;
        pkgPower = row.pkgPower;

        EXPECT_EQ(chooseBranch(loop), row.branch);
    }
}

TEST(ChooseBranch, ClipsComeFirst)
{
    acMode = 1;
    pwrDeltaThreshold = 100;

    expectBranches({
        { 1, 3000, 9000, Branch::clip },
        { 10, 3000, 100, Branch::clip },
        { -1, 3000, 9000, Branch::noChange },
        { -1, 0, 100, Branch::noChange },
    });
}

TEST(ChooseBranch, RiseOfTheThresholdIsUp)
{
    acMode = 1;
    pwrDeltaThreshold = 100;

    expectBranches({
        { 0, 3000, 3099, Branch::down },
        { 0, 3000, 3100, Branch::up },
        { 0, 3000, 2000, Branch::down },
        { 0, 0, 9000, Branch::down },
        { 0, 1, 9000, Branch::up },
        { 0, -1, 9000, Branch::up },
    });

    pwrDeltaThreshold = 0;
    expectBranches({ { 0, 3000, 3000, Branch::up }, { 0, 3000, 2999, Branch::down } });
}

TEST(ChooseBranch, RiseWithinTheIdleBandIsNoChange)
{
    pwrDeltaThreshold = 100;

    acMode = 1;
    expectBranches({ { 0, 500, 1100, Branch::noChange },
                     { 0, 500, 1101, Branch::up },
                     { 0, 500, 599, Branch::down },
                     { 0, 500, 600, Branch::noChange },
                     { 0, 0, 1000, Branch::down } });
    acMode = 0;
    expectBranches({ { 0, 500, 1300, Branch::noChange }, { 0, 500, 1301, Branch::up } });
    acMode = 255;
    expectBranches({ { 0, 500, 1100, Branch::noChange }, { 0, 500, 1101, Branch::up } });
}

TEST(ChooseBranch, HugePowersDoNotOverflow)
{
    acMode = 1;
    pwrDeltaThreshold = 300;

    expectBranches({ { 0, INT_MAX, INT_MAX, Branch::down }, { 0, 3000, INT_MAX, Branch::up } });
}

}  // namespace
}  // namespace kelvane::tests
