// tests/support/diagnostic_log_inspector.h: the diagnostic log's private members, for tests to look at and to replace.
#pragma once

#include "diagnostics/diagnostic_log.h"

namespace kelvane {

struct DiagnosticLogInspector {
    static std::string makeLogFile() { return DiagnosticLog::makeLogFile(); }

    static void setPath(const std::string& path) { log().filePath = path; }

    static void setTimeStamp(std::function<std::string()> provider) { log().timeStamp = std::move(provider); }

    static void setThreadKey(std::function<std::string()> provider) { log().threadKey = std::move(provider); }

    static std::string threadKey() { return log().threadKey(); }

    static bool opened() { return log().opened; }

    static int echo() { return log().echo; }

    static int verbosity() { return log().verbosity; }

    static std::size_t threadsWithText() { return log().texts.size(); }

    static std::size_t threadsWithLevel() { return log().levels.size(); }

    static void writeUnflushed(const std::string& text) { log().file << text; }

    static void closeFile()
    {
        const std::lock_guard line(log().lineLock);
        log().file.close();
    }

private:
    static DiagnosticLog& log() { return DiagnosticLog::instance(); }
};

}  // namespace kelvane
