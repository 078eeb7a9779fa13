// The main of a test program on Linux: runs each test in a process of its own, several at once.
//
// A process is a fork of this one, which has run no test, so that static state is as it was when main began. Where
// KELVANE_EXEC_TESTS is defined the process starts the program once more: for tests that depend on their process id, or
// on what happens before main. A test fails that ends by a signal, takes longer than its limit, is skipped or disabled.
//
//     PROGRAM [--jobs=N] [--time-limit=SECONDS] [--gtest_...]
//
// KELVANE_JOBS and KELVANE_TIME_LIMIT stand for the first two; the defaults are all processors, and 300 seconds.
// KELVANE_TESTS, a regular expression that is searched for in "Suite.Name", chooses among what the filter lets pass.
#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char chosenTest[] = "KELVANE_TEST";  // its value: the one test that this process is to run
constexpr int exitPassed = 76;                 // not 0: a test that leaves in its middle might do so with 0
constexpr int exitSkipped = 77;

struct Options {
    int jobs = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    milliseconds timeLimit = std::chrono::seconds(300);
    std::vector<char*> arguments;  // of a program that is started for one test
};

struct Running {
    std::string name;
    int output;
    Clock::time_point start;
    bool outOfTime = false;
};

struct Failure {
    std::string name;
    std::string reason;
};

[[noreturn]] void giveUp(const std::string& what)
{
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(2);
}

[[noreturn]] void giveUpOnCall(const char* call) { giveUp(std::string(call) + ": " + std::strerror(errno)); }

double positive(const std::string& option, const char* text)
{
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(value > 0)) giveUp(option + " is to be a number above 0, not: " + text);
    return value;
}

void setOption(Options& options, const std::string& name, const char* text)
{
    const double value = positive(name, text);
    if (name == "--jobs") {
        options.jobs = std::max(1, static_cast<int>(value));
    } else {
        options.timeLimit = milliseconds(static_cast<std::int64_t>(value * 1000));
    }
}

// googletest has taken its own arguments away.
Options readOptions(int count, char** arguments)
{
    Options options;
    if (const char* text = std::getenv("KELVANE_JOBS")) setOption(options, "--jobs", text);
    if (const char* text = std::getenv("KELVANE_TIME_LIMIT")) setOption(options, "--time-limit", text);
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const std::size_t sign = argument.find('=');
        const std::string name = argument.substr(0, sign);
        if (sign == std::string::npos || (name != "--jobs" && name != "--time-limit")) {
            giveUp("unknown argument: " + argument);
        }
        setOption(options, name, arguments[i] + sign + 1);
    }
    return options;
}

int runChosenTest(const std::string& name)
{
    GTEST_FLAG_SET(list_tests, false);
    GTEST_FLAG_SET(filter, name);
    const int failed = RUN_ALL_TESTS();
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    if (tests.skipped_test_count() > 0) return exitSkipped;
    return failed == 0 && tests.successful_test_count() == 1 ? exitPassed : 1;
}

// The tests that the filter and KELVANE_TESTS choose. googletest applies its filter only when it runs or lists.
struct Choice {
    std::deque<std::string> enabled;
    std::vector<std::string> disabled;
};

void applyFilter()
{
    std::fflush(stdout);
    const int original = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (original < 0 || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0) giveUpOnCall("dup");
    GTEST_FLAG_SET(list_tests, true);
    if (RUN_ALL_TESTS() != 0) giveUp("the tests cannot be listed");
    std::fflush(stdout);
    dup2(original, STDOUT_FILENO);
    close(original);
    close(nowhere);
}

Choice chooseTests()
{
    applyFilter();
    const char* const pattern = std::getenv("KELVANE_TESTS");
    const std::regex wanted(pattern ? pattern : "");
    const testing::UnitTest& tests = *testing::UnitTest::GetInstance();
    Choice choice;
    for (int i = 0; i < tests.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *tests.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const testing::TestInfo& test = *suite.GetTestInfo(j);
            const std::string name = std::string(suite.name()) + "." + test.name();
            if (!test.is_reportable() || !std::regex_search(name, wanted)) continue;
            if (test.should_run()) {
                choice.enabled.push_back(name);
            } else {
                choice.disabled.push_back(name);
            }
        }
    }
    return choice;
}

// The signals that wake the parent: it waits for them and handles none.
sigset_t awaitedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : { SIGCHLD, SIGINT, SIGTERM, SIGHUP }) sigaddset(&signals, signal);
    return signals;
}

class Runner {
public:
    explicit Runner(Options runOptions) : options(std::move(runOptions)), awaited(awaitedSignals())
    {
        sigprocmask(SIG_BLOCK, &awaited, &signalsBefore);
    }

    void run(std::deque<std::string> names)
    {
        while (!names.empty() || !running.empty()) {
            while (!names.empty() && running.size() < static_cast<std::size_t>(options.jobs)) {
                start(names.front());
                names.pop_front();
            }
            await();
            if (!failures.empty() && GTEST_FLAG_GET(fail_fast)) names.clear();
        }
    }

    void fail(const std::string& name, const std::string& reason)
    {
        std::printf("[  FAILED  ] %s (%s)\n", name.c_str(), reason.c_str());
        std::fflush(stdout);
        failures.push_back({ name, reason });
    }

