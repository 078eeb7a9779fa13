// A process is this program, started once more. It and what it starts are in a job, which ends with its handle.
#include "tests/support/main/test_process.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace kelvane::tests {

namespace {

constexpr int startAttempts = 3;  // Wine refuses one now and then when the machine is busy

[[noreturn]] void giveUpOnCall(const char* call)
{
    giveUp(std::string(call) + ": error " + std::to_string(GetLastError()));
}

// A file that goes with its last handle, which children inherit.
HANDLE makeOutputFile()
{
    std::array<char, MAX_PATH> folder{};
    std::array<char, MAX_PATH> path{};
    GetTempPathA(MAX_PATH, folder.data());
    if (GetTempFileNameA(folder.data(), "out", 0, path.data()) == 0) giveUpOnCall("GetTempFileName");
    SECURITY_ATTRIBUTES inherited = { sizeof inherited, nullptr, TRUE };
    const HANDLE file = CreateFileA(path.data(), GENERIC_READ | GENERIC_WRITE | DELETE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) giveUpOnCall("CreateFile");
    return file;
}

HANDLE makeJob()
{
    const HANDLE job = CreateJobObjectA(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!job || !SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits)) {
        giveUpOnCall("CreateJobObject");
    }
    return job;
}

}  // namespace

struct TestProcess::System {
    std::string name;
    HANDLE output = makeOutputFile();
    HANDLE job = makeJob();
    HANDLE process = nullptr;
    int attempts = 0;

    void start()
    {
        STARTUPINFOA startup = {};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
        startup.hStdOutput = output;
        startup.hStdError = output;
        PROCESS_INFORMATION started = {};
        std::string command = GetCommandLineA();
        SetEnvironmentVariableA(chosenTest, name.c_str());
        while (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr,
                               &startup, &started)) {
            if (++attempts >= startAttempts) giveUpOnCall("CreateProcess");
        }
        SetEnvironmentVariableA(chosenTest, nullptr);
        AssignProcessToJobObject(job, started.hProcess);
        ResumeThread(started.hThread);
        CloseHandle(started.hThread);
        process = started.hProcess;
    }

    DWORD exitCode() const
    {
        DWORD code = STILL_ACTIVE;
        GetExitCodeProcess(process, &code);
        return code;
    }

    // Wine's loader now and then ends before the program begins. One that began has printed something.
    bool hasFailedToBegin() const { return exitCode() == 1 && GetFileSize(output, nullptr) == 0; }
};

TestProcess::TestProcess(const std::string& testName, const std::vector<char*>& /*arguments*/)
    : system(std::make_unique<System>())
{
    system->name = testName;
    system->start();
}

TestProcess::~TestProcess()
{
    TerminateJobObject(system->job, 1);
    WaitForSingleObject(system->process, INFINITE);
    for (const HANDLE handle : { system->process, system->job, system->output }) CloseHandle(handle);
}

bool TestProcess::isOver()
{
    if (WaitForSingleObject(system->process, 0) != WAIT_OBJECT_0) return false;
    if (!system->hasFailedToBegin() || ++system->attempts >= startAttempts) return true;
    std::printf("Wine did not start: %s\n", system->name.c_str());
    CloseHandle(system->process);
    system->start();
    return false;
}

std::optional<std::string> TestProcess::failure() const
{
    return failureOfExitCode(static_cast<int>(system->exitCode()));
}

void TestProcess::showOutput() const
{
    std::fflush(stdout);
    std::array<char, 4096> buffer{};
    DWORD count = 0;
    SetFilePointer(system->output, 0, nullptr, FILE_BEGIN);
    while (ReadFile(system->output, buffer.data(), buffer.size(), &count, nullptr) && count > 0) {
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), buffer.data(), count, &count, nullptr);
    }
}

// A signal ends this process at once, and its handles with it.
void TestProcesses::prepare() {}

std::optional<int> TestProcesses::await(const std::vector<TestProcess*>& running, std::chrono::milliseconds patience)
{
    std::vector<HANDLE> processes;
    for (const TestProcess* test : running) processes.push_back(test->system->process);
    const auto ms = std::clamp<std::int64_t>(patience.count(), 0, 3'600'000);
    WaitForMultipleObjects(static_cast<DWORD>(processes.size()), processes.data(), FALSE, static_cast<DWORD>(ms));
    return std::nullopt;
}

void TestProcesses::endBySignal(int signal) { std::_Exit(128 + signal); }

}  // namespace kelvane::tests
