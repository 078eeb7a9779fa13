// One value, replaced as a whole.
#include "simulator/platform/power_source.h"

#include <atomic>

namespace kelvane::simulator {

namespace {

std::atomic<PowerSource> current = PowerSource{ true, 1 };

}  // namespace

void setPowerSource(const PowerSource& source) { current = source; }

BOOL WINAPI simulatedPowerStatus(LPSYSTEM_POWER_STATUS status)
{
    const PowerSource source = current;
    if (!source.known) return FALSE;
    *status = {};
    status->ACLineStatus = source.acLine;
    return TRUE;
}

}  // namespace kelvane::simulator
