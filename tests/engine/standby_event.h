// tests/engine/standby_event.h: an event of the System log on its way to the standby watcher.
#pragma once

#include "engine/standby_watcher.h"
#include "state/state.h"
#include "tests/engine/fake_event_service.h"
#include "tests/support/call_list.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

constexpr std::uint64_t noFrameworkSession = 0xFFFFFFFFFFFFFFFF;
const auto standbyEvent = reinterpret_cast<EVT_HANDLE>(0xE7);  // 231

// Without a session, so that an exit is counted.
class Standby : public testing::Test {
protected:
    Standby()
    {
        noteLog();
        g_sessionHandle = noFrameworkSession;
        SetLastError(0);
    }

    // The event, as the log renders it.
    static DWORD deliver(const std::wstring& xml)
    {
        eventService.setXml(xml);
        return SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, standbyEvent);
    }
};

}  // namespace kelvane::tests
