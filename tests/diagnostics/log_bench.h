// tests/diagnostics/log_bench.h: fixtures for tests of the diagnostic log with its real file.
//
// Each test is a process of its own, so the log starts as the process start leaves it: made, emptied and not open.
#pragma once

#include "diagnostics/diagnostic_log.h"
#include "tests/support/log_folder.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace kelvane::tests {

// The piece that ends a message.
inline constexpr const char* end = "\n";

// What `action` brought to standard output without anybody else flushing it.
std::string standardOutputOf(const std::function<void()>& action);

// Each message in the log file as "WORD text", if all were stamped "now\n".
std::vector<std::string> loggedMessages();

// The log with the time stamp "now\n" and threads in name only: what follows `as("a")` is done by thread "a".
class ClosedLog : public testing::Test {
protected:
    ClosedLog();

    DiagnosticLog& as(const std::string& newThread);

    DiagnosticLog& log = DiagnosticLog::instance();
    std::string thread = "a";
};

// The same, open and without the echo.
class OpenLog : public ClosedLog {
protected:
    OpenLog();
};

}  // namespace kelvane::tests
