// The slots write down the call and answer from the script.
#include "tests/support/fake_core.h"

#include <cstring>

namespace kelvane::tests {

namespace {

constexpr std::size_t recordBytes = 156;
constexpr std::size_t applicationBytes = 2200;

FakeCore* theCore = nullptr;

template<class Field>
Field fieldAt(const void* record, std::size_t offset)
{
    Field field;
    std::memcpy(&field, static_cast<const unsigned char*>(record) + offset, sizeof field);
    return field;
}

std::string bytesAsText(const unsigned char* bytes, std::size_t count)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] == '\0')
            text += "\\0";
        else
            text += static_cast<char>(bytes[i]);
    }
    return text;
}

std::string bytesAsHex(const unsigned char* bytes, std::size_t count)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) text += ' ';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xF];
    }
    return text;
}

std::string describe(const void* descriptor)
{
    if (!descriptor) return "-";
    const auto type = fieldAt<std::uint32_t>(descriptor, 0);
    const auto* const buffer = fieldAt<const unsigned char*>(descriptor, 4);
    const auto bufferBytes = fieldAt<std::uint32_t>(descriptor, 12);
    const auto dataBytes = fieldAt<std::uint32_t>(descriptor, 16);
    return "type " + std::to_string(type) + ", " + std::to_string(dataBytes) + " of " + std::to_string(bufferBytes) +
           ": " + (type == 8 ? bytesAsText(buffer, bufferBytes) : bytesAsHex(buffer, bufferBytes));
}

std::string describeEvent(SessionHandle session, std::uint32_t eventType, const char* participant,
                          std::uint64_t context)
{
    return std::to_string(session) + " " + std::to_string(eventType) + " " + (participant ? participant : "-") + " " +
           std::to_string(context);
}

template<int slot>
int unusedSlot()
{
    throw "the service has no use for this slot";
}

template<class Function>
void fillSlot(unsigned char* record, int slot, Function function)
{
    const std::size_t offset = 60 + 8 * static_cast<std::size_t>(slot);
    if (theCore->emptySlots.count(slot) != 0) function = nullptr;
    std::memcpy(record + offset, &function, sizeof function);
}

}  // namespace

FakeCore::FakeCore(std::vector<std::string>& journal) : calls(journal) { theCore = this; }

FakeCore::~FakeCore() { theCore = nullptr; }

int FakeCore::getOrqInterface(OrqInterface* interfaceRecord)
{
    auto* const record = reinterpret_cast<unsigned char*>(interfaceRecord);
    theCore->calls.emplace_back("GetOrqInterface");
    theCore->recordReceived.assign(record, record + recordBytes);
    fillSlot(record, 1, &init);
    fillSlot(record, 2, &unusedSlot<2>);
    fillSlot(record, 3, &unusedSlot<3>);
    fillSlot(record, 4, &create);
    fillSlot(record, 5, &destroy);
    fillSlot(record, 6, &connect);
    fillSlot(record, 7, &disconnect);
    fillSlot(record, 8, &unusedSlot<8>);
    fillSlot(record, 9, &execute);
    fillSlot(record, 10, &registerEvent);
    fillSlot(record, 11, &unregisterEvent);
    if (theCore->onInterface) theCore->onInterface(record);
    return theCore->interfaceStatus;
}

int FakeCore::init()
{
    theCore->calls.emplace_back("Init");
    return theCore->initStatus;
}

SessionHandle FakeCore::create(const ApplicationRecord* application)
{
    theCore->calls.emplace_back(application ? "SessionCreate record" : "SessionCreate -");
    const auto* const bytes = reinterpret_cast<const unsigned char*>(application);
    if (bytes) theCore->application.assign(bytes, bytes + applicationBytes);
    return theCore->session;
}

void FakeCore::destroy(SessionHandle session)
{
    theCore->calls.emplace_back("SessionDestroy " + std::to_string(session));
}

int FakeCore::connect(SessionHandle session)
{
    theCore->calls.emplace_back("SessionConnect " + std::to_string(session));
    return theCore->connectStatus;
}

void FakeCore::disconnect(SessionHandle session)
{
    theCore->calls.emplace_back("SessionDisconnect " + std::to_string(session));
}

int FakeCore::execute(SessionHandle session, const OrqData* command, const OrqData* request, OrqData* response)
{
    theCore->calls.emplace_back("SessionExecute " + std::to_string(session) + " | " + describe(command) + " | " +
                                describe(request) + " | " + describe(response));
    if (theCore->onExecute) theCore->onExecute();
    if (response && theCore->reading) {
        std::memcpy(fieldAt<unsigned char*>(response, 4), &*theCore->reading, sizeof(std::uint32_t));
    }
    // A core that parses the text in place: it was handed a buffer, not a constant.
    std::memset(fieldAt<unsigned char*>(command, 4), '#', fieldAt<std::uint32_t>(command, 12));
    return theCore->executeStatus;
}

int FakeCore::registerEvent(SessionHandle session, std::uint32_t eventType, const char* participant,
                            EventCallback callback, std::uint64_t context)
{
    theCore->calls.emplace_back("RegisterEvent " + describeEvent(session, eventType, participant, context));
    theCore->callbacks.push_back(callback);
    if (theCore->onRegister) theCore->onRegister(eventType);
    const auto status = theCore->registerStatus.find(eventType);
    return status == theCore->registerStatus.end() ? 0 : status->second;
}

int FakeCore::unregisterEvent(SessionHandle session, std::uint32_t eventType, const char* participant,
                              EventCallback callback, std::uint64_t context)
{
    theCore->calls.emplace_back("UnregisterEvent " + describeEvent(session, eventType, participant, context));
    theCore->callbacks.push_back(callback);
    if (theCore->onUnregister) theCore->onUnregister();
    return theCore->unregisterStatus;
}

}  // namespace kelvane::tests
