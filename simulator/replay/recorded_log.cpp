// The diagnostic log without a file: the members that log_file.cpp defines for the service, made to record.
#include "simulator/replay/recorded_log.h"

#include "diagnostics/diagnostic_log.h"

namespace kelvane {

namespace {

using Recorder = std::function<void(int level, const std::string& text)>;

// Never destroyed, like the log itself.
Recorder& recorder()
{
    static auto& instance = *new Recorder;
    return instance;
}

}  // namespace

namespace simulator {

void recordLog(std::function<void(int level, const std::string& text)> newRecorder)
{
    recorder() = std::move(newRecorder);
}

}  // namespace simulator

std::string DiagnosticLog::makeLogFile() { return {}; }

void DiagnosticLog::open() { opened = true; }

bool DiagnosticLog::writesLevel(int /*level*/) { return true; }

void DiagnosticLog::writeLine(int level, const std::string& text)
{
    const std::lock_guard line(lineLock);
    if (!recorder()) return;
    if (text.ends_with('\n')) {
        recorder()(level, text.substr(0, text.size() - 1));
    } else {
        recorder()(level, text);
    }
}

void DiagnosticLog::flushFile() {}

std::string logTimeStamp() { return {}; }

}  // namespace kelvane
