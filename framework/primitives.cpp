// A primitive is a command text sent through SessionExecute, with its value in or out in a typed descriptor.
#include "framework/primitives.h"

#include "framework/session.h"
#include "framework/status.h"
#include "state/state.h"

#include <algorithm>
#include <limits>

namespace kelvane {

namespace {

struct Primitive {
    const char* text;
    std::uint32_t bytes;  // of the text, with its NUL
    std::uint32_t valueType;
    bool tracked;  // in g_orqStatus
};

template<std::size_t size>
constexpr Primitive primitive(const char (&text)[size], std::uint32_t valueType, bool tracked)
{
    return { text, size, valueType, tracked };
}

// clang-format off
constexpr Primitive getWorkload  = primitive("execute-primitive TCPU GET_SOC_WORKLOAD", orqTypeUint32, true);
constexpr Primitive setMax  = primitive("execute-primitive TCPU SET_PERF_PREFERENCE_MAX", orqTypePreference, true);
constexpr Primitive setMin  = primitive("execute-primitive TCPU SET_PERF_PREFERENCE_MIN", orqTypePreference, true);
constexpr Primitive getClips  = primitive("execute-primitive TCPU GET_IA_CLIP_REASONS", orqTypeUint32, false);
constexpr Primitive getPower    = primitive("execute-primitive TCPU GET_RAPL_POWER", orqTypePower, false);
constexpr Primitive setLimit1   = primitive("execute-primitive TCPU SET_RAPL_POWER_LIMIT_1", orqTypePower, false);
// clang-format on

static_assert(getWorkload.bytes == 40 && setMax.bytes == 47 && setMin.bytes == 47);
static_assert(getClips.bytes == 43 && getPower.bytes == 38 && setLimit1.bytes == 46);

constexpr std::size_t commandCapacity = 48;

int execute(SessionHandle session, const Primitive& primitive, const OrqData* request, OrqData* response)
{
    char text[commandCapacity];  // the core gets a copy of its own to parse
    std::copy_n(primitive.text, primitive.bytes, text);
    const OrqData command = { orqTypeText, text, primitive.bytes, primitive.bytes };
    if (primitive.tracked) g_orqStatus = TOVA_E_NO_MEMORY;
    const int status = SessionExecute(session, &command, request, response);
    if (primitive.tracked) g_orqStatus = status;
    return status;
}

int get(SessionHandle session, const Primitive& primitive, std::uint32_t& word)
{
    word = 0;
    OrqData response = { primitive.valueType, &word, sizeof word, 0 };
    return execute(session, primitive, nullptr, &response);
}

int set(SessionHandle session, const Primitive& primitive, std::uint32_t word)
{
    const OrqData request = { primitive.valueType, &word, sizeof word, sizeof word };
    return execute(session, primitive, &request, nullptr) == TOVA_OK ? 0 : -1;
}

int getSigned(SessionHandle session, const Primitive& primitive)
{
    std::uint32_t word = 0;
    return get(session, primitive, word) == TOVA_OK ? static_cast<int>(word) : -1;
}

}  // namespace

int getSocWorkload(SessionHandle session) { return getSigned(session, getWorkload); }

int setPerfPreferenceMax(SessionHandle session, std::uint32_t preference) { return set(session, setMax, preference); }

int setPerfPreferenceMin(SessionHandle session, std::uint32_t preference) { return set(session, setMin, preference); }

int getIaClipReasons(SessionHandle session) { return getSigned(session, getClips); }

double getRaplPower(SessionHandle session)
{
    std::uint32_t word = 0;
    return get(session, getPower, word) == TOVA_OK ? static_cast<double>(word) : -1.0;
}

int setRaplPowerLimit1(SessionHandle session, std::uint32_t milliwatts) { return set(session, setLimit1, milliwatts); }

int toMilliwatts(double reading)
{
    constexpr double lowest = std::numeric_limits<int>::min();
    constexpr double highest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(reading, lowest, highest));
}

}  // namespace kelvane
