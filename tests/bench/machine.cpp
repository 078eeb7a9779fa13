// A watcher of the simulated core, and slots of the import table with a wrapper before each.
#include "tests/bench/machine.h"
#include "simulator/platform/import_slots.h"
#include "state/state.h"

#include "diagnostics/diagnostic_log.h"
#include "framework/core_library.h"
#include "simulator/platform/import_slot.h"
#include "simulator/platform/simulated_core.h"
#include "simulator/replay/imports.h"

#include <cstdlib>
#include <ostream>
#include <string_view>

namespace kelvane::bench {

Machine& machine = *new Machine;

namespace outside {

namespace {

std::string_view textOf(const OrqData& data) { return { static_cast<const char*>(data.buf_ptr), data.data_len }; }

void note(const OrqData& command, const OrqData* request, const OrqData* response)
{
    const OrqData& value = request ? *request : *response;
    const std::uint32_t word = request ? *static_cast<const std::uint32_t*>(request->buf_ptr) : 0;
    machine.calls->push_back(
        { Call::Kind::execute, std::string(textOf(command)), value.type, request != nullptr, word });
}

std::optional<int> watch(const simulator::CoreCall& call)
{
    if (!call.command) return std::nullopt;
    if (machine.calls) note(*call.command, call.request, call.response);
    if (machine.onWrite && call.operation == "SET_PERF_PREFERENCE_MAX") machine.onWrite();
    return std::nullopt;
}

FARPROC WINAPI findExport(HMODULE /*module*/, LPCSTR /*name*/)
{
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&simulator::getSimulatedInterface));
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
    simulator::watchCalls(outside::watch);
    simulator::replacePlatform([](std::uint32_t) {});
    simulator::setImport(__imp_Sleep, outside::sleepNot);
    simulator::setImport(__imp_GetSystemPowerStatus, outside::powerStatus);
    simulator::setImport(__imp_GetProcAddress, outside::findExport);
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
