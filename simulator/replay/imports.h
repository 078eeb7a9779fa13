// simulator/replay/imports.h: puts a simulated Windows under the service's code, by replacing single imports of this
// program.
//
// Replaced: the search for and the loading of the framework core (the simulated one answers), GetSystemPowerStatus
// (simulator/platform/power_source.h), and Sleep, which moves a virtual clock. No file, device or registry key of the
// machine is looked at.
#pragma once

#include "simulator/platform/power_source.h"

#include <cstdint>
#include <functional>

namespace kelvane::simulator {

// Installs the replacements. `sleep` is called in place of Sleep, in ms.
void replacePlatform(std::function<void(std::uint32_t ms)> sleep);

}  // namespace kelvane::simulator
