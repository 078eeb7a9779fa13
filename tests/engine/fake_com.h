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
    FakeCom();  // one at a time
    ~FakeCom();
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
    int heldReferences() const;

private:
    template<class Function>
    using Swap = ImportSwap<Function>;

    Swap<decltype(&CoInitializeEx)> initialize;
    Swap<decltype(&CoInitializeSecurity)> secure;
    Swap<decltype(&CoCreateInstance)> create;
    Swap<decltype(&CoSetProxyBlanket)> blanket;
    Swap<decltype(&CoUninitialize)> uninitialize;
};

}  // namespace kelvane::tests
