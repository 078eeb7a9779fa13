// Defines the product's functions themselves, so that the test program does not link the real ones.
#include "tests/service/fake_host_parts.h"

#include "engine/engine.h"
#include "service/capability_check.h"
#include "service/control_registry_watcher.h"
#include "tests/support/call_list.h"

namespace kelvane {

int runEngine(int argument)
{
    tests::note("runEngine " + std::to_string(argument));
    if (tests::onEngine) tests::onEngine();
    return 0;
}

DWORD registryNotify()
{
    tests::note("registryNotify");
    if (tests::onRegistryNotify) tests::onRegistryNotify();
    return 0;
}

void capabilityCheck()
{
    tests::note("capabilityCheck");
    if (tests::onCapabilityCheck) tests::onCapabilityCheck();
}

}  // namespace kelvane
