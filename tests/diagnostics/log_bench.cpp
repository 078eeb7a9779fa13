#include "tests/diagnostics/log_bench.h"

#include "tests/support/diagnostic_log_inspector.h"

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kelvane::tests {

std::string standardOutputOf(const std::function<void()>& action)
{
    const std::wstring capture = (roamingFolder() / "stdout.txt").wstring();
    constexpr int standardOutput = 1;
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
        const std::size_t lineEnd = std::min(rest.find("\n" + opening), rest.size() - 1);
        std::string message = rest.substr(opening.size(), lineEnd - opening.size());
        messages.push_back(message.erase(message.find("] "), 1));  // raises when there is no word
        rest.erase(0, lineEnd + 1);
    }
    return messages;
}

ClosedLog::ClosedLog()
{
    DiagnosticLogInspector::setTimeStamp([] { return "now\n"; });
    DiagnosticLogInspector::setThreadKey([this] { return thread; });
}

DiagnosticLog& ClosedLog::as(const std::string& newThread)
{
    thread = newThread;
    return log;
}

OpenLog::OpenLog()
{
    log.configure(0, "info");
    log.open();
}

}  // namespace kelvane::tests
