// engine/engine.h: one run of the engine.
#pragma once

namespace kelvane {

// Brings up the diagnostic log, COM and the two watchers, runs the scaling loop on a further thread, waits for it, and
// tears down: fully when the service stops, or for scaling alone, after which it may be run again. A second run while
// one is under way is turned away. The argument is not used. Returns 0 when turned away or torn down for scaling, 1 on
// a failed start-up, a full tear-down and an exception; nobody looks at it. Runs on a thread of its own.
int runEngine(int unused);

}  // namespace kelvane
