// tests/service/control_watch.h: the watcher of the control value with a script of changes.
#pragma once

#include "service/control_registry_watcher.h"
#include "service/service_host.h"
#include "state/state.h"
#include "tests/service/fake_registry.h"
#include "tests/service/fake_reports.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

// Of the buffer for the value: 1024 on Windows.
constexpr std::size_t bufferBytes = 512 * sizeof(wchar_t);
const std::string wholeBuffer = std::to_string(bufferBytes);

class ControlWatch : public testing::Test {
protected:
    ControlWatch()
    {
        g_engineGate = 7;  // neither open nor shut
        g_serviceStopping = 1;
    }

    // At the next wait the value becomes so.
    void change(const std::string& bytes)
    {
        change([this, bytes] { registry.value = bytes; });
    }

    // At the next wait something is done, and then the key signals.
    void change(std::function<void()> happens)
    {
        registry.waits.emplace_back([happens] {
            happens();
            return WAIT_OBJECT_0;
        });
    }

    // The service stops running while the last change is waited for.
    void runToEnd()
    {
        registry.waits.back() = [last = registry.waits.back()] {
            g_serviceRunning = false;
            return last();
        };
        EXPECT_EQ(registryNotify(), 0U);
    }

    FakeRegistry registry;
};

}  // namespace kelvane::tests
