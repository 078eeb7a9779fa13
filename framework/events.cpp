// Registers the framework's events and turns their payloads into the controller's inputs.
#include "framework/events.h"

#include "diagnostics/diagnostic_log.h"
#include "framework/session.h"
#include "framework/status.h"
#include "state/state.h"

#include <cstdio>
#include <cstring>
#include <iterator>

namespace kelvane {

std::atomic<std::uint32_t> g_logVerbosity = 1;
std::atomic<const void*> g_powerSchemeData = nullptr;
std::atomic<int> g_powerScheme = 0;
std::atomic<std::uint32_t> g_workloadRaw = 0;
std::atomic<int> g_orqDisconnected = 0;

namespace {

constexpr char processor[] = "TCPU";

struct Registration {
    std::uint32_t type;
    const char* participant;
    const char* registeredLine;  // null: registered without a word
};

constexpr Registration registrations[] = {
    { eventDisconnected, nullptr, nullptr },
    { eventLogVerbosity, nullptr, nullptr },
    { eventUnhandled, nullptr, nullptr },
    { eventWorkload, processor, "workload classification EVENT Register" },
    { eventPowerScheme, nullptr, "Powerscheme classification EVENT Register" },
    { eventPowerSlider, nullptr, "Powerslider classification EVENT Register" },
};

struct Unregistration {
    std::uint32_t type;
    const char* participant;
};

// Not quite the reverse of the registrations: this is the order that the framework has always seen.
constexpr Unregistration unregistrations[] = {
    { eventUnhandled, nullptr },  { eventLogVerbosity, nullptr }, { eventDisconnected, nullptr },
    { eventWorkload, processor }, { eventPowerScheme, nullptr },  { eventPowerSlider, nullptr },
};
static_assert(std::size(registrations) == std::size(unregistrations));

struct SchemeGuid {
    std::uint32_t data1;
    std::uint16_t data2;
    std::uint16_t data3;
    unsigned char data4[8];
};

static_assert(sizeof(SchemeGuid) == 16);

// Data1 of the power-saver, balanced and high-performance schemes: the index is the class.
std::uint32_t schemeData1[3] = { 0xA1841308, 0x381B4222, 0x8C5E7FDA };
constexpr int balancedScheme = 1;

int schemeClass(std::uint32_t data1)
{
    for (int scheme = 0; scheme < 3; ++scheme) {
        if (schemeData1[scheme] == data1) return scheme;
    }
    return balancedScheme;
}

int workloadClass(std::uint32_t raw)
{
    if (raw == 1) return 5;
    if (raw == 2) return 4;
    return static_cast<int>(raw);
}

// Copies the payload into `value` when it is there and its buffer is large enough. The data length is the sender's
// business and not looked at.
template<class Value>
bool readPayload(const OrqData* payload, Value& value)
{
    if (!payload || !payload->buf_ptr || payload->buf_len < sizeof value) return false;
    std::memcpy(&value, payload->buf_ptr, sizeof value);
    return true;
}

void onLogVerbosity(const OrqData* payload)
{
    std::uint32_t verbosity = 0;
    if (!readPayload(payload, verbosity)) return;
    g_logVerbosity = verbosity;
    logLine(logInfo, "Log verbosity changed to", g_logVerbosity);
}

void onPowerScheme(const OrqData* payload)
{
    SchemeGuid scheme{};
    if (!readPayload(payload, scheme)) return;
    g_powerSchemeData = payload->buf_ptr;
    g_powerScheme = schemeClass(scheme.data1);
    logLine(logInfo, "powerScheme type = ", g_powerScheme, "data.Data1 =", scheme.data1);
}

void onPowerSlider(const OrqData* payload)
{
    std::uint32_t position = 0;
    if (!readPayload(payload, position)) return;
    g_powerSlider = static_cast<int>(position);
    g_powerSliderChanged = 1;
    logLine(logInfo, "Event powerSlider type =", g_powerSlider);
}

// The class is stored before the flags, so that whoever sees a flag sees the class. Nothing is logged.
void onWorkload(const OrqData* payload)
{
    std::uint32_t raw = 0;
    if (!readPayload(payload, raw)) return;
    const int newClass = workloadClass(raw);
    g_workloadRaw = raw;
    g_workload = newClass;
    g_workloadEventPending = 1;
    g_workloadEventHold = 4;
    g_workloadEventSeen = 1;
    if ((newClass != 5 && prevWorkload == 5) || (newClass == 4 && prevWorkload == 3)) PwrPause = 1;
}

void dispatch(std::uint32_t eventType, const char* participant, const OrqData* payload)
{
    switch (eventType) {
    case eventParticipantSuspended:
        if (participant) logLine(logInfo, "Participant suspended");
        break;
    case eventParticipantResumed:
        if (participant) logLine(logInfo, "Participant resumed");
        break;
    case eventLogVerbosity: onLogVerbosity(payload); break;
    case eventPowerScheme: onPowerScheme(payload); break;
    case eventPowerSlider: onPowerSlider(payload); break;
    case eventWorkload: onWorkload(payload); break;
    case eventDisconnected:
        // The session is not torn down here: the loop goes on, and its calls fail until the framework is back.
        g_orqDisconnected = 1;
        logLine(logError, "Disconnected");
        break;
    default: break;
    }
}

}  // namespace

int registerEvents(SessionHandle session)
{
    g_orqStatus = TOVA_OK;
    for (const Registration& event : registrations) {
        const int status = RegisterEvent(session, event.type, event.participant, onFrameworkEvent, 0);
        g_orqStatus = status;
        if (status != TOVA_OK) {
            std::fprintf(stderr, "Failed to register event; %s(%d)\n\n", statusName(status), status);
            std::fflush(stderr);
            UnregisterEvents(session);
            return status;
        }
        if (event.registeredLine) logLine(logInfo, event.registeredLine);
    }
    return TOVA_OK;
}

void UnregisterEvents(SessionHandle session)
{
    logLine(logInfo, "UnregisterEvents() called");
    for (const Unregistration& event : unregistrations) {
        UnregisterEvent(session, event.type, event.participant, onFrameworkEvent, 0);
    }
}

std::uint32_t onFrameworkEvent(std::uint64_t /*context*/, std::uint32_t eventType, const char* participant,
                               const OrqData* payload)
{
    try {
        dispatch(eventType, participant, payload);
    } catch (...) {
        // Out of memory while logging: the values are stored, and the framework's thread must not see an exception.
    }
    return 0;
}

}  // namespace kelvane
