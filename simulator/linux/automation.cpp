// COM's imports, texts and values.
#include "simulator/linux/not_here.h"

#include <comdef.h>
#include <wbemidl.h>

#include <cstdlib>
#include <cwchar>

// The numbers are known to everyone.
const IID IID_IUnknown = { 0, 0, 0, { 0xC0, 0, 0, 0, 0, 0, 0, 0x46 } };
const IID IID_IWbemClassObject = { 0xDC12A681, 0x737F, 0x11CF, { 0x88, 0x4D, 0, 0xAA, 0, 0x4B, 0x2E, 0x24 } };
const IID IID_IWbemLocator = { 0xDC12A687, 0x737F, 0x11CF, { 0x88, 0x4D, 0, 0xAA, 0, 0x4B, 0x2E, 0x24 } };
const IID IID_IWbemObjectSink = { 0x7C857801, 0x7381, 0x11CF, { 0x88, 0x4D, 0, 0xAA, 0, 0x4B, 0x2E, 0x24 } };
const IID IID_IWbemServices = { 0x9556DC99, 0x828C, 0x11CF, { 0xA3, 0x7E, 0, 0xAA, 0, 0x32, 0x40, 0xC7 } };
const IID IID_IUnsecuredApartment = { 0x1CFABA8C, 0x1523, 0x11D1, { 0xAD, 0x79, 0, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF } };
const CLSID CLSID_WbemLocator = { 0x4590F811, 0x1D3A, 0x11D0, { 0x89, 0x1F, 0, 0xAA, 0, 0x4B, 0x2E, 0x24 } };
const CLSID CLSID_UnsecuredApartment = { 0x49BD2028, 0x1523, 0x11D1, { 0xAD, 0x79, 0, 0xC0, 0x4F, 0xD8, 0xFD, 0xFF } };

struct SAFEARRAY {};

namespace {

constexpr std::size_t lengthBytes = sizeof(DWORD);

BSTR allocateText(const OLECHAR* text)
{
    return text ? SysAllocStringLen(text, static_cast<UINT>(wcslen(text))) : nullptr;
}

void freeText(BSTR text)
{
    if (text) std::free(reinterpret_cast<char*>(text) - lengthBytes);
}

HRESULT changeType(VARIANT* to, VARIANT* from, USHORT /*flags*/, VARTYPE type)
{
    if (from->vt == type) return VariantCopy(to, from);
    if (type != VT_BSTR || (from->vt != VT_EMPTY && from->vt != VT_I4)) return DISP_E_TYPEMISMATCH;
    const std::wstring digits = from->vt == VT_I4 ? std::to_wstring(from->lVal) : L"";
    VariantClear(to);
    to->vt = VT_BSTR;
    to->bstrVal = SysAllocString(digits.c_str());
    return to->bstrVal ? S_OK : E_OUTOFMEMORY;
}

}  // namespace

extern "C" {
constinit decltype(&CoInitializeEx) __imp_CoInitializeEx = kelvane::native::NotHere<E_NOTIMPL>();
constinit decltype(&CoInitializeSecurity) __imp_CoInitializeSecurity = kelvane::native::NotHere<E_NOTIMPL>();
constinit decltype(&CoCreateInstance) __imp_CoCreateInstance = kelvane::native::NotHere<E_NOTIMPL>();
constinit decltype(&CoSetProxyBlanket) __imp_CoSetProxyBlanket = kelvane::native::NotHere<E_NOTIMPL>();
constinit decltype(&CoUninitialize) __imp_CoUninitialize = [] {};
constinit decltype(&SysAllocString) __imp_SysAllocString = allocateText;
constinit decltype(&SysFreeString) __imp_SysFreeString = freeText;
constinit decltype(&VariantChangeType) __imp_VariantChangeType = changeType;
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length)
{
    const auto bytes = static_cast<DWORD>(length * sizeof(OLECHAR));
    auto* const block = static_cast<char*>(std::malloc(lengthBytes + bytes + sizeof(OLECHAR)));
    if (!block) return nullptr;
    std::memcpy(block, &bytes, lengthBytes);
    std::memcpy(block + lengthBytes, text, bytes);
    std::memset(block + lengthBytes + bytes, 0, sizeof(OLECHAR));
    return reinterpret_cast<BSTR>(block + lengthBytes);
}

UINT SysStringLen(BSTR text)
{
    DWORD bytes = 0;
    if (text) std::memcpy(&bytes, reinterpret_cast<char*>(text) - lengthBytes, lengthBytes);
    return static_cast<UINT>(bytes / sizeof(OLECHAR));
}

void VariantInit(VARIANT* value) { *value = {}; }

HRESULT VariantClear(VARIANT* value)
{
    if (value->vt == VT_BSTR) SysFreeString(value->bstrVal);
    if (value->vt == VT_UNKNOWN && value->punkVal) value->punkVal->Release();
    if (value->vt & VT_ARRAY) delete value->parray;
    VariantInit(value);
    return S_OK;
}

HRESULT VariantCopy(VARIANT* to, const VARIANT* from)
{
    if (to == from) return S_OK;
    VariantClear(to);
    VARIANT copy = *from;
    if (from->vt == VT_BSTR) {
        copy.bstrVal = SysAllocStringLen(from->bstrVal ? from->bstrVal : L"", SysStringLen(from->bstrVal));
        if (!copy.bstrVal) return E_OUTOFMEMORY;
    }
    if (from->vt == VT_UNKNOWN && from->punkVal) from->punkVal->AddRef();
    if (from->vt & VT_ARRAY) copy.parray = new SAFEARRAY;
    *to = copy;
    return S_OK;
}

SAFEARRAY* SafeArrayCreateVector(VARTYPE /*type*/, LONG /*first*/, ULONG /*count*/) { return new SAFEARRAY; }

const char* _com_error::ErrorMessage() const
{
    if (!message.empty()) return message.c_str();
    char* text = nullptr;
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(code), 0,
                   reinterpret_cast<LPSTR>(&text), 0, nullptr);
    if (text) {
        message = text;
        LocalFree(text);
        while (message.ends_with('\n') || message.ends_with('\r')) message.pop_back();
        return message.c_str();
    }
    const auto number = static_cast<DWORD>(code);
    char words[32];
    if (number >= 0x80040200 && number <= 0x8004FFFF) {
        std::snprintf(words, sizeof words, "IDispatch error #%u", number - 0x80040200);
    } else {
        std::snprintf(words, sizeof words, "Unknown error 0x%08X", number);
    }
    message = words;
    return message.c_str();
}
