// simulator/linux/include/wbemidl.h: all of WMI.
#pragma once

#include <wbemcli.h>
