// tests/engine/fake_wmi.h: WMI's objects as far as the service calls them.
//
// They belong to the test and never delete themselves: `references` counts what the service holds, 0 at first. Calls
// are noted as "NAME.Method arguments", releases as "release NAME".
#pragma once

#include "simulator/platform/unused_wmi.h"
#include "tests/support/call_list.h"

#include <functional>
#include <map>
#include <string>

namespace kelvane::tests {

constexpr auto notFound = static_cast<HRESULT>(0x80041002);  // WBEM_E_NOT_FOUND: -2147217406

template<class Interface>
class Counted : public Interface {
public:
    explicit Counted(std::string objectName) : name(std::move(objectName)) {}

    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }

    STDMETHODIMP_(ULONG) Release() override
    {
        note("release " + name);
        return static_cast<ULONG>(--references);
    }

    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }

    const std::string name;
    int references = 0;
};

class FakeUnknown : public Counted<IUnknown> {
public:
    using Counted::Counted;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;

    std::function<HRESULT(REFIID riid, void** ppv)> onQuery;
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

    HRESULT queried = S_OK;
    HRESULT cancelled = S_OK;
    IWbemObjectSink* sinkOfQuery = nullptr;
};

class FakeLocator : public Counted<IWbemLocator> {
public:
    using Counted::Counted;

    STDMETHODIMP ConnectServer(const BSTR resource, const BSTR user, const BSTR password, const BSTR locale, LONG flags,
                               const BSTR authority, IWbemContext* context, IWbemServices** result) override;

    HRESULT connected = S_OK;
    FakeServices* services = nullptr;        // what is handed out, if the connection succeeds
    IWbemServices** slotOfCaller = nullptr;  // where it was put
};

class FakeApartment : public Counted<IUnsecuredApartment> {
public:
    using Counted::Counted;

    STDMETHODIMP CreateObjectStub(IUnknown* object, IUnknown** stub) override;

    HRESULT answer = S_OK;
    FakeUnknown* stub = nullptr;
    IUnknown* wrapped = nullptr;
};

// An object with properties. "NAME.Get PROPERTY" is noted.
class FakeClassObject : public simulator::UnusedClassObject<Counted<IWbemClassObject>> {
public:
    explicit FakeClassObject(const std::string& objectName) : UnusedClassObject(objectName) {}

    ~FakeClassObject();
    FakeClassObject(const FakeClassObject&) = delete;
    FakeClassObject& operator=(const FakeClassObject&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP Get(LPCWSTR property, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) override;

    void set(const std::wstring& property, const VARIANT& value);  // takes the value over
    void fail(const std::wstring& property, HRESULT result);

    HRESULT queried = S_OK;  // of QueryInterface
    std::function<void(const std::wstring&)> beforeGet;

private:
    struct Property {
        HRESULT result;
        VARIANT value;
    };

    std::map<std::wstring, Property> properties;
};

VARIANT textValue(const wchar_t* text);
VARIANT numberValue(int number);
VARIANT unknownValue(IUnknown* object);  // adds a reference
VARIANT valueOfType(VARTYPE type);       // all zero beside the type

}  // namespace kelvane::tests
