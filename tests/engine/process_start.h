// tests/engine/process_start.h: the sink with one process start as WMI delivers it.
//
// "game.exe" with the id 4711 starts, 1200 is the ceiling in force, and a write of the ceiling leaves the floor alone.
#pragma once

#include "controller/state.h"
#include "engine/event_sink.h"
#include "state/state.h"
#include "tests/engine/fake_wmi.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

class ProcessStart : public testing::Test {
protected:
    ProcessStart()
    {
        event.set(L"TargetInstance", unknownValue(&instance));
        instance.set(L"Name", textValue(L"game.exe"));
        instance.set(L"ProcessId", numberValue(4711));
        appliedPrefMax = 1200;
        minPrefReset = 0;
        forgetNotes();
    }

    // A batch of `objectCount` in which every object but the first would crash when touched.
    HRESULT indicate(LONG objectCount)
    {
        IWbemClassObject* objects[] = { &event };
        return sink.Indicate(objectCount, objects);
    }

    SimulatedMachine machine;
    FakeClassObject instance{ "instance" };
    FakeClassObject event{ "event" };
    EventSink sink;
};

}  // namespace kelvane::tests
