// tests/engine/sink_memory.h: the program's own new and delete, all of them together, so that each pairs with what it
// gives back. A sink that the engine makes is noted as "new sink", the end of the watched one as "delete sink".
#pragma once

#include "engine/event_sink.h"

namespace kelvane::tests {

inline bool sinksAreNoted = false;  // once a test has begun: sorting asks for as few bytes in the same way
inline EventSink* watchedSink;      // that the engine has made last, or a test's own; null once it has been deleted

}  // namespace kelvane::tests
