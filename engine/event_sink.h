// engine/event_sink.h: what WMI calls for every process that starts on the machine.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <wbemcli.h>

#include <atomic>
#include <string>

namespace kelvane {

extern std::atomic<int> g_lastProcessId;  // ProcessId of the process that started last
extern const std::string& g_pNameLabel;   // "NA", shown in place of a name

// Reference-counted from 0; deletes itself when the count falls from 1 to 0. Called by WMI on threads of its choosing,
// also several at once; no exception leaves it, and no error is ever returned to WMI.
class EventSink final : public IWbemObjectSink {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    // Takes a batch of started processes: records and classifies each, and raises the ceiling at once when one of them
    // is in no list. While the engine is not running it only turns a pending service stop into a stop of scaling.
    STDMETHODIMP Indicate(LONG lObjectCount, IWbemClassObject** apObjArray) override;

    STDMETHODIMP SetStatus(LONG lFlags, HRESULT hResult, BSTR strParam, IWbemClassObject* pObjParam) override;

private:
    LONG count = 0;
};

static_assert(sizeof(EventSink) == 16);

// Takes a property value, as its reading answered `hr`, into the process name; writes it to standard output. A failed
// reading and a null value leave the name as it was.
void storeProcessName(HRESULT hr, const VARIANT& value, const wchar_t* propertyName);

}  // namespace kelvane
