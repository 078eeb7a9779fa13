// tests/engine/fake_com.h: COM and WMI under one or several runs of the engine.
//
// Every call is noted with its arguments, and asks failing_calls.h under its name; "CoCreateInstance, locator" and
// "CoCreateInstance, apartment" are two.
#pragma once

#include "tests/engine/fake_wmi.h"
#include "tests/support/import_swap.h"

#include <wbemidl.h>

#include <array>
#include <functional>

namespace kelvane::tests {

class FakeCom {
public:
    FakeCom()  // one at a time
    {
        com = this;
        locator.services = &services;
        apartment.stub = &stub;
        stub.onQuery = [this](void** result) { return handOut(stubSink, result); };
    }

    FakeCom(const FakeCom&) = delete;
    FakeCom& operator=(const FakeCom&) = delete;

    HRESULT answer = S_OK;           // of the calls of COM that do not fail
    HRESULT apartmentAnswer = S_OK;  // of the one that makes the apartment
    std::function<void()> onInitialize;

    FakeLocator locator{ "locator" };
    FakeServices services{ "services" };
    FakeApartment apartment{ "apartment" };
    FakeUnknown stub{ "stub" };
    FakeSink stubSink{ "stubSink" };
    const std::array<FakeObject*, 5> objects = { &locator, &services, &apartment, &stub, &stubSink };

    // References that the engine still holds on any of the five objects.
    int heldReferences() const
    {
        int held = 0;
        for (const FakeObject* const object : objects) held += object->references;
        return held;
    }

private:
    static std::string text(unsigned long number) { return ", " + std::to_string(number); }

    static std::string text(const void* pointer) { return ", " + nullOrNot(pointer); }

    static HRESULT WINAPI initialize(LPVOID reserved, DWORD model)
    {
        note("CoInitializeEx" + text(reserved) + text(model));
        if (callFails("CoInitializeEx")) return E_FAIL;
        if (com->onInitialize) com->onInitialize();
        return com->answer;
    }

    static HRESULT WINAPI secure(PSECURITY_DESCRIPTOR descriptor, LONG count, SOLE_AUTHENTICATION_SERVICE* services,
                                 void* reserved, DWORD authentication, DWORD impersonation, void* list,
                                 DWORD capabilities, void* alsoReserved)
    {
        note("CoInitializeSecurity" + text(descriptor) + ", " + std::to_string(count) + text(services) +
             text(reserved) + text(authentication) + text(impersonation) + text(list) + text(capabilities) +
             text(alsoReserved));
        return callFails("CoInitializeSecurity") ? E_FAIL : com->answer;
    }

    static HRESULT WINAPI create(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** result)
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

    static HRESULT WINAPI setBlanket(IUnknown* proxy, DWORD authentication, DWORD authorization, OLECHAR* principal,
                                     DWORD level, DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity,
                                     DWORD capabilities)
    {
        note("CoSetProxyBlanket" + std::string(proxy == &com->services ? ", services" : ", ?") + text(authentication) +
             text(authorization) + text(principal) + text(level) + text(impersonation) + text(identity) +
             text(capabilities));
        return callFails("CoSetProxyBlanket") ? E_FAIL : com->answer;
    }

    static void WINAPI uninitialize() { note("CoUninitialize"); }

    static inline FakeCom* com;
    ImportSwap<decltype(&CoInitializeEx)> initializeEx{ __imp_CoInitializeEx, &initialize };
    ImportSwap<decltype(&CoInitializeSecurity)> security{ __imp_CoInitializeSecurity, &secure };
    ImportSwap<decltype(&CoCreateInstance)> createInstance{ __imp_CoCreateInstance, &create };
    ImportSwap<decltype(&CoSetProxyBlanket)> proxyBlanket{ __imp_CoSetProxyBlanket, &setBlanket };
    ImportSwap<decltype(&CoUninitialize)> end{ __imp_CoUninitialize, &uninitialize };
};

}  // namespace kelvane::tests
