// tests/service/fake_host_parts.h: what the service host starts, noted: "runEngine 3", "registryNotify",
// "capabilityCheck".
#pragma once

#include <functional>

namespace kelvane::tests {

// Each runs on the thread on which the host starts the part.
extern std::function<void()>& onEngine;
extern std::function<void()>& onRegistryNotify;
extern std::function<void()>& onCapabilityCheck;

}  // namespace kelvane::tests
