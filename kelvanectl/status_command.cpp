// The status is put together once, as JSON; what people read is made from that.
#include "diagnostics/event_log.h"
#include "kelvanectl/commands.h"
#include "kelvanectl/console.h"
#include "kelvanectl/core_file.h"
#include "kelvanectl/installed_service.h"
#include "kelvanectl/places.h"
#include "kelvanectl/scaling_by_log.h"
#include "state/names.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace kelvane {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t lastEntries = 5;

const char* presenceWord(Presence presence)
{
    return presence == Presence::present ? "present" : presence == Presence::absent ? "missing" : unseen;
}

Json orNone(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json serviceStatus(const InstalledService& service)
{
    Json status = { { "name", toUtf8(serviceName) } };
    if (service.presence == Presence::absent) {
        status["state"] = "not installed";
    } else if (service.presence == Presence::unseen) {
        status["state"] = unseen;
    } else {
        status["state"] = stateWord(service.state);
        status["process"] = service.process;
        status["start_type"] = startTypeWord(service.startType);
        status["account"] = toUtf8(service.account);
        status["program"] = toUtf8(service.program);
        status["file_version"] = orNone(fileVersion(service.program));
    }
    return status;
}

Json valueStatus(const char* name, const RegistryValue& value, const char* (*meaningOfNumber)(DWORD))
{
    if (value.presence != Presence::present) return { { name, presenceWord(value.presence) } };
    const auto number = numberOf(value);
    if (!number) return { { name, "shorter than four bytes" } };
    return { { name, *number }, { "meaning", meaningOfNumber(*number) } };
}

const char* controlMeaning(DWORD number)
{
    return number == scalingWanted ? "scaling is wanted" : "scaling is not wanted";
}

const char* capabilityMeaning(DWORD number)
{
    return number == driversPresent   ? "the drivers were present when the service started"
           : number == driversMissing ? "a driver was missing when the service started"
                                      : "the service has not written it";
}

Json driversStatus()
{
    Json status = valueStatus("capability", readValue(capabilityKey, capabilityValue), capabilityMeaning);
    status["orq_acpi"] = presenceWord(keyPresence(acpiDriverKey));
    status["orq_cpu"] = presenceWord(keyPresence(cpuDriverKey));
    return status;
}

Json coreStatus()
{
    const CoreFile core = findCore();
    Json status = { { "path", orNone(toUtf8(core.path)) }, { "file", core.present ? "present" : "missing" } };
    if (core.present) status["version"] = orNone(core.version);
    return status;
}

Json scalingStatus(const InstalledService& service, const LogFile& log, bool serviceRuns)
{
    if (service.presence == Presence::absent) return { { "state", "off" }, { "needs", "install the service" } };
    if (log.presence == Presence::unseen) return { { "state", unseen } };
    if (log.presence == Presence::absent && serviceRuns) return { { "state", "unknown: there is no log" } };
    const ScalingByLog scaling = scalingByLog(log.entries, serviceRuns);
    return { { "state", scaling.state },
             { "since", orNone(scaling.since) },
             { "ended_last_by", orNone(scaling.endedBy) },
             { "needs", orNone(scaling.toGoOn) },
             { "can_be_switched_on_without_restart", scaling.canReturn } };
}

Json entriesStatus(const LogFile& log)
{
    Json lines = Json::array();
    const auto count = static_cast<std::ptrdiff_t>(std::min(lastEntries, log.entries.size()));
    std::for_each(log.entries.end() - count, log.entries.end(),
                  [&](const LogEntry& entry) { lines.push_back(ansiToUtf8(entryLine(entry))); });
    return lines;
}

std::string asText(const Json& leaf)
{
    return leaf.is_null() ? "none" : leaf.is_string() ? leaf.get<std::string>() : leaf.dump();
}

// Names have blanks instead of the underscores of JSON.
std::string title(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

std::string forPeople(const Json& status)
{
    std::string text;
    for (const auto& [name, part] : status.items()) {
        text += title(name) + "\n";
        for (const auto& [key, leaf] : part.items()) {
            text += "  " + (part.is_array() ? "" : title(key) + ": ") + asText(leaf) + "\n";
        }
        if (part.empty()) text += "  none\n";
    }
    return text;
}

}  // namespace

int statusCommand(bool json)
{
    const InstalledService service = readService();
    const bool installed = service.presence == Presence::present;
    const bool runs = installed && service.state == SERVICE_RUNNING;
    const std::wstring logFile = logFileOf(service.account);
    const LogFile log = readLog(logFile);
    const Json status = {
        { "service", serviceStatus(service) },
        { "control", valueStatus("value", readValue(controlKey, controlValue), controlMeaning) },
        { "drivers", driversStatus() },
        { "core", coreStatus() },
        { "scaling_by_the_log", scalingStatus(service, log, runs) },
        { "last_log_entries", entriesStatus(log) },
        { "files", { { "diagnostic_log", toUtf8(logFile) }, { "service_data", toUtf8(serviceDataFile()) } } }
    };
    say(json ? status.dump(2) + "\n" : forPeople(status));
    return runs ? done : service.presence == Presence::absent ? notInstalled : notRunning;
}

}  // namespace kelvane
