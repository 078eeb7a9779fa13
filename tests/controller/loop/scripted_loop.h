// tests/controller/loop/scripted_loop.h: the scaling loop on a simulated machine, with a script of what happens to it
// meanwhile.
//
// The machine is as it is before the first start: nothing has reached it, there is no session. Calls are counted from
// 1 over all runs of the loop: whatever reaches the core, primitives included. The first start makes these:
//
//     1 INIT   2 SESSION_CREATE   3 SESSION_CONNECT   4..8 GET_RAPL_POWER
//     9..14 REGISTER_EVENT 10000, 34, 44, 183, 72, 106
//     15, 16 SET_RAPL_POWER_LIMIT_1   17 SET_PERF_PREFERENCE_MAX   18 SET_PERF_PREFERENCE_MIN
#pragma once

#include "framework/session.h"
#include "simulator/platform/simulated_core.h"
#include "tests/support/simulated_machine.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace kelvane::tests {

class ScriptedLoop : public SimulatedMachine {
public:
    using Action = std::function<void()>;

    ScriptedLoop();
    ~ScriptedLoop();
    ScriptedLoop(const ScriptedLoop&) = delete;
    ScriptedLoop& operator=(const ScriptedLoop&) = delete;

    // Before the Sleep that reaches `ms` returns; actions of one time in the order of these calls.
    void at(std::uint64_t ms, Action action);

    // Before the core sees the call of this number; the core answers `status` to it.
    void beforeCall(int number, Action action);
    void failCall(int number, int status);

    // Runs the loop on this thread until it ends; returns its result.
    std::uint32_t run();

    // The record with which the last session was created; null for none.
    const ApplicationRecord* application() const { return lastApplication; }

    // Time that all runs have slept through, in ms.
    std::uint64_t now() const { return nowMs; }

    // From now on a process that is in no list has started, as the process watcher tells it.
    static void startProcess(const std::string& name);

private:
    std::optional<int> answerTo(const simulator::CoreCall& call);
    void pass(std::uint32_t ms);

    int calls = 0;
    const ApplicationRecord* lastApplication = nullptr;
    std::map<int, Action> before;
    std::map<int, int> failures;  // call -> status
    std::uint64_t nowMs = 0;
    std::multimap<std::uint64_t, Action> script;
};

}  // namespace kelvane::tests
