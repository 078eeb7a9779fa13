// controller/scaling_loop.h: the control thread of the service.
#pragma once

#include <cstdint>

namespace kelvane {

// Opens a framework session on TCPU, then runs control steps until it is asked to stop (requestEngineStop). When
// scaling alone stops, it restores the limits and closes the session; when the service stops it leaves both as they
// are. Ends at once when the framework cannot be initialised or gives no session. Always returns 0xFFFFFFFF. Runs on a
// thread of its own, one at a time.
std::uint32_t scalingLoop();

}  // namespace kelvane
