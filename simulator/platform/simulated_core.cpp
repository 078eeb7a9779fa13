// The core's slots: look up the scripted answer, write the row, and hand over or take the value.
#include "simulator/platform/simulated_core.h"

#include "framework/session.h"
#include "framework/status.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

namespace kelvane::simulator {

namespace {

constexpr SessionHandle sessionHandle = 1;
constexpr std::string_view commandHead = "execute-primitive TCPU ";
constexpr int commandInvalid = 1500;  // TOVA_E_COMMAND_DATA_INVALID

struct Core {
    std::mutex lock;
    Trace* trace = nullptr;
    std::function<std::uint64_t()> nowMs;
    std::function<void()> onPrimitive;
    std::function<std::optional<int>(const CoreCall&)> onCall;
    std::uint32_t readings[std::size(primitiveNames)] = {};
    std::unique_ptr<ProcessorModel> processor;  // null: readings are scripted
    std::function<void(const ProcessorModel&)> onTick;
    double servedAtRows = 0;                                  // work done until the last set of rows, in core-ms
    std::map<std::string, int, std::less<>> answers;          // operation -> status; none: success
    std::map<std::uint32_t, EventCallback> registeredEvents;  // type -> callback
};

// Never destroyed: threads of the program that loaded the core may still call it while the process ends.
Core& core = *new Core;

std::optional<int> askWatcher(const CoreCall& call) { return core.onCall ? core.onCall(call) : std::nullopt; }

// Needs the lock. The watcher's answer, else the scripted one.
int answerTo(std::string_view operation, std::optional<int> watched)
{
    if (watched) return *watched;
    const auto answer = core.answers.find(operation);
    return answer == core.answers.end() ? TOVA_OK : answer->second;
}

std::uint64_t rounded(double value) { return static_cast<std::uint64_t>(std::llround(value)); }

constexpr std::uint64_t processorRowsMs = 100;

// Needs the lock. Work done is a difference of rounded sums, so that nothing is lost over the rows.
void recordProcessor(const ProcessorModel& processor, double servedBefore)
{
    const std::uint64_t timeMs = processor.nowMs();
    core.trace->processor(timeMs, "demand_core_ms", rounded(processor.unfinishedCoreMs()));
    core.trace->processor(timeMs, "served_core_ms", rounded(processor.servedCoreMs()) - rounded(servedBefore));
    core.trace->processor(timeMs, "clock_permille", rounded(1000 * processor.clock()));
    core.trace->processor(timeMs, "power_mw", rounded(processor.meanPowerMw()));
    core.trace->processor(timeMs, "average_mw", rounded(processor.averagePowerMw()));
}

// Needs the lock. Returns the time up to which everything has happened, for the row that comes next.
std::uint64_t catchUp()
{
    const std::uint64_t nowMs = core.nowMs();
    if (!core.processor) return nowMs;
    ProcessorModel& processor = *core.processor;
    while (processor.nowMs() + tickMs <= nowMs) {
        processor.tick();
        if (core.onTick) core.onTick(processor);
        if (processor.nowMs() % processorRowsMs == 0) {
            recordProcessor(processor, core.servedAtRows);
            core.servedAtRows = processor.servedCoreMs();
        }
    }
    return nowMs;
}

// Needs the lock.
int recordCall(const char* operation, std::optional<std::uint32_t> eventType, int status)
{
    core.trace->call(catchUp(), operation, eventType, status);
    return status;
}

int answerCall(const char* operation, const ApplicationRecord* application = nullptr)
{
    const std::optional<int> watched = askWatcher({ .operation = operation, .application = application });
    const std::lock_guard lock(core.lock);
    return recordCall(operation, std::nullopt, answerTo(operation, watched));
}

int init() { return answerCall("INIT"); }

SessionHandle sessionCreate(const ApplicationRecord* application)
{
    return answerCall("SESSION_CREATE", application) == TOVA_OK ? sessionHandle : noSession;
}

int sessionConnect(SessionHandle /*session*/) { return answerCall("SESSION_CONNECT"); }

void sessionDisconnect(SessionHandle /*session*/) { answerCall("SESSION_DISCONNECT"); }

void sessionDestroy(SessionHandle /*session*/) { answerCall("SESSION_DESTROY"); }

// The index of the primitive that a command names, or -1.
int findPrimitive(const OrqData* command)
{
    if (!command || command->type != orqTypeText || !command->buf_ptr || command->data_len == 0) return -1;
    const auto* const bytes = static_cast<const char*>(command->buf_ptr);
    if (bytes[command->data_len - 1] != '\0') return -1;
    const std::string_view text(bytes, command->data_len - 1);
    if (!text.starts_with(commandHead)) return -1;
    const auto* const name =
        std::find(std::begin(primitiveNames), std::end(primitiveNames), text.substr(commandHead.size()));
    return name == std::end(primitiveNames) ? -1 : static_cast<int>(name - primitiveNames);
}

// Needs the lock, and a processor that is up to date.
std::uint32_t readingOf(Primitive getter)
{
    if (core.processor && getter == Primitive::getRaplPower) {
        return static_cast<std::uint32_t>(rounded(core.processor->meanPowerMw()));
    }
    if (core.processor && getter == Primitive::getIaClipReasons) return core.processor->clipReasons();
    return core.readings[static_cast<std::size_t>(getter)];
}

// Needs the lock. The floor has no effect on a clock that never goes below its lowest.
void applySetting(Primitive setter, std::uint32_t value)
{
    if (!core.processor) return;
    if (setter == Primitive::setPerfPreferenceMax) core.processor->setCeiling(value);
    if (setter == Primitive::setRaplPowerLimit1) core.processor->setPl1(value);
}

bool holdsWord(const OrqData* data) { return data && data->buf_ptr && data->buf_len >= sizeof(std::uint32_t); }

// Hands over or takes the value, as the primitive's answer has it, and writes the row.
int execute(int index, const OrqData* command, const OrqData* request, OrqData* response)
{
    const std::string_view name = primitiveNames[index];
    const std::optional<int> watched =
        askWatcher({ .operation = name, .command = command, .request = request, .response = response });
    const std::lock_guard lock(core.lock);
    const int status = answerTo(name, watched);
    const std::uint64_t nowMs = catchUp();
    std::optional<std::uint32_t> value;
    if (holdsWord(request)) {
        std::memcpy(&value.emplace(), request->buf_ptr, sizeof(std::uint32_t));
        if (status == TOVA_OK) applySetting(static_cast<Primitive>(index), *value);
    } else if (status == TOVA_OK) {
        value = readingOf(static_cast<Primitive>(index));
        std::memcpy(response->buf_ptr, &*value, sizeof(std::uint32_t));
        response->data_len = sizeof(std::uint32_t);
    }
    core.trace->primitive(nowMs, name, value, status);
    return status;
}

int sessionExecute(SessionHandle /*session*/, const OrqData* command, const OrqData* request, OrqData* response)
{
    const int index = findPrimitive(command);
    if (index < 0 || (!holdsWord(request) && !holdsWord(response))) return commandInvalid;
    const int status = execute(index, command, request, response);
    if (core.onPrimitive) core.onPrimitive();
    return status;
}

int registerEvent(SessionHandle /*session*/, std::uint32_t eventType, const char* /*participant*/,
                  EventCallback callback, std::uint64_t /*context*/)
{
    const std::optional<int> watched = askWatcher({ .operation = "REGISTER_EVENT", .eventType = eventType });
    const std::lock_guard lock(core.lock);
    const int status = answerTo("REGISTER_EVENT/" + std::to_string(eventType), watched);
    if (status == TOVA_OK) core.registeredEvents[eventType] = callback;
    return recordCall("REGISTER_EVENT", eventType, status);
}

int unregisterEvent(SessionHandle /*session*/, std::uint32_t eventType, const char* /*participant*/,
                    EventCallback /*callback*/, std::uint64_t /*context*/)
{
    const std::optional<int> watched = askWatcher({ .operation = "UNREGISTER_EVENT", .eventType = eventType });
    const std::lock_guard lock(core.lock);
    core.registeredEvents.erase(eventType);
    return recordCall("UNREGISTER_EVENT", eventType, watched.value_or(TOVA_OK));
}

int unusedSlot() { return TOVA_E_NOT_IMPLEMENTED; }

struct EventPayload {
    std::uint32_t type;
    std::uint32_t bytes;
    const char* participant;
};

EventPayload payloadOf(std::uint32_t eventType)
{
    switch (eventType) {
    case eventParticipantSuspended:
    case eventParticipantResumed: return { eventType, 0, "TCPU" };
    case eventLogVerbosity:
    case eventPowerSlider: return { eventType, 4, nullptr };
    case eventPowerScheme: return { eventType, 16, nullptr };
    case eventWorkload: return { eventType, 4, "TCPU" };
    default: return { eventType, 0, nullptr };
    }
}

// The callback of a registered type, or null.
EventCallback callbackFor(std::uint32_t eventType)
{
    const std::lock_guard lock(core.lock);
    const auto registered = core.registeredEvents.find(eventType);
    return registered == core.registeredEvents.end() ? nullptr : registered->second;
}

}  // namespace

void startCore(Trace& trace, std::function<std::uint64_t()> nowMs, std::function<void()> onPrimitive)
{
    const std::lock_guard lock(core.lock);
    core.trace = &trace;
    core.nowMs = std::move(nowMs);
    core.onPrimitive = std::move(onPrimitive);
    std::fill(std::begin(core.readings), std::end(core.readings), 0U);
    core.processor.reset();
    core.servedAtRows = 0;
    core.onTick = nullptr;
    core.answers.clear();
    core.registeredEvents.clear();
}

void watchCalls(std::function<std::optional<int>(const CoreCall&)> onCall) { core.onCall = std::move(onCall); }

void useProcessor(const ProcessorSpec& spec, std::function<void(const ProcessorModel&)> onTick)
{
    const std::lock_guard lock(core.lock);
    core.processor = std::make_unique<ProcessorModel>(spec);
    core.onTick = std::move(onTick);
}

void addJob(const Job& job)
{
    const std::lock_guard lock(core.lock);
    core.processor->addJob(catchUp(), job.coreMs, job.cores);
}

const ProcessorModel& processorAtWork() { return *core.processor; }

void advanceProcessor()
{
    const std::lock_guard lock(core.lock);
    catchUp();
}

void setReading(const Reading& reading)
{
    const std::lock_guard lock(core.lock);
    core.readings[static_cast<std::size_t>(reading.getter)] = reading.value;
}

void setAnswer(const Answer& answer)
{
    const std::lock_guard lock(core.lock);
    core.answers[answer.operation] = answer.status;
}

void deliverEvent(const FrameworkEvent& event)
{
    const EventCallback callback = callbackFor(event.type);
    if (!callback) return;
    const EventPayload kind = payloadOf(event.type);
    static unsigned char buffer[16];  // outlives the callback, which keeps a pointer to some payloads
    std::memset(buffer, 0, sizeof buffer);
    std::memcpy(buffer, &event.value, sizeof event.value);
    const OrqData payload = { orqTypeUint32, buffer, kind.bytes, kind.bytes };
    callback(0, event.type, kind.participant, kind.bytes ? &payload : nullptr);
}

int getSimulatedInterface(OrqInterface* record)
{
    record->Init = init;
    record->slot2 = unusedSlot;
    record->slot3 = unusedSlot;
    record->SessionCreate = sessionCreate;
    record->SessionDestroy = sessionDestroy;
    record->SessionConnect = sessionConnect;
    record->SessionDisconnect = sessionDisconnect;
    record->slot8 = unusedSlot;
    record->SessionExecute = sessionExecute;
    record->RegisterEvent = registerEvent;
    record->UnregisterEvent = unregisterEvent;
    return TOVA_OK;
}

}  // namespace kelvane::simulator
