// simulator/platform/com_object.h: the three operations that every COM object has.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

namespace kelvane::simulator {

// An object with the given interfaces, IUnknown being the first one's. Starts with one reference, its maker's, and
// deletes itself with the last. Any thread.
template<class First, class... Others>
class ComObject : public First, public Others... {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        *ppv = riid == __uuidof(IUnknown) ? static_cast<First*>(this) : nullptr;
        offer<First>(riid, ppv);
        (offer<Others>(riid, ppv), ...);
        if (!*ppv) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }

    STDMETHODIMP_(ULONG) Release() override
    {
        const ULONG left = --references;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~ComObject() = default;

private:
    template<class Interface>
    void offer(REFIID riid, void** ppv)
    {
        if (riid == __uuidof(Interface)) *ppv = static_cast<Interface*>(this);
    }

    std::atomic<ULONG> references = 1;
};

}  // namespace kelvane::simulator
