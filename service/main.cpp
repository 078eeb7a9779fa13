// The process entry. What runs detached may still be at work when the service has ended, so the process leaves without
// running destructors under it.
#include "service/service_host.h"

#include <cstdio>
#include <cstdlib>

int main()
{
    const int exitCode = kelvane::runService();
    std::fflush(nullptr);
    std::_Exit(exitCode);
}
