#include "tests/diagnostics/log_bench.h"

#include "tests/support/diagnostic_log_inspector.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kelvane::tests {

namespace {

constexpr int standardOutput = 1;

std::string& currentThread()
{
    static auto& name = *new std::string("a");
    return name;
}

}  // namespace

std::string standardOutputOf(const std::function<void()>& action)
{
    const std::wstring capture = (roamingFolder() / "stdout.txt").wstring();
    std::fflush(stdout);
    const int original = _dup(standardOutput);
    const int file = _wopen(capture.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_TEXT, _S_IREAD | _S_IWRITE);
    _dup2(file, standardOutput);
    _close(file);

    action();

    std::ifstream in{ std::filesystem::path(capture) };
    std::string text{ std::istreambuf_iterator<char>(in), {} };
    std::fflush(stdout);
    _dup2(original, standardOutput);
    _close(original);
    return text;
}

std::vector<std::string> loggedMessages()
{
    const std::string opening = "[now\n][";
    std::vector<std::string> messages;
    for (std::string rest = logFileBytes(); !rest.empty();) {
        if (!rest.starts_with(opening) || !rest.ends_with('\n')) throw std::runtime_error("not a log line: " + rest);
        const std::size_t next = rest.find("\n" + opening);
        std::string message = rest.substr(opening.size(), next - opening.size());
        if (next == std::string::npos) message.pop_back();
        const std::size_t wordEnd = message.find("] ");
        if (wordEnd == std::string::npos) throw std::runtime_error("no level word: " + message);
        messages.push_back(message.erase(wordEnd, 1));
        rest.erase(0, next == std::string::npos ? next : next + 1);
    }
    return messages;
}

ClosedLog::ClosedLog()
{
    DiagnosticLogInspector::setTimeStamp([] { return "now\n"; });
    DiagnosticLogInspector::setThreadKey([] { return currentThread(); });
}

DiagnosticLog& ClosedLog::as(const std::string& thread)
{
    currentThread() = thread;
    return log;
}

OpenLog::OpenLog()
{
    log.configure(0, "info");
    log.open();
}

}  // namespace kelvane::tests
