// Defines the product's functions themselves, so that the test program does not link the real ones.
#include "tests/engine/fake_loop.h"

#include "controller/scaling_loop.h"
#include "framework/core_library.h"
#include "tests/support/call_list.h"

namespace kelvane {

using tests::note;

const OrqInterface& coreInterface()
{
    static OrqInterface core = {};
    core.UnregisterEvent = [](SessionHandle session, std::uint32_t type, const char*, EventCallback, std::uint64_t) {
        note("UnregisterEvent " + std::to_string(session) + ", " + std::to_string(type));
        return 0;
    };
    core.SessionDisconnect = [](SessionHandle session) { note("SessionDisconnect " + std::to_string(session)); };
    core.SessionDestroy = [](SessionHandle session) { note("SessionDestroy " + std::to_string(session)); };
    return core;
}

std::uint32_t scalingLoop()
{
    note("loop");
    if (tests::onLoop) tests::onLoop();
    return 0xFFFFFFFF;
}

}  // namespace kelvane
