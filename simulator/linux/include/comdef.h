// simulator/linux/include/comdef.h: texts and values that look after themselves; a conversion that fails raises
// _com_error.
#pragma once

#include <oaidl.h>

#include <new>
#include <string>
#include <utility>

class _bstr_t;

class _com_error {
public:
    explicit _com_error(HRESULT result) : code(result) {}

    HRESULT Error() const { return code; }

    _bstr_t Description() const;       // no object tells more: null
    const char* ErrorMessage() const;  // as FormatMessageA has it

private:
    HRESULT code;
    mutable std::string message;
};

inline void raiseIfFailed(HRESULT result)
{
    if (FAILED(result)) throw _com_error(result);
}

class _variant_t : public VARIANT {
public:
    _variant_t() { VariantInit(this); }

    explicit _variant_t(const VARIANT& value) : _variant_t() { raiseIfFailed(VariantCopy(this, &value)); }

    _variant_t(const _variant_t& value) : _variant_t(static_cast<const VARIANT&>(value)) {}

    _variant_t(long number) : _variant_t()
    {
        vt = VT_I4;
        lVal = static_cast<LONG>(number);
    }

    _variant_t(const wchar_t* text) : _variant_t()
    {
        vt = VT_BSTR;
        bstrVal = SysAllocString(text);
        if (text && !bstrVal) throw _com_error(E_OUTOFMEMORY);
    }

    _variant_t(IUnknown* object, bool addReference) : _variant_t()
    {
        vt = VT_UNKNOWN;
        punkVal = object;
        if (object && addReference) object->AddRef();
    }

    ~_variant_t() { VariantClear(this); }

    _variant_t& operator=(const _variant_t&) = delete;

    // With a reference, the caller's.
    operator IUnknown*() const
    {
        _variant_t converted;
        raiseIfFailed(VariantChangeType(&converted, const_cast<_variant_t*>(this), 0, VT_UNKNOWN));
        return std::exchange(converted.punkVal, nullptr);
    }
};

class _bstr_t {
public:
    _bstr_t() = default;

    _bstr_t(const wchar_t* wide) : text(SysAllocString(wide))
    {
        if (wide && !text) throw _com_error(E_OUTOFMEMORY);
    }

    explicit _bstr_t(const _variant_t& value)
    {
        _variant_t converted;
        raiseIfFailed(VariantChangeType(&converted, const_cast<_variant_t*>(&value), 0, VT_BSTR));
        text = std::exchange(converted.bstrVal, nullptr);
    }

    ~_bstr_t() { SysFreeString(text); }

    _bstr_t(const _bstr_t&) = delete;
    _bstr_t& operator=(const _bstr_t&) = delete;

    operator wchar_t*() const { return text; }

    operator const wchar_t*() const { return text; }

    unsigned length() const { return SysStringLen(text); }

private:
    BSTR text = nullptr;
};

inline _bstr_t _com_error::Description() const { return {}; }
