// A framework core that answers with a record of another size: what a client must not accept.
#include "framework/orq_interface.h"

extern "C" __declspec(dllexport) int GetOrqInterface(kelvane::OrqInterface* record)
{
    record->size = 160;
    return 0;
}
