// The imports of ole32 that the engine calls.
#include "tests/engine/fake_com.h"
#include "simulator/platform/import_slots.h"

namespace kelvane::tests {

namespace {

FakeCom* com;

std::string text(unsigned long number) { return ", " + std::to_string(number); }

std::string text(const void* pointer) { return pointer ? ", not null" : ", null"; }

HRESULT WINAPI fakeInitialize(LPVOID reserved, DWORD model)
{
    note("CoInitializeEx" + text(reserved) + text(model));
    if (com->onInitialize) com->onInitialize();
    return com->initialized;
}

HRESULT WINAPI fakeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services,
                            void* reserved, DWORD authentication, DWORD impersonation, void* list, DWORD capabilities,
                            void* alsoReserved)
{
    note("CoInitializeSecurity" + text(descriptor) + ", " + std::to_string(count) + text(services) + text(reserved) +
         text(authentication) + text(impersonation) + text(list) + text(capabilities) + text(alsoReserved));
    return com->secured;
}

HRESULT WINAPI fakeBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal, DWORD level,
                           DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities)
{
    note("CoSetProxyBlanket" + std::string(proxy == &com->services ? ", services" : ", ?") + text(authentication) +
         text(authorization) + text(principal) + text(level) + text(impersonation) + text(identity) +
         text(capabilities));
    return com->blanketSet;
}

void WINAPI fakeUninitialize() { note("CoUninitialize"); }

}  // namespace

HRESULT WINAPI fakeCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** result)
{
    const bool locator = classId == CLSID_WbemLocator && interfaceId == IID_IWbemLocator;
    const bool apartment = classId == CLSID_UnsecuredApartment && interfaceId == IID_IUnsecuredApartment;
    note("CoCreateInstance" +
         std::string(locator     ? ", locator"
                     : apartment ? ", apartment"
                                 : ", ?") +
         text(outer) + text(context));
    return com->handOut(interfaceId, result);
}

HRESULT FakeCom::handOut(const IID& interfaceId, void** result)
{
    if (interfaceId == IID_IWbemLocator) {
        if (FAILED(locatorCreated) || noLocator) return locatorCreated;
        locator.AddRef();
        *result = &locator;
        return locatorCreated;
    }
    if (noApartment) return apartmentCreated;
    apartment.AddRef();
    *result = &apartment;
    return apartmentCreated;
}

FakeCom::FakeCom()
    : initialize(__imp_CoInitializeEx, &fakeInitialize), secure(__imp_CoInitializeSecurity, &fakeSecurity),
      create(__imp_CoCreateInstance, &fakeCreateInstance), blanket(__imp_CoSetProxyBlanket, &fakeBlanket),
      uninitialize(__imp_CoUninitialize, &fakeUninitialize)
{
    com = this;
    locator.services = &services;
    apartment.stub = &stub;
    stub.onQuery = [this](REFIID, void** result) {
        if (noStubSink) return E_NOINTERFACE;
        stubSink.AddRef();
        *result = &stubSink;
        return S_OK;
    };
}

FakeCom::~FakeCom() { com = nullptr; }

int FakeCom::heldReferences() const
{
    return locator.references + services.references + apartment.references + stub.references + stubSink.references;
}

}  // namespace kelvane::tests
