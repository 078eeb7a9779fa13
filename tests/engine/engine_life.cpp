// Imports fail on top of what the other fakes answer; the core is a watched one, and the clock is made here.
#include "tests/engine/engine_life.h"
#include "controller/state.h"
#include "simulator/platform/import_slots.h"
#include "state/state.h"

#include "engine/engine.h"
#include "engine/event_sink.h"
#include "engine/standby_watcher.h"
#include "framework/core_library.h"
#include "simulator/platform/simulated_core.h"
#include "tests/engine/fake_event_service.h"
#include "tests/engine/watched_buffer.h"
#include "tests/support/call_list.h"
#include "tests/support/standard_error.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <ostream>
#include <set>
#include <sstream>

namespace kelvane::tests {

namespace {

constexpr char installDirectory[] = "C:\\orq";
constexpr char systemLibrary[] = "C:\\windows\\system32\\Tarvo\\ORQ\\orqcore.dll";
constexpr int coreFailure = 1000;  // TOVA_E_NOT_IMPLEMENTED
constexpr int spinMax = 400;       // primitives without a Sleep before somebody ends scaling
constexpr int initialReads = 5;

// Of a run: ms since it began -> what happens.
using Script = std::multimap<std::uint64_t, void (*)()>;

// What the world around the engine knows and does.
struct World {
    std::uint64_t nowMs = 0;
    std::uint64_t runBeganMs = 0;
    Script script;
    int primitivesSinceSleep = 0;
    int powerReads = 0;  // since the session was connected
    int sessions = 0;
    std::set<std::uint32_t> events;  // registered types
    IWbemClassObject* processEvent = nullptr;
    FakeApartment* apartment = nullptr;
};

World& world = *new World;

// --- what happens ----------------------------------------------------------------------------------------------------

void raisePower() { simulator::setReading({ simulator::Primitive::getRaplPower, 5200 }); }

void startProcess()
{
    if (!world.apartment->wrapped) return;
    static_cast<EventSink*>(world.apartment->wrapped)->Indicate(1, &world.processEvent);
}

void changeWorkloadAndSlider()
{
    simulator::deliverEvent({ eventWorkload, 2 });
    simulator::deliverEvent({ eventPowerSlider, 30 });
}

void enterStandby() { SubscriptionCallback(EvtSubscribeActionDeliver, nullptr, reinterpret_cast<EVT_HANDLE>(0xE7)); }

void stopScaling() { requestEngineStop(false); }

void stopService() { requestEngineStop(true); }

void beginRun(const Script& script)
{
    world.runBeganMs = world.nowMs;
    world.script = script;
}

void pass(DWORD ms)
{
    world.nowMs += ms;
    world.primitivesSinceSleep = 0;
    while (!world.script.empty() && world.runBeganMs + world.script.begin()->first <= world.nowMs) {
        const auto happens = world.script.begin()->second;
        world.script.erase(world.script.begin());
        happens();
    }
}

// --- the core --------------------------------------------------------------------------------------------------------

int statusOf(const std::string& call) { return callFails(call) ? coreFailure : 0; }

// A primitive's name, with what decides whether anybody is told of its failure.
std::string placed(const std::string& primitive, const OrqData* request)
{
    unsigned value = 0;
    if (request) std::memcpy(&value, request->buf_ptr, sizeof value);
    if (primitive == "GET_RAPL_POWER" && ++world.powerReads == initialReads) return primitive + ", last of the start";
    if (!request) return primitive;
    if (g_stopDone == 0 && value != static_cast<unsigned>(defaultPreference)) return primitive + ", limits given back";
    const bool silent = g_reportPerfFailures == 0 && primitive.starts_with("SET_PERF");
    return silent ? primitive + ", since standby" : primitive;
}

int statusOf(const simulator::CoreCall& call)
{
    if (call.command) return statusOf(placed(std::string(call.operation), call.request));
    if (call.operation == "INIT") return statusOf("Init");
    if (call.operation == "SESSION_CREATE") return statusOf("SessionCreate");
    if (call.operation == "SESSION_CONNECT") return statusOf("SessionConnect");
    if (call.operation == "REGISTER_EVENT") return statusOf("RegisterEvent");
    if (call.operation == "UNREGISTER_EVENT") return statusOf("UnregisterEvent");
    return 0;  // the rest has no status
}

std::optional<int> answerTo(const simulator::CoreCall& call)
{
    if (call.command && ++world.primitivesSinceSleep == spinMax) stopScaling();
    const int status = statusOf(call);
    if (call.operation == "SESSION_CREATE" && status == 0) world.sessions += 1;
    if (call.operation == "SESSION_DESTROY") world.sessions -= 1;
    // Without a connection the start reads no power.
    if (call.operation == "SESSION_CONNECT") world.powerReads = status == 0 ? 0 : initialReads;
    if (call.operation == "REGISTER_EVENT" && status == 0) world.events.insert(*call.eventType);
    if (call.operation == "UNREGISTER_EVENT") world.events.erase(*call.eventType);
    return status;
}

void startCore()
{
    static std::ostream nowhere(nullptr);
    static simulator::Trace trace(nowhere);
    simulator::startCore(trace, [] { return world.nowMs; });
    simulator::setReading({ simulator::Primitive::getRaplPower, 3000 });
    simulator::watchCalls(answerTo);
}

// --- imports whose name alone does not say what fails ----------------------------------------------------------------

decltype(&SysAllocString) allocStringBefore;
decltype(&HeapAlloc) heapAllocBefore;

BSTR WINAPI allocString(const OLECHAR* text)
{
    const std::string start(text, text + 3);
    return callFails("SysAllocString, " + start) ? nullptr : allocStringBefore(text);
}

LPVOID WINAPI heapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes)
{
    const bool record = bytes == sizeof(ModuleRecord);
    if (callFails(record ? "HeapAlloc, module record" : "HeapAlloc, device list")) return nullptr;
    return heapAllocBefore(heap, flags, bytes);
}

// The sink is the one thing that the product allocates without an exception. Where the apartment is missing too, there
// is one word for both.
const char* sinkAllocation()
{
    return callFailed("CoCreateInstance, apartment") ? "new EventSink, no apartment" : "new EventSink";
}

BOOL WINAPI onMains(LPSYSTEM_POWER_STATUS status)
{
    if (callFails("GetSystemPowerStatus")) return FALSE;
    *status = {};
    status->ACLineStatus = 1;
    return TRUE;
}

void WINAPI virtualSleep(DWORD ms)
{
    if (ms != 0) pass(ms);
}

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

}  // namespace

