// Loads the framework core: path, guard, module, handshake; on failure one line on standard error, then unload.
#include "framework/core_library.h"

#include "framework/status.h"
#include "state/names.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace kelvane {

LoaderState g_loader;

namespace {

constexpr char exportName[] = "GetOrqInterface";
constexpr std::size_t messageInsertsMax = 99;  // a text of the system's names its inserts %1 to %99

constexpr OrqInterface emptyInterface = {};
std::atomic<const OrqInterface*> currentInterface = &emptyInterface;

// Publishes a copy of `record`. Deliberate: the copy before it is never freed, since another thread may be reading it.
// A core that answers the same again, as it does on every restart of the engine, costs nothing.
void publish(const OrqInterface& record)
{
    if (std::memcmp(currentInterface.load(), &record, sizeof record) == 0) return;
    currentInterface = new OrqInterface(record);
}

struct LoadErrorRow {
    DWORD error;
    int status;
};

constexpr LoadErrorRow loadErrors[] = {
    { ERROR_SUCCESS, TOVA_OK },
    { ERROR_FILE_NOT_FOUND, TOVA_E_NOT_FOUND },
    { ERROR_MOD_NOT_FOUND, TOVA_E_NOT_FOUND },
    { ERROR_NOT_ENOUGH_MEMORY, TOVA_E_NO_MEMORY },
    { ERROR_PROC_NOT_FOUND, TOVA_E_NOT_IMPLEMENTED },
    { ERROR_BAD_EXE_FORMAT, TOVA_E_NOT_SUPPORTED },
};

int loadErrorStatus(const ModuleRecord* record)
{
    if (!record) return TOVA_E_PARAMETER_IS_NULL;
    for (const LoadErrorRow& row : loadErrors) {
        if (row.error == record->lastError) return row.status;
    }
    return TOVA_E_NO_CREATE;
}

// The module record of a load attempt on `path` (null: our own module); null when the path's guard failed or memory ran
// out.
ModuleRecord* openModule(const char* path)
{
    if (path && removeReparsePoint(path) != 0) return nullptr;
    auto* const record =
        static_cast<ModuleRecord*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ModuleRecord)));
    if (!record) return nullptr;
    SetLastError(ERROR_SUCCESS);
    if (path) {
        record->module = LoadLibraryExA(path, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    } else {
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCSTR>(&g_loader),
                           &record->module);
    }
    record->lastError = GetLastError();
    return record;
}

void freeErrorText(ModuleRecord& record)
{
    if (record.errorText) LocalFree(record.errorText);
    record.errorText = nullptr;
}

void freeRecord(ModuleRecord* record)
{
    freeErrorText(*record);
    *record = {};
    HeapFree(GetProcessHeap(), 0, record);
}

// The record of an earlier load goes, its library does not: the core is never unloaded once it was loaded.
void replaceModule(LoaderState& state, ModuleRecord* record)
{
    if (state.module) freeRecord(state.module);
    state.module = record;
}

void findExport(LoaderState& state)
{
    if (state.getOrqInterface) return;
    const FARPROC found = GetProcAddress(state.module->module, exportName);
    if (!found) state.module->lastError = GetLastError();
    state.getOrqInterface = reinterpret_cast<GetOrqInterfaceFunction>(reinterpret_cast<void*>(found));
}

bool requiredSlotsFilled(const OrqInterface& record)
{
    return record.Init && record.slot2 && record.SessionCreate && record.SessionDestroy && record.SessionConnect &&
           record.slot8 && record.SessionExecute && record.RegisterEvent && record.UnregisterEvent;
}

int shakeHands(LoaderState& state)
{
    findExport(state);
    if (!state.getOrqInterface) return TOVA_E_IFACE_NOT_SUPPORTED;

    OrqInterface& record = state.record;
    record = {};
    record.type = orqInterfaceType;
    record.version = orqInterfaceVersion;
    record.size = sizeof record;
    std::memcpy(record.versionText, orqInterfaceVersionText, sizeof orqInterfaceVersionText);
    static_assert(sizeof orqInterfaceVersionText <= sizeof record.versionText);

    const int status = state.getOrqInterface(&record);
    if (status != TOVA_OK) return status;
    if (record.type != orqInterfaceType || record.version != orqInterfaceVersion || record.size != sizeof record) {
        return TOVA_E_NOT_SUPPORTED;
    }
    return requiredSlotsFilled(record) ? TOVA_OK : TOVA_E_CALLBACK_IS_NULL;
}

}  // namespace

int Init()
{
    const int status = loadLibrary(&g_loader, coreLibraryName);
    if (status != TOVA_OK) return status;
    const OrqInterface& core = coreInterface();
    if (!core.Init) {
        unloadLibrary(g_loader);
        return TOVA_E_CALLBACK_IS_NULL;
    }
    return core.Init();
}

int loadLibrary(LoaderState* state, const char* name)
{
    if (!state) return TOVA_E_PARAMETER_IS_NULL;
    if (name) formCorePath(name, state->path);
    replaceModule(*state, openModule(name ? state->path : nullptr));

    const bool loaded = state->module && state->module->module;
    const int status = loaded ? shakeHands(*state) : loadErrorStatus(state->module);
    if (status != TOVA_OK) {
        std::fprintf(stderr, "\n*** LoadLibrary Failure: %s (%s): %s\n", libraryStatusName(status), state->path,
                     systemErrorText(state->module));
        std::fflush(stderr);
        unloadLibrary(*state);
        return status;
    }
    publish(state->record);
    return status;
}

void unloadLibrary(LoaderState& state)
{
    currentInterface = &emptyInterface;
    if (state.module) {
        if (state.module->module) FreeLibrary(state.module->module);
        freeRecord(state.module);
    }
    state.module = nullptr;
    state.getOrqInterface = nullptr;
    state.record = {};
}

const char* systemErrorText(ModuleRecord* record)
{
    if (!record || record->lastError == ERROR_SUCCESS) return "N/A";
    freeErrorText(*record);
    DWORD_PTR inserts[messageInsertsMax];
    std::fill(std::begin(inserts), std::end(inserts), reinterpret_cast<DWORD_PTR>(""));
    inserts[0] = reinterpret_cast<DWORD_PTR>("Library");
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr,
                   record->lastError, 0, reinterpret_cast<LPSTR>(&record->errorText), 0,
                   reinterpret_cast<va_list*>(inserts));
    return record->errorText ? record->errorText : "N/A";
}

const OrqInterface& coreInterface() { return *currentInterface; }

}  // namespace kelvane
