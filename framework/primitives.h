// framework/primitives.h: the six primitives with which the controller reads and sets the processor.
//
// Each executes one command on the participant TCPU. A failing getter returns -1 (power: -1.0), a setter returns 0 or
// -1. The three that are marked "tracked" keep g_orqStatus (controller/state.h) up to date: TOVA_E_NO_MEMORY during the
// call, the framework's status after it. Nothing is logged or retried, the session handle is not checked. Any thread.
#pragma once

#include "framework/orq_interface.h"

#include <cstdint>

namespace kelvane {

int getSocWorkload(SessionHandle session);  // tracked

int setPerfPreferenceMax(SessionHandle session, std::uint32_t preference);  // 0..10000; tracked

int setPerfPreferenceMin(SessionHandle session, std::uint32_t preference);  // 0..10000; tracked

int getIaClipReasons(SessionHandle session);  // bit set; all ones cannot be told from failure

double getRaplPower(SessionHandle session);  // mW

int setRaplPowerLimit1(SessionHandle session, std::uint32_t milliwatts);

// A power reading as the controller holds it: truncated, and saturated to the range of an int.
int toMilliwatts(double reading);

}  // namespace kelvane
