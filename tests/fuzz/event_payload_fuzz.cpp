// The framework's event callback with every type, pointer and length. A buffer is as long as it is said to be.
#include "framework/events.h"
#include "simulator/replay/recorded_log.h"
#include "state/state.h"
#include "tests/fuzz/fuzz.h"

#include <memory>

using namespace kelvane;
using kelvane::fuzz::promise;

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    simulator::recordLog([](int, const std::string&) {});
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint32_t types[] = { 5, 6, 34, 44, 72, 106, 183, 10000 };
    fuzz::Bytes bytes(data, size);
    while (bytes.remaining_bytes() > 0) {
        const auto type = bytes.ConsumeBool() ? bytes.PickValueInArray(types) : bytes.ConsumeIntegral<std::uint32_t>();
        const std::string participant = bytes.ConsumeRandomLengthString(8);
        const bool hasParticipant = bytes.ConsumeBool();
        const bool hasPayload = bytes.ConsumeBool();
        const bool hasBuffer = bytes.ConsumeBool();
        prevWorkload = bytes.ConsumeIntegralInRange(-1, 6);
        const std::string content = bytes.ConsumeRandomLengthString(40);
        const std::unique_ptr<char[]> buffer(new char[content.size()]);  // the sanitizer guards its end
        content.copy(buffer.get(), content.size());
        const OrqData payload = { bytes.ConsumeIntegral<std::uint32_t>(), hasBuffer ? buffer.get() : nullptr,
                                  static_cast<std::uint32_t>(content.size()), bytes.ConsumeIntegral<std::uint32_t>() };
        const int schemeBefore = g_powerScheme;

        const std::uint32_t result =
            onFrameworkEvent(bytes.ConsumeIntegral<std::uint64_t>(), type,
                             hasParticipant ? participant.c_str() : nullptr, hasPayload ? &payload : nullptr);

        promise(result == 0, "the result is always 0");
        promise(g_powerScheme >= 0 && g_powerScheme <= 2, "a scheme is one of three");
        promise(type == 72 || g_powerScheme == schemeBefore, "only a scheme event changes the scheme");
    }
    return 0;
}
