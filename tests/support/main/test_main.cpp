// The main of a test program: runs each test in a process of its own, several at once, so that static state is fresh.
// A test fails that crashes, takes longer than its limit, is skipped or disabled.
//
//     PROGRAM [--jobs=N] [--time-limit=SECONDS] [--gtest_...]
//
// KELVANE_JOBS and KELVANE_TIME_LIMIT stand for the first two; the defaults are all processors, and 300 seconds.
// KELVANE_TESTS, a regular expression that is searched for in "Suite.Name", chooses among what the filter lets pass.
#include "tests/support/main/test_process.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <list>
#include <optional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace kelvane::tests {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

#ifdef _WIN32
constexpr char nowhere[] = "NUL";
#else
constexpr char nowhere[] = "/dev/null";
#endif

struct Options {
    int jobs = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    milliseconds timeLimit = std::chrono::seconds(300);
    std::vector<char*> arguments;  // of a program that is started for one test
};

struct Running {
    Running(const std::string& testName, const Options& options)
        : name(testName), end(Clock::now() + options.timeLimit), process(testName, options.arguments)
    {
    }

    std::string name;
    Clock::time_point end;  // of its time
    TestProcess process;
};

struct Failure {
    std::string name;
    std::string reason;
};

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

// The tests that the filter and KELVANE_TESTS choose. googletest applies its filter only when it runs or lists.
struct Choice {
    std::deque<std::string> enabled;
    std::vector<std::string> disabled;
};

void applyFilter()
{
    std::fflush(stdout);
    const int original = dup(STDOUT_FILENO);
    const int file = open(nowhere, O_WRONLY);
    if (original < 0 || file < 0 || dup2(file, STDOUT_FILENO) < 0) giveUp("standard output cannot be turned off");
    GTEST_FLAG_SET(list_tests, true);
    if (RUN_ALL_TESTS() != 0) giveUp("the tests cannot be listed");
    std::fflush(stdout);
    dup2(original, STDOUT_FILENO);
    close(original);
    close(file);
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

class Runner {
public:
    explicit Runner(Options runOptions) : options(std::move(runOptions)) { TestProcesses::prepare(); }

    void run(std::deque<std::string> names)
    {
        while (!names.empty() || !running.empty()) {
            while (!names.empty() && running.size() < static_cast<std::size_t>(options.jobs)) {
                running.emplace_back(names.front(), options);
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
    // Until a test ends or is out of time. Another signal ends all of them, and this program.
    void await()
    {
        auto next = Clock::time_point::max();
        std::vector<TestProcess*> processes;
        for (Running& test : running) {
            next = std::min(next, test.end);
            processes.push_back(&test.process);
        }
        if (const auto signal = TestProcesses::await(processes, std::chrono::ceil<milliseconds>(next - Clock::now()))) {
            running.clear();
            TestProcesses::endBySignal(*signal);
        }
        running.remove_if([this](Running& test) { return isFinished(test); });
    }

    bool isFinished(Running& test)
    {
        const bool over = test.process.isOver();
        if (!over && Clock::now() < test.end) return false;
        if (const auto reason = over ? test.process.failure() : outOfTime()) {
            test.process.showOutput();
            fail(test.name, *reason);
        } else {
            ++passed;
        }
        return true;
    }

    std::optional<std::string> outOfTime() const
    {
        char text[64];
        std::snprintf(text, sizeof text, "not over after %g s", static_cast<double>(options.timeLimit.count()) / 1000);
        return text;
    }

    Options options;
    std::list<Running> running;
    std::vector<Failure> failures;
    std::size_t passed = 0;
};

}  // namespace

void giveUp(const std::string& what)
{
    std::fprintf(stderr, "%s\n", what.c_str());
    std::exit(2);
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

}  // namespace kelvane::tests

int main(int count, char** arguments)
{
    using namespace kelvane::tests;
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
