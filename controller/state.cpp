// The loop's lock.
#include "controller/state.h"

namespace kelvane {

namespace {

std::mutex& loopStopLock = *new std::mutex;  // made before main, so that taking it cannot fail

}  // namespace

std::mutex& g_loopStopLock() { return loopStopLock; }

}  // namespace kelvane