    int summary(Clock::time_point begin) const
    {
        const auto taken = std::chrono::duration_cast<milliseconds>(Clock::now() - begin).count();
        std::printf("[==========] %zu tests ran. (%lld ms total)\n", passed + failures.size(),
                    static_cast<long long>(taken));
        std::printf("[  PASSED  ] %zu tests.\n", passed);
        if (failures.empty()) return 0;
        std::printf("[  FAILED  ] %zu tests, listed below:\n", failures.size());
        for (const Failure& failure : failures) {
            std::printf("[  FAILED  ] %s (%s)\n", failure.name.c_str(), failure.reason.c_str());
        }
        return 1;
    }

private:
    void start(const std::string& name)
    {
        const int output = memfd_create("output", MFD_CLOEXEC);
        if (output < 0) giveUpOnCall("memfd_create");
        std::fflush(nullptr);
        const pid_t parent = getpid();
        const pid_t child = fork();
        if (child < 0) giveUpOnCall("fork");
        if (child == 0) runAsChild(name, output, parent);
        setpgid(child, child);
        running[child] = { name, output, Clock::now() };
    }

    [[noreturn]] void runAsChild(const std::string& name, int output, pid_t parent)
    {
        setpgid(0, 0);  // so that what a test starts ends with it
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(1);
        sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        setenv(chosenTest, name.c_str(), 1);
#ifdef KELVANE_EXEC_TESTS
        execv("/proc/self/exe", options.arguments.data());
        giveUpOnCall("exec");
#else
        std::exit(runChosenTest(name));
#endif
    }

    // Until a test ends or is out of time. Another signal ends all of them, and this program.
    void await()
    {
        const milliseconds left = std::clamp(untilNextLimit(), milliseconds(0), milliseconds(3'600'000));
        const timespec pause = { left.count() / 1000, left.count() % 1000 * 1'000'000 };
        const int signal = sigtimedwait(&awaited, nullptr, &pause);
        if (signal > 0 && signal != SIGCHLD) endBySignal(signal);
        endWhatIsOutOfTime();
        int status = 0;
        for (pid_t child = 0; (child = waitpid(-1, &status, WNOHANG)) > 0;) finish(child, status);
    }

    milliseconds untilNextLimit() const
    {
        auto next = Clock::time_point::max();
        for (const auto& [child, test] : running) next = std::min(next, test.start + options.timeLimit);
        return std::chrono::ceil<milliseconds>(next - Clock::now());
    }

    void endWhatIsOutOfTime()
    {
        for (auto& [child, test] : running) {
            if (test.outOfTime || Clock::now() < test.start + options.timeLimit) continue;
            test.outOfTime = true;
            kill(-child, SIGKILL);
        }
    }

    [[noreturn]] void endBySignal(int signal)
    {
        for (const auto& [child, test] : running) kill(-child, SIGKILL);
        std::signal(signal, SIG_DFL);
        sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
        raise(signal);
        std::_Exit(128 + signal);  // the signal was blocked from the beginning
    }

    void finish(pid_t child, int status)
    {
        const auto found = running.find(child);
        if (found == running.end()) return;
        const Running test = found->second;
        running.erase(found);
        kill(-child, SIGKILL);  // what the test has left behind
        if (const auto reason = failureOf(test, status)) {
            show(test.output);
            fail(test.name, *reason);
        } else {
            ++passed;
        }
        close(test.output);
    }

    std::optional<std::string> failureOf(const Running& test, int status) const
    {
        const auto limit = static_cast<double>(options.timeLimit.count()) / 1000;
        if (test.outOfTime) {
            char text[64];
            std::snprintf(text, sizeof text, "not over after %g s", limit);
            return text;
        }
        if (WIFSIGNALED(status)) {
            const char* const name = sigabbrev_np(WTERMSIG(status));
            return name ? std::string("SIG") + name : "signal " + std::to_string(WTERMSIG(status));
        }
        if (WEXITSTATUS(status) == exitSkipped) return "skipped";
        if (WEXITSTATUS(status) == 0) return "ended in the middle";
        if (WEXITSTATUS(status) != exitPassed) return "exit code " + std::to_string(WEXITSTATUS(status));
        return std::nullopt;
    }

    static void show(int output)
    {
        char buffer[4096];
        lseek(output, 0, SEEK_SET);
        for (ssize_t count = 0; (count = read(output, buffer, sizeof buffer)) > 0;) {
            std::fwrite(buffer, 1, static_cast<std::size_t>(count), stdout);
        }
    }

    Options options;
    sigset_t awaited;
    sigset_t signalsBefore;
    std::map<pid_t, Running> running;
    std::vector<Failure> failures;
    std::size_t passed = 0;
};

}  // namespace

int main(int count, char** arguments)
{
    const std::vector<char*> all(arguments, arguments + count + 1);
    testing::InitGoogleMock(&count, arguments);
    if (const char* name = std::getenv(chosenTest)) return runChosenTest(name);
    if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();

    Options options = readOptions(count, arguments);
    options.arguments = all;
    Choice choice = chooseTests();
    if (choice.enabled.empty() && choice.disabled.empty()) {
        std::puts("None of the tests that were asked for is in this program.");
        return 0;
    }
    const auto begin = Clock::now();
    Runner runner(std::move(options));
    for (const std::string& name : choice.disabled) runner.fail(name, "disabled");
    runner.run(std::move(choice.enabled));
    return runner.summary(begin);
}
