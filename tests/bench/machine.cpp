// A hook of the simulated core, and wrappers before slots of the import table.
#include "tests/bench/machine.h"
#include "simulator/platform/import_slots.h"
#include "state/state.h"

#include "diagnostics/diagnostic_log.h"
#include "framework/core_library.h"
#include "simulator/platform/import_slot.h"
#include "simulator/platform/simulated_core.h"
#include "simulator/replay/imports.h"

#include <cstdlib>
#include <optional>
#include <ostream>

namespace kelvane::bench {

Machine& machine = *new Machine;

namespace outside {

namespace {

void note(const simulator::CoreCall& call)
{
    const OrqData& value = call.request ? *call.request : *call.response;
    const std::uint32_t word = call.request ? *static_cast<const std::uint32_t*>(call.request->buf_ptr) : 0;
    const std::string command(static_cast<const char*>(call.command->buf_ptr), call.command->data_len);
    machine.calls->push_back({ Call::Kind::execute, command, value.type, call.request != nullptr, word });
}

std::optional<int> look(const simulator::CoreCall& call)
{
    if (machine.calls && call.command) note(call);
    if (machine.onWrite && call.operation == "SET_PERF_PREFERENCE_MAX") machine.onWrite();
    return std::nullopt;
}

BOOL WINAPI powerStatus(LPSYSTEM_POWER_STATUS status)
{
    if (machine.calls) machine.calls->push_back({ Call::Kind::powerStatus, {} });
    return simulator::simulatedPowerStatus(status);
}

void WINAPI sleepNot(DWORD ms)
{
    if (machine.calls) machine.calls->push_back({ Call::Kind::sleep, {}, 0, false, ms });
    if (machine.onSleep) machine.onSleep(ms);
}

}  // namespace

}  // namespace outside

namespace {

void repeat(Call& call)
{
    switch (call.kind) {
    case Call::Kind::powerStatus: {
        SYSTEM_POWER_STATUS status;
        __imp_GetSystemPowerStatus(&status);
        break;
    }
    case Call::Kind::execute: {
        const auto bytes = static_cast<std::uint32_t>(call.command.size());
        const OrqData command = { orqTypeText, call.command.data(), bytes, bytes };
        OrqData value = { call.type, &call.word, sizeof call.word, sizeof call.word };
        coreInterface().SessionExecute(1, &command, call.sets ? &value : nullptr, call.sets ? nullptr : &value);
        break;
    }
    case Call::Kind::sleep: __imp_Sleep(call.word); break;
    }
}

}  // namespace

void startMachine()
{
    static std::ostream nowhere(nullptr);
    static simulator::Trace trace(nowhere);
    simulator::startCore(trace, [] { return std::uint64_t{ 0 }; });
    simulator::setCoreHook(outside::look);
    simulator::replacePlatform([](std::uint32_t) {});
    simulator::setImport(__imp_Sleep, outside::sleepNot);
    simulator::setImport(__imp_GetSystemPowerStatus, outside::powerStatus);
    g_engineState = engineRunning;
    g_wmiConnected = 1;
    g_wmiQueryIssued = 1;
    DiagnosticLog::instance().open();
    DiagnosticLog::instance().configure(0, "info");
}

void startWithCore()
{
    startMachine();
    if (Init() != 0) std::abort();
    g_sessionHandle = 1;
}

void repeat(std::vector<Call>& calls)
{
    for (Call& call : calls) repeat(call);
}

}  // namespace kelvane::bench
