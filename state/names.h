// state/names.h: the names and numbers by which the service's programs know each other, the framework and Windows.
//
// Registry keys are below HKEY_LOCAL_MACHINE.
#pragma once

namespace kelvane {

// --- the companion's key, whose value switches scaling ---------------------------------------------------------------
inline constexpr wchar_t controlKey[] = L"SYSTEM\\CurrentControlSet\\Services\\LITSSVC\\IC\\KV";
inline constexpr wchar_t controlValue[] = L"CurrentSetting";
inline constexpr wchar_t scalingWanted = 2;  // any other number: scaling is not wanted

// --- the framework's drivers, and what the service publishes of them -------------------------------------------------
inline constexpr wchar_t acpiDriverKey[] = L"SYSTEM\\CurrentControlSet\\Services\\orq_acpi";
inline constexpr wchar_t cpuDriverKey[] = L"SYSTEM\\CurrentControlSet\\Services\\orq_cpu";
inline constexpr wchar_t capabilityKey[] = L"SOFTWARE\\Tarvo\\KV";
inline constexpr wchar_t capabilityValue[] = L"Capability";
inline constexpr unsigned driversPresent = 2;
inline constexpr unsigned driversMissing = 1;

// --- the framework's core --------------------------------------------------------------------------------------------
inline constexpr char coreLibraryName[] = "orqcore.dll";

// --- standby, as the event log records it ----------------------------------------------------------------------------
inline constexpr wchar_t standbyChannel[] = L"System";
inline constexpr wchar_t standbyQuery[] = L"(*[System[(EventID=\"506\") or (EventID=\"507\")]])";

}  // namespace kelvane
