// Children are this program once more; they have the running test from this process's environment.
#include "tests/support/repeated_cases.h"
#include "tests/support/main/test_process.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>

namespace kelvane::tests {

namespace {

constexpr char caseVariable[] = "KELVANE_FAILING_CALL";
constexpr std::size_t childrenAtOnce = 4;
constexpr int startAttempts = 3;  // Wine refuses one now and then when the machine is busy
constexpr DWORD patienceMs = 60000;
constexpr UINT hung = 86;  // exit code of a child that had to be ended

class Child {
public:
    explicit Child(int number) : caseNumber(number)
    {
        std::array<char, MAX_PATH> program{};
        GetModuleFileNameA(nullptr, program.data(), program.size());
        std::string command = "\"" + std::string(program.data()) + "\" --gtest_brief=1";
        SetEnvironmentVariableA(caseVariable, std::to_string(number).c_str());
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        for (int attempt = 0; !started && attempt < startAttempts; ++attempt) {
            started = CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                                     &process) != FALSE;
            error = started ? ERROR_SUCCESS : GetLastError();
        }
        SetEnvironmentVariableA(caseVariable, nullptr);
    }

    // Waits for the end, and brings it about when it does not come.
    ~Child()
    {
        EXPECT_TRUE(started) << "case " << caseNumber << ", error " << error;
        if (!started) return;
        const bool ended = WaitForSingleObject(process.hProcess, patienceMs) == WAIT_OBJECT_0;
        if (!ended) TerminateProcess(process.hProcess, hung);
        DWORD exitCode = 0;
        WaitForSingleObject(process.hProcess, patienceMs);
        GetExitCodeProcess(process.hProcess, &exitCode);
        EXPECT_EQ(exitCode, static_cast<DWORD>(exitPassed)) << "case " << caseNumber;
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

private:
    int caseNumber;
    bool started = false;
    DWORD error = ERROR_SUCCESS;
    PROCESS_INFORMATION process = {};
};

}  // namespace

void repeatInChildren(int calls)
{
    std::array<std::unique_ptr<Child>, childrenAtOnce> running;
    for (int number = 1; number <= calls; ++number) {
        std::unique_ptr<Child>& slot = running[static_cast<std::size_t>(number) % childrenAtOnce];
        slot.reset();
        slot = std::make_unique<Child>(number);
    }
}

int numberOfCase()
{
    const char* const number = std::getenv(caseVariable);
    return number ? std::atoi(number) : 0;
}

}  // namespace kelvane::tests
