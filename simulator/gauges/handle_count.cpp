// handle_count PROGRAM.EXE: prints how many handles the process of this name holds; ends with 1 when there is none.
//
// For a look from outside: Wine keeps handles where the host does not see them.
#include <windows.h>

#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <vector>

namespace {

constexpr auto handlesOfAll = static_cast<SYSTEM_INFORMATION_CLASS>(16);

// As the system writes them: the number, then an entry for each handle.
struct TableEntry {
    std::uint32_t processId;
    std::uint8_t type;
    std::uint8_t flags;
    std::uint16_t handle;
    std::uint64_t object;
    std::uint64_t access;
};

constexpr std::size_t headBytes = 8;
static_assert(sizeof(TableEntry) == 24);

constexpr std::size_t roomForAll = headBytes + 100000 * sizeof(TableEntry);

// The id of the process, or 0.
DWORD findProcess(const wchar_t* name)
{
    auto* const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        if (std::wcscmp(entry.szExeFile, name) == 0) found = entry.th32ProcessID;
    }
    CloseHandle(snapshot);
    return found;
}

std::vector<TableEntry> allHandles()
{
    std::vector<unsigned char> table(roomForAll);
    if (NtQuerySystemInformation(handlesOfAll, table.data(), static_cast<ULONG>(table.size()), nullptr)) return {};
    std::uint32_t count = 0;
    std::memcpy(&count, table.data(), sizeof count);
    std::vector<TableEntry> entries(count);
    std::memcpy(entries.data(), table.data() + headBytes, count * sizeof(TableEntry));
    return entries;
}

}  // namespace

int wmain(int argc, wchar_t** argv)
{
    const DWORD process = argc == 2 ? findProcess(argv[1]) : 0;
    const std::vector<TableEntry> handles = allHandles();
    if (process == 0 || handles.empty()) return 1;
    std::printf("%lld\n", static_cast<long long>(std::ranges::count(handles, process, &TableEntry::processId)));
    return 0;
}
