// The process entry. What runs detached may still be at work when the service has ended, so the process ends without
// running destructors under it, and without telling its libraries: a thread may have been in the middle of a call of
// the framework core, and a core that then waits for a lock of its own would keep the process, and its file, for ever.
#include "service/service_host.h"

#include <windows.h>

#include <cstdio>

int main()
{
    const int exitCode = kelvane::runService();
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
    return exitCode;  // never reached
}
