// Notes each call with its arguments and answers as the test has set.
#include "tests/engine/fake_wmi.h"

#include "diagnostics/ansi_text.h"
#include "tests/support/failing_calls.h"

namespace kelvane::tests {

namespace {

// The length counts that stands before the text, as only a real BSTR has it.
std::string textOf(const BSTR text) { return text ? toAnsi({ text, SysStringLen(text) }) : "null"; }

std::string nameOf(IWbemObjectSink* sink) { return sink ? static_cast<FakeSink*>(sink)->name : "null"; }

std::string nullOrNot(const void* pointer) { return pointer ? "not null" : "null"; }

}  // namespace

STDMETHODIMP FakeUnknown::QueryInterface(REFIID riid, void** ppv)
{
    note(name + ".QueryInterface " + (riid == IID_IWbemObjectSink ? "IWbemObjectSink" : "?"));
    if (callFails(name + ".QueryInterface")) return E_FAIL;
    return onQuery ? onQuery(ppv) : E_NOINTERFACE;
}

STDMETHODIMP FakeServices::CancelAsyncCall(IWbemObjectSink* sink)
{
    note(name + ".CancelAsyncCall " + nameOf(sink));
    return callFails(name + ".CancelAsyncCall") ? E_FAIL : answer;
}

STDMETHODIMP FakeServices::ExecNotificationQueryAsync(const BSTR language, const BSTR query, LONG flags,
                                                      IWbemContext* context, IWbemObjectSink* sink)
{
    note(name + ".ExecNotificationQueryAsync " + textOf(language) + ", " + textOf(query) + ", " +
         std::to_string(flags) + ", " + nullOrNot(context) + ", " + nameOf(sink));
    return callFails(name + ".ExecNotificationQueryAsync") ? E_FAIL : answer;
}

STDMETHODIMP FakeLocator::ConnectServer(const BSTR resource, const BSTR user, const BSTR password, const BSTR locale,
                                        LONG flags, const BSTR authority, IWbemContext* context, IWbemServices** result)
{
    note(name + ".ConnectServer " + textOf(resource) + ", " + textOf(user) + ", " + textOf(password) + ", " +
         textOf(locale) + ", " + std::to_string(flags) + ", " + textOf(authority) + ", " + nullOrNot(context));
    if (callFails(name + ".ConnectServer")) return E_FAIL;
    slotOfCaller = result;
    handOut(*services, result);
    return answer;
}

STDMETHODIMP FakeApartment::CreateObjectStub(IUnknown* object, IUnknown** result)
{
    if (callFails(name + ".CreateObjectStub")) return E_FAIL;
    wrapped = object;
    object->AddRef();
    note(name + ".CreateObjectStub, sink's references " + std::to_string(object->Release()));
    handOut(*stub, result);
    return answer;
}

FakeClassObject::~FakeClassObject()
{
    for (auto& [property, value] : properties) VariantClear(&value);
}

STDMETHODIMP FakeClassObject::QueryInterface(REFIID riid, void** ppv)
{
    if (callFails(name + ".QueryInterface")) return E_FAIL;
    return riid == IID_IWbemClassObject ? handOut(*this, ppv) : E_NOINTERFACE;
}

STDMETHODIMP FakeClassObject::Get(LPCWSTR property, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor)
{
    note(name + ".Get " + toAnsi(property) + ", " + std::to_string(flags) + ", " + nullOrNot(type) + ", " +
         nullOrNot(flavor));
    if (beforeGet) beforeGet();
    if (callFails(name + ".Get " + toAnsi(property))) return E_FAIL;
    VARIANT& held = properties.at(property);
    if (V_VT(&held) != VT_BSTR || V_BSTR(&held)) return VariantCopy(value, &held);
    *value = held;  // VariantCopy would make an empty text of it
    return S_OK;
}

void FakeClassObject::set(const std::wstring& property, const VARIANT& value)
{
    VARIANT& held = properties[property];
    VariantClear(&held);
    held = value;
}

VARIANT textValue(const wchar_t* text)
{
    VARIANT value = valueOfType(VT_BSTR);
    V_BSTR(&value) = SysAllocString(text);
    return value;
}

VARIANT numberValue(int number)
{
    VARIANT value = valueOfType(VT_I4);
    V_I4(&value) = number;
    return value;
}

VARIANT unknownValue(IUnknown* object)
{
    VARIANT value = valueOfType(VT_UNKNOWN);
    V_UNKNOWN(&value) = object;
    if (object) object->AddRef();
    return value;
}

VARIANT valueOfType(VARTYPE type)
{
    VARIANT value = {};
    V_VT(&value) = type;
    return value;
}

}  // namespace kelvane::tests
