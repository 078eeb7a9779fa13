// A class object is a short list of properties; the event is one whose only property is another.
#include "simulator/platform/process_event.h"

#include "simulator/platform/com_object.h"

#include <comdef.h>

#include <utility>
#include <vector>

namespace kelvane::simulator {

namespace {

using Properties = std::vector<std::pair<const wchar_t*, _variant_t>>;

class ClassObject final : public ComObject<IWbemClassObject> {
public:
    explicit ClassObject(Properties its) : properties(std::move(its)) {}

    STDMETHODIMP Get(LPCWSTR name, LONG /*flags*/, VARIANT* value, CIMTYPE* /*type*/, LONG* /*flavor*/) override
    {
        for (auto& [key, property] : properties) {
            if (_wcsicmp(key, name) == 0) return VariantCopy(value, &property);
        }
        return static_cast<HRESULT>(WBEM_E_NOT_FOUND);
    }

    STDMETHODIMP GetQualifierSet(IWbemQualifierSet** /*set*/) override { return refused; }

    STDMETHODIMP Put(LPCWSTR /*name*/, LONG /*flags*/, VARIANT* /*value*/, CIMTYPE /*type*/) override
    {
        return refused;
    }

    STDMETHODIMP Delete(LPCWSTR /*name*/) override { return refused; }

    STDMETHODIMP GetNames(LPCWSTR /*qualifier*/, LONG /*flags*/, VARIANT* /*value*/, SAFEARRAY** /*names*/) override
    {
        return refused;
    }

    STDMETHODIMP BeginEnumeration(LONG /*flags*/) override { return refused; }

    STDMETHODIMP Next(LONG /*flags*/, BSTR* /*name*/, VARIANT* /*value*/, CIMTYPE* /*type*/, LONG* /*flavor*/) override
    {
        return refused;
    }

    STDMETHODIMP EndEnumeration() override { return refused; }

    STDMETHODIMP GetPropertyQualifierSet(LPCWSTR /*property*/, IWbemQualifierSet** /*set*/) override { return refused; }

    STDMETHODIMP Clone(IWbemClassObject** /*copy*/) override { return refused; }

    STDMETHODIMP GetObjectText(LONG /*flags*/, BSTR* /*text*/) override { return refused; }

    STDMETHODIMP SpawnDerivedClass(LONG /*flags*/, IWbemClassObject** /*derived*/) override { return refused; }

    STDMETHODIMP SpawnInstance(LONG /*flags*/, IWbemClassObject** /*instance*/) override { return refused; }

    STDMETHODIMP CompareTo(LONG /*flags*/, IWbemClassObject* /*other*/) override { return refused; }

    STDMETHODIMP GetPropertyOrigin(LPCWSTR /*name*/, BSTR* /*className*/) override { return refused; }

    STDMETHODIMP InheritsFrom(LPCWSTR /*ancestor*/) override { return refused; }

    STDMETHODIMP GetMethod(LPCWSTR /*name*/, LONG /*flags*/, IWbemClassObject** /*in*/,
                           IWbemClassObject** /*out*/) override
    {
        return refused;
    }

    STDMETHODIMP PutMethod(LPCWSTR /*name*/, LONG /*flags*/, IWbemClassObject* /*in*/,
                           IWbemClassObject* /*out*/) override
    {
        return refused;
    }

    STDMETHODIMP DeleteMethod(LPCWSTR /*name*/) override { return refused; }

    STDMETHODIMP BeginMethodEnumeration(LONG /*flags*/) override { return refused; }

    STDMETHODIMP NextMethod(LONG /*flags*/, BSTR* /*name*/, IWbemClassObject** /*in*/,
                            IWbemClassObject** /*out*/) override
    {
        return refused;
    }

    STDMETHODIMP EndMethodEnumeration() override { return refused; }

    STDMETHODIMP GetMethodQualifierSet(LPCWSTR /*method*/, IWbemQualifierSet** /*set*/) override { return refused; }

    STDMETHODIMP GetMethodOrigin(LPCWSTR /*method*/, BSTR* /*className*/) override { return refused; }

private:
    static constexpr HRESULT refused = static_cast<HRESULT>(WBEM_E_NOT_SUPPORTED);

    Properties properties;
};

}  // namespace

IWbemClassObject* makeProcessEvent(const std::wstring& name, std::uint32_t processId)
{
    auto* const process =
        new ClassObject({ { L"Name", name.c_str() }, { L"ProcessId", static_cast<long>(processId) } });
    constexpr bool addReference = false;  // the event takes over the only one
    return new ClassObject({ { L"TargetInstance", _variant_t(static_cast<IUnknown*>(process), addReference) } });
}

std::wstring fromUtf8(const std::string& text)
{
    const int bytes = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), length);
    return wide;
}

}  // namespace kelvane::simulator
