// tests/framework/loaded_core.h: tests with a fake core that Init has loaded, and the diagnostic log recorded beside
// its calls.
#pragma once

#include "framework/core_library.h"
#include "simulator/replay/recorded_log.h"
#include "tests/support/fake_system.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace kelvane::tests {

class LoadedCore : public testing::Test {
protected:
    LoadedCore()
    {
        system.files["C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll"] = 0x20;
        if (Init() != 0) throw std::runtime_error("the fake core does not load");
        calls.clear();
        simulator::recordLog([this](int level, const std::string& text) {
            calls.push_back("log " + std::to_string(level) + " " + text);
        });
    }

    ~LoadedCore() override { simulator::recordLog(nullptr); }

    FakeSystem system;
    FakeCore& core = system.core;
    std::vector<std::string>& calls = system.calls;  // of the core since Init, and messages: "log LEVEL TEXT"
};

}  // namespace kelvane::tests
