// Gathers the pieces of each thread's message and hands whole lines to the file.
//
// A thread's text and level live in two tables under its key and are removed with each flush. A thread that was flushed
// therefore counts as level 0 again, and its next message at another level flushes all threads: a message that another
// thread is still putting together is then written as a line of its own, and the rest of it becomes a further line, at
// level 0. Deliberate: this is how the file has always looked.
#include "diagnostics/diagnostic_log.h"

#include <windows.h>

namespace kelvane {

namespace {

// Makes the object, and empties the file, before main runs.
[[maybe_unused]] DiagnosticLog* const theLog = &DiagnosticLog::instance();

}  // namespace

const std::string& levelWord(int level)
{
    static const auto& words = *new std::map<int, std::string>{
        { 0, "DEBUG" },
        { 2, "INFO" },
        { 3, "WARNING" },
        { 4, "ERROR" },
    };
    static const auto& none = *new std::string("NONE");
    const auto word = words.find(level);
    return word == words.end() ? none : word->second;
}

std::string asText(std::int64_t number) { return std::to_string(number); }

DiagnosticLog& DiagnosticLog::instance()
{
    static DiagnosticLog& log = *new DiagnosticLog;
    return log;
}

DiagnosticLog::DiagnosticLog()
    : filePath(makeLogFile()), timeStamp(logTimeStamp), threadKey([] { return std::to_string(GetCurrentThreadId()); })
{
}

DiagnosticLog& DiagnosticLog::log(int level)
{
    selectLevel(threadKey(), level);
    return *this;
}

DiagnosticLog& DiagnosticLog::operator<<(const std::string& piece)
{
    insert(threadKey(), piece);
    return *this;
}

DiagnosticLog& DiagnosticLog::operator<<(const char* piece) { return *this << std::string(asText(piece)); }

void DiagnosticLog::selectLevel(const std::string& key, int level)
{
    const std::lock_guard tables(tableLock);
    const auto current = levels.find(key);
    if ((current == levels.end() ? 0 : current->second) != level) flushAllThreads();
    levels[key] = level;
    noteEntries();
}

void DiagnosticLog::insert(const std::string& key, std::string_view piece)
{
    const std::lock_guard tables(tableLock);
    if (piece != "\n") texts[key] += piece;
    if (piece.ends_with('\n')) flushThread(key);
    noteEntries();
}

void DiagnosticLog::flushThread(const std::string& key)
{
    const auto text = texts.find(key);
    const auto level = levels.find(key);
    const std::string nothing;
    writeLine(level == levels.end() ? 0 : level->second, text == texts.end() ? nothing : text->second);
    if (level != levels.end()) levels.erase(level);
    if (text != texts.end()) texts.erase(text);
}

void DiagnosticLog::flushAllThreads()
{
    if (!opened) return;
    for (const auto& [key, text] : texts) {
        const auto level = levels.find(key);
        if (!text.empty()) writeLine(level == levels.end() ? 0 : level->second, text);
    }
    texts.clear();
    levels.clear();
    flushFile();
}

void DiagnosticLog::dropThread(const std::string& key)
{
    const std::lock_guard tables(tableLock);
    texts.erase(key);
    levels.erase(key);
    noteEntries();
}

void DiagnosticLog::noteEntries()
{
    const std::size_t now = texts.size() + levels.size();
    if (entries != now) entries = now;
}

bool DiagnosticLog::leavesNoTrace(int level) const { return entries == 0 && !writesLevel(level); }

void DiagnosticLog::configure(int newEcho, const std::string& verbosityWord)
{
    const std::lock_guard line(lineLock);
    if (opened) return;
    echo = newEcho;
    verbosity = verbosityWord == "debug" ? 0 : verbosityWord == "warning" ? 3 : 2;
}

const std::string& DiagnosticLog::path() const { return filePath; }

}  // namespace kelvane
