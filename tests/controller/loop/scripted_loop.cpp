// Stands between the client and the simulated core: every slot counts its call and runs what the script has for it.
#include "tests/controller/loop/scripted_loop.h"
#include "state/state.h"

#include "controller/scaling_loop.h"
#include "framework/core_library.h"
#include "simulator/platform/simulated_core.h"

namespace kelvane::tests {

namespace {

constexpr std::size_t commandHeadLength = sizeof "execute-primitive TCPU " - 1;

struct CallScript {
    int calls = 0;
    const ApplicationRecord* application = nullptr;
    std::map<int, ScriptedLoop::Action> before;
    std::map<int, int> failures;  // call -> status
};

CallScript callScript;
OrqInterface simulated;

// Counts a call, and makes the core answer it as the script says; heals the core when the call is over.
class Call {
public:
    explicit Call(const std::string& operationName) : operation(operationName)
    {
        const int number = ++callScript.calls;
        if (const auto action = callScript.before.find(number); action != callScript.before.end()) action->second();
        const auto failure = callScript.failures.find(number);
        fails = failure != callScript.failures.end();
        if (fails) simulator::setAnswer({ operation, failure->second });
    }

    ~Call()
    {
        if (fails) simulator::setAnswer({ operation, 0 });
    }

    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

private:
    std::string operation;
    bool fails;
};

int init()
{
    const Call call("INIT");
    return simulated.Init();
}

SessionHandle sessionCreate(const ApplicationRecord* application)
{
    const Call call("SESSION_CREATE");
    callScript.application = application;
    return simulated.SessionCreate(application);
}

int sessionConnect(SessionHandle session)
{
    const Call call("SESSION_CONNECT");
    return simulated.SessionConnect(session);
}

void sessionDisconnect(SessionHandle session)
{
    const Call call("SESSION_DISCONNECT");
    simulated.SessionDisconnect(session);
}

void sessionDestroy(SessionHandle session)
{
    const Call call("SESSION_DESTROY");
    simulated.SessionDestroy(session);
}

int sessionExecute(SessionHandle session, const OrqData* command, const OrqData* request, OrqData* response)
{
    const Call call(static_cast<const char*>(command->buf_ptr) + commandHeadLength);
    return simulated.SessionExecute(session, command, request, response);
}

int registerEvent(SessionHandle session, std::uint32_t type, const char* participant, EventCallback callback,
                  std::uint64_t context)
{
    const Call call("REGISTER_EVENT/" + std::to_string(type));
    return simulated.RegisterEvent(session, type, participant, callback, context);
}

int unregisterEvent(SessionHandle session, std::uint32_t type, const char* participant, EventCallback callback,
                    std::uint64_t context)
{
    const Call call("UNREGISTER_EVENT");
    return simulated.UnregisterEvent(session, type, participant, callback, context);
}

int scriptedInterface(OrqInterface* record)
{
    const int status = simulator::getSimulatedInterface(record);
    simulated = *record;
    record->Init = init;
    record->SessionCreate = sessionCreate;
    record->SessionDestroy = sessionDestroy;
    record->SessionConnect = sessionConnect;
    record->SessionDisconnect = sessionDisconnect;
    record->SessionExecute = sessionExecute;
    record->RegisterEvent = registerEvent;
    record->UnregisterEvent = unregisterEvent;
    return status;
}

}  // namespace

ScriptedLoop::ScriptedLoop()
{
    callScript = {};
    onSleep = [this](std::uint32_t ms) { pass(ms); };
    g_loader.getOrqInterface = scriptedInterface;
    g_sessionHandle = noSession;
}

ScriptedLoop::~ScriptedLoop() { callScript = {}; }

void ScriptedLoop::at(std::uint64_t ms, Action action) { script.emplace(ms, std::move(action)); }

void ScriptedLoop::beforeCall(int number, Action action) { callScript.before[number] = std::move(action); }

void ScriptedLoop::failCall(int number, int status) { callScript.failures[number] = status; }

std::uint32_t ScriptedLoop::run() { return scalingLoop(); }

const ApplicationRecord* ScriptedLoop::application() { return callScript.application; }

void ScriptedLoop::startProcess(const std::string& name)
{
    setProcessName(name);
    noOfPids += 1;
    PID_Change = 1;
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
