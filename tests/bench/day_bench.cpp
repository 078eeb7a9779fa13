// A day in virtual time with something to do every few minutes; the heap is looked at after the first hour and the
// last.
#include "state/state.h"
#include "tests/bench/benches.h"

#include "controller/scaling_loop.h"
#include "engine/event_sink.h"
#include "engine/standby_watcher.h"
#include "simulator/platform/process_event.h"
#include "simulator/platform/simulated_core.h"
#include "tests/bench/machine.h"

#include <array>

namespace kelvane::bench {

namespace {

using simulator::deliverEvent;
using simulator::Primitive;
using simulator::setReading;

constexpr std::uint64_t minuteMs = 60 * 1000;
constexpr std::uint64_t hourMs = 60 * minuteMs;

void startProcess(const wchar_t* name)
{
    static auto& sink = *new EventSink;
    IWbemClassObject* event = simulator::makeProcessEvent(name, 4711);
    sink.Indicate(1, &event);
    event->Release();
}

void passMinute(std::uint32_t minute)
{
    constexpr std::array<std::uint32_t, 6> powers = { 700, 1500, 3000, 9000, 5000, 700 };
    constexpr std::array<std::uint32_t, 3> sliders = { 0, 75, 100 };
    setReading({ Primitive::getRaplPower, powers[minute % powers.size()] });
    setReading({ Primitive::getIaClipReasons, minute % 11 == 0 ? 0x400U : 0U });
    if (minute % 2 == 0) startProcess(L"svchost.exe");
    if (minute % 3 == 0) startProcess(L"a program with a long name.exe");
    if (minute % 7 == 0) deliverEvent({ 106, sliders[minute % sliders.size()] });
    if (minute % 5 == 0) deliverEvent({ 183, minute % 5 });
    if (minute % 60 == 0) simulator::setAnswer({ "SET_RAPL_POWER_LIMIT_1", minute % 120 == 0 ? 1000 : 0 });
}

}  // namespace

HeapOverDay heapOverDay()
{
    HeapOverDay heap;
    std::uint64_t nowMs = 0;
    startMachine();
    machine.onSleep = [&](std::uint32_t ms) {
        const std::uint64_t minute = nowMs / minuteMs;
        nowMs += ms;
        if (nowMs / minuteMs == minute) return;
        passMinute(static_cast<std::uint32_t>(minute));
        if (minute + 1 == 60) heap.afterFirstHour = heapBytes();
        if (minute + 1 != 24 * 60) return;
        heap.afterLastHour = heapBytes();
        g_serviceStopping = 1;
    };
    scalingLoop();
    machine.onSleep = nullptr;
    return heap;
}

}  // namespace kelvane::bench
