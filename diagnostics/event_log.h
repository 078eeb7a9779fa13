// diagnostics/event_log.h: the service host's reports to the system event log.
#pragma once

namespace kelvane {

// The service's name, which is also the source of its events.
extern const wchar_t serviceName[];

// Writes one error event: identifier 0, the service name and the message as its two strings. Silent when the source
// cannot be registered or the report fails. Any thread.
void reportServiceEvent(const wchar_t* message) noexcept;

}  // namespace kelvane
