// The WMI locator and the unsecured apartment, as a COM in-process server (docs/stand-ins.md).
//
// The locator is found in the registry. The apartment, which the service asks for as a local server, becomes a class
// object of the service's own process each time the locator is asked for: the last CoUninitialize drops it.
#include "simulator/platform/com_object.h"
#include "simulator/standins/wbem_services.h"

namespace kelvane::simulator {

namespace {

class Locator final : public ComObject<IWbemLocator> {
public:
    STDMETHODIMP ConnectServer(BSTR /*resource*/, BSTR /*user*/, BSTR /*password*/, BSTR /*locale*/, LONG /*flags*/,
                               BSTR /*authority*/, IWbemContext* /*context*/, IWbemServices** services) override
    {
        *services = makeServices();
        return S_OK;
    }
};

class Apartment final : public ComObject<IUnsecuredApartment> {
public:
    // No process boundary lies between: the object is its own stub.
    STDMETHODIMP CreateObjectStub(IUnknown* object, IUnknown** stub) override
    {
        object->AddRef();
        *stub = object;
        return S_OK;
    }
};

template<class Object>
class Factory final : public ComObject<IClassFactory> {
public:
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override
    {
        *ppv = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        auto* const object = new Object;
        const HRESULT result = object->QueryInterface(riid, ppv);
        object->Release();
        return result;
    }

    STDMETHODIMP LockServer(BOOL /*lock*/) override { return S_OK; }
};

// A module whose threads and objects may outlive COM in this process must not be unloaded with it.
void stayLoaded()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&stayLoaded), &module);
}

void offerApartment()
{
    auto* const factory = new Factory<Apartment>;
    DWORD cookie = 0;
    CoRegisterClassObject(CLSID_UnsecuredApartment, factory, CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE, &cookie);
    factory->Release();
}

}  // namespace

}  // namespace kelvane::simulator

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv)
{
    using namespace kelvane::simulator;
    *ppv = nullptr;
    if (clsid != CLSID_WbemLocator) return CLASS_E_CLASSNOTAVAILABLE;
    stayLoaded();
    offerApartment();
    auto* const factory = new Factory<Locator>;
    const HRESULT result = factory->QueryInterface(riid, ppv);
    factory->Release();
    return result;
}

STDAPI DllCanUnloadNow() { return S_FALSE; }
