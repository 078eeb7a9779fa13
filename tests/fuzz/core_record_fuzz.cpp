// The core's loader with any interface record and any answers, and all that is called through the record. Slots are
// empty or the fake core's: whom the record points to is the core's business.
#include "framework/core_library.h"
#include "framework/events.h"
#include "framework/primitives.h"
#include "framework/session.h"
#include "framework/status.h"
#include "simulator/replay/recorded_log.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/fake_system.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace kelvane;
using kelvane::fuzz::promise;

namespace {

constexpr std::size_t headBytes = 68;  // before the first slot

int anyStatus(fuzz::Bytes& bytes)
{
    return bytes.ConsumeProbability<float>() < 0.8F ? 0 : bytes.ConsumeIntegral<int>();
}

void answerAnything(tests::FakeSystem& system, fuzz::Bytes& bytes)
{
    constexpr DWORD attributes[] = { 0x20, 0x10, 0x400, 0x410 };
    const std::string path = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll";
    if (bytes.ConsumeProbability<float>() < 0.9F) system.files[path] = bytes.PickValueInArray(attributes);
    system.deletesFiles = bytes.ConsumeBool();
    if (bytes.ConsumeProbability<float>() < 0.1F) system.loadError = bytes.ConsumeIntegral<DWORD>();
    if (bytes.ConsumeProbability<float>() < 0.1F) system.errorAfterLoad = bytes.ConsumeIntegral<DWORD>();
    system.loadFailsSilently = bytes.ConsumeProbability<float>() < 0.1F;
    system.exportsInterface = bytes.ConsumeProbability<float>() < 0.9F;
    system.errorAfterLookUp = bytes.ConsumeIntegral<DWORD>();
    system.formatsMessages = bytes.ConsumeBool();
    system.failingAllocation = bytes.ConsumeIntegralInRange(0, 4);
    system.core.interfaceStatus = anyStatus(bytes);
    system.core.initStatus = anyStatus(bytes);
    system.core.connectStatus = anyStatus(bytes);
    system.core.executeStatus = anyStatus(bytes);
    system.core.unregisterStatus = anyStatus(bytes);
    system.core.session = bytes.ConsumeIntegral<SessionHandle>();
    if (bytes.ConsumeBool()) system.core.reading = bytes.ConsumeIntegral<std::uint32_t>();
    if (bytes.ConsumeProbability<float>() < 0.4F) {
        system.core.emptySlots.insert(bytes.ConsumeIntegralInRange(1, 11));
    }
    if (bytes.ConsumeProbability<float>() < 0.4F) {
        const std::string head = bytes.ConsumeRandomLengthString(headBytes);
        const auto from = bytes.ConsumeIntegralInRange<std::size_t>(0, headBytes - head.size());
        system.core.onInterface = [=](unsigned char* record) { std::memcpy(record + from, head.data(), head.size()); };
    }
}

void useSession(std::uint32_t word)
{
    const SessionHandle session = SessionCreate(applicationRecord());
    SessionConnect(session);
    registerEvents(session);
    promise(toMilliwatts(getRaplPower(session)) >= -1, "a power is a number of milliwatts or -1");
    getSocWorkload(session);
    getIaClipReasons(session);
    for (const int result : { setPerfPreferenceMax(session, word), setPerfPreferenceMin(session, word),
                              setRaplPowerLimit1(session, word) }) {
        promise(result == 0 || result == -1, "a setter succeeds or fails");
    }
    UnregisterEvents(session);
    SessionDisconnect(session);
    SessionDestroy(session);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    testing::GTEST_FLAG(break_on_failure) = true;  // the fakes tell a wrong release so
    fuzz::silence();
    simulator::recordLog([](int, const std::string&) {});
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Bytes bytes(data, size);
    tests::FakeSystem system;
    answerAnything(system, bytes);
    const int code = bytes.ConsumeIntegral<int>();
    promise(statusName(code) && libraryStatusName(code), "every status has a name");

    const int status = Init();
    const bool usable = coreInterface().SessionExecute != nullptr;
    promise(status != 0 || usable, "a core that was initialised can be used");
    useSession(bytes.ConsumeIntegral<std::uint32_t>());

    unloadLibrary(g_loader);
    promise(system.heldBlocks() == 0 && system.heldTexts() == 0, "all memory is given back");
    return 0;
}
