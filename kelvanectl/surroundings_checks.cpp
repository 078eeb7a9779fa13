// What the service meets when it runs: keys, the core, the event log, its own log, and whether it was heard.
#include "kelvanectl/checks.h"
#include "kelvanectl/console.h"
#include "kelvanectl/core_file.h"
#include "kelvanectl/scaling_by_log.h"
#include "state/names.h"

#include <windows.h>

#include <winevt.h>

namespace kelvane {

namespace {

constexpr char installDrivers[] = "install the framework's drivers, then restart the service";
constexpr char writeValue[] = "write CurrentSetting as a REG_DWORD";

bool isText(const RegistryValue& value) { return value.type == REG_SZ || value.type == REG_EXPAND_SZ; }

// The service judges the first four bytes, whatever the type is.
Check controlValueCheck(const RegistryValue& value)
{
    const std::string name = "control value";
    const auto number = numberOf(value);
    if (value.presence != Presence::present) return presenceCheck(name, value.presence, writeValue);
    if (!number) return { name, Outcome::failed, "shorter than four bytes", writeValue };
    if (isText(value)) return { name, Outcome::failed, "a text, which is never taken for 2", writeValue };
    const char* const meaning = *number == scalingWanted ? ": scaling is wanted" : ": scaling is not wanted";
    return { name, Outcome::ok, std::to_string(*number) + meaning, "" };
}

Check coreCheck()
{
    const CoreFile core = findCore();
    const std::string path = toUtf8(core.path);
    if (core.isLink)
        return { "core", Outcome::failed, path + " is a link, which is removed", "reinstall the framework" };
    if (!core.present) return { "core", Outcome::failed, path + " is not there", "reinstall the framework" };
    return { "core", Outcome::ok, path, "" };
}

// 0 when the log answers. Asked for by name, since not every stand-in for the event log has all of it.
DWORD askSystemLog(HMODULE library)
{
    const auto query =
        reinterpret_cast<decltype(&EvtQuery)>(reinterpret_cast<void*>(GetProcAddress(library, "EvtQuery")));
    const auto close =
        reinterpret_cast<decltype(&EvtClose)>(reinterpret_cast<void*>(GetProcAddress(library, "EvtClose")));
    if (!query || !close) return ERROR_PROC_NOT_FOUND;
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);  // for a function that fails and says nothing
    EVT_HANDLE result = query(nullptr, standbyChannel, standbyQuery, EvtQueryChannelPath);
    if (!result) return GetLastError();
    close(result);
    return ERROR_SUCCESS;
}

Check systemLogCheck()
{
    const std::string name = "System log";
    HMODULE library = LoadLibraryExW(L"wevtapi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const DWORD error = library ? askSystemLog(library) : ERROR_MOD_NOT_FOUND;
    if (library) FreeLibrary(library);
    switch (error) {
    case ERROR_SUCCESS: return { name, Outcome::ok, "readable", "" };
    case ERROR_ACCESS_DENIED: return { name, Outcome::unknown, unseen, "" };
    case ERROR_EVT_CHANNEL_NOT_FOUND:
    case RPC_S_SERVER_UNAVAILABLE:
        return { name, Outcome::failed, "not readable, so that standby goes unnoticed", "start the event log service" };
    default: return { name, Outcome::unknown, "the event log does not answer", "" };
    }
}

// A home folder without the log's folder in it is not repaired by the service, and the log stays closed.
Check logCheck(const Machine& machine)
{
    const std::string name = "log";
    if (machine.log.presence == Presence::present) return { name, Outcome::ok, toUtf8(machine.logFile), "" };
    if (machine.log.presence == Presence::unseen) return { name, Outcome::unknown, unseen, "" };
    const std::wstring folder = machine.logFile.substr(0, machine.logFile.rfind(L'\\'));
    const std::wstring home = folder.substr(0, folder.rfind(L'\\'));
    const bool hasHome = GetFileAttributesW(home.c_str()) != INVALID_FILE_ATTRIBUTES;
    const bool hasFolder = GetFileAttributesW(folder.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (hasHome && !hasFolder) {
        return { name, Outcome::failed, toUtf8(folder) + " is missing",
                 "remove " + toUtf8(home) + ", then restart the service" };
    }
    if (machine.service.state != SERVICE_RUNNING) {
        return { name, Outcome::ok, "none yet: the service makes it when it starts", "" };
    }
    return { name, Outcome::failed, toUtf8(machine.logFile) + " is missing",
             "let the service's account write there, then restart the service" };
}

// Scaling is wanted, and does not run: the value stood there before the service looked, or standby or a failed start
// ended it.
Check sessionCheck(const Machine& machine, const RegistryValue& control)
{
    const std::string name = "lost session";
    if (numberOf(control) != scalingWanted) return { name, Outcome::ok, "scaling is not wanted", "" };
    if (machine.service.state != SERVICE_RUNNING) return { name, Outcome::ok, "the service does not run", "" };
    if (machine.log.presence == Presence::unseen) return { name, Outcome::unknown, unseen, "" };
    if (machine.log.presence == Presence::absent) return { name, Outcome::unknown, "there is no log", "" };
    const ScalingByLog scaling = scalingByLog(machine.log.entries, true);
    if (scaling.state != "off") return { name, Outcome::ok, "scaling is " + scaling.state, "" };
    return { name, Outcome::failed, "the value is 2, and scaling is off",
             "if it is still so ten seconds after the value was written, " + scaling.toGoOn };
}

}  // namespace

Machine lookAtMachine()
{
    Machine machine{ readService(), L"", {} };
    machine.logFile = logFileOf(machine.service.account);
    machine.log = readLog(machine.logFile);
    return machine;
}

std::vector<Check> surroundingsChecks(const Machine& machine)
{
    const Presence controlPresence = keyPresence(controlKey);
    const RegistryValue control = readValue(controlKey, controlValue);
    std::vector<Check> checks{
        presenceCheck("own key", keyPresence(capabilityKey), "repair the installation"),
        presenceCheck("driver orq_acpi", keyPresence(acpiDriverKey), installDrivers),
        presenceCheck("driver orq_cpu", keyPresence(cpuDriverKey), installDrivers),
        presenceCheck("companion's key", controlPresence, "install the companion, then restart the service"),
    };
    checks.push_back(controlPresence == Presence::present
                         ? controlValueCheck(control)
                         : Check{ "control value", Outcome::unknown, "the companion's key is not seen", "" });
    checks.push_back(coreCheck());
    checks.push_back(systemLogCheck());
    checks.push_back(logCheck(machine));
    checks.push_back(sessionCheck(machine, control));
    return checks;
}

}  // namespace kelvane
