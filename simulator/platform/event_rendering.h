// simulator/platform/event_rendering.h: entries of the System event log, without the log.
//
// This module defines EvtRender. A program that links it renders made-up entries; a handle stands for nothing but the
// entry's EventID.
#pragma once

#include <windows.h>

#include <winevt.h>

#include <cstdint>

namespace kelvane::simulator {

constexpr std::uint32_t standbyEntryEventId = 506;
constexpr std::uint32_t standbyExitEventId = 507;

// A handle for EvtRender; it needs no closing.
EVT_HANDLE eventHandle(std::uint32_t eventId);

}  // namespace kelvane::simulator
