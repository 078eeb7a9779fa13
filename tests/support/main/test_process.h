// tests/support/main/test_process.h: one test in a process of its own (test_process_linux.cpp,
// test_process_windows.cpp).
//
// One thread does all of it.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kelvane::tests {

// Tells a process that the program has started once more which test it is to run.
constexpr char chosenTest[] = "KELVANE_TEST";
constexpr int exitPassed = 76;  // not 0: a test that leaves in its middle might do so with 0
constexpr int exitSkipped = 77;

// Runs one test here; its result is the process's exit code.
int runChosenTest(const std::string& name);

class TestProcess {
public:
    // Starts the test. `arguments` are those of this program, and end with a null.
    TestProcess(const std::string& testName, const std::vector<char*>& arguments);

    // Ends the process, and what it has started.
    ~TestProcess();

    TestProcess(const TestProcess&) = delete;
    TestProcess& operator=(const TestProcess&) = delete;

    bool isOver();

    // The rest is for one that is over. Why the test has not passed; none if it has.
    std::optional<std::string> failure() const;
    void showOutput() const;

private:
    struct System;
    std::unique_ptr<System> system;

    friend struct TestProcesses;
};

// What concerns all of them.
struct TestProcesses {
    // Before the first one is started.
    static void prepare();

    // Until one of them may be over, or the time has passed. A signal that is to end this program is returned.
    static std::optional<int> await(const std::vector<TestProcess*>& running, std::chrono::milliseconds patience);

    [[noreturn]] static void endBySignal(int signal);
};

inline std::optional<std::string> failureOfExitCode(int code)
{
    if (code == exitPassed) return std::nullopt;
    if (code == exitSkipped) return "skipped";
    if (code == 0) return "ended in the middle";
    return "exit code " + std::to_string(code);
}

[[noreturn]] void giveUp(const std::string& what);

}  // namespace kelvane::tests
