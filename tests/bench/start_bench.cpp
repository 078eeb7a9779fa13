// One notification of a started process after the other, each found as the first one was.
#include "controller/state.h"
#include "state/state.h"
#include "tests/bench/benches.h"

#include "engine/event_sink.h"
#include "simulator/platform/process_event.h"
#include "tests/bench/machine.h"

#include <optional>

namespace kelvane::bench {

namespace {

constexpr int starts = 100;

void forgetStart()
{
    appliedPrefMax = defaultPreference;
    noOfPids = 0;
    clearProcessName();
}

enum class Until { end, write };

// With Until::write, what follows the write of the ceiling does not count.
void notify(const wchar_t* name, Until until)
{
    static auto& sink = *new EventSink;
    std::optional<Aside> aside(std::in_place);
    IWbemClassObject* event = simulator::makeProcessEvent(name, 4711);
    if (until == Until::write) machine.onWrite = [&] { aside.emplace(); };
    for (int i = 0; i < starts; ++i) {
        forgetStart();
        aside.reset();
        sink.Indicate(1, &event);
        if (!aside) aside.emplace();
    }
    machine.onWrite = nullptr;
    event->Release();
}

Result count(const wchar_t* name, Until until)
{
    startWithCore();
    return countedWarm(starts, [=] { notify(name, until); });
}

constexpr wchar_t inNoList[] = L"a program.exe";

Result leastStart()
{
    startWithCore();
    notify(inNoList, Until::end);
    std::vector<Call> calls;
    machine.calls = &calls;
    notify(inNoList, Until::end);
    machine.calls = nullptr;
    return counted(starts, [&] { repeat(calls); });
}

}  // namespace

Things startThings()
{
    return {
        { "listed-start", [] { return count(L"svchost.exe", Until::end); } },
        { "acting-start", [] { return count(inNoList, Until::end); } },
        { "start-to-write", [] { return count(inNoList, Until::write); } },
        { "least-start", leastStart },
    };
}

}  // namespace kelvane::bench
