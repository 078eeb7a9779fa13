// Steps of the scaling loop in virtual time: each kind of step gets its readings sample by sample.
#include "controller/state.h"
#include "state/state.h"
#include "tests/bench/benches.h"

#include "controller/power_ramp_probe.h"
#include "controller/scaling_loop.h"
#include "simulator/platform/process_event.h"
#include "simulator/platform/simulated_core.h"
#include "tests/bench/machine.h"

namespace kelvane::bench {

namespace {

using simulator::Primitive;
using simulator::setReading;

constexpr int warmUpSteps = 20;  // an even number: some kinds take turns
constexpr int measuredSteps = 100;

void power(std::uint32_t milliwatts) { setReading({ Primitive::getRaplPower, milliwatts }); }

void quiet(int /*step*/, int /*sample*/) { power(3000); }

void atRest(int /*step*/, int /*sample*/) { power(700); }

// Low for a step; in the next one it jumps so that the probe follows.
void ramp(int step, int sample) { power(step % 2 == 0 || sample < 2 ? 1500 : 15000); }

void clip(int step, int /*sample*/)
{
    power(9000);
    setReading({ Primitive::getIaClipReasons, step % 2 == 0 ? 0U : 0x400U });
}

// With every other step, as the process watcher tells it.
void processStart(int step, int sample)
{
    power(step % 2 == 0 ? 2000 : 9000);
    if (step % 2 == 0 || sample > 0) return;
    setProcessName("a program with a long name.exe");
    noOfPids = 1;
    PID_Change = 1;
}

// Sets the readings of what comes behind so many steps, and so many pauses of the next one.
using Script = void (*)(int step, int sample);

// Runs the loop, with `from` called where the steps to look at begin and `to` where they end.
void runLoop(Script present, const std::function<void()>& from, const std::function<void()>& to)
{
    startMachine();
    machine.onSleep = [present, from, to, step = 0, sample = 0](std::uint32_t) mutable {
        sample = avgCount == step ? sample + 1 : 0;
        step = avgCount;
        {
            const Aside hands;
            present(step, sample);
        }
        if (sample != 0) return;
        if (step == warmUpSteps) from();
        if (step != warmUpSteps + measuredSteps) return;
        to();
        machine.calls = nullptr;
        g_serviceStopping = 1;
    };
    present(0, 0);
    scalingLoop();
    machine.onSleep = nullptr;
}

Result steps(Script present)
{
    runLoop(present, begin, end);
    return { measuredSteps };
}

Result leastSteps(Script present)
{
    std::vector<Call> calls;
    const auto record = [&] { machine.calls = &calls; };
    runLoop(present, record, [] {});
    return counted(measuredSteps, [&] { repeat(calls); });
}

constexpr int measuredProbes = 100;

void probes()
{
    for (int i = 0; i < measuredProbes; ++i) powerRampProbe(1, 5000, 17000, probeSleepMs);
}

Result sample()
{
    startWithCore();
    power(3000);
    return countedWarm(measuredProbes * probeSamples, probes);
}

Result leastSample()
{
    startWithCore();
    power(3000);
    std::vector<Call> calls;
    machine.calls = &calls;
    probes();
    machine.calls = nullptr;
    return counted(measuredProbes * probeSamples, [&] { repeat(calls); });
}

}  // namespace

Things loopThings()
{
    return {
        { "quiet-step", [] { return steps(quiet); } },
        { "least-quiet-step", [] { return leastSteps(quiet); } },
        { "idle-step", [] { return steps(atRest); } },
        { "least-idle-step", [] { return leastSteps(atRest); } },
        { "ramp-step", [] { return steps(ramp); } },
        { "least-ramp-step", [] { return leastSteps(ramp); } },
        { "clip-step", [] { return steps(clip); } },
        { "least-clip-step", [] { return leastSteps(clip); } },
        { "process-start-step", [] { return steps(processStart); } },
        { "least-process-start-step", [] { return leastSteps(processStart); } },
        { "sample", sample },
        { "least-sample", leastSample },
    };
}

}  // namespace kelvane::bench