struct EngineLife::Imports {
    ImportSwap<decltype(&Sleep)> sleep{ __imp_Sleep, &virtualSleep };
    ImportSwap<decltype(&GetSystemPowerStatus)> power{ __imp_GetSystemPowerStatus, &onMains };
    ImportSwap<decltype(&SysAllocString)> text{ __imp_SysAllocString, &allocString };
    ImportSwap<decltype(&HeapAlloc)> heap{ __imp_HeapAlloc, &heapAlloc };
    WatchedBuffer renderBuffer{ eventService.bytes.size(), "" };  // of a size that nobody else asks for
    FailingImport<__imp_CM_Get_Device_ID_List_SizeA> listSize{ "CM_Get_Device_ID_List_SizeA", CR_FAILURE };
    FailingImport<__imp_CM_Get_Device_ID_ListA> list{ "CM_Get_Device_ID_ListA", CR_FAILURE };
    FailingImport<__imp_CM_Get_Device_Interface_List_SizeA> interfaces{ "CM_Get_Device_Interface_List_SizeA",
                                                                        CR_FAILURE };
    FailingImport<__imp_CM_Locate_DevNodeA> locate{ "CM_Locate_DevNodeA", CR_FAILURE };
    FailingImport<__imp_CM_Open_DevNode_Key> openKey{ "CM_Open_DevNode_Key", CR_FAILURE };
    FailingImport<__imp_RegGetValueA> getValue{ "RegGetValueA", ERROR_ACCESS_DENIED };
    FailingImport<__imp_GetSystemDirectoryA> systemDirectory{ "GetSystemDirectoryA", 0 };
    FailingImport<__imp_GetFileAttributesA> attributes{ "GetFileAttributesA", INVALID_FILE_ATTRIBUTES };
    FailingImport<__imp_LoadLibraryExA> load{ "LoadLibraryExA", nullptr, ERROR_MOD_NOT_FOUND };
    FailingImport<__imp_GetProcAddress> lookUp{ "GetProcAddress", nullptr, ERROR_PROC_NOT_FOUND };
    FailingImport<__imp_FormatMessageA> words{ "FormatMessageA", 0 };
    FailingImport<__imp__beginthreadex> thread{ "_beginthreadex", 0 };
};

EngineLife::EngineLife()
{
    allocStringBefore = __imp_SysAllocString;
    heapAllocBefore = __imp_HeapAlloc;
    world.processEvent = &event;
    world.apartment = &com.apartment;
    startCore();
    system.plugInFrameworkDevice(installDirectory);
    system.files[std::string(installDirectory) + "\\orqcore.dll"] = FILE_ATTRIBUTE_NORMAL;
    system.files[systemLibrary] = FILE_ATTRIBUTE_NORMAL;
    system.core.onInterface = [this](unsigned char* record) {
        simulator::getSimulatedInterface(reinterpret_cast<OrqInterface*>(record));
        system.core.interfaceStatus = statusOf("GetOrqInterface");
    };
    event.set(L"TargetInstance", unknownValue(&process));
    process.set(L"Name", textValue(L"game.exe"));
    process.set(L"ProcessId", numberValue(4711));
    eventService.setXml(L"<Event><System><EventID>506</EventID></System><EventData>padding</EventData></Event>");
    noteLog();
    imports = std::make_unique<Imports>();
}

EngineLife::~EngineLife() = default;

void EngineLife::live(FailurePlan plan)
{
    StandardError standard;
    planFailures(plan);
    beginRun({ { 500, raisePower },
               { 1000, startProcess },
               { 2500, changeWorkloadAndSlider },
               { 4000, enterStandby },
               { 9000, stopScaling } });
    results.push_back(runEngine(3));
    beginRun({ { 1500, stopService } });
    results.push_back(runEngine(3));
    standardError = linesOf(standard.text());
}

std::uint64_t EngineLife::duration() { return world.nowMs; }

std::vector<std::string> EngineLife::messages()
{
    std::vector<std::string> texts = notedOf("log ");
    for (std::string& text : texts) text.erase(0, 4);
    return texts;
}

int EngineLife::sessions() { return world.sessions; }

std::size_t EngineLife::registeredEvents() { return world.events.size(); }

}  // namespace kelvane::tests

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return kelvane::tests::callFails(kelvane::tests::sinkAllocation()) ? nullptr : std::malloc(size);
}
