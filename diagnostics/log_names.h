// diagnostics/log_names.h: where the diagnostic log lies, below the roaming application-data folder of the account that
// runs the service: KelvanneApp\logs\KelvanneApp.log. The spelling is the file's own.
#pragma once

namespace kelvane {

inline constexpr wchar_t logHomeFolder[] = L"\\KelvanneApp\\";
inline constexpr wchar_t logFileInHome[] = L"logs\\KelvanneApp.log";

}  // namespace kelvane
