// The imports of ole32 that the engine calls.
#include "tests/engine/fake_com.h"
#include "simulator/platform/import_slots.h"
#include "tests/support/failing_calls.h"

namespace kelvane::tests {

namespace {

FakeCom* com;

std::string text(unsigned long number) { return ", " + std::to_string(number); }

std::string text(const void* pointer) { return pointer ? ", not null" : ", null"; }

HRESULT WINAPI fakeInitialize(LPVOID reserved, DWORD model)
{
    note("CoInitializeEx" + text(reserved) + text(model));
    if (callFails("CoInitializeEx")) return E_FAIL;
    if (com->onInitialize) com->onInitialize();
    return com->answer;
}

HRESULT WINAPI fakeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services,
                            void* reserved, DWORD authentication, DWORD impersonation, void* list, DWORD capabilities,
                            void* alsoReserved)
{
    note("CoInitializeSecurity" + text(descriptor) + ", " + std::to_string(count) + text(services) + text(reserved) +
         text(authentication) + text(impersonation) + text(list) + text(capabilities) + text(alsoReserved));
    return callFails("CoInitializeSecurity") ? E_FAIL : com->answer;
}

HRESULT WINAPI fakeBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal, DWORD level,
                           DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities)
{
    note("CoSetProxyBlanket" + std::string(proxy == &com->services ? ", services" : ", ?") + text(authentication) +
         text(authorization) + text(principal) + text(level) + text(impersonation) + text(identity) +
         text(capabilities));
    return callFails("CoSetProxyBlanket") ? E_FAIL : com->answer;
}

HRESULT WINAPI fakeCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** result)
{
    const bool locator = classId == CLSID_WbemLocator && interfaceId == IID_IWbemLocator;
    const bool apartment = classId == CLSID_UnsecuredApartment && interfaceId == IID_IUnsecuredApartment;
    const std::string call = locator     ? "CoCreateInstance, locator"
                             : apartment ? "CoCreateInstance, apartment"
                                         : "CoCreateInstance, ?";
    note(call + text(outer) + text(context));
    if (callFails(call)) return E_FAIL;
    if (locator) handOut(com->locator, result);
    if (apartment) handOut(com->apartment, result);
    return apartment ? com->apartmentAnswer : com->answer;
}

void WINAPI fakeUninitialize() { note("CoUninitialize"); }

}  // namespace

FakeCom::FakeCom()
    : initialize(__imp_CoInitializeEx, &fakeInitialize), secure(__imp_CoInitializeSecurity, &fakeSecurity),
      create(__imp_CoCreateInstance, &fakeCreateInstance), blanket(__imp_CoSetProxyBlanket, &fakeBlanket),
      uninitialize(__imp_CoUninitialize, &fakeUninitialize)
{
    com = this;
    locator.services = &services;
    apartment.stub = &stub;
    stub.onQuery = [this](void** result) { return handOut(stubSink, result); };
}

FakeCom::~FakeCom() { com = nullptr; }

int FakeCom::heldReferences() const
{
    int held = 0;
    for (const FakeObject* const object : objects) held += object->references;
    return held;
}

}  // namespace kelvane::tests
