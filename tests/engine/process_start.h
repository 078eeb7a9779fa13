// tests/engine/process_start.h: the sink with one process start as WMI delivers it.
//
// "game.exe" with the id 4711 starts, 1200 is the ceiling in force, and a write of the ceiling leaves the floor alone.
#pragma once

#include "controller/state.h"
#include "engine/event_sink.h"
#include "engine/state.h"
#include "state/state.h"
#include "tests/engine/fake_wmi.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

constexpr char startLine[] = "2  Starting pName = NAPID4711";
constexpr char fullPerformance[] = "SET_PERF_PREFERENCE_MAX 10000";

class ProcessStart : public testing::Test {
protected:
    ProcessStart()
    {
        event.set(L"TargetInstance", unknownValue(&instance));
        instance.set(L"Name", textValue(L"game.exe"));
        instance.set(L"ProcessId", numberValue(4711));
        appliedPrefMax = 1200;
        minPrefReset = 0;
        clipPending = 1;
        forgetNotes();
    }

    // A batch of `objectCount` in which every object but the first would crash when touched.
    void indicate(LONG objectCount)
    {
        IWbemClassObject* objects[] = { &event };
        EXPECT_EQ(sink.Indicate(objectCount, objects), 0);
    }

    SimulatedMachine machine;
    FakeClassObject instance{ "instance" };
    FakeClassObject event{ "event" };
    EventSink sink;
};

}  // namespace kelvane::tests
