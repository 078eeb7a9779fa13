// What the installer has entered: the service, its recovery, the source of its events.
#include "diagnostics/event_log.h"
#include "kelvanectl/checks.h"
#include "kelvanectl/console.h"
#include "version.h"

#include <cstring>

namespace kelvane {

namespace {

constexpr wchar_t sourcesKey[] = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\";
constexpr char repair[] = "repair the installation";
constexpr std::size_t firstAction = 5;  // of the numbers in the service's recovery actions
constexpr DWORD restartAction = 1;

Check judged(const std::string& name, bool fine, const std::string& found, const std::string& action)
{
    return { name, fine ? Outcome::ok : Outcome::failed, found, fine ? "" : action };
}

Check unseenCheck(const char* name) { return { name, Outcome::unknown, "the service is not seen", "" }; }

bool isFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

// A path with a blank in it has to be quoted, else Windows looks for other programs first.
bool isSafe(const InstalledService& service)
{
    return service.commandLine.starts_with(L'"') || service.program.find(L' ') == std::wstring::npos;
}

Check pathCheck(const InstalledService& service)
{
    const std::string found = toUtf8(service.commandLine);
    if (!isSafe(service)) return { "program", Outcome::failed, found + " has blanks and no quotes", repair };
    if (!isFile(service.program)) return { "program", Outcome::failed, found + " is not there", repair };
    return { "program", Outcome::ok, found, "" };
}

Check recoveryCheck()
{
    const RegistryValue value = readValue(std::wstring(servicesKey) + serviceName, L"FailureActions");
    if (value.presence != Presence::present) return presenceCheck("recovery", value.presence, repair);
    DWORD action = 0;
    if (value.data.size() >= (firstAction + 1) * sizeof action) {
        std::memcpy(&action, value.data.data() + firstAction * sizeof action, sizeof action);
    }
    const bool restarts = action == restartAction;
    return judged("recovery", restarts, restarts ? "restarts the service" : "does not restart the service", repair);
}

Check versionCheck(const InstalledService& service)
{
    const std::string version = fileVersion(service.program);
    return judged("version", version == KELVANE_VERSION,
                  "the service is " + (version.empty() ? "of no known version" : version) +
                      ", this command " KELVANE_VERSION,
                  "install both from the same package");
}

Check eventSourceCheck()
{
    const RegistryValue value = readValue(std::wstring(sourcesKey) + serviceName, L"EventMessageFile");
    if (value.presence != Presence::present) return presenceCheck("event source", value.presence, repair);
    const std::wstring file = textOf(value);
    return judged("event source", isFile(file), toUtf8(file) + (isFile(file) ? "" : " is not there"), repair);
}

}  // namespace

Check presenceCheck(const std::string& name, Presence presence, const std::string& failure)
{
    switch (presence) {
    case Presence::present: return { name, Outcome::ok, "present", "" };
    case Presence::absent: return { name, Outcome::failed, "missing", failure };
    default: return { name, Outcome::unknown, unseen, "" };
    }
}

std::vector<Check> registrationChecks(const Machine& machine)
{
    const InstalledService& service = machine.service;
    std::vector<Check> checks{ presenceCheck("service", service.presence, "install the package") };
    if (service.presence == Presence::present) {
        const std::string account = toUtf8(service.account);
        const std::string startType = startTypeWord(service.startType);
        checks.push_back(pathCheck(service));
        checks.push_back(judged("account", account == "LocalSystem", account, repair));
        checks.push_back(judged("start type", service.startType == SERVICE_AUTO_START, startType,
                                "set it to automatic, or repair the installation"));
        checks.push_back(recoveryCheck());
        checks.push_back(versionCheck(service));
    } else {
        checks.insert(checks.end(), { unseenCheck("program"), unseenCheck("account"), unseenCheck("start type"),
                                      unseenCheck("recovery"), unseenCheck("version") });
    }
    checks.push_back(eventSourceCheck());
    return checks;
}

}  // namespace kelvane
