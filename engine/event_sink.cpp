// A batch: for each object the instance behind it, its name and id, the lists; then the ceiling.
#include "engine/event_sink.h"

#include "controller/actuators.h"
#include "controller/com_release.h"
#include "controller/state.h"
#include "diagnostics/ansi_text.h"
#include "diagnostics/diagnostic_log.h"
#include "engine/process_names.h"
#include "state/state.h"

#include <comdef.h>

#include <cstdio>
#include <iostream>
#include <optional>

namespace kelvane {

std::atomic<int> g_lastProcessId = 0;
const std::string& g_pNameLabel = *new std::string("NA");

namespace {

template<class Interface>
class Released {
public:
    explicit Released(Interface* object) : held(object) {}

    ~Released() { release(held); }

    Released(const Released&) = delete;
    Released& operator=(const Released&) = delete;

    Interface* operator->() const { return held; }

    explicit operator bool() const { return held != nullptr; }

private:
    Interface* held;
};

std::string narrowed(const _bstr_t& text)
{
    const wchar_t* const wide = text;
    return wide ? toAnsi({ wide, text.length() }) : std::string();
}

// Writes the property to standard output, its name wide and its text narrow, and returns the text; none for a null
// value.
std::optional<std::string> printedText(const VARIANT& value, const wchar_t* propertyName)
{
    const _variant_t copy(value);
    std::wcout << propertyName << L": ";
    if (copy.vt == VT_NULL) {
        std::wcout << propertyName << L" is null." << std::endl;
        return std::nullopt;
    }
    const std::string text = narrowed(_bstr_t(copy));
    std::cout << text;
    return text;
}

// The started process that `object` holds in `value`; null, after a line in the log, when there is none to be had.
IWbemClassObject* targetInstance(IWbemClassObject* object, _variant_t& value)
{
    const HRESULT got = object ? object->Get(L"TargetInstance", 0, &value, nullptr, nullptr) : E_POINTER;
    if (FAILED(got)) {
        logLine(logError, "Failed to get TargetInstance in apObjArray[i]:", got);
        return nullptr;
    }
    const Released<IUnknown> unknown(value);  // the conversion raises _com_error when there is no interface in it
    IWbemClassObject* instance = nullptr;
    const HRESULT found =
        unknown ? unknown->QueryInterface(IID_IWbemClassObject, reinterpret_cast<void**>(&instance)) : E_POINTER;
    if (FAILED(found)) {
        logLine(logError, "Failed to get IID_IWbemClassObject in TargetInstance:", found);
        return nullptr;
    }
    return instance;
}

void handleProcess(IWbemClassObject* object)
{
    _variant_t target;
    IWbemClassObject* const found = targetInstance(object, target);
    if (!found) return;
    _variant_t name;
    _variant_t id(0L);  // what an id that cannot be read counts as
    {
        const Released<IWbemClassObject> instance(found);
        const HRESULT got = instance->Get(L"Name", 0, &name, nullptr, nullptr);
        storeProcessName(got, name, L"Name");
        instance->Get(L"ProcessId", 0, &id, nullptr, nullptr);
        g_lastProcessId = static_cast<int>(id.lVal);
        noOfPids += classifyProcessStart(processName(), g_lastProcessId);
    }
    PID_Change = 1;
    logLine(logInfo, " Starting pName = ", g_pNameLabel, "PID", g_lastProcessId);
}

void handleBatch(LONG objectCount, IWbemClassObject** objects)
{
    try {
        // Deliberate: each pass handles the first object, so a batch of n counts it n times.
        for (LONG pass = 0; pass < objectCount; ++pass) handleProcess(objects ? objects[0] : nullptr);
    } catch (const _com_error& error) {
        logLine(logError, "caught _com_error:", error.Error());
        logLine(logError, "caught Description:", [&] { return narrowed(error.Description()); });
        logLine(logError, "caught ErrorMessage:", error.ErrorMessage());
    }
}

void giveFullPerformance()
{
    clipPending = 0;
    const int applied = appliedPrefMax;
    if (applied < fullPreference) PrevPerf = applied;
    if (noOfPids != 0) setPerfmax(fullPreference);
}

}  // namespace

STDMETHODIMP EventSink::QueryInterface(REFIID riid, void** ppv)
{
    if (riid != IID_IUnknown && riid != IID_IWbemObjectSink) return E_NOINTERFACE;
    *ppv = static_cast<IWbemObjectSink*>(this);
    AddRef();
    return WBEM_S_NO_ERROR;
}

STDMETHODIMP_(ULONG) EventSink::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&count)); }

STDMETHODIMP_(ULONG) EventSink::Release()
{
    const LONG left = InterlockedDecrement(&count);
    if (left == 0) delete this;
    return static_cast<ULONG>(left);
}

STDMETHODIMP EventSink::Indicate(LONG lObjectCount, IWbemClassObject** apObjArray)
{
    try {
        if (g_engineState != engineRunning) {
            g_serviceStopping = 0;
            return WBEM_S_NO_ERROR;
        }
        PID_Change = 0;
        handleBatch(lObjectCount, apObjArray);
        if (PID_Change == 1) giveFullPerformance();
    } catch (...) {
        // Out of memory: WMI must not see an exception, and the next start is taken afresh.
    }
    return WBEM_S_NO_ERROR;
}

STDMETHODIMP EventSink::SetStatus(LONG lFlags, HRESULT hResult, BSTR /*strParam*/, IWbemClassObject* /*pObjParam*/)
{
    if (lFlags == WBEM_STATUS_COMPLETE) {
        std::printf("Call complete. hResult = 0x%X\n", static_cast<unsigned>(hResult));
    } else if (lFlags == WBEM_STATUS_PROGRESS) {
        std::printf("Call in progress.\n");
    }
    return WBEM_S_NO_ERROR;
}

void storeProcessName(HRESULT hr, const VARIANT& value, const wchar_t* propertyName)
{
    const bool withoutText = value.vt == VT_BSTR && !value.bstrVal;
    if (FAILED(hr) || withoutText) {
        logLine(logError, "Failed to get Name:", hr);
        return;
    }
    try {
        if (const auto name = printedText(value, propertyName)) setProcessName(*name);
    } catch (const _com_error&) {
        logLine(logError, "caught _com_error:");
        logLine(logError, "caught Description:");
        logLine(logError, "caught ErrorMessage:");
    }
}

}  // namespace kelvane
