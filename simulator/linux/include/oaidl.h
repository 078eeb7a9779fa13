// simulator/linux/include/oaidl.h: texts and values as automation has them.
//
// A text carries its length in the four bytes before its first character.
#pragma once

#include <objbase.h>

using OLECHAR = wchar_t;
using BSTR = wchar_t*;
using VARTYPE = std::uint16_t;

enum : VARTYPE { VT_EMPTY = 0, VT_NULL = 1, VT_I4 = 3, VT_BSTR = 8, VT_UNKNOWN = 13, VT_ARRAY = 0x2000 };

struct SAFEARRAY;

struct VARIANT {
    VARTYPE vt;
    std::uint16_t reserved[3];

    union {
        LONG lVal;
        BSTR bstrVal;
        IUnknown* punkVal;
        SAFEARRAY* parray;
        void* pair[2];
    };
};

using VARIANTARG = VARIANT;

#define V_VT(value) ((value)->vt)
#define V_I4(value) ((value)->lVal)
#define V_BSTR(value) ((value)->bstrVal)
#define V_UNKNOWN(value) ((value)->punkVal)
#define V_ARRAY(value) ((value)->parray)

constexpr HRESULT DISP_E_TYPEMISMATCH = static_cast<HRESULT>(0x80020005);

WINDOWS_IMPORT(BSTR, SysAllocString, (const OLECHAR* text), (text))
WINDOWS_IMPORT(void, SysFreeString, (BSTR text), (text))
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
UINT SysStringLen(BSTR text);

void VariantInit(VARIANT* value);
HRESULT VariantClear(VARIANT* value);
HRESULT VariantCopy(VARIANT* to, const VARIANTARG* from);
// To VT_BSTR from a text, a number or nothing, to VT_UNKNOWN from an interface; else DISP_E_TYPEMISMATCH.
WINDOWS_IMPORT(HRESULT, VariantChangeType, (VARIANT * to, VARIANT* from, USHORT flags, VARTYPE type),
               (to, from, flags, type))
SAFEARRAY* SafeArrayCreateVector(VARTYPE type, LONG first, ULONG count);
