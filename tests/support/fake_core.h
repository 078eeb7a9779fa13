// tests/support/fake_core.h: a framework core whose answers are scripted and which writes down what it is asked.
//
// It looks at records and descriptors as the core of another maker does: byte by byte, at the contract's offsets. One
// at a time.
#pragma once

#include "framework/orq_interface.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelvane::tests {

class FakeCore {
public:
    // Each call is appended to `calls`: the operation's name and its arguments ("SessionConnect 42"). A descriptor
    // reads "type T, DATA_LEN of BUF_LEN: BUFFER", the buffer as text with its NUL for type 8, else in hexadecimal
    // bytes; a null one reads "-".
    explicit FakeCore(std::vector<std::string>& calls);
    ~FakeCore();
    FakeCore(const FakeCore&) = delete;
    FakeCore& operator=(const FakeCore&) = delete;

    // The export: fills in the slots, except the empty ones, and lets `onInterface` alter the record.
    static int getOrqInterface(OrqInterface* record);

    int interfaceStatus = 0;
    std::set<int> emptySlots;
    std::function<void(unsigned char* record)> onInterface;

    int initStatus = 0;
    SessionHandle session = 42;
    int connectStatus = 0;
    int executeStatus = 0;
    std::optional<std::uint32_t> reading;  // written into a response, whatever the status
    std::map<std::uint32_t, int> registerStatus;
    int unregisterStatus = 0;

    // Called inside the operation, before it answers.
    std::function<void()> onExecute;
    std::function<void(std::uint32_t eventType)> onRegister;
    std::function<void()> onUnregister;

    // What was handed over: the last interface record as it came in, the last application record, all callbacks.
    std::vector<unsigned char> recordReceived;
    std::vector<unsigned char> application;
    std::vector<EventCallback> callbacks;

private:
    static int init();
    static SessionHandle create(const ApplicationRecord* application);
    static void destroy(SessionHandle session);
    static int connect(SessionHandle session);
    static void disconnect(SessionHandle session);
    static int execute(SessionHandle session, const OrqData* command, const OrqData* request, OrqData* response);
    static int registerEvent(SessionHandle session, std::uint32_t eventType, const char* participant,
                             EventCallback callback, std::uint64_t context);
    static int unregisterEvent(SessionHandle session, std::uint32_t eventType, const char* participant,
                               EventCallback callback, std::uint64_t context);

    std::vector<std::string>& calls;
};

}  // namespace kelvane::tests
