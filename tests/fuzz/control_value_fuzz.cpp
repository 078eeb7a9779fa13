// The control value with any type, bytes and sizes, beside a copy of the buffer that it is read into.
#include "service/control_registry_watcher.h"
#include "service/service_host.h"
#include "tests/fuzz/fuzz.h"
#include "tests/service/fake_registry.h"
#include "tests/support/call_list.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace kelvane;
using kelvane::fuzz::promise;

namespace {

// What the watcher's own buffer holds, which lasts as long as the process.
wchar_t units[512];

// Most are short; the rest is about as long as the buffer.
std::string anyValue(fuzz::Bytes& bytes)
{
    std::string value = bytes.ConsumeRandomLengthString(16);
    if (bytes.ConsumeBool()) value.resize(bytes.ConsumeIntegralInRange(sizeof units - 4, sizeof units + 4), 'x');
    return value;
}

void change(tests::FakeRegistry& registry, fuzz::Bytes& bytes)
{
    registry.valueExists = bytes.ConsumeProbability<float>() < 0.9F;
    registry.type = bytes.ConsumeIntegral<DWORD>();
    registry.value = anyValue(bytes);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Bytes bytes(data, size);
    tests::FakeRegistry registry;
    std::size_t offered = sizeof units;
    g_serviceRunning = true;
    for (int changes = bytes.ConsumeIntegralInRange(1, 5); changes > 0; --changes) {
        registry.waits.emplace_back([&, changes] {
            change(registry, bytes);
            g_engineGate = 7;
            g_serviceRunning = changes > 1;
            return WAIT_OBJECT_0;
        });
    }
    // After each reading the key is watched anew; the first watch comes before any.
    bool firstWatch = true;
    registry.onNotify = [&] {
        if (std::exchange(firstWatch, false)) return LSTATUS{ ERROR_SUCCESS };
        const bool fits = registry.valueExists && registry.value.size() <= offered;
        if (fits) std::memcpy(units, registry.value.data(), registry.value.size());
        if (registry.valueExists) offered = std::min(registry.value.size(), sizeof units);
        const bool two = units[0] == 2 && units[1] == 0;
        promise(g_engineGate == (!fits ? 7 : two ? 0 : 1), "the gate is what the value says");
        return LSTATUS{ ERROR_SUCCESS };
    };

    promise(registryNotify() == 0, "the watcher returns 0");

    tests::forgetNotes();
    return 0;
}
