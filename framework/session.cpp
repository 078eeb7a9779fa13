// One forwarding function per slot of the core's interface, and the record that names this client.
#include "framework/session.h"

#include "framework/core_library.h"
#include "framework/status.h"
#include "version.h"

namespace kelvane {

// The framework publishes its elevated local server under this address. (A macro, since only a literal initialises an
// array.)
#define ELEVATED_SERVER_ADDRESS "pipe://orq-elevated-server"

ApplicationRecord g_application = {
    .revision = 1,
    .name = "Kelvane",
    .version = KELVANE_VERSION,
    .description = "Kelvane Application",
    .address = ELEVATED_SERVER_ADDRESS,
};

const ApplicationRecord* applicationRecord() { return g_application.name[0] != '\0' ? &g_application : nullptr; }

SessionHandle SessionCreate(const ApplicationRecord* application)
{
    const OrqInterface& core = coreInterface();
    return core.SessionCreate ? core.SessionCreate(application) : noSession;
}

void SessionDestroy(SessionHandle session)
{
    const OrqInterface& core = coreInterface();
    if (core.SessionDestroy) core.SessionDestroy(session);
}

int SessionConnect(SessionHandle session)
{
    const OrqInterface& core = coreInterface();
    return core.SessionConnect ? core.SessionConnect(session) : TOVA_E_CALLBACK_IS_NULL;
}

void SessionDisconnect(SessionHandle session)
{
    const OrqInterface& core = coreInterface();
    if (core.SessionDisconnect) core.SessionDisconnect(session);
}

int SessionExecute(SessionHandle session, const OrqData* command, const OrqData* request, OrqData* response)
{
    const OrqInterface& core = coreInterface();
    return core.SessionExecute ? core.SessionExecute(session, command, request, response) : TOVA_E_CALLBACK_IS_NULL;
}

int RegisterEvent(SessionHandle session, std::uint32_t eventType, const char* participant, EventCallback callback,
                  std::uint64_t context)
{
    const OrqInterface& core = coreInterface();
    return core.RegisterEvent ? core.RegisterEvent(session, eventType, participant, callback, context)
                              : TOVA_E_CALLBACK_IS_NULL;
}

int UnregisterEvent(SessionHandle session, std::uint32_t eventType, const char* participant, EventCallback callback,
                    std::uint64_t context)
{
    const OrqInterface& core = coreInterface();
    return core.UnregisterEvent ? core.UnregisterEvent(session, eventType, participant, callback, context)
                                : TOVA_E_CALLBACK_IS_NULL;
}

}  // namespace kelvane
