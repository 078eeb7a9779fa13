// Both functions are not imported by pointer, so that plain definitions take their place.
#include "tests/engine/fake_event_service.h"

#include "diagnostics/ansi_text.h"
#include "engine/standby_watcher.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"

#include <cstring>

namespace kelvane::tests {

FakeEventService& eventService = *new FakeEventService;

void FakeEventService::setXml(const std::wstring& xml)
{
    bytes.assign(reinterpret_cast<const char*>(xml.c_str()), (xml.size() + 1) * sizeof(wchar_t));
}

}  // namespace kelvane::tests

using kelvane::toAnsi;
using kelvane::tests::callFails;
using kelvane::tests::eventService;
using kelvane::tests::note;

EVT_HANDLE WINAPI EvtSubscribe(EVT_HANDLE session, HANDLE signalEvent, LPCWSTR channel, LPCWSTR query,
                               EVT_HANDLE bookmark, PVOID context, EVT_SUBSCRIBE_CALLBACK callback, DWORD flags)
{
    const bool plain = !session && !signalEvent && !bookmark && !context;
    note("EvtSubscribe " + toAnsi(channel) + ", " + toAnsi(query) + ", " + std::to_string(flags) +
         (plain ? "" : ", something else") + (callback == kelvane::SubscriptionCallback ? "" : ", another callback"));
    if (callFails("EvtSubscribe")) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    if (eventService.onSubscribe) eventService.onSubscribe();
    if (!eventService.subscription) SetLastError(eventService.subscribeError);
    return eventService.subscription;
}

WINBOOL WINAPI EvtRender(EVT_HANDLE context, EVT_HANDLE fragment, DWORD flags, DWORD bufferSize, PVOID buffer,
                         PDWORD bufferUsed, PDWORD propertyCount)
{
    note("EvtRender " + std::string(context ? "some" : "no") + " context, event " +
         std::to_string(reinterpret_cast<std::uintptr_t>(fragment)) + ", " + std::to_string(flags) + ", " +
         std::to_string(bufferSize) + (buffer ? " with" : " without") + " buffer");
    if (callFails(buffer ? "EvtRender" : "EvtRender, size")) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    if (!buffer) {
        if (eventService.succeedsWithoutBuffer) return TRUE;
        if (*bufferUsed != 0 || *propertyCount != 0) note("EvtRender: outputs not zero");
        *bufferUsed = static_cast<DWORD>(eventService.bytes.size());
        SetLastError(eventService.sizeError);
        return FALSE;
    }
    if (eventService.onRender) eventService.onRender();
    if (eventService.renderError != 0) {
        SetLastError(eventService.renderError);
        return FALSE;
    }
    std::memcpy(buffer, eventService.bytes.data(), eventService.bytes.size());
    *bufferUsed = eventService.toldBytes.value_or(static_cast<DWORD>(eventService.bytes.size()));
    SetLastError(eventService.errorAfterSuccess);
    return TRUE;
}
