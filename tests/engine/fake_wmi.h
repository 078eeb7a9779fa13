// tests/engine/fake_wmi.h: WMI's objects as far as the service calls them.
//
// They belong to the test and never delete themselves: `references` counts what the service holds, 0 at first. Calls
// are noted as "NAME.Method arguments", releases as "release NAME"; those that can fail ask failing_calls.h under the
// name "NAME.Method".
#pragma once

#include "simulator/platform/unused_wmi.h"
#include "tests/support/call_list.h"

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

class FakeUnknown : public Counted<IUnknown> {
public:
    using Counted::Counted;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;

    std::function<HRESULT(void** ppv)> onQuery;
};

class FakeSink : public Counted<IWbemObjectSink> {
public:
    using Counted::Counted;

    STDMETHODIMP Indicate(LONG, IWbemClassObject**) override { return E_NOTIMPL; }

    STDMETHODIMP SetStatus(LONG, HRESULT, BSTR, IWbemClassObject*) override { return E_NOTIMPL; }
};

class FakeServices : public simulator::UnusedServices<Counted<IWbemServices>> {
public:
    using UnusedServices::UnusedServices;

    STDMETHODIMP CancelAsyncCall(IWbemObjectSink* sink) override;
    STDMETHODIMP ExecNotificationQueryAsync(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                            IWbemObjectSink* sink) override;
};

class FakeLocator : public Counted<IWbemLocator> {
public:
    using Counted::Counted;

    STDMETHODIMP ConnectServer(const BSTR resource, const BSTR user, const BSTR password, const BSTR locale, LONG flags,
                               const BSTR authority, IWbemContext* context, IWbemServices** result) override;

    FakeServices* services = nullptr;        // what is handed out
    IWbemServices** slotOfCaller = nullptr;  // where it was put
};

class FakeApartment : public Counted<IUnsecuredApartment> {
public:
    using Counted::Counted;

    STDMETHODIMP CreateObjectStub(IUnknown* object, IUnknown** result) override;

    FakeUnknown* stub = nullptr;  // what is handed out
    IUnknown* wrapped = nullptr;
};

// An object with properties. "NAME.Get PROPERTY" is noted.
class FakeClassObject : public simulator::UnusedClassObject<Counted<IWbemClassObject>> {
public:
    using UnusedClassObject::UnusedClassObject;

    ~FakeClassObject();
    FakeClassObject(const FakeClassObject&) = delete;
    FakeClassObject& operator=(const FakeClassObject&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP Get(LPCWSTR property, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) override;

    void set(const std::wstring& property, const VARIANT& value);  // takes the value over

    std::function<void()> beforeGet;

private:
    std::map<std::wstring, VARIANT> properties;
};

VARIANT textValue(const wchar_t* text);
VARIANT numberValue(int number);
VARIANT unknownValue(IUnknown* object);  // adds a reference
VARIANT valueOfType(VARTYPE type);       // all zero beside the type

}  // namespace kelvane::tests
