// tests/engine/fake_wmi.h: WMI's objects as far as the service calls them.
//
// They belong to the test and never delete themselves: `references` counts what the service holds, 0 at first. Calls
// are noted as "NAME.Method arguments", releases as "release NAME"; those that can fail ask failing_calls.h under the
// name "NAME.Method".
#pragma once

#include "diagnostics/ansi_text.h"
#include "simulator/platform/unused_wmi.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"

#include <functional>
#include <map>
#include <string>

namespace kelvane::tests {

struct FakeObject {
    explicit FakeObject(std::string objectName) : name(std::move(objectName)) {}

    const std::string name;
    int references = 0;
    HRESULT answer = S_OK;  // of its calls that do not fail
    bool missing = false;   // null is handed out in its place
};

template<class Interface>
class Counted : public Interface, public FakeObject {
public:
    using FakeObject::FakeObject;

    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }

    STDMETHODIMP_(ULONG) Release() override
    {
        note("release " + name);
        return static_cast<ULONG>(--references);
    }

    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
};

// What a call does that hands an object to its caller.
template<class Object, class Interface>
HRESULT handOut(Object& object, Interface** result)
{
    if (object.missing) return S_OK;
    object.AddRef();
    *result = &object;
    return S_OK;
}

// The length counts that stands before the text, as only a real BSTR has it.
inline std::string textOf(const BSTR text) { return text ? toAnsi({ text, SysStringLen(text) }) : "null"; }

inline std::string nullOrNot(const void* pointer) { return pointer ? "not null" : "null"; }

class FakeUnknown : public Counted<IUnknown> {
public:
    using Counted::Counted;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        note(name + ".QueryInterface " + (riid == IID_IWbemObjectSink ? "IWbemObjectSink" : "?"));
        if (callFails(name + ".QueryInterface")) return E_FAIL;
        return onQuery ? onQuery(ppv) : E_NOINTERFACE;
    }

    std::function<HRESULT(void** ppv)> onQuery;
};

class FakeSink : public Counted<IWbemObjectSink> {
public:
    using Counted::Counted;

    STDMETHODIMP Indicate(LONG, IWbemClassObject**) override { return E_NOTIMPL; }

    STDMETHODIMP SetStatus(LONG, HRESULT, BSTR, IWbemClassObject*) override { return E_NOTIMPL; }
};

inline std::string nameOf(IWbemObjectSink* sink) { return sink ? static_cast<FakeSink*>(sink)->name : "null"; }

class FakeServices : public simulator::UnusedServices<Counted<IWbemServices>> {
public:
    using UnusedServices::UnusedServices;

    STDMETHODIMP CancelAsyncCall(IWbemObjectSink* sink) override
    {
        note(name + ".CancelAsyncCall " + nameOf(sink));
        return callFails(name + ".CancelAsyncCall") ? E_FAIL : answer;
    }

    STDMETHODIMP ExecNotificationQueryAsync(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                            IWbemObjectSink* sink) override
    {
        note(name + ".ExecNotificationQueryAsync " + textOf(language) + ", " + textOf(query) + ", " +
             std::to_string(flags) + ", " + nullOrNot(context) + ", " + nameOf(sink));
        return callFails(name + ".ExecNotificationQueryAsync") ? E_FAIL : answer;
    }
};

class FakeLocator : public Counted<IWbemLocator> {
public:
    using Counted::Counted;

    STDMETHODIMP ConnectServer(const BSTR resource, const BSTR user, const BSTR password, const BSTR locale, LONG flags,
                               const BSTR authority, IWbemContext* context, IWbemServices** result) override
    {
        note(name + ".ConnectServer " + textOf(resource) + ", " + textOf(user) + ", " + textOf(password) + ", " +
             textOf(locale) + ", " + std::to_string(flags) + ", " + textOf(authority) + ", " + nullOrNot(context));
        if (callFails(name + ".ConnectServer")) return E_FAIL;
        slotOfCaller = result;
        handOut(*services, result);
        return answer;
    }

    FakeServices* services = nullptr;        // what is handed out
    IWbemServices** slotOfCaller = nullptr;  // where it was put
};

class FakeApartment : public Counted<IUnsecuredApartment> {
public:
    using Counted::Counted;

    STDMETHODIMP CreateObjectStub(IUnknown* object, IUnknown** result) override
    {
        if (callFails(name + ".CreateObjectStub")) return E_FAIL;
        wrapped = object;
        object->AddRef();
        note(name + ".CreateObjectStub, sink's references " + std::to_string(object->Release()));
        handOut(*stub, result);
        return answer;
    }

    FakeUnknown* stub = nullptr;  // what is handed out
    IUnknown* wrapped = nullptr;
};

// An object with properties. "NAME.Get PROPERTY" is noted.
class FakeClassObject : public simulator::UnusedClassObject<Counted<IWbemClassObject>> {
public:
    using UnusedClassObject::UnusedClassObject;

    ~FakeClassObject()
    {
        for (auto& [property, value] : properties) VariantClear(&value);
    }

    FakeClassObject(const FakeClassObject&) = delete;
    FakeClassObject& operator=(const FakeClassObject&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (callFails(name + ".QueryInterface")) return E_FAIL;
        if (riid != IID_IWbemClassObject) return E_NOINTERFACE;
        handOut(*this, ppv);
        return answer;
    }

    STDMETHODIMP Get(LPCWSTR property, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) override
    {
        note(name + ".Get " + toAnsi(property) + ", " + std::to_string(flags) + ", " + nullOrNot(type) + ", " +
             nullOrNot(flavor));
        if (beforeGet) beforeGet();
        if (callFails(name + ".Get " + toAnsi(property))) return E_FAIL;
        VARIANT& held = properties.at(property);
        if (V_VT(&held) == VT_BSTR && !V_BSTR(&held)) {
            *value = held;  // VariantCopy would make an empty text of it
        } else if (FAILED(VariantCopy(value, &held))) {
            return E_OUTOFMEMORY;
        }
        return answer;
    }

    // Takes the value over.
    void set(const std::wstring& property, const VARIANT& value)
    {
        VARIANT& held = properties[property];
        VariantClear(&held);
        held = value;
    }

    std::function<void()> beforeGet;

private:
    std::map<std::wstring, VARIANT> properties;
};

// All zero beside the type.
inline VARIANT valueOfType(VARTYPE type)
{
    VARIANT value = {};
    V_VT(&value) = type;
    return value;
}

inline VARIANT textValue(const wchar_t* text)
{
    VARIANT value = valueOfType(VT_BSTR);
    V_BSTR(&value) = SysAllocString(text);
    return value;
}

inline VARIANT numberValue(int number)
{
    VARIANT value = valueOfType(VT_I4);
    V_I4(&value) = number;
    return value;
}

// Adds a reference.
inline VARIANT unknownValue(IUnknown* object)
{
    VARIANT value = valueOfType(VT_UNKNOWN);
    V_UNKNOWN(&value) = object;
    if (object) object->AddRef();
    return value;
}

}  // namespace kelvane::tests
