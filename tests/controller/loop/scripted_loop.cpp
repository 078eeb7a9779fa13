// The simulated core's watcher counts each call and runs what the script has for it.
#include "tests/controller/loop/scripted_loop.h"
#include "state/state.h"

#include "controller/scaling_loop.h"
#include "simulator/platform/simulated_core.h"

namespace kelvane::tests {

ScriptedLoop::ScriptedLoop()
{
    onSleep = [this](std::uint32_t ms) { pass(ms); };
    simulator::watchCalls([this](const simulator::CoreCall& call) { return answerTo(call); });
    g_sessionHandle = noSession;
}

ScriptedLoop::~ScriptedLoop() { simulator::watchCalls({}); }

void ScriptedLoop::at(std::uint64_t ms, Action action) { script.emplace(ms, std::move(action)); }

void ScriptedLoop::beforeCall(int number, Action action) { before[number] = std::move(action); }

void ScriptedLoop::failCall(int number, int status) { failures[number] = status; }

std::uint32_t ScriptedLoop::run() { return scalingLoop(); }

void ScriptedLoop::startProcess(const std::string& name)
{
    setProcessName(name);
    noOfPids += 1;
    PID_Change = 1;
}

std::optional<int> ScriptedLoop::answerTo(const simulator::CoreCall& call)
{
    const int number = ++calls;
    if (call.operation == "SESSION_CREATE") lastApplication = call.application;
    if (const auto action = before.find(number); action != before.end()) action->second();
    const auto failure = failures.find(number);
    return failure == failures.end() ? std::nullopt : std::optional(failure->second);
}

void ScriptedLoop::pass(std::uint32_t ms)
{
    nowMs += ms;
    while (!script.empty() && script.begin()->first <= nowMs) {
        const Action action = script.begin()->second;
        script.erase(script.begin());
        action();
    }
}

}  // namespace kelvane::tests
