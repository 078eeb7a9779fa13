// tests/engine/engine_run.h: the engine on replaced COM, event log, framework core and scaling loop.
#pragma once

#include "engine/engine.h"
#include "tests/engine/fake_com.h"
#include "tests/engine/fake_event_service.h"
#include "tests/engine/fake_loop.h"
#include "tests/support/call_list.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

class EngineRun : public testing::Test {
protected:
    EngineRun() { noteLog(); }

    // The notes after the one that begins with `start`.
    static std::vector<std::string> after(const std::string& start)
    {
        std::vector<std::string> calls = noted();
        while (!calls.empty() && !calls.front().starts_with(start)) calls.erase(calls.begin());
        if (!calls.empty()) calls.erase(calls.begin());
        return calls;
    }

    FakeCom com;
};

}  // namespace kelvane::tests
