// tests/service/fake_host_parts.h: what the service host starts, noted: "runEngine 3", "registryNotify",
// "capabilityCheck".
#pragma once

#include <functional>

namespace kelvane::tests {

// Each runs on the thread on which the host starts the part.
inline std::function<void()>& onEngine = *new std::function<void()>;
inline std::function<void()>& onRegistryNotify = *new std::function<void()>;
inline std::function<void()>& onCapabilityCheck = *new std::function<void()>;

}  // namespace kelvane::tests
