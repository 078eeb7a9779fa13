// Tests that pass and fail in every way, for the test of the main that runs them.
#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace kelvane::tests {
namespace {

int testsSoFar = 0;
const pid_t processBeforeMain = getpid();

TEST(Good, FindsFreshStaticState) { EXPECT_EQ(++testsSoFar, 1); }

TEST(Good, FindsItFreshOnceMore) { EXPECT_EQ(++testsSoFar, 1); }

TEST(Good, TakesAMoment) { std::this_thread::sleep_for(std::chrono::milliseconds(700)); }

TEST(Good, TakesAMomentToo) { std::this_thread::sleep_for(std::chrono::milliseconds(700)); }

TEST(Process, IsTheOneFromBeforeMain) { EXPECT_EQ(processBeforeMain, getpid()); }

TEST(Bad, Fails) { EXPECT_EQ(1 + 1, 3) << "sums differ"; }

TEST(Bad, Throws) { throw std::runtime_error("thrown inside"); }

TEST(Bad, Aborts)
{
    std::puts("last words");
    std::fflush(stdout);
    std::abort();
}

TEST(Bad, IsKilled) { raise(SIGKILL); }

TEST(Bad, LeavesWithCode5) { std::exit(5); }

TEST(Bad, LeavesAsIfAllWereWell) { std::exit(0); }

TEST(Bad, IsSkipped) { GTEST_SKIP() << "not here"; }

TEST(Bad, DISABLED_IsNotRun) { SUCCEED(); }

// With a process of its own, that would outlive it.
TEST(Endless, Hangs)
{
    const pid_t child = fork();
    if (child != 0) {
        std::printf("started %d\n", static_cast<int>(child));
        std::fflush(stdout);
    }
    for (;;) pause();
}

TEST(Endless, LeavesAProcessBehind)
{
    const pid_t child = fork();
    if (child == 0) {
        for (;;) pause();
    }
    std::FILE* const note = std::fopen(std::getenv("KELVANE_NOTE"), "w");
    std::fprintf(note, "%d", static_cast<int>(child));
    std::fclose(note);
}

}  // namespace
}  // namespace kelvane::tests
