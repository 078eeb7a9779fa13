// A class object is a short list of properties; the event is one whose only property is another.
#include "simulator/platform/process_event.h"

#include "simulator/platform/com_object.h"
#include "simulator/platform/unused_wmi.h"

#include <comdef.h>

#include <utility>
#include <vector>

namespace kelvane::simulator {

namespace {

using Properties = std::vector<std::pair<const wchar_t*, _variant_t>>;

class ClassObject final : public UnusedClassObject<ComObject<IWbemClassObject>> {
public:
    explicit ClassObject(Properties its) : properties(std::move(its)) {}

    STDMETHODIMP Get(LPCWSTR name, LONG /*flags*/, VARIANT* value, CIMTYPE* /*type*/, LONG* /*flavor*/) override
    {
        for (auto& [key, property] : properties) {
            if (_wcsicmp(key, name) == 0) return VariantCopy(value, &property);
        }
        return static_cast<HRESULT>(WBEM_E_NOT_FOUND);
    }

private:
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
