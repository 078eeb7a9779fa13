// simulator/platform/power_source.h: what the system tells about the power source, in place of GetSystemPowerStatus.
#pragma once

#include "simulator/formats/scenario.h"

#include <windows.h>

namespace kelvane::simulator {

// Any thread. Mains before the first call.
void setPowerSource(const PowerSource& source);

// Stands in for GetSystemPowerStatus: only ACLineStatus is filled in, the rest is zero.
BOOL WINAPI simulatedPowerStatus(LPSYSTEM_POWER_STATUS status);

}  // namespace kelvane::simulator
