#include "kelvanectl/commands.h"
#include "kelvanectl/console.h"
#include "kelvanectl/installed_service.h"
#include "kelvanectl/places.h"

namespace kelvane {

int logCommand(const std::wstring& file)
{
    const std::wstring path = file.empty() ? logFileOf(readService().account) : file;
    const LogFile log = readLog(path);
    if (log.presence == Presence::unseen) {
        return complain(noRight, "the log " + toUtf8(path) + " cannot be read: run from an elevated prompt.");
    }
    if (log.presence == Presence::absent) {
        return complain(failed, "there is no log " + toUtf8(path) +
                                    (file.empty() ? ": start the service, which makes it." : ": name another file."));
    }
    if (!log.isLog) return complain(failed, toUtf8(path) + " is no diagnostic log: name another file.");
    std::string text;
    for (const LogEntry& entry : log.entries) text += ansiToUtf8(entryLine(entry)) + "\n";
    say(text);
    return done;
}

}  // namespace kelvane
