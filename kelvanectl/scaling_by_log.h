// kelvanectl/scaling_by_log.h: whether the service scales, as far as its log tells. The log is emptied at every start
// of the service, so that all of it is about the process that runs now, or ran last.
#pragma once

#include "kelvanectl/log_entries.h"

#include <string>
#include <vector>

namespace kelvane {

struct ScalingByLog {
    std::string state;      // "on", "starting", "off"
    std::string since;      // local time; empty: since the service started
    std::string endedBy;    // why it ended last: "value", "standby", "service stop", "failed start"; empty: it did not
    std::string toGoOn;     // what scaling needs; empty while it is on
    std::string canReturn;  // whether it can be switched on again without a restart: "yes", "no", or why nobody knows
};

ScalingByLog scalingByLog(const std::vector<LogEntry>& entries, bool serviceRuns);

}  // namespace kelvane
