// The import table of the executable's image: a descriptor for each library, with the names and the slots side by side.
#include "simulator/standins/import_table.h"

#include "simulator/platform/import_slot.h"

#include <windows.h>

#include <cstddef>
#include <cstring>

namespace kelvane::simulator {

namespace {

class Image {
public:
    explicit Image(HMODULE module) : base(reinterpret_cast<std::byte*>(module)) {}

    template<class T>
    T* at(std::size_t offset) const
    {
        return reinterpret_cast<T*>(reinterpret_cast<void*>(base + offset));
    }

    const IMAGE_IMPORT_DESCRIPTOR* imports() const
    {
        const auto* const dos = at<IMAGE_DOS_HEADER>(0);
        const auto* const headers = at<IMAGE_NT_HEADERS>(static_cast<std::size_t>(dos->e_lfanew));
        return at<IMAGE_IMPORT_DESCRIPTOR>(
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    }

private:
    std::byte* base;
};

bool isNamed(const Image& image, const IMAGE_THUNK_DATA& name, const char* function)
{
    if (IMAGE_SNAP_BY_ORDINAL(name.u1.Ordinal)) return false;
    return std::strcmp(image.at<IMAGE_IMPORT_BY_NAME>(name.u1.AddressOfData)->Name, function) == 0;
}

// The slot for `function` among one library's, or null.
ULONGLONG* findSlot(const Image& image, const IMAGE_IMPORT_DESCRIPTOR& imports, const char* function)
{
    const auto* name = image.at<IMAGE_THUNK_DATA>(imports.OriginalFirstThunk);
    auto* slot = image.at<IMAGE_THUNK_DATA>(imports.FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
        if (isNamed(image, *name, function)) return &slot->u1.Function;
    }
    return nullptr;
}

}  // namespace

bool replaceImport(const char* library, const char* function, void* replacement)
{
    const Image image(GetModuleHandleW(nullptr));
    for (const auto* imports = image.imports(); imports->Name != 0; ++imports) {
        if (_stricmp(image.at<char>(imports->Name), library) != 0) continue;
        if (ULONGLONG* const slot = findSlot(image, *imports, function)) {
            setImport(*slot, reinterpret_cast<ULONGLONG>(replacement));
            return true;
        }
    }
    return false;
}

}  // namespace kelvane::simulator
