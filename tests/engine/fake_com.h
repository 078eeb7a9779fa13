// tests/engine/fake_com.h: COM and WMI under one or several runs of the engine.
//
// Every call is noted with its arguments. All succeed until a test says otherwise.
#pragma once

#include "tests/engine/fake_wmi.h"
#include "tests/support/import_swap.h"

#include <wbemidl.h>

#include <functional>

namespace kelvane::tests {

class FakeCom {
public:
    FakeCom();  // one at a time
    ~FakeCom();
    FakeCom(const FakeCom&) = delete;
    FakeCom& operator=(const FakeCom&) = delete;

    HRESULT initialized = S_OK;
    HRESULT secured = S_OK;
    HRESULT locatorCreated = S_OK;
    HRESULT apartmentCreated = S_OK;
    HRESULT blanketSet = S_OK;
    bool noLocator = false;    // null, whatever the result is
    bool noApartment = false;  // the same
    bool noStubSink = false;
    std::function<void()> onInitialize;

    FakeLocator locator{ "locator" };
    FakeServices services{ "services" };
    FakeApartment apartment{ "apartment" };
    FakeUnknown stub{ "stub" };
    FakeSink stubSink{ "stubSink" };

    // References that the engine still holds on any of the five objects.
    int heldReferences() const;

private:
    HRESULT handOut(const IID& interfaceId, void** result);

    friend HRESULT WINAPI fakeCreateInstance(REFCLSID, IUnknown*, DWORD, REFIID, void**);

    template<class Function>
    using Swap = ImportSwap<Function>;

    Swap<decltype(&CoInitializeEx)> initialize;
    Swap<decltype(&CoInitializeSecurity)> secure;
    Swap<decltype(&CoCreateInstance)> create;
    Swap<decltype(&CoSetProxyBlanket)> blanket;
    Swap<decltype(&CoUninitialize)> uninitialize;
};

}  // namespace kelvane::tests
