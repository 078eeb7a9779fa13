// The standby watcher on an event log that renders anything, tells any sizes and fails anywhere.
#include "engine/standby_watcher.h"
#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cstring>
#include <string>

using namespace kelvane;
using kelvane::fuzz::promise;

namespace {

struct EventLog {
    bool succeedsWithoutBuffer;
    DWORD sizeError;
    DWORD size;  // told before
    bool renders;
    DWORD used;  // told after
    DWORD lastError;
    std::string text;
};

EventLog eventLog;

// As often as not a text of characters, else bare bytes.
std::string anyText(fuzz::Bytes& bytes)
{
    constexpr const char* words[] = { "<EventID>506</EventID>", "<EventID>507</EventID>", "<EventID>", "506" };
    const bool wide = bytes.ConsumeBool();
    std::string text = bytes.ConsumeRandomLengthString(200);
    if (bytes.ConsumeBool()) text += bytes.PickValueInArray(words);
    text += bytes.ConsumeRandomLengthString(20);
    if (!wide) return text;
    const std::wstring characters(text.begin(), text.end());
    return { reinterpret_cast<const char*>(characters.data()), characters.size() * sizeof(wchar_t) };
}

bool holds(const std::string& text, const std::wstring& word)
{
    return text.find({ reinterpret_cast<const char*>(word.data()), word.size() * sizeof(wchar_t) }) !=
           std::string::npos;
}

}  // namespace

extern "C" BOOL EvtRender(EVT_HANDLE /*context*/, EVT_HANDLE /*fragment*/, DWORD /*flags*/, DWORD size, PVOID buffer,
                          PDWORD used, PDWORD propertyCount)
{
    *propertyCount = 0;
    if (!buffer) {
        *used = eventLog.size;
        SetLastError(eventLog.sizeError);
        return eventLog.succeedsWithoutBuffer;
    }
    std::memcpy(buffer, eventLog.text.data(), std::min<std::size_t>(size, eventLog.text.size()));
    *used = eventLog.used;
    SetLastError(eventLog.lastError);
    return eventLog.renders;
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    simulator::recordLog([](int, const std::string&) {});
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Bytes bytes(data, size);
    const std::string text = anyText(bytes);
    const auto length = static_cast<DWORD>(text.size());
    eventLog = { bytes.ConsumeProbability<float>() > 0.9F,
                 bytes.ConsumeBool() ? DWORD{ ERROR_INSUFFICIENT_BUFFER } : bytes.ConsumeIntegral<DWORD>(),
                 bytes.ConsumeBool() ? length : bytes.ConsumeIntegralInRange<DWORD>(0, 1000),
                 bytes.ConsumeProbability<float>() < 0.9F,
                 bytes.ConsumeBool() ? length : bytes.ConsumeIntegral<DWORD>(),
                 bytes.ConsumeIntegralInRange<DWORD>(0, 3),
                 text };
    g_sessionHandle = bytes.ConsumeBool() ? 1 : ~std::uint64_t{ 0 };
    g_stopDone = bytes.ConsumeIntegralInRange<std::uint8_t>(0, 1);
    g_engineState = engineRunning;
    const auto action = static_cast<EVT_SUBSCRIBE_NOTIFY_ACTION>(bytes.ConsumeIntegralInRange(0, 2));

    SubscriptionCallback(action, nullptr, nullptr);

    const bool entry = holds(text, L"506");
    promise(entry || g_engineState == engineRunning, "only an entry into standby stops the engine");
    promise(action == EvtSubscribeActionDeliver || g_engineState == engineRunning, "only an event stops the engine");
    return 0;
}
