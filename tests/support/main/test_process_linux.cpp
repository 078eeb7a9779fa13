// A process is a fork of this one, which has run no test, so that static state is as it was when main began. Where
// KELVANE_EXEC_TESTS is defined the process starts the program once more: for tests that depend on their process id, or
// on what happens before main.
#include "tests/support/main/test_process.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kelvane::tests {

namespace {

// The signals that wake the parent: it waits for them and handles none.
sigset_t awaitedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : { SIGCHLD, SIGINT, SIGTERM, SIGHUP }) sigaddset(&signals, signal);
    return signals;
}

sigset_t signalsBefore;

[[noreturn]] void giveUpOnCall(const char* call) { giveUp(std::string(call) + ": " + std::strerror(errno)); }

[[noreturn]] void runAsChild(const std::string& name, const std::vector<char*>& arguments, int output, pid_t parent)
{
    setpgid(0, 0);  // so that what a test starts ends with it
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    setenv(chosenTest, name.c_str(), 1);
#ifdef KELVANE_EXEC_TESTS
    execv("/proc/self/exe", arguments.data());
    giveUpOnCall("exec");
#else
    static_cast<void>(arguments);
    std::exit(runChosenTest(name));
#endif
}

}  // namespace

struct TestProcess::System {
    pid_t child = 0;
    int output = -1;
    bool over = false;
    int status = 0;
};

TestProcess::TestProcess(const std::string& testName, const std::vector<char*>& arguments)
    : system(std::make_unique<System>())
{
    system->output = memfd_create("output", MFD_CLOEXEC);
    if (system->output < 0) giveUpOnCall("memfd_create");
    std::fflush(nullptr);
    const pid_t parent = getpid();
    system->child = fork();
    if (system->child < 0) giveUpOnCall("fork");
    if (system->child == 0) runAsChild(testName, arguments, system->output, parent);
    setpgid(system->child, system->child);
}

TestProcess::~TestProcess()
{
    kill(-system->child, SIGKILL);
    if (!system->over) waitpid(system->child, nullptr, 0);
    close(system->output);
}

bool TestProcess::isOver()
{
    system->over = system->over || waitpid(system->child, &system->status, WNOHANG) == system->child;
    return system->over;
}

std::optional<std::string> TestProcess::failure() const
{
    if (!WIFSIGNALED(system->status)) return failureOfExitCode(WEXITSTATUS(system->status));
    const char* const name = sigabbrev_np(WTERMSIG(system->status));
    return name ? std::string("SIG") + name : "signal " + std::to_string(WTERMSIG(system->status));
}

void TestProcess::showOutput() const
{
    char buffer[4096];
    lseek(system->output, 0, SEEK_SET);
    for (ssize_t count = 0; (count = read(system->output, buffer, sizeof buffer)) > 0;) {
        std::fwrite(buffer, 1, static_cast<std::size_t>(count), stdout);
    }
}

void TestProcesses::prepare()
{
    const sigset_t awaited = awaitedSignals();
    sigprocmask(SIG_BLOCK, &awaited, &signalsBefore);
}

std::optional<int> TestProcesses::await(const std::vector<TestProcess*>& /*running*/,
                                        std::chrono::milliseconds patience)
{
    const auto ms = std::clamp<std::int64_t>(patience.count(), 0, 3'600'000);
    const timespec pause = { ms / 1000, ms % 1000 * 1'000'000 };
    const sigset_t awaited = awaitedSignals();
    const int signal = sigtimedwait(&awaited, nullptr, &pause);
    if (signal > 0 && signal != SIGCHLD) return signal;
    return std::nullopt;
}

void TestProcesses::endBySignal(int signal)
{
    std::signal(signal, SIG_DFL);
    sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
    raise(signal);
    std::_Exit(128 + signal);  // the signal was blocked from the beginning
}

}  // namespace kelvane::tests
