// tests/controller/probe_samples.h: runs the power ramp probe over scripted samples.
#pragma once

#include "controller/power_ramp_probe.h"
#include "controller/state.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kelvane::tests {

struct Sample {
    std::uint32_t power;  // mW
    std::uint32_t clipReasons = 0;
    int powerStatus = 0;  // of the framework; not 0: the read fails
    int clipStatus = 0;
};

struct ProbeCall {
    std::uint32_t acMode = 1;
    int prefMax = 5000;
    std::uint32_t cpuPL1 = 4'000'000'000;  // mW, out of the way
    std::uint32_t sampleSleep = 300;
};

class PowerRampProbe : public testing::Test {
protected:
    PowerRampProbe()
    {
        minPrefReset = 0;
        appliedPrefMax = 5000;
    }

    // One probe that sees `samples` in turn; the last one stays.
    int probe(const std::vector<Sample>& samples, const ProbeCall& call = {})
    {
        std::size_t next = 0;
        const auto present = [&] {
            const Sample& sample = samples[std::min(next++, samples.size() - 1)];
            machine.power(sample.power);
            machine.clipReasons(sample.clipReasons);
            machine.answer("GET_RAPL_POWER", sample.powerStatus);
            machine.answer("GET_IA_CLIP_REASONS", sample.clipStatus);
        };
        present();
        machine.onSleep = [&](std::uint32_t) { present(); };
        const int clipped = powerRampProbe(call.acMode, call.prefMax, call.cpuPL1, call.sampleSleep);
        machine.onSleep = nullptr;
        return clipped;
    }

    SimulatedMachine machine;
};

}  // namespace kelvane::tests
