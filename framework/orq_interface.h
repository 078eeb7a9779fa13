// framework/orq_interface.h: the records that cross the boundary to the framework core, byte for byte.
//
// Sizes and offsets are a contract with a library of another maker: both records are packed, little-endian, x64.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kelvane {

using SessionHandle = std::uint64_t;
constexpr SessionHandle noSession = ~SessionHandle{ 0 };

// Kinds of data that this program exchanges.
constexpr std::uint32_t orqTypeUint32 = 3;       // result of GET_SOC_WORKLOAD and GET_IA_CLIP_REASONS
constexpr std::uint32_t orqTypeText = 8;         // NUL-terminated command text
constexpr std::uint32_t orqTypePower = 26;       // mW
constexpr std::uint32_t orqTypePreference = 29;  // 0..10000

// Events, by type. This program registers for all but the first two, which come unasked.
constexpr std::uint32_t eventParticipantSuspended = 5;
constexpr std::uint32_t eventParticipantResumed = 6;
constexpr std::uint32_t eventLogVerbosity = 34;
constexpr std::uint32_t eventUnhandled = 44;  // the framework expects its clients to register; nothing is done on it
constexpr std::uint32_t eventPowerScheme = 72;
constexpr std::uint32_t eventPowerSlider = 106;
constexpr std::uint32_t eventWorkload = 183;
constexpr std::uint32_t eventDisconnected = 10000;

struct ApplicationRecord;  // framework/session.h

#pragma pack(push, 1)

// Every value crosses the boundary in this descriptor.
struct OrqData {
    std::uint32_t type;
    void* buf_ptr;           // the caller's buffer
    std::uint32_t buf_len;   // bytes in the buffer
    std::uint32_t data_len;  // bytes of valid data in it
};

// Called by the framework on a thread of its own. `context` is what was given at registration; the result is not used.
using EventCallback = std::uint32_t (*)(std::uint64_t context, std::uint32_t eventType, const char* participant,
                                        const OrqData* payload);

using OrqSlot = int (*)();  // a slot that this program does not call

// The core's interface record: the client sets the head, GetOrqInterface fills in the slots.
struct OrqInterface {
    std::uint32_t type;
    std::uint16_t version;
    std::uint16_t size;           // bytes in this record
    unsigned char framework[40];  // the framework's own
    char versionText[20];
    int (*Init)();                                                         // slot 1
    OrqSlot slot2;                                                         // required, never called
    OrqSlot slot3;                                                         // optional
    SessionHandle (*SessionCreate)(const ApplicationRecord* application);  // slot 4
    void (*SessionDestroy)(SessionHandle session);                         // slot 5
    int (*SessionConnect)(SessionHandle session);                          // slot 6
    void (*SessionDisconnect)(SessionHandle session);                      // slot 7, optional
    OrqSlot slot8;                                                         // required, never called
    int (*SessionExecute)(SessionHandle session, const OrqData* command, const OrqData* request,
                          OrqData* response);  // slot 9
    int (*RegisterEvent)(SessionHandle session, std::uint32_t eventType, const char* participant,
                         EventCallback callback, std::uint64_t context);  // slot 10
    int (*UnregisterEvent)(SessionHandle session, std::uint32_t eventType, const char* participant,
                           EventCallback callback, std::uint64_t context);  // slot 11
};

#pragma pack(pop)

// The library's one export.
using GetOrqInterfaceFunction = int (*)(OrqInterface* record);

constexpr std::uint32_t orqInterfaceType = 7;
constexpr std::uint16_t orqInterfaceVersion = 1;
constexpr char orqInterfaceVersionText[] = "1.0.11201";

static_assert(sizeof(OrqData) == 20);
static_assert(offsetof(OrqData, type) == 0 && offsetof(OrqData, buf_ptr) == 4);
static_assert(offsetof(OrqData, buf_len) == 12 && offsetof(OrqData, data_len) == 16);

static_assert(sizeof(OrqInterface) == 156);
static_assert(offsetof(OrqInterface, version) == 4 && offsetof(OrqInterface, size) == 6);
static_assert(offsetof(OrqInterface, framework) == 8 && offsetof(OrqInterface, versionText) == 48);
static_assert(offsetof(OrqInterface, Init) == 68 && offsetof(OrqInterface, slot2) == 76);
static_assert(offsetof(OrqInterface, slot3) == 84 && offsetof(OrqInterface, SessionCreate) == 92);
static_assert(offsetof(OrqInterface, SessionDestroy) == 100 && offsetof(OrqInterface, SessionConnect) == 108);
static_assert(offsetof(OrqInterface, SessionDisconnect) == 116 && offsetof(OrqInterface, slot8) == 124);
static_assert(offsetof(OrqInterface, SessionExecute) == 132 && offsetof(OrqInterface, RegisterEvent) == 140);
static_assert(offsetof(OrqInterface, UnregisterEvent) == 148);

}  // namespace kelvane
