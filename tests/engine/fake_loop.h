// tests/engine/fake_loop.h: stands in for the scaling loop and for the framework core.
//
// The loop is noted as "loop", operations of the core by their names and arguments.
#pragma once

#include <functional>

namespace kelvane::tests {

inline std::function<void()>& onLoop = *new std::function<void()>;  // called by the loop, on its own thread

}  // namespace kelvane::tests
