// diagnostics/diagnostic_log.h: the one text log that all engine code writes.
//
// Code writes to it as to a stream: `log(level)` selects a level for the calling thread, pieces of text follow, and the
// piece "\n" ends the message. Text is gathered per thread, so that messages of concurrent threads do not mix, and is
// written as whole lines. A full message in one statement is `logLine(level, piece, piece, ...)`.
//
// Levels 0, 3 and 4 reach the file; messages of every other level are gathered and dropped. Nothing is written before
// open() has succeeded. Every function here may be called from any thread at any time, also before and after main.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>

namespace kelvane {

constexpr int logDebug = 0;
constexpr int logInfo = 2;  // accepted, never written
constexpr int logError = 4;

// The word that stands for `level` in a line: "DEBUG", "INFO", "WARNING", "ERROR", or "NONE" for any other value.
const std::string& levelWord(int level);

class DiagnosticLog {
public:
    // The single object. It is made, and the log file emptied, before main runs; it is never destroyed, since detached
    // threads may still write while the process ends.
    static DiagnosticLog& instance();

    // Selects `level` for the calling thread and returns the object for insertion. A change of the thread's level
    // first writes what every thread has gathered so far (once the file is open). A thread without a level has 0.
    DiagnosticLog& log(int level);

    // "\n" ends the calling thread's message. Any other piece is appended; if its last character is a line feed, the
    // message ends there, with that line feed inside it.
    DiagnosticLog& operator<<(const std::string& piece);
    DiagnosticLog& operator<<(const char* piece);

    // Opens the log file, emptying it a second time. Does nothing when it is open; a failure is reported nowhere and
    // leaves the log dropping every line.
    void open();

    // Takes effect only while the file is not open. `echo` 1 copies lines to standard output; the word sets the
    // verbosity ("debug" 0, "info" 2, "warning" 3, any other 2), which nothing consults.
    void configure(int echo, const std::string& verbosityWord);

    // The file's full path, in the ANSI code page.
    const std::string& path() const;

    // The whole of one message: the same as the insertions one by one, "\n" included, but the thread is named once.
    // Where memory runs out, the thread's text and level are dropped, and the exception goes on.
    template<class... Pieces>
    void message(int level, const Pieces&... pieces);

    // True when a whole message of `level` would change nothing that anybody can see: it would not be written, and no
    // thread has text or a level for it to flush. Costs one load.
    bool leavesNoTrace(int level) const;

    DiagnosticLog(const DiagnosticLog&) = delete;
    DiagnosticLog& operator=(const DiagnosticLog&) = delete;

private:
    DiagnosticLog();
    ~DiagnosticLog() = default;

    // The gathering of text (diagnostic_log.cpp): each is one insertion. Both flushes need tableLock held.
    void selectLevel(const std::string& key, int level);
    void insert(const std::string& key, std::string_view piece);
    void flushThread(const std::string& key);
    void flushAllThreads();
    void dropThread(const std::string& key);
    void noteEntries();

    // The file (log_file.cpp, or the replay program's recorder in its place).
    static std::string makeLogFile();    // finds the path, makes the folders, empties the file
    static bool writesLevel(int level);  // whether lines of `level` are written at all
    void writeLine(int level, const std::string& text);
    void flushFile();

    std::mutex lineLock;   // held while a line is written, and while the file is opened
    std::mutex tableLock;  // guards the two tables; taken before lineLock
    std::ofstream file;
    std::string filePath;
    std::map<std::string, std::string> texts;  // thread key -> text gathered for its next line
    std::map<std::string, int> levels;         // thread key -> its level
    int verbosity = 2;
    int echo = 1;
    std::string openingBracket = "[";
    std::string closingBracket = "]";
    std::function<std::string()> timeStamp;
    std::function<std::string()> threadKey;
    std::atomic<bool> opened = false;
    std::atomic<std::size_t> entries = 0;  // rows of both tables together, so that leavesNoTrace needs no lock

    friend struct DiagnosticLogInspector;  // tests look at the members
};

// Local time as ctime_s has it, its final line feed included.
std::string logTimeStamp();

// What a value looks like in a message. A null text is an empty one.
inline const char* asText(const char* text) { return text ? text : ""; }

inline const std::string& asText(const std::string& text) { return text; }

std::string asText(std::int64_t number);

template<class Number>
std::string asText(const std::atomic<Number>& number)
{
    return asText(std::int64_t{ number.load() });
}

// Whether a piece ends the message before its last one. Numbers never do; for a literal the compiler knows.
inline bool endsMessage(const char* text) { return std::string_view(asText(text)).ends_with('\n'); }

inline bool endsMessage(const std::string& text) { return text.ends_with('\n'); }

template<class Piece>
bool endsMessage(const Piece&)
{
    return false;
}

template<class... Pieces>
void DiagnosticLog::message(int level, const Pieces&... pieces)
{
    const std::string key = threadKey();
    try {
        selectLevel(key, level);
        (insert(key, asText(pieces)), ...);
        insert(key, "\n");
    } catch (...) {
        dropThread(key);
        throw;
    }
}

// A piece may be a function that makes the text: what it throws is then no business of its caller.
template<class Piece>
decltype(auto) valueOf(const Piece& piece)
{
    if constexpr (std::is_invocable_v<const Piece&>) {
        return piece();
    } else {
        return (piece);
    }
}

template<class... Values>
void logValues(int level, const Values&... values)
{
    DiagnosticLog& log = DiagnosticLog::instance();
    if (log.leavesNoTrace(level) && !(endsMessage(values) || ...)) return;
    log.message(level, values...);
}

// Writes one message: the pieces, numbers in decimal, and the closing "\n". A message that nobody will ever see is not
// even put together; one for which there is no memory is lost as a whole, and nothing else happens.
template<class... Pieces>
void logLine(int level, const Pieces&... pieces) noexcept
{
    try {
        logValues(level, valueOf(pieces)...);
    } catch (...) {
        // The log is the only place that could tell.
    }
}

}  // namespace kelvane
