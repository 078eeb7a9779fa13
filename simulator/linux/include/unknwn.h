// simulator/linux/include/unknwn.h: the root of all COM interfaces.
#pragma once

#include <windows.h>

#define STDMETHODIMP HRESULT
#define STDMETHODIMP_(type) type

struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void** ppv) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};

extern const IID IID_IUnknown;

template<class Interface>
const IID& idOfInterface();
#define __uuidof(type) idOfInterface<type>()

template<>
inline const IID& idOfInterface<IUnknown>()
{
    return IID_IUnknown;
}
