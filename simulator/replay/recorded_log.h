// simulator/replay/recorded_log.h: takes the place of the diagnostic log's file and records every message of every
// level.
#pragma once

#include <functional>
#include <string>

namespace kelvane::simulator {

// From now on each finished message goes to `recorder`; before, messages go nowhere.
void recordLog(std::function<void(int level, const std::string& text)> recorder);

}  // namespace kelvane::simulator
