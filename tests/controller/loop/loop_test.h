// tests/controller/loop/loop_test.h: what the tests of the whole scaling loop share.
#pragma once

#include "controller/state.h"
#include "state/state.h"

#include "framework/session.h"
#include "tests/controller/loop/scripted_loop.h"
#include "tests/simulator/trace_rows.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace kelvane::tests {

inline void stopScaling() { requestEngineStop(false); }

inline void stopService() { requestEngineStop(true); }

class LoopTest : public testing::Test {
protected:
    void powerAt(std::uint64_t ms, std::uint32_t milliwatts)
    {
        loop.at(ms, [this, milliwatts] { loop.power(milliwatts); });
    }

    void startProcessAt(std::uint64_t ms)
    {
        loop.at(ms, [] { ScriptedLoop::startProcess("app.exe"); });
    }

    void forgetAt(std::uint64_t ms)
    {
        loop.at(ms, [this] { loop.forget(); });
    }

    // Runs until the end of service in the step that is on at `ms`, or ends its probe then.
    void runUntil(std::uint64_t ms)
    {
        loop.at(ms, stopService);
        loop.run();
    }

    // The last rows of all that happened.
    Rows lastRows(std::size_t count) const
    {
        const Rows rows = loop.happened();
        return { rows.end() - static_cast<std::ptrdiff_t>(std::min(count, rows.size())), rows.end() };
    }

    ScriptedLoop loop;
};

}  // namespace kelvane::tests
