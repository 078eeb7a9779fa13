// tests/engine/fake_event_service.h: the event log's subscription and rendering, defined by the test program itself.
#pragma once

#include <windows.h>

#include <winevt.h>

#include <functional>
#include <optional>
#include <string>

namespace kelvane::tests {

struct FakeEventService {
    // EvtSubscribe, noted with its arguments: answers `subscription`, or sets `subscribeError` when that is null.
    EVT_HANDLE subscription = reinterpret_cast<EVT_HANDLE>(0x5B);
    DWORD subscribeError = 0;
    std::function<void()> onSubscribe;

    // EvtRender without a buffer: succeeds, or tells the size and fails with `sizeError`.
    bool succeedsWithoutBuffer = false;
    DWORD sizeError = ERROR_INSUFFICIENT_BUFFER;
    // EvtRender with a buffer: fails with `renderError` when that is not 0, else writes `bytes`, tells their number,
    // and leaves `errorAfterSuccess` as the last error.
    DWORD renderError = 0;
    std::string bytes;
    std::optional<DWORD> toldBytes;  // in place of their number
    DWORD errorAfterSuccess = 0;
    std::function<void()> onRender;

    void setXml(const std::wstring& xml);  // with its terminating NUL
};

extern FakeEventService& eventService;

}  // namespace kelvane::tests
