// Walks the entries by what each says about scaling.
//
// A start that is turned away leaves no line: it shows at the next stop alone, which then does not complete. A start
// that failed shows as an engine that starts, an error, and no start of scaling.
#include "kelvanectl/scaling_by_log.h"

#include "meanings.h"

namespace kelvane {

namespace {

constexpr char writeTwo[] = "write 0, wait a second, write 2";
constexpr char restart[] = "restart the service, then write 0, wait a second, write 2";

void begin(ScalingByLog& scaling, const char* state, const std::string& time)
{
    scaling.state = state;
    scaling.since = time;
    scaling.canReturn = "unknown until the next stop";
}

// Of several reasons the first is the one: errors of the tear-down and the end of the service may follow it.
void end(ScalingByLog& scaling, const char* why, const std::string& time)
{
    if (scaling.state == "off") return;
    scaling.state = "off";
    scaling.since = time;
    scaling.endedBy = why;
    scaling.canReturn = "no";
}

void follow(ScalingByLog& scaling, ScalingSign sign, const std::string& time, bool& standby)
{
    switch (sign) {
    case ScalingSign::starting: return begin(scaling, "starting", time);
    case ScalingSign::on: standby = false; return begin(scaling, "on", time);
    case ScalingSign::standby: standby = true; return;
    case ScalingSign::off: return end(scaling, standby ? "standby" : "value", time);
    case ScalingSign::serviceStop: return end(scaling, "service stop", time);
    case ScalingSign::failed: return end(scaling, "failed start", time);
    case ScalingSign::complete:
        // Scaling that has not ended by then has never run: the framework's core could not be used.
        end(scaling, "failed start", time);
        scaling.canReturn = "yes";
        return;
    case ScalingSign::none: return;
    }
}

}  // namespace

ScalingByLog scalingByLog(const std::vector<LogEntry>& entries, bool serviceRuns)
{
    ScalingByLog scaling{ .state = "off", .since = "", .endedBy = "", .toGoOn = "", .canReturn = "yes" };
    bool standby = false;
    for (const LogEntry& entry : entries) {
        const LogMeaning* const known = meaningOf(entry.text);
        if (known) follow(scaling, known->scaling, entry.time, standby);
    }
    if (!serviceRuns) {
        end(scaling, "service stop", "");
        scaling.canReturn = "yes";
        scaling.toGoOn = std::string("start the service, then ") + writeTwo;
    } else if (scaling.state == "off") {
        scaling.toGoOn = scaling.canReturn == "yes" ? writeTwo : restart;
    } else if (scaling.state == "starting") {
        scaling.toGoOn = "wait ten seconds; if it is still starting then, " + std::string(restart);
    }
    return scaling;
}

}  // namespace kelvane
