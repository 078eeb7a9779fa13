// Pieces of log messages from several threads at once, any text at any level.
#include "tests/fuzz/fuzz.h"
#include "tests/support/diagnostic_log_inspector.h"

#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

using namespace kelvane;
using kelvane::fuzz::promise;

// A folder in which nothing can be made; the log is opened on the null device.
extern "C" HRESULT SHGetKnownFolderPath(REFKNOWNFOLDERID /*folder*/, DWORD /*flags*/, HANDLE /*token*/, PWSTR* path)
{
    constexpr wchar_t nowhere[] = L"/dev/null";
    *path = static_cast<PWSTR>(CoTaskMemAlloc(sizeof nowhere));
    std::copy(std::begin(nowhere), std::end(nowhere), *path);
    return S_OK;
}

namespace {

struct Message {
    int level;
    std::vector<std::string> pieces;
};

using Messages = std::vector<Message>;

Messages anyMessages(fuzz::Bytes& bytes)
{
    Messages messages(bytes.ConsumeIntegralInRange<std::size_t>(0, 8));
    for (Message& message : messages) {
        message.level = bytes.ConsumeIntegralInRange(-1, 5);
        message.pieces.resize(bytes.ConsumeIntegralInRange<std::size_t>(0, 4));
        for (std::string& piece : message.pieces) piece = bytes.ConsumeRandomLengthString(20);
    }
    return messages;
}

void write(const Messages& messages)
{
    DiagnosticLog& log = DiagnosticLog::instance();
    for (const Message& message : messages) {
        log.log(message.level);
        for (const std::string& piece : message.pieces) log << piece;
        log << "\n";
        logLine(message.level, "a whole line", message.level, message.pieces.empty() ? "" : message.pieces.front());
    }
}

bool openNullDevice()
{
    DiagnosticLogInspector::setPath("/dev/null");
    DiagnosticLog::instance().configure(0, "info");
    DiagnosticLog::instance().open();
    return DiagnosticLogInspector::opened();
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool opened = openNullDevice();
    promise(opened, "the null device opens");
    fuzz::Bytes bytes(data, size);
    std::vector<Messages> threads(3);
    for (Messages& messages : threads) messages = anyMessages(bytes);
    {
        std::vector<std::jthread> running;
        running.reserve(threads.size());
        for (const Messages& messages : threads) running.emplace_back([&messages] { write(messages); });
    }
    promise(DiagnosticLogInspector::threadsWithText() == 0, "messages that were ended leave no text behind");
    promise(DiagnosticLog::instance().leavesNoTrace(2), "nothing is left to be flushed");
    return 0;
}
