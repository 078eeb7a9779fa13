// simulator/standins/wbem_services.h: a WMI namespace that knows one thing, which processes start.
#pragma once

#include <windows.h>

#include <wbemcli.h>

namespace kelvane::simulator {

// Returns a namespace with one reference, the caller's. Every notification query is taken as the one for process
// starts; whatever else is asked for is refused. CoSetProxyBlanket works on it.
IWbemServices* makeServices();

}  // namespace kelvane::simulator
