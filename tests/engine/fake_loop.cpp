// Defines the product's functions themselves, so that the test program does not link the real ones.
#include "tests/engine/fake_loop.h"

#include "controller/scaling_loop.h"
#include "framework/core_library.h"
#include "tests/support/call_list.h"

namespace kelvane {

namespace tests {

std::function<void()>& onLoop = *new std::function<void()>;

namespace {

int unregisterEvent(SessionHandle session, std::uint32_t type, const char* /*participant*/, EventCallback /*callback*/,
                    std::uint64_t /*context*/)
{
    note("UnregisterEvent " + std::to_string(session) + ", " + std::to_string(type));
    return 0;
}

void disconnectSession(SessionHandle session) { note("SessionDisconnect " + std::to_string(session)); }

void destroySession(SessionHandle session) { note("SessionDestroy " + std::to_string(session)); }

const OrqInterface& notingCore()
{
    static const OrqInterface record = [] {
        OrqInterface core = {};
        core.UnregisterEvent = unregisterEvent;
        core.SessionDisconnect = disconnectSession;
        core.SessionDestroy = destroySession;
        return core;
    }();
    return record;
}

}  // namespace

}  // namespace tests

const OrqInterface& coreInterface() { return tests::notingCore(); }

std::uint32_t scalingLoop()
{
    tests::note("loop");
    if (tests::onLoop) tests::onLoop();
    return 0xFFFFFFFF;
}

}  // namespace kelvane
