// tests/engine/engine_run.h: the engine on replaced COM, event log, framework core and scaling loop.
#pragma once

#include "engine/engine.h"
#include "engine/state.h"
#include "state/state.h"
#include "tests/engine/fake_com.h"
#include "tests/engine/fake_event_service.h"
#include "tests/engine/fake_loop.h"
#include "tests/engine/sink_memory.h"
#include "tests/support/call_list.h"
#include "tests/support/failing_calls.h"
#include "tests/support/rows.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

using Texts = std::vector<std::string>;

class EngineRun : public testing::Test {
protected:
    EngineRun()
    {
        noteLog();
        sinksAreNoted = true;
    }

    // The notes after the one that begins with `start`.
    static Texts after(const std::string& start)
    {
        Texts calls = noted();
        while (!calls.empty() && !calls.front().starts_with(start)) calls.erase(calls.begin());
        if (!calls.empty()) calls.erase(calls.begin());
        return calls;
    }

    FakeCom com;
};

}  // namespace kelvane::tests
