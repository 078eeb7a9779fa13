// engine/process_names.h: which started processes matter.
#pragma once

#include <string>

namespace kelvane {

// Returns 1 when the process is in neither list and so asks for performance, else 0. A tracked process is recorded in
// g_trackedProcessSeen and g_trackedProcessIds. Names compare byte for byte. Called on WMI's threads.
int classifyProcessStart(const std::string& name, int processId);

}  // namespace kelvane
