// framework/session.h: sessions with the framework core, operation by operation.
//
// Each operation forwards to one slot of the core's interface and checks before that the slot is filled; where a status
// is returned, an empty slot gives 1400 (TOVA_E_CALLBACK_IS_NULL). Init (framework/core_library.h) must have succeeded.
// Nothing is logged or retried here, no lock is held: the core may call back from inside any of these. Any thread.
#pragma once

#include "framework/orq_interface.h"

#include <cstddef>
#include <cstdint>

namespace kelvane {

#pragma pack(push, 1)

// Names this client to the framework. Bytes that are not named here are the framework's and stay zero.
struct ApplicationRecord {
    std::uint32_t revision;
    char name[64];
    char version[20];
    char description[1088];
    char address[1024];  // of the framework's elevated local server
};

#pragma pack(pop)

static_assert(offsetof(ApplicationRecord, name) == 4 && offsetof(ApplicationRecord, version) == 68);
static_assert(offsetof(ApplicationRecord, description) == 88 && offsetof(ApplicationRecord, address) == 1176);

extern ApplicationRecord g_application;

// The record to create the session with: g_application, or null when its name is empty.
const ApplicationRecord* applicationRecord();

// Returns noSession when there is none to be had, an empty slot included.
SessionHandle SessionCreate(const ApplicationRecord* application);

void SessionDestroy(SessionHandle session);

int SessionConnect(SessionHandle session);

void SessionDisconnect(SessionHandle session);

// `request` and `response` may be null.
int SessionExecute(SessionHandle session, const OrqData* command, const OrqData* request, OrqData* response);

// `participant` null: the framework itself.
int RegisterEvent(SessionHandle session, std::uint32_t eventType, const char* participant, EventCallback callback,
                  std::uint64_t context);

int UnregisterEvent(SessionHandle session, std::uint32_t eventType, const char* participant, EventCallback callback,
                    std::uint64_t context);

}  // namespace kelvane
